"""The library for client programs as installed: found by pkg-config and by CMake, built against, and run.

Usage: installed_client_test.py [CLASS.METHOD ...]
"""

import os
import subprocess
import sys
import unittest

from installed_library import CXX, CXXFLAGS, InstalledLibrary
from scripted_driver import END, ENTRY, ScriptedDriver, packet

PATIENCE = 60  # seconds; reached only when a test fails

DESCRIPTION = [("epoch", "00112233445566aa"), ("sequence", "1"), ("inputs", "4"), ("outputs", "3"),
               ("output 3", "Monitor"), ("output 3 sources", "1,unknown")]


def told(command, entries, result=0):
    return packet(command, (END,), *[(ENTRY, name, value) for name, value in entries], result=result)


class InstalledClient(InstalledLibrary):
    example = "client_cpp"
    library = "vrdx-packet-client"

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
        self.expect_taking_client(self.build_through_pkg_config("vrdx_take_example.cpp", "c++20"))

    def test_example_builds_through_find_package(self):
        program = self.build_through_find_package("vrdx_take_example", f"-DCMAKE_CXX_FLAGS={CXXFLAGS}")
        self.expect_taking_client(program)

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
        self.expect_same_version_everywhere()


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
