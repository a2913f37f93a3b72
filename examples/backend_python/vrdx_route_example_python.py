#!/usr/bin/env python3
"""A complete backend program: a router of 8 x 8 in memory. Make it yours: let take() switch your router."""
import os
import sys

SIZE = [str(n) for n in range(8)]  # inputs and outputs are numbered from 0 on this wire
names = {what: {n: f"{what[:-1].title()} {int(n) + 1}" for n in SIZE} for what in ("inputs", "outputs")}
sources = dict.fromkeys(SIZE, "none")  # "0" to "7" or "none", by output
collected = {}  # takes that wait for their flush: source by output


def report(command, fields):
    lines = [f"{name}={line}" for name, value in fields.items() for line in value.split("\n")]
    print(f"*COMMAND={command}", "*TYPE=message", *lines, "", sep="\n", flush=True)  # a blank line ends it


def report_all(what, routing=True):
    fields = {f"{what[0]}{n}.name": name for n, name in names[what].items()}
    if routing and what == "outputs":
        fields.update({f"o{n}.input.all": source for n, source in sources.items()})
    report(what, fields)


def take():
    sources.update(collected)
    report("outputs", {f"o{n}.input.all": source for n, source in collected.items()})  # the confirmation
    collected.clear()


def handle(message):
    command, output, source = (message.get(name) for name in ("*COMMAND", "to output", "from input"))
    if command == "report" and message.get("what") in names:
        report_all(message["what"])
    elif command == "route output" and message.get("queue") == "flush":
        take()
    elif command == "route output" and output in SIZE and source in SIZE + ["none"]:
        collected[output] = source
    elif command == "router set":
        for what in names:
            names[what].update({n: message.get(f"{what[:-1]}.{n}.name", names[what][n]) for n in SIZE})
            report_all(what, routing=False)  # routing would end the waiting of a take
    elif command != "set":
        print("<WARN>skipped a message that this router cannot follow:", message, file=sys.stderr, flush=True)


for stream in (sys.stdin, sys.stdout, sys.stderr):  # the driver's pipes do not block; names may be any bytes
    os.set_blocking(stream.fileno(), True)
    stream.reconfigure(encoding="utf-8", errors="surrogateescape", newline="\n")
report("info", {"inputs": "8", "outputs": "8"})
for what in names:
    report_all(what)
message = {}
for line in sys.stdin:  # until our input ends
    name, equals, value = line.rstrip("\n").replace("\r", "").partition("=")
    if equals:
        message[name] = f"{message[name]}\n{value}" if message.get(name) else value
    elif not name and message:
        handle(message)
        message = {}
