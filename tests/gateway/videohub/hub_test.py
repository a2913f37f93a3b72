"""What a panel or program sees and does at a Videohub server."""

import contextlib
import pathlib
import signal
import sqlite3
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from hub_fixture import HubTest, simulated, wait_until  # noqa: E402

from gateway_fixture import main  # noqa: E402  isort: skip

ROUTING = "VIDEO OUTPUT ROUTING:\n"
LOCKS = "VIDEO OUTPUT LOCKS:\n"


class Prelude(HubTest):
    def test_whole_state_in_the_order_of_the_protocol(self):
        blocks = self.connect(whole=False).read_prelude()
        self.assertEqual(
            [block.header for block in blocks if block.header != "VIDEO OUTPUT ROUTING" or block.lines],
            ["PROTOCOL PREAMBLE", "VIDEOHUB DEVICE", "INPUT LABELS", "OUTPUT LABELS", "VIDEO OUTPUT LOCKS"]
            + ["VIDEO OUTPUT ROUTING", "CONFIGURATION", "END PRELUDE"],
        )
        self.assertEqual(blocks[0].lines, ["Version: 2.8"])
        device = blocks[1].values
        self.assertEqual((device["Device present"], device["Friendly name"]), ("true", "studio"))
        self.assertEqual((device["Video inputs"], device["Video outputs"]), ("5", "3"))
        self.assertRegex(device["Unique ID"], "^[0-9A-F]{12}$")
        self.assertEqual(blocks[2].entries[0], "Input 1")
        self.assertEqual(blocks[2].entries[4], "None/other")
        self.assertEqual(blocks[3].entries, {0: "Output 1", 1: "Output 2", 2: "Output 3"})
        self.assertEqual(blocks[4].entries, {0: "U", 1: "U", 2: "U"})

    def test_device_keeps_its_identity_over_a_restart(self):
        before = self.connect().device
        self.stop_gateway()
        self.start_gateway()
        self.assertEqual(self.connect().device["Unique ID"], before["Unique ID"])

    def test_empty_blocks_ask_for_whole_ones(self):
        client = self.connected_to_quiet_router([1, 2, 3])
        for header, lines in (
            ("VIDEO OUTPUT ROUTING", ["0 0", "1 1", "2 2"]),
            ("VIDEO OUTPUT LOCKS", ["0 U", "1 U", "2 U"]),
            ("OUTPUT LABELS", ["0 Output 1", "1 Output 2", "2 Output 3"]),
            ("CONFIGURATION", ["Take Mode: false"]),
            ("TAKE MODE", ["0 false", "1 false", "2 false"]),
            ("PROTOCOL PREAMBLE", ["Version: 2.8"]),
        ):
            self.assertTrue(client.ask(f"{header}:\n\n"), header)
            self.assertEqual(client.next().lines, lines, header)
        self.assertTrue(client.ask("VIDEOHUB DEVICE:\n\n"))
        self.assertEqual(client.next().values["Device present"], "true")

    def test_ping_is_acknowledged(self):
        client = self.connect()
        self.assertTrue(client.ask("PING:\n\n"))
        self.assertTrue(client.ask("PING:\r\n\r\n"))

    def test_take_mode_is_accepted_and_stays(self):
        client = self.connect()
        self.assertTrue(client.ask("CONFIGURATION:\nTake Mode: true\n\n"))
        self.assertEqual(client.wait_for_block("CONFIGURATION").lines, ["Take Mode: false"])
        self.assertFalse(client.ask("CONFIGURATION:\nTake Mode: perhaps\n\n"))

    def test_half_blocks_and_single_bytes(self):
        client = self.connected_to_quiet_router([1, 2, 3])
        client.send(ROUTING + "0 ")
        other = self.connect()
        self.assertTrue(other.ask("PING:\n\n"))
        for byte in b"3\n\nPING:\n\n":
            client.send(bytes([byte]))
        self.assertTrue(client.answer())
        client.wait_for_route(0, 3)

    def test_what_is_not_understood_is_refused_and_nothing_of_it_is_done(self):
        client = self.connected_to_quiet_router([1, 2, 3])
        for text in (
            "NOTHING KNOWN:\n\n",
            "GET /\nHost: x\n\n",
            ROUTING + "0 1\n3 1\n\n",
            ROUTING + "0 1\n1 5\n\n",
            ROUTING + "0 1\n1 -1\n\n",
            ROUTING + "0 1\n1\n\n",
            ROUTING + "0 1\nx 1\n\n",
            ROUTING + "0 1\n+1 1\n\n",
            ROUTING + "0 1\n1 99999999999999999999\n\n",
            LOCKS + "0 O\n3 O\n\n",
            LOCKS + "0 O\n1 X\n\n",
            "INPUT LABELS:\n0 x\n4 nobody renames the last one\n\n",
            "OUTPUT LABELS:\n0 x\n9 y\n\n",
            "VIDEO MONITORING OUTPUT ROUTING:\n0 1\n\n",
        ):
            self.assertFalse(client.ask(text), text)
        client.expect_nothing_else(self)
        self.assertEqual(self.confirmed_sources(), [1, 2, 3])
        self.assertIsNone(self.picture()["outputs"][0]["lock"])


