"""A client of the driver, from docs/packet-protocol.md."""

import collections
import socket

from packet_codec import ARGUMENT, END, ENTRY, HEADER, command_and_items, header_of, packet

TOLD = ("change", "takes", "alive")  # what the driver sends of its own accord

Packet = collections.namedtuple("Packet", "command result arguments entries")


class Disconnected(AssertionError):
    pass


def packet_bytes(command, arguments=(), entries=()):
    items = [(ARGUMENT, argument) for argument in arguments] + [(END,)] + [(ENTRY, *entry) for entry in entries]
    return packet(command, *items, encoding="latin-1")


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
            length, result = header_of(self.received)
            end = HEADER.size + length
            if len(self.received) < end:
                return
            command, items = command_and_items(self.received[HEADER.size : end], "latin-1")
            self.received = self.received[end:]
            arguments = [item[1] for item in items if item[0] == ARGUMENT]
            entries = [item[1:] for item in items if item[0] == ENTRY]
            self.waiting.append(Packet(command, result, arguments, entries))
