"""The library of the development package as installed: what its tests build against it."""

import os
import shlex
import shutil
import subprocess
import tempfile
import unittest

CMAKE = os.environ["CMAKE"]
CXX = os.environ["CXX"]
CXXFLAGS = os.environ["CXXFLAGS"]


class InstalledLibrary(unittest.TestCase):
    """Installs the development files below self.prefix and copies the example to self.source, for every test."""

    example = ""  # its folder among the examples
    library = ""  # as pkg-config knows it

    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="vrdx_test.")
        self.addCleanup(directory.cleanup)
        self.prefix = os.path.join(directory.name, "prefix")
        self.source = os.path.join(directory.name, "source")
        self.build = os.path.join(directory.name, "build")
        # Whoever copies the example has nothing of this source tree.
        shutil.copytree(os.path.join(os.environ["VRDX_EXAMPLES"], self.example), self.source)
        build = os.environ["VRDX_BUILD"]
        self.run_command(CMAKE, "--install", build, "--prefix", self.prefix, "--component", "development")

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

    def ask_pkg_config(self, *questions):
        search = {"PKG_CONFIG_PATH": os.path.dirname(self.find(f"{self.library}.pc"))}
        return self.run_command("pkg-config", *questions, self.library, **search).strip()

    def build_through_pkg_config(self, source, standard):
        """The example's program, its path."""
        flags = shlex.split(self.ask_pkg_config("--cflags", "--libs"))
        program = os.path.join(self.source, "example")
        source = os.path.join(self.source, source)
        self.run_command(CXX, *shlex.split(CXXFLAGS), f"-std={standard}", "-o", program, source, *flags)
        return program

    def build_through_find_package(self, program, *choices):
        """The example's program, its path."""
        choices = [f"-DCMAKE_PREFIX_PATH={self.prefix}", f"-DCMAKE_CXX_COMPILER={CXX}", *choices]
        self.run_command(CMAKE, "-G", "Ninja", "-S", self.source, "-B", self.build, *choices)
        self.run_command(CMAKE, "--build", self.build)
        return os.path.join(self.build, program)

    def expect_same_version_everywhere(self):
        version = self.ask_pkg_config("--modversion")
        name = self.library.replace("-", "_")
        with open(self.find(f"{name}-config-version.cmake"), encoding="utf-8") as config:
            self.assertIn(f'set(PACKAGE_VERSION "{version}")', config.read())
