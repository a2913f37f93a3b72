"""Sites that a test plays at the broker itself, beside the gateways. One says everything a second time, and again when it
is too late; the other one speaks the version of messages before and behind the gateways' own."""

import collections
import json
import random
import threading
import time

from broker_client import BrokerClient, alive_message
from judge import NO, SECOND, Take
from programs import PATIENCE

VERSION = 1  # that the gateways speak
TOO_OLD = 1.1  # seconds: a beat that was heard so long ago is beyond the limit at its owner
WITHIN = 500  # milliseconds


class Player(threading.Thread):
    """Speaks at one broker, and connects anew as often as it has to."""

    name_of_site = ""

    def __init__(self, world, inputs, number, seed):
        super().__init__()
        self.world = world
        self.inputs = inputs
        self.number = number
        self.random = random.Random(f"{seed}/{self.name_of_site}")
        self.takes = []
        self.over = threading.Event()
        self.problem = None
        self.client = None
        self.beats = {}  # by site: (run, beat, when it was heard)
        self.asked = {}  # takes by the subject of their answer
        self.messages = 0

    def run(self):
        try:
            while not self.over.is_set():
                self.connect()
                if self.client:
                    self.play()
                self.over.wait(0.2)
        except BaseException as problem:  # told by the thread that waits for this one
            self.problem = problem

    def connect(self):
        broker = self.random.choice(self.world.brokers)
        user = self.name_of_site
        try:
            self.client = BrokerClient(broker, user, f"of-{user}", self.world.network.broker_socket(broker.name, 5))
            self.client.socket.settimeout(PATIENCE)
            self.client.listen("vr.*.alive")
            self.client.listen(f"vi.{user}.>")
        except (OSError, AssertionError, ValueError):
            self.client = None

    def play(self):
        hearing = threading.Thread(target=self.hear, args=(self.client,))
        hearing.start()
        try:
            while hearing.is_alive() and not self.over.wait(0.2):
                self.step()
        except OSError:
            pass
        self.shut()
        hearing.join()
        self.client.close()

    def shut(self):
        try:
            self.client.shut()
        except OSError:
            pass  # it is closed already

    def hear(self, client):
        try:
            while True:
                subject, _, data = client.hear()
                self.enter(subject, json.loads(data))
        except (AssertionError, OSError, ValueError):
            pass

    def enter(self, subject, message):
        if subject.endswith(".alive"):
            site = subject.split(".")[1]
            if message.get("v") == VERSION and site in self.world.gateways:
                self.beats[site] = (message["run"], message["beat"], time.monotonic())
            return
        take = self.asked.get(subject)
        if take:
            word = message["outputs"][0]["result"] if message["ended"] == "done" else message["ended"]
            self.enter_answer(take, "refused" if word == "too many" else word)

    @staticmethod
    def enter_answer(take, word):
        """A broker may hand one message to two runs of a gateway. The later one cannot know what the one before did, and
        says so; what neither can read both refuse. Of all other answers there may be one."""
        if word != "unknown" and not (word in NO and take.said in NO):
            take.answers += 1
        if take.said is None or take.said == "unknown" or word in NO:
            take.said, take.answered = word, time.monotonic_ns()

    def step(self):
        raise NotImplementedError

    # --- what both say ---

    def new_take(self, further):
        """(take, subject, message) with the newest beat of its owner; None when there is none."""
        router = self.random.choice(list(self.world.routers))
        output = self.random.randint(1, self.world.size.outputs)
        owner, _, name = router.partition(":")
        source = self.inputs.next(self.number, router, output)
        beat = self.beats.get(owner)
        if not beat or not source:
            return None
        take = Take(router, output, source, self.name_of_site, 0, WITHIN * SECOND // 1000, may_be_silent=True)
        message = {"v": VERSION, "run": beat[0], "beat": beat[1], "by": "player", "within": WITHIN, "takes": [[output, source, source]], **further}
        return take, f"vr.{owner}.{name}.take.{self.name_of_site}", message

    def reply(self):
        self.messages += 1
        return f"vi.{self.name_of_site}.x.{self.messages}"

    def say(self, take, subject, message, reply):
        if not take.asked:
            take.asked = time.monotonic_ns()
            self.takes.append(take)
            self.asked[reply] = take
        self.client.say(subject, message, reply)


class Echo(Player):
    name_of_site = "echo"

    def __init__(self, *further):
        super().__init__(*further)
        self.said = collections.deque()  # (when, what it was), to be said again
        self.held = collections.deque()  # (when its beat was heard, what it will be), to be said too late

    def step(self):
        fresh = self.new_take({})
        if fresh:
            reply = self.reply()
            self.say(*fresh, reply)
            self.say(*fresh, reply)
            self.said.append((time.monotonic(), fresh))
        late = self.new_take({})
        if late:
            self.held.append((time.monotonic(), late))
        now = time.monotonic()
        while self.said and now - self.said[0][0] > TOO_OLD:
            self.say(*self.said.popleft()[1], self.reply())
        while self.held and now - self.held[0][0] > TOO_OLD:
            _, (take, subject, message) = self.held.popleft()
            take.void = True
            self.say(take, subject, message, self.reply())


class Older(Player):
    name_of_site = "older"

    def step(self):
        version = self.random.choice((VERSION - 1, VERSION + 1))
        self.client.say("vr.older.alive", alive_message(version=version, routers=[("desk", "up", 1)]))
        self.client.say("vr.older.desk.evt", {"v": version, "run": "x", "from": 1, "to": 2, "outputs": "of another kind"})
        take = self.new_take({"v": version})
        if take:
            take[0].void = True
            self.say(*take, self.reply())
