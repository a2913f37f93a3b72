"""Commands that go on while the driver is restarted under them, as an upgrade does, and its log.

Usage: routectl_restart_end_to_end_test.py PATH-OF-VRDX_ROUTEDRIVER PATH-OF-VRDX_ROUTECTL [CLASS[.METHOD] ...]
"""

import os
import queue
import re
import signal
import subprocess
import threading

from routectl_fixture import DONE, NO_DRIVER, PATIENCE, REFUSED, WRONG_USE, RoutectlTest, main, simulated, wait_until


class LongCommand:
    """A command that runs on, with its lines as they come."""

    def __init__(self, test, *arguments):
        self.process = subprocess.Popen(
            [test.routectl_program, *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.lines = queue.Queue()
        reader = threading.Thread(target=lambda: [self.lines.put(line) for line in self.process.stdout])
        reader.start()
        test.addCleanup(self.process.stdout.close)
        test.addCleanup(reader.join)
        test.addCleanup(self.process.wait)
        test.addCleanup(self.process.kill)

    def next_line(self):
        return self.lines.get(timeout=PATIENCE).rstrip("\n")

    def wait_for_line(self, text):
        wait_until(f"a line with {text!r}", lambda: text in self.next_line())


class RoutectlRestore(RoutectlTest):
    item_text = simulated(further="simulated delay ms=60000\n")

    def test_driver_that_goes_away_leaves_all_outputs_unknown_and_nothing_is_taken_again(self):
        snapshot = self.driver.file("snapshot")
        self.wait_for_router()
        self.assertEqual(self.routectl("save", snapshot).returncode, DONE)
        restore = LongCommand(self, "--timeout", str(PATIENCE), self.driver.item, "restore", snapshot)
        self.driver.wait_for_trace("*COMMAND=route outputs")
        self.driver.send_signal(signal.SIGKILL)
        self.driver.wait_for_end()
        self.assertEqual(restore.next_line(), "vrdx_routectl: the driver closed the connection without an answer")
        self.assertEqual(restore.next_line(), "vrdx_routectl: nobody knows whether these outputs switched: 1-4")
        self.assertEqual(restore.process.wait(PATIENCE), NO_DRIVER)
        self.driver.start()
        self.wait_for_router()
        self.assertEqual(self.driver.trace().count("*COMMAND=route outputs"), 1)

    def test_driver_that_is_away_from_the_beginning_is_told(self):
        snapshot = self.driver.file("snapshot")
        self.wait_for_router()
        self.assertEqual(self.routectl("save", snapshot).returncode, DONE)
        self.driver.stop()
        result = self.routectl("restore", snapshot)
        self.assertEqual((result.returncode, result.stdout), (NO_DRIVER, ""))


class RoutectlStatusWarnings(RoutectlTest):
    item_text = "driver=route_there_is_none\n"

    def test_backend_that_restarts_comes_before_the_table(self):
        self.driver.wait_for_trace("Failed to start backend driver")
        told = re.compile(r"! backend restarting(: .*)?\n! last error \d+ s ago: ")
        wait_until("told", lambda: told.match(self.routectl("status").stdout))
        result = self.routectl("status")
        self.assertIn("Failed to start backend driver", result.stdout)
        self.assertEqual((result.returncode, result.stdout.splitlines()[-1]), (REFUSED, "no router"))

    def test_item_without_a_driver_comes_before_the_table(self):
        self.driver.replace_item(simulated())
        self.wait_for_router()
        self.assertNotIn("! backend", self.routectl("status").stdout)
        self.driver.replace_item("driver=none\n")
        first = '! no backend: the item file names no usable driver: "none"\n'
        wait_until("told", lambda: self.routectl("status").stdout.startswith(first))
        self.assertIn("\nRouter with 8 inputs and 4 outputs\n", self.routectl("status").stdout)
        self.assertEqual(self.json_of("status")["backend"], "none")


class RoutectlLogs(RoutectlTest):
    def start_driver(self, item_text):
        super().start_driver(item_text)
        self.driver.stop()
        self.driver.command.append("--stderr-to-log")
        self.driver.start()

    def test_last_lines_are_shown(self):
        self.wait_for_router()
        self.driver.stop()
        self.expect(self.routectl("logs", "--lines", "2"), DONE,
                    "".join(self.log().splitlines(keepends=True)[-2:]))
        self.assertEqual(self.routectl("logs", "--lines", "100000").stdout, self.log())

    def log(self):
        with open(self.driver.file(".tavrixlog.router"), encoding="utf-8") as log:
            return log.read()

    def test_following_survives_rotation_and_a_restart(self):
        self.wait_for_router()
        logs = LongCommand(self, self.driver.item, "logs", "-f", "--lines", "1000")
        logs.wait_for_line("Media item setting:")
        self.routectl("set", "first=1")
        logs.wait_for_line("Notify server 'first' = '1'")
        wait_until("a new file begins", self.fill_log)
        self.routectl("set", "second=2")
        logs.wait_for_line("Notify server 'second' = '2'")
        self.driver.stop()
        logs.wait_for_line("Housekeeping shut down")
        self.driver.start()
        logs.wait_for_line("Media item setting:")
        self.assertIsNone(logs.process.poll())
        logs.process.send_signal(signal.SIGINT)
        self.assertEqual(logs.process.wait(PATIENCE), DONE)

    def fill_log(self):
        """A megabyte and more; 16 MiB make a new file."""
        self.routectl("set", *(f"filling{i}=" + "x" * 110000 for i in range(9)))
        return os.path.exists(self.driver.file(".tavrixlog.router.1"))

    def test_without_a_log_file_the_reason_is_told(self):
        self.driver.stop()
        result = self.run_routectl(self.driver.item + ".other", "logs")
        self.assertEqual((result.returncode, result.stdout), (REFUSED, ""))
        self.assertIn("there is no log file ", result.stderr)
        self.assertIn("--stderr-to-log", result.stderr)

    def test_wrong_uses(self):
        for call in (("--sock", "/x", "logs"), (self.driver.item, "logs", "--json"),
                     (self.driver.item, "logs", "--lines", "x"), (self.driver.item, "status", "-f")):
            with self.subTest(call):
                self.assertEqual(self.run_routectl(*call).returncode, WRONG_USE)


if __name__ == "__main__":
    main()
