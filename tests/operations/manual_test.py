"""Help texts, man pages and completion say the same: nothing that one knows is missing in the others.

Usage: manual_test.py DIRECTORY-OF-PROGRAMS SOURCE-DIRECTORY [CLASS[.METHOD] ...]
"""

import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from manual import Manual, commands_in, options_in

MANUAL = None

NUMBERED_NAMES = {"videohub": set(), "sierra": {"input name", "output name"}}  # a number follows each


class ManPages(unittest.TestCase):
    def pages(self):
        found = sorted(glob.glob(os.path.join(MANUAL.source, "man", "*.[158]")))
        self.assertEqual(len(found), 8)
        return found

    def expect_silence(self, command):
        result = subprocess.run(command, capture_output=True, text=True, check=False)
        self.assertEqual((result.returncode, result.stdout + result.stderr), (0, ""))

    @unittest.skipUnless(shutil.which("groff"), "groff is not installed (package groff-base)")
    def test_groff_has_no_warning(self):
        for page in self.pages():
            with self.subTest(page):
                self.expect_silence(["groff", "-man", "-Tutf8", "-ww", "-z", page])

    @unittest.skipUnless(shutil.which("mandoc"), "mandoc is not installed")
    def test_mandoc_has_no_warning(self):
        for page in self.pages():
            with self.subTest(page):
                self.expect_silence(["mandoc", "-T", "lint", "-W", "warning", page])

    def test_pages_that_are_referred_to_exist(self):
        names = {os.path.basename(page) for page in self.pages()}
        others = {"systemctl.1", "journalctl.1"}
        for name in names:
            for referred, section in re.findall(r"([a-z_-]+) ?\((\d)\)", MANUAL.page(name).replace("\\-", "-")):
                self.assertIn(f"{referred}.{section}", names | others, name)


class Routectl(unittest.TestCase):
    def setUp(self):
        self.help = MANUAL.help_of("vrdx_routectl")
        self.common = options_in(self.help.split("Subcommands:")[0])
        self.of_command = {command: options_in(MANUAL.help_of("vrdx_routectl", command)) - self.common
                           for command in commands_in(self.help)}

    def test_the_help_is_understood(self):
        self.assertLessEqual({"--json", "--timeout", "-h"}, self.common)
        self.assertEqual(self.of_command["logs"], {"-f", "--follow", "--lines"})
        self.assertGreaterEqual(len(self.of_command), 13)

    def test_man_page_knows_the_same_commands_and_options(self):
        self.assertEqual(options_in(" ".join(MANUAL.tags("vrdx_routectl.1", "OPTIONS"))), self.common)
        tags = MANUAL.tags("vrdx_routectl.1", "COMMANDS")
        described = {re.match(r"[a-z]+(-[a-z]+)?", tag)[0]: options_in(re.sub(r"([\[|\]])", r" \1 ", tag))
                     for tag in tags}
        self.assertEqual(described, self.of_command)

    def test_completion_knows_the_same_commands_and_options(self):
        self.assertEqual(set(MANUAL.completion("vrdx_routectl", "studio", "")), set(self.of_command))
        self.assertEqual(set(MANUAL.completion("vrdx_routectl", "-")), self.common)
        for command, own in self.of_command.items():
            with self.subTest(command):
                self.assertEqual(set(MANUAL.completion("vrdx_routectl", "studio", command, "-")),
                                 self.common - {"--version"} | own)

    def test_completions_of_other_shells_know_the_same_commands_and_options(self):
        long_options = {option for own in (self.common, *self.of_command.values()) for option in own if option[1] == "-"}
        for file in ("zsh/_vrdx_routectl", "fish/vrdx_routectl.fish"):
            with open(os.path.join(MANUAL.source, "completion", file), encoding="utf-8") as script:
                text = script.read()
            with self.subTest(file):
                listed = re.search(r"commands(?:=\(| )(list [a-z -]+)", text)[1].split()
                self.assertEqual(set(listed), set(self.of_command))
                known = set(re.findall(r"(?:-l |--)([a-z][a-z-]+)", text))
                self.assertLessEqual({option[2:] for option in long_options}, known)

    def test_every_message_of_the_man_page_is_produced_by_a_test(self):
        tests = ""
        for file in glob.glob(os.path.join(MANUAL.source, "tests", "tools", "*_test.py")):
            with open(file, encoding="utf-8") as script:
                tests += script.read()
        for section in ("WHAT IS WRONG", "MESSAGES"):
            for tag in MANUAL.tags("vrdx_routectl.1", section):
                parts = re.split(r"\b(?:REASON|WHO|LIST|X|Y|N)\b", tag)
                with self.subTest(tag):
                    self.assertRegex(tests, "[^\n]+".join(re.escape(part) for part in parts))

    def test_man_page_knows_the_environment_and_the_exit_codes(self):
        self.assertEqual(MANUAL.tags("vrdx_routectl.1", "ENVIRONMENT"), re.findall(r"^  (VRDX_\w+)", self.help, re.M))
        self.assertEqual(MANUAL.tags("vrdx_routectl.1", "EXIT STATUS"), re.findall(r"^  (\d)  ", self.help, re.M))


