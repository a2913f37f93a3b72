"""A second model of the router, in the simplest form: what the driver has to know, show and send.

Inputs and outputs count from 0, -1 is no source. Times are in seconds. When a take was planned is known
only within a window, so its confirmation runs out within a window, too; whoever drives the model keeps away
from it.
"""

from take_model import TakeModel, told_source

CONFIRMATION = 1.0  # seconds
LONGEST_WAIT = 5.0  # seconds: what takes longer is not waited for
MOST_INPUTS = 4096
MOST_OUTPUTS = 1024
MOST_SHOWN = 128


def leading_number(text):
    """The decimal number that `text` begins with, and its length; blanks and a sign may come first."""
    at = 0
    while at < len(text) and text[at] in " \t\n\v\f\r":
        at += 1
    digits = at + 1 if text[at : at + 1] in ("-", "+") else at
    end = digits
    while end < len(text) and text[end] in "0123456789":
        end += 1
    return (int(text[at:end]), end) if end > digits else (0, 0)


def message_text(command, kind, fields):
    """A message as it goes over the wire."""
    lines = [("*COMMAND", command), ("*TYPE", kind)] + sorted(fields.items())
    return "".join(f"{name}={line}\n" for name, value in lines for line in value.split("\n")) + "\n"


def source_number(text):
    return leading_number(text)[0] if text[:1].isdigit() else -1


def source_text(source):
    return "none" if source < 0 else str(source)


def read_take(text):
    """(output, audio, video) of OUT=A or OUT=A,V as a client writes it; None when it is no take."""
    name, equals, value = (part.strip(" \t") for part in text.partition("="))
    if not equals or not name:
        return None
    parts = value.split(",")
    if parts[-1] == "":
        parts.pop()
    numbers = [leading_number(part)[0] - 1 for part in parts] or [-1]
    return leading_number(name)[0] - 1, numbers[0], numbers[min(1, len(numbers) - 1)]


class Output:
    def __init__(self):
        self.audio = -1
        self.video = -1
        self.known = (False, False)  # somebody has said the source: of audio, of video
        self.confirmed = True  # false: shown for a take, and not reported since
        self.saved = None  # all of these before the take that is shown
        self.planned = None  # (earliest, latest) time of an unconfirmed take
        self.name = ""
        self.taken = ""  # who took last
        self.properties = {}

    def told_sources(self):
        return f"{told_source(self.audio, self.known[0])},{told_source(self.video, self.known[1])}"


