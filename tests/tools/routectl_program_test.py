"""vrdx_routectl against drivers that a real one seldom is: with errors, with odd names, broken, or foreign.

Usage: routectl_program_test.py PATH-OF-VRDX_ROUTECTL [CLASS[.METHOD] ...]
"""

import json
import subprocess
import sys
import time
import unittest

from scripted_driver import (ARGUMENT, END, ENTRY, ScriptedDriver, answers_takes, described, error, error_to_take,
                             no_router, packet)

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
        names = ("ping", "exit", "set", "describe", "report", "watch", "router set")
        driver = self.driver(**{name: error("too many clients") for name in names})
        told = "vrdx_routectl: the driver answers with an error: too many clients\n"
        for call in (["ping"], ["exit"], ["set", "a=b"], ["status"], ["report"], ["watch"], ["route", "1=1"],
                     ["takes"], ["takes", "-f"], ["undo"], ["names", "inputs"], ["router-set", "input.1.name=x"],
                     ["save", "never-written"]):
            with self.subTest(call):
                self.expect(self.routectl(driver, *call), REFUSED, "", told)

    def test_reply_cannot_disturb_the_terminal(self):
        driver = self.driver(ping=error(b"\x1b[2Jred\nline\xff"))
        self.expect(self.routectl(driver, "ping"), REFUSED, "",
                    "vrdx_routectl: the driver answers with an error: ?[2Jred?line\ufffd\n")

    def test_no_router_is_exit_code_1(self):
        driver = self.driver(describe=no_router())
        told = "vrdx_routectl: no router\n"
        self.expect(self.routectl(driver, "status"), REFUSED, "! there is no item file\nno router\n")
        shown = json.loads(self.routectl(driver, "status", "--json").stdout)
        self.assertEqual((shown["router"], shown["outputs"]), (False, []))
        for call in (["route", "1=1"], ["names", "outputs"], ["undo"], ["save", driver.file("snapshot")]):
            with self.subTest(call):
                self.expect(self.routectl(driver, *call), REFUSED, "", told)
        self.assertEqual(driver.files(), [".tavrixsock.router"])

    def test_what_is_wrong_comes_first(self):
        error_time = str(time.time_ns() // 1000000 - 125000)
        driver = self.driver(describe=[
            described(4, 1, "1,1", ("link", "down"), ("link text", "no route to host"), ("error", f"{error_time} lost it")),
            described(4, 1, "1,1", ("backend", "starting"), ("backend text", "it ended with exit code 1")),
            described(4, 1, "1,1", ("error", "1000 long ago"))])
        first = [self.routectl(driver, "status").stdout.split("Router with")[0] for _ in range(3)]
        self.assertEqual(first, ["! there is no item file\n! link to the router down: no route to host\n"
                                 "! last error 2 min ago: lost it\n",
                                 "! backend restarting: it ended with exit code 1\n",
                                 first[2]])
        self.assertRegex(first[2], r"\A! there is no item file\n! last error \d+ d ago: long ago\n\Z")

    def test_failures_are_objects_for_programs(self):
        driver = self.driver(describe=described(4, 3), ping=error("busy"))
        result = self.routectl(driver, "ping", "--json")
        self.assertEqual((result.returncode, json.loads(result.stderr)),
                         (REFUSED, {"error": "the driver answers with an error: busy", "exit code": REFUSED}))
        result = self.routectl(driver, "route", "9=1", "--json")
        self.assertEqual(json.loads(result.stderr)["exit code"], WRONG_USE)

    def test_older_driver_is_told_and_can_be_sent_numbers(self):
        driver = self.driver(describe=error("unknown command 'describe'"), watch=error("unknown command 'watch'"))
        older = "vrdx_routectl: this driver is older than vrdx_routectl and does not know '{}': restart it"
        for call, command in ((["status"], "describe"), (["takes"], "describe"), (["watch"], "watch")):
            with self.subTest(call):
                self.expect(self.routectl(driver, *call), REFUSED, "", older.format(command) + "\n")
        self.expect(self.routectl(driver, "route", "3=2"), REFUSED, "",
                    older.format("describe") + ", or take with --no-wait, which no answer follows\n")
        driver.requests.clear()
        self.expect(self.routectl(driver, "route", "--no-wait", "3=2", "4=5,6", "7=none"), DONE)
        takes = [(ARGUMENT, "3=2"), (ARGUMENT, "4=5,6"), (ARGUMENT, "7=0"), (END,)]
        self.assertEqual(driver.requests[-1], ("route", takes))
        result = self.routectl(driver, "route", "--no-wait", "Studio=2")
        self.assertEqual(result.returncode, WRONG_USE)
        self.assertIn("this driver needs numbers", result.stderr)

    def test_driver_that_describes_but_does_not_answer_takes_is_told(self):
        driver = self.driver(describe=described(4, 3), take=error_to_take("unknown command 'take'"))
        self.expect(self.routectl(driver, "route", "3=2"), REFUSED, "",
                    "vrdx_routectl: this driver is older than vrdx_routectl and does not know 'take': restart it, "
                    "or take with --no-wait, which no answer follows\n")

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
        driver = self.driver(describe=described(8, 8), take=answers_takes("confirmed", "confirmed", "confirmed"))
        self.expect(self.routectl(driver, "route", "3=2", "4=5,6", "7=none", "--by", "desk 3"), DONE)
        ((command, items),) = [one for one in driver.requests if one[0] != "describe"]
        self.assertEqual((command, items[:4]),
                         ("take", [(ARGUMENT, "3=2"), (ARGUMENT, "4=5,6"), (ARGUMENT, "7=0"), (END,)]))
        self.assertIn((ENTRY, "by", "desk 3"), items)

    def test_take_of_one_level_expects_what_the_output_shows(self):
        driver = self.driver(describe=described(8, 8, "1,2"), take=answers_takes("refused changed meanwhile"))
        result = self.routectl(driver, "route", "3.audio=5")
        self.expect(result, REFUSED, "", 'vrdx_routectl: output 3 "Monitor 3": refused: changed meanwhile; it shows '
                    'audio 1 "Camera 1", video 2 "Camera 2", not audio 5 "Camera 5", video 2 "Camera 2"\n')
        items = next(items for command, items in driver.requests if command == "take")
        self.assertIn((ARGUMENT, "3=5,2"), items)
        self.assertIn((ENTRY, "expect", "3=1,2"), items)

    def test_without_waiting_the_takes_are_only_sent(self):
        driver = self.driver(describe=described(8, 8))
        self.expect(self.routectl(driver, "route", "--no-wait", "Monitor 3=Camera 2"), DONE)
        self.assertEqual(driver.requests[-1], ("route", [(ARGUMENT, "3=2"), (END,)]))

    def test_dry_run_sends_nothing(self):
        driver = self.driver(describe=described(8, 2))
        self.expect(self.routectl(driver, "route", "--dry-run", "1=2", "2=1"), DONE,
                    'output 1 "Monitor 1": 1 "Camera 1" -> 2 "Camera 2"\noutput 2 "Monitor 2": stays 1 "Camera 1"\n')
        self.assertEqual([command for command, _ in driver.requests], ["describe"])

    def test_malformed_words_are_wrong_use_and_nothing_is_sent(self):
        driver = self.driver(describe=described(4, 4))
        for call in (["route", "1=1", "2=x"], ["set", "no equals"], ["set", "a=b", "=c"],
                     ["router-set", "output.0.name=x"], ["router-set", "output.1.na\nme=x"],
                     ["send", "x", "--entry", "y"], ["status", "--outputs", "1-9"], ["status", "--input", "none"],
                     ["names", "of all"], ["route", "1=1", "--wait", "--no-wait"]):
            with self.subTest(call):
                result = self.routectl(driver, *call)
                self.assertEqual((result.returncode, result.stdout), (WRONG_USE, ""))
                self.assertRegex(result.stderr, r"^vrdx_routectl: [^\n]+\n$")
        self.assertLessEqual({command for command, _ in driver.requests}, {"describe"})

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

    # --- takes and their answers ---

    def test_each_output_that_did_not_follow_is_told_with_the_reason(self):
        results = {
            "confirmed": None,
            "shows 3,3": 'the router shows 3 "Camera 3" instead of 2 "Camera 2"',
            "refused no backend": 'refused: no backend; it shows 1 "Camera 1", not 2 "Camera 2"',
            "refused by the router: output is locked":
                'refused by the router: output is locked; it shows 1 "Camera 1", not 2 "Camera 2"',
            "replaced sent 4000000123 99 desk 3":
                'replaced by a later take of user 4000000123 (desk 3); it shows 1 "Camera 1", not 2 "Camera 2"',
            "replaced unsent 4000000123 99":
                'never sent, replaced by a later take of user 4000000123; it shows 1 "Camera 1", not 2 "Camera 2"',
            "withdrawn link down": 'never sent: link down; it shows 1 "Camera 1", not 2 "Camera 2"',
            "unknown backend ended":
                'backend ended, nobody knows whether it switched; it shows 1 "Camera 1", not 2 "Camera 2"',
            "postponed for now": 'the driver says: postponed for now; it shows 1 "Camera 1", not 2 "Camera 2"',
        }
        driver = self.driver(describe=described(4, 9), take=answers_takes(*results))
        told = [f'vrdx_routectl: output {i} "Monitor {i}": {text}\n'
                for i, text in enumerate(results.values(), 1) if text]
        self.expect(self.routectl(driver, "route", "*=2"), REFUSED, "", "".join(told))

    def test_takes_are_told_as_json(self):
        driver = self.driver(describe=described(4, 4), take=answers_takes("confirmed", "refused no backend"))
        result = self.routectl(driver, "--json", "route", "2=1", "3=2")
        self.assertEqual((result.returncode, result.stderr), (REFUSED, ""))
        one, two = {"audio": 1, "video": 1}, {"audio": 2, "video": 2}
        self.assertEqual(json.loads(result.stdout), {"confirmed": False, "outputs": [
            {"output": 2, "name": "Monitor 2", "asked": one, "confirmed": True, "result": "confirmed", "text": ""},
            {"output": 3, "name": "Monitor 3", "asked": two, "confirmed": False, "result": "refused",
             "text": "no backend", "shown": one}]})

    def test_driver_that_goes_away_leaves_the_takes_unknown(self):
        driver = self.driver(describe=described(4, 4), take=None)
        self.expect(self.routectl(driver, "route", "1-3=2"), NO_DRIVER, "",
                    "vrdx_routectl: the driver closed the connection without an answer\n"
                    "vrdx_routectl: nobody knows whether these outputs switched: 1-3\n")
        self.assertEqual([command for command, _ in driver.requests], ["describe", "take"])

    def test_restore_sends_all_takes_in_one_packet(self):
        driver = self.driver(describe=described(4, 3, "0,2"), take=answers_takes(*["confirmed"] * 3))
        snapshot = driver.file("snapshot")
        self.expect(self.routectl(driver, "save", snapshot), DONE, f"3 outputs saved to {snapshot}\n")
        driver.requests.clear()
        self.expect(self.routectl(driver, "restore", snapshot), DONE, "3 outputs restored\n")
        self.assertEqual([command for command, _ in driver.requests], ["describe", "take"])
        takes = [(ARGUMENT, f"{output}=0,2") for output in (1, 2, 3)]
        self.assertEqual(driver.requests[1][1][:4], [*takes, (END,)])

    def test_restore_takes_nothing_again_when_the_driver_goes_away(self):
        driver = self.driver(describe=described(4, 3), take=None)
        snapshot = driver.file("snapshot")
        self.routectl(driver, "save", snapshot)
        driver.requests.clear()
        self.expect(self.routectl(driver, "restore", snapshot), NO_DRIVER, "",
                    "vrdx_routectl: the driver closed the connection without an answer\n"
                    "vrdx_routectl: nobody knows whether these outputs switched: 1-3\n")
        self.assertEqual([command for command, _ in driver.requests], ["describe", "take"])

    def test_snapshot_that_cannot_be_written_is_told(self):
        driver = self.driver(describe=described(4, 3))
        for path, reason in ((driver.file("missing/snapshot"), "No such file or directory"),
                             ("/dev/full", "it is a device"), ("/dev", "it is a directory")):
            with self.subTest(path):
                self.expect(self.routectl(driver, "save", path), REFUSED, "",
                            f"vrdx_routectl: cannot write {path}: {reason}\n")

    def test_save_waits_for_takes_and_names_those_that_stay_unconfirmed(self):
        waiting = described(4, 2, "1,1").replace(b"output 2 sources", b"output 2 waiting")
        driver = self.driver(describe=[waiting])
        result = self.routectl(driver, "save", "-")
        self.assertEqual(result.returncode, REFUSED)
        self.assertEqual([one["output"] for one in json.loads(result.stdout)["crosspoints"]], [1])
        self.assertEqual(result.stderr,
                         "vrdx_routectl: not saved, as the router has not confirmed them: 1 output, 2\n")

    # --- output ---

    def test_output_that_cannot_be_written_is_no_success(self):
        driver = self.driver(describe=described(4, 3))
        for command in (["status"], ["save", "-"], ["names", "inputs"]):
            with self.subTest(command), open("/dev/full", "w", encoding="utf-8") as full:
                result = self.routectl(driver, *command, stdout=full, stderr=subprocess.PIPE)
                self.assertEqual(result.returncode, REFUSED)
                self.assertEqual(result.stderr, "vrdx_routectl: cannot write the output\n")


if __name__ == "__main__":
    ROUTECTL = sys.argv.pop(1)
    unittest.main()
