"""The library for client programs as installed: found by pkg-config and by CMake, built against, and run.

Usage: installed_client_test.py [CLASS.METHOD ...]
"""

import os
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

from scripted_driver import END, ENTRY, ScriptedDriver, packet

BUILD = os.environ["VRDX_BUILD"]
EXAMPLE = os.path.join(os.environ["VRDX_EXAMPLES"], "client_cpp")
CMAKE = os.environ["CMAKE"]
CXX = os.environ["CXX"]
CXXFLAGS = os.environ["CXXFLAGS"]
PATIENCE = 60  # seconds; reached only when a test fails

DESCRIPTION = [("epoch", "00112233445566aa"), ("sequence", "1"), ("inputs", "4"), ("outputs", "3"),
               ("output 3", "Monitor"), ("output 3 sources", "1,unknown")]


def told(command, entries, result=0):
    return packet(command, (END,), *[(ENTRY, name, value) for name, value in entries], result=result)


class InstalledClient(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="vrdx_test.")
        self.addCleanup(directory.cleanup)
        self.prefix = os.path.join(directory.name, "prefix")
        self.source = os.path.join(directory.name, "source")
        self.build = os.path.join(directory.name, "build")
        # Whoever copies the example has nothing of this source tree.
        shutil.copytree(EXAMPLE, self.source)
        self.run_command(CMAKE, "--install", BUILD, "--prefix", self.prefix, "--component", "development")

    def run_command(self, *command, **variables):
        result = subprocess.run(
            command,
            env={**os.environ, **variables},
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
            timeout=500,
        )
        self.assertEqual(result.returncode, 0, f"{command}\n{result.stdout}")
        return result.stdout

    def find(self, name):
        for directory, _, files in os.walk(self.prefix):
            if name in files:
                return os.path.join(directory, name)
        return self.fail(f"{name} is not installed")

    def expect_taking_client(self, program):
        for word, code in (("confirmed", 0), ("refused no such input", 1)):
            answer = told("take", [("id", "1"), ("epoch", "00112233445566aa"), ("output 3", word)], code)
            driver = ScriptedDriver({"describe": told("describe", DESCRIPTION), "take": answer})
            self.addCleanup(driver.close)
            command = [program, driver.file(".tavrixsock.router"), "3", "2"]
            result = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False, timeout=PATIENCE)
            shown = result.stdout.splitlines()
            self.assertEqual(shown[0], "output 3 (Monitor) shows video -1, audio 1")
            self.assertTrue(shown[1].startswith("output 3: " + word), shown)
            self.assertEqual(result.returncode, code)

    def test_example_builds_through_pkg_config(self):
        search = {"PKG_CONFIG_PATH": os.path.dirname(self.find("vrdx-packet-client.pc"))}
        flags = shlex.split(self.run_command("pkg-config", "--cflags", "--libs", "vrdx-packet-client", **search))
        program = os.path.join(self.source, "example")
        source = os.path.join(self.source, "vrdx_take_example.cpp")
        self.run_command(CXX, *shlex.split(CXXFLAGS), "-std=c++20", "-o", program, source, *flags)
        self.expect_taking_client(program)

    def test_example_builds_through_find_package(self):
        choices = [f"-DCMAKE_PREFIX_PATH={self.prefix}", f"-DCMAKE_CXX_COMPILER={CXX}", f"-DCMAKE_CXX_FLAGS={CXXFLAGS}"]
        self.run_command(CMAKE, "-G", "Ninja", "-S", self.source, "-B", self.build, *choices)
        self.run_command(CMAKE, "--build", self.build)
        self.expect_taking_client(os.path.join(self.build, "vrdx_take_example"))

    def test_each_header_compiles_alone(self):
        headers = sorted(os.listdir(os.path.join(self.prefix, "include", "vrdx")))
        self.assertIn("packet_client.h", headers)
        for name in headers:
            program = f"#include <vrdx/{name}>\nint main() {{}}\n"
            source = os.path.join(self.source, "alone.cpp")
            with open(source, "w", encoding="utf-8") as file:
                file.write(program)
            self.run_command(CXX, "-std=c++20", "-fsyntax-only", "-I", os.path.join(self.prefix, "include"), source)

    def test_examples_are_where_authors_look(self):
        self.assertIn(os.path.join("share", "doc"), self.find("vrdx_take_example.cpp"))
        self.assertTrue(os.access(self.find("vrdx_client_example.py"), os.X_OK))

    def test_version_is_the_same_everywhere(self):
        search = {"PKG_CONFIG_PATH": os.path.dirname(self.find("vrdx-packet-client.pc"))}
        version = self.run_command("pkg-config", "--modversion", "vrdx-packet-client", **search).strip()
        with open(self.find("vrdx_packet_client-config-version.cmake"), encoding="utf-8") as config:
            self.assertIn(f'set(PACKAGE_VERSION "{version}")', config.read())


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
