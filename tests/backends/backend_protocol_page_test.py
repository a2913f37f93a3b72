"""The examples of docs/backend-protocol.md are read from the page and held against the real programs.

Usage: backend_protocol_page_test.py [CLASS.METHOD ...]
"""

import os
import subprocess
import sys
import tempfile
import unittest

BIN = os.environ["VRDX_BIN"]
PAGE = os.environ["VRDX_PAGE"]
EXAMPLES = ["vrdx_route_example_cpp", "vrdx_route_example_python"]


def blocks_of_page(kind):
    """The lines of each block that is fenced as `kind`."""
    blocks = []
    inside = None
    with open(PAGE, encoding="utf-8") as page:
        for line in page.read().splitlines():
            if line.startswith("```"):
                inside = line[3:]
                if inside == kind:
                    blocks.append([])
            elif inside == kind:
                blocks[-1].append(line)
    return blocks


class BackendProtocolPage(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="vrdx_test.")
        self.addCleanup(directory.cleanup)
        self.item = os.path.join(directory.name, "item")
        with open(self.item, "w", encoding="utf-8") as item:
            item.write("driver=route_example_cpp\n")

    def test_salvo_is_answered_as_the_page_says(self):
        with open(self.item, "w", encoding="utf-8") as item:
            item.write("driver=route_simulator\nsimulated inputs=8\nsimulated outputs=8\n")
        (lines,) = blocks_of_page("simulator")
        said = self.messages([line[2:] for line in lines if line.startswith("<")])
        answered = self.messages(self.play("vrdx_route_simulator", lines))
        self.assertEqual([message for message in answered if message in said], said)

    def play(self, example, lines):
        """Sends the lines marked ">", expects those marked "<": lines of messages, in this order."""
        sent = "".join(line[2:] + "\n" for line in lines if line.startswith(">"))
        result = subprocess.run(
            [os.path.join(BIN, example), "--file", self.item],
            input=sent,
            capture_output=True,
            text=True,
            check=False,
            timeout=100,
        )
        self.assertEqual(result.returncode, 0, result.stderr)
        return [line for line in result.stdout.splitlines()]

    def messages(self, lines):
        """Each message as the set of its lines: the order of the fields means nothing."""
        text = "\n".join(lines) + "\n\n"
        return [frozenset(message.split("\n")) for message in text.split("\n\n") if message.strip()]

    def test_conversations_are_what_the_examples_say(self):
        conversations = blocks_of_page("conversation")
        self.assertGreaterEqual(len(conversations), 3)
        for lines in conversations:
            for line in lines:
                self.assertIn(line[:2].strip(), ("<", ">"), line)
            said = self.messages([line[2:] for line in lines if line.startswith("<")])
            for example in EXAMPLES:
                answered = self.messages(self.play(example, lines))
                for message in said:
                    self.assertIn(message, answered, example)

    def test_output_of_the_check_is_what_it_prints(self):
        (shown,) = blocks_of_page("check")
        program = os.path.join(BIN, EXAMPLES[0])
        command = [os.path.join(BIN, "vrdx_backend_check"), program, "--file", self.item]
        result = subprocess.run(command, capture_output=True, text=True, check=False, timeout=100)
        self.assertEqual(result.stdout.splitlines(), shown)


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
