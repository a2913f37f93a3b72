"""vrdx_route_videohub with an emulator below it that others have written: @bitfocusas/mockup-bmd-videohub.

It is fetched from npm's registry for this test and is gone afterwards. Exit code 77: left out, because it cannot be
had here. Usage: videohub_independent_test.py [CLASS.METHOD ...]
"""

import json
import os
import shutil
import socket
import subprocess
import sys
import tarfile
import tempfile
import unittest

from running_driver import PATIENCE, wait_until
from videohub_fixture import VideohubTest, item_text, program

SKIPPED = 77
PACKAGE = "@bitfocusas/mockup-bmd-videohub@1.0.6"
INTEGRITY = "sha512-EXDiCKzgxhqmjaywo5e6ejJDqMPzDFq/x3V0XXn5/ZV4MhwpaGaWG2mVQpH5COIAP3LCRTstXqYlXWTD3E15mA=="
SIZE = 16


class CannotBeHad(Exception):
    pass


def fetch(directory):
    """Unpacks the package below `directory`; the path of its program."""
    for tool in ("npm", "node"):
        if shutil.which(tool) is None:
            raise CannotBeHad(f"{tool} is not installed")
    command = ["npm", "pack", "--json", "--fetch-retries=0", "--fetch-timeout=20000", "--no-update-notifier"]
    command += ["--cache", os.path.join(directory, "cache"), "--pack-destination", directory, PACKAGE]
    try:
        result = subprocess.run(
            command, capture_output=True, text=True, check=False, timeout=PATIENCE, cwd=directory
        )
    except subprocess.TimeoutExpired as error:
        raise CannotBeHad("npm does not come to an end") from error
    if result.returncode != 0:
        raise CannotBeHad(f"npm pack {PACKAGE}: {result.stderr.strip()[:500]}")
    (packed,) = json.loads(result.stdout)
    if packed["integrity"] != INTEGRITY:
        raise AssertionError(f"{PACKAGE} is not what it was: {packed['integrity']}")
    with tarfile.open(os.path.join(directory, packed["filename"])) as archive:
        archive.extractall(directory)
    return os.path.join(directory, "package", "dist", "src", "server.js")


class IndependentEmulator:
    """On a port that was free a moment ago."""

    def __init__(self):
        with socket.create_server(("127.0.0.1", 0)) as probe:
            self.port = probe.getsockname()[1]
        self.process = subprocess.Popen(
            ["node", IndependentEmulator.path],
            env={**os.environ, "IO": str(SIZE), "PORT": str(self.port)},
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
        )
        wait_until("it is served", self.is_served)

    def is_served(self):
        if self.process.poll() is not None:
            raise AssertionError("the independent emulator has ended")
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", self.port)) == 0

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.port))

    def close(self):
        self.process.kill()
        self.process.wait()


class VideohubWithAnIndependentEmulator(VideohubTest):
    def start(self):
        emulator = IndependentEmulator()
        self.addCleanup(emulator.close)
        return emulator

    def connected_to(self, emulator):
        driver = self.drive(emulator)
        self.wait_for_size(driver, SIZE, SIZE)
        wait_until("the sources are known", lambda: all(self.sources(driver)))
        return driver

    def test_check_finds_nothing(self):
        emulator = self.start()
        with tempfile.NamedTemporaryFile("w", prefix="vrdx_test.") as item:
            item.write(item_text(emulator.port))
            item.flush()
            command = [program("vrdx_backend_check"), program("vrdx_route_videohub"), "--file", item.name]
            result = subprocess.run(command, capture_output=True, text=True, check=False, timeout=200)
        self.assertEqual(result.returncode, 0, result.stdout)

    def test_takes_and_names(self):
        driver = self.connected_to(self.start())
        self.expect_taken(driver, "3=16", "16=1")
        sources = self.sources(driver)
        self.assertEqual((sources[2], sources[15]), (16, 1))
        self.routectl(driver, "router-set", "output.2.name=Studio A")
        wait_until("renamed", lambda: self.status(driver)["outputs"][1]["name"] == "Studio A")

    def test_another_controller_is_seen(self):
        emulator = self.start()
        driver = self.connected_to(emulator)
        with emulator.connect() as panel:
            panel.sendall(b"VIDEO OUTPUT ROUTING:\n4 11\n\n")
            wait_until("it is shown", lambda: self.sources(driver)[4] == 12)

    def test_restart_is_survived(self):
        emulator = self.start()
        driver = self.connected_to(emulator)
        self.expect_taken(driver, "1=9")
        emulator.close()
        driver.wait_for_trace("STDERR<WARN>: 'lost the connection")
        again = self.start()
        self.routectl(driver, "set", f"port={again.port}")
        wait_until("it takes again", lambda: self.take(driver, "2=7") == 0)


def main():
    with tempfile.TemporaryDirectory(prefix="vrdx_test.") as directory:
        try:
            IndependentEmulator.path = fetch(directory)
        except CannotBeHad as error:
            print(f"left out, there is no independent emulator: {error}")
            return SKIPPED
        return 0 if unittest.main(argv=sys.argv, exit=False).result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
