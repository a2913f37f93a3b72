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


def routectl(driver, *arguments):
    """What vrdx_routectl, beside the driver's program, answers for programs to read; it has ended."""
    program = os.path.join(os.path.dirname(driver.command[0]), "vrdx_routectl")
    command = [program, "--json", "--timeout", str(PATIENCE), driver.item, *arguments]
    return subprocess.run(command, capture_output=True, text=True, check=False, timeout=3 * PATIENCE)


class RunningDriver:
    """A driver on an item of its own in a temporary directory, with its trace in a file there."""

    def __init__(self, program, item_text=None, switches=(), *, item=None, socket_path=None, cwd=None, environment=None):
        """`item`, `socket_path`: paths elsewhere; without `item_text` the item is there already. A list for `program` is the
        whole command line, which names both by itself."""
        self._directory = tempfile.TemporaryDirectory(prefix="vrdx_test.", ignore_cleanup_errors=True)
        self.item = str(item or self.file("router"))
        folder, name = os.path.split(self.item)
        self.socket_path = str(socket_path or os.path.join(cwd or "", folder, f".tavrixsock.{name}"))
        sock = ["--sock", self.socket_path] if socket_path else []
        self.command = program if isinstance(program, list) else [program, "--file", self.item, *sock, *switches]
        self._surroundings = {"cwd": cwd, "env": environment}
        self.process = None
        if item_text is not None:
            self.write_item(item_text)
        try:
            self.start()
        except BaseException:
            self.close()
            raise

    def start(self):
        with open(self.file("trace"), "ab") as trace:
            self.process = subprocess.Popen(
                self.command,
                stdin=subprocess.DEVNULL,
                stdout=subprocess.DEVNULL,
                stderr=trace,
                **self._surroundings,
            )
        wait_until("the socket is served", self.is_served)

    def is_served(self):
        if self.process.poll() is not None:
            raise AssertionError(f"the driver has ended: {self.trace()}")
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as probe:
            return probe.connect_ex(self.socket_path) == 0

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
            if self.process:
                self.stop()
        finally:
            if self.process:
                self.process.kill()
                self.process.wait()
            self._directory.cleanup()
