"""A Videohub router on a TCP port of this machine, with the faults that routers and networks have.

It knows nothing of the program under test: it speaks the protocol as published. All numbers are 0-based. Its
attributes may be changed while it runs.
"""

import errno
import queue
import socket
import struct
import threading
import time

UNLOCKED, LOCKED, OWN = "U", "L", "O"


class Client:
    """One connection: a thread that reads blocks, a thread that writes what is due."""

    def __init__(self, router, connection):
        self.router = router
        self.connection = connection
        self.outgoing = queue.Queue()
        self.gone = False
        self.threads = [threading.Thread(target=target) for target in (self.read, self.write)]
        for thread in self.threads:
            thread.start()

    def send(self, text):
        data = text if isinstance(text, bytes) else text.encode()
        self.outgoing.put((time.monotonic() + self.router.latency, data))

    def write(self):
        """Until the client is gone or None is in the queue."""
        while (entry := self.outgoing.get()) is not None:
            due, data = entry
            time.sleep(max(0, due - time.monotonic()))
            piece = self.router.piece or max(len(data), 1)
            try:
                for start in range(0, len(data), piece):
                    self.connection.sendall(data[start : start + piece])
                    self.router.bytes_sent += len(data[start : start + piece])
            except OSError:
                self.gone = True

    def read(self):
        try:
            with self.connection.makefile("r", encoding="utf-8", errors="replace", newline="\n") as lines:
                block = []
                for line in lines:
                    line = line.rstrip("\r\n")
                    if line:
                        block.append(line)
                    elif block:
                        self.router.take_block(self, block[0], block[1:])
                        block = []
        except (OSError, ValueError):
            pass
        self.gone = True
        self.outgoing.put(None)
        self.connection.close()

    def close(self, reset=False):
        """Ends the thread that reads, which closes; with `reset` the other side sees a reset instead of an end."""
        self.gone = True
        try:
            if reset:
                self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            self.connection.shutdown(socket.SHUT_RD if reset else socket.SHUT_RDWR)
        except OSError:
            pass  # closed already

    def join(self):
        for thread in self.threads:
            thread.join()


