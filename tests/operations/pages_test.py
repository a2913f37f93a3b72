"""docs/operations.md knows every line of the trace, and the README shows what the recording of the demo says.

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


class Recording(unittest.TestCase):
    def test_readme_shows_what_the_recording_says(self):
        result = subprocess.run([os.path.join(SOURCE, "docs", "record_demo.sh"), "--check"],
                                capture_output=True, text=True, check=False)
        self.assertEqual((result.returncode, result.stderr), (0, ""))


if __name__ == "__main__":
    SOURCE = sys.argv.pop(1)
    unittest.main()
