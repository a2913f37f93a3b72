"""vrdx_routectl run against the real driver with the simulated router below it."""

import json
import pathlib
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from running_driver import PATIENCE, RunningDriver, wait_until  # noqa: E402

DONE, REFUSED, WRONG_USE, NO_DRIVER = range(4)


def simulated(inputs=8, outputs=4, further=""):
    return (
        f"driver=route_simulator\nsimulated inputs={inputs}\nsimulated outputs={outputs}\n"
        f"simulated levels=video,audio\n{further}"
    )


class RoutectlTest(unittest.TestCase):
    driver_program = ""
    routectl_program = ""
    item_text = simulated()

    def setUp(self):
        self.start_driver(self.item_text)

    def start_driver(self, item_text):
        self.driver = RunningDriver(self.driver_program, item_text)
        self.addCleanup(self.driver.close)

    def run_routectl(self, *arguments):
        """With any driver, or none."""
        return subprocess.run(
            [self.routectl_program, *arguments],
            capture_output=True,
            text=True,
            timeout=2 * PATIENCE,
            check=False,
        )

    def routectl(self, *arguments):
        return self.run_routectl("--timeout", str(PATIENCE), self.driver.item, *arguments)

    def expect(self, result, code, output="", error=""):
        self.assertEqual((result.returncode, result.stdout, result.stderr), (code, output, error))

    def json_of(self, *arguments):
        result = self.routectl("--json", *arguments)
        self.assertEqual(result.stderr, "")
        return json.loads(result.stdout)

    def output(self, number):
        """Audio and video source as the status shows them; None while there is no such output."""
        for output in self.json_of("status").get("outputs", []):
            if output["output"] == number:
                return output["audio"], output["video"]
        return None

    def wait_for_output(self, number, audio, video):
        wait_until(f"output {number} shows {audio},{video}", lambda: self.output(number) == (audio, video))

    def wait_for_router(self):
        self.wait_for_output(4, 4, 4)


def main():
    """The programs to test are the first two arguments: vrdx_routedriver and vrdx_routectl."""
    RoutectlTest.driver_program = sys.argv.pop(1)
    RoutectlTest.routectl_program = sys.argv.pop(1)
    unittest.main()
