"""What clients are told of the router, put together as docs/packet-protocol.md says: from the changes that a watcher
gets, or from the pages of a description. The result is a plain dictionary that the model makes, too."""

import time

from packet_client import Disconnected, PacketClient, packet_bytes

PATIENCE_OF_THE_DRIVER = 5  # seconds; who reads nothing for longer may be disconnected

STATE = ("inputs", "outputs", "levels", "backend", "link", "link text")


def comparable(name, value):
    """Milliseconds pass: only whether an output falls back by itself can be compared."""
    return "0" if name.endswith(" waits") and value == "0" else "some" if name.endswith(" waits") else value


class ToldPicture:
    def __init__(self):
        self.state = {}
        self.places = {}  # "input 3": {entry: value}

    def merge(self, entries):
        place = None
        for name, value in entries:
            words = name.split(" ", 2)
            if len(words) == 2 and words[0] in ("input", "output") and words[1].isdigit():
                place = self.places[name] = {}  # told whole: what was known is forgotten
                place[name] = value
            elif place is not None and words[0] in ("input", "output") and words[1].isdigit():
                if not name.startswith(next(iter(place)) + " "):
                    raise AssertionError(f"'{name}' does not stand behind its place")
                place[name] = comparable(name, value)
            elif name in STATE:
                self.state[name] = value
        for kind in ("input", "output"):
            count = int(self.state[kind + "s"])
            for name in [one for one in self.places if one.startswith(kind) and int(one.split()[1]) > count]:
                del self.places[name]

    def all(self):
        whole = dict(self.state)
        for place in self.places.values():
            whole.update(place)
        return whole


class Watcher:
    """One that watches, reads when it is told to, and begins anew when it was disconnected."""

    def __init__(self, path, patience):
        self.path, self.patience = path, patience
        self.begin()

    def begin(self):
        self.last_read = time.monotonic()
        self.client = PacketClient(self.path, self.patience)
        self.client.send(packet_bytes("watch"))
        self.picture = ToldPicture()
        self.told = 0  # of the sequence
        self.epoch = None

    def read_to(self, sequence):
        """Waits until it knows all up to this number."""
        try:
            for packet in self.client.receive_all():
                self.hear(packet)
        except (Disconnected, ConnectionResetError):
            if time.monotonic() - self.last_read < PATIENCE_OF_THE_DRIVER:
                raise
            self.client.close()
            self.begin()
        while self.told < sequence:
            self.hear(self.client.receive())
        self.last_read = time.monotonic()

    def hear(self, packet):
        entries = dict(packet.entries)
        self.epoch = self.epoch or entries["epoch"]
        if entries["epoch"] != self.epoch:
            raise AssertionError("the epoch has changed")
        if packet.command != "change":
            return
        first, last = int(entries["from"]), int(entries["to"])
        if first != self.told + 1 or last < first:
            raise AssertionError(f"told {first} to {last} behind {self.told}")
        self.picture.merge(packet.entries)
        if "more" not in entries:
            self.told = last

    def close(self):
        self.client.close()


def description(client):
    """The picture of all pages, and the sequence if they all tell the same."""
    picture = ToldPicture()
    sequences = set()
    arguments = []
    while True:
        _, _, entries = client.ask("describe", arguments)
        sequences.add(int(dict(entries)["sequence"]))
        picture.merge(entries)
        if entries[-1][0] != "next":
            return picture, sequences
        arguments = [entries[-1][1]]
