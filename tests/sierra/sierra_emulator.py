"""A router of the generic ASCII protocol, for tests.

It knows nothing of the backend under test. Outputs, inputs and levels are numbered from 1 here.
"""

import re
import socket
import struct

from sierra_connections import Connections

DISCONNECTED = "-"
COMMANDS = "ILNOQSUVXYB"


class Refused(Exception):
    """The router answers ERROR with this text."""


class SierraEmulator(Connections):
    """The router. Its fault modes are plain attributes, to be set at any time."""

    def __init__(self, outputs=8, inputs=8, levels=("VIDEO", "AudioL", "AudioR")):
        super().__init__()
        self.received = []  # the content of every string, in order
        self.silent = False  # reads and says nothing
        self.strings_to_swallow = 0  # strings that hold a take, to be neither obeyed nor answered
        self.answers_to_lose = 0  # takes to be obeyed but not answered
        self.refuse_every_second_take = False
        self.takes_asked = 0
        self.locked = set()
        self.stuck = set()  # outputs that say OK and do not switch
        self.quiet_reports = False  # takes are answered with OK alone, and nobody is told
        self.commands = COMMANDS
        self.status_item = "X"  # or "V"
        self.status_in_one_string = True
        self.status_ends_with_ok = True
        self.padding = 0  # digits of each number, at the least
        self.lower_case = False
        self.absent = set()  # (output, level) that do not exist
        self.options = ""  # before the sizes, "O(1,2)" or "S", say
        self.reports_known = {0, 1, 2, 3, 4}  # the numbers that U may have
        self.blanks_after_commas = False
        self.short_strings = False  # one star and one mark
        self.chatter = ""  # said behind every answer
        self.password = "6741"
        self.cut_after = None  # bytes of the status after which the connection is reset
        self.size(outputs, inputs, levels)

    def size(self, outputs, inputs, levels):
        with self.lock:
            self.outputs, self.inputs, self.levels = outputs, inputs, list(levels)
            self.sources = {
                (output, level): (output - 1) % inputs + 1
                for output in range(1, outputs + 1)
                for level in range(1, len(self.levels) + 1)
            }

    # --- the protocol

    def take_string(self, controller, content):
        content = content.replace(" ", "")
        with self.lock:
            self.received.append(content)
            if self.silent:
                return
            is_take = re.search("[XYVxyv]", content) is not None
            if is_take and self.strings_to_swallow > 0:
                self.strings_to_swallow -= 1
                return
            answer = self.execute(controller, content)
            if is_take and self.answers_to_lose > 0:
                self.answers_to_lose -= 1
                return
            for text in answer:
                self.say(controller, text)
            if self.chatter:
                self.say(controller, f"** {self.chatter} !!\r")

    def say(self, controller, text):
        if self.lower_case:
            text = text.lower()
        if self.blanks_after_commas:
            text = text.replace(",", ", ")
        if self.short_strings:
            text = text.replace("**", "*").replace("!!", "!")
        if self.cut_after is not None and len(text) > self.cut_after:
            cut, self.cut_after = self.cut_after, None
            controller.write(text[:cut].encode("latin-1"))
            controller.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            controller.socket.shutdown(socket.SHUT_RD)
            controller.socket.close()
            return
        controller.send(text)

    def execute(self, controller, content):
        """The strings to be answered."""
        items = []
        singles = []
        for letter, text in re.findall("([A-Za-z])([^A-Za-z]*)", content):
            try:
                if letter.upper() not in self.commands:
                    raise Refused("unknown command")
                numbers = [part if part == "-" else int(part) for part in text.split(",") if part]
                if letter.upper() == "S":
                    singles += self.status(self.all_outputs())
                else:
                    items += self.command(controller, letter.upper(), numbers)
            except (Refused, ValueError, IndexError) as error:
                return singles + [f"** {' '.join([*items, ''])}ERROR text:{error} !!\r"]
        if singles and not items:
            return singles
        return singles + [f"** {' '.join([*items, ''])}OK !!\r"]

    def all_outputs(self):
        return range(1, self.outputs + 1)

    def command(self, controller, letter, numbers):
        if letter == "I":
            return [f"I{self.commands}~"]
        if letter == "Q":
            return ["QASPEN 6464~1.07~"]
        if letter == "L":
            names = "".join(f"{name}~" for name in self.levels)
            return [f"L{self.options}{self.outputs},{len(self.levels)},{self.inputs},{names}~"]
        if letter == "U":
            if numbers[0] not in self.reports_known:
                raise Refused("Syntax: No Number:XX")
            controller.reports = numbers[0]
            return []
        if letter == "O":
            return self.status_items([numbers[0]])
        if letter == "N":
            return [
                self.crosspoint(output, level)
                for (output, level), source in sorted(self.sources.items())
                if source == numbers[0]
            ]
        if letter == "B":
            return self.change_lock(numbers)
        return self.take(controller, letter, numbers)

    def change_lock(self, numbers):
        output, password, state = numbers
        if str(password) != self.password:
            raise Refused("password")
        (self.locked.add if state else self.locked.discard)(output)
        return [f"B{output},{password},{state}"]

    def number(self, value):
        return value if value == DISCONNECTED else str(value).zfill(self.padding)

    def crosspoint(self, output, level):
        source = 0 if (output, level) in self.absent else self.sources[output, level]
        return f"X{self.number(output)},{self.number(source)},{self.number(level)}"

    def status_items(self, outputs):
        levels = range(1, len(self.levels) + 1)
        if self.status_item == "X":
            return [self.crosspoint(output, level) for output in outputs for level in levels]
        shown = {
            output: ",".join(self.crosspoint(output, level).split(",")[1] for level in levels)
            for output in outputs
        }
        return [f"V{self.number(output)},{shown[output]}" for output in outputs]

    def status(self, outputs):
        items = self.status_items(outputs)
        end = "OK " if self.status_ends_with_ok else ""
        if self.status_in_one_string:
            return [f"** {' '.join(items)} {end}!!\r"]
        items = items[1::2] + items[0::2]
        return [f"** {item} !!\r" for item in items[:-1]] + [f"** {items[-1]} {end}!!\r"]

    def planned(self, letter, numbers):
        """The crosspoints of one take command: (output, level, source)."""
        output = numbers[0]
        if letter == "V":
            return [(output, level, source) for level, source in enumerate(numbers[1:], 1) if source != 0]
        levels = [numbers[2]] if letter == "X" and numbers[2] != 0 else range(1, len(self.levels) + 1)
        return [(output, level, numbers[1]) for level in levels if numbers[1] != 0]

    def take(self, controller, letter, numbers):
        self.takes_asked += 1
        if self.refuse_every_second_take and self.takes_asked % 2 == 0:
            raise Refused("busy")
        planned = self.planned(letter, numbers)
        for output, level, source in planned:
            if not (1 <= output <= self.outputs and 1 <= level <= len(self.levels)):
                raise Refused("no such destination")
            if source != DISCONNECTED and source > self.inputs:
                raise Refused("no such source")
            if output in self.locked:
                raise Refused("output is locked")
        if numbers[0] not in self.stuck:
            self.switch(planned, controller)
        if controller is None or controller.reports not in (2, 4) or self.quiet_reports:
            return []
        if numbers[0] in self.stuck:
            return []
        return [letter + ",".join(self.number(number) for number in numbers)]

    def switch(self, planned, by):
        """Others hear of each crosspoint that has changed, without OK."""
        for output, level, source in planned:
            changed = self.sources[output, level] != source
            self.sources[output, level] = source
            for other in self.controllers:
                if changed and other is not by and other.reports != 0 and not self.quiet_reports:
                    self.say(other, f"** {self.crosspoint(output, level)} !!\r")

    # --- what happens at the router's panel

    def take_at_panel(self, output, level, source):
        with self.lock:
            self.switch([(output, level, source)], None)

    def restart(self, outputs, inputs, levels):
        """After a firmware update, say."""
        with self.lock:
            self.size(outputs, inputs, levels)
            for controller in self.controllers:
                controller.reports = 0
                self.say(controller, "** RESET ASPEN 6464 1.08~ !!\r")

    def shows(self, output):
        """The sources of all levels."""
        with self.lock:
            return [self.sources[output, level] for level in range(1, len(self.levels) + 1)]

    def takes(self):
        """The strings received that hold takes."""
        with self.lock:
            return [content for content in self.received if re.search("[XYV]", content)]
