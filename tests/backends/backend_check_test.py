"""vrdx_backend_check on sound and on broken programs. Usage: backend_check_test.py [CLASS.METHOD ...]"""

import json
import os
import subprocess
import sys
import tempfile
import unittest

BIN = os.environ["VRDX_BIN"]
BROKEN = os.path.join(os.path.dirname(os.path.abspath(__file__)), "broken")

PASSED, FAILED, WRONG_USE, NOT_STARTED = range(4)
IN_ONE_SECOND = "within one second"
NEVER_SAYS_LINK = ["it never says whether it reaches its router: the driver shows the link as unknown"]
SURVIVALS = [
    "accepts router set",
    "keeps routing out of reports about names",
    "accepts set",
    "survives takes of outputs out of range",
    "survives takes from inputs out of range",
    "survives takes with unreadable numbers",
    "survives takes without their fields",
    "survives an unknown command",
    'survives a line without "="',
    "survives a message with only a type",
    "survives a value of 100000 bytes",
    "survives binary bytes",
]


def check(*arguments):
    program = os.path.join(BIN, "vrdx_backend_check")
    return subprocess.run([program, *arguments], capture_output=True, text=True, check=False, timeout=200)


class CheckTest(unittest.TestCase):
    """Has an item file, and sees to it that no program under check outlives the check."""

    item_text = "driver=route_example\n"

    def setUp(self):
        self.directory = tempfile.TemporaryDirectory(prefix="vrdx_test.")
        self.addCleanup(self.directory.cleanup)
        self.item = os.path.join(self.directory.name, "item")
        with open(self.item, "w", encoding="utf-8") as item:
            item.write(self.item_text)

    def running_programs(self):
        """Processes that were started for this test's item."""
        found = []
        for pid in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{pid}/cmdline", "rb") as command_line:
                    words = command_line.read().split(b"\0")
            except OSError:
                continue
            if self.item.encode() in words:
                found.append(pid)
        return found

    def check(self, program, *arguments):
        result = check(program, "--file", self.item, *arguments)
        self.assertEqual(result.stderr, "")
        self.assertEqual(self.running_programs(), [])
        return result

    def lines(self, result, word):
        return [line[6:] for line in result.stdout.splitlines() if line.startswith(f"{word:5} ")]

    def expect_passed(self, program, skipped=(), notes=(), link=NEVER_SAYS_LINK):
        result = self.check(program)
        self.assertEqual(self.lines(result, "FAIL"), [])
        self.assertEqual(self.lines(result, "skip"), list(skipped))
        self.assertEqual(self.lines(result, "note"), [*notes, *link])
        self.assertEqual(result.returncode, PASSED)
        return result

    def expect_failed(self, program, *failures):
        """Exactly these lines, in this order; "..." at the end stands for any rest."""
        result = self.check(os.path.join(BROKEN, program), "--timeout", "2")
        shown = self.lines(result, "FAIL")
        self.assertEqual(len(shown), len(failures), result.stdout)
        for line, failure in zip(shown, failures):
            if failure.endswith("..."):
                self.assertTrue(line.startswith(failure[:-3]), f"{line!r} is not {failure!r}")
            else:
                self.assertEqual(line, failure)
        self.assertEqual(result.returncode, FAILED)
        return result


NOT_SPLIT = f"confirms a take of video and audio apart {IN_ONE_SECOND}: it announces no separate levels"


class BackendCheckOnSoundPrograms(CheckTest):
    def test_cpp_example_passes(self):
        self.expect_passed(os.path.join(BIN, "vrdx_route_example_cpp"), skipped=[NOT_SPLIT])

    def test_python_example_passes(self):
        self.expect_passed(os.path.join(BIN, "vrdx_route_example_python"), skipped=[NOT_SPLIT])

    def test_base_of_the_broken_ones_passes(self):
        self.expect_passed(os.path.join(BROKEN, "sound_backend.py"), skipped=[NOT_SPLIT])

    def test_program_that_tells_its_link_has_no_note(self):
        self.expect_passed(os.path.join(BROKEN, "says_link"), skipped=[NOT_SPLIT], link=())

    def test_locked_outputs_are_noted_and_pass(self):
        self.expect_passed(
            os.path.join(BROKEN, "locked_outputs"),
            skipped=[NOT_SPLIT],
            notes=[
                "output 2: reported with another source than asked for",
                "output 1: not confirmed, the driver rolls such a take back",
                "without a confirmation of 1 outputs",
            ],
        )


