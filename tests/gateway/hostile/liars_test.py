"""A driver that speaks the protocol and lies: whatever it tells, the gateway shows what it can be sure of, and its other
routers are served on."""

import struct
import threading

from hostile_case import HostileCase

from false_driver import FalseDriver  # isort: skip
from gateway_fixture import main, wait_until  # isort: skip
from packet_client import HEADER, packet_bytes  # isort: skip

EPOCH = "0123456789abcdef"


def change(begin, end, *entries, epoch=EPOCH, more=None):
    about = [("epoch", epoch), ("from", str(begin)), ("to", str(end)), *([("more", more)] if more else [])]
    return packet_bytes("change", (), [*about, *entries])


def watch_reply(epoch=EPOCH):
    return packet_bytes("watch", (), [("epoch", epoch), ("sequence", "1"), ("last take", "0")])


SMALL = [("inputs", "2"), ("outputs", "2"), ("backend", "running"), ("link", "up"), ("levels", "all")]


class Liars(HostileCase):
    def lie(self, *packets, endless=None):
        """A driver `liar` that answers the watch with these, then with `endless` again and again."""
        self.connections = 0
        over = threading.Event()

        def speak(connection):
            self.connections += 1
            connection.recv(4096)
            for packet in packets:
                connection.sendall(packet)
            while endless is not None and not over.is_set():
                connection.sendall(endless)

        path = self.folder / "run" / "liar.sock"
        driver = FalseDriver(path, speak)

        def end():
            over.set()
            driver.close()
            path.unlink()

        self.end_lie = end

    def row(self):
        rows = {row["name"]: row for row in self.get("/api/v1/routers").json["routers"]}
        return rows.get("liar", {"state": "unseen"})

    def expect_studio_served(self):
        self.assertEqual(self.take([{"output": 1, "input": 3}]).json["results"][0]["result"], "confirmed")
        self.expect_others_served()

    def setUp(self):
        super().setUp()
        self.end_lie = None
        self.addCleanup(lambda: self.end_lie and self.end_lie())
        self.wait_for_up()

    def test_truth_for_comparison(self):
        self.lie(watch_reply(), change(1, 1, *SMALL, ("input 1 name", "one")))
        wait_until("it is up", lambda: self.row()["state"] == "up")
        self.assertEqual((self.row()["inputs"], self.row()["outputs"]), (2, 2))

    def test_gaps_other_epochs_and_nonsense_are_doubted(self):
        for packets in (
            [watch_reply("not an epoch")],
            [watch_reply('"\r\nSet-Cookie: a=b')],
            [change(1, 1, *SMALL)],
            [watch_reply(), change(5, 9, *SMALL)],
            [watch_reply(), change(1, 1, *SMALL, epoch="fedcba9876543210")],
            [watch_reply(), change(1, 1, *SMALL), change(0, 0)],
            [watch_reply(), change(1, 18446744073709551615, *SMALL), change(18446744073709551615, 1)],
            [packet_bytes("error", ("no", "x" * 5000))],
        ):
            with self.subTest(packet=packets[-1][:80]):
                self.lie(*packets)
                wait_until("it is doubted", lambda: self.connections > 1 and self.row()["state"] == "stale")
                self.expect_studio_served()
                self.end_lie()
                self.end_lie = None

    def test_sizes_names_and_properties_without_measure_are_cut(self):
        entries = [("inputs", "99999999999999999999"), ("outputs", "4294967297"), ("backend", "running"), ("link", "up")]
        entries += [(f"input {number} name", "\x01\xff\"\\" * 2000) for number in range(1, 30)]
        self.lie(watch_reply(), change(1, 1, *entries))
        wait_until("it is seen", lambda: self.row()["state"] not in ("unseen", "no driver", "reading"))
        self.assertLessEqual(self.row().get("inputs", 0), 4096)
        self.assertLessEqual(self.row().get("outputs", 0), 1024)
        picture = self.get("/api/v1/routers/liar").json
        for each in picture["inputs"]:
            self.assertLessEqual(len(each["name"]), 1024)
        self.expect_studio_served()

    def test_changes_without_end_hold_up_nobody(self):
        endless = change(1, 1, *SMALL, *[(f"input {number % 2 + 1} name", "x" * 100) for number in range(500)])
        self.lie(watch_reply(), change(1, 1, *SMALL), endless=endless)
        reader = self.events("?router=studio")
        wait_until("it is seen", lambda: self.connections > 0)
        for source in range(1, 9):
            answer = self.take([{"output": 2, "input": source}])
            self.assertEqual(answer.json["results"][0]["result"], "confirmed")
            self.wait_for_event(
                reader, "the take", lambda event, n=source: event["type"] == "take" and event["wanted"]["video"] == n
            )

    def test_size_that_changes_again_and_again_costs_bounded_memory(self):
        large = change(1, 1, ("inputs", "4096"), ("outputs", "1024"), *SMALL[2:])
        self.lie(watch_reply(), change(1, 1, *SMALL), endless=large + change(1, 1, *SMALL))
        deaf = [self.events(receive_buffer=2048) for _ in range(10)]
        wait_until("it is seen", lambda: self.connections > 0)
        for _ in range(10):
            self.expect_studio_served()
        self.expect_resident_below(262144)
        for reader in deaf:
            reader.close()

    def test_packet_larger_than_any_is_no_driver(self):
        self.lie(HEADER.pack(b"TVX4", 1, 0, 0xFFFFFFFF, 0), struct.pack(">I", 0))
        wait_until("it is doubted", lambda: self.row()["state"] == "stale")
        self.expect_studio_served()


if __name__ == "__main__":
    main()
