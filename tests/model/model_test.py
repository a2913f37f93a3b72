"""The real driver against a second, simple model of the router: random schedules of takes, reports, refusals,
settings, dying backends and passing time; every status reply and every command to the backend must be the
model's.

Usage: model_test.py PATH-OF-VRDX_ROUTEDRIVER [--schedules N | --seconds N] [--seed S] [--first N]
       [--drivers N]

A schedule is drawn from the seed and its number alone: --seed S --first N --schedules 1 repeats one.
"""

import argparse
import itertools
import math
import os
import random
import sys
import tempfile
import threading
import time
import traceback

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))

from backend import BackendListener  # noqa: E402
from comparison import PATIENCE, Overtaken  # noqa: E402
from packet_client import PacketClient  # noqa: E402
from router_model import RouterModel  # noqa: E402
from running_driver import RunningDriver  # noqa: E402
from schedule import Schedule  # noqa: E402
from told import Watcher  # noqa: E402

NOT_ASSUMING = 5  # every so many schedules run on a driver that shows nothing before it is reported


START_PERIOD = 5  # seconds from one time at which the driver starts a backend that it misses to the next
LATE = 0.5  # seconds that it may be behind such a time


def assumes(number):
    return number % NOT_ASSUMING != NOT_ASSUMING - 1


class Stand:
    """One driver with all that is connected to it, and the model of it."""

    def __init__(self, program, assuming):
        self.directory = tempfile.TemporaryDirectory(prefix="vrdx_model.")
        path = os.path.join(self.directory.name, "backend")
        self.listener = BackendListener(path, PATIENCE)
        self.backend = None
        self._markers = itertools.count()
        self.model = RouterModel(assuming, f"{os.getuid()} {os.getpid()}")
        item = f"driver=route_model\nstay resident=1\nmodel socket={path}\n"
        before = time.monotonic()
        self.driver = RunningDriver(program, item, [] if assuming else ["--dbg-nochg-assume"])
        self.started = (before, time.monotonic() + LATE)
        self.lost = False  # the driver is not in the model's state any more
        self.socket = self.driver.socket_path
        self.client = PacketClient(self.socket, PATIENCE)
        self.taker = PacketClient(self.socket, PATIENCE)
        self.quick = Watcher(self.socket, PATIENCE)
        self.slow = Watcher(self.socket, PATIENCE)
        self.told_slowly = 0

    def next_marker(self):
        return f"marker {next(self._markers)}."

    def next_start(self):
        """No backend is started between now and this time, which has passed when that is not certain."""
        earliest, latest = self.started
        periods = math.ceil((time.monotonic() - latest) / START_PERIOD)
        return earliest + periods * START_PERIOD

    def give_up(self):
        """After a schedule that told nothing."""
        self.lost = True
        self.model.outputs.clear()
        self.model.takes.open.clear()
        self.model.takes.answers.clear()
        self.taker.close()  # with all answers that are still to come
        self.taker = PacketClient(self.socket, PATIENCE)
        self.model.requests.clear()
        self.model.settings.clear()

    def close(self):
        for client in (self.client, self.taker, self.quick, self.slow):
            client.close()
        self.driver.close()
        if self.backend:
            self.backend.wait_for_end(PATIENCE)
        self.listener.close()
        self.directory.cleanup()


class Numbers:
    """The schedules that are still to be run, for both kinds of driver."""

    def __init__(self, first, count, seconds):
        self._lock = threading.Lock()
        self._end = None if count is None else first + count
        self._until = None if count is not None else time.monotonic() + seconds
        self._next = {True: first, False: first}
        self.failed = False

    def take(self, assuming):
        """The next number, None at the end."""
        with self._lock:
            number = self._next[assuming]
            while assumes(number) != assuming:
                number += 1
            self._next[assuming] = number + 1
        if self.failed or (self._end is not None and number >= self._end):
            return None
        return None if self.is_over() else number

    def is_over(self):
        return self._until is not None and time.monotonic() >= self._until


class Worker(threading.Thread):
    """Runs schedules on one driver, one after the other, as long as there are any."""

    def __init__(self, program, assuming, numbers, seed):
        super().__init__()
        self.program, self.assuming, self.numbers, self.seed = program, assuming, numbers, seed
        self.completed = self.overtaken = self.steps = self.commands = self.backends = 0
        self.answered = self.told_slowly = 0

    def run(self):
        try:
            stand = Stand(self.program, self.assuming)
            try:
                self.run_schedules(stand)
            finally:
                stand.close()
        except Exception:
            self.numbers.failed = True
            traceback.print_exc()

    def run_schedules(self, stand):
        while (number := self.numbers.take(self.assuming)) is not None:
            schedule = Schedule(stand, number, self.seed)
            try:
                schedule.run(self.numbers.is_over)
                self.completed += 1
            except Overtaken:
                self.overtaken += 1
                stand.give_up()
            self.steps += schedule.steps
            self.commands += schedule.compared
            self.backends += schedule.backends
            self.answered += schedule.answered
        self.told_slowly = stand.told_slowly


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    amount = parser.add_mutually_exclusive_group()
    amount.add_argument("--schedules", type=int)
    amount.add_argument("--seconds", type=float, default=600 if os.environ.get("VRDX_LONG") == "1" else 20)
    parser.add_argument("--seed", type=int, default=random.randrange(2**32))
    parser.add_argument("--first", type=int, default=0)
    parser.add_argument("--drivers", type=int, default=24)
    return parser.parse_args()


def main():
    args = arguments()
    print(f"seed {args.seed}", flush=True)
    numbers = Numbers(args.first, args.schedules, args.seconds)
    not_assuming = max(args.drivers // NOT_ASSUMING, 1)
    kinds = [True] * (args.drivers - not_assuming) + [False] * not_assuming
    workers = [Worker(args.program, kind, numbers, args.seed) for kind in kinds]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()

    def total(what):
        return sum(getattr(worker, what) for worker in workers)

    print(f"figure: {total('completed')} schedules with {total('steps')} steps agree")
    print(f"figure: {total('commands')} commands were compared, {total('backends')} backends died")
    print(f"figure: {total('answered')} takes were answered, a slow watcher was up to date {total('told_slowly')} times")
    print(f"figure: {total('overtaken')} schedules told nothing, because the machine was slow")
    if total("completed") <= 2 * total("overtaken"):
        print("Too few schedules told anything")
        return 1
    return 1 if numbers.failed else 0


if __name__ == "__main__":
    sys.exit(main())
