"""The event stream: what readers are told, and what one that does not read costs."""

import json
import signal
import socket

from api_test import DescribedTest
from gateway_fixture import main, simulated, wait_until
from packet_codec import ARGUMENT, END, packet
from websocket_client import BINARY, CLOSE, CONTINUATION, PING, PONG, TEXT, Refused


class EventsCase(DescribedTest):
    def setUp(self):
        super().setUp()
        for name in self.items:
            self.wait_for_up(name)
        self.get("/healthz")  # the document is there from now on

    def next_event(self, reader):
        event = reader.read_event()
        self.hold_against({"$ref": "#/components/schemas/Event"}, event)
        return event

    def wait_for_event(self, reader, what, fits):
        while True:
            event = self.next_event(reader)
            if fits(event):
                return event

    def shows(self, output, source):
        """An event that shows the source on both levels of the output, confirmed."""

        def fits(event):
            return any(
                each["number"] == output
                and each["sources"] == {"video": source, "audio": source}
                and not each["pending"]
                for each in event.get("outputs", [])
            )

        return fits


class Events(EventsCase):
    items = {"studio": simulated(), "archive": simulated(4, 2)}

    def test_pictures_come_first_and_are_those_of_get(self):
        reader = self.events()
        first = [self.next_event(reader), self.next_event(reader)]
        self.assertEqual(sorted(event["router"] for event in first), ["archive", "studio"])
        for event in first:
            self.assertEqual(event["type"], "picture")
            self.assertEqual(set(event), set(self.picture(event["router"])))

    def test_change_and_take_are_told(self):
        reader = self.events("?router=studio")
        self.next_event(reader)
        self.take([{"output": 1, "input": 3}])
        seen = {}
        while len(seen) < 2:
            event = self.next_event(reader)
            if self.shows(1, 3)(event):
                seen["change"] = event
            elif event["type"] == "take":
                seen["take"] = event
        self.assertEqual(seen["change"]["type"], "change")
        take = seen["take"]
        self.assertEqual((take["output"], take["result"], take["who"]["by"]), (1, "confirmed", "boss"))
        self.assertEqual(take["wanted"], {"video": 3, "audio": 3})

    def test_sequence_only_rises(self):
        reader = self.events("?router=studio")
        last = self.next_event(reader)["sequence"]
        for source in (2, 3, 4):
            self.take([{"output": 1, "input": source}])
            event = self.wait_for_event(reader, "the change", self.shows(1, source))
            self.assertGreater(event["sequence"], last)
            last = event["sequence"]

    def test_only_routers_that_were_asked_for(self):
        reader = self.events("?router=archive")
        self.take([{"output": 1, "input": 3}])
        self.take([{"output": 1, "input": 3}], router="archive")
        while True:
            event = self.next_event(reader)
            self.assertEqual(event.get("router", "archive"), "archive")
            if self.shows(1, 3)(event):
                break

    def test_only_routers_that_the_token_may_see(self):
        limited = self.add_token("limited", "view", "--router", "archive")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=limited).status == 200)
        with self.assertRaises(Refused) as refused:
            self.events("?router=studio", token=limited)
        self.assertEqual(refused.exception.status, 404)
        reader = self.events(token=limited)
        self.assertEqual(self.next_event(reader)["router"], "archive")
        self.take([{"output": 1, "input": 3}])
        self.take([{"output": 1, "input": 3}], router="archive")
        self.wait_for_event(reader, "archive's", lambda event: event["router"] == "archive" and self.shows(1, 3)(event))

    def test_locks_are_told(self):
        reader = self.events("?router=studio")
        self.next_event(reader)
        self.ask("POST", "/api/v1/routers/studio/outputs/2/lock", {"state": "protect", "reason": "rehearsal"})
        event = self.wait_for_event(reader, "the lock", lambda e: e["type"] == "change" and e["outputs"])
        self.assertEqual(event["outputs"][0]["lock"]["reason"], "rehearsal")

    def test_locked_output_that_changes_all_the_same_raises_an_alarm(self):
        wait_until("the router has reported", lambda: self.sources(2) == {"video": 2, "audio": 2})
        self.ask("POST", "/api/v1/routers/studio/outputs/2/lock", {"state": "lock", "reason": "on air"})
        reader = self.events("?router=studio")
        self.next_event(reader)
        self.route_beside_the_gateway("2=5")
        alarm = self.wait_for_event(reader, "the alarm", lambda event: event["type"] == "alarm")
        self.assertEqual((alarm["output"], alarm["now"]), (2, {"video": 5, "audio": 5}))
        self.assertEqual((alarm["before"], alarm["lock"]["owner"]), ({"video": 2, "audio": 2}, "boss"))

    def test_locked_output_that_changed_while_the_gateway_was_down_raises_an_alarm(self):
        wait_until("the router has reported", lambda: self.sources(2) == {"video": 2, "audio": 2})
        self.ask("POST", "/api/v1/routers/studio/outputs/2/lock", {"state": "lock", "reason": "on air"})
        self.stop_gateway(signal.SIGKILL)
        self.route_beside_the_gateway("2=5")
        self.start_gateway()
        wait_until("it is up", lambda: self.picture()["state"] == "up")
        wait_until("the router has reported", lambda: self.sources(2) == {"video": 5, "audio": 5})
        reader = self.events("?router=studio")
        alarm = self.wait_for_event(reader, "the alarm", lambda event: event["type"] == "alarm")
        self.assertEqual((alarm["output"], alarm["before"], alarm["now"]), (2, {"video": 2, "audio": 2}, {"video": 5, "audio": 5}))

    def test_owners_take_before_a_restart_is_no_alarm_after_it(self):
        wait_until("the router has reported", lambda: self.sources(2) == {"video": 2, "audio": 2})
        self.ask("POST", "/api/v1/routers/studio/outputs/2/lock", {"state": "protect"})
        self.take([{"output": 2, "input": 4}])
        wait_until("it is confirmed", lambda: self.sources(2) == {"video": 4, "audio": 4} and not self.picture()["outputs"][1]["pending"])
        self.stop_gateway()
        self.start_gateway()
        wait_until("it is up", lambda: self.picture()["state"] == "up")
        reader, told = self.events("?router=studio"), []
        while not told or told[-1]["type"] != "alive":  # told when there is nothing else
            told.append(self.next_event(reader))
        self.assertEqual([event for event in told if event["type"] == "alarm"], [])

    def test_owners_take_of_a_protected_output_is_no_alarm(self):
        wait_until("the router has reported", lambda: self.sources(2) == {"video": 2, "audio": 2})
        self.ask("POST", "/api/v1/routers/studio/outputs/2/lock", {"state": "protect"})
        reader = self.events("?router=studio")
        self.take([{"output": 2, "input": 4}])
        self.route_beside_the_gateway("2=6")
        alarm = self.wait_for_event(reader, "an alarm", lambda event: event["type"] == "alarm")
        self.assertEqual((alarm["before"]["video"], alarm["now"]["video"]), (4, 6))

    def route_beside_the_gateway(self, take):
        """As any program of this machine can ask the driver."""
        with socket.socket(socket.AF_UNIX) as driver:
            driver.connect(str(self.folder / "run" / "studio.sock"))
            driver.sendall(packet("route", (ARGUMENT, take), (END,)))
            self.assertTrue(driver.recv(4096))

    def test_driver_that_ends_and_comes_again_is_told(self):
        reader = self.events("?router=studio")
        epoch = self.next_event(reader)["epoch"]
        self.stop_driver("studio")
        self.wait_for_event(reader, "no driver", lambda event: event.get("state") == "no driver")
        self.start_driver("studio")
        self.wait_for_event(reader, "up", lambda event: event["type"] == "router" and event["state"] == "up")
        self.take([{"output": 1, "input": 3}])
        event = self.wait_for_event(reader, "the change", self.shows(1, 3))
        self.assertNotEqual(event["epoch"], epoch)

    def test_router_that_comes_and_goes_is_told(self):
        reader = self.events()
        self.start_driver("third", simulated(2, 2))
        self.wait_for_event(
            reader, "its picture", lambda e: e["type"] == "picture" and e["router"] == "third" and len(e["outputs"]) == 2
        )
        self.stop_driver("third")
        (self.folder / "items" / "third.item").unlink()
        self.wait_for_event(reader, "gone", lambda event: event.get("router") == "third" and event.get("state") == "gone")

    def test_gateway_that_lives_says_so(self):
        reader = self.events("?router=archive")
        self.wait_for_event(reader, "alive", lambda event: event["type"] == "alive")

    def test_removed_tokens_readers_are_ended(self):
        gone = self.add_token("gone", "view")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=gone).status == 200)
        reader, other = self.events(token=gone), self.events()
        self.next_event(reader)
        self.run_token_command("remove", "gone")
        self.assertEqual(reader.read_until_closed().code, 1008)
        self.take([{"output": 1, "input": 3}])
        self.wait_for_event(other, "the other reads on", self.shows(1, 3))

    def test_end_of_the_gateway_is_told_to_readers(self):
        reader = self.events()
        self.next_event(reader)
        self.assertEqual(self.stop_gateway(), 0)
        self.assertEqual(reader.read_until_closed().code, 1001)

    def test_path_without_a_websocket(self):
        answer = self.get("/api/v1/events")
        self.expect_problem(answer, 426, "WebSocket")
        self.assertEqual(answer.headers["upgrade"], "websocket")
        with self.assertRaises(Refused) as refused:
            self.events(headers=[("Sec-WebSocket-Version", "8")], leave_out=["Sec-WebSocket-Version"])
        self.assertEqual(refused.exception.status, 426)
        with self.assertRaises(Refused) as refused:
            self.events("?all=1")
        self.assertEqual(refused.exception.status, 400)


