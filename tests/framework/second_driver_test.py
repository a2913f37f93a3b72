"""A driver on the framework alone: the counter among the examples, started as it is and asked by packets.

Usage: second_driver_test.py PATH-OF-VRDX_COUNTERDRIVER [CLASS.METHOD ...]
"""

import os
import subprocess
import sys
import tempfile
import unittest

from packet_client import Disconnected, PacketClient, packet_bytes
from running_driver import PATIENCE, RunningDriver

PROGRAM = ""


class SecondDriver(unittest.TestCase):
    def serve(self, item_text):
        """A client of a counter that runs."""
        self.driver = RunningDriver(PROGRAM, item_text)
        self.addCleanup(self.driver.close)
        client = PacketClient(self.driver.socket_path, PATIENCE)
        self.addCleanup(client.close)
        return client

    def test_clients_raise_and_read_one_counter(self):
        first = self.serve("step=5\n")
        second = PacketClient(self.driver.socket_path, PATIENCE)
        self.addCleanup(second.close)
        self.assertEqual(first.ask("read"), (0, [], [("counter", "0")]))
        self.assertEqual(first.ask("raise"), (0, [], [("counter", "5")]))
        self.assertEqual(second.ask("raise"), (0, [], [("counter", "10")]))
        self.assertEqual(first.ask("read"), (0, [], [("counter", "10")]))

    def test_setting_changes_the_step(self):
        client = self.serve("")
        self.assertEqual(client.ask("raise")[2], [("counter", "1")])
        client.ask("set", entries=[("step", "1000")])
        self.assertEqual(client.ask("raise")[2], [("counter", "1001")])

    def test_step_beyond_its_range_is_told_and_left(self):
        client = self.serve("step=0\n")
        client.ask("set", entries=[("step", "1001"), ("step", "2 apples"), ("colour", "red")])
        self.assertEqual(client.ask("raise")[2], [("counter", "1")])
        for text in ("0", "1001", "2 apples"):
            self.driver.wait_for_trace(f"A step is a number from 1 to 1000, not '{text}'\n")

    def test_report_shows_counter_and_step(self):
        client = self.serve("step=7\n")
        client.ask("raise")
        entries = dict(client.ask("report")[2])
        self.assertEqual((entries["counter"], entries["step"]), ("7", "7"))
        self.assertRegex(entries["machine"], r"^mem .* resident.*; cpu ")

    def test_commands_of_the_route_driver_are_unknown(self):
        client = self.serve("driver=route_simulator\n")
        client.send(packet_bytes("status"))
        self.assertEqual(client.receive(), ("error", 1, ["unknown command 'status'"], []))

    def test_client_ends_the_driver(self):
        client = self.serve("")
        client.ask("exit")
        self.assertEqual(self.driver.wait_for_end(), 0)
        self.assertFalse(os.path.exists(self.driver.socket_path))
        self.assertRaises(Disconnected, client.receive)

    def test_signal_ends_the_driver(self):
        self.serve("")
        self.assertEqual(self.driver.stop(), 0)

    def test_driver_without_clients_ends_by_itself(self):
        with tempfile.TemporaryDirectory(prefix="vrdx_test.") as folder:
            item = os.path.join(folder, "item")
            with open(item, "w", encoding="utf-8"):
                pass
            self.assertEqual(self.run_program("--file", item, "--auto-shutdown-delay-initial", "0").returncode, 0)
            self.assertEqual(os.listdir(folder), ["item"])

    def run_program(self, *switches):
        return subprocess.run([PROGRAM, *switches], capture_output=True, text=True, check=False, timeout=PATIENCE)

    def test_item_that_is_missing_is_told(self):
        result = self.run_program("--file", "/nowhere/item")
        expected = "Cannot open item file /nowhere/item: No such file or directory\n"
        self.assertEqual((result.returncode, result.stderr), (1, expected))

    def test_wrong_use_is_told(self):
        self.assertIn("Which item? Use --file PATH\n", self.run_program().stderr)
        for wrong in ("--colour", "item"):
            result = self.run_program(wrong)
            self.assertEqual(result.returncode, 1)
            self.assertRegex(result.stderr, f"(?s)^Unknown argument '{wrong.strip('-')}'\n.*--file PATH")


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
