"""One random schedule: a driver with its backend and a client, and the model beside them, step by step."""

import random
import time

from backend import STDOUT
from comparison import PATIENCE, Comparison, Overtaken
from packet_client import packet_bytes
from router_model import source_text

LONGEST_ABSENCE = 2  # seconds, of a backend, with all that happens before another one may come

ODD_TAKES = ["x=2", "3=", "=5", "3", "1=2x,3", "2=1,2,3,4,5,6,7,8,9,10", "+1= 2", "-4=1", "1=,"]


class Schedule(Comparison):
    def __init__(self, stand, number, seed):
        super().__init__(stand, stand.model, f"seed {seed}, schedule {number}")
        self.random = random.Random(f"{seed}/{number}")
        self.steps = self.backends = 0

    def run(self, is_over):
        """All its steps, or those until `is_over` says that there is no time for more."""
        self.begin()
        for _ in range(self.random.randint(8, 16)):
            if is_over():
                break
            self.keep_away_from_rollbacks()
            step = self.random.choices(STEPS, WEIGHTS)[0]
            step(self)
            self.check_all()
            self.steps += 1
        self.check_commands()
        self.forget_commands()

    def check_all(self):
        self.check_status()
        self.check_told()
        self.check_answers()

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
        self.report("link", ["state=up"])
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
            names += [f"i{self.random.randint(0, 25)}.{self.draw_property()}" for _ in range(2)]
            self.report("inputs", names + ["i2x.name=no"])
        else:
            keys = [f"o{self.draw_output()}.name" for _ in range(3)]
            keys.append(keys[0])  # a name of two lines
            names = [f"{key}=Monitor={self.random.randint(0, 99)}" for key in keys]
            names += [f"o{self.draw_output()}.{self.draw_property()}" for _ in range(2)]
            self.report("outputs", names)

    def draw_property(self):
        return self.random.choice(["format", "lock", "names", "a b"]) + f"={self.random.choice(['', 'sdi', 'x=y'])}"

    def report_link(self):
        state = self.random.choice(["up"] * 4 + ["down", "down", "sideways"])
        text = self.random.choice([[], ["text=no carrier"]])
        self.report("link", [f"state={state}", *text])

    def source_field(self, output):
        level = self.random.choice(["all"] * 3 + ["audio", "video", "aux"])
        source = self.draw_input()
        value = self.random.choice(["none", "-1", "", "x", "unknown"]) if source < 0 else str(source)
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
                    fields.append(f"o{number}.input.audio={source_text(output.audio)}")
                    fields.append(f"o{number}.input.video={source_text(output.video)}")
        self.report("outputs", fields)

    def refuse_take(self):
        """The router refuses a take that it was sent, or the backend speaks of another."""
        if not self.model.takes.open:
            return
        number = self.random.choice(list(self.model.takes.open))
        control = self.random.choice([None, None, "audio", "video"])
        asked = self.model.takes.open[number].asked
        source = asked[control or self.random.choice(["audio", "video"])]
        if self.random.random() < 0.3:
            source = self.draw_input()
        fields = [f"from input={source_text(source)}", f"text=locked {self.random.randint(0, 9)}", f"to output={number}"]
        self.report("refused", ([f"control={control}"] if control else []) + fields)

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

    def take_and_be_answered(self):
        outputs = list(dict.fromkeys(self.draw_output() for _ in range(self.random.randint(1, 4))))
        takes, expected = [], {}
        for output in outputs:
            audio, video = self.draw_input(), self.draw_input()
            takes.append((output, audio, audio if self.random.random() < 0.5 else video))
            if output < len(self.model.outputs) and self.random.random() < 0.3:
                one = self.model.outputs[output]
                expected[output] = (one.audio, one.video) if self.random.random() < 0.8 else (video, audio)
        by = self.random.choice(["", "", "desk 3", "Regie"])
        within = self.random.choice([1200, 6000, 6000])
        name = self.stand.next_marker()
        entries = [("id", name), ("within", str(within))] + ([("by", by)] if by else [])
        if expected:
            pairs = [f"{output + 1}={audio + 1},{video + 1}" for output, (audio, video) in expected.items()]
            entries.append(("expect", " ".join(pairs)))
        arguments = [f"{o + 1}={a + 1}" if a == v else f"{o + 1}={a + 1},{v + 1}" for o, a, v in takes]
        self.note(f"a client takes {arguments} and waits, {entries}")
        # What was said to the backend before is sent first: then the flush follows at once.
        self.check_commands()
        before = time.monotonic()
        self.stand.taker.send(packet_bytes("take", arguments, entries))
        when = [before, before]
        self.model.takes.ask(name, takes, expected, by, [before + within / 1000, before + within / 1000], when)
        self.check_commands()  # written by now
        when[1] = time.monotonic()
        for take in self.model.takes.open.values():
            if take.answer == name:
                take.deadline = (before + within / 1000, when[1] + within / 1000)
        self.guard()

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
            steps = [Schedule.take, Schedule.take_and_be_answered, Schedule.set_property, Schedule.change_setting]
            self.random.choice(steps)(self)
            self.check_all()
        self.backend_comes()
        self.check_all()
        self.check_commands()


STEPS, WEIGHTS = zip(
    (Schedule.take, 40),
    (Schedule.take_and_be_answered, 40),
    (Schedule.refuse_take, 10),
    (Schedule.report_link, 6),
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
