"""All crosspoints kept in a file, and brought back.

Usage: routectl_snapshot_end_to_end_test.py PATH-OF-VRDX_ROUTEDRIVER PATH-OF-VRDX_ROUTECTL [CLASS[.METHOD] ...]
"""

import json
import os

from routectl_fixture import DONE, REFUSED, WRONG_USE, RoutectlTest, main, simulated, wait_until


class RoutectlSnapshots(RoutectlTest):
    def snapshot(self):
        return self.driver.file("snapshot")

    def write_snapshot(self, text):
        with open(self.snapshot(), "w", encoding="utf-8") as file:
            file.write(text)

    def expect_unusable(self, code, reason):
        result = self.routectl("restore", self.snapshot())
        self.assertEqual((result.returncode, result.stdout), (code, ""))
        self.assertIn(reason, result.stderr)
        self.assertNotIn("take.0000", self.driver.trace())

    def restart_with(self, item_text):
        self.driver.stop()
        self.driver.write_item(item_text)
        self.driver.start()

    def test_saved_crosspoints_come_back(self):
        self.wait_for_router()
        self.routectl("route", "1=5", "2=6,7", "3=0")
        self.expect(self.routectl("save", self.snapshot()), DONE, f"4 outputs saved to {self.snapshot()}\n")
        self.routectl("route", "1=1", "2=1", "3=1", "4=1")
        flushes = self.driver.trace().count("*COMMAND=route outputs")
        self.expect(self.routectl("restore", self.snapshot()), DONE, "4 outputs restored\n")
        self.assertEqual([self.output(i) for i in range(1, 5)], [(5, 5), (6, 7), (0, 0), (4, 4)])
        self.assertEqual(self.driver.trace().count("*COMMAND=route outputs"), flushes + 1)

    def test_outputs_that_do_not_follow_are_named(self):
        self.wait_for_router()
        self.routectl("save", self.snapshot())
        self.routectl("route", "2=8", "3=8")
        self.routectl("set", "simulated refuse outputs=3")
        self.driver.wait_for_trace("setting simulated refuse outputs = 3")
        result = self.routectl("restore", self.snapshot())
        self.assertEqual((result.returncode, result.stdout), (REFUSED, ""))
        self.assertRegex(result.stderr, r'\Avrdx_routectl: output 3 "Output 3": refused by the router: [^\n]*\n\Z')
        self.assertEqual(self.output(2), (2, 2))

    def test_snapshot_of_a_larger_router_is_refused(self):
        self.wait_for_router()
        self.routectl("save", self.snapshot())
        for inputs, outputs in ((8, 3), (7, 4)):
            self.restart_with(simulated(inputs, outputs))
            self.wait_for_output(3, 3, 3)
            self.expect_unusable(REFUSED, "the snapshot is from a larger router: 8x4")

    def test_truncated_snapshot_is_refused(self):
        self.wait_for_router()
        self.routectl("save", self.snapshot())
        with open(self.snapshot(), encoding="utf-8") as file:
            whole = file.read().rstrip()
        for length in range(0, len(whole), 7):
            with self.subTest(length):
                self.write_snapshot(whole[:length])
                self.expect_unusable(REFUSED, f"cannot use {self.snapshot()}: ")

    def test_foreign_file_is_refused(self):
        self.wait_for_router()
        others = ("", "[]", '{"format": "other"}', "driver=route_simulator\n", '{"outputs": [1]}', "\0\1")
        for text in others:
            with self.subTest(text):
                self.write_snapshot(text)
                self.expect_unusable(REFUSED, f"cannot use {self.snapshot()}: ")
        self.assertEqual(self.routectl("restore", self.driver.file("missing")).returncode, REFUSED)

    def test_dry_run_and_chosen_outputs(self):
        self.wait_for_router()
        self.routectl("save", self.snapshot())
        self.routectl("route", "1-3=8")
        told = 'output 1 "Output 1": 8 "Input 8" -> 1 "Input 1"\noutput 4 "Output 4": stays 4 "Input 4"\n'
        self.expect(self.routectl("restore", self.snapshot(), "--dry-run", "--outputs", "1,4"), DONE, told)
        self.assertEqual(self.output(1), (8, 8))
        self.expect(self.routectl("restore", self.snapshot(), "--outputs", "1,4"), DONE, "2 outputs restored\n")
        self.assertEqual([self.output(i) for i in (1, 2, 4)], [(1, 1), (8, 8), (4, 4)])
        self.assertEqual(self.routectl("restore", self.snapshot(), "--outputs", "5").returncode, WRONG_USE)

    def test_names_are_saved_and_come_back_when_asked_for(self):
        self.wait_for_router()
        self.routectl("router-set", "output.2.name=Studio A", "input.3.name=Cam 3")
        wait_until("renamed", lambda: "Cam 3" in self.routectl("status").stdout)
        self.assertEqual(self.routectl("save", "--names", self.snapshot()).returncode, DONE)
        self.routectl("router-set", "output.2.name=x", "input.3.name=y")
        wait_until("renamed", lambda: "y" in self.routectl("names", "inputs").stdout)
        self.expect(self.routectl("restore", "--names", self.snapshot()), DONE, "4 outputs restored\n")
        status = self.json_of("status")
        self.assertEqual((status["outputs"][1]["name"], status["inputs"][2]["name"]), ("Studio A", "Cam 3"))
        self.routectl("save", self.snapshot())
        result = self.routectl("restore", "--names", self.snapshot())
        self.expect(result, REFUSED, "", f"vrdx_routectl: cannot use {self.snapshot()}: it holds no names\n")

    def test_unconfirmed_take_is_waited_for_and_not_saved(self):
        self.wait_for_router()
        self.routectl("set", "simulated refuse outputs=3")
        self.driver.wait_for_trace("setting simulated refuse outputs = 3")
        self.routectl("route", "--no-wait", "3=8")
        result = self.routectl("save", "-")
        self.assertEqual((result.returncode, result.stderr), (DONE, ""))
        self.assertEqual(json.loads(result.stdout)["crosspoints"][2], {"output": 3, "audio": 3, "video": 3})

    def test_file_keeps_its_mode_and_a_link_is_followed(self):
        self.wait_for_router()
        with open(self.driver.file("real"), "w", encoding="utf-8"):
            pass
        os.chmod(self.driver.file("real"), 0o640)
        os.symlink("real", self.snapshot())
        self.assertEqual(self.routectl("save", self.snapshot()).returncode, DONE)
        self.assertTrue(os.path.islink(self.snapshot()))
        self.assertEqual(os.stat(self.driver.file("real")).st_mode & 0o7777, 0o640)
        self.assertEqual(self.routectl("restore", self.snapshot()).returncode, DONE)


if __name__ == "__main__":
    main()
