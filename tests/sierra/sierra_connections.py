"""How controllers reach the emulated router: over TCP, or over a pseudo-terminal as a serial line."""

import os
import pty
import queue
import socket
import struct
import threading
import time
import tty
import unittest


class Controller:
    """One connection. What is sent leaves in order, each piece after the router's latency."""

    def __init__(self, router, read, write, close):
        self.router = router
        self.read = read
        self.write = write
        self.close = close
        self.reports = 0  # the mode set by U
        self.answers = queue.Queue()
        for work in (self.listen, self.talk):
            threading.Thread(target=work, daemon=True).start()

    def listen(self):
        """Strings between "**" and "!!"; a new "**" discards what was incomplete."""
        text = ""
        try:
            while True:
                data = self.read()
                if not data:
                    break
                text += "".join(chr(byte) for byte in data if byte >= 32 and byte != 127)
                while "!!" in text:
                    content, text = text.split("!!", 1)
                    if "**" in content:
                        self.router.take_string(self, content.rsplit("**", 1)[1])
        except OSError:
            pass
        self.router.forget(self)

    def talk(self):
        while True:
            due, data = self.answers.get()
            if data is None:
                return
            time.sleep(max(0, due - time.monotonic()))
            try:
                self.write_at_pace(data)
            except OSError:
                return

    def write_at_pace(self, data):
        pace = self.router.bytes_per_second
        piece = len(data) if pace is None else max(1, pace // 50)
        while data:
            self.write(data[:piece])
            data = data[piece:]
            if pace is not None:
                time.sleep(piece / pace)

    def send(self, text):
        self.answers.put((time.monotonic() + self.router.latency, text.encode("latin-1")))

    def end(self):
        self.answers.put((0, None))
        self.close()


class Connections:
    """All controllers of a router, and the ways in."""

    def __init__(self):
        self.lock = threading.RLock()
        self.controllers = []
        self.listener = None
        self.port = None
        self.master = None
        self.connections = 0
        self.latency = 0  # seconds before each answer
        self.bytes_per_second = None  # how fast answers leave

    def take_string(self, controller, content):
        """What stood between "**" and "!!"."""
        raise NotImplementedError

    def open_port(self):
        """Bound, but refusing connections until listen_tcp()."""
        self.listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.listener.bind(("127.0.0.1", self.port or 0))
        self.port = self.listener.getsockname()[1]

    def listen_tcp(self):
        if self.listener is None:
            self.open_port()
        self.listener.listen(8)
        threading.Thread(target=self.accept, args=(self.listener,), daemon=True).start()

    def accept(self, listener):
        while True:
            try:
                peer, _ = listener.accept()
            except OSError:
                return
            peer.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)

            def close(peer=peer):
                try:
                    peer.shutdown(socket.SHUT_RDWR)
                except OSError:
                    pass
                peer.close()

            with self.lock:
                self.connections += 1
                self.controllers.append(
                    Controller(self, lambda peer=peer: peer.recv(65536), peer.sendall, close)
                )
                self.controllers[-1].socket = peer

    def stop_listening(self):
        """Connections are refused until listen_tcp(); those that stand stay, and the port stays ours."""
        self.close_port()
        self.open_port()

    def close_port(self):
        if self.listener is not None:
            try:
                self.listener.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
            self.listener.close()
            self.listener = None

    def open_line(self):
        """A serial line: the path of its other end."""
        try:
            self.master, slave = pty.openpty()
        except OSError as error:
            raise unittest.SkipTest(f"no pseudo-terminals here: {error}") from error
        tty.setraw(self.master)
        path = os.ttyname(slave)
        os.close(slave)
        with self.lock:
            self.controllers.append(
                Controller(self, self.read_line, self.write_line, lambda: os.close(self.master))
            )
        return path

    def read_line(self):
        while True:
            try:
                return os.read(self.master, 4096)
            except OSError as error:
                if self.master is None or error.errno != 5:  # EIO: nobody has the other end open
                    raise
                time.sleep(0.005)

    def write_line(self, data):
        while data:
            data = data[os.write(self.master, data) :]

    def forget(self, controller):
        with self.lock:
            if controller in self.controllers:
                self.controllers.remove(controller)
        controller.end()

    def cut_connections(self, reset=False):
        with self.lock:
            for controller in list(self.controllers):
                if reset:
                    controller.socket.setsockopt(
                        socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0)
                    )
                    controller.socket.close()
                controller.end()

    def close(self):
        self.close_port()
        with self.lock:
            for controller in list(self.controllers):
                controller.end()
            self.master = None

    def flood(self, piece, most):
        """To the only controller, again and again until its connection fails or `most` bytes are sent; returns
        how many were."""
        with self.lock:
            (controller,) = self.controllers
        data = ("** " + piece).encode("latin-1")
        sent = 0
        try:
            while sent < most:
                controller.write(data)
                sent += len(data)
                data = piece.encode("latin-1")
        except OSError:
            pass
        return sent

    def send_raw(self, text):
        """To all controllers, whatever it is."""
        with self.lock:
            for controller in self.controllers:
                controller.send(text)