class SlowReaders(EventsCase):
    items = {"studio": simulated(64, 64)}

    def test_slow_reader_gets_the_newest_state_and_hears_of_lost_takes(self):
        slow = self.events(receive_buffer=2048)
        keeping_up = self.events()
        rounds = 60
        for source in range(1, rounds + 1):
            takes = [{"output": output, "input": source} for output in range(1, 65)]
            self.assertEqual(self.take(takes).status, 200)
        wait_until("all is confirmed", lambda: all(not each["pending"] for each in self.picture()["outputs"]))
        final = self.picture()
        for reader in (keeping_up, slow):
            self.follow_to(reader, final)
        self.assertGreater(self.lost, 0)
        self.assertEqual(self.lost + self.told, rounds * 64)

    def follow_to(self, reader, final):
        """Reads until the reader's own picture is the final one, and nothing else waits for it."""
        picture, self.lost, self.told, idle = {}, 0, 0, False
        while not idle or picture != {each["number"]: each for each in final["outputs"]}:
            event = self.next_event(reader)
            if event["type"] in ("picture", "change"):
                picture.update({each["number"]: each for each in event["outputs"]})
            elif event["type"] == "lost":
                self.lost += event["takes"]
            elif event["type"] == "take":
                self.told += 1
            idle = event["type"] == "alive"  # told when there is nothing else


