"""One random schedule: a driver with its backend and a client, and the model beside them, step by step."""

import random
import time

from backend import STDOUT
from comparison import PATIENCE, Comparison, Overtaken

LONGEST_ABSENCE = 2  # seconds, of a backend, with all that happens before another one may come

ODD_TAKES = ["x=2", "3=", "=5", "3", "1=2x,3", "2=1,2,3,4,5,6,7,8,9,10", "+1= 2", "-4=1", "1=,"]


class Schedule(Comparison):
    def __init__(self, stand, number, seed):
        super().__init__(stand, stand.model, f"seed {seed}, schedule {number}")
        self.random = random.Random(f"{seed}/{number}")
        self.steps = self.backends = 0

    def run(self):
        self.begin()
        for _ in range(self.random.randint(8, 16)):
            self.keep_away_from_rollbacks()
            step = self.random.choices(STEPS, WEIGHTS)[0]
            step(self)
            self.check_status()
            self.steps += 1
        self.check_commands()
        self.forget_commands()

    # --- reports

    def say(self, lines):
        """Lines of the backend, until the driver has surely read them."""
        self.note(f"the backend says {lines}")
        self.stand.backend.say(STDOUT, "".join(line + "\n" for line in lines))
        self.mark()
        overtaken = self.is_overtaken()
        for line in lines:
            self.model.receive_line(line)
        if overtaken:
            raise Overtaken

    def report(self, command, fields, kind="message"):
        self.say([f"*COMMAND={command}", f"*TYPE={kind}", *fields, ""])

    def draw_size(self, most):
        odd = ["", "-3", "12abc", "5000", "x", "130"]
        return self.random.choice(odd) if self.random.random() < 0.1 else str(self.random.randint(1, most))

    def report_size(self):
        fields = [f"inputs={self.draw_size(24)}", f"outputs={self.draw_size(20)}"]
        if self.random.random() < 0.5:
            fields.append("output routing controls=" + self.random.choice(["video,audio"] * 3 + ["audio"]))
        if self.random.random() < 0.05:
            fields.pop(0)
        self.report("info", fields)

    def begin(self):
        """A fresh router, whatever was before."""
        self.keep_away_from_rollbacks()
        if not self.model.connected:
            self.wait_for_backend()
        if self.stand.lost:
            self.find_again()
        self.say([""])
        self.report("info", [])
        self.report_size()
        self.check_status()

    def draw_output(self):
        return self.random.randint(0, len(self.model.outputs) + 1)

    def draw_input(self):
        return self.random.randint(-1, len(self.model.inputs) + 1)

    def report_names(self):
        if self.random.random() < 0.5:
            keys = [f"i{self.random.choice(['', '0'])}{self.random.randint(0, 25)}.name" for _ in range(3)]
            names = [f"{key}=Kamera {self.random.randint(0, 99)} \xe4" for key in keys]
            self.report("inputs", names + ["i2x.name=no"])
        else:
            keys = [f"o{self.draw_output()}.name" for _ in range(3)]
            keys.append(keys[0])  # a name of two lines
            self.report("outputs", [f"{key}=Monitor={self.random.randint(0, 99)}" for key in keys])

    def source_field(self, output):
        level = self.random.choice(["all"] * 3 + ["audio", "video", "aux"])
        source = self.draw_input()
        value = self.random.choice(["none", "-1", "", "x"]) if source < 0 else str(source)
        return f"o{output}.input.{level}={value}"

    def report_sources(self):
        kind = "message" if self.random.random() < 0.9 else "command"
        self.report("outputs", [self.source_field(self.draw_output()) for _ in range(3)], kind)

    def confirm(self):
        """The router did what it was told; sometimes something else."""
        fields = []
        for number, output in enumerate(self.model.outputs):
            if output.planned and self.random.random() < 0.7:
                if self.random.random() < 0.2:
                    fields.append(self.source_field(number))
                else:
                    fields.append(f"o{number}.input.audio={max(output.audio, 0)}")
                    fields.append(f"o{number}.input.video={max(output.video, 0)}")
        self.report("outputs", fields)

    def refuse(self):
        """An error is no report: nothing is confirmed."""
        self.say(["*ERROR=refused", ""])

    def say_half(self):
        self.say(["*COMMAND=outputs", "*TYPE=message", self.source_field(self.draw_output())])

    # --- clients

    def draw_take(self):
        if self.random.random() < 0.08:
            return self.random.choice(ODD_TAKES)
        output = self.draw_output() + 1
        sources = [str(self.draw_input() + 1)]
        if self.random.random() < 0.5:
            sources.append(str(self.draw_input() + 1))
        return f"{output}={','.join(sources)}"

    def take(self):
        arguments = [self.draw_take() for _ in range(self.random.randint(0, 3))]
        lists = []
        if self.random.random() < 0.4:
            tokens = [self.draw_take().replace(" ", "") for _ in range(self.random.randint(0, 3))]
            if self.random.random() < 0.1:
                tokens.append("1=" + "0" * self.random.randint(55, 65) + "2,1")
            lists.append(self.random.choice([" ", "  "]).join(tokens) + self.random.choice(["", " "]))
        self.note(f"a client takes {arguments} {lists}")
        before = time.monotonic()
        self.stand.client.ask("route", arguments, [("set", one) for one in lists] + [("Set", "1=1")])
        self.model.route(arguments, lists, (before, time.monotonic()))

    def set_property(self):
        kind = self.random.choice(["input", "output"])
        number = self.random.choice(["0", "x", "03", ""] + [str(self.draw_output())] * 8)
        name = f"{kind}.{number}{self.random.choice(['.name', '.name', '.', ''])}"
        value = self.random.choice(["Cam", "", "two\nlines", "a=b"])
        self.note(f"a client sets {name} = {value!r}")
        self.stand.client.ask("router set", [], [(name, value)])
        self.model.set_property(name, value)

    def change_setting(self):
        changes = [(self.random.choice("abc"), self.random.choice(["1", "", "x y"])) for _ in range(2)]
        self.note(f"settings change: {changes}")
        # One pass forwards what is there, so that only changes of one packet are surely sorted.
        self.check_commands()
        self.stand.client.ask("set", [], changes)
        self.model.settings.update(changes)
        self.model.forward_settings()
        self.check_commands()

    # --- the backend's life

    def is_active(self):
        return dict(self.stand.client.ask("report")[2])["*active"].startswith("1")

    def backend_goes(self):
        backend = self.stand.backend
        order = self.random.sample((0, 1, 2), 3)
        way = self.random.choice(
            [backend.exit, backend.abort, backend.kill, backend.leave_the_pipes, backend.close_one]
        )
        self.backends += 1
        self.note(f"the backend goes: {way.__name__} {order}")
        way(order)
        self.poll("the driver knows that the backend is gone", lambda: not self.is_active())
        self.check_cut_commands(backend)
        backend.wait_for_end(PATIENCE)
        self.stand.backend = None
        self.model.backend_went()

    def backend_comes(self):
        self.let_confirmations_run_out()
        self.wait_for_backend()

    def wait_for_backend(self):
        self.note("a backend comes")
        asked = last_away = time.monotonic()
        deadline = asked + PATIENCE
        while not self.is_active():
            if asked > deadline:
                raise self.parted("no backend was started", True, False)
            last_away = asked
            time.sleep(0.01)
            asked = time.monotonic()
        # What waited was planned in the pass that started the program, before that pass answered.
        self.model.backend_came((last_away, time.monotonic()))
        self.stand.backend = self.stand.listener.accept()
        self.guard()

    def restart(self):
        self.return_from = self.stand.next_start()
        if self.return_from - time.monotonic() < LONGEST_ABSENCE:
            self.take()  # there is no time left for more
            return
        self.backend_goes()
        for _ in range(self.random.randint(0, 3)):
            self.keep_away_from_rollbacks()
            self.random.choice([Schedule.take, Schedule.set_property, Schedule.change_setting])(self)
            self.check_status()
        self.backend_comes()
        self.check_status()
        self.check_commands()


STEPS, WEIGHTS = zip(
    (Schedule.take, 60),
    (Schedule.confirm, 24),
    (Schedule.report_sources, 20),
    (Schedule.report_names, 16),
    (Schedule.report_size, 10),
    (Schedule.refuse, 6),
    (Schedule.say_half, 4),
    (Schedule.set_property, 10),
    (Schedule.change_setting, 6),
    (Schedule.check_commands, 12),
    (Schedule.let_confirmations_run_out, 2),
    (Schedule.restart, 1),
)
