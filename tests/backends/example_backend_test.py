"""An example backend under the real driver: the one that VRDX_EXAMPLE names.

Usage: example_backend_test.py [CLASS.METHOD ...]
"""

import json
import os
import sys
import unittest

from running_driver import RunningDriver, routectl, wait_until

BIN = os.environ["VRDX_BIN"]
DRIVER_NAME = os.environ["VRDX_EXAMPLE"]
NO_SOURCE = 0
# What each says to a take that it cannot do: one refuses it, the other skips it.
OBJECTIONS = {
    "route_example_cpp": "STDOUT: 'text=there is no such output or input'",
    "route_example_python": "STDERR<WARN>: 'skipped a message that this router cannot follow",
}


class ExampleUnderTheDriver(unittest.TestCase):
    def setUp(self):
        program = os.path.join(BIN, "vrdx_routedriver")
        self.driver = RunningDriver(program, f"driver={DRIVER_NAME}\n", ["--no-autoshutdown"])
        self.addCleanup(self.driver.close)
        self.wait_for_status("the router is known", lambda status: status["router"])

    def routectl(self, *arguments):
        return routectl(self.driver, *arguments)

    def status(self):
        return json.loads(self.routectl("status").stdout)

    def wait_for_status(self, what, condition):
        wait_until(what, lambda: condition(self.status()))

    def shows(self, output, source):
        entry = self.status()["outputs"][output - 1]
        return (entry["audio"], entry["video"]) == (source, source)

    def test_announces_sizes_and_names(self):
        self.wait_for_status("all is named", lambda status: status["outputs"][7]["name"] == "Output 8")
        status = self.status()
        self.assertEqual([entry["name"] for entry in status["inputs"]], [f"Input {n}" for n in range(1, 9)])
        self.assertEqual([entry["name"] for entry in status["outputs"]], [f"Output {n}" for n in range(1, 9)])
        self.assertTrue(all(self.shows(output, NO_SOURCE) for output in range(1, 9)))

    def test_confirms_takes(self):
        result = self.routectl("route", "3=5", "8=1")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.driver.wait_for_trace("STDOUT: 'o2.input.all=4'")
        self.driver.wait_for_trace("STDOUT: 'o7.input.all=0'")
        result = self.routectl("route", "3=0")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertTrue(self.shows(3, NO_SOURCE) and self.shows(8, 1))

    def test_take_from_an_input_it_does_not_have_is_rolled_back(self):
        self.assertEqual(self.routectl("route", "3=5").returncode, 0)
        self.assertEqual(self.routectl("send", "route", "3=99").returncode, 0)
        self.driver.wait_for_trace(OBJECTIONS[DRIVER_NAME])
        wait_until("rolled back", lambda: self.shows(3, 5))

    def test_takes_names(self):
        result = self.routectl("router-set", "output.2.name=Studio Süd", "input.1.name=a=b")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.wait_for_status("renamed", lambda status: status["outputs"][1]["name"] == "Studio Süd")
        self.wait_for_status("renamed", lambda status: status["inputs"][0]["name"] == "a=b")

    def test_ends_with_the_driver_and_logs_no_errors(self):
        self.assertEqual(self.driver.stop(), 0)
        self.assertNotIn("STDERR<ERR>", self.driver.trace())


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
