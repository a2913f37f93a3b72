"""vrdx_routectl as a person uses it: what is shown, takes, names, packets, exit codes.

Usage: routectl_end_to_end_test.py PATH-OF-VRDX_ROUTEDRIVER PATH-OF-VRDX_ROUTECTL [CLASS[.METHOD] ...]
"""

import json
import os
import signal

from routectl_fixture import DONE, NO_DRIVER, REFUSED, WRONG_USE, RoutectlTest, main, simulated, wait_until


class RoutectlStatus(RoutectlTest):
    def test_table_is_aligned_with_names_beside_numbers(self):
        self.wait_for_router()
        self.routectl("route", "3=7,8", "4=none")
        self.wait_for_output(4, 0, 0)
        wide = "a name that is far too long to be shown whole in one column of a table"
        self.routectl("router-set", f"output.1.name={wide}", "input.7.name=Kamera Süd")
        wait_until("renamed", lambda: "Kamera Süd" in self.routectl("status").stdout)
        title, head, *rows = self.routectl("status").stdout.splitlines()
        self.assertEqual(title, "Router with 8 inputs and 4 outputs")
        self.assertEqual(head.split(), ["Out", "Name", "Audio", "Video"])
        self.assertEqual(len(rows), 4)
        self.assertLessEqual(max(map(len, rows)), 80)
        self.assertIn("a name that is", rows[0])
        self.assertNotIn(wide, rows[0])
        audio, video = head.index("Audio"), head.index("Video")
        self.assertEqual((rows[0][audio:video].strip(), rows[0][video:]), ("1 Input 1", "1 Input 1"))
        self.assertEqual((rows[2][audio:video].strip(), rows[2][video:]), ("7 Kamera Süd", "8 Input 8"))
        self.assertEqual((rows[3][audio:video].strip(), rows[3][video:]), ("-", "-"))

    def test_json_says_the_same(self):
        self.wait_for_router()
        status = self.json_of("status")
        self.assertIs(status["router"], True)
        self.assertEqual(len(status["inputs"]), 8)
        self.assertEqual(status["inputs"][1], {"input": 2, "name": "Input 2"})
        self.assertEqual(status["outputs"][2], {"output": 3, "name": "Output 3", "audio": 3, "video": 3})

    def test_no_router_is_exit_code_1(self):
        self.start_driver("")
        self.expect(self.routectl("status"), REFUSED, "! no backend: the item file names no driver\nno router\n")
        shown = json.loads(self.routectl("--json", "status").stdout)
        self.assertEqual((shown["router"], shown["backend"]), (False, "none"))
        snapshot = self.driver.file("snapshot")
        self.expect(self.routectl("save", snapshot), REFUSED, "", "vrdx_routectl: no router\n")
        self.assertFalse(os.path.exists(snapshot))


