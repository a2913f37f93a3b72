"""A second model of the router, in the simplest form: what the driver has to know, show and send.

Inputs and outputs count from 0, -1 is no source. Times are in seconds. When a take was planned is known
only within a window, so its confirmation runs out within a window, too; whoever drives the model keeps away
from it.
"""

CONFIRMATION = 1.0  # seconds
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
        self.saved = (-1, -1)
        self.planned = None  # (earliest, latest) time of an unconfirmed take
        self.name = ""


class RouterModel:
    def __init__(self, assumes):
        self.assumes = assumes  # takes are shown before they are confirmed
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
        self.forward_settings()
        self.plan(when)

    def backend_went(self):
        self.connected = False
        self.sent.clear()

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

    def take_size(self, fields):
        inputs = min(max(leading_number(fields.get("inputs", ""))[0], 0), MOST_INPUTS)
        outputs = min(max(leading_number(fields.get("outputs", ""))[0], 0), MOST_OUTPUTS)
        self.split = fields.get("output routing controls") == "video,audio"
        self.inputs = (self.inputs + [""] * inputs)[:inputs]
        self.outputs = (self.outputs + [Output() for _ in range(outputs)])[:outputs]

    def take_input_names(self, fields):
        for name, value in sorted(fields.items()):
            if name[:1] == "i" and name[1:2].isdigit():
                number, length = leading_number(name[1:])
                if number < len(self.inputs) and name[1 + length :] == ".name":
                    self.inputs[number] = value

    def take_outputs(self, fields):
        for name, value in sorted(fields.items()):
            if name[:1] == "o" and name[1:2].isdigit():
                number, length = leading_number(name[1:])
                if number < len(self.outputs):
                    self.take_output(self.outputs[number], name[1 + length :], value)

    def take_output(self, output, what, value):
        if what == ".name":
            output.name = value
        elif what.startswith(".input."):
            source = leading_number(value)[0] if value[:1].isdigit() else -1
            if what in (".input.all", ".input.audio"):
                output.audio = source
            if what in (".input.all", ".input.video"):
                output.video = source
            output.planned = None

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
        self.send("route output", "command", {"queue": "flush"})

    def plan_one(self, number, audio, video, when):
        apart = self.split and audio != video
        for control, source in (("video", video), ("audio", audio)) if apart else ((None, video),):
            fields = {"queue": "add", "from input": source_text(source), "to output": str(number)}
            if control:
                fields["control"] = control
            self.send("route output", "command", fields)
        if self.assumes and 0 <= number < len(self.outputs):
            output = self.outputs[number]
            output.saved = (output.audio, output.video)
            output.planned = when
            output.video = video
            output.audio = audio if apart else video

    # --- confirmation

    def unconfirmed(self):
        return [output for output in self.outputs if output.planned]

    def first_rollback(self):
        """No take is rolled back before this time; None when none waits."""
        return min((output.planned[0] + CONFIRMATION for output in self.unconfirmed()), default=None)

    def last_rollback(self):
        return max((output.planned[1] + CONFIRMATION for output in self.unconfirmed()), default=None)

    def roll_back_all(self):
        for output in self.unconfirmed():
            output.audio, output.video = output.saved
            output.planned = None

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
