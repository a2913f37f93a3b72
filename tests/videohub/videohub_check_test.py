"""vrdx_backend_check on vrdx_route_videohub, with routers of several kinds below it.

Usage: videohub_check_test.py [CLASS.METHOD ...]
"""

import os
import subprocess
import tempfile

from videohub_fixture import VideohubTest, item_text, main, program


class VideohubBackendCheck(VideohubTest):
    def check(self, emulator, notes=("output 1 keeps a source",)):
        with tempfile.TemporaryDirectory(prefix="vrdx_test.") as directory:
            item = os.path.join(directory, "item")
            with open(item, "w", encoding="utf-8") as file:
                file.write(item_text(emulator.port))
            result = subprocess.run(
                [program("vrdx_backend_check"), program("vrdx_route_videohub"), "--file", item],
                capture_output=True,
                text=True,
                check=False,
                timeout=200,
            )
        lines = result.stdout.splitlines()
        self.assertEqual([line for line in lines if line.startswith("FAIL")], [])
        shown = [line[6:] for line in lines if line.startswith("note") and "reaches its router" not in line]
        self.assertEqual(shown, list(notes))
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)
        return result.stdout

    def test_small_router(self):
        self.assertIn("8 inputs, 6 outputs\n", self.check(self.emulate(8, 6)))

    def test_largest_router(self):
        self.assertIn("288 inputs, 288 outputs\n", self.check(self.emulate(288, 288)))

    def test_router_of_unequal_sizes_whose_locks_come_first(self):
        emulator = self.emulate(140, 32, listening=False)
        emulator.locks_first, emulator.version = True, "2.8"
        self.check(emulator.listen())

    def test_old_router(self):
        emulator = self.emulate(40, 40, listening=False)
        emulator.end_prelude, emulator.version = False, "2.2"
        self.check(emulator.listen())

    def test_locked_output_is_noted(self):
        emulator = self.emulate(8, 6)
        emulator.take_at_panel(0, 5)
        emulator.lock_output(0)
        notes = ("output 1: reported with another source than asked for", "output 2 keeps a source")
        self.check(emulator, notes)


if __name__ == "__main__":
    main()
