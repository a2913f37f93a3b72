#!/usr/bin/env python3
"""A client of a router's driver in Python alone. Make it yours: Driver speaks the protocol, the rest prints.

    vrdx_client_example.py SOCKET describe
    vrdx_client_example.py SOCKET watch
    vrdx_client_example.py SOCKET take OUT=IN|OUT=AUDIO,VIDEO ...

Exit code: 0 done, and every take confirmed; 1 refused, or a take not confirmed; 2 wrong use; 3 no driver.
"""
import socket
import struct
import sys

HEADER = struct.Struct(">4sHHIQ")  # magic, version, flags, length of the body, result
MAGIC, VERSION, LONGEST = b"TVX4", 1, 1048576
PUSHED = ("change", "takes", "alive")  # what a driver says of its own accord
CONNECT_SECONDS = 5
ANSWER_SECONDS = 65  # a take is answered within a minute
SILENCE_SECONDS = 7.5  # a watched driver speaks every 5 seconds


class NoDriver(Exception):
    pass


class Refused(Exception):
    pass


class Packet:
    def __init__(self, command, arguments=(), entries=(), result=0):
        self.command, self.arguments, self.entries, self.result = command, list(arguments), list(entries), result

    def get(self, name, otherwise=None):
        """The value of the first entry of this name."""
        return next((value for key, value in self.entries if key == name), otherwise)


def encoded(packet):
    def text(content):
        data = content.encode("utf-8", "surrogateescape")
        return struct.pack(">I", len(data)) + data

    body = b"C" + text(packet.command) + b"".join(b"A" + text(each) for each in packet.arguments) + b"E"
    body += b"".join(b"N" + text(name) + text(value) for name, value in packet.entries)
    return HEADER.pack(MAGIC, VERSION, 0, len(body), packet.result) + body


def decoded(body, result):
    packet, at = Packet("", result=result), 0

    def text():
        nonlocal at
        if at + 4 > len(body) or at + 4 + int.from_bytes(body[at : at + 4], "big") > len(body):
            raise NoDriver("a packet is cut short")
        start = at + 4
        at = start + int.from_bytes(body[at:start], "big")
        return body[start:at].decode("utf-8", "surrogateescape")  # names may be any bytes

    while at < len(body):
        kind, at = body[at : at + 1], at + 1
        if kind == b"C":
            packet.command = text()
        elif kind == b"A":
            packet.arguments.append(text())
        elif kind == b"N":
            packet.entries.append((text(), text()))
        elif kind != b"E":
            raise NoDriver("a packet holds what nobody knows")
    return packet


class Driver:
    """One connection. ask() gives the reply; what the driver says in between waits for next()."""

    def __init__(self, path):
        self.told = []
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.settimeout(CONNECT_SECONDS)
        self.socket.connect(path)

    def ask(self, request):
        self.socket.sendall(encoded(request))
        self.socket.settimeout(ANSWER_SECONDS)
        while True:
            packet = self.receive()
            if packet.command == "error":
                raise Refused(packet.arguments[0] if packet.arguments else "the driver does not say why")
            if packet.command == request.command:
                return packet
            if packet.command in PUSHED:
                self.told.append(packet)

    def next(self):
        """What the driver says next, or NoDriver when it is silent for too long."""
        if self.told:
            return self.told.pop(0)
        self.socket.settimeout(SILENCE_SECONDS)
        return self.receive()

    def receive(self):
        magic, version, _, length, result = HEADER.unpack(self.read(HEADER.size))
        if (magic, version) != (MAGIC, VERSION) or not 0 < length <= LONGEST:
            raise NoDriver("what answers is no driver")
        return decoded(self.read(length), result)

    def read(self, count):
        data = bytearray()
        while len(data) < count:
            piece = self.socket.recv(count - len(data))
            if not piece:
                raise NoDriver("the driver has closed the connection")
            data += piece
        return bytes(data)


def show(what, entries):
    """One line for each entry; names may hold what would disturb a terminal."""
    for name, value in entries:
        line = f"{what}{name}: {value}".encode("utf-8", "replace").decode()
        print("".join(c if c.isprintable() else "?" for c in line), flush=True)


def describe(driver):
    following = []
    while True:
        page = driver.ask(Packet("describe", following))
        skipped = ("next",) if not following else ("next", "epoch", "sequence")
        show("", [entry for entry in page.entries if entry[0] not in skipped])
        if page.get("next") is None:
            return 0
        following = [page.get("next")]


def watch(driver):
    epoch, numbers, more = driver.ask(Packet("watch")).get("epoch"), (1, 0), False
    while True:
        packet = driver.next()
        if packet.command not in PUSHED:
            continue  # a newer driver tells more
        if packet.get("epoch") != epoch:
            raise NoDriver("the driver was started anew")
        if packet.command == "change":
            told = int(packet.get("from", 0)), int(packet.get("to", 0))
            if told != numbers if more else told[0] > numbers[1] + 1:  # the first one begins with 1
                raise NoDriver("a change is missing")
            numbers, more = told, packet.get("more") == "1"
            show(f"{numbers[1]} ", [entry for entry in packet.entries[3:] if entry[0] != "more"])
        elif packet.command == "takes":
            show("decided ", packet.entries[1:])


def take(driver, takes):
    answer = driver.ask(Packet("take", takes, [("id", "1"), ("by", "python example")]))
    show("", [entry for entry in answer.entries if entry[0].startswith("output ")])
    return 0 if answer.result == 0 else 1


def main(words):
    path, command, takes = (words[0], words[1], words[2:]) if len(words) >= 2 else ("", "", [])
    if command not in ("describe", "watch", "take") or (command == "take") != bool(takes):
        print(__doc__.strip(), file=sys.stderr)
        return 2
    try:
        driver = Driver(path)
        if command == "take":
            return take(driver, takes)
        return describe(driver) if command == "describe" else watch(driver)
    except Refused as refusal:
        print(f"the driver refuses: {refusal}", file=sys.stderr)
        return 1
    except BrokenPipeError:
        return 1  # nobody reads on
    except (NoDriver, OSError, ValueError) as problem:
        print(f"{path}: {problem}", file=sys.stderr)
        return 3
    except KeyboardInterrupt:
        return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
