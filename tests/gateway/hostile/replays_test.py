"""The same request again: while the first is under way, with another body, by another token, after the end of its
token. Whatever comes, it is taken once, and everybody gets an answer."""

import json
import signal

from hostile_case import HostileCase

from gateway_fixture import main, wait_until  # isort: skip


class Replays(HostileCase):
    def setUp(self):
        super().setUp()
        self.wait_for_up()

    def hold_driver(self):
        self.drivers["studio"].send_signal(signal.SIGSTOP)

    def release_driver(self):
        self.drivers["studio"].send_signal(signal.SIGCONT)

    def results(self, connection):
        status, _, body = connection.read_answer()
        self.assertEqual(status, 200, body)
        return json.loads(body)["results"]

    def takes_told(self):
        """How many takes the driver has decided: counted by a reader that was there from the beginning."""
        count = 0
        while True:
            event = self.reader.read_event()
            if event["type"] == "take":
                count += 1
            elif event["type"] == "alive":
                return count

    def test_same_key_while_the_first_is_under_way_takes_once(self):
        self.reader = self.events()
        self.hold_driver()
        asked = [self.send_take([{"output": 1, "input": 5}], "Idempotency-Key: one", within=20000) for _ in range(6)]
        other_body = self.send_take([{"output": 1, "input": 6}], "Idempotency-Key: one")
        self.assertEqual(other_body.read_answer()[0], 422)
        self.release_driver()
        for connection in asked:
            self.assertEqual(self.results(connection)[0]["result"], "confirmed")
        self.assertEqual(self.takes_told(), 1)

    def test_too_many_of_one_key_are_told_so(self):
        self.hold_driver()
        asked = [self.send_take([{"output": 1, "input": 5}], "Idempotency-Key: one", within=20000) for _ in range(40)]
        self.expect_others_served()
        self.release_driver()
        statuses = [connection.read_answer()[0] for connection in asked]
        self.assertLessEqual(set(statuses), {200, 429})
        self.assertGreaterEqual(statuses.count(200), 1)
        self.assertGreaterEqual(statuses.count(429), 1)

    def test_key_of_another_token_is_another_key(self):
        other = self.add_token("other", "operate")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=other).status == 200)
        headers = {"Idempotency-Key": "same"}
        self.assertEqual(self.take([{"output": 1, "input": 5}], headers=headers).status, 200)
        answer = self.take([{"output": 1, "input": 6}], token=other, headers=headers)
        self.assertEqual(answer.json["results"][0]["result"], "confirmed")
        self.assertEqual(self.sources(1)["video"], 6)

    def test_those_who_wait_hear_of_the_end_of_their_token(self):
        other = self.add_token("other", "operate")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=other).status == 200)
        # Its connection to the driver is there: on a new one nothing is handed to a driver that stands still.
        self.assertEqual(self.take([{"output": 3, "input": 5}], token=other).json["results"][0]["result"], "confirmed")
        self.hold_driver()
        asked = [
            self.send_take([{"output": 1, "input": 5}], "Idempotency-Key: one", token=other, within=60000) for _ in range(3)
        ]
        alone = self.send_take([{"output": 2, "input": 5}], token=other, within=60000)
        self.expect_others_served()
        self.run_token_command("remove", "other")
        for connection in [*asked, alone]:
            self.assertEqual(self.results(connection)[0]["result"], "unknown")
        self.release_driver()
        self.wait_for_up()

    def test_key_of_a_request_that_did_nothing_is_free_again(self):
        headers = {"Idempotency-Key": "again"}
        self.assertEqual(self.take([{"output": 1, "input": "no such"}], headers=headers).status, 422)
        answer = self.take([{"output": 1, "input": 5}], headers=headers)
        self.assertEqual(answer.json["results"][0]["result"], "confirmed")

    def test_wrong_keys(self):
        for key in ("", "x" * 129, "\xe9"):
            self.expect_problem(self.take([{"output": 1, "input": 5}], headers={"Idempotency-Key": key}), 400, "128")


if __name__ == "__main__":
    main()
