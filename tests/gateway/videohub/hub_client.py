"""A client of a Videohub server, as bare as a test needs it: bytes in, blocks out."""

import pathlib
import socket
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))
sys.path.insert(0, str(pathlib.Path(__file__).parent.parent.parent / "support"))
from running_driver import PATIENCE, wait_until  # noqa: E402


class Block:
    """`header` without its colon; ACK and NAK are blocks without lines."""

    def __init__(self, text):
        lines = text.split("\n")
        self.header = lines[0].removesuffix(":")
        self.lines = lines[1:]

    @property
    def entries(self):
        """{number: text} of a table."""
        return {int(line.split(" ", 1)[0]): line.split(" ", 1)[1] for line in self.lines}

    @property
    def values(self):
        return dict(line.split(": ", 1) for line in self.lines if ": " in line)

    def __repr__(self):
        return f"{self.header}{self.lines}"


class HubClient:
    def __init__(self, address, receive_buffer=None, source=None):
        self.socket = socket.socket(socket.AF_INET)
        self.socket.settimeout(PATIENCE)
        if receive_buffer:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        if source:
            self.socket.bind((source, 0))
        self.socket.connect(address)
        self.received = b""
        self.seen = []  # blocks that were read and not asked for
        # What it knows, from all blocks read so far.
        self.device, self.inputs, self.outputs, self.locks, self.routing = {}, {}, {}, {}, {}
        self.complete = False

    def close(self):
        self.socket.close()

    def send(self, text):
        self.socket.sendall(text if isinstance(text, bytes) else text.encode())

    def is_closed(self):
        """Reads on until nothing more comes; True when it was the other side that ended."""
        while True:
            try:
                if not self.fill():
                    return True
            except ConnectionError:
                return True

    def fill(self):
        got = self.socket.recv(65536)
        self.received += got
        return bool(got)

    def next(self):
        """The next block, noted."""
        while b"\n\n" not in self.received:
            if not self.fill():
                raise ConnectionError("the server has closed the connection")
        text, _, self.received = self.received.partition(b"\n\n")
        block = Block(text.decode())
        self.note(block)
        return block

    def note(self, block):
        tables = {
            "INPUT LABELS": self.inputs,
            "OUTPUT LABELS": self.outputs,
            "VIDEO OUTPUT LOCKS": self.locks,
            "VIDEO OUTPUT ROUTING": self.routing,
        }
        if block.header == "VIDEOHUB DEVICE":
            self.device = block.values
            self.complete = False
            for table in tables.values():
                table.clear()
        elif block.header == "END PRELUDE":
            self.complete = True
        elif block.header in tables:
            tables[block.header].update(block.entries)

    def read_prelude(self):
        """The blocks up to END PRELUDE of a device that is present."""
        blocks = []
        while not self.complete:
            blocks.append(self.next())
        return blocks

    def ask(self, text):
        """Sends a block; True for ACK, False for NAK. What else comes before is kept in `seen`."""
        self.send(text)
        return self.answer()

    def answer(self):
        while True:
            block = self.next()
            if block.header in ("ACK", "NAK"):
                return block.header == "ACK"
            self.seen.append(block)

    def wait_for(self, what, fits):
        """Reads, what was kept first, until a block fits; that one."""
        while self.seen:
            block = self.seen.pop(0)
            if fits(block):
                return block
        while True:
            block = self.next()
            if fits(block):
                return block

    def wait_for_route(self, output, source):
        return self.wait_for(
            f"{output} {source}",
            lambda block: block.header == "VIDEO OUTPUT ROUTING" and block.entries.get(output) == str(source),
        )

    def wait_for_block(self, header):
        return self.wait_for(header, lambda block: block.header == header)

    def expect_nothing_else(self, test):
        """What comes before the answer to a PING, and the PING itself: nothing but that."""
        test.assertTrue(self.ask("PING:\n\n"))
        test.assertEqual(self.seen, [])


__all__ = ["Block", "HubClient", "wait_until"]
