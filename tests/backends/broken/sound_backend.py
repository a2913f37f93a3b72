#!/usr/bin/env python3
"""A sound backend for a router of 4 x 3. Each program beside this file spoils one thing of it."""

import os
import sys

INPUTS, OUTPUTS = 4, 3


class SoundBackend:
    size = {"inputs": str(INPUTS), "outputs": str(OUTPUTS)}
    report_type = "message"

    def __init__(self):
        self.sources = {str(output): "0" for output in range(OUTPUTS)}
        self.collected = {}

    def write(self, text):
        os.write(1, text.encode())

    def log(self, text):
        os.write(2, text.encode())

    def report(self, command, fields, end="\n"):
        lines = [f"*COMMAND={command}", f"*TYPE={self.report_type}"]
        lines += [f"{name}={value}" for name, value in fields.items()]
        self.write("\n".join(lines) + "\n" + end)

    def announce(self):
        self.report("info", self.size)

    def report_inputs(self):
        self.report("inputs", {f"i{n}.name": f"In {n + 1}" for n in range(INPUTS)})

    def report_outputs(self, outputs):
        self.report("outputs", {f"o{output}.input.all": self.sources[output] for output in outputs})

    def on_report(self, what):
        if what == "inputs":
            self.report_inputs()
        elif what == "outputs":
            self.report_outputs(self.sources)

    def on_add(self, output, source):
        if output in self.sources and source in [str(n) for n in range(INPUTS)] + ["none"]:
            self.collected[output] = source

    def confirm(self, outputs):
        self.report_outputs(outputs)

    def on_flush(self):
        self.sources.update(self.collected)
        outputs, self.collected = list(self.collected), {}
        if outputs:
            self.confirm(outputs)

    def on_names(self):
        self.report_inputs()

    def on_nonsense(self):
        self.log("<WARN>nonsense skipped\n")

    def on_message(self, message):
        command, queue = message.get("*COMMAND"), message.get("queue")
        if command == "report":
            self.on_report(message.get("what"))
        elif command == "route output" and queue == "add":
            self.on_add(message.get("to output"), message.get("from input"))
        elif command == "route output" and queue == "flush":
            self.on_flush()
        elif command == "router set":
            self.on_names()
        elif command != "set":
            self.on_nonsense()

    def on_end(self):
        pass

    def run(self):
        os.set_blocking(0, True)
        os.set_blocking(1, True)
        self.announce()
        message = {}
        with open(0, encoding="latin-1", newline="\n") as lines:
            for line in lines:
                name, equals, value = line.rstrip("\n").partition("=")
                if equals:
                    message[name] = value
                elif not name and message:
                    self.on_message(message)
                    message = {}
        self.on_end()


if __name__ == "__main__":
    sys.exit(SoundBackend().run())