class RulesOfTheProtocol(EventsCase):
    """Whoever breaks them is told why and cut; others read on."""

    def expect_cut(self, code, act):
        reader = self.events()
        self.next_event(reader)
        try:
            act(reader)
        except OSError:
            pass  # cut while we still wrote
        closed = reader.read_until_closed()
        self.assertIn(closed.code, (code, None), closed)  # None: cut while we still wrote
        other = self.events()
        self.assertEqual(self.next_event(other)["type"], "picture")

    def test_frame_without_a_mask(self):
        self.expect_cut(1002, lambda reader: reader.send_frame(TEXT, b"x", mask=False))

    def test_reserved_bits(self):
        for bits in (1, 2, 4):  # 4: compression, which was not agreed on
            self.expect_cut(1002, lambda reader, bits=bits: reader.send_frame(TEXT, b"x", reserved=bits))

    def test_unknown_opcodes(self):
        for opcode in (3, 7, 11, 15):
            self.expect_cut(1002, lambda reader, opcode=opcode: reader.send_frame(opcode, b"x"))

    def test_control_frames_in_pieces_or_too_large(self):
        self.expect_cut(1002, lambda reader: reader.send_frame(PING, b"x", fin=False))
        self.expect_cut(1002, lambda reader: reader.send_frame(PING, b"x" * 126))
        self.expect_cut(1002, lambda reader: reader.send_frame(CLOSE, b"\x03"))

    def test_continuation_of_nothing_and_text_within_a_text(self):
        self.expect_cut(1002, lambda reader: reader.send_frame(CONTINUATION, b"x"))

        def two_at_once(reader):
            reader.send_frame(TEXT, b"x", fin=False)
            reader.send_frame(TEXT, b"y")

        self.expect_cut(1002, two_at_once)

    def test_text_that_is_no_utf8(self):
        self.expect_cut(1007, lambda reader: reader.send_frame(TEXT, b"\xff\xfe"))

    def test_message_that_is_too_large(self):
        self.expect_cut(1009, lambda reader: reader.send_frame(BINARY, b"x" * 5000))
        self.expect_cut(1009, lambda reader: reader.send_frame(TEXT, b"x", length=2**40))

    def test_message_in_endless_pieces(self):
        def endless(reader):
            reader.send_frame(TEXT, b"x" * 100, fin=False)
            while True:
                reader.send_frame(CONTINUATION, b"x" * 100, fin=False)

        self.expect_cut(1009, endless)

    def test_endless_pings(self):
        def endless(reader):
            while True:
                reader.send_bytes(b"\x89\x80\0\0\0\0" * 1000)

        self.expect_cut(1008, endless)

    def test_ping_is_answered(self):
        reader = self.events()
        self.next_event(reader)
        reader.send_frame(PING, b"there?")
        while True:
            _, opcode, payload = reader.read_frame()
            if opcode == PONG:
                self.assertEqual(payload, b"there?")
                break

    def test_what_a_client_says_changes_nothing(self):
        reader = self.events()
        self.next_event(reader)
        reader.send_text(json.dumps({"takes": [{"output": 1, "input": 2}]}))
        self.take([{"output": 1, "input": 3}])
        self.wait_for_event(reader, "the change", self.shows(1, 3))

    def test_close_is_answered(self):
        reader = self.events()
        self.next_event(reader)
        reader.send_close(1000)
        self.assertEqual(reader.read_until_closed().code, 1000)

    def test_reader_that_answers_no_ping_is_cut(self):
        reader = self.events()
        self.assertIsNone(reader.read_until_closed(answer_pings=False).code, "nothing is said to who is gone")
        self.assertGreater(reader.pings, 1)


if __name__ == "__main__":
    main()
