"""A client written from docs/packet-protocol.md with nothing but Python's standard library.

Usage: python_client_test.py PATH-OF-VRDX_ROUTEDRIVER [unittest arguments]
"""

import os
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

PATIENCE = 60  # seconds; reached only when a test fails
HEADER = struct.Struct(">4sHHIQ")  # magic, version, flags, length of the body, result


def text(content):
    data = content.encode()
    return struct.pack(">I", len(data)) + data


def request(command, arguments=(), entries=()):
    body = b"C" + text(command)
    body += b"".join(b"A" + text(argument) for argument in arguments)
    body += b"E"
    body += b"".join(b"N" + text(name) + text(value) for name, value in entries)
    return HEADER.pack(b"TVX4", 1, 0, len(body), 0) + body


class Reply:
    def __init__(self, result, body):
        self.result = result
        self.command = None
        self.arguments = []
        self.entries = []
        self.ended = False
        self._body = body
        self._at = 0
        while self._at < len(body):
            self._read_item()

    def entry(self, name):
        return dict(self.entries).get(name)

    def _read_item(self):
        kind = self._body[self._at : self._at + 1]
        self._at += 1
        if kind == b"C":
            self.command = self._read_text()
        elif kind == b"A":
            self.arguments.append(self._read_text())
        elif kind == b"E":
            self.ended = True
        elif kind == b"N":
            name = self._read_text()
            self.entries.append((name, self._read_text()))
        else:
            raise ValueError(f"unknown kind {kind!r}")

    def _read_text(self):
        (length,) = struct.unpack_from(">I", self._body, self._at)
        self._at += 4 + length
        return self._body[self._at - length : self._at].decode()


class Client:
    """One connection to the driver of an item."""

    def __init__(self, item):
        directory, name = os.path.split(item)
        path = os.path.join(directory, ".tavrixsock." + name)
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.settimeout(PATIENCE)
        try:
            self.socket.connect(path)
        except OSError:
            self.socket.close()
            raise

    def close(self):
        self.socket.close()

    def ask(self, command, arguments=(), entries=()):
        self.socket.sendall(request(command, arguments, entries))
        return self.read_reply()

    def read_reply(self):
        magic, version, _, length, result = HEADER.unpack(self._read(HEADER.size))
        if (magic, version) != (b"TVX4", 1):
            raise ValueError("this is no packet")
        return Reply(result, self._read(length))

    def _read(self, count):
        data = b""
        while len(data) < count:
            piece = self.socket.recv(count - len(data))
            if not piece:
                raise ConnectionError("the driver has closed the connection")
            data += piece
        return data


