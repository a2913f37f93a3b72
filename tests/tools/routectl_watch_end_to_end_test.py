"""Changes told line by line, across a restart of the driver.

Usage: routectl_watch_end_to_end_test.py PATH-OF-VRDX_ROUTEDRIVER PATH-OF-VRDX_ROUTECTL [CLASS[.METHOD] ...]
"""

import json
import queue
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
        self.lines = queue.Queue()
        reader = threading.Thread(target=lambda: [self.lines.put(line) for line in process.stdout])
        reader.start()
        self.addCleanup(process.stdout.close)
        self.addCleanup(reader.join)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def next_line(self):
        """Without its timestamp, which is checked."""
        line = self.lines.get(timeout=PATIENCE).rstrip("\n")
        stamp, _, text = line.partition(" ")
        self.assertRegex(stamp, r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d{4}$")
        return text

    def wait_for_line(self, text):
        wait_until(f"watch says {text!r}", lambda: self.next_line() == text)

    def test_each_change_is_a_line(self):
        self.wait_for_router()
        self.watch()
        self.assertEqual(self.next_line(), "watching 8x4, backend connected")
        self.routectl("router-set", "output.3.name=Studio")
        self.assertEqual(self.next_line(), 'output 3 name "Output 3" -> "Studio"')
        self.routectl("router-set", "input.2.name=Camera")
        self.assertEqual(self.next_line(), 'input 2 name "Input 2" -> "Camera"')
        self.routectl("route", "1=5,6")
        self.assertEqual(self.next_line(), "output 1 source 1 -> audio 5, video 6")

    def test_restart_of_the_driver_is_told_and_survived(self):
        self.wait_for_router()
        self.watch()
        self.assertEqual(self.next_line(), "watching 8x4, backend connected")
        self.driver.stop()
        self.assertEqual(self.next_line(), "driver gone")
        self.driver.start()
        self.assertEqual(self.next_line(), "driver back")
        self.wait_for_router()
        self.routectl("route", "1=5")
        self.wait_for_line("output 1 source 1 -> 5")

    def test_loss_of_the_backend_is_told(self):
        self.wait_for_router()
        self.watch()
        self.assertEqual(self.next_line(), "watching 8x4, backend connected")
        self.driver.replace_item("driver=none\n")
        self.assertEqual(self.next_line(), "backend not connected")

    def test_json_is_one_object_per_line(self):
        self.wait_for_router()
        self.watch("--json")
        first = json.loads(self.lines.get(timeout=PATIENCE))
        self.assertEqual((first["change"], first["size"]), ("begin", {"inputs": 8, "outputs": 4}))
        self.routectl("route", "1=5")
        change = json.loads(self.lines.get(timeout=PATIENCE))
        self.assertRegex(change.pop("time"), r"^\d{4}-\d\d-\d\dT")
        one, five = {"audio": 1, "video": 1}, {"audio": 5, "video": 5}
        self.assertEqual(change, {"change": "source", "output": 1, "before": one, "after": five})

    def test_interrupt_ends_it_well(self):
        self.wait_for_router()
        for number in (signal.SIGINT, signal.SIGTERM):
            watching = self.watch()
            self.assertEqual(self.next_line(), "watching 8x4, backend connected")
            watching.send_signal(number)
            self.assertEqual(watching.wait(PATIENCE), DONE)


if __name__ == "__main__":
    main()
