"""A client of the driver, from docs/packet-protocol.md."""

import collections
import socket
import struct

HEADER = struct.Struct(">4sHHIQ")  # magic, version, flags, length of the body, result
TOLD = ("change", "takes", "alive")  # what the driver sends of its own accord

Packet = collections.namedtuple("Packet", "command result arguments entries")


class Disconnected(AssertionError):
    pass


def text(content):
    data = content.encode("latin-1")
    return struct.pack(">I", len(data)) + data


def packet_bytes(command, arguments=(), entries=()):
    body = b"C" + text(command) + b"".join(b"A" + text(argument) for argument in arguments) + b"E"
    body += b"".join(b"N" + text(name) + text(value) for name, value in entries)
    return HEADER.pack(b"TVX4", 1, 0, len(body), 0) + body


class PacketClient:
    def __init__(self, path, patience):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.settimeout(patience)
        self.patience = patience
        self.received = b""  # what is not a whole packet yet
        self.waiting = collections.deque()  # packets that came and were not asked for yet
        self.socket.connect(path)

    def fileno(self):
        return self.socket.fileno()

    def close(self):
        self.socket.close()

    def send(self, data):
        self.socket.sendall(data)

    def ask(self, command, arguments=(), entries=()):
        """(result, arguments, entries) of the reply; what comes before it stays for others."""
        self.send(packet_bytes(command, arguments, entries))
        passed = []
        while (packet := self.receive()).command in TOLD or (packet.command == "take" and command != "take"):
            passed.append(packet)
        self.waiting.extendleft(reversed(passed))
        if packet.command != command:
            raise AssertionError(f"the reply to {command} is one to {packet.command} {packet.arguments}")
        return packet.result, packet.arguments, packet.entries

    def receive(self):
        """The next packet."""
        while not self.waiting:
            self._read()
        return self.waiting.popleft()

    def receive_all(self):
        """The packets that have come, without waiting."""
        self.socket.settimeout(0)
        try:
            while True:
                self._read()
        except BlockingIOError:
            pass
        finally:
            self.socket.settimeout(self.patience)
        packets = list(self.waiting)
        self.waiting.clear()
        return packets

    def _read(self):
        data = self.socket.recv(1 << 18)
        if not data:
            raise Disconnected("the driver closed the connection")
        self.received += data
        while len(self.received) >= HEADER.size:
            magic, version, _, length, result = HEADER.unpack_from(self.received)
            if (magic, version) != (b"TVX4", 1):
                raise AssertionError("the driver answered with something that is no packet")
            end = HEADER.size + length
            if len(self.received) < end:
                return
            command, arguments, entries = self._items(self.received[HEADER.size : end])
            self.received = self.received[end:]
            self.waiting.append(Packet(command, result, arguments, entries))

    @staticmethod
    def _items(body):
        at = 0

        def next_text():
            nonlocal at
            (length,) = struct.unpack_from(">I", body, at)
            at += 4 + length
            return body[at - length : at].decode("latin-1")

        command, arguments, entries = "", [], []
        while at < len(body):
            kind = body[at : at + 1]
            at += 1
            if kind == b"C":
                command = next_text()
            elif kind == b"A":
                arguments.append(next_text())
            elif kind == b"N":
                name = next_text()
                entries.append((name, next_text()))
        return command, arguments, entries
