"""vrdx_routectl as a person uses it: what is shown, takes, names, packets, exit codes.

Usage: routectl_end_to_end_test.py PATH-OF-VRDX_ROUTEDRIVER PATH-OF-VRDX_ROUTECTL [CLASS[.METHOD] ...]
"""

import json
import os
import pwd
import re
import signal

from routectl_fixture import DONE, NO_DRIVER, REFUSED, WRONG_USE, RoutectlTest, main, simulated, wait_until


class RoutectlStatus(RoutectlTest):
    def test_table_is_aligned_with_names_beside_numbers(self):
        self.wait_for_router()
        self.routectl("route", "3=7,8", "4=none")
        self.routectl("router-set", "input.7.name=Kamera Süd")
        wait_until("renamed", lambda: "Kamera Süd" in self.routectl("status").stdout)
        title, head, *rows = self.routectl("status").stdout.splitlines()
        self.assertEqual(title, "Router with 8 inputs and 4 outputs")
        self.assertEqual(head.split(), ["Out", "Name", "Audio", "Video", "Waits"])
        self.assertEqual(len(rows), 4)
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
        self.assertEqual((status["levels"], status["backend"], status["problems"]), (["video", "audio"], "running", []))

    def test_outputs_can_be_chosen(self):
        self.wait_for_router()
        self.assertEqual(self.routectl("route", "1=7", "3=1,7", "4=none").returncode, DONE)

        def chosen(*options):
            return [one["output"] for one in self.json_of("status", *options)["outputs"]]

        self.assertEqual(chosen("--outputs", "1-2,4"), [1, 2, 4])
        self.assertEqual(chosen("--outputs", "Output 3"), [3])
        self.assertEqual(chosen("--input", "7"), [1, 3])
        self.assertEqual(chosen("--input", "Input 7", "--outputs", "2-4"), [3])
        self.assertEqual(chosen("--free"), [4])
        self.assertEqual(chosen("--name", "PUT 2"), [2])
        self.expect(self.routectl("status", "--name", "gallery"), DONE, "no output fits\n")

    def test_take_that_is_not_confirmed_is_marked(self):
        self.wait_for_router()
        self.routectl("set", "simulated delay ms=900")
        self.driver.wait_for_trace("setting simulated delay ms = 900")
        self.routectl("route", "--no-wait", "2=5")
        self.assertRegex(self.routectl("status", "--outputs", "2").stdout, r"5 Input 5  \* [01]\.\d s\n$")

    def test_names_are_listed_for_programs(self):
        self.wait_for_router()
        self.expect(self.routectl("names", "outputs"), DONE, "".join(f"{i}\tOutput {i}\n" for i in range(1, 5)))
        self.assertEqual(self.json_of("names", "inputs")["inputs"][7], "Input 8")

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

    def test_take_is_confirmed_before_the_command_ends(self):
        self.wait_for_router()
        self.expect(self.routectl("route", "1=5", "3=6,7", "4=0"), DONE)
        self.assertEqual([self.output(i) for i in (1, 3, 4)], [(5, 5), (6, 7), (0, 0)])

    def test_names_ranges_and_levels_are_taken(self):
        self.wait_for_router()
        self.routectl("router-set", "output.3.name=Studio A", "input.2.name=Cam 2")
        wait_until("renamed", lambda: "Cam 2" in self.routectl("status").stdout)
        self.expect(self.routectl("route", "1,3-4=8", "studio=cam 2", "Output 4.audio=1"), DONE)
        self.assertEqual([self.output(i) for i in (1, 3, 4)], [(8, 8), (2, 2), (1, 8)])

    def test_json_says_that_all_followed(self):
        self.wait_for_router()
        result = self.json_of("route", "--wait", "1=5", "3=6,7")
        self.assertIs(result["confirmed"], True)
        self.assertEqual([one["output"] for one in result["outputs"]], [1, 3])

    def test_output_that_did_not_follow_is_named(self):
        self.wait_for_router()
        result = self.routectl("route", "1=5", "2=5")
        self.assertEqual((result.returncode, result.stdout), (REFUSED, ""))
        self.assertRegex(result.stderr, r'\Avrdx_routectl: output 2 "Output 2": refused by the router: [^\n]*\n\Z')
        self.assertEqual(self.output(1), (5, 5))

    def test_without_waiting_the_take_falls_back_unseen(self):
        self.wait_for_router()
        self.expect(self.routectl("route", "--no-wait", "2=5"), DONE)
        self.wait_for_output(2, 2, 2)

    def test_what_is_not_possible_on_this_router_is_a_wrong_use_and_nothing_is_sent(self):
        self.wait_for_router()
        for word in ("3", "=2", "0=2", "x=2", "3=", "3=1,2,3", "3=-1", "99999999999=1", "5=1", "1=9", "Output=1"):
            with self.subTest(word):
                result = self.routectl("route", "1=5", word)
                self.assertEqual((result.returncode, result.stdout), (WRONG_USE, ""))
                self.assertIn(f'"{word}" is no take: ', result.stderr)
                self.assertEqual(result.stderr.count("\n"), 1)
        self.assertNotIn("take.0000", self.driver.trace())

    def test_undo_takes_again_what_was_replaced(self):
        self.wait_for_router()
        self.routectl("route", "1=7")
        self.expect(self.routectl("route", "1,3=5"), DONE)
        told = 'output 1 "Output 1": 5 "Input 5" -> 7 "Input 7"\noutput 3 "Output 3": 5 "Input 5" -> 3 "Input 3"\n'
        self.expect(self.routectl("undo", "--dry-run"), DONE, told)
        self.assertEqual(self.output(1), (5, 5))
        self.expect(self.routectl("undo"), DONE, told)
        self.assertEqual([self.output(i) for i in (1, 3)], [(7, 7), (3, 3)])
        self.assertEqual(self.routectl("undo").returncode, DONE)  # they are back
        self.assertEqual([self.output(i) for i in (1, 3)], [(5, 5), (5, 5)])

    def test_undo_leaves_what_somebody_else_has_taken_since(self):
        self.wait_for_router()
        self.routectl("route", "1,3=5")
        self.routectl("route", "3=6", "--by", "somebody else")
        self.expect(self.routectl("undo"), REFUSED, 'output 1 "Output 1": 5 "Input 5" -> 1 "Input 1"\n',
                    'vrdx_routectl: output 3 "Output 3": it shows 6 "Input 6" meanwhile, not the 5 "Input 5" of your '
                    "take\n")
        self.assertEqual(self.output(3), (6, 6))

    def test_undo_without_takes_is_told(self):
        self.wait_for_router()
        result = self.routectl("undo")
        self.assertEqual((result.returncode, result.stdout), (REFUSED, ""))
        self.assertIn("nothing to undo: the driver's record holds no take of", result.stderr)
        self.routectl("route", "1=1")
        self.expect(self.routectl("undo"), REFUSED, "", "vrdx_routectl: nothing to undo: all outputs of your last takes "
                                                       "show what they showed before\n")

    def test_record_of_takes_says_who_what_and_what_became_of_it(self):
        self.wait_for_router()
        self.routectl("route", "1=5", "--by", "desk 3")
        self.routectl("route", "3=6", "4=7")
        lines = self.routectl("takes").stdout.splitlines()
        user = pwd.getpwuid(os.geteuid()).pw_name
        self.assertEqual(len(lines), 3)
        self.assertRegex(lines[0], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d{4} " + re.escape(user) +
                         r' \(desk 3\): output 1 "Output 1" 1 "Input 1" -> 5 "Input 5", confirmed, \d+ ms$')
        self.assertEqual(self.routectl("takes", "--lines", "2").stdout.splitlines(), lines[1:])
        result = self.routectl("takes", "--json", "--lines", "1")
        record = json.loads(result.stdout)
        self.assertEqual((record["take"], record["output"], record["result"], record["by"]),
                         (3, 4, "confirmed", "vrdx_routectl"))

    def test_names_are_set(self):
        self.wait_for_router()
        self.expect(self.routectl("router-set", "output.3.name=a=b", "input.2.name="), DONE)
        wait_until("renamed", lambda: self.json_of("status")["outputs"][2]["name"] == "a=b")
        wait_until("renamed", lambda: self.json_of("status")["inputs"][1]["name"] == "")
        for word in ("output.0.name=x", "output.name=x", "output.3.name", "colour=x", ""):
            with self.subTest(word):
                self.assertEqual(self.routectl("router-set", word).returncode, WRONG_USE)

    def test_name_of_100000_bytes_is_told_by_its_beginning(self):
        self.wait_for_router()
        name = "n" * 100000
        self.expect(self.routectl("router-set", f"output.1.name={name}"), DONE)
        wait_until("renamed", lambda: self.json_of("status")["outputs"][0]["name"] == name[:1024])
        self.expect(self.routectl("set", f"{name}=1"), DONE)
        self.driver.wait_for_trace(f"Notify server '{name}' = '1'\n")


