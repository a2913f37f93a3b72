"""Which tests a change affects, on a made-up project of a library, a driver, a tool and their tests.

Usage: affected_test.py [CLASS.METHOD ...]
"""

import unittest

from affected import ALONE, Change, Judge, Scripts, in_batches, summary
from build_table import Table, Test, read_commands, read_edges, read_headers, read_tests

SOURCE = "/home/x/studio"
BUILD = SOURCE + "/build/release"

NINJA = """\
rule CXX_COMPILER__core
  command = c++ $in
build core/core.o: CXX_COMPILER__core /home/x/studio/core/core.cpp || order
build core/libcore.a: CXX_STATIC_LIBRARY_LINKER__core core/core.o
build bin/driver: CXX_EXECUTABLE_LINKER__driver driver/main.o | core/libcore.a || core/libcore.a
build driver/main.o: CXX_COMPILER__driver /home/x/studio/driver/main.cpp || order
build bin/tool: CXX_EXECUTABLE_LINKER__tool tool/main.o
build tool/main.o: CXX_COMPILER__tool /home/x/studio/tool/main.cpp
build bin/vrdx_route_one: CXX_EXECUTABLE_LINKER__one one/one.o
build one/one.o: CXX_COMPILER__one /home/x/studio/one/one.cpp
build tests/core/core_test.o: CXX_COMPILER__core_tests /home/x/studio/tests/core/core_test.cpp
build bin/core_tests tests/core/list.cmake | ${cmake_ninja_workdir}tests/core/list.cmake: CXX_EXECUTABLE_LINKER__core_tests $
    tests/core/core_test.o | core/libcore.a
build tests/support/libsupport.a: CXX_STATIC_LIBRARY_LINKER__support tests/support/start.o || bin/driver
build bin/process_tests: CXX_EXECUTABLE_LINKER__process_tests tests/process/life.o | tests/support/libsupport.a || order
build all: phony bin/driver bin/tool bin/core_tests bin/process_tests
"""

DEPS = """\
core/core.o: #deps 3, deps mtime 1 (VALID)
    ../../core/core.cpp
    ../../core/core.h
    /usr/include/c++/12/string

tests/core/core_test.o: #deps 2, deps mtime 1 (VALID)
    /home/x/studio/core/core.h
    ../../tests/core/core_test.cpp

"""

COMMANDS = [
    {"file": SOURCE + "/core/core.cpp", "command": f"c++ -O2 -o core/core.o -c {SOURCE}/core/core.cpp"},
    {"file": SOURCE + "/tool/main.cpp",
     "command": f'c++ -DPAGE=\\"{SOURCE}/docs/tool.md\\" -o tool/main.o -c {SOURCE}/tool/main.cpp'},
]

FILES = {
    "tests/process/tool_test.py": "import os\nfrom helper import run\n",
    "tests/support/helper.py": "import os\nrun('beside', 'peer.js')\n",
    "tests/backends/check_test.py": "start(BIN + '/vrdx_route_one')\n",
    "tests/cases/first/item": "driver=route_one\n",
    "tests/cases/run_case.py": "",
}


def built_table():
    return Table(read_edges(NINJA, SOURCE), read_headers(DEPS, SOURCE, BUILD), read_commands(COMMANDS, SOURCE))


def python_test(name, *words, environment=None, labels=("process",), timeout=60, folder="tests/process"):
    return Test(0, name, ["python3", "-B", *words], environment or {}, list(labels), timeout, folder)


TESTS = [
    Test(1, "Core.Adds", [BUILD + "/bin/core_tests", "--gtest_filter=Core.Adds"], {}, [], 60, "tests/core"),
    Test(2, "Life.Ends", [BUILD + "/bin/process_tests"], {}, ["process"], 60, "tests/process"),
    python_test("Tool", f"{SOURCE}/tests/process/tool_test.py", BUILD + "/bin/tool"),
    python_test("Check", f"{SOURCE}/tests/backends/check_test.py", environment={"BIN": BUILD + "/bin"},
                folder="tests/backends"),
    python_test("Case.first", f"{SOURCE}/tests/cases/run_case.py", BUILD + "/bin/driver", f"{SOURCE}/tests/cases/first",
                labels=("process", "case")),
    Test(6, "NotBuilt", [], {}, [], 60, "tests/later"),
]