class Browsers(HubTest):
    """Any web page can make a browser send a request, with a body of its choice."""

    def test_request_is_cut_and_its_body_is_not_done(self):
        panel = self.connected_to_quiet_router([1, 2, 3])
        body = ROUTING + "0 3\n\n"
        client = self.connect()
        client.send(f"POST / HTTP/1.1\r\nHost: x\r\nContent-Type: text/plain\r\nContent-Length: {len(body)}\r\n\r\n{body}")
        self.assertTrue(client.is_closed())
        self.assertEqual(client.received, b"")
        panel.expect_nothing_else(self)
        self.assertEqual(self.confirmed_sources(), [1, 2, 3])

    def test_request_is_cut_before_its_head_has_ended(self):
        for line in ("GET / HTTP/1.1\r\n", "\r\nOPTIONS * HTTP/1.0\n", "PRI * HTTP/2.0\r\n"):
            client = self.connect()
            client.send(line)
            self.assertTrue(client.is_closed(), line)
            self.assertEqual(client.received, b"", line)


class Takes(HubTest):
    items = {"studio": simulated(4, 3, "simulated refuse outputs=3\n")}

    def setUp(self):
        super().setUp()
        self.client = self.connected_to_quiet_router([1, 2, 3])

    def test_take_is_acknowledged_and_then_told_to_all(self):
        other = self.connect()
        self.assertTrue(self.client.ask(ROUTING + "0 3\n\n"))
        self.assertEqual(self.client.wait_for_route(0, 3).lines, ["0 3"])
        other.wait_for_route(0, 3)
        self.assertEqual(self.picture()["outputs"][0]["sources"], {"video": 4, "audio": 4})
        self.assertEqual(self.picture()["outputs"][0]["taken_by"]["by"], "videohub 127.0.0.1")

    def test_salvo_is_one_block(self):
        self.assertTrue(self.client.ask(ROUTING + "0 3\n1 3\n\n"))
        while self.client.routing != {0: "3", 1: "3", 2: "2"}:
            self.client.next()

    def test_take_that_changes_nothing_is_told_too(self):
        self.assertTrue(self.client.ask(ROUTING + "1 1\n\n"))
        self.assertEqual(self.client.wait_for_block("VIDEO OUTPUT ROUTING").lines, ["1 1"])

    def test_refused_take_is_told_as_it_is_and_never_shown(self):
        self.assertTrue(self.client.ask(ROUTING + "2 0\n\n"))
        self.assertEqual(self.client.wait_for_block("VIDEO OUTPUT ROUTING").lines, ["2 2"])
        self.client.expect_nothing_else(self)

    def test_no_source_is_the_last_input(self):
        self.take([{"output": 1, "input": 0}])
        self.client.wait_for_route(0, 4)
        self.assertTrue(self.client.ask(ROUTING + "1 4\n\n"))
        self.client.wait_for_route(1, 4)
        self.assertEqual(self.picture()["outputs"][1]["sources"], {"video": 0, "audio": 0})

    def test_levels_are_married_and_video_is_shown(self):
        self.take([{"output": 1, "sources": {"video": 2, "audio": 4}}])
        self.client.wait_for_route(0, 1)
        self.assertTrue(self.client.ask(ROUTING + "0 2\n\n"))
        self.client.wait_for_route(0, 2)
        self.assertEqual(self.picture()["outputs"][0]["sources"], {"video": 3, "audio": 3})

    def test_other_peoples_takes_are_told(self):
        self.take([{"output": 2, "input": 4}])
        self.assertEqual(self.client.wait_for_block("VIDEO OUTPUT ROUTING").lines, ["1 3"])

    def test_of_two_lines_for_an_output_the_last_one_counts(self):
        self.assertTrue(self.client.ask(ROUTING + "0 1\n0 2\n\n"))
        self.assertEqual(self.client.wait_for_block("VIDEO OUTPUT ROUTING").lines, ["0 2"])


