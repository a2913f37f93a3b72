"""Peers that make the gateway wait shut nobody out: what waits gives way to whoever asks."""

import json

from hostile_case import HostileCase

from gateway_fixture import main  # isort: skip

OF_ONE_ADDRESS = 2000  # connections that the gateway has of one address at most
WAITING_OF_ONE_ADDRESS = 512


class Waiting(HostileCase):
    items = {}

    def login_head(self, length):
        fields = (f"Origin: {self.own_origin()}", "Content-Type: application/json", f"Content-Length: {length}")
        return self.head("POST /api/v1/session HTTP/1.1", *fields)

    def test_half_bodies_give_way(self):
        halves = []
        for _ in range(WAITING_OF_ONE_ADDRESS + 50):
            halves.append(self.raw())
            halves[-1].send(self.login_head(100) + "{")
        self.expect_others_served()
        self.assertTrue(halves[0].is_ended())
        self.assertLessEqual(self.open_descriptors(), WAITING_OF_ONE_ADDRESS + 50)
        halves[-1].send(json.dumps({"token": "x" * 200})[1:100])  # the youngest one is still read
        self.assertEqual(halves[-1].read_answer()[0], 400)

    def test_wrong_tokens_that_are_made_to_wait_give_way(self):
        asked = []
        for number in range(WAITING_OF_ONE_ADDRESS + 100):
            asked.append(self.raw())
            asked[-1].send(self.head("GET /api/v1/routers HTTP/1.1", f"Authorization: Bearer vrdx_{number}"))
        self.expect_others_served()
        self.assertLessEqual({each.read_answer()[0] for each in asked}, {0, 401, 429})
        self.expect_others_served()

    def test_descriptors_of_peers_that_vanish_come_back(self):
        before = self.open_descriptors()
        for text in ("", "GET /he", self.head(), self.login_head(100) + "{", "\r\n" * 100, "\x00" * 100):
            for _ in range(50):
                connection = self.raw()
                connection.send(text)
                connection.close()
        self.wait_for_descriptors(before)
        self.expect_others_served()

    def test_headers_that_may_stand_once(self):
        for fields in (
            (f"Authorization: Bearer {self.token}", "Authorization: Bearer x"),
            (f"Authorization: Bearer {self.token}", "Origin: http://a", "Origin: http://b"),
            (f"Authorization: Bearer {self.token}", "Idempotency-Key: a", "Idempotency-Key: b"),
        ):
            with self.subTest(fields=fields):
                connection = self.raw()
                connection.send(self.head("GET /api/v1/routers HTTP/1.1", *fields))
                self.assertEqual(connection.read_answer()[0], 400)
        self.expect_others_served()


if __name__ == "__main__":
    main()
