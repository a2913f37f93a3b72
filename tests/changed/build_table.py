"""What a built tree knows of itself: which program is made of which files, and which test starts which program.

Files of the source are named as git names them, files of the build as ninja does.
"""

import os
import re
from dataclasses import dataclass

BUILD_LINE = re.compile(r"^build (?P<made>[^:]*(?:\$:[^:]*)*): (?P<rule>\S+)(?P<of>.*)$")


@dataclass
class Edge:
    """One step of the build. `beside` has to stand before it, and is no part of what it makes."""

    made: list
    rule: str
    parts: list
    beside: list


@dataclass
class Test:
    number: int  # ctest's, from 1
    name: str
    command: list
    environment: dict
    labels: list
    timeout: float  # seconds
    folder: str  # of the source, with the CMakeLists.txt that knows it


@dataclass
class Table:
    edges: list
    headers: dict  # object: the files that its compiler read
    commands: dict  # object: the files in the command that compiles it

    def programs(self):
        """{program: the step that links it}."""
        return {edge.made[0]: edge for edge in self.edges if "EXECUTABLE_LINKER" in edge.rule}

    def made_of(self, changed):
        """The programs that are another program when the files in `changed` are."""
        reached = set(self._objects_of(changed)) | set(changed)
        grows = True
        while grows:
            made = {node for edge in self.edges if not reached.isdisjoint(edge.parts) for node in edge.made}
            grows = not made <= reached
            reached |= made
        return reached & set(self.programs())

    def _objects_of(self, changed):
        folders = [os.path.dirname(file) for file in changed if is_of_cmake(file)]
        for step, read in [*self.headers.items(), *self.commands.items()]:
            if not read.isdisjoint(changed) or any(not folder or step.startswith(folder + "/") for folder in folders):
                yield step

    def started_by(self, program):
        """The programs that CMake was told have to stand before `program`, or before a library of it."""
        programs = self.programs()
        makers = {node: edge for edge in self.edges for node in edge.made}
        started, open_steps = set(), [programs[program]]
        while open_steps:
            edge = open_steps.pop()
            started |= set(edge.beside) & set(programs)
            open_steps += [makers[part] for part in edge.parts if part in makers and "LINKER" in makers[part].rule]
        return started


def is_of_cmake(file):
    return file.endswith((".cmake", "CMakeLists.txt"))


def words(text):
    return [re.sub(r"\$(.)", r"\1", word) for word in re.findall(r"(?:\$.|\S)+", text)]


def read_edges(text, source):
    """The steps in a build.ninja, for a project that stands in the folder `source`."""
    edges = []
    for line in text.replace("$\n", "").splitlines():
        if (match := BUILD_LINE.match(line)) is None:
            continue
        parts, _, beside = match["of"].partition(" || ")
        inside = [os.path.relpath(part, source) if part.startswith(source + "/") else part for part in words(parts) if part != "|"]
        edges.append(Edge([made for made in words(match["made"]) if made != "|"], match["rule"], inside, words(beside)))
    return edges


def read_headers(text, source, build):
    """{object: files of the source}, from what `ninja -t deps` prints in the folder `build`."""
    headers, read = {}, set()
    for line in text.splitlines():
        if line.startswith("    "):
            path = os.path.normpath(os.path.join(build, line.strip()))
            if path.startswith(source + "/"):
                read.add(os.path.relpath(path, source))
        elif ": #deps" in line:
            read = headers.setdefault(line.split(": #deps")[0], set())
    return headers


def read_commands(listed, source):
    """{object: files of the source}, from compile_commands.json: what is compiled, and pages that it is told to read."""
    inside = re.compile(re.escape(source) + r"/([\w./+-]+)")
    return {re.search(r" -o (\S+) ", entry["command"])[1]: set(inside.findall(entry["command"])) for entry in listed}


def read_tests(listed, build):
    """The tests, from what `ctest --show-only=json-v1` prints. One that is not built has no command."""
    tests = []
    for number, test in enumerate(listed["tests"], 1):
        known = {each["name"]: each["value"] for each in test["properties"]}
        environment = dict(entry.split("=", 1) for entry in known.get("ENVIRONMENT", []))
        folder = os.path.relpath(known.get("WORKING_DIRECTORY", build), build)
        tests.append(Test(number, test["name"], test.get("command", []), environment, known.get("LABELS", []),
                          known.get("TIMEOUT", 0), folder))
    return tests