class Names(HubTest):
    def test_names_go_both_ways(self):
        client, other = self.connect(), self.connect()
        self.assertTrue(client.ask("OUTPUT LABELS:\n1 Süd: a\n\n"))
        self.assertEqual(client.wait_for_block("OUTPUT LABELS").lines, ["1 Süd: a"])
        self.assertEqual(other.wait_for_block("OUTPUT LABELS").lines, ["1 Süd: a"])
        self.assertEqual(self.picture()["outputs"][1]["name"], "Süd: a")
        self.ask("PUT", "/api/v1/routers/studio/inputs/2/name", {"name": "VTR"})
        self.assertEqual(client.wait_for_block("INPUT LABELS").lines, ["1 VTR"])

    def test_all_names_in_one_block(self):
        client = self.connect()
        self.assertTrue(client.ask("INPUT LABELS:\n" + "".join(f"{n} Camera {n}\n" for n in range(4)) + "\n"))
        while [client.inputs[number] for number in range(4)] != [f"Camera {number}" for number in range(4)]:
            client.next()

    def test_all_labels_with_that_of_the_last_input_as_it_is(self):
        client = self.connect()
        names = {**{number: f"Camera {number}" for number in range(4)}, 4: "None/other"}
        self.assertTrue(client.ask("INPUT LABELS:\n" + "".join(f"{n} {name}\n" for n, name in names.items()) + "\n"))
        while client.inputs != names:
            client.next()
        self.assertTrue(client.ask("INPUT LABELS:\n4 None/other\n\n"))
        self.assertEqual(client.wait_for(4, lambda block: 4 in block.entries).lines, ["4 None/other"])
        self.assertFalse(client.ask("INPUT LABELS:\n0 x\n4 other\n\n"))

    def test_name_that_is_there_already_is_told(self):
        client = self.connect()
        self.assertTrue(client.ask("OUTPUT LABELS:\n1 Output 2\n\n"))
        self.assertEqual(client.wait_for_block("OUTPUT LABELS").lines, ["1 Output 2"])

    def test_name_can_be_empty(self):
        client = self.connect()
        self.assertTrue(client.ask("OUTPUT LABELS:\n1 \n\n"))
        self.assertEqual(client.wait_for_block("OUTPUT LABELS").lines, ["1 "])

    def test_wrong_names_are_refused(self):
        client = self.connect()
        for name in (b"\xff\xfe", b"a\x07b", b"a\x1bb", b"x" * 1025, b"y" * 65536, b"\xed\xa0\x80"):
            self.assertFalse(client.ask(b"OUTPUT LABELS:\n0 first\n1 " + name + b"\n\n"), name[:20])
        client.expect_nothing_else(self)
        self.assertEqual(client.outputs[0], "Output 1")


