"""The judge of the model, with made-up ledgers: each thing that must not be is found, and nothing else."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from judge import SECOND, Done, Fault, Judge, Lock, Take, handed_on_violations, history_violations, picture_violations  # noqa: E402


def take(said="confirmed", **further):
    known = {"router": "a:r1", "output": 1, "input": 2, "asker": "b", "asked": 10 * SECOND, "within": SECOND, "answered": 11 * SECOND, "answers": 1}
    return Take(said=said, **{**known, **further})


def done(at=10.5, **further):
    return Done(**{"router": "a:r1", "output": 1, "input": 2, "at": int(at * SECOND), **further})


def stopped(what, name, begin=9, end=20):
    return Fault("stopped", what, name, begin * SECOND, end * SECOND)


class WhatMustNotBe(unittest.TestCase):
    def expect(self, words, takes, lines, *further, **named):
        found = Judge(takes, lines, *further, **named).violations()
        self.assertEqual(len(found), 1, found)
        self.assertIn(words, found[0])

    def test_take_that_nobody_asked_for(self):
        self.expect("nobody asked", [], [done()])

    def test_take_that_was_done_twice(self):
        self.expect("done 2 times", [take()], [done(), done(10.6)])

    def test_take_without_an_answer(self):
        self.expect("has no answer", [take(None, answers=0)], [])

    def test_take_with_two_answers(self):
        self.expect("answered 2 times", [take(answers=2)], [done()])

    def test_answer_that_is_none(self):
        self.expect("no answer", [take("perhaps")], [])

    def test_take_after_each_answer_that_said_no(self):
        for word in ("refused", "withdrawn", "locked", "unavailable", "replaced unsent", "not sent"):
            with self.subTest(word):
                self.expect(f"answered '{word}'", [take(word)], [done()])

    def test_confirmed_take_that_was_never_done(self):
        self.expect("never done", [take()], [])

    def test_confirmed_take_that_was_done_later(self):
        self.expect("before it was done", [take()], [done(11.5)])

    def test_take_beyond_the_rights(self):
        self.expect("without the right", [take("unknown", allowed=False)], [done()])

    def test_take_on_a_locked_output(self):
        lock = Lock("a:r1", 1, 9 * SECOND, 12 * SECOND)
        self.expect("was locked", [take("unknown")], [done()], (), [lock])

    def test_take_before_it_was_asked_for(self):
        self.expect("before it was asked", [take("unknown")], [done(9)])

    def test_take_that_was_void_from_the_beginning(self):
        self.expect("from the beginning", [take("unknown", void=True)], [done()])


class WhatAnOwnerThatIgnoresTheBeatDoes(unittest.TestCase):
    """The takes that lay meanwhile are done when it, or the broker, or the link goes on."""

    def expect_found(self, *faults):
        found = Judge([take("unknown")], [done(20.1)], faults).violations()
        self.assertEqual(len(found), 1, found)
        self.assertIn("10.100 s after it was asked for", found[0])

    def test_owner_stood_still(self):
        self.expect_found(stopped("gateway", "a"))

    def test_broker_stood_still(self):
        self.expect_found(stopped("broker", "b0"))

    def test_link_was_cut(self):
        self.expect_found(Fault("cut", "link", "a", 9 * SECOND, 20 * SECOND))

    def test_asking_gateway_stood_still_after_it_had_read_the_request(self):
        self.expect_found(stopped("gateway", "b", begin=10))

    def test_driver_stood_still(self):
        self.expect_found(stopped("driver", "a:r1"))

    def test_backend_stood_still(self):
        self.expect_found(stopped("backend", "a:r1"))

    def test_another_router_stood_still(self):
        self.expect_found(stopped("driver", "a:r2"))

    def test_without_any_fault(self):
        self.expect_found()


class WhatMayBe(unittest.TestCase):
    def expect_nothing(self, takes, lines, *further):
        self.assertEqual(Judge(takes, lines, *further).violations(), [])

    def test_each_answer_with_what_fits_it(self):
        self.expect_nothing([take()], [done()])
        for word in ("unknown", "replaced sent", "shows"):
            self.expect_nothing([take(word)], [done()])
            self.expect_nothing([take(word)], [])
        for word in ("refused", "withdrawn", "locked", "unavailable", "replaced unsent", "not sent"):
            self.expect_nothing([take(word)], [])

    def test_killed_gateway_owes_no_answer(self):
        killed = Fault("killed", "gateway", "b", int(10.2 * SECOND), 12 * SECOND)
        self.expect_nothing([take(None, answers=0)], [done()], [killed])

    def test_request_that_lay_before_a_stopped_gateway_is_asked_when_it_goes_on(self):
        self.expect_nothing([take(answered=21 * SECOND)], [done(20.1)], [stopped("gateway", "b")])

    def test_take_before_and_after_a_lock(self):
        lock = Lock("a:r1", 1, 11 * SECOND, 12 * SECOND)
        self.expect_nothing([take("unknown")], [done(11.2)], (), [lock])
        lock = Lock("a:r1", 1, 8 * SECOND, int(10.2 * SECOND))
        self.expect_nothing([take("unknown")], [done()], (), [lock])


class JudgedHistories(unittest.TestCase):
    def test_take_that_is_missing(self):
        self.assertEqual(len(history_violations([], [take()], False, "a:r1")), 1)
        self.assertEqual(history_violations([], [take()], True, "a:r1"), [])
        self.assertEqual(history_violations([(1, 2, "confirmed", ("e", 1))], [take()], False, "a:r1"), [])

    def test_take_that_is_there_twice(self):
        twice = [(1, 2, "confirmed", ("e", 1)), (1, 2, "confirmed", ("e", 2))]
        self.assertEqual(len(history_violations(twice, [take()], True, "a:r1")), 1)

    def test_record_that_is_there_twice(self):
        twice = [(1, 2, "confirmed", ("e", 1)), (1, 3, "confirmed", ("e", 1))]
        self.assertEqual(len(history_violations(twice, [take()], True, "a:r1")), 1)


class HistoriesThatWereHandedOn(unittest.TestCase):
    own = [(1, 2, "confirmed", ("e", 1)), (1, 3, "confirmed", ("e", 2))]

    def test_whole_one(self):
        self.assertEqual(handed_on_violations(self.own, self.own, "a:r1 at b"), [])

    def test_missing_one_is_found(self):
        self.assertEqual(len(handed_on_violations(self.own, self.own[:1], "a:r1 at b")), 1)

    def test_one_that_came_twice(self):
        self.assertTrue(handed_on_violations(self.own, self.own + self.own[:1], "a:r1 at b"))

    def test_one_that_the_owner_never_had(self):
        self.assertEqual(len(handed_on_violations(self.own[:1], self.own, "a:r1 at b")), 1)


class JudgedPictures(unittest.TestCase):
    def test_picture_that_is_not_the_routers(self):
        lines = [done(), done(11, input=3)]
        self.assertEqual(picture_violations([3, 0], lines, "b"), [])
        self.assertEqual(len(picture_violations([2, 0], lines, "b")), 1)
        self.assertEqual(len(picture_violations([3, 1], lines, "b")), 1)


if __name__ == "__main__":
    unittest.main()
