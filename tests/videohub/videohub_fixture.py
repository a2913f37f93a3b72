"""The real driver with vrdx_route_videohub below it and an emulated router below that."""

import json
import os
import sys
import unittest

from running_driver import RunningDriver, behind_take, routectl, wait_until
from videohub_emulator import VideohubEmulator

BIN = os.environ["VRDX_BIN"]


def program(name):
    return os.path.join(BIN, name)


def item_text(port, address="127.0.0.1", **further):
    """`further` settings have "_" for blanks in their names. Waits between attempts are short."""
    settings = {"videohub_reconnect_ms": 50, **further}
    lines = [f"{name.replace('_', ' ')}={value}" for name, value in settings.items()]
    return "\n".join(["driver=route_videohub", f"address={address}", f"port={port}", *lines, ""])


class VideohubTest(unittest.TestCase):
    routectl = staticmethod(routectl)

    def emulate(self, *arguments, listening=True, **further):
        emulator = VideohubEmulator(*arguments, **further)
        self.addCleanup(emulator.close)
        return emulator.listen() if listening else emulator

    def drive(self, emulator, **settings):
        """A driver on an item of its own for this router."""
        return self.drive_item(item_text(emulator.port, **settings))

    def drive_item(self, text):
        driver = RunningDriver(program("vrdx_routedriver"), text, ["--no-autoshutdown"])
        self.addCleanup(driver.close)
        return driver

    def status(self, driver):
        return json.loads(self.routectl(driver, "status").stdout)

    def size(self, driver):
        status = self.status(driver)
        return len(status.get("inputs", [])), len(status.get("outputs", []))

    def sources(self, driver):
        """Of all outputs, from 1; this router has the same on both levels."""
        outputs = self.status(driver).get("outputs", [])
        self.assertTrue(all(output["audio"] == output["video"] for output in outputs))
        return [output["video"] for output in outputs]

    def wait_for_size(self, driver, inputs, outputs):
        wait_until(f"the size is {inputs}x{outputs}", lambda: self.size(driver) == (inputs, outputs))

    def wait_for_sources(self, driver, sources):
        wait_until(f"the sources are {sources}", lambda: self.sources(driver) == sources)

    def wait_for_picture(self, driver, emulator):
        """The driver shows all that the router is."""
        expected = [source + 1 for source in emulator.routing]
        self.wait_for_size(driver, emulator.inputs, emulator.outputs)
        self.wait_for_sources(driver, expected)

    def connected(self, *arguments, **settings):
        """An emulator and a driver that knows it."""
        emulator = self.emulate(*arguments)
        driver = self.drive(emulator, **settings)
        self.wait_for_picture(driver, emulator)
        return emulator, driver

    def take(self, driver, *routes):
        """Waits for the confirmation; the exit code."""
        return self.routectl(driver, "route", *routes).returncode

    def expect_taken(self, driver, *routes):
        """Asked for once, and reported by the router: on a busy machine that may miss the driver's second."""
        before = len(driver.trace())
        self.assertEqual(self.routectl(driver, "route", "--no-wait", *routes).returncode, 0)
        for route in routes:
            output, source = (int(number) - 1 for number in route.split("="))
            report = f"STDOUT: 'o{output}.input.all={source}'"
            wait_until(
                f"{route} is confirmed", lambda: report in behind_take(driver.trace()[before:], output)
            )

    def warnings(self, driver, text):
        """How often the backend has logged a warning with this text."""
        lines = driver.trace().splitlines()
        return sum(line.startswith("STDERR<WARN>") and text in line for line in lines)


def main():
    unittest.main(argv=sys.argv)