class Locks(HubTest):
    def setUp(self):
        super().setUp()
        self.client = self.connected_to_quiet_router([1, 2, 3])
        self.other = self.connect(source="127.0.0.2")

    def test_lock_is_the_addresss_own(self):
        self.assertTrue(self.client.ask(LOCKS + "1 O\n\n"))
        self.assertEqual(self.client.wait_for_block("VIDEO OUTPUT LOCKS").lines, ["1 O"])
        self.assertEqual(self.other.wait_for_block("VIDEO OUTPUT LOCKS").lines, ["1 L"])
        self.assertEqual(self.connect().locks, {0: "U", 1: "O", 2: "U"})
        lock = self.picture()["outputs"][1]["lock"]
        self.assertEqual((lock["state"], lock["owner"]), ("protect", "videohub 127.0.0.1"))

    def test_locked_output_is_its_owners(self):
        self.client.ask(LOCKS + "1 O\n\n")
        self.assertFalse(self.other.ask(ROUTING + "0 3\n1 3\n\n"))
        (result,) = self.take([{"output": 2, "input": 4}]).json["results"]
        self.assertEqual(result["result"], "locked")
        self.assertEqual(self.confirmed_sources(), [1, 2, 3])
        self.assertTrue(self.client.ask(ROUTING + "1 3\n\n"))
        self.other.wait_for_route(1, 3)

    def test_owner_unlocks_and_others_by_force_alone(self):
        self.client.ask(LOCKS + "1 O\n2 O\n\n")
        self.assertFalse(self.other.ask(LOCKS + "1 U\n\n"))
        self.assertFalse(self.other.ask(LOCKS + "0 O\n1 O\n\n"))
        self.assertTrue(self.client.ask(LOCKS + "1 U\n\n"))
        self.assertTrue(self.other.ask(LOCKS + "2 F\n\n"))
        wait_until("both are free", lambda: all(o["lock"] is None for o in self.picture()["outputs"]))
        while self.client.locks != {0: "U", 1: "U", 2: "U"}:
            self.client.next()

    def test_lock_that_changes_nothing_is_told_too(self):
        self.assertTrue(self.client.ask(LOCKS + "1 U\n\n"))
        self.assertEqual(self.client.wait_for_block("VIDEO OUTPUT LOCKS").lines, ["1 U"])

    def test_locks_of_tokens_hold_here(self):
        self.lock(3, "lock", reason="on air")
        self.assertEqual(self.client.wait_for_block("VIDEO OUTPUT LOCKS").lines, ["2 L"])
        self.assertFalse(self.client.ask(ROUTING + "2 0\n\n"))
        self.lock(3, "unlock")
        self.assertEqual(self.client.wait_for_block("VIDEO OUTPUT LOCKS").lines, ["2 U"])

    def test_locks_outlive_a_kill(self):
        self.client.ask(LOCKS + "1 O\n\n")
        self.stop_gateway(signal.SIGKILL)
        self.start_gateway()
        self.assertEqual(self.connect().locks, {0: "U", 1: "O", 2: "U"})
        self.assertEqual(self.connect(source="127.0.0.2").locks, {0: "U", 1: "L", 2: "U"})

    def test_owners_take_raises_no_alarm(self):
        self.client.ask(LOCKS + "1 O\n\n")
        reader = self.events()
        self.client.ask(ROUTING + "1 3\n\n")
        self.client.wait_for_route(1, 3)
        told = []
        while not told or told[-1]["type"] != "alive":
            told.append(reader.read_event())
        self.assertEqual([event for event in told if event["type"] == "alarm"], [])


class HistoryTest(HubTest):
    def entries(self, kind):
        found = self.get("/api/v1/history?router=studio").json["history"]
        return [entry for entry in found if (entry["kind"], entry["by"]) == (kind, "videohub 127.0.0.1")]

    def wait_for_entry(self, kind):
        (entry,) = wait_until(f"a {kind} is kept", lambda: self.entries(kind))
        self.assertEqual(entry["address"], "127.0.0.1")
        return entry


