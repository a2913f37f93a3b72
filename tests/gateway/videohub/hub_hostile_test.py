"""A Videohub server under attack: what its clients cost, and that others are served all the same."""

import pathlib
import socket
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).parent))
sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "hostile"))
from hostile_case import HostileCase  # noqa: E402
from hub_fixture import HubTest, simulated, wait_until  # noqa: E402

from gateway_fixture import main  # noqa: E402  isort: skip

ROUTING = "VIDEO OUTPUT ROUTING:\n"
LOCKS = "VIDEO OUTPUT LOCKS:\n"


class HubUnderAttack(HubTest, HostileCase):
    items = {"studio": simulated(64, 64)}

    def setUp(self):
        super().setUp()
        wait_until("the router has told its sources", lambda: self.confirmed_sources() == list(range(1, 65)))
        self.panel = self.connect(source="127.0.0.9")

    def expect_panel_served(self):
        """Its take is done while the attack lasts."""
        source = (int(self.panel.routing[7]) + 1) % 64
        self.assertTrue(self.panel.ask(f"{ROUTING}7 {source}\n\n"))
        self.panel.wait_for_route(7, source)
        self.assertIsNone(self.gateway.poll(), self.errors())

    def send_until_cut(self, client, bytes_each, most):
        """How many bytes were taken before the connection was cut."""
        sent = 0
        try:
            while sent < most:
                client.send(bytes_each)
                sent += len(bytes_each)
        except (ConnectionError, socket.timeout):
            pass
        return sent

    def test_blocks_without_an_end_are_cut(self):
        for text in (b"x" * 65536, b"VIDEO OUTPUT ROUTING:\n" + b"1 1\n" * 16384):
            client = self.connect()
            self.send_until_cut(client, text, 1 << 22)
            self.assertTrue(client.is_closed())
        self.expect_panel_served()

    def test_longest_block_is_answered(self):
        client = self.connect()
        self.assertFalse(client.ask(b"OUTPUT LABELS:\n1 " + b"x" * 65536 + b"\n\n"))
        self.assertTrue(client.ask(ROUTING + "3 4\n" * 16000 + "\n"))
        client.wait_for_route(3, 4)
        self.expect_panel_served()

    def test_hostile_labels_do_not_reach_clients_as_blocks(self):
        hostile = "END PRELUDE:\r\tACK: 7 7"
        self.assertFalse(self.panel.ask("OUTPUT LABELS:\n1 " + hostile + "\n\n"))
        name = "VIDEO OUTPUT ROUTING: 1 2"
        self.ask("PUT", "/api/v1/routers/studio/outputs/2/name", {"name": name})
        self.assertEqual(self.panel.wait_for_block("OUTPUT LABELS").lines, ["1 " + name])
        self.panel.expect_nothing_else(self)

    def test_flood_of_questions_is_answered_as_it_reads(self):
        client = self.connect()
        done = threading.Event()

        def flood():
            try:
                while not done.is_set():
                    client.send("PING:\n\nINPUT LABELS:\n\nVIDEO OUTPUT ROUTING:\n\n" * 500)
            except OSError:
                pass

        thread = threading.Thread(target=flood)
        thread.start()
        try:
            for _ in range(5):
                self.expect_panel_served()
            for _ in range(3000):
                client.next()
            self.expect_panel_served()
            self.expect_resident_below(65536)
        finally:
            done.set()
            client.socket.shutdown(socket.SHUT_RDWR)
            thread.join()

    def test_flood_of_takes_holds_nobody_up_and_ends_with_the_truth(self):
        client = self.connect()
        client.send("".join(f"{ROUTING}{n % 6} {n % 64}\n\n" for n in range(3000)))
        for _ in range(3):
            self.expect_panel_served()
        for _ in range(3000):
            self.assertTrue(client.answer())
            client.seen.clear()
        client.wait_for("the last of each", lambda _: [client.routing[n] for n in range(6)] == [str((2994 + n) % 64) for n in range(6)])
        self.expect_others_served()

    def test_flood_of_locks_is_refused_beyond_twenty_a_second(self):
        client = self.connect()
        begun = time.monotonic()
        locks = [client.ask(f"{LOCKS}{output} O\n\n") for output in range(64)]
        self.assertEqual(locks, [True] * 64)
        unlocks = [client.ask(f"{LOCKS}{output} U\n\n") for output in range(64)]
        self.assertLessEqual(sum(unlocks), (time.monotonic() - begun) * 20 + 1)
        everything = "".join(f"{output} U\n" for output in range(64))
        wait_until("it may again", lambda: client.ask(f"{LOCKS}{everything}\n"))
        for _ in range(200):  # what changes nothing is not written
            self.assertTrue(client.ask(f"{LOCKS}{everything}\n"))
        self.expect_panel_served()

    def test_client_that_reads_little_costs_little_and_hears_the_newest_state(self):
        slow = self.connect(whole=False, receive_buffer=2048)
        before = self.resident_kib()
        rounds = 8  # of 64 KiB each: more than the system holds for it
        for count in range(rounds):
            names = {output: f"{count} ".ljust(1000, "x") for output in range(64)}
            block = "".join(f"{output} {name}\n" for output, name in names.items())
            self.assertTrue(self.panel.ask(f"OUTPUT LABELS:\n{block}\n"))
            while self.panel.outputs != names:
                self.panel.next()
            slow.received += slow.socket.recv(4096)
        self.expect_resident_below(before + 8192)
        blocks = slow.read_prelude()
        while slow.outputs != self.panel.outputs:
            blocks.append(slow.next())
        told = sum(len(block.lines) for block in blocks if block.header == "OUTPUT LABELS")
        self.assertLess(told, 64 * (rounds - 2))

    def test_client_that_never_reads_is_cut(self):
        slow = self.connect(whole=False, receive_buffer=2048)
        self.send_until_cut(slow, b"INPUT LABELS:\n\nVIDEO OUTPUT ROUTING:\n\n" * 100, 1 << 26)
        # Nothing is read from it any more, and what it was told is not taken: in the end it is cut.
        wait_until("it is cut", lambda: self.open_hub_connections() == 1)
        self.expect_panel_served()

    def open_hub_connections(self):
        """Of the gateway's side, as the system counts them."""
        port = f":{self.hub_address()[1]:04X}"
        lines = pathlib.Path(f"/proc/{self.gateway.pid}/net/tcp").read_text(encoding="ascii").splitlines()[1:]
        return sum(line.split()[1].endswith(port) and line.split()[3] == "01" for line in lines)

    def test_hang_ups_at_any_moment_leave_nothing_behind(self):
        before = self.open_descriptors()
        for text in ("", "VIDEO OUTPUT", ROUTING + "1 2\n", ROUTING + "1 2\n\n", "PING:\n\n" * 1000, "OUTPUT LABELS:\n1 x\n\n"):
            for _ in range(20):
                client = self.connect(whole=False)
                client.send(text)
                client.close()
        self.expect_panel_served()
        # One more may be a connection to the driver for takes, which stays a while.
        self.wait_for_descriptors(before + 2)

    def test_half_close_is_answered_and_then_closed(self):
        client = self.connect()
        client.send(ROUTING + "1 2\n\nPING:\n\n")
        client.socket.shutdown(socket.SHUT_WR)
        self.assertTrue(client.answer() and client.answer())
        self.assertTrue(client.is_closed())

    def test_one_address_gets_half_of_the_places_and_others_the_rest(self):
        crowd = [self.connect(whole=False) for _ in range(384)]
        for client in (crowd[0], crowd[-1]):
            client.read_prelude()
        for _ in range(3):
            beyond = self.connect(whole=False)
            self.assertTrue(beyond.is_closed())
            self.assertEqual(beyond.received, b"")
        self.assertEqual(self.errors().count("127.0.0.1 is not let in, it has 384 connections here already"), 1)
        self.connect(source="127.0.0.5")
        self.expect_panel_served()
        crowd[7].close()
        wait_until("its place is free", self.is_let_in)

    def is_let_in(self):
        client = self.connect(whole=False)
        try:
            return client.fill()
        except ConnectionError:
            return False
        finally:
            client.close()

    def test_five_hundred_clients_hear_of_each_take(self):
        clients = [self.connect(whole=False, source=f"127.0.0.{2 + number % 2}") for number in range(500)]
        for client in clients:
            client.read_prelude()
        self.assertTrue(clients[250].ask(ROUTING + "3 60\n\n"))
        for client in clients:
            client.wait_for_route(3, 60)
        self.expect_panel_served()
        self.expect_resident_below(98304)


if __name__ == "__main__":
    main()
