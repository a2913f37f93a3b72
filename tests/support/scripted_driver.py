"""A driver that answers as a test tells it to, and keeps what it was asked; the standard library suffices."""

import os
import tempfile

from false_driver import FalseDriver
from packet_codec import ARGUMENT, END, ENTRY, HEADER, command_and_items, header_of, packet

EPOCH = "0123456789abcdef"


def described(inputs, outputs, source="1,1", *further):
    """The only page of a router of this size, with the same source everywhere; `further` entries of the state."""
    entries = [("epoch", EPOCH), ("sequence", "1"), ("inputs", str(inputs)), ("outputs", str(outputs)),
               ("levels", "video,audio"), ("backend", "running"), ("link", "up"), *further]
    entries += [(f"input {i}", f"Camera {i}") for i in range(1, inputs + 1)]
    for i in range(1, outputs + 1):
        entries += [(f"output {i}", f"Monitor {i}"), (f"output {i} sources", source)]
    return packet("describe", (END,), *((ENTRY, name, value) for name, value in entries))


def no_router(*further):
    return described(0, 0, "0,0", *further)


def answers_takes(*results):
    """A reply to `take`: these results for its outputs, in their order."""

    def answer(items):
        outputs = [item[1].split("=")[0] for item in items if item[0] == ARGUMENT]
        names = dict((item[1], item[2]) for item in items if item[0] == ENTRY)
        entries = [(ENTRY, f"output {output}", result) for output, result in zip(outputs, results)]
        failed = any(result != "confirmed" for result in results)
        return packet("take", (END,), (ENTRY, "id", names["id"]), (ENTRY, "epoch", EPOCH), *entries, result=failed)

    return answer


def error_to_take(text):
    def answer(items):
        names = dict((item[1], item[2]) for item in items if item[0] == ENTRY)
        return packet("error", (ARGUMENT, text), (END,), (ENTRY, "id", names.get("id", "")), result=1)

    return answer


def error(text):
    return packet("error", (ARGUMENT, text), (END,), result=1)


class ScriptedDriver:
    """Answers each command with `replies[command]`: bytes, or a list of them, one for each request and the last
    for all that follow; or a function of the request's items. None closes the connection without an answer."""

    def __init__(self, replies):
        self.replies = replies
        self.requests = []  # (command, further items), in the order in which they came
        self._directory = tempfile.TemporaryDirectory(prefix="vrdx_test.")
        self.item = os.path.join(self._directory.name, "router")
        self._driver = FalseDriver(self.file(".tavrixsock.router"), self._serve)

    def _serve(self, client):
        with client, client.makefile("rb") as stream:
            while self._answer_one(client, stream):
                pass

    def _answer_one(self, client, stream):
        header = stream.read(HEADER.size)
        if len(header) < HEADER.size:
            return False
        command, items = command_and_items(stream.read(header_of(header)[0]))
        self.requests.append((command, items))
        reply = self.replies.get(command, packet(command, (END,)))
        if isinstance(reply, list):
            reply = reply.pop(0) if len(reply) > 1 else reply[0]
        if callable(reply):
            reply = reply(items)
        if reply is None:
            return False
        client.sendall(reply)
        return True

    def file(self, name):
        return os.path.join(self._directory.name, name)

    def files(self):
        return sorted(os.listdir(self._directory.name))

    def close(self):
        self._driver.close()
        self._directory.cleanup()