class History(HistoryTest):
    """What clients did is kept, with the address as who it was."""

    server = 'role = "operate"\n'

    def test_takes_and_locks_are_kept_and_so_is_what_was_refused(self):
        client = self.connected_to_quiet_router([1, 2, 3])
        self.assertTrue(client.ask(ROUTING + "0 3\n\n"))
        self.assertTrue(client.ask(LOCKS + "1 O\n\n"))
        self.assertFalse(client.ask("OUTPUT LABELS:\n0 x\n\n"))
        take = self.wait_for_entry("take")
        self.assertEqual((take["output"], take["result"]), (1, "confirmed"))
        lock = self.wait_for_entry("lock")
        self.assertEqual((lock["output"], lock["result"], lock["before"]), (2, "done", "free"))
        name = self.wait_for_entry("name")
        self.assertEqual(name["result"], "refused")
        self.assertIn("role lock", name["reason"])

    def test_names_are_kept(self):
        self.stop_gateway()
        self.configuration = self.hub_table(server='role = "lock"\n')
        self.start_gateway()
        client = self.connected_to_quiet_router([1, 2, 3])
        self.assertTrue(client.ask("INPUT LABELS:\n1 VTR\n\n"))
        name = self.wait_for_entry("name")
        self.assertEqual((name["input"], name["before"], name["after"]), (2, "Input 2", "VTR"))
        self.assertEqual(name["result"], "handed on")


class BusyDatabase(HistoryTest):
    server = 'role = "operate"\n'

    def test_lock_that_could_not_be_written_is_no_refusal_of_rights(self):
        client = self.connect()
        with contextlib.closing(sqlite3.connect(self.folder / "state" / "access.db")) as other:
            other.execute("BEGIN IMMEDIATE")
            self.assertFalse(client.ask(LOCKS + "0 O\n\n"))
            other.execute("ROLLBACK")
        self.assertTrue(client.ask(LOCKS + "0 O\n\n"))
        self.assertEqual(self.wait_for_entry("lock")["result"], "done")


class Viewers(HubTest):
    server = 'role = "view"\n'

    def test_see_and_change_nothing(self):
        client = self.connected_to_quiet_router([1, 2, 3])
        self.take([{"output": 2, "input": 0}])
        client.wait_for_route(1, 4)
        for text in (ROUTING + "0 3\n\n", ROUTING + "1 4\n\n", LOCKS + "0 O\n\n", "OUTPUT LABELS:\n0 x\n\n"):
            self.assertFalse(client.ask(text), text)
        client.expect_nothing_else(self)


class Operators(HubTest):
    server = 'role = "operate"\n'

    def test_take_and_lock_and_neither_rename_nor_force(self):
        client, other = self.connected_to_quiet_router([1, 2, 3]), self.connect(source="127.0.0.2")
        self.assertTrue(client.ask(ROUTING + "0 3\n\n"))
        self.assertTrue(client.ask(LOCKS + "0 O\n\n"))
        self.assertFalse(client.ask("OUTPUT LABELS:\n0 x\n\n"))
        self.assertFalse(other.ask(LOCKS + "0 F\n\n"))
        self.assertTrue(client.ask(LOCKS + "0 F\n\n"))


