"""What the programs' help texts, the man pages and the completion each know, as sets of words."""

import os
import re
import subprocess

OPTION = re.compile(r"(?<![\w-])(--[a-z][a-z-]*|-[a-zA-Z])(?![\w-])")


class Manual:
    """`programs` is the directory of the built programs, `source` that of the project."""

    def __init__(self, programs, source):
        self.programs = programs
        self.source = source

    def help_of(self, program, *arguments):
        """The text of --help, wherever it goes and whatever it exits with."""
        result = subprocess.run([os.path.join(self.programs, program), *arguments, "--help"], text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, timeout=60)
        assert result.stdout, f"{program} has no help"
        return result.stdout

    def page(self, name):
        with open(os.path.join(self.source, "man", name), encoding="utf-8") as page:
            return page.read()

    def tags(self, name, section):
        """The tags of the lists in a section of a man page, without their markup."""
        tags, inside, tag_follows = [], False, False
        for line in self.page(name).splitlines():
            if line.startswith(".SH "):
                inside = line[4:].strip('"') == section
            elif inside and tag_follows:
                line = re.sub(r"^\.[A-Z]+ ", "", line) if line.startswith(".") else line
                line = re.sub(r"\\f[BIRP]", "", line).replace("\\-", "-")
                line = re.sub(r'"([^"]*)"|\s', r"\1", line) if '"' in line else line.replace(" ", " ")
                tags.append(line.strip())
            tag_follows = line == ".TP"
        assert tags, f"{name} has no list in {section}"
        return tags

    def completion(self, program, *words, environment=None):
        """What bash offers for the last of `words`."""
        script = ('source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); '
                  '_"$1"; printf "%s\\n" "${COMPREPLY[@]}"')
        file = os.path.join(self.source, "completion", program)
        result = subprocess.run(["bash", "--norc", "--noprofile", "-c", script, "bash", file, program, *words],
                                capture_output=True, text=True, check=False, timeout=60,
                                env={**os.environ, **(environment or {})})
        assert result.stderr == "", result.stderr
        return result.stdout.splitlines() if result.stdout != "\n" else []


def options_in(text):
    return set(OPTION.findall(text))


def commands_in(help_text):
    """The subcommands of a help text."""
    listed = help_text.split("Subcommands:\n")[1].split("\n\n")[0]
    return set(re.findall(r"^  ([a-z][a-z-]*) ", listed, re.MULTILINE))
