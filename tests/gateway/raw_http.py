"""HTTP as bytes, for tests of what no ordinary client sends."""

import socket

PATIENCE = 60


class RawConnection:
    def __init__(self, address, receive_buffer=0):
        self.socket = socket.socket()
        if receive_buffer:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        self.socket.settimeout(PATIENCE)
        self.socket.connect(address)
        self._received = b""

    def close(self):
        self.socket.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def send(self, text):
        self.socket.sendall(text if isinstance(text, bytes) else text.encode())

    def _receive_some(self):
        try:
            data = self.socket.recv(65536)
        except ConnectionError:
            data = b""
        self._received += data
        return bool(data)

    def read_answer(self, head_only=False):
        """(status, headers, body); status 0 when the connection ended first."""
        while b"\r\n\r\n" not in self._received:
            if not self._receive_some():
                return 0, {}, b""
        head, rest = self._received.split(b"\r\n\r\n", 1)
        lines = head.decode("latin-1").split("\r\n")
        headers = {name.lower(): value.strip() for name, value in (line.split(":", 1) for line in lines[1:])}
        status = int(lines[0].split()[1])
        length = 0 if head_only or status < 200 else int(headers.get("content-length", 0))
        self._received = rest
        while len(self._received) < length:
            if not self._receive_some():
                break
        body, self._received = self._received[:length], self._received[length:]
        return status, headers, body

    def is_ended(self):
        """True once the other side has closed and all was read; waits for more to come until then."""
        if self._received:
            return False
        return not self._receive_some()