class SomeOfIt(HubTest):
    """A panel that sees a few outputs and inputs of a larger router."""

    items = {"studio": simulated(8, 8)}
    server = 'role = "lock"\noutputs = "3-4,8,99"\ninputs = "2,5-6"\n'

    def test_numbers_begin_at_0(self):
        wait_until("the router has told its sources", lambda: self.confirmed_sources() == list(range(1, 9)))
        client = self.connect()
        self.assertEqual(client.outputs, {0: "Output 3", 1: "Output 4", 2: "Output 8"})
        self.assertEqual(client.inputs, {0: "Input 2", 1: "Input 5", 2: "Input 6", 3: "None/other"})
        while client.routing != {0: "3", 1: "3", 2: "3"}:  # they show inputs that are not among those
            client.next()
        self.assertTrue(client.ask(ROUTING + "2 1\n\n"))
        client.wait_for_route(2, 1)
        self.assertEqual(self.sources(8), {"video": 5, "audio": 5})
        self.assertTrue(client.ask(LOCKS + "0 O\n\n"))
        self.assertIsNotNone(self.picture()["outputs"][2]["lock"])
        self.assertTrue(client.ask("INPUT LABELS:\n2 Six\n\n"))
        wait_until("it is renamed", lambda: self.picture()["inputs"][5]["name"] == "Six")

    def test_panel_that_restores_what_it_has_read_disconnects_nothing(self):
        wait_until("the router has told its sources", lambda: self.confirmed_sources() == list(range(1, 9)))
        client, other = self.connect(), self.connect()
        self.assertEqual(client.routing, {0: "3", 1: "3", 2: "3"})
        self.assertTrue(client.ask(ROUTING + "0 3\n1 3\n2 3\n\n"))
        self.assertEqual(client.wait_for_block("VIDEO OUTPUT ROUTING").lines, ["0 3", "1 3", "2 3"])
        self.assertTrue(client.ask(ROUTING + "0 3\n1 1\n2 3\n\n"))
        for each in (client, other):
            each.wait_for_route(1, 1)
        self.assertEqual(self.confirmed_sources(), [1, 2, 3, 5, 5, 6, 7, 8])
        self.assertTrue(client.ask(ROUTING + "1 3\n\n"))  # it shows another one now: that is a wish
        other.wait_for_route(1, 3)
        self.assertEqual(self.confirmed_sources(), [1, 2, 3, 0, 5, 6, 7, 8])

    def test_others_are_not_told(self):
        wait_until("the router has told its sources", lambda: self.confirmed_sources() == list(range(1, 9)))
        client = self.connect()
        self.take([{"output": 1, "input": 7}])
        self.take([{"output": 3, "input": 5}])
        self.assertEqual(client.wait_for_block("VIDEO OUTPUT ROUTING").lines, ["0 1"])


class Routers(HubTest):
    def test_router_that_goes_and_comes(self):
        client = self.connect()
        self.stop_driver("studio")
        device = client.wait_for_block("VIDEOHUB DEVICE")
        self.assertEqual(device.lines, ["Device present: false"])
        self.assertFalse(client.ask(ROUTING + "0 1\n\n"))
        self.assertFalse(client.ask(ROUTING + "\n"))
        self.assertTrue(client.ask("PING:\n\n"))
        self.assertEqual(client.seen, [])
        late = self.connect(whole=False)
        self.assertEqual([late.next().header, late.next().lines], ["PROTOCOL PREAMBLE", ["Device present: false"]])
        self.start_driver("studio")
        for each in (client, late):
            each.read_prelude()
            self.assertEqual(each.outputs, {0: "Output 1", 1: "Output 2", 2: "Output 3"})
        client.read_prelude()
        self.assertTrue(client.ask(ROUTING + "0 3\n\n"))
        client.wait_for_route(0, 3)

    def test_router_of_another_size(self):
        client = self.connect()
        self.stop_driver("studio")
        client.wait_for_block("VIDEOHUB DEVICE")
        self.start_driver("studio", simulated(6, 5))
        while client.device.get("Video outputs") != "5" or not client.complete:
            client.next()
        self.assertEqual((len(client.inputs), len(client.outputs), len(client.locks)), (7, 5, 5))


class NoRouter(HubTest):
    router = "nowhere"

    def wait_for_up(self, router="studio"):
        """There is none."""

    def test_server_waits_for_a_router_that_is_not_there(self):
        client = self.connect(whole=False)
        self.assertEqual([client.next().header, client.next().lines], ["PROTOCOL PREAMBLE", ["Device present: false"]])
        self.start_driver("nowhere", simulated(2, 2))
        client.read_prelude()
        self.assertEqual(len(client.outputs), 2)


if __name__ == "__main__":
    main()
