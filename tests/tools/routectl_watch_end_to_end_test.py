"""Changes told line by line, across a restart of the driver.

Usage: routectl_watch_end_to_end_test.py PATH-OF-VRDX_ROUTEDRIVER PATH-OF-VRDX_ROUTECTL [CLASS[.METHOD] ...]
"""

import json
import os
import pwd
import queue
import re
import signal
import subprocess
import threading

from routectl_fixture import DONE, PATIENCE, RoutectlTest, main, wait_until


class RoutectlWatch(RoutectlTest):
    def watch(self, *options):
        process = subprocess.Popen(
            [self.routectl_program, "--timeout", str(PATIENCE), *options, self.driver.item, "watch"],
            stdout=subprocess.PIPE,
            text=True,
        )
        self.read_lines_of(process)
        return process

    def read_lines_of(self, process):
        self.lines = queue.Queue()
        reader = threading.Thread(target=lambda: [self.lines.put(line) for line in process.stdout])
        reader.start()
        self.addCleanup(process.stdout.close)
        self.addCleanup(reader.join)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)

    def next_line(self):
        """Without its timestamp, which is checked."""
        line = self.lines.get(timeout=PATIENCE).rstrip("\n")
        stamp, _, text = line.partition(" ")
        self.assertRegex(stamp, r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d{4}$")
        return text

    def test_each_change_is_a_line(self):
        self.wait_for_router()
        self.watch()
        self.assertEqual(self.next_line(), "watching 8x4, backend running, link up")
        self.routectl("router-set", "output.3.name=Studio")
        self.assertEqual(self.next_line(), 'output 3 name "Output 3" -> "Studio"')
        self.routectl("router-set", "input.2.name=Camera")
        self.assertEqual(self.next_line(), 'input 2 name "Input 2" -> "Camera"')
        self.routectl("route", "1=5,6")
        user = pwd.getpwuid(os.geteuid()).pw_name
        sources = 'audio 5 "Input 5", video 6 "Input 6"'
        self.assertEqual(self.next_line(), f'output 1 "Output 1" source 1 "Input 1" -> {sources}, '
                                           f"take of {user} (vrdx_routectl), not confirmed yet")
        self.assertRegex(self.next_line(), re.escape(f'output 1 "Output 1" take of {sources} by {user} '
                                                     "(vrdx_routectl): confirmed (") + r"\d+ ms\)$")

    def test_take_that_falls_back_is_told_with_its_end(self):
        self.wait_for_router()
        self.routectl("set", "simulated refuse outputs=2")
        self.driver.wait_for_trace("setting simulated refuse outputs = 2")
        self.watch()
        self.next_line()
        self.routectl("route", "--no-wait", "2=5")
        self.assertIn("not confirmed yet", self.next_line())
        lines = [self.next_line(), self.next_line()]
        self.assertRegex("\n".join(lines), r'output 2 "Output 2" source 5 "Input 5" -> 2 "Input 2", (taken back|at the)')
        self.assertRegex("\n".join(lines), r'output 2 "Output 2" take of 5 "Input 5" by \S+: [^\n]+ \(\d+ ms\)')

    def test_record_goes_on_through_a_restart(self):
        self.wait_for_router()
        self.routectl("route", "1=5")
        process = subprocess.Popen([self.routectl_program, "--timeout", str(PATIENCE), self.driver.item, "takes", "-f"],
                                   stdout=subprocess.PIPE, text=True)
        self.read_lines_of(process)
        self.assertIn('-> 5 "Input 5", confirmed', self.next_line())
        self.routectl("route", "1=6")
        self.assertIn('-> 6 "Input 6", confirmed', self.next_line())
        self.driver.stop()
        self.driver.start()
        self.wait_for_router()
        self.routectl("route", "1=7")
        self.assertIn('-> 7 "Input 7", confirmed', self.next_line())

    def test_restart_of_the_driver_is_told_and_survived(self):
        self.wait_for_router()
        self.watch()
        self.assertEqual(self.next_line(), "watching 8x4, backend running, link up")
        self.driver.stop()
        self.assertEqual(self.next_line(), "driver gone")
        self.driver.start()
        self.assertEqual(self.next_line(), "driver back")
        self.wait_for_router()
        self.routectl("route", "1=5")
        wait_until("the take is told", lambda: 'source 1 "Input 1" -> 5 "Input 5"' in self.next_line())

    def test_loss_of_the_backend_is_told(self):
        self.wait_for_router()
        self.watch()
        self.assertEqual(self.next_line(), "watching 8x4, backend running, link up")
        self.driver.replace_item("driver=none\n")
        self.assertIn("backend running -> none", self.next_line())

    def test_json_is_one_object_per_line(self):
        self.wait_for_router()
        self.watch("--json")
        first = json.loads(self.lines.get(timeout=PATIENCE))
        self.assertEqual((first["change"], first["size"]), ("begin", {"inputs": 8, "outputs": 4}))
        self.routectl("route", "1=5")
        change = json.loads(self.lines.get(timeout=PATIENCE))
        self.assertRegex(change.pop("time"), r"^\d{4}-\d\d-\d\dT")
        one, five = {"audio": 1, "video": 1}, {"audio": 5, "video": 5}
        self.assertEqual((change["change"], change["output"], change["cause"], change["confirmed"]),
                         ("source", 1, "take", False))
        self.assertEqual((change["before"], change["after"]), (one, five))
        self.assertEqual(change["taken"]["by"], "vrdx_routectl")
        taken = json.loads(self.lines.get(timeout=PATIENCE))
        self.assertEqual((taken["change"], taken["output"], taken["result"]), ("take", 1, "confirmed"))

    def test_interrupt_ends_it_well(self):
        self.wait_for_router()
        for number in (signal.SIGINT, signal.SIGTERM):
            watching = self.watch()
            self.assertEqual(self.next_line(), "watching 8x4, backend running, link up")
            watching.send_signal(number)
            self.assertEqual(watching.wait(PATIENCE), DONE)


if __name__ == "__main__":
    main()
