"""Peers that misuse TLS: slow, half and false handshakes, records of any size and content. Others are served, and what it
costs is bounded."""

import http.client
import os
import pathlib
import socket
import ssl
import subprocess
import tempfile

from hostile_case import HostileCase
from websocket_client import WebSocketClient

from certificates import make_certificate  # isort: skip
from gateway_fixture import PATIENCE, main, wait_until  # isort: skip

WAITING_OF_ONE_ADDRESS = 512
HALF_A_HELLO = bytes.fromhex("16030100c0010000bc0303") + bytes(60)  # of 197 bytes that it announces


class HostileTls(HostileCase):
    configuration = '[tls]\ncertificate = "FOLDER/own.pem"\nkey = "FOLDER/own.key"\n'

    def setUp(self):
        keys = tempfile.TemporaryDirectory(prefix="vrdx_test.", ignore_cleanup_errors=True)
        self.addCleanup(keys.cleanup)
        self.pair = make_certificate(pathlib.Path(keys.name), "own")
        super().setUp()

    def gateway_command(self, *further):
        for file in self.pair:
            (self.folder / file.name).write_bytes(file.read_bytes())
        return super().gateway_command(*further)

    def trusting(self):
        return ssl.create_default_context(cafile=str(self.pair[0]))

    def ask(self, method, path, body=None, token="", headers=None, connection=None):
        with_tls = http.client.HTTPSConnection(*self.address, timeout=PATIENCE, context=self.trusting())
        try:
            return super().ask(method, path, body, token, headers, connection or with_tls)
        finally:
            with_tls.close()

    def encrypted(self):
        plain = socket.create_connection(self.address, PATIENCE)
        self.addCleanup(plain.close)
        shaken = self.trusting().wrap_socket(plain, server_hostname="127.0.0.1")
        self.addCleanup(shaken.close)
        return shaken

    def bare(self, shaken):
        """The socket below it, for bytes that no TLS library writes."""
        below = socket.socket(fileno=os.dup(shaken.fileno()))
        below.settimeout(PATIENCE)
        self.addCleanup(below.close)
        return below

    def expect_ended(self, below):
        try:
            while below.recv(65536):
                pass
        except ConnectionError:
            pass

    def test_half_handshakes_give_way_and_cost_little(self):
        before, descriptors = self.resident_kib(), self.open_descriptors()
        crowd = []
        for _ in range(WAITING_OF_ONE_ADDRESS + 100):
            crowd.append(self.raw())
            crowd[-1].send(HALF_A_HELLO)
        self.expect_others_served()
        self.assertLessEqual(self.open_descriptors(), descriptors + WAITING_OF_ONE_ADDRESS + 10)
        self.expect_resident_below(before + 64 * len(crowd) + 16384)
        self.expect_ended(crowd[0].socket)
        for connection in crowd:
            connection.close()
        self.wait_for_descriptors(descriptors + 5)

    def test_handshake_that_comes_byte_by_byte_is_cut_in_its_time(self):
        slow = self.raw()
        slow.socket.settimeout(0.5)  # a byte after each
        for byte in HALF_A_HELLO * 10:
            try:
                slow.send(bytes([byte]))
                if not slow.socket.recv(1):
                    break
            except TimeoutError:
                pass
            except ConnectionError:
                break
        else:
            self.fail("it may go on for ever")
        self.expect_others_served()

    def test_what_is_no_handshake_ends_the_connection(self):
        for name, bytes_sent in {
            "zeros": bytes(1000),
            "noise": os.urandom(5000),
            "a request": b"GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n",
            "a record beyond any size": b"\x16\x03\x01\xff\xff" + bytes(70000),
            "a record of nothing, without end": b"\x16\x03\x01\x00\x00" * 20000,
            "an alert": b"\x15\x03\x01\x00\x02\x02\x28",
            "data before the handshake": b"\x17\x03\x03\x00\x20" + bytes(32),
        }.items():
            with self.subTest(name):
                connection = self.raw()
                try:
                    connection.send(bytes_sent)
                except ConnectionError:
                    pass  # cut already
                self.expect_ended(connection.socket)
                self.expect_others_served()

    def test_records_that_nobody_of_both_wrote_end_the_connection(self):
        for name, record in {
            "false data": b"\x17\x03\x03\x00\x40" + os.urandom(64),
            "beyond any size": b"\x17\x03\x03\x50\x00" + bytes(0x5000),
            "a second handshake in the clear": HALF_A_HELLO,
            "another version": b"\x17\x09\x09\x00\x40" + bytes(64),
        }.items():
            with self.subTest(name):
                shaken = self.encrypted()
                shaken.sendall(self.head("GET /healthz HTTP/1.1").encode())
                self.assertIn(b"200", shaken.recv(4096))
                below = self.bare(shaken)
                below.sendall(record)
                self.expect_ended(below)
                self.expect_others_served()

    def test_records_in_an_event_stream_end_it_alone(self):
        headers = [("Authorization", f"Bearer {self.token}")]
        hearing, broken = (WebSocketClient(self.address, headers=headers, tls=self.trusting()) for _ in range(2))
        self.addCleanup(hearing.close)
        self.addCleanup(broken.close)
        below = self.bare(broken.socket)
        below.sendall(b"\x17\x03\x03\x00\x40" + os.urandom(64))
        self.expect_ended(below)
        self.assertEqual(hearing.read_event()["type"], "picture")

    def test_second_handshake_is_refused(self):
        for _ in range(20):
            done = subprocess.run(
                ["openssl", "s_client", "-tls1_2", "-connect", f"{self.address[0]}:{self.address[1]}"],
                input=b"R\n",
                capture_output=True,
                timeout=PATIENCE,
                check=False,
            )
            said = done.stdout + done.stderr
            self.assertIn(b"RENEGOTIATING", said)
            self.assertIn(b"no renegotiation", said)
        self.expect_others_served()

    def test_handshakes_begun_and_left_leave_nothing(self):
        descriptors = self.open_descriptors()
        for count in range(200):
            with self.raw() as connection:
                connection.send(HALF_A_HELLO[: 1 + count % len(HALF_A_HELLO)])
        for _ in range(20):
            self.encrypted().close()
        self.expect_others_served()
        self.wait_for_descriptors(descriptors + 5)

    def test_crowd_that_shakes_hands_holds_up_no_take(self):
        wait_until("the router is up", lambda: self.get("/readyz").status == 200)
        self.wait_for_up()
        crowd = [self.raw() for _ in range(300)]
        for connection in crowd:
            connection.send(HALF_A_HELLO)
        for source in range(1, 6):
            result = self.take([{"output": 1, "input": source}]).json["results"][0]["result"]
            self.assertEqual(result, "confirmed")


if __name__ == "__main__":
    main()
