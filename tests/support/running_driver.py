"""The real driver, started by a test in Python. Nothing of it survives the test."""

import os
import signal
import socket
import re
import subprocess
import tempfile
import time

PATIENCE = 60  # seconds; reached only when a test fails


def wait_until(what, condition):
    """Waits until `condition` returns something true, and returns that. What takes seconds is asked less often."""
    start = time.monotonic()
    while True:
        result = condition()
        if result:
            return result
        waited = time.monotonic() - start
        if waited >= PATIENCE:
            raise AssertionError(f"waited in vain: {what}")
        time.sleep(min(max(waited / 20, 0.005), 0.05))


def behind_take(trace, output):
    """What the trace says behind the last take on the output (from 0) that was sent, alone or in a salvo; empty without one."""
    takes = re.compile(rf"STDIN: '(?:to output={output}'|take\.\d{{4}}={output} )")
    ends = [take.end() for take in takes.finditer(trace)]
    return trace[ends[-1] :] if ends else ""


class RunningDriver:
    """A driver on an item of its own in a temporary directory, with its trace in a file beside the item."""

    def __init__(self, program, item_text, switches=()):
        self.program = program
        self.switches = list(switches)
        self._directory = tempfile.TemporaryDirectory(prefix="vrdx_test.", ignore_cleanup_errors=True)
        self.item = self.file("router")
        self.write_item(item_text)
        self.process = None
        self.start()

    def start(self):
        with open(self.file("trace"), "ab") as trace:
            self.process = subprocess.Popen(
                [self.program, "--file", self.item, *self.switches],
                stdin=subprocess.DEVNULL,
                stdout=subprocess.DEVNULL,
                stderr=trace,
            )
        wait_until("the socket is served", self.is_served)

    def is_served(self):
        if self.process.poll() is not None:
            raise AssertionError(f"the driver has ended: {self.trace()}")
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as probe:
            return probe.connect_ex(self.file(".tavrixsock.router")) == 0

    def file(self, name):
        return os.path.join(self._directory.name, name)

    def write_item(self, text):
        with open(self.item, "w", encoding="utf-8") as item:
            item.write(text)

    def replace_item(self, text):
        """In one step, with a modification time that is surely another one."""
        changed = os.stat(self.item).st_mtime + 10
        with open(self.item + ".fresh", "w", encoding="utf-8") as fresh:
            fresh.write(text)
        os.utime(self.item + ".fresh", (changed, changed))
        os.rename(self.item + ".fresh", self.item)

    def trace(self):
        with open(self.file("trace"), encoding="utf-8", errors="replace") as trace:
            return trace.read()

    def wait_for_trace(self, text):
        wait_until(f"the trace says {text!r}", lambda: text in self.trace())

    def send_signal(self, number):
        self.process.send_signal(number)

    def wait_for_end(self):
        return self.process.wait(PATIENCE)

    def stop(self):
        """Ends the driver, if it still runs, and its backends with it; the exit code."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGCONT)
            self.process.terminate()
        return self.wait_for_end()

    def close(self):
        try:
            self.stop()
        finally:
            self.process.kill()
            self._directory.cleanup()
