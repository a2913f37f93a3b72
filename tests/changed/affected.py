"""Which tests changed files can affect, and which of them are run at once."""

import os
import re
from collections import Counter
from dataclasses import dataclass

from build_table import is_of_cmake

ALONE = 400  # of a test's limit, in seconds; from here on it is left to the whole run
FIRST_GUESS = {True: 0.8, False: 0.05}  # seconds; of a process and of a unit that has not run yet
OF_THE_PROCESS = {"routedriver", "framework"}  # what tests/process tries
NO_NAMES = {"CMakeLists.txt", "README.md"}  # of many files, as is one that is a mere word
IMPORT = re.compile(r"^(?:import|from) (\w+)", re.MULTILINE)


@dataclass
class Change:
    """`files` of the source; the `programs` made of them; the `starters`: test programs that start one of those."""

    files: set
    programs: set
    starters: set


class Scripts:
    """Test scripts with the modules of ours that they import: any of this name, wherever the script looks for it.

    `read` gives a file's text, None where there is none; `files`: all that there are.
    """

    def __init__(self, read, files):
        self.read = read
        self.known = {}
        self.modules = {}
        for file in files:
            if file.endswith(".py"):
                self.modules.setdefault(os.path.basename(file).removesuffix(".py"), []).append(file)

    def reached_from(self, script):
        """(files, words in them) of a script and of what it imports."""
        if script not in self.known:
            files, said, open_files = set(), set(), [script]
            while open_files:
                file = open_files.pop()
                if file in files or (text := self.read(file)) is None:
                    continue
                files.add(file)
                said |= words_in(text)
                open_files += [module for name in IMPORT.findall(text) for module in self.modules.get(name, ())]
            self.known[script] = files, said
        return self.known[script]


def words_in(text):
    """Names of programs, and of files with their ending."""
    return set(re.findall(r"\w+", text)) | {word.strip(".-") for word in re.findall(r"[\w.-]+", text)}


def names_of(program):
    """A backend's item names it without the prefix."""
    name = os.path.basename(program)
    return {name, name.removeprefix("vrdx_")} if name.startswith("vrdx_route_") else {name}


class Judge:
    """`source` and `build` are absolute paths."""

    def __init__(self, change, scripts, source, build):
        self.change = change
        self.scripts = scripts
        self.source = source
        self.folders = {os.path.dirname(file) for file in change.files if is_of_cmake(file)}
        self.files = {os.path.join(source, file) for file in change.files}
        self.programs = {os.path.join(build, program) for program in change.programs}
        self.test_programs = self.programs | {os.path.join(build, program) for program in change.starters}
        self.names = {name for program in change.programs for name in names_of(program)}
        self.names |= {name for name in map(os.path.basename, change.files) if re.search("[._]", name)} - NO_NAMES

    def is_affected(self, test):
        if test.folder in self.folders or not self.test_programs.isdisjoint(test.command[:1]):
            return True
        told = [*test.command, *(text for name, text in test.environment.items() if name != "PYTHONPATH")]
        if any(self._stands_for_a_change(word) for word in told):
            return True
        files, said = self._script_of(test)
        said = said | words_in(" ".join(told)) | words_in(self._item_of(test))
        return not files.isdisjoint(self.change.files) or not said.isdisjoint(self.names)

    def _stands_for_a_change(self, word):
        """A changed file or program, or a folder that holds one."""
        if not word.startswith(self.source):
            return False
        folder = word.rstrip("/") + "/"
        return word in self.files | self.programs or any(file.startswith(folder) for file in self.files)

    def _script_of(self, test):
        script = next((word for word in test.command if word.startswith(self.source) and word.endswith(".py")), None)
        return self.scripts.reached_from(self._inside(script)) if script else (set(), set())

    def _item_of(self, test):
        """Of a case: names the backend below the driver."""
        if "case" not in test.labels:
            return ""
        return self.scripts.read(self._inside(os.path.join(test.command[-1], "item"))) or ""

    def _inside(self, path):
        return os.path.relpath(path, self.source)


def cost(test, costs):
    """Seconds, as measured the last time."""
    return costs.get(test.name) or FIRST_GUESS["process" in test.labels]


def order(test, change, costs):
    """Changed tests first, then units, cases, and other processes; a module's own before others, the quick ones first."""
    if any(file.startswith(test.folder + "/") for file in change.files):
        kind = 0
    elif "process" not in test.labels:
        kind = 1
    else:
        kind = 2 if "case" in test.labels else 3
    modules = {part for file in change.files for part in os.path.dirname(file).split("/")}
    if not modules.isdisjoint(OF_THE_PROCESS):
        modules.add("process")
    return kind, os.path.basename(test.folder) not in modules, cost(test, costs)


def in_batches(tests, change, costs, seconds):
    """Lists of tests, in the order in which they are run: each for so many seconds, one test behind the other, or of one test
    that needs more. Those with a long time limit are in none."""
    batch, price = [], 0
    for test in sorted(tests, key=lambda each: order(each, change, costs)):
        if test.timeout >= ALONE:
            continue
        if batch and price + cost(test, costs) > seconds:
            yield batch
            batch, price = [], 0
        batch.append(test)
        price += cost(test, costs)
    if batch:
        yield batch


def summary(tests):
    """How many from which folder: "3 tests/model, 12 tests/videohub"."""
    counts = Counter(test.folder for test in tests)
    return ", ".join(f"{count} {folder}" for folder, count in sorted(counts.items()))
