"""The backend of the model test: the pipes of a vrdx_route_model that the driver started, in this process."""

import os
import select
import signal
import socket
import time

STDIN, STDOUT, STDERR = 0, 1, 2


class BackendListener:
    """Where the backend programs of one driver connect."""

    def __init__(self, path, patience):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.settimeout(patience)
        self.socket.bind(path)
        self.socket.listen(4)

    def accept(self):
        connection, _ = self.socket.accept()
        pid, descriptors, _, _ = socket.recv_fds(connection, 64, 3)
        return Backend(connection, int(pid), descriptors)

    def close(self):
        self.socket.close()


class Backend:
    def __init__(self, connection, pid, descriptors):
        self.connection = connection
        self.pid = pid
        self.wires = dict(zip((STDIN, STDOUT, STDERR), descriptors))
        self.received = b""  # all that the driver sent

    def say(self, wire, text):
        data = text.encode("latin-1")
        while data:
            select.select([], [self.wires[wire]], [])
            data = data[os.write(self.wires[wire], data) :]

    def read(self):
        """Reads what the driver has sent so far, without waiting."""
        while self.wires[STDIN] is not None:
            try:
                data = os.read(self.wires[STDIN], 65536)
            except BlockingIOError:
                return
            if not data:
                return
            self.received += data

    def messages(self):
        """The whole messages received so far."""
        self.read()
        return [part + "\n\n" for part in self.received.decode("latin-1").split("\n\n")[:-1]]

    def drop_messages(self):
        """Forgets the whole messages; of another one the beginning may be there."""
        self.received = self.received.rpartition(b"\n\n")[2]

    def close(self, wire):
        if self.wires[wire] is not None:
            os.close(self.wires[wire])
            self.wires[wire] = None

    def close_all(self, order=(STDIN, STDOUT, STDERR)):
        for wire in order:
            self.close(wire)

    # Ways to die. The pipes are this process's, so they outlive the program until they are closed.

    def exit(self, order):
        self._tell(b"0")
        self._close_after_end(order)

    def abort(self, order):
        self._tell(b"a")
        self._close_after_end(order)

    def kill(self, order):
        os.kill(self.pid, signal.SIGKILL)
        self._close_after_end(order)

    def leave_the_pipes(self, _):
        """Only the program ends; the driver has to notice it without a closed pipe."""
        self._tell(b"0")

    def close_one(self, order):
        self.close(STDIN if order[0] == STDIN else STDOUT)

    def _tell(self, order):
        try:
            self.connection.sendall(order)
        except OSError:
            pass  # it is gone already

    def _close_after_end(self, order):
        select.select([self.connection], [], [], 1)  # its end of the connection closes when it has ended
        self.close_all(order)

    def wait_for_end(self, patience):
        """The program ends by itself, or because the driver stopped it."""
        self.close_all()
        deadline = time.monotonic() + patience
        while select.select([self.connection], [], [], max(deadline - time.monotonic(), 0))[0]:
            try:
                if not self.connection.recv(16):
                    break
            except OSError:
                break
        else:
            raise AssertionError(f"the backend {self.pid} does not end")
        self.connection.close()
