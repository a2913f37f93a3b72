"""Those who take in a run: each asks one gateway after the other, for takes that nobody else asks for."""

import http.client
import random
import threading
import time
import urllib.parse

from judge import NO, SECOND, Lock, Take

WITHIN = (300, 600, 1000)  # milliseconds


class Inputs:
    """Gives each asker inputs of its own, and each of them once for each output."""

    def __init__(self, world, askers):
        self.inputs = world.size.inputs
        self.askers = askers
        self.used = {}  # by asker, router and output

    def next(self, asker, router, output):
        """0 when there is none left."""
        key = asker, router, output
        number = 1 + asker + self.askers * self.used.get(key, 0)
        if number > self.inputs:
            return 0
        self.used[key] = self.used.get(key, 0) + 1
        return number


class Asker(threading.Thread):
    def __init__(self, world, inputs, number, seed, pause):
        super().__init__()
        self.world = world
        self.inputs = inputs
        self.number = number
        self.pause = pause
        self.random = random.Random(f"{seed}/asker {number}")
        self.takes = []
        self.over = threading.Event()
        self.problem = None

    def run(self):
        try:
            while not self.over.wait(self.random.uniform(0, self.pause)):
                self.step()
        except BaseException as problem:  # told by the thread that waits for this one
            self.problem = problem

    def step(self):
        gateway = self.random.choice(list(self.world.gateways.values()))
        router = self.random.choice(list(self.world.routers))
        outputs = self.random.sample(range(1, self.world.size.outputs + 1), self.random.choice((1, 1, 1, 2, 3)))
        limited = self.random.random() < 0.1
        within = self.random.choice(WITHIN)
        further = {"all_or_nothing": True} if self.random.random() < 0.2 else {}
        twice = self.random.random() < 0.1
        takes = self.takes_on(gateway, router, outputs, within, limited)
        if takes:
            self.ask(gateway, takes, {**further, "within": within}, limited, twice)

    def takes_on(self, gateway, router, outputs, within, limited=False):
        allowed = self.world.may(gateway.name, router) and not (limited and max(outputs) > self.world.limited)
        takes = []
        for output in outputs:
            source = self.inputs.next(self.number, router, output)
            if source:
                takes.append(Take(router, output, source, gateway.name, 0, within * SECOND // 1000, allowed=allowed))
        return takes

    def ask(self, gateway, takes, further, limited=False, twice=False):
        """One request for all of them; sent a second time beside the first one, with the same key, when it is `twice`."""
        router = self.world.name_at(gateway.name, takes[0].router)
        path = f"/api/v1/routers/{urllib.parse.quote(router, safe='')}/takes"
        body = {"takes": [{"output": take.output, "input": take.input} for take in takes], **further}
        headers = {"Idempotency-Key": f"{self.number} {len(self.takes)}"} if twice else {}
        request = (gateway, path, body, limited, gateway.port, headers)  # a gateway started anew knows no keys
        asked = time.monotonic_ns()
        for take in takes:
            take.asked = asked
        self.takes += takes
        again = []
        if twice:
            thread = threading.Thread(target=lambda: again.append(self.answer_to(*request)))
            thread.start()
        answers = [self.answer_to(*request)]
        if twice:
            thread.join()
            answers += again
        for answer in answers:
            self.enter(takes, *answer, twice=twice)

    def answer_to(self, gateway, path, body, limited, port, headers):
        """(what was said of each, when); None without an answer."""
        try:
            status, answer = self.world.ask(gateway, "POST", path, body, limited, port, headers)
        except ConnectionRefusedError:
            return ["not sent"] * len(body["takes"]), time.monotonic_ns()
        except (OSError, http.client.HTTPException, ValueError):
            return None, time.monotonic_ns()
        if status != 200:
            return ["refused"] * len(body["takes"]), time.monotonic_ns()
        results = answer["results"]
        if [each["output"] for each in results] != [each["output"] for each in body["takes"]]:
            raise AssertionError(f"{gateway.name} answers {answer} to {body}")
        return [each["result"] for each in results], time.monotonic_ns()

    @staticmethod
    def enter(takes, said, when, twice):
        """Of two equal requests one may do nothing, which is no answer to the other one."""
        for take, word in zip(takes, said or [None] * len(takes)):
            if twice and take.answered is not None and (word is None or word in NO):
                continue
            if not twice or take.said in NO or take.said is None:
                take.said, take.answered = word, when
            elif take.said != word:
                raise AssertionError(f"{take} was answered {take.said!r} and {word!r} to the same key")
        for take in takes:
            take.answers = 1 if take.said is not None else 0

    def take_until_confirmed(self, gateway, router):
        """After all is whole again. False when the inputs are used up, or what the site may does not reach so far."""
        if not self.world.may(gateway.name, router):
            return False
        takes = self.takes_on(gateway, router, [1], WITHIN[-1])
        if takes:
            self.ask(gateway, takes, {"within": WITHIN[-1]})
        return bool(takes) and takes[0].said == "confirmed"


class Locker(threading.Thread):
    """Locks one output after the other at its owner, for a while."""

    def __init__(self, world, seed):
        super().__init__()
        self.world = world
        self.random = random.Random(f"{seed}/locker")
        self.locks = []
        self.over = threading.Event()
        self.problem = None

    def run(self):
        try:
            while not self.over.wait(self.random.uniform(0, 0.5)):
                self.step()
        except BaseException as problem:  # told by the thread that waits for this one
            self.problem = problem

    def step(self):
        router = self.random.choice(list(self.world.routers))
        output = self.random.randint(1, self.world.size.outputs)
        held = self.set(router, output, "lock")
        begin = time.monotonic_ns()
        self.over.wait(self.random.uniform(0.2, 2.0))
        end = time.monotonic_ns()
        while not self.set(router, output, "force"):
            time.sleep(0.1)
        if held:
            self.locks.append(Lock(router, output, begin, end))

    def set(self, router, output, state):
        owner, _, name = router.partition(":")
        try:
            status, _ = self.world.ask(self.world.gateways[owner], "POST", f"/api/v1/routers/{name}/outputs/{output}/lock", {"state": state})
        except (OSError, http.client.HTTPException, ValueError):
            return False
        return status == 200
