"""A client of the driver, from docs/packet-protocol.md."""

import socket
import struct

HEADER = struct.Struct(">4sHHIQ")  # magic, version, flags, length of the body, result


def text(content):
    data = content.encode("latin-1")
    return struct.pack(">I", len(data)) + data


class PacketClient:
    def __init__(self, path, patience):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.settimeout(patience)
        self.socket.connect(path)

    def close(self):
        self.socket.close()

    def ask(self, command, arguments=(), entries=()):
        """(result, arguments, entries) of the reply."""
        body = b"C" + text(command) + b"".join(b"A" + text(argument) for argument in arguments) + b"E"
        body += b"".join(b"N" + text(name) + text(value) for name, value in entries)
        self.socket.sendall(HEADER.pack(b"TVX4", 1, 0, len(body), 0) + body)
        magic, version, _, length, result = HEADER.unpack(self._read(HEADER.size))
        if (magic, version) != (b"TVX4", 1):
            raise AssertionError("the driver answered with something that is no packet")
        answered, arguments, entries = self._items(self._read(length))
        if answered != command:
            raise AssertionError(f"the reply to {command} is one to {answered}")
        return result, arguments, entries

    def _read(self, size):
        data = bytearray()
        while len(data) < size:
            piece = self.socket.recv(size - len(data))
            if not piece:
                raise AssertionError("the driver closed the connection")
            data += piece
        return bytes(data)

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
