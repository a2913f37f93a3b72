"""The library for backend programs as installed: found by pkg-config and by CMake, built against, and run.

Usage: installed_endpoint_test.py [CLASS.METHOD ...]
"""

import os
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

BIN = os.environ["VRDX_BIN"]
BUILD = os.environ["VRDX_BUILD"]
EXAMPLE = os.path.join(os.environ["VRDX_EXAMPLES"], "backend_cpp")
CMAKE = os.environ["CMAKE"]
CXX = os.environ["CXX"]
CXXFLAGS = os.environ["CXXFLAGS"]


class InstalledEndpoint(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="vrdx_test.")
        self.addCleanup(directory.cleanup)
        self.prefix = os.path.join(directory.name, "prefix")
        self.source = os.path.join(directory.name, "source")
        self.build = os.path.join(directory.name, "build")
        self.item = os.path.join(directory.name, "item")
        with open(self.item, "w", encoding="utf-8") as item:
            item.write("driver=route_example_cpp\n")
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

    def expect_good_backend(self, program):
        self.run_command(os.path.join(BIN, "vrdx_backend_check"), program, "--file", self.item)

    def test_headers_and_examples_are_where_authors_look(self):
        for name in ("message.h", "endpoint.h"):
            self.assertTrue(os.path.exists(os.path.join(self.prefix, "include", "vrdx", name)))
        for name in ("vrdx_route_example_cpp.cpp", "vrdx_route_example_python.py"):
            self.assertIn(os.path.join("share", "doc"), self.find(name))
        self.assertTrue(os.access(self.find("vrdx_route_example_python.py"), os.X_OK))

    def test_example_builds_through_pkg_config(self):
        search = {"PKG_CONFIG_PATH": os.path.dirname(self.find("vrdx-endpoint.pc"))}
        flags = shlex.split(self.run_command("pkg-config", "--cflags", "--libs", "vrdx-endpoint", **search))
        program = os.path.join(self.source, "example")
        source = os.path.join(self.source, "vrdx_route_example_cpp.cpp")
        self.run_command(CXX, *shlex.split(CXXFLAGS), "-std=c++17", "-o", program, source, *flags)
        self.expect_good_backend(program)

    def test_example_builds_through_find_package(self):
        choices = [f"-DCMAKE_PREFIX_PATH={self.prefix}", f"-DCMAKE_CXX_COMPILER={CXX}"]
        self.run_command(CMAKE, "-G", "Ninja", "-S", self.source, "-B", self.build, *choices)
        self.run_command(CMAKE, "--build", self.build)
        self.expect_good_backend(os.path.join(self.build, "vrdx_route_example_cpp"))

    def test_version_is_the_same_everywhere(self):
        search = {"PKG_CONFIG_PATH": os.path.dirname(self.find("vrdx-endpoint.pc"))}
        version = self.run_command("pkg-config", "--modversion", "vrdx-endpoint", **search).strip()
        with open(self.find("vrdx_endpoint-config-version.cmake"), encoding="utf-8") as config:
            self.assertIn(f'set(PACKAGE_VERSION "{version}")', config.read())


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
