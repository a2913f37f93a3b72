"""Takes and reports of changes, from the backend program to an emulated router and back.

Usage: sierra_takes_test.py [CLASS.METHOD ...]
"""

import sys
import unittest

from running_driver import wait_until
from sierra_backend import SierraTest


class SierraBackendTakes(SierraTest):
    def test_panel_and_a_second_controller_are_followed(self):
        router = self.router()
        backend = self.ready_backend(router)
        other = self.ready_backend(router)
        router.take_at_panel(3, 1, 7)
        backend.wait_for_fields(o2_input_video="6", o2_input_audio="2")
        other.take((4, 1))
        backend.wait_for_fields(o4_input_video="1", o4_input_audio="1")
        other.wait_for_fields(o4_input_video="1", o4_input_audio="1")
        self.assertEqual(set(router.takes()), {"X5,2,0"})

    def test_two_controllers_at_once_end_with_one_picture(self):
        router = self.router()
        backends = [self.ready_backend(router), self.ready_backend(router)]
        for source in range(8):
            for number, backend in enumerate(backends):
                backend.take((0, (source + number) % 8), (1 + number, source))
            for output in (2, 3):
                wait_until("it is taken", lambda: router.shows(output)[0] == source + 1)
        for backend in backends:
            wait_until(
                "the picture is the router's",
                lambda backend=backend: all(
                    backend.fields.get(f"o{output}.input.{group}") == str(router.shows(output + 1)[level] - 1)
                    for output in range(3)
                    for level, group in enumerate(("video", "audio"))
                ),
            )

    def test_error_to_every_second_take_stays_with_its_output(self):
        router = self.router(refuse_every_second_take=True)
        backend = self.ready_backend(router)
        backend.take((0, 3), (1, 3), (2, 3), (3, 3))
        backend.wait_for_log("refused: text:busy")
        backend.wait_for_fields(o0_input_video="3")

        def is_settled():
            return all(
                backend.fields.get(f"o{output}.input.video") == str(router.shows(output + 1)[0] - 1)
                for output in range(4)
            )

        wait_until("what the router shows is reported", is_settled)

    def test_router_that_says_ok_and_does_not_switch_confirms_nothing(self):
        router = self.router(stuck={3})
        backend = self.ready_backend(router)
        backend.take((2, 5))
        backend.wait_for_log("<WARN>the router shows another source than was taken to output 3")
        self.assertFalse(any(fields.get("o2.input.video") == "5" for _, fields in backend.reports))

    def test_bare_ok_is_followed_by_a_question(self):
        router = self.router(quiet_reports=True)
        backend = self.ready_backend(router)
        backend.take((2, 5))
        backend.wait_for_fields(o2_input_video="5", o2_input_audio="5")
        self.assertIn("O3", router.received)

    def test_swallowed_take_is_repeated_once(self):
        router = self.router(strings_to_swallow=1)
        backend = self.ready_backend(router)
        backend.take((2, 5))
        backend.wait_for_fields(o2_input_video="5")
        wait_until("answers are in order again", lambda: router.received[-1] == "L")
        self.assertEqual(router.takes(), ["X3,6,0"] * 2)

    def test_take_that_is_swallowed_twice_is_given_up(self):
        router = self.router(strings_to_swallow=2)
        backend = self.ready_backend(router)
        backend.take((2, 5))
        backend.wait_for_log("<WARN>the router does not answer to the take to output 3")
        backend.take((2, 6))
        backend.wait_for_fields(o2_input_video="6")
        self.assertEqual(router.takes()[:3], ["X3,6,0"] * 2 + ["X3,7,0"])

    def test_lost_answer_does_not_shift_the_later_ones(self):
        router = self.router(answers_to_lose=1)
        backend = self.ready_backend(router)
        backend.take((2, 5))
        backend.wait_for_fields(o2_input_video="5")
        router.locked = {4}
        backend.take((3, 5))
        backend.wait_for_log("<WARN>take to output 4 refused: text:output is locked")
        backend.take((4, 5))
        backend.wait_for_fields(o4_input_video="5", o3_input_video="3")
        self.assertFalse(any("outputs 5" in line for line in backend.log))

    def test_levels_can_be_set(self):
        router = self.router(8, 8, ["SDI", "AES1", "AES2"])
        backend = self.ready_backend(router, "video level=SDI\naudio level=2\n")
        backend.wait_for_fields(**{"output routing controls": "video,audio"})
        backend.take((0, 7, "audio"))
        backend.wait_for_fields(o0_input_audio="7")
        self.assertEqual(router.shows(1), [1, 8, 1])


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
