"""One run: a world, what goes wrong in it, who takes meanwhile, and what is left of it at the end."""

import collections
import contextlib
import random
import time

from askers import Asker, Inputs, Locker
from faults import Disturber, schedule, targets_of
from judge import Judge
from players import Echo, Older
from programs import wait_until
from world import World

PLAYERS = (Echo, Older)


class Run:
    """`pause`: seconds from one fault to the next, on the average."""

    def __init__(self, programs, size, network_type, seed, *, seconds, pause, stop_length, askers, asker_pause, say=print):
        self.say = say
        self.seed = seed
        self.world = World(programs, size, network_type, random.Random(f"{seed}/world"))
        inputs = Inputs(self.world, askers + len(PLAYERS) + 1)
        self.askers = [Asker(self.world, inputs, number, seed, asker_pause) for number in range(askers)]
        self.players = [kind(self.world, inputs, askers + number, seed) for number, kind in enumerate(PLAYERS)]
        self.last = Asker(self.world, inputs, askers + len(PLAYERS), seed, 0)
        self.locker = Locker(self.world, seed)
        self.plan = schedule(seed, targets_of(self.world), seconds, pause, stop_length)
        self.disturber = Disturber(self.world, self.plan)
        self.judge = None

    def violations(self):
        """All that must not be, a sentence each."""
        with contextlib.closing(self.world):
            self.world.start()
            self.say(f"{len(self.world.gateways)} gateways, {len(self.world.routers)} routers, {len(self.world.brokers)} brokers, {self.world.network.name}")
            self.disturb()
            self.heal()
            return self.look()

    def disturb(self):
        threads = [*self.askers, *self.players, self.locker]
        for thread in [*threads, self.disturber]:
            thread.start()
        try:
            self.disturber.join()  # whatever went wrong, nothing stands still any more
        finally:
            for thread in threads:
                thread.over.set()
            for thread in threads:
                thread.join()
        for thread in [self.disturber, *threads]:
            if thread.problem:
                raise thread.problem

    def heal(self):
        """All is well again: nobody restarted anything for it. A take that goes the whole way shows that what was
        sent before it has been looked at."""
        self.world.wait_until_whole()
        for gateway in self.world.gateways.values():
            for owner in self.world.gateways.values():
                if owner.routers and self.world.may(gateway.name, owner.routers[0].name):
                    self.take_once_more(gateway, owner.routers)

    def take_once_more(self, gateway, routers):
        left = iter(routers * 100)
        wait_until(
            f"{gateway.name} takes at {routers[0].name}",
            lambda: self.last.take_until_confirmed(gateway, next(left).name),
        )

    def look(self):
        takes = [take for thread in [*self.askers, *self.players, self.last] for take in thread.takes]
        found = self.world.picture_violations() + self.world.history_violations(takes)
        if self.world.histories:
            found += self.world.handed_on_violations()
        done = self.world.done()
        self.judge = Judge(takes, done, self.disturber.faults, self.locker.locks)
        found += self.judge.violations()
        self.tell(takes, done)
        return found

    def tell(self, takes, done):
        faults = collections.Counter(f"{fault.kind} {fault.what}" for fault in self.disturber.faults)
        said = collections.Counter(str(take.said) for take in takes)
        far = [take for take in takes if take.owner != take.asker]
        self.say(f"figure: {len(takes)} takes were asked for, {len(far)} of them at another site; the routers did {len(done)}")
        self.say(f"figure: answers: {', '.join(f'{word} {count}' for word, count in said.most_common())}")
        self.say(f"figure: {sum(faults.values())} faults: {', '.join(f'{what} {count}' for what, count in sorted(faults.items()))}; {self.disturber.left_out} left out")
        self.say(f"figure: {len(self.locker.locks)} locks")
        self.said = said
        self.confirmed_far = sum(take.said == "confirmed" for take in far)
