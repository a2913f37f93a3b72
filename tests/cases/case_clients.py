"""The clients of a case, by name: each keeps its connection, sends requests without waiting, and finds the packets that
come back in whatever order."""

import os
import shlex
import time

from packet_client import TOLD, PacketClient, packet_bytes

# What differs from run to run, or counts the time.
VARYING = ("epoch", "sequence", "time", "uptime", "milliseconds", "user", "pid", "next")
VARYING_IN_CHANGES = ("from", "to")


def request_words(text):
    """Command, arguments and entries; `1..60=2` stands for sixty arguments."""
    words = [word.replace("\\n", "\n") for word in shlex.split(text)]
    arguments, entries = [], []
    for word in words[1:]:
        name, is_entry, value = word.partition(":=")
        first, is_range, rest = word.partition("..")
        if is_entry:
            entries.append((name, value))
        elif is_range:
            last, _, source = rest.partition("=")
            arguments += [f"{number}={source}" for number in range(int(first), int(last) + 1)]
        else:
            arguments.append(word)
    return words[0], arguments, entries


def printed(packet):
    """A packet as lines of a session; `*` stands for what differs from run to run, WHO for the case's own process."""
    who = f"{os.getuid()} {os.getpid()}"
    lines = [f"result {packet.result}"] if packet.command not in TOLD else []
    lines += [f'argument "{argument}"' for argument in packet.arguments]
    varying = VARYING + (VARYING_IN_CHANGES if packet.command == "change" else ())
    for name, value in packet.entries:
        if name in varying or (name.endswith(" waits") and value != "0"):
            value = "*"
        lines.append(f'entry "{name}" = "{value.replace(who, "WHO")}"')
    return lines


class CaseClient:
    def __init__(self, path, patience):
        self.connection = PacketClient(path, patience)
        self.packets = []  # that came, and that no step has waited for yet
        self.sent = {}  # when each id was sent
        self.next = ""  # of the last page

    def send(self, text):
        data = b""
        for request in text.split(" ; "):
            command, arguments, entries = request_words(request.replace("$next", f'"{self.next}"'))
            data += packet_bytes(command, arguments, entries)
            self.sent[dict(entries).get("id")] = time.monotonic()
        self.connection.send(data)

    def find(self, command, wanted_id, matches):
        """The packet of that command and id, once it has come. Of what is told without being asked for, the first one
        that `matches`; those before it are forgotten."""
        self.packets += self.connection.receive_all()
        for at, packet in enumerate(self.packets):
            if packet.command != command or (wanted_id and dict(packet.entries).get("id") != wanted_id):
                continue
            if command in TOLD and not matches(printed(packet)):
                continue
            del self.packets[at]
            self.next = dict(packet.entries).get("next", "")
            return packet
        return None

    def unread(self):
        """Replies that no step has waited for."""
        self.packets += self.connection.receive_all()
        return [packet for packet in self.packets if packet.command not in TOLD]
