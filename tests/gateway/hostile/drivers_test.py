"""Drivers that hang, die, lie, come again with another size: what is shown is true or says that it is not, and the
other routers are served on."""

import json
import os
import random
import signal
import socket

from hostile_case import HostileCase

from false_driver import FalseDriver  # isort: skip
from gateway_fixture import main, simulated, wait_until  # isort: skip


def say_nothing(connection):
    connection.recv(1)


def hang_up(connection):
    connection.shutdown(socket.SHUT_RDWR)


def talk_nonsense(connection):
    connection.sendall(random.Random(1).randbytes(70000))


def announce_much(connection):
    connection.sendall(b"\x00\x00\x00\x04" + b"\x7f\xff\xff\xff" + b"\x00" * 64)


def never_stop(connection):
    while True:
        connection.sendall(b"\x00" * 65536)


class Drivers(HostileCase):
    def state_of(self, router):
        rows = self.get("/api/v1/routers").json["routers"]
        return next((row["state"] for row in rows if row["name"] == router), None)

    def test_what_is_no_driver_harms_nobody(self):
        self.wait_for_up()
        for number, speak in enumerate((say_nothing, hang_up, talk_nonsense, announce_much, never_stop)):
            driver = FalseDriver(self.folder / "run" / f"false{number}.sock", speak)
            self.addCleanup(driver.close)
        wait_until("all are seen", lambda: len(self.get("/api/v1/routers").json["routers"]) == 6)
        for _ in range(20):
            answer = self.take([{"output": 1, "input": 3}])
            self.assertEqual(answer.json["results"][0]["result"], "confirmed")
        for number in range(5):
            self.assertNotIn(self.state_of(f"false{number}"), ("up", "link down", "no backend"))
            answer = self.take([{"output": 1, "input": 3}], router=f"false{number}", within=200)
            self.assertIn(answer.json["results"][0]["result"], ("unavailable", "unknown"))
        self.assertLess(self.open_descriptors(), 60)
        self.expect_others_served()

    def test_driver_that_hangs_is_stale_and_comes_again(self):
        self.wait_for_up()
        desk = self.add_token("desk", "operate")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=desk).status == 200)
        asked = self.events()
        self.assertEqual(self.take([{"output": 1, "input": 5}]).json["results"][0]["result"], "confirmed")
        self.drivers["studio"].send_signal(signal.SIGSTOP)
        answer = self.take([{"output": 1, "input": 3}], within=200)
        self.assertEqual(answer.json["results"][0]["result"], "unknown")
        answer = self.take([{"output": 1, "input": 2}], token=desk, within=200)
        self.assertEqual(answer.json["results"][0]["result"], "unavailable", "nothing is handed to one that stands still from the beginning")
        self.wait_for_event(asked, "stale", lambda event: event["type"] == "router" and event["state"] == "stale")
        self.assertEqual(self.take([{"output": 1, "input": 3}]).json["results"][0]["result"], "unavailable")
        self.drivers["studio"].send_signal(signal.SIGCONT)
        self.wait_for_event(asked, "up", lambda event: event["type"] == "router" and event["state"] == "up")
        self.assertEqual(self.take([{"output": 2, "input": 4}]).json["results"][0]["result"], "confirmed")
        self.assertEqual(self.sources(1), {"video": 5, "audio": 5}, "nothing is done late")

    def test_driver_that_dies_under_takes_leaves_nobody_without_an_answer(self):
        self.wait_for_up()
        self.drivers["studio"].send_signal(signal.SIGSTOP)
        asked = [self.send_take([{"output": n, "input": 3}], within=60000) for n in range(1, 9)]
        self.expect_others_served()
        self.stop_driver("studio", signal.SIGKILL)
        for connection in asked:
            status, _, body = connection.read_answer()
            self.assertEqual(status, 200)
            self.assertRegex(body.decode(), '"(unknown|unavailable)"')
        self.start_driver("studio")
        self.wait_for_up()

    def crowd_before(self, name):
        """Connections that the stopped driver does not take, until it lets no more in: they are in front of all others."""
        crowd = []
        self.addCleanup(lambda: [each.close() for each in crowd])
        while True:
            crowd.append(socket.socket(socket.AF_UNIX))
            crowd[-1].setblocking(False)
            try:
                crowd[-1].connect(str(self.folder / "run" / f"{name}.sock"))
            except BlockingIOError:
                return crowd

    def test_take_that_waits_for_the_driver_does_not_go_out_after_a_lock(self):
        self.wait_for_up()
        wait_until("the router has reported", lambda: self.sources(1) == {"video": 1, "audio": 1})
        self.drivers["studio"].send_signal(signal.SIGSTOP)
        self.crowd_before("studio")
        both = self.send_take([{"output": 1, "input": 3}, {"output": 2, "input": 3}], within=60000)
        nothing = self.send_take([{"output": 1, "input": 3}, {"output": 3, "input": 3}], within=60000, all_or_nothing=True)
        wait_until("both wait", lambda: "vrdx_gateway_open_requests 2" in self.get("/metrics").body.decode())
        lock = self.ask("POST", "/api/v1/routers/studio/outputs/1/lock", {"state": "lock", "reason": "on air"})
        self.assertEqual(lock.status, 200)
        self.drivers["studio"].send_signal(signal.SIGCONT)
        results = [json.loads(connection.read_answer()[2])["results"] for connection in (both, nothing)]
        self.assertEqual([each["result"] for each in results[0]], ["locked", "confirmed"])
        self.assertEqual(results[0][0]["lock"]["reason"], "on air")
        self.assertEqual([each["result"] for each in results[1]], ["locked", "withdrawn"])
        self.assertEqual([self.sources(n)["video"] for n in (1, 3)], [1, 3])
        entries = self.get("/api/v1/history?router=studio&output=1").json["history"]
        self.assertEqual([each["result"] for each in entries if each["kind"] == "take"], ["locked"])

    def test_driver_that_restarts_again_and_again(self):
        before = self.open_descriptors()
        for number in (signal.SIGKILL, signal.SIGTERM) * 4:
            self.wait_for_up()
            self.assertEqual(self.take([{"output": 1, "input": 3}]).json["results"][0]["result"], "confirmed")
            self.stop_driver("studio", number)
            self.start_driver("studio")
        self.wait_for_up()
        self.wait_for_descriptors(before + 1)

    def test_router_that_grows_as_large_as_can_be_and_back(self):
        self.wait_for_up()
        reader = self.events()
        sizes = [(4096, 1024), (8, 8), (4096, 1024), (1, 1)]
        for inputs, outputs in sizes:
            self.stop_driver("studio", signal.SIGKILL)
            self.start_driver("studio", simulated(inputs, outputs))
            event = self.wait_for_event(
                reader, "its new size", lambda event, n=outputs: event["type"] == "picture" and len(event["outputs"]) == n
            )
            self.assertEqual(len(event["inputs"]), inputs)
            picture = self.picture()
            self.assertEqual((len(picture["inputs"]), len(picture["outputs"])), (inputs, outputs))
        answer = self.take([{"output": 1024, "input": 1}])
        self.assertNotEqual(answer.json.get("results", [{}])[0].get("result"), "confirmed")

    def test_sockets_that_come_and_go_leave_nothing(self):
        before = self.open_descriptors()
        for round_number in range(30):
            path = self.folder / "run" / f"short{round_number}.sock"
            FalseDriver(path, hang_up).close()
            os.unlink(path)
        wait_until("they are gone", lambda: len(self.get("/api/v1/routers").json["routers"]) == 1)
        self.wait_for_descriptors(before)


if __name__ == "__main__":
    main()