class RoutectlTakes(RoutectlTest):
    item_text = simulated(further="simulated refuse outputs=2\n")

    def test_take_is_sent_and_done(self):
        self.wait_for_router()
        self.expect(self.routectl("route", "1=5", "3=6,7", "4=0"), DONE)
        self.wait_for_output(1, 5, 5)
        self.wait_for_output(3, 6, 7)
        self.wait_for_output(4, 0, 0)

    def test_wait_says_that_all_followed(self):
        self.wait_for_router()
        result = self.json_of("route", "--wait", "1=5", "3=6,7")
        self.assertIs(result["confirmed"], True)
        self.assertEqual([one["output"] for one in result["outputs"]], [1, 3])
        self.expect(self.routectl("route", "--wait", "1=2"), DONE)
        self.assertEqual(self.output(1), (2, 2))

    def test_wait_names_the_output_that_refused(self):
        self.wait_for_router()
        result = self.routectl("route", "--wait", "1=5", "2=5")
        self.expect(result, REFUSED, "", "vrdx_routectl: output 2 shows 2 instead of 5\n")
        result = self.routectl("--json", "route", "--wait", "2=5")
        self.assertEqual(result.returncode, REFUSED)
        shown = json.loads(result.stdout)["outputs"]
        self.assertEqual(shown[0]["shown"], {"audio": 2, "video": 2})
        self.assertIs(shown[0]["confirmed"], False)

    def test_wait_names_the_output_that_does_not_exist(self):
        self.wait_for_router()
        result = self.routectl("route", "--wait", "5=1")
        self.expect(result, REFUSED, "", "vrdx_routectl: output 5 does not exist: the router has 4 outputs\n")

    def test_malformed_take_is_a_wrong_use_and_nothing_is_sent(self):
        self.wait_for_router()
        for word in ("3", "=2", "0=2", "x=2", "3=", "3=1,2,3", "3=-1", "99999999999=1"):
            with self.subTest(word):
                result = self.routectl("route", "1=5", word)
                self.assertEqual((result.returncode, result.stdout), (WRONG_USE, ""))
                self.assertIn(word, result.stderr)
        self.assertNotIn("queue=add", self.driver.trace())

    def test_names_are_set(self):
        self.wait_for_router()
        self.expect(self.routectl("router-set", "output.3.name=a=b", "input.2.name="), DONE)
        wait_until("renamed", lambda: self.json_of("status")["outputs"][2]["name"] == "a=b")
        wait_until("renamed", lambda: self.json_of("status")["inputs"][1]["name"] == "")
        for word in ("output.0.name=x", "output.name=x", "output.3.name", "colour=x", ""):
            with self.subTest(word):
                self.assertEqual(self.routectl("router-set", word).returncode, WRONG_USE)

    def test_name_of_100000_bytes(self):
        self.wait_for_router()
        name = "n" * 100000
        self.expect(self.routectl("router-set", f"output.1.name={name}"), DONE)
        wait_until("renamed", lambda: self.json_of("status")["outputs"][0]["name"] == name)
        lines = self.routectl("status").stdout.splitlines()
        self.assertTrue(all(len(line) <= 80 for line in lines))
        self.expect(self.routectl("set", f"{name}=1"), DONE)
        self.driver.wait_for_trace(f"Notify server '{name}' = '1'\n")


