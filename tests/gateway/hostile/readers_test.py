"""Readers of events of which half never read, floods of takes beside a quiet token: nobody waits for them, and what they
cost is bounded."""

import json
import signal

from hostile_case import HostileCase
from websocket_client import Closed, Refused

from gateway_fixture import main, simulated, wait_until  # isort: skip


class Readers(HostileCase):
    items = {"studio": simulated(128, 128)}
    readers = 40

    def shows(self, output, source):
        def fits(event):
            return event["type"] in ("picture", "change") and any(
                each["number"] == output and each["sources"]["video"] == source for each in event["outputs"]
            )

        return fits

    def test_half_of_the_readers_never_read(self):
        self.wait_for_up()
        deaf = [self.events(receive_buffer=2048) for _ in range(self.readers // 2)]
        hearing = [self.events() for _ in range(self.readers // 2)]
        before = self.resident_kib()
        for source in range(1, 61):
            self.assertEqual(self.take([{"output": n, "input": source} for n in range(1, 129)]).status, 200)
            if source % 4 == 0:  # who hears nothing for long, and answers no ping, is cut
                for reader in hearing:
                    self.wait_for_event(reader, "the take", self.shows(128, source))
        self.expect_others_served()
        self.expect_resident_below(before + len(deaf) * 512 + 16384)
        for reader in deaf:
            reader.close()
        self.wait_for_descriptors(len(hearing) + 40)

    def test_readers_beyond_what_a_token_may_have_are_refused(self):
        self.wait_for_up()
        readers = []
        with self.assertRaises(Refused) as refused:
            for _ in range(1100):
                readers.append(self.events(receive_buffer=4096))
        self.assertEqual((refused.exception.status, len(readers)), (429, 1024))
        other = self.add_token("other", "view")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=other).status == 200)
        self.assertEqual(self.events(token=other).read_event()["type"], "picture")
        for reader in readers:
            reader.close()
        wait_until("there is room again", self.has_room)

    def has_room(self):
        try:
            self.events().close()
        except Refused:
            return False
        return True

    def test_readers_of_a_removed_token_end_though_they_do_not_read(self):
        self.wait_for_up()
        other = self.add_token("other", "view")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=other).status == 200)
        before = self.open_descriptors()
        deaf = [self.events(token=other, receive_buffer=2048) for _ in range(10)]
        for source in range(1, 31):
            self.assertEqual(self.take([{"output": n, "input": source} for n in range(1, 129)]).status, 200)
        self.run_token_command("remove", "other")
        self.wait_for_descriptors(before + 2)
        for reader in deaf:
            try:
                while True:
                    reader.read_text()
            except (Closed, OSError):
                pass


class Floods(HostileCase):
    items = {"studio": simulated(), "other": simulated()}

    def test_flood_of_one_token_holds_up_no_other(self):
        for router in self.items:
            self.wait_for_up(router)
        quiet = self.add_token("quiet", "operate")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=quiet).status == 200)
        flood = [self.send_take([{"output": n % 8 + 1, "input": n % 7 + 1}], within=60000) for n in range(300)]
        for n in range(10):
            answer = self.take([{"output": 1, "input": n % 8 + 1}], router="other", token=quiet)
            self.assertEqual((answer.status, answer.json["results"][0]["result"]), (200, "confirmed"))
            answer = self.take([{"output": 8, "input": n % 8 + 1}], token=quiet)
            self.assertEqual(answer.status, 200)
        self.assertLessEqual({connection.read_answer()[0] for connection in flood}, {200, 429})

    def test_what_waits_for_a_hanging_driver_is_bounded(self):
        self.wait_for_up()
        self.wait_for_up("other")
        self.drivers["studio"].send_signal(signal.SIGSTOP)
        asked = [self.send_take([{"output": 1, "input": 3}], within=20000) for _ in range(200)]
        answer = self.take([{"output": 1, "input": 3}], router="other")
        self.assertEqual(answer.json["results"][0]["result"], "confirmed")
        self.drivers["studio"].send_signal(signal.SIGCONT)
        answers = [connection.read_answer() for connection in asked]
        statuses = [status for status, _, _ in answers]
        self.assertEqual(set(statuses), {200, 429})
        self.assertLessEqual(statuses.count(200), 64)
        for status, headers, body in answers:
            if status == 429:
                self.assertEqual(headers["retry-after"], "1")
            else:
                self.assertRegex(json.loads(body)["results"][0]["result"], "^(confirmed|replaced)")


if __name__ == "__main__":
    main()
