"""The Python client among the examples, against a driver that plays a script.

Usage: python_example_test.py [CLASS.METHOD ...]
"""

import os
import subprocess
import sys
import unittest

from scripted_driver import ARGUMENT, END, ENTRY, ScriptedDriver, error, packet

CLIENT = os.path.join(os.environ["VRDX_EXAMPLES"], "client_python", "vrdx_client_example.py")
PATIENCE = 60  # seconds; reached only when a test fails
EPOCH = "00112233445566aa"


def told(command, *entries, result=0, epoch=EPOCH):
    entries = [("epoch", epoch), *entries]
    return packet(command, (END,), *[(ENTRY, name, value) for name, value in entries], result=result)


class PythonExample(unittest.TestCase):
    def run_client(self, replies, *words):
        """Exit code, lines of output, and complaint of the client with a driver that replies so."""
        self.driver = ScriptedDriver(replies)
        self.addCleanup(self.driver.close)
        command = [sys.executable, "-B", CLIENT, self.driver.file(".tavrixsock.router"), *words]
        result = subprocess.run(command, capture_output=True, text=True, check=False, timeout=PATIENCE)
        return result.returncode, result.stdout.splitlines(), result.stderr

    def test_describe_prints_all_pages(self):
        pages = [
            told("describe", ("sequence", "4"), ("inputs", "2"), ("input 1", "Camera 1"), ("next", "i2")),
            told("describe", ("sequence", "4"), ("input 2", b"red\xff\x1b[2J"), ("output 1 sources", "1,unknown")),
        ]
        code, lines, _ = self.run_client({"describe": pages}, "describe")
        expected = ["sequence: 4", "inputs: 2", "input 1: Camera 1", "input 2: red??[2J", "output 1 sources: 1,unknown"]
        self.assertEqual((code, lines[1:]), (0, expected))
        self.assertEqual(self.driver.requests, [("describe", [(END,)]), ("describe", [(ARGUMENT, "i2"), (END,)])])

    def watch(self, *pushed):
        watching = told("watch", ("sequence", "1"), ("last take", "0"))
        return self.run_client({"watch": watching + b"".join(pushed)}, "watch")

    def test_watch_prints_each_change_and_take(self):
        code, lines, complaint = self.watch(
            told("change", ("from", "1"), ("to", "2"), ("inputs", "1"), ("more", "1")),
            told("change", ("from", "1"), ("to", "2"), ("input 1", "Camera")),
            packet("weather", (END,), (ENTRY, "rain", "1")),
            told("alive", ("sequence", "2"), ("last take", "0")),
            told("change", ("from", "3"), ("to", "3"), ("link", "up")),
            told("takes", ("take", "1"), ("result", "confirmed")),
            told("change", ("from", "5"), ("to", "5")),
        )
        expected = ["2 inputs: 1", "2 input 1: Camera", "3 link: up", "decided take: 1", "decided result: confirmed"]
        self.assertEqual((code, lines), (3, expected))
        self.assertIn("a change is missing", complaint)

    def test_watch_notices_another_driver(self):
        code, _, complaint = self.watch(told("change", ("from", "1"), ("to", "2"), epoch="00112233445566bb"))
        self.assertEqual(code, 3)
        self.assertIn("started anew", complaint)

    def test_take_prints_each_result_between_other_packets(self):
        answer = told("alive") + told("take", ("id", "1"), ("output 3", "confirmed"), ("output 4", "shows 1,1"), result=1)
        code, lines, _ = self.run_client({"take": answer}, "take", "3=2", "4=5,6")
        self.assertEqual((code, lines), (1, ["output 3: confirmed", "output 4: shows 1,1"]))
        ((command, items),) = self.driver.requests
        expected = [(ARGUMENT, "3=2"), (ARGUMENT, "4=5,6"), (END,), (ENTRY, "id", "1"), (ENTRY, "by", "python example")]
        self.assertEqual((command, items), ("take", expected))

    def test_confirmed_take_is_exit_code_0(self):
        answer = told("take", ("id", "1"), ("output 3", "confirmed"))
        self.assertEqual(self.run_client({"take": answer}, "take", "3=2")[:2], (0, ["output 3: confirmed"]))

    def test_error_is_exit_code_1(self):
        code, lines, complaint = self.run_client({"describe": error("unknown command 'describe'")}, "describe")
        self.assertEqual((code, lines), (1, []))
        self.assertEqual(complaint, "the driver refuses: unknown command 'describe'\n")

    def test_broken_replies_are_exit_code_3(self):
        cut = packet("describe", (END,))[:-6] + b"N\xff\xff\xff\xff\x00"
        for reply in (None, b"HTTP/1.0 400 Bad Request\r\n\r\n", cut):
            with self.subTest(reply):
                self.assertEqual(self.run_client({"describe": reply}, "describe")[0], 3)

    def test_no_driver_is_exit_code_3_and_wrong_use_2(self):
        for words, code in ((["/nowhere/socket", "describe"], 3), (["/nowhere/socket", "take"], 2), ([], 2)):
            result = subprocess.run([sys.executable, "-B", CLIENT, *words], capture_output=True, check=False)
            self.assertEqual((result.returncode, result.stdout), (code, b""))

    def test_source_is_short_and_needs_the_standard_library_only(self):
        with open(CLIENT, encoding="utf-8") as source:
            lines = source.read().splitlines()
        self.assertLess(len(lines), 200)
        modules = {line.split()[1] for line in lines if line.startswith(("import ", "from "))}
        self.assertLessEqual(modules, set(sys.stdlib_module_names))


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
