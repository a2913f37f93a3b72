"""Builds and runs the tests that changed files can affect, the quick ones first, for about a minute.

Usage: affected_tests.py BUILD-FOLDER PRESET JOBS [REV]

What has changed since REV; without it what is not committed, or, when all is, what the last commit changed.
"""

import json
import os
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "changed"))
# pylint: disable=wrong-import-position
from affected import Change, Judge, Scripts, in_batches, summary
from build_table import Table, read_commands, read_edges, read_headers, read_tests

SOURCE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LAST_START = 50  # seconds after the begin; no batch begins later
SECONDS_OF_BATCH = 6  # as its tests needed the last time; a busy machine may need more


def said_by(*command, cwd=SOURCE):
    return subprocess.run(command, cwd=cwd, stdout=subprocess.PIPE, text=True, check=True).stdout


def read(path):
    try:
        with open(os.path.join(SOURCE, path), encoding="utf-8", errors="replace") as file:
            return file.read()
    except OSError:
        return None


def changed_files(revision):
    def since(name):
        return set(said_by("git", "diff", "--name-only", "--no-renames", name, "--").splitlines())

    unknown = set(said_by("git", "ls-files", "--others", "--exclude-standard").splitlines())
    return since(revision or "HEAD") | unknown or since("HEAD~1")


def read_table(build):
    ninja = read(os.path.join(build, "build.ninja"))
    commands = json.loads(read(os.path.join(build, "compile_commands.json")))
    headers = read_headers(said_by("ninja", "-t", "deps", cwd=build), SOURCE, build)
    return Table(read_edges(ninja, SOURCE), headers, read_commands(commands, SOURCE))


def read_costs(build):
    """{test: seconds}, as ctest measured them."""
    costs = {}
    for line in (read(os.path.join(build, "Testing", "Temporary", "CTestCostData.txt")) or "").splitlines():
        words = line.rsplit(" ", 2)
        if len(words) == 3 and words[1] != "0":
            costs[words[0]] = float(words[2])
    return costs


def copied_programs(files, build):
    """Scripts that stand among the programs under their own name."""
    stems = {os.path.splitext(os.path.basename(file))[0] for file in files}
    return {f"bin/{stem}" for stem in stems if os.path.exists(os.path.join(build, "bin", stem))}


def run_tests(tests, preset, jobs):
    """Ctest's exit code."""
    with tempfile.NamedTemporaryFile("w", prefix="vrdx_test.", suffix=".numbers") as numbers:
        numbers.write("0,0,0," + ",".join(str(test.number) for test in tests))
        numbers.flush()
        return subprocess.run(["ctest", "--preset", preset, "-j", str(jobs), "--no-tests=error", "-I", numbers.name],
                              cwd=SOURCE, check=False).returncode


def build_affected(files, build):
    """What has changed with the files, built."""
    subprocess.run(["ninja", "-C", build, "--quiet", "build.ninja"], check=True)
    table = read_table(build)
    programs = table.made_of(files)
    if programs:
        subprocess.run(["ninja", "-C", build, "-j", str(os.cpu_count()), *sorted(programs)], check=True)
    programs |= copied_programs(files, build) - set(table.programs())
    starters = {program for program in table.programs() if not table.started_by(program).isdisjoint(programs)}
    return Change(files, programs, starters)


def main(build, preset, jobs, revision=None):
    begin = time.monotonic()
    build = os.path.abspath(build)
    change = build_affected(changed_files(revision), build)
    scripts = said_by("git", "ls-files", "--cached", "--others", "--exclude-standard", "*.py").splitlines()
    judge = Judge(change, Scripts(read, scripts), SOURCE, build)
    listed = json.loads(said_by("ctest", "--preset", preset, "--show-only=json-v1"))
    left = [test for test in read_tests(listed, build) if judge.is_affected(test)]
    print(f"--- changed: {', '.join(sorted(change.files))}")
    print(f"--- affected: {len(change.programs)} programs, {len(left)} tests", flush=True)
    failed, run = 0, 0
    for batch in in_batches(left, change, read_costs(build), SECONDS_OF_BATCH * jobs):
        if failed or (run and time.monotonic() - begin > LAST_START):
            break
        failed = run_tests(batch, preset, jobs)
        run += len(batch)
        left = [test for test in left if test not in batch]
    print(f"--- {run} tests run, {time.monotonic() - begin:.0f} s. " +
          (f"Left to ./test.sh: {len(left)} tests ({summary(left)})" if left else "None is left."))
    return failed


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:3], int(sys.argv[3]), *sys.argv[4:]))