class RoutectlLargeRouters(RoutectlTest):
    item_text = simulated(288, 288).replace("simulated levels=video,audio\n", "")

    def test_all_outputs_of_a_router_of_288_are_shown_taken_saved_and_restored(self):
        self.wait_for_output(288, 288, 288)
        self.assertEqual(len(self.routectl("status").stdout.splitlines()), 290)
        snapshot = self.driver.file("snapshot")
        self.expect(self.routectl("save", snapshot), DONE, f"288 outputs saved to {snapshot}\n")
        self.expect(self.routectl("route", "*=7"), DONE)
        self.assertEqual({(one["audio"], one["video"]) for one in self.json_of("status")["outputs"]}, {(7, 7)})
        self.expect(self.routectl("restore", snapshot), DONE, "288 outputs restored\n")
        self.assertEqual(self.output(288), (288, 288))

    def test_largest_router_is_shown_and_taken_whole(self):
        self.start_driver(simulated(4096, 1024).replace("simulated levels=video,audio\n", ""))
        self.wait_for_output(1024, 1024, 1024)
        status = self.json_of("status")
        self.assertEqual((len(status["inputs"]), len(status["outputs"])), (4096, 1024))
        self.expect(self.routectl("route", "*=4096"), DONE)
        self.assertEqual(self.output(1024), (4096, 4096))


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
        self.assertEqual(self.routectl("route", "1=5").returncode, REFUSED)

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
        self.routectl("send", "route", "5=1")
        self.driver.wait_for_trace("STDERR<INFO>: 'took 0 crosspoints'\n")
        text = self.routectl("report").stdout
        self.assertRegex(
            text,
            r"\ABackend: connected\nMachine:\n(  \w+ .*\n)+"
            r"Last errors:\n  take to output 5 refused: there is no output 5\n"
            r"Last notes:\n  Starting backend driver\n  took 0 crosspoints\n\Z",
        )
        report = self.json_of("report")
        self.assertIs(report["connected"], True)
        self.assertEqual(report["errors"], ["take to output 5 refused: there is no output 5"])
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

    def test_version_is_told(self):
        self.assertRegex(self.run_routectl("--version").stdout, r"^vrdx_routectl \d+\.\d+\.\d+\n$")

    def test_help_is_no_wrong_use(self):
        self.assertEqual(self.run_routectl("help", "nonsense").returncode, WRONG_USE)
        for arguments in (("--help",), ("route", "--help"), ("help",), ("help", "route")):
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
        result = self.run_routectl("--sock", self.driver.socket_path, "ping")
        self.expect(result, DONE, "the driver answers\n")

    def test_driver_that_does_not_answer_in_time(self):
        self.driver.send_signal(signal.SIGSTOP)
        result = self.run_routectl("--timeout", "0.2", self.driver.item, "ping")
        self.expect(result, NO_DRIVER, "", "vrdx_routectl: no answer within 0.2 s\n")
        self.driver.send_signal(signal.SIGCONT)
        self.expect(self.routectl("ping"), DONE, "the driver answers\n")


if __name__ == "__main__":
    main()
