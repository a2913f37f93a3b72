"""What the examples promise to those who copy them. Usage: example_sources_test.py [CLASS.METHOD ...]"""

import os
import sys
import unittest

EXAMPLES = os.environ["VRDX_EXAMPLES"]


class ExampleSources(unittest.TestCase):
    def lines(self, *path):
        with open(os.path.join(EXAMPLES, *path), encoding="utf-8") as source:
            return source.read().splitlines()

    def test_cpp_stays_under_80_lines(self):
        self.assertLess(len(self.lines("backend_cpp", "vrdx_route_example_cpp.cpp")), 80)

    def test_python_stays_under_60_lines(self):
        self.assertLess(len(self.lines("backend_python", "vrdx_route_example_python.py")), 60)

    def test_python_needs_the_standard_library_only(self):
        source = self.lines("backend_python", "vrdx_route_example_python.py")
        modules = {line.split()[1] for line in source if line.startswith(("import ", "from "))}
        self.assertLessEqual(modules, set(sys.stdlib_module_names))


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
