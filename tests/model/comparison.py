"""What a schedule compares, and when: the driver's status and commands against the model's, and the care that
is due because only the driver knows when exactly a second has passed."""

import time

from backend import STDERR

PATIENCE = 60  # seconds; reached only when driver and model have parted
CAUTION = 0.3  # seconds: this close to a rollback nothing new is begun
MOST_REQUESTS_PER_PASS = 32  # four turns of eight packets

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

    def note(self, text):
        self.story.append(text)

    def parted(self, what, expected, seen):
        story = "\n  ".join(self.story)
        return AssertionError(
            f"{self.name}: {what}\nmodel:  {expected!r}\ndriver: {seen!r}\n"
            f"assumes: {self.model.assumes}, the schedule:\n  {story}"
        )

    def poll(self, what, condition):
        """Waits for the condition, with requests that keep the driver's loop turning."""
        deadline = time.monotonic() + PATIENCE
        while not condition():
            if time.monotonic() > deadline:
                raise self.parted("waited in vain", what, self.stand.client.ask("status"))
            time.sleep(0.0005)
            self.stand.client.ask("ping")

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
        self.let_a_pass_begin()
        self.model.roll_back_all()
        self.check_status()

    def let_a_pass_begin(self):
        """Afterwards the driver has surely begun a pass of its loop, and planned and rolled back in it."""
        if self.stand.backend:
            self.mark()
            return
        for _ in range(MOST_REQUESTS_PER_PASS + 1):
            self.stand.client.ask("ping")

    def mark(self):
        """A marker in the log, which the driver reads at the start of a pass, and before the reports."""
        marker = self.stand.next_marker()
        self.stand.backend.say(STDERR, f"<NOTE>{marker}\n")
        self.poll(marker, lambda: marker in dict(self.stand.client.ask("report")[2])["*last notes"])
