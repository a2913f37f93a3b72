"""The backend program, started as the driver starts it, and what it has said so far."""

import os
import subprocess
import tempfile
import threading
import unittest

from running_driver import PATIENCE, wait_until
from sierra_emulator import SierraEmulator

BIN = os.environ["VRDX_BIN"]
DRIVER_NAME = "route_sierra_video_aspen_hdsdi"
PROGRAM = os.path.join(BIN, "vrdx_" + DRIVER_NAME)


class RunningBackend:
    def __init__(self, item_text):
        self._directory = tempfile.TemporaryDirectory(prefix="vrdx_test.")
        self.item = os.path.join(self._directory.name, "router")
        with open(self.item, "w", encoding="utf-8") as item:
            item.write(item_text)
        self.process = subprocess.Popen(
            [PROGRAM, "--file", self.item],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
        )
        self.log = []  # lines
        self.fields = {}  # of all reports, the last value of each
        self.reports = []  # (command, fields), in order
        self.readers = [
            threading.Thread(target=self.read_reports, daemon=True),
            threading.Thread(target=self.read_log, daemon=True),
        ]
        for reader in self.readers:
            reader.start()

    def read_reports(self):
        command, fields = "", {}
        for line in self.process.stdout:
            name, _, value = line.decode("utf-8", "replace").rstrip("\n").partition("=")
            if name == "*COMMAND":
                command, fields = value, {}
            elif name and not name.startswith("*"):
                fields[name] = value
            elif not name:
                self.reports.append((command, fields))
                self.fields.update(fields)

    def read_log(self):
        for line in self.process.stderr:
            self.log.append(line.decode("utf-8", "replace").rstrip("\n"))

    def send(self, command, kind, **fields):
        lines = [f"*COMMAND={command}", f"*TYPE={kind}"]
        lines += [f"{name.replace('_', ' ')}={value}" for name, value in fields.items()]
        self.process.stdin.write(("\n".join(lines) + "\n\n").encode())
        self.process.stdin.flush()

    def take(self, *takes):
        """(output, source) or (output, source, level) each, 0-based as the driver says it; then the flush."""
        for output, source, *level in takes:
            further = {"control": level[0]} if level else {}
            self.send("route output", "command", queue="add", to_output=output, from_input=source, **further)
        self.send("route output", "command", queue="flush")

    def change_setting(self, name, value):
        self.send("set", "message", name=name, value=value)

    def says(self, text):
        return any(text in line for line in list(self.log))

    def wait_for_log(self, text, times=1):
        def is_there():
            return sum(text in line for line in list(self.log)) >= times

        wait_until(f"the log says {text!r}: {self.log}", is_there)

    def wait_for_fields(self, **expected):
        """Names with "_" for ".": o2_input_video="4"."""
        wanted = {name.replace("_", "."): value for name, value in expected.items()}

        def are_there():
            return all(self.fields.get(name) == value for name, value in wanted.items())

        wait_until(f"{wanted} is reported: {self.log}", are_there)

    def memory(self):
        """Resident, in bytes."""
        with open(f"/proc/{self.process.pid}/statm", encoding="ascii") as sizes:
            return int(sizes.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")

    def stop(self):
        """Closes its input; the exit code."""
        self.process.stdin.close()
        return self.process.wait(PATIENCE)

    def close(self):
        self.process.kill()
        self.process.wait()
        for reader in self.readers:
            reader.join()
        for stream in (self.process.stdin, self.process.stdout, self.process.stderr):
            try:
                stream.close()
            except BrokenPipeError:
                pass
        self._directory.cleanup()


class SierraTest(unittest.TestCase):
    """Has a router, and cleans up what it starts."""

    def router(self, *size, **faults):
        router = SierraEmulator(*size)
        for name, value in faults.items():
            if not hasattr(router, name):
                raise AttributeError(name)
            setattr(router, name, value)
        router.listen_tcp()
        self.addCleanup(router.close)
        return router

    def item_text(self, router, further=""):
        return f"driver={DRIVER_NAME}\naddress=127.0.0.1\nport={router.port}\n{further}"

    def backend(self, item_text):
        backend = RunningBackend(item_text)
        self.addCleanup(backend.close)
        return backend

    def ready_backend(self, router, further=""):
        backend = self.backend(self.item_text(router, further))
        backend.wait_for_log("<INFO>connected to")
        return backend