class BackendCheckOnTheSimulator(CheckTest):
    item_text = "simulated inputs=40\nsimulated outputs=300\nsimulated levels=video,audio\n"

    def test_split_levels_pass(self):
        result = self.expect_passed(os.path.join(BIN, "vrdx_route_simulator"), link=())
        self.assertIn("sizes in range: 40 inputs, 300 outputs, levels video and audio\n", result.stdout)
        self.assertIn(f"ok    confirms a take of video and audio apart {IN_ONE_SECOND}\n", result.stdout)


class BackendCheckOnALockedSimulator(CheckTest):
    item_text = "driver=route_simulator\nsimulated refuse outputs=1,3\n"

    def test_refused_outputs_are_noted(self):
        self.expect_passed(
            os.path.join(BIN, "vrdx_route_simulator"),
            skipped=[NOT_SPLIT],
            notes=[
                "outputs 1, 3: not confirmed, the driver rolls such a take back",
                "without a confirmation of 2 outputs",
            ],
            link=(),
        )


class BackendCheckOnASlowSimulator(CheckTest):
    item_text = "driver=route_simulator\nsimulated delay ms=2500\n"

    def test_late_confirmations_fail(self):
        result = self.check(os.path.join(BIN, "vrdx_route_simulator"))
        failures = self.lines(result, "FAIL")
        self.assertEqual(result.returncode, FAILED)
        expected = f"confirms a salvo of all outputs {IN_ONE_SECOND}: the report came only"
        self.assertTrue(failures[0].startswith(expected), failures)


class BackendCheckOnBrokenPrograms(CheckTest):
    def test_no_info(self):
        result = self.expect_failed("no_info", "announces info: no answer within 2 s")
        self.assertEqual(
            self.lines(result, "skip"),
            ["announces sizes in range: there was no info"]
            + [
                f"confirms {what} {IN_ONE_SECOND}: the router's size is not known"
                for what in (
                    "a salvo of all outputs",
                    "a take of another source",
                    "a take of the same source",
                    "a take of no source",
                    "a take of video and audio apart",
                )
            ]
            + [
                "switches nothing before the flush: the router's size is not known",
                "keeps routing out of reports about names: the router's size is not known",
                "takes its old routing back: the old routing is not known",
            ],
        )

    def test_never_answers_report(self):
        self.expect_failed(
            "never_answers_report",
            "answers report of outputs: no answer within 2 s",
            "answers report of inputs: no answer within 2 s",
        )

    def test_confirms_nothing(self):
        self.expect_failed(
            "confirms_nothing",
            f"confirms a salvo of all outputs {IN_ONE_SECOND}: no report of outputs 1, 2, 3",
            f"confirms a take of another source {IN_ONE_SECOND}: no report of output 1",
            f"confirms a take of the same source {IN_ONE_SECOND}: no report of output 1",
            f"confirms a take of no source {IN_ONE_SECOND}: no report of output 1",
        )

    def test_confirms_too_late(self):
        self.expect_failed(
            "confirms_too_late",
            f"confirms a salvo of all outputs {IN_ONE_SECOND}: the report came only after ...",
            f"confirms a take of another source {IN_ONE_SECOND}: the report came only after ...",
            f"confirms a take of the same source {IN_ONE_SECOND}: the report came only after ...",
            f"confirms a take of no source {IN_ONE_SECOND}: the report came only after ...",
        )

    def test_confirms_something_else(self):
        self.expect_failed(
            "confirms_something_else",
            f"confirms a salvo of all outputs {IN_ONE_SECOND}: "
            "another source was reported for outputs 1, 2, 3",
            f"confirms a take of another source {IN_ONE_SECOND}: another source was reported for output 1",
        )

    def test_switches_on_add(self):
        self.expect_failed(
            "switches_on_add",
            "switches nothing before the flush: output 1 was reported as switched before the flush",
        )

    def test_routing_with_names(self):
        self.expect_failed(
            "routing_with_names",
            "keeps routing out of reports about names: new names were answered with the routing of outputs",
        )

    def test_shrinks_when_started_again(self):
        result = self.check(os.path.join(BROKEN, "shrinks_when_started_again"), "--timeout", "2")
        self.assertEqual(result.returncode, FAILED)
        self.assertIn("survives binary bytes", result.stdout)
        self.assertIn("the router's size is not known", result.stdout)

    def test_dies_on_nonsense(self):
        self.expect_failed("dies_on_nonsense", "survives an unknown command: it ended with exit code 3")

    def test_deaf_after_nonsense(self):
        unanswered = SURVIVALS[SURVIVALS.index("survives an unknown command") :]
        failures = (f"{name}: no answer within 2 s" for name in unanswered)
        self.expect_failed("deaf_after_nonsense", *failures)

    def test_untagged_log(self):
        self.expect_failed("untagged_log", 'tags its log lines with a known tag: "hello", and ...')

    def test_outlives_its_input(self):
        self.expect_failed(
            "outlives_its_input",
            "ends by itself when its input closes: it still ran after 2 s",
            "ends when all its pipes close: it still ran after 2 s",
        )

    def test_outlives_its_stop(self):
        self.expect_failed(
            "outlives_its_stop",
            "ends by itself when its input closes: it still ran after 2 s",
            "ends when all its pipes close: it still ran after 2 s",
            "ends when the driver stops it: it still ran after 2 s",
        )

    def test_ends_with_an_error(self):
        self.expect_failed(
            "ends_with_an_error",
            "ends by itself when its input closes: it ended with exit code 7, not exit code 0",
        )

    def test_wrong_type(self):
        self.expect_failed(
            "wrong_type",
            'announces info: only "info" of type "command"',
            "answers report of outputs: no answer within 2 s",
            "answers report of inputs: no answer within 2 s",
            'gives every report the type "message": "info" of type "command", and ...',
        )

    def test_unframed(self):
        self.expect_failed(
            "unframed",
            "accepts router set: no answer within 2 s",
            "accepts set: no answer within 2 s",
            'ends every report with a blank line: "*COMMAND=outputs" follows within "inputs", and 1 more',
        )

    def test_cut_off(self):
        self.expect_failed("cut_off", 'ends every report with a blank line: "inputs" is never ended')

    def test_sizes_out_of_range(self):
        self.expect_failed(
            "sizes_out_of_range", 'announces sizes in range: inputs="5000" is no number from 1 to 4096'
        )

    def test_log_on_standard_output(self):
        self.expect_failed(
            "log_on_standard_output",
            'writes nothing but reports on standard output: "<INFO>volume = 11", and ...',
        )

    def test_report_on_standard_error(self):
        self.expect_failed(
            "report_on_standard_error", 'writes no report on standard error: "*COMMAND=inputs", and ...'
        )

    def test_ends_at_once(self):
        told = [name for name in SURVIVALS if name != "keeps routing out of reports about names"]  # its size is not known
        failing = ["announces info", "answers report of outputs", "answers report of inputs", *told]
        self.expect_failed("ends_at_once", *(f"{name}: it ended with exit code 0" for name in failing))