class OtherPrograms(unittest.TestCase):
    def test_routedriver(self):
        switches = options_in(MANUAL.help_of("vrdx_routedriver"))
        self.assertLessEqual({"--file", "--stderr-to-log", "--dbg-nochg-assume"}, switches)
        self.assertEqual(options_in(" ".join(MANUAL.tags("vrdx_routedriver.8", "SWITCHES"))), switches)
        self.assertEqual(set(MANUAL.completion("vrdx_routedriver", "-")), switches)

    def test_gateway(self):
        text = MANUAL.help_of("vrdx_gateway")
        options = options_in(text.split("Exit codes:")[0])
        add = options_in(MANUAL.help_of("vrdx_gateway", "token", "add"))
        self.assertLessEqual({"--config", "--listen", "-h"}, options)
        self.assertLessEqual({"--role", "--outputs"}, add)
        self.assertEqual(options_in(" ".join(MANUAL.tags("vrdx_gateway.8", "OPTIONS"))), options)
        self.assertEqual(set(MANUAL.completion("vrdx_gateway", "-")), options)
        self.assertEqual(set(MANUAL.completion("vrdx_gateway", "token", "add", "-")), add)
        self.assertEqual(set(MANUAL.completion("vrdx_gateway", "")), {"token", "backup", "restore"})
        self.assertEqual(set(MANUAL.completion("vrdx_gateway", "backup", "-")), options_in(MANUAL.help_of("vrdx_gateway", "backup")))
        self.assertEqual(set(MANUAL.completion("vrdx_gateway", "token", "")), {"add", "list", "remove"})
        self.assertEqual(set(MANUAL.completion("vrdx_gateway", "token", "add", "x", "--role", "")),
                         set(re.findall(r"view|operate|lock|admin", MANUAL.help_of("vrdx_gateway", "token", "add"))))
        self.assertEqual(MANUAL.tags("vrdx_gateway.8", "EXIT STATUS"), re.findall(r"^  (\d)  ", text, re.M))
        for file in ("zsh/_vrdx_gateway", "fish/vrdx_gateway.fish"):
            with open(os.path.join(MANUAL.source, "completion", file), encoding="utf-8") as script:
                known = set(re.findall(r"(?:-l |--)([a-z][a-z-]+)", script.read()))
            self.assertEqual({option[2:] for option in options | add if option[1] == "-"} - known, set(), file)

    def test_backend_check(self):
        text = MANUAL.help_of("vrdx_backend_check")
        options = options_in(text)
        self.assertLessEqual({"--file", "--json", "-h"}, options)
        self.assertEqual(options_in(" ".join(MANUAL.tags("vrdx_backend_check.1", "OPTIONS"))), options)
        self.assertEqual(set(MANUAL.completion("vrdx_backend_check", "-")), options)
        self.assertEqual(MANUAL.tags("vrdx_backend_check.1", "EXIT STATUS"), re.findall(r"^  (\d)  ", text, re.M))

    def settings_in(self, source, pattern):
        with open(os.path.join(MANUAL.source, source), encoding="utf-8") as code:
            found = set(re.findall(pattern, code.read()))
        self.assertGreaterEqual(len(found), 3)
        return found

    def test_settings_of_the_driver(self):
        known = self.settings_in("routedriver/driver/item_file.cpp", r'strcmp\(name, "([^"]+)"\)')
        described = {tag.split("=")[0] for tag in MANUAL.tags("vrdx-item.5", "SETTINGS OF THE DRIVER")}
        self.assertEqual(described, known)

    def test_settings_of_the_simulator(self):
        known = self.settings_in("backends/simulator/settings.cpp", r'(?:_setting\(|\{)"([a-z][a-z ]+)"')
        described = {tag.split("=")[0] for tag in MANUAL.tags("vrdx_route_simulator.8", "SETTINGS")}
        self.assertEqual(described, known)

    def test_settings_of_the_hardware_backends(self):
        for backend, page in (("videohub", "vrdx_route_videohub.8"),
                              ("sierra", "vrdx_route_sierra_video_aspen_hdsdi.8")):
            with self.subTest(backend):
                known = self.settings_in(f"backends/{backend}/settings.cpp", r'(?:_setting\(|\{)"([a-z][a-z ]+)"')
                known = {name.strip() for name in known if not re.fullmatch("videohub .* ms", name)}  # times, for tests
                described = {re.split("=| N", tag)[0] for tag in MANUAL.tags(page, "SETTINGS")}
                self.assertEqual(described, known | NUMBERED_NAMES[backend])


