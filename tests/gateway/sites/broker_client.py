"""A client of the broker that says and hears what it is told to: in place of a site, or to listen."""

import json
import re
import socket

from sites_fixture import PATIENCE


class BrokerClient:
    def __init__(self, broker, user=None, password=None, connection=None):
        """`connection`: a socket that leads to the broker already."""
        self.socket = connection or socket.create_connection(("127.0.0.1", broker.port), PATIENCE)
        self.stream = self.socket.makefile("rb")
        self.stream.readline()  # INFO
        options = {"verbose": False, "pedantic": False, "headers": True, "no_responders": True}
        if user:
            options.update(user=user, pass_=password)
        text = json.dumps(options).replace("pass_", "pass")
        self.numbers = 0
        self.errors = []
        self.send(f"CONNECT {text}\r\nPING\r\n".encode())
        try:
            self.wait_for_pong()
        except (AssertionError, OSError):
            self.close()
            raise

    def send(self, data):
        self.socket.sendall(data)

    def wait_for_pong(self):
        while (line := self.stream.readline()) and not line.startswith(b"PONG"):
            if line.startswith(b"-ERR"):
                self.errors.append(line.decode())
        if not line:
            raise AssertionError(f"the broker has closed the connection: {self.errors}")

    def listen(self, subject):
        self.numbers += 1
        self.send(f"SUB {subject} {self.numbers}\r\nPING\r\n".encode())
        self.wait_for_pong()

    def say(self, subject, message, reply=""):
        data = message if isinstance(message, bytes) else json.dumps(message).encode()
        self.send(f"PUB {subject} {reply}{' ' if reply else ''}{len(data)}\r\n".encode() + data + b"\r\n")

    def errors_of(self, subject):
        """What the broker has against a message there."""
        self.errors.clear()
        self.say(subject, {})
        self.send(b"PING\r\n")
        self.wait_for_pong()
        return self.errors

    def hear(self):
        """The next message: (subject, reply, data), data as it was sent."""
        while True:
            line = self.stream.readline()
            if not line:
                raise AssertionError("the broker has closed the connection")
            if line.startswith(b"PING"):
                self.send(b"PONG\r\n")
            elif line.startswith(b"-ERR"):
                self.errors.append(line.decode())
            elif found := re.match(rb"MSG (\S+) \S+ +(?:(\S+) )?(\d+)\r\n", line):
                data = self.stream.read(int(found[3]) + 2)[:-2]
                return found[1].decode(), (found[2] or b"").decode(), data

    def hear_until(self, fits):
        """Reads messages until one fits; its data as an object."""
        while True:
            subject, reply, data = self.hear()
            message = json.loads(data)
            if fits(subject, message):
                return message

    def shut(self):
        """Ends what another thread hears."""
        self.socket.shutdown(socket.SHUT_RDWR)

    def close(self):
        self.stream.close()
        self.socket.close()


def alive_message(run="00000000000000aa", beat=1, routers=(), version=1):
    return {"v": version, "run": run, "beat": beat, "routers": [list(row) for row in routers]}


def page_message(run="00000000000000aa", at=1, version=1, outputs=2, inputs=2, **further):
    return {
        "v": version, "run": run, "at": at, "state": "up", "reason": "",
        "picture": {"epoch": "0123456789abcdef", "sequence": 1, "split": False, "backend": 1, "link": 2, "inputs": inputs, "outputs": outputs},
        "inputs": [{"number": number + 1, "name": f"In {number + 1}"} for number in range(inputs)],
        "outputs": [{"number": number + 1, "name": f"Out {number + 1}", "sources": [1, 1]} for number in range(outputs)],
        **further,
    }  # fmt: skip
