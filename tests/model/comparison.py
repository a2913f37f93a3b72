"""What a schedule compares, and when: the driver's status and commands against the model's, and the care that
is due because only the driver knows when exactly a second has passed."""

import copy
import time

from backend import STDERR
from told import description

PATIENCE = 60  # seconds; reached only when driver and model have parted
LONGEST_DEAFNESS = 3  # seconds that the slow watcher does not read
CAUTION = 0.3  # seconds: this close to a rollback nothing new is begun

REPORT_POLLS = [
    f"*COMMAND=report\n*TYPE=command\nwhat={what}\n\n" for what in ("outputs", "inputs")
]  # the driver asks every ten seconds, between any two batches


class Overtaken(Exception):
    """The machine was so slow that a confirmation may have run out unnoticed: the schedule tells nothing."""


class Comparison:
    def __init__(self, stand, model, name):
        self.stand = stand  # driver, client, backend
        self.model = model
        self.name = name
        self.story = []
        self.return_from = 0  # while there is no backend: none comes before this time
        self.compared = 0
        self.answered = 0

    def note(self, text):
        self.story.append(text)

    def parted(self, what, expected, seen):
        story = "\n  ".join(self.story)
        return AssertionError(
            f"{self.name}: {what}\nmodel:  {expected!r}\ndriver: {seen!r}\n"
            f"assumes: {self.model.assumes}, the schedule:\n  {story}"
        )

    def poll(self, what, condition):
        """Waits for the condition."""
        deadline = time.monotonic() + PATIENCE
        while not condition():
            if time.monotonic() > deadline:
                raise self.parted("waited in vain", what, self.stand.client.ask("status"))
            time.sleep(0.0005)

    # --- checks

    def is_overtaken(self):
        """After something happened: may a take have been rolled back, or a backend come, in the meantime?"""
        now = time.monotonic()
        rollback = self.model.first_rollback()
        if rollback is not None and now >= rollback:
            return True
        return not self.model.connected and now >= self.return_from

    def guard(self):
        if self.is_overtaken():
            raise Overtaken

    def check_status(self):
        seen = self.stand.client.ask("status")
        self.guard()
        if seen != self.model.status():
            raise self.parted("the status differs", self.model.status(), seen)

    def check_told(self):
        """What is told of the router in pages, to one who reads at once, and now and then to one who does not."""
        picture, sequences = description(self.stand.client)
        self.stand.quick.read_to(max(sequences))
        self.guard()
        expected = self.model.told()
        for who, seen in (("in pages", picture), ("to a watcher", self.stand.quick.picture)):
            self.compare_pictures(who, expected, seen.all())
        if self.random.random() < 0.1 or time.monotonic() > self.stand.slow.last_read + LONGEST_DEAFNESS:
            self.stand.slow.read_to(max(sequences))
            self.compare_pictures("to a slow watcher", expected, self.stand.slow.picture.all())
            self.stand.told_slowly += 1

    def compare_pictures(self, who, expected, seen):
        if seen != expected:
            names = [one for one in {**expected, **seen} if expected.get(one) != seen.get(one)]
            wanted, told = ({one: picture.get(one) for one in names} for picture in (expected, seen))
            raise self.parted(f"what is told {who} differs", wanted, told)

    def check_answers(self):
        """Each take has one answer, with the model's words, as soon as all of it is decided."""
        taker = self.stand.taker
        due = {name: answer.packet() for name, answer in self.model.takes.answers.items() if answer.complete()}
        came = []
        deadline = time.monotonic() + PATIENCE
        while True:
            came += taker.receive_all()
            if len(came) >= len(due) or time.monotonic() > deadline:
                break
            time.sleep(0.0005)
        self.guard()
        seen = {}
        for packet in came:
            entries = dict(packet.entries)
            if packet.command != "take" or entries["id"] in seen:
                raise self.parted("an answer too many", due, packet)
            seen[entries["id"]] = (packet.result, [one for one in packet.entries if one[0].startswith("output ")])
        if seen != due:
            raise self.parted("the answers differ", due, seen)
        for name in due:
            del self.model.takes.answers[name]
        self.answered += len(due)

    def check_commands(self):
        """What the backend received, command by command; the driver's own polls are left out."""
        if not self.model.connected:
            return
        sent = self.model.sent
        self.poll(f"{len(sent)} commands: {sent[-3:]}", lambda: len(self.commands()) >= len(sent))
        if self.commands() != sent:
            raise self.parted("the commands differ", sent, self.commands())

    def commands(self):
        messages = self.stand.backend.messages()
        commands = []
        for message in messages:
            if message not in REPORT_POLLS:
                commands.append(message)
            elif commands and "queue=add\n" in commands[-1]:
                raise self.parted("a poll stands within a batch", commands, messages)
        return commands

    def check_cut_commands(self, backend):
        """What a backend that has gone received is the beginning of what it was sent, cut anywhere."""
        backend.read()
        seen = backend.received.decode("latin-1")
        for poll in REPORT_POLLS:
            seen = seen.replace(poll, "")
        sent = "".join(self.model.sent)
        whole, blank, rest = seen.rpartition("\n\n")
        in_poll = any(poll.startswith(rest) for poll in REPORT_POLLS)
        if not sent.startswith(whole + blank if in_poll else seen):
            raise self.parted("the commands differ before the backend's end", sent, seen)

    def forget_commands(self):
        """What was compared need not be compared again."""
        self.compared += len(self.model.sent)
        self.model.sent.clear()
        self.stand.backend.drop_messages()

    def find_again(self):
        """After a schedule that told nothing: whatever was sent until now, the next command is known."""
        marker = self.stand.next_marker()
        self.stand.client.ask("set", [], [(marker, "")])
        self.poll(marker, lambda: any(f"name={marker}\n" in one for one in self.stand.backend.messages()))
        self.model.sent.clear()
        self.stand.backend.drop_messages()
        self.stand.lost = False

    # --- time

    def keep_away_from_rollbacks(self):
        rollback = self.model.first_rollback()
        if rollback is not None and time.monotonic() > rollback - CAUTION:
            self.let_confirmations_run_out()

    def let_confirmations_run_out(self):
        last = self.model.last_rollback()
        if last is None:
            return
        self.note("the confirmation second passes")
        time.sleep(max(last - time.monotonic(), 0))
        self.see_rollbacks()
        self.model.roll_back_all()
        self.check_status()
        self.check_told()
        self.check_answers()

    def see_rollbacks(self):
        """Waits for a pass that begins now or later, or, where nothing can mark one, for what it shows."""
        if self.stand.backend:
            self.mark()
            return
        rolled_back = copy.deepcopy(self.model)
        rolled_back.roll_back_all()
        expected = rolled_back.told()
        # A status would not tell no source from one that nobody knows.
        self.poll("no unconfirmed takes", lambda: description(self.stand.client)[0].all() == expected)

    def mark(self):
        """A marker in the log, which the driver reads at the start of a pass, and before the reports."""
        marker = self.stand.next_marker()
        self.stand.backend.say(STDERR, f"<NOTE>{marker}\n")
        self.poll(marker, lambda: marker in dict(self.stand.client.ask("report")[2])["*last notes"])
