"""Prints which share of the lines of some folders was run, from what a build with --coverage has counted.

Usage: line_coverage.py BUILD-DIRECTORY FOLDER...
"""

import collections
import json
import os
import pathlib
import subprocess
import sys


def counted_lines(notes, root):
    """Runs gcov on one compiled file: {(source relative to `root`, line): times run}."""
    result = subprocess.run(
        ["gcov", "--json-format", "--stdout", str(notes)], capture_output=True, check=True, cwd=root
    )
    lines = {}
    for document in result.stdout.splitlines():
        for source in json.loads(document)["files"]:
            path = os.path.relpath(os.path.join(root, source["file"]), root)
            for line in source["lines"]:
                place = (path, line["line_number"])
                lines[place] = max(lines.get(place, 0), line["count"])
    return lines


def folder_of(path, folders):
    """The folder that `path` is counted for: the module's, one below the named one where there is one."""
    parts = pathlib.PurePath(path).parts
    if parts[0] not in folders:
        return None
    return os.path.join(*parts[:2]) if len(parts) > 2 else parts[0]


def share(lines):
    run = sum(1 for count in lines if count > 0)
    return f"{100 * run / len(lines):6.2f} %  {run:5} of {len(lines):5} lines"


def main():
    root = os.getcwd()
    build, *folders = sys.argv[1:]
    lines = collections.Counter()
    for folder in folders:
        for notes in sorted(pathlib.Path(build, folder).rglob("*.gcno")):
            for place, count in counted_lines(notes.resolve(), root).items():
                lines[place] += count
    by_folder = collections.defaultdict(list)
    missed = collections.defaultdict(list)
    for (path, line), count in sorted(lines.items()):
        folder = folder_of(path, folders)
        if folder is None:
            continue
        by_folder[folder].append(count)
        if count == 0:
            missed[path].append(str(line))
    if not by_folder:
        sys.exit("nothing was counted")
    for path, numbers in missed.items():
        print(f"not run: {path}:{','.join(numbers)}")
    for folder, counts in sorted(by_folder.items()):
        print(f"{folder:24} {share(counts)}")
    for whole in folders:
        counts = [count for folder, counts in by_folder.items() if folder.split(os.sep)[0] == whole for count in counts]
        print(f"{whole + ', all':24} {share(counts)}")


if __name__ == "__main__":
    main()