class RouterModel:
    def __init__(self, assumes, who):
        self.assumes = assumes  # takes are shown before they are confirmed
        self.who = who  # user and process of the clients
        self.link = "unknown"
        self.link_text = ""
        self.input_properties = []
        self.takes = TakeModel(self, who)
        self.inputs = []
        self.outputs = []
        self.split = False
        self.connected = False
        self.requests = []
        self.settings = {}
        self.sent = []  # message texts, for the backend that runs or for the next one
        self.fields = {}  # of the report that is being received, by name, with command and type

    # --- clients

    def route(self, arguments, lists, when):
        texts = list(arguments)
        for one in lists:
            texts += [token[:63] for token in one.split(" ") if token]
        self.requests += [take for take in map(read_take, texts) if take]
        self.plan(when)

    def set_property(self, name, value):
        """`name` as a client writes it, numbered from 1."""
        for prefix, count in (("output.", len(self.outputs)), ("input.", len(self.inputs))):
            rest = name[len(prefix) :]
            if not name.startswith(prefix) or not rest[:1].isdigit():
                continue
            number, length = leading_number(rest)
            if rest[length : length + 1] == "." and 1 <= number <= count:
                self.send("router set", "command", {f"{prefix}{number - 1}{rest[length:]}": value})

    def change_setting(self, name, value):
        self.settings[name] = value
        self.forward_settings()

    # --- the backend's life

    def backend_came(self, when):
        self.connected = True
        self.link = "unknown"
        self.link_text = ""
        for place in self.input_properties + [output.properties for output in self.outputs]:
            place.clear()
        self.forward_settings()
        self.plan(when)

    def backend_went(self):
        self.connected = False
        self.sent.clear()
        self.takes.backend_went()

    # --- reports

    def receive_line(self, line):
        if line:
            name, equals, value = line.partition("=")
            if equals:
                before = self.fields.get(name, "")
                self.fields[name] = before + "\n" + value if before else value
            return
        fields, self.fields = self.fields, {}
        command = fields.pop("*COMMAND", "")
        if fields.pop("*TYPE", "") != "message":
            return
        if command == "info":
            self.take_size(fields)
        elif command == "inputs":
            self.take_input_names(fields)
        elif command == "outputs":
            self.take_outputs(fields)
        elif command == "link" and fields.get("state") in ("up", "down"):
            self.link = fields["state"]
            self.link_text = fields.get("text", "")
        elif command == "refused":
            self.hear_refusal(fields)

    def hear_refusal(self, fields):
        control = fields.get("control")
        levels = [level for level in ("audio", "video") if control in (None, level)]
        self.takes.refused(
            int(fields["to output"]), levels, source_number(fields["from input"]), fields.get("text", "")
        )

    def take_size(self, fields):
        inputs = min(max(leading_number(fields.get("inputs", ""))[0], 0), MOST_INPUTS)
        outputs = min(max(leading_number(fields.get("outputs", ""))[0], 0), MOST_OUTPUTS)
        self.split = fields.get("output routing controls") == "video,audio"
        self.inputs = (self.inputs + [""] * inputs)[:inputs]
        self.input_properties = (self.input_properties + [{} for _ in range(inputs)])[:inputs]
        self.outputs = (self.outputs + [Output() for _ in range(outputs)])[:outputs]

    def take_input_names(self, fields):
        for name, value in sorted(fields.items()):
            if name[:1] == "i" and name[1:2].isdigit():
                number, length = leading_number(name[1:])
                rest = name[1 + length :]
                if number < len(self.inputs) and rest == ".name":
                    self.inputs[number] = value
                elif number < len(self.inputs) and rest[:1] == "." and rest[1:]:
                    self.input_properties[number][rest[1:]] = value

    def take_outputs(self, fields):
        for name, value in sorted(fields.items()):
            if name[:1] == "o" and name[1:2].isdigit():
                number, length = leading_number(name[1:])
                if number < len(self.outputs):
                    self.take_output(number, name[1 + length :], value)

    def take_output(self, number, what, value):
        output = self.outputs[number]
        if what == ".name":
            output.name = value
        elif what.startswith(".input."):
            self.take_source(number, what, value)
        elif what[:1] == "." and what[1:]:
            output.properties[what[1:]] = value

    def take_source(self, number, what, value):
        output = self.outputs[number]
        source = source_number(value)
        known = value != "unknown"
        levels = [level for level in ("audio", "video") if what in (".input.all", f".input.{level}")]
        audio_known, video_known = output.known
        if "audio" in levels:
            output.audio, audio_known = source, known
        if "video" in levels:
            output.video, video_known = source, known
        output.known = (audio_known, video_known)
        output.confirmed = True
        output.planned = None
        self.takes.reported(number, levels, source, known)

    # --- planning

    def send(self, command, kind, fields):
        self.sent.append(message_text(command, kind, fields))

    def forward_settings(self):
        if not self.connected:
            return
        for name, value in sorted(self.settings.items()):
            self.send("set", "message", {"name": name, "value": value})
        self.settings.clear()

    def plan(self, when):
        if not self.connected or not self.requests:
            return
        for number, audio, video in self.requests:
            self.plan_one(number, audio, video, when)
        self.requests.clear()
        self.send_flush()

    def send_flush(self):
        self.send("route output", "command", {"queue": "flush"})

    def plan_one(self, number, audio, video, when):
        self.send_take(number, audio, video)
        if 0 <= number < len(self.outputs):
            audio = audio if self.split else video
            self.takes.routed(number, audio, video, tuple(time + CONFIRMATION for time in when))
            self.show_take(number, audio, video, "", when)

    def send_take(self, number, audio, video):
        apart = self.split and audio != video
        for control, source in (("video", video), ("audio", audio)) if apart else ((None, video),):
            fields = {"queue": "add", "from input": source_text(source), "to output": str(number)}
            if control:
                fields["control"] = control
            self.send("route output", "command", fields)

    def show_take(self, number, audio, video, by, when):
        output = self.outputs[number]
        output.taken = self.who + (by and " " + by)
        if not self.assumes:
            return
        output.saved = (output.audio, output.video, output.known, output.confirmed)
        output.planned = when
        output.audio, output.video = audio, video
        output.known = (True, True)
        output.confirmed = False

    # --- confirmation

    def unconfirmed(self):
        return [output for output in self.outputs if output.planned]

    def windows(self):
        """When takes fall back or are answered because of their time: (earliest, latest)."""
        shown = [(when[0] + CONFIRMATION, when[1] + CONFIRMATION) for when in (o.planned for o in self.unconfirmed())]
        return shown + self.takes.deadlines()

    def first_rollback(self):
        """Nothing becomes of a take by itself before this time; None when none waits."""
        return min((earliest for earliest, _ in self.windows()), default=None)

    def last_rollback(self):
        """When all that waits for a second, or a little longer, is over; None when nothing does."""
        soon = self.first_rollback()
        return soon and max(latest for earliest, latest in self.windows() if earliest < soon + LONGEST_WAIT)

    def roll_back_all(self):
        last = self.last_rollback()
        for output in self.unconfirmed():
            output.audio, output.video, output.known, output.confirmed = output.saved
            output.planned = None
        self.takes.let_pass(last)

    # --- what clients are told

    def told(self):
        told = {
            "inputs": str(len(self.inputs)),
            "outputs": str(len(self.outputs)),
            "levels": "video,audio" if self.split else "",
            "backend": "running" if self.connected else "starting",
            "link": self.link,
            "link text": self.link_text,
        }
        for number, name in enumerate(self.inputs, 1):
            told[f"input {number}"] = name
            self.tell_properties(told, f"input {number}", self.input_properties[number - 1])
        for number, output in enumerate(self.outputs, 1):
            place = f"output {number}"
            told[place] = output.name
            told[f"{place} sources"] = output.told_sources()
            if not output.confirmed:
                told[f"{place} waits"] = "some" if output.planned else "0"
            if output.taken:
                told[f"{place} taken"] = output.taken
            self.tell_properties(told, place, output.properties)
        return told

    @staticmethod
    def tell_properties(told, place, properties):
        for name, value in properties.items():
            told[f"{place} property {name}"] = value

    # --- status

    def status(self):
        """The reply to "status": result, arguments, and the name/value entries in their order."""
        inputs = self.inputs[:MOST_SHOWN]
        outputs = self.outputs[:MOST_SHOWN]
        entries = []
        known = bool(inputs and outputs)
        if known:
            entries += [(f"input.name {i + 1}", name) for i, name in enumerate(inputs)]
            entries += [(f"output.name {i + 1}", output.name) for i, output in enumerate(outputs)]
            entries += [(f"output {i + 1}", f"{o.audio + 1},{o.video + 1}") for i, o in enumerate(outputs)]
        entries += [
            ("router", "?"),
            ("in points", str(len(inputs))),
            ("out points", str(len(outputs))),
            ("input range", f"1-{len(inputs)}"),
            ("output range", f"1-{len(outputs)}"),
            ("input off setting", "0"),
            ("input channels", "A,V"),
        ]
        return (0 if known else 1), ([] if known else ["no router"]), entries