class BackendCheckUse(CheckTest):
    def test_json_says_the_same(self):
        result = self.check(os.path.join(BROKEN, "sizes_out_of_range"), "--json")
        whole = json.loads(result.stdout)
        self.assertEqual((result.returncode, whole["passed"], whole["failed"]), (FAILED, False, 1))
        self.assertEqual(len(whole["checks"]), whole["ok"] + whole["failed"] + whole["skipped"])
        self.assertEqual(
            whole["checks"][1],
            {
                "check": "announces sizes in range",
                "result": "FAIL",
                "text": 'inputs="5000" is no number from 1 to 4096',
                "notes": [],
            },
        )

    def test_timeout_is_five_seconds_or_as_asked_for(self):
        for arguments, seconds in (((), "5"), (("--timeout", "0.7"), "0.7")):
            result = self.check(os.path.join(BROKEN, "no_info"), *arguments)
            self.assertEqual(self.lines(result, "FAIL")[0], f"announces info: no answer within {seconds} s")

    def test_program_that_cannot_be_started(self):
        for program in (os.path.join(self.directory.name, "none"), self.item):
            result = check(program, "--file", self.item)
            self.assertEqual((result.returncode, result.stdout), (NOT_STARTED, ""))
            self.assertTrue(result.stderr.startswith(f"vrdx_backend_check: cannot start {program}: "))

    def test_wrong_use(self):
        program = os.path.join(BROKEN, "no_info")
        for arguments in (
            [],
            [program],
            [program, "--file"],
            [program, "--file", os.path.join(self.directory.name, "none")],
            [program, "--file", self.item, "--timeout", "0"],
            [program, "--file", self.item, "--timeout", "soon"],
            [program, "--file", self.item, "--unheard-of"],
        ):
            result = check(*arguments)
            self.assertEqual((result.returncode, result.stdout), (WRONG_USE, ""), arguments)
            self.assertEqual(result.stderr.count("\n"), 1, result.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
