"""Ten thousand connections at once. These take long, and many descriptors."""

import resource
import socket

from hostile_case import HostileCase

from gateway_fixture import main, simulated  # isort: skip

CROWD = 10000


class GreatCrowds(HostileCase):
    items = {"studio": simulated()}

    def setUp(self):
        soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        if hard != resource.RLIM_INFINITY and hard < CROWD + 500:
            self.skipTest(f"needs {CROWD + 500} descriptors, has {hard}")
        resource.setrlimit(resource.RLIMIT_NOFILE, (max(soft, CROWD + 500), hard))
        self.addCleanup(resource.setrlimit, resource.RLIMIT_NOFILE, (soft, hard))
        super().setUp()
        self.wait_for_up()

    def crowd(self, text):
        """Connections from many addresses of this machine, each with `text` sent."""
        connections = []
        self.addCleanup(lambda: [each.close() for each in connections])
        for number in range(CROWD):
            each = socket.socket()
            connections.append(each)
            each.settimeout(60)
            each.bind((f"127.1.{number // 250 % 250}.{number % 250 + 1}", 0))
            each.connect(self.address)
            try:
                each.sendall(text)
            except ConnectionError:
                pass  # has given way already
        return connections

    def expect_crowd_is_borne(self, text):
        before = self.resident_kib()
        descriptors = self.open_descriptors()
        crowd = self.crowd(text)
        self.expect_others_served()
        self.assertEqual(self.take([{"output": 1, "input": 3}]).json["results"][0]["result"], "confirmed")
        self.expect_resident_below(before + 262144)
        for each in crowd:
            each.close()
        self.wait_for_descriptors(descriptors + 2)
        self.expect_others_served()

    def test_silent_crowd(self):
        self.expect_crowd_is_borne(b"")

    def test_crowd_with_half_headers(self):
        self.expect_crowd_is_borne(self.head()[:-2].encode() + b"X: " + b"y" * 8000)

    def test_crowd_with_half_bodies(self):
        head = self.head(
            "POST /api/v1/session HTTP/1.1",
            f"Origin: {self.own_origin()}",
            "Content-Type: application/json",
            "Content-Length: 16000",
        )
        self.expect_crowd_is_borne(head.encode() + b" " * 8000)

    def test_crowd_that_is_served_and_stays(self):
        self.expect_crowd_is_borne(self.head().encode())


if __name__ == "__main__":
    main()
