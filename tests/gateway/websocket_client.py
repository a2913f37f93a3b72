"""A WebSocket client for tests: keeps the rules of RFC 6455, and breaks each of them when asked to."""

import base64
import hashlib
import json
import os
import socket
import ssl
import struct

CONTINUATION, TEXT, BINARY, CLOSE, PING, PONG = 0, 1, 2, 8, 9, 10
PATIENCE = 60  # seconds; reached only when a test fails
_MAGIC = b"258EAFA5-E914-47DA-95CA-C5AB0DC85B11"


class Refused(Exception):
    """The server answered with something else than 101."""

    def __init__(self, status, headers, body):
        super().__init__(f"{status}: {body[:300]!r}")
        self.status = status
        self.headers = headers
        self.body = body


class Closed(Exception):
    """The server closed: with a code, or None when it just hung up."""

    def __init__(self, code, reason=""):
        super().__init__(f"{code} {reason}")
        self.code = code
        self.reason = reason


class WebSocketClient:
    def __init__(self, address, path="/api/v1/events", headers=(), tls=None, receive_buffer=0, leave_out=()):
        """`address`: (host, port). `headers`: pairs beside the usual ones; `leave_out`: names of usual ones that are not
        sent. `receive_buffer`: bytes the kernel keeps for a reader that does not read."""
        self.address = address
        self.pings = 0  # that came
        self._received = b""
        self.socket = socket.socket(socket.AF_INET6 if ":" in address[0] else socket.AF_INET, socket.SOCK_STREAM)
        if receive_buffer:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        self.socket.settimeout(PATIENCE)
        try:
            self.socket.connect(address)
            if tls is not None:
                self.socket = tls.wrap_socket(self.socket, server_hostname=address[0])
            self._shake_hands(path, headers, leave_out)
        except BaseException:
            self.socket.close()
            raise

    def close(self):
        self.socket.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    # --- the handshake ---

    def _shake_hands(self, path, headers, leave_out):
        key = base64.b64encode(os.urandom(16))
        usual = [
            ("Host", f"[{self.address[0]}]:{self.address[1]}" if ":" in self.address[0] else f"{self.address[0]}:{self.address[1]}"),
            ("Upgrade", "websocket"),
            ("Connection", "Upgrade"),
            ("Sec-WebSocket-Key", key.decode()),
            ("Sec-WebSocket-Version", "13"),
        ]
        lines = [f"GET {path} HTTP/1.1"]
        lines += [f"{name}: {value}" for name, value in usual if name not in leave_out]
        lines += [f"{name}: {value}" for name, value in headers]
        self.send_bytes(("\r\n".join(lines) + "\r\n\r\n").encode())
        while b"\r\n\r\n" not in self._received:
            self._receive_some()
        head, self._received = self._received.split(b"\r\n\r\n", 1)
        status_line, *fields = head.decode("latin-1").split("\r\n")
        self.reply_headers = {name.lower(): value.strip() for name, value in (field.split(":", 1) for field in fields)}
        status = int(status_line.split()[1])
        if status != 101:
            raise Refused(status, self.reply_headers, self._body())
        wanted = base64.b64encode(hashlib.sha1(key + _MAGIC).digest()).decode()
        if self.reply_headers.get("sec-websocket-accept") != wanted:
            raise Closed(None, "the handshake has a wrong answer")

    def _body(self):
        length = int(self.reply_headers.get("content-length", 0))
        while len(self._received) < length:
            self._receive_some()
        return self._received[:length]

    # --- writing ---

    def send_bytes(self, data):
        self.socket.sendall(data)

    def send_frame(self, opcode, payload=b"", fin=True, mask=True, reserved=0, length=None):
        """`reserved`: the three bits behind FIN. `length`: the one that is announced, when it is to be wrong."""
        announced = len(payload) if length is None else length
        frame = bytes([(0x80 if fin else 0) | (reserved << 4) | opcode])
        mask_bit = 0x80 if mask else 0
        if announced < 126:
            frame += bytes([mask_bit | announced])
        elif announced < 65536:
            frame += struct.pack(">BH", mask_bit | 126, announced)
        else:
            frame += struct.pack(">BQ", mask_bit | 127, announced)
        if mask:
            key = os.urandom(4)
            frame += key
            payload = bytes(byte ^ key[at % 4] for at, byte in enumerate(payload))
        self.send_bytes(frame + payload)

    def send_text(self, text):
        self.send_frame(TEXT, text.encode())

    def send_close(self, code=1000, reason=b""):
        self.send_frame(CLOSE, struct.pack(">H", code) + reason)

    # --- reading ---

    def _receive_some(self):
        try:
            data = self.socket.recv(65536)
        except (ConnectionError, ssl.SSLError) as error:
            raise Closed(None, str(error)) from error
        if not data:
            raise Closed(None, "hung up")
        self._received += data

    def _take(self, count):
        while len(self._received) < count:
            self._receive_some()
        taken, self._received = self._received[:count], self._received[count:]
        return taken

    def read_frame(self):
        """(fin, opcode, payload) of the next frame; a frame that no server may send is an error."""
        first, second = self._take(2)
        if first & 0x70 or second & 0x80:
            raise AssertionError("the server sent reserved bits or a mask")
        length = second & 0x7F
        if length == 126:
            (length,) = struct.unpack(">H", self._take(2))
        elif length == 127:
            (length,) = struct.unpack(">Q", self._take(8))
        return bool(first & 0x80), first & 0x0F, self._take(length)

    def read_text(self, answer_pings=True):
        """The next message; Closed when there is none any more."""
        text = b""
        while True:
            fin, opcode, payload = self.read_frame()
            if opcode == PING:
                self.pings += 1
                if answer_pings:
                    self.send_frame(PONG, payload)
            elif opcode == CLOSE:
                code = struct.unpack(">H", payload[:2])[0] if len(payload) >= 2 else 1005
                raise Closed(code, payload[2:].decode())
            elif opcode in (TEXT, CONTINUATION):
                text += payload
                if fin:
                    return text.decode()
            elif opcode != PONG:
                raise AssertionError(f"the server sent opcode {opcode}")

    def read_event(self):
        return json.loads(self.read_text())

    def read_until_closed(self, answer_pings=True):
        """Reads on to the end; the Closed that it is."""
        while True:
            try:
                self.read_text(answer_pings)
            except Closed as closed:
                return closed