class RoutectlPackets(RoutectlTest):
    def test_ping(self):
        self.expect(self.routectl("ping"), DONE, "the driver answers\n")

    def test_exit_ends_the_driver(self):
        self.expect(self.routectl("exit"), DONE)
        self.assertEqual(self.driver.wait_for_end(), 0)

    def test_send_shows_the_reply_item_by_item_in_wire_order(self):
        self.wait_for_router()
        status = self.json_of("send", "status")
        self.assertEqual(list(status), ["command", "result", "items"])
        self.assertEqual((status["command"], status["result"]), ("status", 0))
        items = status["items"]
        self.assertEqual(items[0], {"name": "input.name 1", "value": "Input 1"})
        self.assertEqual(items[8], {"name": "output.name 1", "value": "Output 1"})
        self.assertEqual(items[12], {"name": "output 1", "value": "1,1"})
        self.assertEqual(items[16], {"end of arguments": True})
        self.assertEqual(items[17], {"name": "router", "value": "?"})
        self.assertEqual(items[-1], {"name": "input channels", "value": "A,V"})

    def test_send_carries_arguments_and_entries(self):
        self.wait_for_router()
        reply = self.json_of("send", "route", "1=5", "--entry", "set=3=6 4=7", "--entry", "other=2=8")
        self.assertEqual(reply, {"command": "route", "result": 0, "items": [{"end of arguments": True}]})
        self.wait_for_output(1, 5, 5)
        self.wait_for_output(3, 6, 6)
        self.wait_for_output(4, 7, 7)
        self.assertEqual(self.output(2), (2, 2))

    def test_send_of_an_unknown_command_is_exit_code_1(self):
        result = self.routectl("--json", "send", "nonsense")
        self.assertEqual(result.returncode, REFUSED)
        self.assertEqual(
            json.loads(result.stdout),
            {
                "command": "error",
                "result": 1,
                "items": [{"argument": "unknown command 'nonsense'"}, {"end of arguments": True}],
            },
        )
        self.assertIn("unknown command 'nonsense'", result.stderr)

    def test_set_changes_a_setting_of_the_running_driver(self):
        self.wait_for_router()
        self.expect(self.routectl("set", "simulated refuse outputs=1", "tally=a=b"), DONE)
        self.driver.wait_for_trace("Notify server 'tally' = 'a=b'\n")
        self.driver.wait_for_trace("STDERR<NOTE>: 'setting simulated refuse outputs = 1'\n")
        self.assertEqual(self.routectl("route", "--wait", "1=5").returncode, REFUSED)

    def test_set_without_equals_is_a_wrong_use(self):
        for word in ("tally", "=on", ""):
            with self.subTest(word):
                result = self.routectl("set", word)
                self.assertEqual((result.returncode, result.stdout), (WRONG_USE, ""))
                self.assertIn("is not of the form NAME=VALUE", result.stderr)
        self.assertNotIn("Notify server", self.driver.trace())

    def test_set_with_line_feeds_arrives_as_several_lines(self):
        self.wait_for_router()
        self.expect(self.routectl("set", "poem=one\ntwo"), DONE)
        self.driver.wait_for_trace("STDIN: 'name=poem'\nSTDIN: 'value=one'\nSTDIN: 'value=two'\nSTDIN: ''\n")

    def test_report_is_readable(self):
        self.wait_for_router()
        self.routectl("route", "5=1")
        self.driver.wait_for_trace("STDERR<INFO>: 'took 0 crosspoints'\n")
        text = self.routectl("report").stdout
        self.assertRegex(
            text,
            r"\ABackend: connected\nMachine:\n(  \w+ .*\n)+"
            r"Last errors:\n  take skipped: there is no output 5\n"
            r"Last notes:\n  Starting backend driver\n  took 0 crosspoints\n\Z",
        )
        report = self.json_of("report")
        self.assertIs(report["connected"], True)
        self.assertEqual(report["errors"], ["take skipped: there is no output 5"])
        self.assertEqual(report["notes"], ["Starting backend driver", "took 0 crosspoints"])
        self.assertEqual([text.split()[0] for text in report["machine"]], ["shm", "mem", "cpu"])


class RoutectlExitCodes(RoutectlTest):
    item_text = ""

    def test_wrong_uses(self):
        wrong_uses = ((), ("nonsense",), ("route",), ("send",), ("ping", "more"), ("--timeout", "0", "ping"))
        for arguments in wrong_uses:
            with self.subTest(arguments):
                result = self.run_routectl(self.driver.item, *arguments)
                self.assertEqual((result.returncode, result.stdout), (WRONG_USE, ""))
                self.assertNotEqual(result.stderr, "")
        self.assertEqual(self.run_routectl("ping").returncode, WRONG_USE)

    def test_help_is_no_wrong_use(self):
        for arguments in (("--help",), ("route", "--help")):
            result = self.run_routectl(*arguments)
            self.assertEqual((result.returncode, result.stderr), (DONE, ""))
            self.assertIn("Usage:", result.stdout)

    def test_no_driver(self):
        self.driver.stop()
        for command in (("ping",), ("status",), ("route", "1=2"), ("watch",), ("report",)):
            with self.subTest(command):
                result = self.routectl(*command)
                self.assertEqual((result.returncode, result.stdout), (NO_DRIVER, ""))
                self.assertIn("no driver at ", result.stderr)

    def test_socket_instead_of_the_item(self):
        result = self.run_routectl("--sock", self.driver.file(".tavrixsock.router"), "ping")
        self.expect(result, DONE, "the driver answers\n")

    def test_driver_that_does_not_answer_in_time(self):
        self.driver.send_signal(signal.SIGSTOP)
        result = self.run_routectl("--timeout", "0.2", self.driver.item, "ping")
        self.expect(result, NO_DRIVER, "", "vrdx_routectl: no answer within 0.2 s\n")
        self.driver.send_signal(signal.SIGCONT)
        self.expect(self.routectl("ping"), DONE, "the driver answers\n")


if __name__ == "__main__":
    main()