class PythonClient(unittest.TestCase):
    driver_program = ""

    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="vrdx_test.")
        self.addCleanup(directory.cleanup)
        self.item = os.path.join(directory.name, "router")
        with open(self.item, "w", encoding="utf-8") as item:
            item.write("driver=route_simulator\nsimulated levels=video,audio\n")
        with open(os.path.join(directory.name, "trace"), "w", encoding="utf-8") as trace:
            self.driver = subprocess.Popen(
                [self.driver_program, "--file", self.item], stdin=subprocess.DEVNULL, stderr=trace
            )
        self.addCleanup(self.stop_driver)
        self.client = self.connect()
        self.addCleanup(self.client.close)
        self.wait_for("output 16", "16,16")

    def stop_driver(self):
        if self.driver.poll() is None:
            self.driver.terminate()
        self.driver.wait(PATIENCE)

    def wait_until(self, condition):
        deadline = time.monotonic() + PATIENCE
        while not condition():
            self.assertLess(time.monotonic(), deadline, "waited in vain")
            time.sleep(0.005)

    def connect(self):
        connected = []

        def try_to_connect():
            try:
                connected.append(Client(self.item))
            except (FileNotFoundError, ConnectionRefusedError):
                return False
            return True

        self.wait_until(try_to_connect)
        return connected[0]

    def wait_for(self, name, value):
        self.wait_until(lambda: self.client.ask("status").entry(name) == value)

    def expect_empty_reply(self, reply, command):
        self.assertEqual((reply.command, reply.result, reply.ended), (command, 0, True))
        self.assertEqual((reply.arguments, reply.entries), ([], []))

    def test_ping_is_answered(self):
        self.expect_empty_reply(self.client.ask("ping"), "ping")

    def test_status_lists_names_then_sources_then_the_size(self):
        reply = self.client.ask("status")
        self.assertEqual((reply.command, reply.result, reply.arguments), ("status", 0, []))
        names = [f"input.name {i}" for i in range(1, 17)]
        names += [f"output.name {i}" for i in range(1, 17)]
        names += [f"output {i}" for i in range(1, 17)]
        names += ["router", "in points", "out points", "input range", "output range"]
        names += ["input off setting", "input channels"]
        self.assertEqual([name for name, _ in reply.entries], names)
        self.assertEqual(reply.entries[0], ("input.name 1", "Input 1"))
        self.assertEqual(
            [value for _, value in reply.entries[48:]], ["?", "16", "16", "1-16", "1-16", "0", "A,V"]
        )

    def test_route_takes_both_levels_or_each_its_own(self):
        self.expect_empty_reply(self.client.ask("route", ["3=2"], [("set", "4=5,6 5=0")]), "route")
        self.wait_for("output 3", "2,2")
        self.wait_for("output 4", "5,6")
        self.wait_for("output 5", "0,0")

    def test_router_set_renames(self):
        names = [("output.3.name", "Übergabe = 1"), ("input.2.name", "Camera 2")]
        self.expect_empty_reply(self.client.ask("router set", entries=names), "router set")
        self.wait_for("output.name 3", "Übergabe = 1")
        self.wait_for("input.name 2", "Camera 2")

    def test_set_reaches_the_backend_which_notes_it(self):
        self.expect_empty_reply(self.client.ask("set", entries=[("tally", "on")]), "set")
        self.wait_until(lambda: "setting tally = on" in self.client.ask("report").entry("*last notes"))

    def test_report_tells_of_backend_errors_and_notes(self):
        self.client.ask("route", ["17=1"])
        expected = "take to output 17 refused: there is no output 17"
        self.wait_until(lambda: self.client.ask("report", ["text"]).entry("*last error") == expected)
        reply = self.client.ask("report")
        self.assertEqual([name for name, _ in reply.entries], ["*active", "*last error", "*last notes"])
        self.assertTrue(reply.entry("*active").startswith("1; "))
        self.assertTrue(reply.entry("*last notes").startswith("Starting backend driver"))

    def test_unknown_command_is_answered_with_error(self):
        reply = self.client.ask("Status")
        self.assertEqual((reply.command, reply.result), ("error", 1))
        self.assertEqual(reply.arguments, ["unknown command 'Status'"])
        self.assertTrue(reply.ended)
        self.expect_empty_reply(self.client.ask("ping"), "ping")

    def test_requests_sent_without_waiting_are_answered_in_order(self):
        commands = ["ping", "status", "nonsense", "report", "ping"]
        self.client.socket.sendall(b"".join(request(command) for command in commands))
        replies = [self.client.read_reply().command for _ in commands]
        self.assertEqual(replies, ["ping", "status", "error", "report", "ping"])

    def test_malformed_packet_costs_the_connection(self):
        self.client.socket.sendall(request("ping").replace(b"TVX4", b"TVX5"))
        self.assertEqual(self.client.socket.recv(1), b"")
        self.client.close()
        self.client = self.connect()
        self.addCleanup(self.client.close)
        self.expect_empty_reply(self.client.ask("ping"), "ping")

    def test_exit_ends_the_driver_and_removes_its_socket(self):
        self.expect_empty_reply(self.client.ask("exit"), "exit")
        self.assertEqual(self.driver.wait(PATIENCE), 0)
        self.assertEqual(self.client.socket.recv(1), b"")
        with self.assertRaises(FileNotFoundError):
            Client(self.item)


if __name__ == "__main__":
    PythonClient.driver_program = sys.argv.pop(1)
    unittest.main()
