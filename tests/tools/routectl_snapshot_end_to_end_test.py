"""All crosspoints kept in a file, and brought back.

Usage: routectl_snapshot_end_to_end_test.py PATH-OF-VRDX_ROUTEDRIVER PATH-OF-VRDX_ROUTECTL [CLASS[.METHOD] ...]
"""

from routectl_fixture import DONE, REFUSED, WRONG_USE, RoutectlTest, main, simulated


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
        self.assertNotIn("queue=add", self.driver.trace())

    def restart_with(self, item_text):
        self.driver.stop()
        self.driver.write_item(item_text)
        self.driver.start()

    def test_saved_crosspoints_come_back(self):
        self.wait_for_router()
        self.routectl("route", "--wait", "1=5", "2=6,7", "3=0")
        self.expect(self.routectl("save", self.snapshot()), DONE, f"4 outputs saved to {self.snapshot()}\n")
        self.routectl("route", "--wait", "1=1", "2=1", "3=1", "4=1")
        flushes = self.driver.trace().count("queue=flush")
        self.expect(self.routectl("restore", self.snapshot()), DONE, "4 outputs restored\n")
        self.assertEqual([self.output(i) for i in range(1, 5)], [(5, 5), (6, 7), (0, 0), (4, 4)])
        self.assertEqual(self.driver.trace().count("queue=flush"), flushes + 1)

    def test_outputs_that_do_not_follow_are_named(self):
        self.wait_for_router()
        self.routectl("save", self.snapshot())
        self.routectl("route", "--wait", "2=8", "3=8")
        self.routectl("set", "simulated refuse outputs=3")
        result = self.routectl("restore", self.snapshot())
        self.expect(result, REFUSED, "", "vrdx_routectl: output 3 shows 8 instead of 3\n")
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
                self.expect_unusable(WRONG_USE, f"cannot use {self.snapshot()}: ")

    def test_foreign_file_is_refused(self):
        self.wait_for_router()
        others = ("", "[]", '{"format": "other"}', "driver=route_simulator\n", '{"outputs": [1]}', "\0\1")
        for text in others:
            with self.subTest(text):
                self.write_snapshot(text)
                self.expect_unusable(WRONG_USE, f"cannot use {self.snapshot()}: ")
        self.assertEqual(self.routectl("restore", self.driver.file("missing")).returncode, WRONG_USE)

    def test_all_outputs_that_a_status_shows_come_back(self):
        self.restart_with(simulated(128, 128))
        self.wait_for_output(128, 128, 128)
        self.routectl("save", self.snapshot())
        self.routectl("route", *(f"{output}=7" for output in range(1, 129)))
        self.driver.wait_for_trace("STDERR<INFO>: 'took 128 crosspoints'\n")
        self.wait_for_output(128, 7, 7)
        result = self.routectl("restore", self.snapshot())
        self.assertEqual(result.stderr, "")
        self.assertEqual((result.returncode, result.stdout), (DONE, "128 outputs restored\n"))


if __name__ == "__main__":
    main()