class Completion(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="vrdx_test.")
        self.addCleanup(directory.cleanup)
        self.items = directory.name
        for name in ("studio.item", "stage.item", "gallery.item", "notes"):
            with open(os.path.join(self.items, name), "w", encoding="utf-8"):
                pass

    def complete(self, *words):
        return sorted(MANUAL.completion("vrdx_routectl", *words, environment={"VRDX_ITEMS": self.items}))

    def test_names_of_installed_items_come_first(self):
        self.assertEqual(self.complete(""), ["gallery", "help", "list", "stage", "studio"])
        self.assertEqual(self.complete("st"), ["stage", "studio"])
        self.assertEqual(self.complete("--timeout", "3", "--json", "ga"), ["gallery"])

    def test_names_of_items_are_never_carried_out(self):
        name = "$(touch ran) x"
        with open(os.path.join(self.items, name + ".item"), "w", encoding="utf-8"):
            pass
        self.assertIn("\\$\\(touch\\ ran\\)\\ x", self.complete(""))
        self.assertFalse(os.path.exists("ran"))

    def test_item_may_be_a_path(self):
        self.assertEqual(self.complete(self.items + "/no"), [self.items + "/notes"])

    def test_commands_follow_the_item(self):
        self.assertEqual(self.complete("studio", "st"), ["status"])
        self.assertEqual(self.complete("studio", "--json", "re"), ["report", "restore"])

    def complete_names(self, *words):
        """With a client that knows three names of each side, one of them as odd as names can be."""
        program = os.path.join(self.items, "vrdx_routectl")
        with open(program, "w", encoding="utf-8") as script:
            script.write("#!/bin/sh\nfor last; do :; done\nprintf '1\\tCam 1 %s\\n2\\t$(touch ran)\\n3\\t\\n' \"$last\"\n")
        os.chmod(program, 0o755)
        script = ('source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _vrdx_routectl; '
                  'printf "%s\\n" "${COMPREPLY[@]}"')
        file = os.path.join(MANUAL.source, "completion", "vrdx_routectl")
        result = subprocess.run(["bash", "--norc", "--noprofile", "-c", script, "bash", file, program, *words],
                                capture_output=True, text=True, check=True, cwd=self.items)
        self.assertEqual((result.stderr, os.path.exists(os.path.join(self.items, "ran"))), ("", False))
        return result.stdout.splitlines()

    def test_names_of_outputs_and_inputs_complete_a_take(self):
        self.assertEqual(self.complete_names("studio", "route", ""), ["Cam\\ 1\\ outputs=", "\\$\\(touch\\ ran\\)="])
        self.assertEqual(self.complete_names("studio", "route", "3", "="),
                         ["Cam\\ 1\\ inputs", "\\$\\(touch\\ ran\\)"])
        self.assertEqual(self.complete_names("studio", "route", "3", "=", "Ca"), ["Cam\\ 1\\ inputs"])
        self.assertEqual(self.complete_names("studio", "route", '"Cam'), ["Cam 1 outputs="])
        self.assertEqual(self.complete_names("studio", "route", '"Cam 1 outputs=Ca'), ["Cam 1 outputs=Cam 1 inputs"])
        self.assertEqual(self.complete_names("studio", "status", "--input", "Ca"), ["Cam\\ 1\\ inputs"])
        self.assertEqual(self.complete_names("--sock", "s", "status", "--outputs", "Ca"), ["Cam\\ 1\\ outputs"])

    def complete_in_fish(self, line):
        self.complete_names("studio", "route", "")  # makes the client
        file = os.path.join(MANUAL.source, "completion", "fish", "vrdx_routectl.fish")
        result = subprocess.run(["fish", "--no-config", "-c", f"source '{file}'; complete -C '{line}'"],
                                capture_output=True, text=True, check=True, cwd=self.items,
                                env={**os.environ, "PATH": f"{self.items}:{os.environ['PATH']}", "HOME": self.items})
        return [line.split("\t")[0] for line in result.stdout.splitlines()]

    @unittest.skipUnless(shutil.which("fish"), "fish is not installed")
    def test_fish_completes_names_too(self):
        self.assertIn("Cam 1 outputs=", self.complete_in_fish("vrdx_routectl studio route Cam"))
        self.assertIn("3=Cam 1 inputs", self.complete_in_fish("vrdx_routectl studio route 3=Cam"))
        self.assertEqual(self.complete_in_fish("vrdx_routectl studio wat"), ["watch"])
        self.assertFalse(os.path.exists(os.path.join(self.items, "ran")))

    @unittest.skipUnless(shutil.which("zsh"), "zsh is not installed")
    def test_zsh_understands_its_file(self):
        file = os.path.join(MANUAL.source, "completion", "zsh", "_vrdx_routectl")
        subprocess.run(["zsh", "-f", "-n", file], check=True)

    def test_what_follows_a_command_is_its_own(self):
        self.assertEqual(self.complete("studio", "set", "en"), ["enable\\ debug\\ messages="])
        self.assertEqual(self.complete("studio", "router-set", "o"), ["output."])
        self.assertEqual(self.complete("studio", "save", self.items + "/no"), [self.items + "/notes"])
        self.assertEqual(self.complete("studio", "logs", "--l"), ["--lines"])
        self.assertEqual(self.complete("studio", "ping", ""), [])
        self.assertEqual(self.complete("studio", "logs", "--lines", ""), [])

    def test_files_follow_the_switches_of_the_driver(self):
        self.assertEqual(MANUAL.completion("vrdx_routedriver", "--file", self.items + "/stu"),
                         [self.items + "/studio.item"])
        self.assertEqual(MANUAL.completion("vrdx_backend_check", self.items + "/stu"), [self.items + "/studio.item"])

    def test_files_are_registered_for_their_programs(self):
        for program in ("vrdx_routectl", "vrdx_routedriver", "vrdx_backend_check"):
            file = os.path.join(MANUAL.source, "completion", program)
            result = subprocess.run(["bash", "--norc", "--noprofile", "-c", f'source "{file}"; complete -p'],
                                    capture_output=True, text=True, check=True)
            self.assertIn(f"complete -F _{program} {program}\n", result.stdout)


if __name__ == "__main__":
    MANUAL = Manual(sys.argv.pop(1), sys.argv.pop(1))
    unittest.main()
