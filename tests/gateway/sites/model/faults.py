"""What goes wrong in a run, and when: drawn from the seed alone, and then done to the programs."""

import collections
import dataclasses
import os
import random
import signal
import threading
import time

from judge import SECOND, Fault

DOWN = (0.0, 3.0)  # seconds that a killed program is away
CUT = (1.0, 9.0)  # seconds that a way is cut
HOUR = 3600 * SECOND
SLEEP = 7 * SECOND  # that a machine slept

# (kind, what) and how often it is drawn. "half": one direction of a way alone.
KINDS = {
    ("killed", "gateway"): 4,
    ("killed", "broker"): 3,
    ("killed", "driver"): 2,
    ("killed", "backend"): 2,
    ("stopped", "gateway"): 5,
    ("stopped", "broker"): 4,
    ("stopped", "driver"): 2,
    ("stopped", "backend"): 2,
    ("cut", "link"): 4,
    ("half", "link"): 4,
    ("full", "broker"): 1,
    ("moved", "clock"): 2,
}


@dataclasses.dataclass(frozen=True)
class Planned:
    at: float  # seconds from the beginning
    kind: str
    what: str
    target: object  # a name; of a link two, from and to
    length: float

    @property
    def key(self):
        return frozenset(self.target) if self.what == "link" else self.target

    def __str__(self):
        return f"{self.at:6.2f} s {self.kind} {self.what} {self.target} for {self.length:.2f} s"


def schedule(seed, targets, seconds, pause, stop_length):
    """`targets`: the names of each kind of what can be disturbed. All is over after `seconds` and the length of one."""
    rng = random.Random(f"{seed}/faults")
    kinds = [each for each in KINDS if targets.get(each[1])]
    weights = [KINDS[each] for each in kinds]
    plan, free_at = [], {}
    first = rng.sample(kinds, len(kinds))  # each once, so that a short run has as much of it as it can
    at = rng.uniform(0, pause)
    while at < seconds:
        kind, what = first.pop() if first else rng.choices(kinds, weights)[0]
        target = rng.choice(targets[what])
        length = {"killed": rng.uniform(*DOWN), "stopped": stop_length, "moved": 0.0}.get(kind, rng.uniform(*CUT))
        if kind in ("cut", "half") and rng.random() < 0.5:
            target = target[::-1]
        planned = Planned(at, kind, what, target, length)
        if free_at.get(planned.key, 0.0) <= at:
            free_at[planned.key] = at + length + 1.0
            plan.append(planned)
        at += rng.expovariate(1 / pause)
    return plan


class Disturber(threading.Thread):
    """Does to the world what is planned, each in a thread of its own: what takes long to end holds up nothing else.
    `faults`: what was done, with its true times."""

    def __init__(self, world, plan):
        super().__init__()
        self.world = world
        self.plan = plan
        self.faults = []
        self.left_out = 0
        self.problem = None
        self._busy = collections.defaultdict(threading.Lock)  # by what is disturbed: one thing after the other

    def run(self):
        start = time.monotonic()
        threads = []
        for planned in self.plan:
            time.sleep(max(start + planned.at - time.monotonic(), 0))
            threads.append(threading.Thread(target=self._do, args=(planned,)))
            threads[-1].start()
        for thread in threads:
            thread.join()

    def _do(self, planned):
        with self._busy[planned.key]:
            self._do_now(planned)

    def _do_now(self, planned):
        try:
            begin = time.monotonic_ns()
            end = getattr(self, f"_{planned.kind}_{planned.what}")(planned.target)
            if end is None:
                self.left_out += 1
                return
            time.sleep(planned.length)
            end()
            name = "-".join(planned.target) if planned.what == "link" else planned.target
            self.faults.append(Fault(planned.kind, planned.what, name, begin, time.monotonic_ns()))
        except BaseException as problem:  # told by the thread that waits for this one
            self.problem = problem

    # --- each begins one thing, and returns what ends it; None when it cannot be done here ---

    def _broker(self, name):
        return next(each for each in self.world.brokers if each.name == name)

    @staticmethod
    def _kill(program):
        program.kill()
        return program.start

    @staticmethod
    def _hold(program):
        program.expect_running()
        program.stop()
        return program.go_on

    def _killed_gateway(self, name):
        return self._kill(self.world.gateways[name])

    def _killed_broker(self, name):
        return self._kill(self._broker(name))

    def _killed_driver(self, name):
        return self._kill(self.world.routers[name])

    def _killed_backend(self, name):
        return self._signal_backend(name, signal.SIGKILL, lambda _: None)

    def _stopped_gateway(self, name):
        return self._hold(self.world.gateways[name])

    def _stopped_broker(self, name):
        return self._hold(self._broker(name))

    def _stopped_driver(self, name):
        return self._hold(self.world.routers[name])

    def _stopped_backend(self, name):
        return self._signal_backend(name, signal.SIGSTOP, lambda number: os.kill(number, signal.SIGCONT))

    def _signal_backend(self, name, number, undo):
        for backend in self.world.routers[name].backends():  # its driver waits for it: the number is nobody else's
            os.kill(backend, number)
            return lambda: backend in self.world.routers[name].backends() and undo(backend)
        return None

    def _cut_link(self, ends):
        undo = [self._half_link(ends), self._half_link(ends[::-1])]
        return lambda: [each() for each in undo]

    def _half_link(self, ends):
        self.world.network.lose(*ends)
        return lambda: self.world.network.mend(*ends)

    def _full_broker(self, name):
        broker = self._broker(name)
        if not broker.has_disk:
            return None
        broker.fill_disk()

        def mend():
            """Its streams may stand still when they met a full disk, until it is started anew."""
            broker.free_disk()
            broker.kill()
            broker.start()

        return mend

    def _moved_clock(self, target):
        """The day goes an hour forth or back. Forth the machine slept, too, so that its other clock goes on."""
        name, forth = target
        if not self.world.moves_clocks:
            return None
        self.world.gateways[name].move_clock(HOUR if forth else -HOUR, SLEEP)
        return lambda: None


def targets_of(world):
    """What schedule() draws from."""
    return {
        "gateway": list(world.gateways),
        "broker": [broker.name for broker in world.brokers],
        "driver": list(world.routers),
        "backend": list(world.routers),
        "link": list(world.network.cuttable()),
        "clock": [(name, forth) for name in world.gateways for forth in (True, False)],
    }
