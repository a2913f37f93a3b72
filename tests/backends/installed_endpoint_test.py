"""The library for backend programs as installed: found by pkg-config and by CMake, built against, and run.

Usage: installed_endpoint_test.py [CLASS.METHOD ...]
"""

import os
import sys
import unittest

from installed_library import InstalledLibrary

BIN = os.environ["VRDX_BIN"]


class InstalledEndpoint(InstalledLibrary):
    example = "backend_cpp"
    library = "vrdx-endpoint"

    def expect_good_backend(self, program):
        item_path = os.path.join(self.source, "item")
        with open(item_path, "w", encoding="utf-8") as item:
            item.write("driver=route_example_cpp\n")
        self.run_command(os.path.join(BIN, "vrdx_backend_check"), program, "--file", item_path)

    def test_headers_and_examples_are_where_authors_look(self):
        for name in ("message.h", "endpoint.h"):
            self.assertTrue(os.path.exists(os.path.join(self.prefix, "include", "vrdx", name)))
        for name in ("vrdx_route_example_cpp.cpp", "vrdx_route_example_python.py"):
            self.assertIn(os.path.join("share", "doc"), self.find(name))
        self.assertTrue(os.access(self.find("vrdx_route_example_python.py"), os.X_OK))

    def test_example_builds_through_pkg_config(self):
        self.expect_good_backend(self.build_through_pkg_config("vrdx_route_example_cpp.cpp", "c++17"))

    def test_example_builds_through_find_package(self):
        self.expect_good_backend(self.build_through_find_package("vrdx_route_example_cpp"))

    def test_version_is_the_same_everywhere(self):
        self.expect_same_version_everywhere()


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