class Programs(unittest.TestCase):
    def made_of(self, *files):
        return built_table().made_of(set(files))

    def test_source_reaches_programs_through_its_library(self):
        self.assertEqual(self.made_of("core/core.cpp"), {"bin/driver", "bin/core_tests"})

    def test_header_reaches_whoever_read_it(self):
        self.assertEqual(self.made_of("core/core.h"), {"bin/driver", "bin/core_tests"})
        self.assertEqual(self.made_of("tests/core/core_test.cpp"), {"bin/core_tests"})

    def test_source_that_was_never_compiled_is_known_by_its_step(self):
        self.assertEqual(self.made_of("one/one.cpp"), {"bin/vrdx_route_one"})

    def test_page_in_a_definition_reaches_who_reads_it(self):
        self.assertEqual(self.made_of("docs/tool.md"), {"bin/tool"})

    def test_file_of_cmake_reaches_all_of_its_folder(self):
        self.assertEqual(self.made_of("core/CMakeLists.txt"), {"bin/driver", "bin/core_tests"})
        self.assertEqual(self.made_of("CMakeLists.txt"), {"bin/driver", "bin/core_tests", "bin/tool"})

    def test_what_nobody_reads_makes_nothing(self):
        self.assertEqual(self.made_of("README.md", "core.cpp"), set())

    def test_programs_that_have_to_stand_before_are_started(self):
        table = built_table()
        self.assertEqual(table.started_by("bin/process_tests"), {"bin/driver"})
        self.assertEqual(table.started_by("bin/core_tests"), set())


class Tests(unittest.TestCase):
    def affected_by(self, *files):
        table = built_table()
        programs = table.made_of(set(files))
        starters = {program for program in table.programs() if not table.started_by(program).isdisjoint(programs)}
        judge = Judge(Change(set(files), programs, starters), Scripts(FILES.get, FILES), SOURCE, BUILD)
        return [test.name for test in TESTS if judge.is_affected(test)]

    def test_units_and_whoever_starts_a_program(self):
        self.assertEqual(self.affected_by("core/core.h"), ["Core.Adds", "Life.Ends", "Case.first"])
        self.assertEqual(self.affected_by("tool/main.cpp"), ["Tool"])

    def test_backend_is_known_by_its_name_in_a_script_and_in_an_item(self):
        self.assertEqual(self.affected_by("one/one.cpp"), ["Check", "Case.first"])

    def test_script_and_the_modules_that_it_imports(self):
        self.assertEqual(self.affected_by("tests/process/tool_test.py"), ["Tool"])
        self.assertEqual(self.affected_by("tests/support/helper.py"), ["Tool"])

    def test_file_that_a_script_names(self):
        self.assertEqual(self.affected_by("tests/process/peer.js"), ["Tool"])
        self.assertEqual(self.affected_by("tests/process/beside"), [])  # a word, as any other

    def test_file_in_the_folder_of_a_case(self):
        self.assertEqual(self.affected_by("tests/cases/first/trace"), ["Case.first"])
        self.assertEqual(self.affected_by("tests/cases/second/trace"), [])

    def test_file_of_cmake_and_the_tests_that_it_knows(self):
        self.assertEqual(self.affected_by("tests/backends/CMakeLists.txt"), ["Check"])


class Order(unittest.TestCase):
    def batches(self, files, costs, seconds):
        change = Change(set(files), set(), set())
        return [[test.name for test in batch] for batch in in_batches(TESTS, change, costs, seconds)]

    def test_units_come_first_and_cases_before_other_processes(self):
        costs = {"Tool": 2, "Check": 1, "Life.Ends": 3}
        self.assertEqual(self.batches(["core/core.cpp"], costs, 100),
                         [["Core.Adds", "NotBuilt", "Case.first", "Check", "Tool", "Life.Ends"]])

    def test_tests_of_the_changed_folder_come_first(self):
        self.assertEqual(self.batches(["tests/backends/check_test.py"], {"Check": 50}, 100)[0][0], "Check")
        self.assertEqual(self.batches(["backends/one.cpp"], {"Check": 50}, 100)[0][3], "Check")

    def test_batches_are_as_long_as_is_asked(self):
        costs = {"Case.first": 1, "Check": 2, "Tool": 9, "Life.Ends": 10}
        self.assertEqual(self.batches(["core/core.cpp"], costs, 4),
                         [["Core.Adds", "NotBuilt", "Case.first", "Check"], ["Tool"], ["Life.Ends"]])

    def test_long_tests_are_in_no_batch(self):
        soak = python_test("Soak", timeout=ALONE)
        change = Change({"tests/process/soak.py"}, set(), set())
        self.assertEqual(list(in_batches([soak], change, {}, 100)), [])
        self.assertEqual(summary([soak, soak]), "2 tests/process")


class Listing(unittest.TestCase):
    def test_tests_are_numbered_as_ctest_does(self):
        listed = {"tests": [
            {"name": "A", "command": ["a", "b"], "properties": [
                {"name": "ENVIRONMENT", "value": ["X=1=2", "Y="]}, {"name": "LABELS", "value": ["process"]},
                {"name": "TIMEOUT", "value": 240.0}, {"name": "WORKING_DIRECTORY", "value": BUILD + "/tests/tools"}]},
            {"name": "B_NOT_BUILT", "properties": []},
        ]}
        first, second = read_tests(listed, BUILD)
        self.assertEqual(first, Test(1, "A", ["a", "b"], {"X": "1=2", "Y": ""}, ["process"], 240, "tests/tools"))
        self.assertEqual((second.number, second.command), (2, []))


if __name__ == "__main__":
    unittest.main()
