"""Plays one case: an item file, a backend's script, a client's session, and lines of the trace.

README.md beside this file describes them.
Usage: run_case.py PATH-OF-VRDX_ROUTEDRIVER PATH-OF-VRDX_ROUTECTL CASE-DIRECTORY
"""

import os
import pathlib
import shlex
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))

from case_clients import CaseClient, printed  # noqa: E402
from running_driver import PATIENCE, RunningDriver  # noqa: E402

ANY_LINES = "..."


class CaseFailed(Exception):
    pass


def lines_match(expected, printed):
    """True when `printed` is `expected`, in which "..." stands for any number of lines."""
    if not expected:
        return not printed
    if expected[0] == ANY_LINES:
        return any(lines_match(expected[1:], printed[skipped:]) for skipped in range(len(printed) + 1))
    return bool(printed) and expected[0] == printed[0] and lines_match(expected[1:], printed[1:])


def read_steps(path):
    """The session as steps: kind, argument, expected lines."""
    steps = []
    for line in path.read_text(encoding="utf-8").splitlines():
        if not line or line.startswith("# "):
            continue
        if line[:2] in ("$ ", "~ ", "+ ", "= ", "> ", "< ", "? ", "- "):
            steps.append((line[0], line[2:], []))
        elif not steps or steps[-1][0] not in "$~?":
            raise CaseFailed(f"{path}: no step prints '{line}'")
        else:
            steps[-1][2].append(line)
    return steps


class Case:
    def __init__(self, driver_program, routectl_program, source, directory):
        self.routectl_program = routectl_program
        self.directory = directory
        for file in source.iterdir():
            shutil.copy(file, directory)
        self.trace_read = 0  # how far the session has waited
        self.clients = {}  # by name
        self.driver = RunningDriver(driver_program, item="item", cwd=directory)

    def wait_until(self, condition, failure):
        """Of its own: what is missing is told as it is in the end, and at once when the driver has ended."""
        deadline = time.monotonic() + PATIENCE
        while not condition():
            if time.monotonic() >= deadline or self.driver.process.poll() is not None:
                raise CaseFailed(failure())
            time.sleep(0.005)

    def play(self, steps):
        actions = {
            "$": self.run_once,
            "~": self.run_until,
            "+": self.make_file,
            "=": self.replace_file,
            ">": self.wait_for_trace,
            "<": self.send,
            "?": self.wait_for_packet,
            "-": self.leave,
        }
        for kind, argument, expected in steps:
            actions[kind](argument, expected)
        for name, client in self.clients.items():
            if unread := client.unread():
                raise CaseFailed(f"{name} was sent more than it waited for: {unread}")

    def printed_by(self, command):
        words = [word.replace("\\n", "\n") for word in shlex.split(command)]
        arguments = [self.routectl_program, "--timeout", str(PATIENCE), "item", *words]
        result = subprocess.run(
            arguments,
            cwd=self.directory,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            encoding="utf-8",
            timeout=2 * PATIENCE,
            check=False,
        )
        exit_line = [f"exit code {result.returncode}"] if result.returncode != 0 else []
        return result.stdout.splitlines() + exit_line

    def run_once(self, command, expected):
        printed = self.printed_by(command)
        if not lines_match(expected, printed):
            raise CaseFailed("\n".join([f"'{command}' prints", *printed, "instead of", *expected]))

    def run_until(self, command, expected):
        printed = []

        def is_as_expected():
            printed[:] = self.printed_by(command)
            return lines_match(expected, printed)

        self.wait_until(
            is_as_expected,
            lambda: "\n".join([f"'{command}' still prints", *printed, "instead of", *expected]),
        )

    def make_file(self, name, _):
        (self.directory / name).touch()

    def replace_file(self, names, _):
        """In one step, with a modification time that is surely another one."""
        old, new = (self.directory / name for name in names.split())
        changed = old.stat().st_mtime + 10
        os.utime(new, (changed, changed))
        new.rename(old)

    def wait_for_trace(self, line, _):
        wanted = f"{line}\n"
        found = []

        def is_there():
            found[:] = [self.driver.trace().find(wanted, self.trace_read)]
            return found[0] >= 0

        self.wait_until(is_there, lambda: f"the trace does not show '{line}'")
        self.trace_read = found[0] + len(wanted)

    def send(self, argument, _):
        name, _, requests = argument.partition(" ")
        if name not in self.clients:
            self.clients[name] = CaseClient(self.driver.socket_path, PATIENCE)
        self.clients[name].send(requests)

    def wait_for_packet(self, argument, expected):
        name, command, wanted_id, soonest = (argument.split() + [""] * 3)[:4]
        client = self.clients[name]
        found = []

        def has_come():
            found[:] = [client.find(command, wanted_id, lambda lines: lines_match(expected, lines))]
            return found[0] is not None

        self.wait_until(has_come, lambda: f"{name} does not get '{argument}' but {client.packets}")
        if soonest and (time.monotonic() - client.sent[wanted_id]) * 1000 < int(soonest):
            raise CaseFailed(f"'{argument}' comes too early")
        lines = printed(found[0])
        if not lines_match(expected, lines):
            raise CaseFailed("\n".join([f"'{argument}' is", *lines, "instead of", *expected]))

    def leave(self, name, _):
        self.clients.pop(name).connection.close()

    def stop(self):
        exit_code = self.driver.stop()
        if exit_code != 0:
            raise CaseFailed(f"the driver ends with {exit_code}")

    def check_trace(self, path):
        self.check_lines("the trace", self.driver.trace().splitlines(), path)

    def check_heard(self, path):
        if path.exists():
            heard = (self.directory / "heard-lines").read_text(encoding="utf-8").splitlines()
            self.check_lines("what the backend heard", heard, path)

    @staticmethod
    def check_lines(what, lines, path):
        at = 0
        for wanted in path.read_text(encoding="utf-8").splitlines():
            if wanted.startswith("! "):
                if wanted[2:] in lines:
                    raise CaseFailed(f"{what} shows '{wanted[2:]}'")
            elif wanted in lines[at:]:
                at = lines.index(wanted, at) + 1
            else:
                raise CaseFailed(f"{what} does not show, in its place, '{wanted}'")


def main():
    driver_program, routectl_program, source = sys.argv[1:]
    source = pathlib.Path(source)
    with tempfile.TemporaryDirectory(prefix="vrdx_test.") as directory:
        case = Case(driver_program, routectl_program, source, pathlib.Path(directory))
        try:
            case.play(read_steps(source / "session"))
            case.stop()
            case.check_trace(source / "trace")
            case.check_heard(source / "heard")
        except CaseFailed as failure:
            print(f"{source.name}: {failure}\n--- trace\n{case.driver.trace()}", file=sys.stderr)
            return 1
        finally:
            case.driver.close()
    print(f"{source.name}: as told")
    return 0


if __name__ == "__main__":
    sys.exit(main())
