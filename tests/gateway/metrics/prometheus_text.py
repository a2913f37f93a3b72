"""Reads figures as /metrics writes them, in either format, and is strict about it."""

import re

SAMPLE = re.compile(r'^([a-z_]+)(?:\{((?:[a-z_]+="(?:[^"\\]|\\.)*"(?:,(?=[a-z])|(?=\})))+)\})? ([0-9.e+-]+)$')
LABEL = re.compile(r'([a-z_]+)="((?:[^"\\]|\\.)*)"')
SUFFIXES = {"counter": ["_total"], "gauge": [""], "info": ["_info"], "histogram": ["_bucket", "_sum", "_count"]}


def value_of(escaped):
    return re.sub(r"\\(.)", lambda found: "\n" if found[1] == "n" else found[1], escaped)


class Figures:
    """`values`: by name and labels. `families`: kind by name, as the head lines say."""

    def __init__(self, text, open_metrics=False):
        self.values, self.families, self.units, self.helps = {}, {}, {}, {}
        lines = text.split("\n")
        assert lines.pop() == "", "the last line has no end"
        if open_metrics:
            assert lines.pop() == "# EOF"
        for line in lines:
            if line.startswith("# "):
                self.read_head(*line[2:].split(" ", 2))
            else:
                self.read_sample(line, open_metrics)

    def read_head(self, word, name, rest):
        kept = {"HELP": self.helps, "TYPE": self.families, "UNIT": self.units}[word]
        assert name not in kept, f"{word} {name} twice"
        kept[name] = rest
        self.family = name
        assert name in self.helps

    def read_sample(self, line, open_metrics):
        found = SAMPLE.match(line)
        assert found, f"no sample: {line}"
        name, labels, value = found.groups()
        kind = self.families[self.family]
        endings = SUFFIXES[kind] if open_metrics or kind == "histogram" else [""]
        assert name in [self.family + ending for ending in endings], f"{line} below {self.family}"
        key = (name, tuple((label, value_of(text)) for label, text in LABEL.findall(labels or "")))
        assert key not in self.values, f"twice: {line}"
        self.values[key] = float(value)

    def get(self, name, **labels):
        """The value of that sample; None when there is none."""
        for (known, found), value in self.values.items():
            if known == name and dict(found) == labels:
                return value
        return None

    def names(self):
        """Of all samples that there may be: also of families without any."""
        return {
            name + ending
            for name, kind in self.families.items()
            for ending in (SUFFIXES["histogram"] if kind == "histogram" else [""])
        }

    def routers(self):
        return {dict(labels)["router"] for name, labels in self.values if name == "vrdx_driver_up"}