class VideohubEmulator:
    def __init__(self, inputs=8, outputs=6, host="127.0.0.1"):
        self.version = "2.7"
        self.present = "true"
        self.end_prelude = True
        self.locks_first = False  # before labels and routing
        self.greeting = None  # sent instead of the state, when not None: text or bytes
        self.greeting_repeats = 1
        self.hang_up_after = None  # bytes of the state after which the connection is reset
        self.answers = True
        self.answers_pings = True
        self.confirms = True  # tells the routing after a take
        self.refuses_every = 0  # 2: every second block of takes is answered NAK
        self.refuses_names = False
        self.one_take_per_block = False  # reads the first line of a block of takes and skips the others
        self.untold = set()  # outputs left out of the routing that is told
        self.latency = 0.0  # seconds, from each request to its answer
        self.piece = 0  # bytes per write; 0: all at once
        self.crlf = False
        self.received = []  # (header, lines) in the order of arrival, of all clients
        self.connections = 0
        self.bytes_sent = 0
        self.take_blocks = 0
        self.become(inputs, outputs)
        self.lock = threading.RLock()
        self.clients = []
        self.family = socket.AF_INET6 if ":" in host else socket.AF_INET
        self.address = (host, 0)
        self.listener = None
        self.acceptor = None
        self.open_port()

    # --- the port

    @property
    def port(self):
        return self.address[1]

    def open_port(self):
        """Bound, but refusing connections until listen()."""
        self.listener = socket.socket(self.family, socket.SOCK_STREAM)
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        while True:  # a port that was ours may be somebody's end of a connection for a moment
            try:
                self.listener.bind(self.address)
                break
            except OSError as error:
                if error.errno != errno.EADDRINUSE:
                    raise
                time.sleep(0.05)
        self.address = self.listener.getsockname()[:2]

    def listen(self):
        self.listener.listen()
        self.acceptor = threading.Thread(target=self.accept, args=(self.listener,))
        self.acceptor.start()
        return self

    def accept(self, listener):
        while True:
            try:
                connection, _ = listener.accept()
            except OSError:
                return  # closed
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            with self.lock:
                self.connections += 1
                client = Client(self, connection)
                self.clients.append(client)
                self.greet(client)

    def close_port(self):
        if self.acceptor is not None:
            self.listener.shutdown(socket.SHUT_RDWR)
            self.acceptor.join()
            self.acceptor = None
        self.listener.close()

    def refuse(self):
        """Connections are refused until listen(); those that are open stay, and the port stays ours."""
        self.close_port()
        self.open_port()

    def drop_clients(self, reset=False):
        with self.lock:
            clients, self.clients = self.clients, []
            for client in clients:
                client.close(reset)
        for client in clients:
            client.join()

    def close(self):
        self.close_port()
        self.drop_clients()

    # --- the router

    def become(self, inputs, outputs):
        """Another router, with other sizes, whose outputs all show their own number or the last input."""
        self.inputs = inputs
        self.outputs = outputs
        self.input_labels = [f"Source {number + 1}" for number in range(inputs)]
        self.output_labels = [f"Destination {number + 1}" for number in range(outputs)]
        self.routing = [min(number, inputs - 1) for number in range(outputs)]
        self.locks = [UNLOCKED] * outputs
        self.monitors = [min(1, inputs - 1)]  # the source of the only monitoring output
        self.serial = [-1, 0]  # the source of each serial port; -1: none

    def block(self, header, lines):
        end = "\r\n" if self.crlf else "\n"
        return end.join([f"{header}:", *lines, "", ""])

    def numbered(self, header, values, numbers=None):
        numbers = range(len(values)) if numbers is None else numbers
        return self.block(header, [f"{number} {values[number]}" for number in numbers])

    def device(self):
        lines = [f"Device present: {self.present}"]
        if self.present == "true":
            lines += [
                "Model name: Emulated Videohub",
                "Unique ID: 7C2E0D021714",
                f"Video inputs: {self.inputs}",
                "Video processing units: 0",
                f"Video outputs: {self.outputs}",
                "Video monitoring outputs: 1",
                f"Serial ports: {len(self.serial)}",
            ]
        return self.block("VIDEOHUB DEVICE", lines)

    def state(self):
        """All blocks but the preamble."""
        if self.present != "true":
            return self.device()
        locks = self.numbered("VIDEO OUTPUT LOCKS", self.locks)
        return "".join(
            [
                self.device(),
                locks if self.locks_first else "",
                self.numbered("INPUT LABELS", self.input_labels),
                self.numbered("OUTPUT LABELS", self.output_labels),
                self.block("MONITORING OUTPUT LABELS", ["0 Monitor 1"]),
                "" if self.locks_first else locks,
                self.numbered("VIDEO OUTPUT ROUTING", self.routing, self.told_outputs()),
                self.numbered("VIDEO MONITORING OUTPUT ROUTING", self.monitors),
                self.block("SERIAL PORT LABELS", [f"{port} Deck {port + 1}" for port in range(len(self.serial))]),
                self.numbered("SERIAL PORT ROUTING", self.serial),
                self.block("CONFIGURATION", ["Take Mode: false"]),
                self.block("END PRELUDE", []) if self.end_prelude else "",
            ]
        )

    def told_outputs(self):
        return [output for output in range(self.outputs) if output not in self.untold]

    def greet(self, client):
        if self.greeting is not None:
            for _ in range(self.greeting_repeats if self.greeting else 0):
                client.send(self.greeting)
            return
        text = self.block("PROTOCOL PREAMBLE", [f"Version: {self.version}"]) + self.state()
        if self.hang_up_after is None:
            client.send(text)
        else:
            client.connection.sendall(text.encode()[: self.hang_up_after])
            client.close(reset=True)

    def broadcast(self, text):
        with self.lock:
            for client in self.clients:
                if not client.gone:
                    client.send(text)

    # --- what happens at the router

    def take_at_panel(self, output, source):
        with self.lock:
            self.routing[output] = source
            self.broadcast(self.numbered("VIDEO OUTPUT ROUTING", self.routing, [output]))

    def lock_output(self, output, state=LOCKED):
        with self.lock:
            self.locks[output] = state
            self.broadcast(self.numbered("VIDEO OUTPUT LOCKS", self.locks, [output]))

    def describe_device_again(self):
        with self.lock:
            self.broadcast(self.device())

    def attach(self, inputs, outputs):
        """Another device is attached while clients are connected."""
        with self.lock:
            self.become(inputs, outputs)
            self.present = "true"
            self.broadcast(self.state())

    # --- what clients ask for

    def take_block(self, client, header, lines):
        with self.lock:
            self.received.append((header, lines))
            if header == "PING:":
                if self.answers_pings:
                    self.answer(client, True)
            elif header == "VIDEO OUTPUT ROUTING:" and lines:
                self.take(client, lines)
            elif header == "INPUT LABELS:" and lines:
                self.rename(client, header, self.input_labels, lines)
            elif header == "OUTPUT LABELS:" and lines:
                self.rename(client, header, self.output_labels, lines)
            elif header == "VIDEO MONITORING OUTPUT ROUTING:" and lines:
                self.take_in_other_bank(client, header, self.monitors, lines)
            elif header == "SERIAL PORT ROUTING:" and lines:
                self.take_in_other_bank(client, header, self.serial, lines)
            elif header == "VIDEO OUTPUT LOCKS:" and lines:
                self.change_locks(client, lines)
            else:
                self.answer_request(client, header)

    def answer(self, client, understood):
        if self.answers:
            end = "\r\n" if self.crlf else "\n"
            client.send(("ACK" if understood else "NAK") + end + end)

    def entries(self, lines, most):
        """(number, text) of each line; None when one is malformed or beyond the size."""
        found = []
        for line in lines:
            number, _, text = line.strip().partition(" ")
            if not number.isdigit() or int(number) >= most:
                return None
            found.append((int(number), text))
        return found

    def take(self, client, lines):
        self.take_blocks += 1
        entries = self.entries(lines[:1] if self.one_take_per_block else lines, self.outputs)
        refused = self.refuses_every and self.take_blocks % self.refuses_every == 0
        if refused or entries is None or any(
            not source.isdigit() or int(source) >= self.inputs or self.locks[output] == LOCKED
            for output, source in entries
        ):
            self.answer(client, False)
            return
        self.answer(client, True)
        if self.confirms:
            for output, source in entries:
                self.routing[output] = int(source)
            self.broadcast(self.numbered("VIDEO OUTPUT ROUTING", self.routing, [entry[0] for entry in entries]))

    def take_in_other_bank(self, client, header, routing, lines):
        """Of monitoring outputs or serial ports."""
        entries = self.entries(lines, len(routing))
        self.answer(client, entries is not None)
        for output, source in entries or []:
            routing[output] = int(source)
        self.broadcast(self.numbered(header[:-1], routing))

    def rename(self, client, header, labels, lines):
        entries = None if self.refuses_names else self.entries(lines, len(labels))
        self.answer(client, entries is not None)
        for number, label in entries or []:
            labels[number] = label
        if entries:
            self.broadcast(self.numbered(header[:-1], labels, [entry[0] for entry in entries]))

    def change_locks(self, client, lines):
        """One whose lock is another's is freed by force alone; a block with a line that cannot be is refused."""
        entries = self.entries(lines, self.outputs)
        allowed = entries is not None and all(
            state in ("O", "U", "F") and (self.locks[output] != LOCKED or state == "F") for output, state in entries
        )
        self.answer(client, allowed)
        if allowed:
            for output, state in entries:
                self.locks[output] = OWN if state == "O" else UNLOCKED
            self.broadcast(self.numbered("VIDEO OUTPUT LOCKS", self.locks, [entry[0] for entry in entries]))

    def answer_request(self, client, header):
        blocks = {
            "VIDEOHUB DEVICE:": self.device,
            "INPUT LABELS:": lambda: self.numbered("INPUT LABELS", self.input_labels),
            "OUTPUT LABELS:": lambda: self.numbered("OUTPUT LABELS", self.output_labels),
            "VIDEO OUTPUT LOCKS:": lambda: self.numbered("VIDEO OUTPUT LOCKS", self.locks),
            "VIDEO OUTPUT ROUTING:": lambda: self.numbered("VIDEO OUTPUT ROUTING", self.routing, self.told_outputs()),
        }
        self.answer(client, header in blocks)
        if header in blocks:
            client.send(blocks[header]())

    # --- what has happened, for tests

    def blocks(self, header):
        """The lines of each block of this header that clients have sent."""
        with self.lock:
            return [lines for received, lines in self.received if received == header + ":"]
