"""vrdx_routectl against drivers that a real one seldom is: with errors, with odd names, broken, or foreign.

Usage: routectl_program_test.py PATH-OF-VRDX_ROUTECTL [CLASS[.METHOD] ...]
"""

import json
import signal
import subprocess
import sys
import unittest

from scripted_driver import ARGUMENT, END, ENTRY, ScriptedDriver, error, no_router, packet, status

ROUTECTL = ""
PATIENCE = 60  # seconds; reached only when a test fails

DONE, REFUSED, WRONG_USE, NO_DRIVER = range(4)


class RoutectlProgram(unittest.TestCase):
    def driver(self, **replies):
        """A driver with these replies; "_" stands for the blank in a command."""
        driver = ScriptedDriver({command.replace("_", " "): reply for command, reply in replies.items()})
        self.addCleanup(driver.close)
        return driver

    def routectl(self, driver, *arguments, **options):
        command = [ROUTECTL, "--timeout", str(PATIENCE), driver.item, *arguments]
        return subprocess.run(command, text=True, timeout=2 * PATIENCE, check=False, **(options or self.CAPTURED))

    CAPTURED = {"capture_output": True}

    def expect(self, result, code, output="", complaint=""):
        self.assertEqual((result.returncode, result.stdout, result.stderr), (code, output, complaint))

    # --- replies that are no success ---

    def test_error_reply_is_exit_code_1_for_every_command(self):
        names = ("ping", "exit", "set", "status", "report", "route", "router set")
        driver = self.driver(**{name: error("too many clients") for name in names})
        told = "vrdx_routectl: the driver answers with an error: too many clients\n"
        for call in (["ping"], ["exit"], ["set", "a=b"], ["status"], ["report"], ["watch"], ["route", "1=1"],
                     ["route", "--wait", "1=1"], ["router-set", "input.1.name=x"], ["save", "never-written"]):
            with self.subTest(call):
                self.expect(self.routectl(driver, *call), REFUSED, "", told)

    def test_reply_cannot_disturb_the_terminal(self):
        driver = self.driver(ping=error(b"\x1b[2Jred\nline\xff"))
        self.expect(self.routectl(driver, "ping"), REFUSED, "",
                    "vrdx_routectl: the driver answers with an error: ?[2Jred?line\ufffd\n")

    def test_no_router_is_exit_code_1(self):
        driver = self.driver(status=no_router())
        told = "vrdx_routectl: no router\n"
        self.expect(self.routectl(driver, "status"), REFUSED, "! there is no item file\nno router\n")
        self.expect(self.routectl(driver, "status", "--json"), REFUSED, '{"router":false}\n')
        self.expect(self.routectl(driver, "route", "--wait", "1=1"), REFUSED, "", told)
        self.expect(self.routectl(driver, "save", driver.file("snapshot")), REFUSED, "", told)
        self.assertEqual(driver.files(), [".tavrixsock.router"])

    def test_driver_that_closes_without_an_answer_is_exit_code_3(self):
        driver = self.driver(ping=None)
        self.expect(self.routectl(driver, "ping"), NO_DRIVER, "",
                    "vrdx_routectl: the driver closed the connection without an answer\n")

    def test_somebody_else_behind_the_socket_is_exit_code_3(self):
        driver = self.driver(ping=b"HTTP/1.0 400 Bad Request\r\n\r\n")
        result = self.routectl(driver, "ping")
        self.assertEqual(result.returncode, NO_DRIVER)
        self.assertIn("is no driver", result.stderr)

    def test_malformed_reply_is_exit_code_3(self):
        driver = self.driver(ping=packet("ping", (END,), (END,)))
        self.assertEqual(self.routectl(driver, "ping").returncode, NO_DRIVER)

    # --- what goes out ---

    def test_takes_go_out_in_one_packet_audio_first(self):
        driver = self.driver()
        self.expect(self.routectl(driver, "route", "3=2", "4=5,6", "7=none"), DONE)
        takes = [(ARGUMENT, "3=2"), (ARGUMENT, "4=5,6"), (ARGUMENT, "7=0"), (END,)]
        self.assertEqual(driver.requests, [("route", takes)])

    def test_malformed_words_are_wrong_use_and_nothing_is_sent(self):
        driver = self.driver()
        for call in (["route", "1=1", "2=x"], ["set", "no equals"], ["set", "a=b", "=c"],
                     ["router-set", "output.0.name=x"], ["router-set", "output.1.na\nme=x"],
                     ["send", "x", "--entry", "y"], ["restore", "/dev/null"]):
            with self.subTest(call):
                result = self.routectl(driver, *call)
                self.assertEqual((result.returncode, result.stdout), (WRONG_USE, ""))
                self.assertRegex(result.stderr, r"^vrdx_routectl: [^\n]+\n$")
        self.assertEqual(driver.requests, [])

    def test_setting_ends_its_name_at_the_first_equals_sign(self):
        driver = self.driver()
        self.expect(self.routectl(driver, "set", "a b=c=d", "e=", "f=1\n2"), DONE)
        entries = [(END,), (ENTRY, "a b", "c=d"), (ENTRY, "e", ""), (ENTRY, "f", "1\n2")]
        self.assertEqual(driver.requests, [("set", entries)])

    def test_name_of_100000_bytes_passes(self):
        driver = self.driver()
        name = "n" * 100000
        self.expect(self.routectl(driver, "set", name + "=v"), DONE)
        self.assertEqual(driver.requests, [("set", [(END,), (ENTRY, name, "v")])])

    def test_request_beyond_1_mib_is_wrong_use_and_nothing_is_sent(self):
        driver = self.driver()
        words = [f"n{i}=" + "v" * 120000 for i in range(9)]
        self.expect(self.routectl(driver, "set", *words), WRONG_USE, "",
                    "vrdx_routectl: the request is larger than 1048576 bytes\n")
        self.assertEqual(driver.requests, [])
        self.expect(self.routectl(driver, "set", *words[:8]), DONE)

    def test_any_packet_can_be_sent(self):
        driver = self.driver(hello=packet("hello", (ENTRY, "a", b"\xff\n"), (ARGUMENT, ""), (END,), result=7))
        result = self.routectl(driver, "send", "hello", "[x,y]", "", "--entry", "k=v=w", "--", "--json")
        self.expect(result, DONE, 'result 7\ncommand "hello"\nentry "a" = "\\xff\\n"\nargument ""\nend of arguments\n')
        items = [(ARGUMENT, "[x,y]"), (ARGUMENT, ""), (ARGUMENT, "--json"), (END,), (ENTRY, "k", "v=w")]
        self.assertEqual(driver.requests, [("hello", items)])
        shown = json.loads(self.routectl(driver, "--json", "send", "hello").stdout)
        items = [{"name": "a", "value": "\ufffd\n"}, {"argument": ""}, {"end of arguments": True}]
        self.assertEqual(shown, {"command": "hello", "result": 7, "items": items})

    # --- waiting for takes ---

    def test_output_beyond_the_status_is_said_to_be_beyond_it(self):
        driver = self.driver(status=status(128, 128))
        self.expect(self.routectl(driver, "route", "--wait", "200=1", "3=1"), REFUSED, "",
                    "vrdx_routectl: output 200 cannot be confirmed: the driver's status shows outputs 1 to 128 only\n")

    def test_takes_are_told_as_json(self):
        driver = self.driver(status=status(4, 4))
        result = self.routectl(driver, "--json", "route", "--wait", "2=1", "3=2")
        self.assertEqual((result.returncode, result.stderr),
                         (REFUSED, "vrdx_routectl: output 3 shows 1 instead of 2\n"))
        shown = json.loads(result.stdout)
        self.assertEqual([one["confirmed"] for one in shown["outputs"]], [True, False])

    def test_large_salvo_has_more_time_to_follow(self):
        driver = self.driver(status=[status(4, 100), status(4, 100), status(4, 100, "2,2")])
        self.expect(self.routectl(driver, "route", "--wait", *(f"{output}=2" for output in range(1, 101))), DONE)

    def test_restore_sends_all_takes_in_one_packet(self):
        driver = self.driver(status=status(4, 3, "0,2"))
        snapshot = driver.file("snapshot")
        self.expect(self.routectl(driver, "save", snapshot), DONE, f"3 outputs saved to {snapshot}\n")
        driver.requests.clear()
        self.expect(self.routectl(driver, "restore", snapshot), DONE, "3 outputs restored\n")
        self.assertEqual([command for command, _ in driver.requests], ["status", "route", "status"])
        takes = [(ARGUMENT, f"{output}=0,2") for output in (1, 2, 3)]
        self.assertEqual(driver.requests[1][1], [*takes, (END,)])

    def test_snapshot_that_cannot_be_written_is_told(self):
        driver = self.driver(status=status(4, 3))
        missing = driver.file("missing/snapshot")
        self.expect(self.routectl(driver, "save", missing), WRONG_USE, "",
                    f"vrdx_routectl: cannot write {missing}: No such file or directory\n")

    def test_incomplete_snapshot_of_a_large_router_is_told(self):
        driver = self.driver(status=status(128, 128))
        result = self.routectl(driver, "save", driver.file("snapshot"))
        self.assertEqual(result.returncode, DONE)
        self.assertIn("any others are not in the snapshot", result.stderr)

    # --- output ---

    def test_output_that_cannot_be_written_is_no_success(self):
        driver = self.driver(status=status(4, 3))
        for command in ("status", "watch"):
            with self.subTest(command), open("/dev/full", "w", encoding="utf-8") as full:
                result = self.routectl(driver, command, stdout=full, stderr=subprocess.PIPE)
                self.assertEqual(result.returncode, REFUSED)
                self.assertEqual(result.stderr, "vrdx_routectl: cannot write the output\n")

    def test_watch_tells_once_of_a_driver_that_stops_answering(self):
        driver = self.driver(status=status(4, 3), report=packet("report", (END,), (ENTRY, "*active", "1")))
        command = [ROUTECTL, "--timeout", str(PATIENCE), driver.item, "watch"]
        with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as watch:
            self.addCleanup(watch.kill)

            def next_line():
                return watch.stdout.readline().rstrip("\n").partition(" ")[2]

            self.assertEqual(next_line(), "watching 4x3, backend connected")
            driver.replies["status"] = error("too many clients")
            self.assertEqual(next_line(), "driver gone")
            asked = len(driver.requests)
            while len(driver.requests) < asked + 3:  # it goes on asking
                self.assertIsNone(watch.poll())
            driver.replies["status"] = status(4, 3)
            self.assertEqual(next_line(), "driver back")
            driver.replies["status"] = status(4, 3, "2,2")
            self.assertEqual([next_line() for _ in range(3)], [f"output {i} source 1 -> 2" for i in (1, 2, 3)])
            watch.send_signal(signal.SIGTERM)
            self.assertEqual(watch.wait(PATIENCE), DONE)


if __name__ == "__main__":
    ROUTECTL = sys.argv.pop(1)
    unittest.main()
