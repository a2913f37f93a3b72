"""The version stands in CMakeLists.txt. Everything that shows it has it from there, and the page of changes begins with it.

Usage: version_test.py DIRECTORY-OF-PROGRAMS SOURCE-DIRECTORY [CLASS[.METHOD] ...]
"""

import os
import re
import subprocess
import sys
import unittest

PROGRAMS = ""
SOURCE = ""

HOME = "CMakeLists.txt"
NOT_OURS = ("build", ".", "corpus")  # how folders begin that are made, kept by git, or mean nothing


def text_of(path):
    with open(os.path.join(SOURCE, path), encoding="utf-8", errors="replace") as file:
        return file.read()


def files_of_the_project():
    for folder, folders, files in os.walk(SOURCE):
        folders[:] = [name for name in folders if not name.startswith(NOT_OURS)]
        yield from (os.path.relpath(os.path.join(folder, name), SOURCE) for name in files)


def shows(text, version):
    """An address that ends or begins with the same figures is none."""
    return re.search(rf"(?<![\d.]){re.escape(version)}(?![\d.]*\d)", text) is not None


class Version(unittest.TestCase):
    def setUp(self):
        self.version = re.search(r"project\(vrdx_routedriver VERSION (\d+\.\d+\.\d+) ", text_of(HOME))[1]

    def test_page_of_changes_begins_with_it(self):
        headings = re.findall(r"^## (\S+)", text_of("CHANGELOG.md"), re.MULTILINE)
        self.assertEqual(headings[0], self.version)
        numbers = [tuple(map(int, heading.split("."))) for heading in headings]
        self.assertEqual(numbers, sorted(set(numbers), reverse=True))

    def test_no_other_file_repeats_it(self):
        found = {path for path in files_of_the_project() if shows(text_of(path), self.version)}
        self.assertEqual(found, {HOME, "CHANGELOG.md"})

    def test_repetitions_are_recognised(self):
        for text in ("version 7.8.9.", "v7.8.9-1", "7.8.9"):
            self.assertTrue(shows(text, "7.8.9"), text)
        for text in ("1.7.8.9", "7.8.9.1", "7.8.91"):
            self.assertFalse(shows(text, "7.8.9"), text)

    def test_tool_tells_it(self):
        told = subprocess.run([os.path.join(PROGRAMS, "vrdx_routectl"), "--version"], capture_output=True, text=True,
                              check=True)
        self.assertEqual(told.stdout, f"vrdx_routectl {self.version}\n")


if __name__ == "__main__":
    PROGRAMS, SOURCE = sys.argv.pop(1), sys.argv.pop(1)
    unittest.main()
