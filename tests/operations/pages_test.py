"""docs/operations.md knows every line of the trace, the README shows what the recording of the demo says, and the pages for
contributors name files that exist.

Usage: pages_test.py SOURCE-DIRECTORY [CLASS[.METHOD] ...]
"""

import glob
import os
import re
import subprocess
import sys
import unittest

SOURCE = ""

LITERAL = r'"(?:[^"\\]|\\.)*"'
PRINTED = re.compile(rf"\b(?:fputs|fprintf|dprintf|trace|return)\b\s*\(?\s*(?:stderr,|stream,|STDERR_FILENO,)?\s*"
                     rf"({LITERAL}(?:\s*{LITERAL})*)")
HELP = ("Usage: ", "Switches (a value", " --oneshot", " --dbg-nochg-assume", " %-39s")  # the help text is no trace


def text_of(path):
    with open(os.path.join(SOURCE, path), encoding="utf-8") as file:
        return file.read()


def printed_lines(code):
    """The lines that a source file prints, as patterns: what differs matches anything."""
    for match in PRINTED.finditer(code):
        joined = "".join(literal[1:-1] for literal in re.findall(LITERAL, match[1]))
        if not joined.endswith("\\n") and not re.search(r"[:<] ?'?$", joined):
            continue  # a text that something else prints
        for line in joined.split("\\n"):
            fixed = [part for part in re.split(r"%(?:\.\*)?[a-z]*", line)]
            if line and not line.startswith(HELP) and re.search(r"[A-Za-z=-]{2}|=", "".join(fixed)):
                yield line, ".+".join(re.escape(part.replace("`", "'")) for part in fixed)


class TraceLines(unittest.TestCase):
    def setUp(self):
        prose = re.sub(r"^```.*?^```$", "", text_of("docs/operations.md"), flags=re.MULTILINE | re.DOTALL)
        self.told = re.findall(r"`([^`]+)`", prose)

    def sources(self):
        for folder in ("routedriver", "framework"):
            yield from glob.glob(os.path.join(SOURCE, folder, "**", "*.cpp"), recursive=True)

    def test_every_line_of_the_trace_is_in_the_page(self):
        count = 0
        for path in self.sources():
            for line, pattern in printed_lines(text_of(path)):
                count += 1
                with self.subTest(line=line, file=os.path.relpath(path, SOURCE)):
                    found = any(re.match(pattern, told) for told in self.told)
                    self.assertTrue(found, "docs/operations.md does not say what this line means")
        self.assertGreaterEqual(count, 75)

    def test_lines_are_recognised_in_the_code(self):
        code = 'std::fprintf(stderr, "Client cut: %s (%s)\\n", a,\n b); fputs("One\\n" "two\\n", stderr); f("other\\n");'
        self.assertEqual([line for line, _ in printed_lines(code)], ["Client cut: %s (%s)", "One", "two"])

    def test_lost_trace_is_in_the_page(self):
        self.assertIn(" bytes of trace lost: nobody read them in time)", text_of("framework/vrdx_framework/vrdx_trace.cpp"))
        self.assertIn("(N bytes of trace lost: nobody read them in time)", self.told)


class ContributorsPages(unittest.TestCase):
    PAGES = ("README.md", "CONTRIBUTING.md", "docs/architecture.md", "tests/cases/README.md")
    # A module's files are named without the folder above it, and what stands for any name in capitals.
    ABOVE = ("", "routedriver", "routedriver/router", "framework", "framework/vrdx_framework", "backends", "docs")
    PATH = re.compile(r"`((?:[\w.*-]+/)+(?:[\w*-]+(?:\.[\w*]+)*)?|[\w*-]+\.(?:cpp|h|md|py|sh|txt))`")

    def named_files(self, page):
        text = re.sub(r"^```.*?^```$", "", text_of(page), flags=re.MULTILINE | re.DOTALL)
        for name in self.PATH.findall(text):
            yield name, re.sub(r"\b[A-Z]{4,}\b(?!\.md)|(?<=_)[A-Z]{4,}", "*", name)

    def exists(self, pattern, page):
        above = (*self.ABOVE, os.path.dirname(page))
        return any(glob.glob(os.path.join(SOURCE, folder, pattern)) for folder in above)

    def test_files_that_the_pages_name_exist(self):
        for page in self.PAGES:
            names = list(self.named_files(page))
            self.assertTrue(names, page)
            for name, pattern in names:
                with self.subTest(page=page, name=name):
                    self.assertTrue(self.exists(pattern, page), "there is no such file")

    def test_usual_changes_touch_three_files_at_most(self):
        chapter = text_of("docs/architecture.md").split("\n## Usual changes\n")[1].split("\n## ")[0]
        rows = [line.strip("| ").split("|") for line in chapter.splitlines() if line.startswith("| ")][1:]
        self.assertGreaterEqual(len(rows), 10)
        for row in rows:
            with self.subTest(row[0]):
                self.assertLessEqual(len(self.PATH.findall(row[1])), 3)
                self.assertTrue(self.PATH.findall("".join(row)))

    def test_case_in_the_contributors_page_is_the_real_one(self):
        parts = re.findall(r"^==> (\S+) <==\n(.*?)(?=^==> |^```|\n==> )", text_of("CONTRIBUTING.md"), re.M | re.S)
        folder = os.path.dirname(parts[0][0])
        self.assertEqual({name for name, _ in parts},
                         {os.path.join(folder, file) for file in os.listdir(os.path.join(SOURCE, folder))})
        for name, shown in parts:
            self.assertEqual(shown.rstrip("\n"), text_of(name).rstrip("\n"), name)

    def test_commands_of_the_contributors_page_are_known(self):
        commands = re.findall(r"^\| `./test\.sh ([a-z]+)", text_of("CONTRIBUTING.md"), re.MULTILINE)
        self.assertGreaterEqual(len(commands), 7)
        known = re.findall(r"^([a-z]+)\)$", text_of("test.sh"), re.MULTILINE)
        self.assertEqual(set(commands), set(known))


class Recording(unittest.TestCase):
    def test_readme_shows_what_the_recording_says(self):
        result = subprocess.run([os.path.join(SOURCE, "docs", "record_demo.sh"), "--check"],
                                capture_output=True, text=True, check=False)
        self.assertEqual((result.returncode, result.stderr), (0, ""))


if __name__ == "__main__":
    SOURCE = sys.argv.pop(1)
    unittest.main()
