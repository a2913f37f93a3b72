"""The backend under the real driver, from vrdx_routectl to an emulated router and back.

Usage: sierra_driver_test.py [CLASS.METHOD ...]
"""

import json
import os
import sys
import unittest

from running_driver import RunningDriver, behind_take, routectl, wait_until
from sierra_backend import BIN, SierraTest

DONE, REFUSED = 0, 1


class SierraUnderTheDriver(SierraTest):
    def start(self, router, further=""):
        program = os.path.join(BIN, "vrdx_routedriver")
        self.driver = RunningDriver(program, self.item_text(router, further), ["--no-autoshutdown"])
        self.addCleanup(self.driver.close)
        self.wait_for_ready()
        return router

    def wait_for_ready(self, times=1):
        wait_until(
            "the state is read", lambda: self.driver.trace().count("STDERR<INFO>: 'connected to") >= times
        )

    def routectl(self, *arguments):
        return routectl(self.driver, *arguments)

    def expect_taken(self, *takes):
        """Shown in the end: on a busy machine a confirmation may miss the driver's second."""
        self.assertEqual(self.routectl("route", "--no-wait", *takes).returncode, DONE)
        for take in takes:
            output, sources = take.split("=")
            audio, video = (sources.split(",") * 2)[:2]
            self.wait_for_output(int(output), int(audio), int(video))
        self.wait_for_confirmations(takes)

    def wait_for_confirmations(self, takes):
        """Reports of what was taken: an answer to an earlier question may come in between."""
        for take in takes:
            output, sources = take.split("=")
            start = f"STDOUT: 'o{int(output) - 1}.input."
            for level, source in zip(("audio", "video"), (sources.split(",") * 2)[:2]):
                shown = "none" if source == "0" else int(source) - 1
                reports = (f"{start}{level}={shown}'", f"{start}all={shown}'")
                wait_until(
                    f"{take} is confirmed",
                    lambda: any(one in behind_take(self.driver.trace(), int(output) - 1) for one in reports),
                )

    def output(self, number):
        """Audio and video source; None while there is no such output."""
        outputs = json.loads(self.routectl("status").stdout).get("outputs", [])
        return next(((o["audio"], o["video"]) for o in outputs if o["output"] == number), None)

    def wait_for_output(self, number, audio, video):
        wait_until(f"output {number} shows {audio},{video}", lambda: self.output(number) == (audio, video))

    def test_takes_are_confirmed(self):
        router = self.start(self.router())
        self.expect_taken("3=5")
        self.assertEqual(router.shows(3), [5, 5, 5])
        self.expect_taken("1=2", "2=3", "8=0")
        self.assertEqual([router.shows(n)[0] for n in (1, 2, 8)], [2, 3, "-"])
        self.assertEqual(self.output(8), (0, 0))

    def test_breakaway_takes_are_confirmed(self):
        router = self.start(self.router())
        self.expect_taken("2=4,7")
        self.assertEqual(router.shows(2), [7, 4, 4])
        self.assertEqual(self.output(2), (4, 7))
        self.expect_taken("2=4,6", "3=1,8")
        self.assertEqual((router.shows(2), router.shows(3)), ([6, 4, 4], [8, 1, 1]))

    def test_names_of_the_item_are_shown(self):
        self.start(self.router(), "input name 5=CAM 5\noutput name 2=Studio A\n")
        status = json.loads(self.routectl("status").stdout)
        self.assertEqual(status["inputs"][4]["name"], "CAM 5")
        self.assertEqual(status["outputs"][1]["name"], "Studio A")

    def test_refused_take_falls_back_and_is_told(self):
        router = self.router(locked={3})
        self.start(router)
        result = self.routectl("route", "3=5")
        self.assertEqual(result.returncode, REFUSED, result.stdout)
        self.driver.wait_for_trace("STDERR<WARN>: 'take to output 3 refused: text:output is locked")
        self.wait_for_output(3, 3, 3)

    def test_unconfirmed_take_falls_back(self):
        self.start(self.router(stuck={3}))
        result = self.routectl("route", "3=5")
        self.assertEqual(result.returncode, REFUSED, result.stdout)
        self.wait_for_output(3, 3, 3)

    def test_panel_is_followed(self):
        router = self.start(self.router())
        router.take_at_panel(4, 1, 7)
        self.wait_for_output(4, 4, 7)

    def test_picture_is_true_again_after_a_lost_connection(self):
        router = self.start(self.router())
        self.expect_taken("1=6")
        router.stop_listening()
        router.cut_connections()
        self.driver.wait_for_trace("STDERR<WARN>: 'lost the connection to")
        self.routectl("route", "--no-wait", "2=6")  # refused, and not taken later
        self.driver.wait_for_trace("STDERR<WARN>: 'take to output 2 refused: not connected to the router")
        router.take_at_panel(1, 1, 8)
        router.listen_tcp()
        self.wait_for_ready(times=2)
        self.wait_for_output(1, 6, 8)
        self.wait_for_output(2, 2, 2)
        self.assertEqual(set(router.takes()), {"X1,6,0"})

    def test_large_salvo_arrives(self):
        router = self.start(self.router(140, 32))
        self.expect_taken(*(f"{output}=9" for output in range(1, 61)))
        self.assertTrue(all(router.shows(output) == [9] * 3 for output in range(1, 61)))

    def test_another_size_after_a_restart_is_shown(self):
        router = self.start(self.router())
        router.restart(100, 32, ["SDI"])
        self.wait_for_output(100, 4, 4)
        self.expect_taken("100=32")
        self.assertEqual(router.shows(100), [32])

    def test_ends_with_the_driver_and_logs_no_errors(self):
        self.start(self.router())
        self.assertEqual(self.driver.stop(), 0)
        self.assertNotIn("STDERR<ERR>", self.driver.trace())


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
