"""Killed, stopped and cut-off gateways and brokers: nothing is taken late, nothing old is shown as new."""

import contextlib
import http.client
import json
import signal
import threading

import sites_fixture
from broker_client import BrokerClient, alive_message, page_message
from sites_fixture import simulated, stop_running, wait_until


class Faults(sites_fixture.SitesTest):
    north_items = {"studio": simulated()}

    def expect_refused_at_once(self):
        said = self.control.taken("north:studio", 1, 8)
        self.assertEqual(said["result"], "unavailable", said)
        self.assertTrue(said["reason"], said)

    def expect_untouched(self, output):
        """After a take that came later went through, whatever was sent before has been looked at."""
        self.control.wait_for_state("north:studio", "up")
        self.control.take_until_confirmed("north:studio", 8, 4)
        self.assertEqual(self.north.sources(output, "studio"), {"video": output, "audio": output})
        self.assertEqual(self.control.sources(output, "north:studio"), {"video": output, "audio": output})

    def listen_to_answers(self):
        spy = BrokerClient(self.broker)
        self.addCleanup(spy.close)
        spy.listen("vi.control.>")
        return spy

    def test_killed_owner_is_stale_and_read_again_when_it_is_back(self):
        self.north.kill_gateway()
        self.control.wait_for_state("north:studio", "stale")
        self.assertRegex(self.control.row("north:studio")["reason"], r"not been heard since 20\d\d-")
        self.assertEqual(self.control.sources(1, "north:studio"), {"video": 1, "audio": 1})
        self.expect_refused_at_once()
        self.north.start_gateway()
        self.north.wait_for_up("studio")
        self.assertEqual(self.north.taken("studio", 2, 7)["result"], "confirmed")
        self.control.wait_for_state("north:studio", "up")
        self.expect_sources(self.control, "north:studio", 2, 7)
        self.expect_untouched(1)

    def test_take_that_a_stopped_owner_finds_late_does_nothing(self):
        spy = self.listen_to_answers()
        stop_running(self.north.gateway)
        said = self.control.take([{"output": 1, "input": 8}], "north:studio", within=1000).json["results"][0]
        self.assertEqual(said["result"], "unknown", said)
        self.control.wait_for_state("north:studio", "stale")
        self.expect_refused_at_once()
        self.north.gateway.send_signal(signal.SIGCONT)
        told = spy.hear_until(lambda subject, message: "ended" in message)
        self.assertEqual(told["ended"], "refused")
        self.assertIn("too late", told["reason"])
        self.expect_untouched(1)

    def test_take_that_a_stopped_driver_finds_late_does_nothing(self):
        self.control.take_until_confirmed("north:studio", 2, 3)  # the owner's connection to the driver is there
        self.assertEqual(self.north.taken("studio", 2, 4)["result"], "confirmed")
        stop_running(self.north.drivers["studio"].process)

        def unknown():  # a beat that is too old is refused, and asked anew
            said = self.control.take([{"output": 1, "input": 8}], "north:studio", within=1000).json["results"][0]
            self.assertIn(said["result"], ("unknown", "refused"), said)
            return said["result"] == "unknown"

        wait_until("nobody knows", unknown)
        said = self.north.take([{"output": 1, "input": 7}], within=500).json["results"][0]
        self.assertEqual(said["result"], "unknown", said)
        self.north.drivers["studio"].send_signal(signal.SIGCONT)

        def late():
            rows = self.north.get("/api/v1/history?router=studio").json["history"]
            return sorted((row["by"], row["after"]["all"]) for row in rows if row["reason"] == "too late")

        wait_until("the driver has read them", lambda: late() == [("boss", 7), ("control:boss", 8)])
        self.control.take_until_confirmed("north:studio", 2, 6)
        self.expect_untouched(1)

    def test_take_that_a_stopped_broker_hands_on_late_does_nothing(self):
        stop_running(self.broker.process)
        said = self.control.take([{"output": 1, "input": 8}], "north:studio", within=100).json["results"][0]
        self.assertIn(said["result"], ("unknown", "unavailable"), said)
        self.control.wait_for_state("north:studio", "stale")
        self.expect_refused_at_once()
        self.assertEqual(self.north.taken("studio", 2, 6)["result"], "confirmed")  # without the broker
        self.broker.process.send_signal(signal.SIGCONT)
        self.expect_sources(self.control, "north:studio", 2, 6)
        self.expect_untouched(1)

    def test_local_routers_go_on_without_a_broker(self):
        self.broker.kill()
        self.control.wait_for_state("north:studio", "stale")
        self.expect_refused_at_once()
        self.assertEqual(self.north.row("studio")["state"], "up")
        self.assertEqual(self.north.taken("studio", 3, 5)["result"], "confirmed")
        self.broker.start()  # it knows nothing of before
        self.expect_sources(self.control, "north:studio", 3, 5)
        self.expect_untouched(1)

    def test_stopped_control_room_hears_all_when_it_goes_on(self):
        stop_running(self.control.gateway)
        for source in (2, 3, 4):
            self.assertEqual(self.north.taken("studio", 5, source)["result"], "confirmed")
        self.control.gateway.send_signal(signal.SIGCONT)
        self.expect_sources(self.control, "north:studio", 5, 4)
        self.expect_untouched(1)

    def test_gateway_starts_and_serves_without_its_broker(self):
        self.broker.kill()
        east = self.add_site("east", ["north"], {"east": simulated()})
        east.wait_for_state("east", "up")
        self.assertEqual(east.taken("east", 1, 2)["result"], "confirmed")
        wait_until("it is told", lambda: "cannot connect to the broker" in east.errors())
        self.broker.start()
        east.wait_for_state("north:studio", "up")


class OtherVersions(sites_fixture.SitesTest):
    """A site that a test plays."""

    outputs = 2
    north_peers = ("control", "played")

    def setUp(self):
        super().setUp()
        self.played = BrokerClient(self.broker)
        self.addCleanup(self.played.close)
        self.watching = self.add_site("watching", ["north", "played"])

    def play(self, version=1, routers=(("desk", "up", 1),), **further):
        self.played.say("vr.played.alive", {**alive_message(routers=routers, version=version), **further})

    def play_until(self, what, condition, **further):
        def happens():
            self.play(**further)
            return condition()

        wait_until(what, happens)

    def answer_pages(self):
        """Answers each request for a page, in a thread of its own, until the connection is closed."""
        try:
            while True:
                _, reply, _ = self.pages.hear()
                self.pages.say(reply, page_message(outputs=self.outputs, newer_member=[1]))
        except (AssertionError, OSError, ValueError):
            pass

    def show(self):
        self.pages = BrokerClient(self.broker)
        self.pages.listen("vr.played.desk.get")
        self.addCleanup(self.pages.close)
        answering = threading.Thread(target=self.answer_pages)
        answering.start()
        self.addCleanup(answering.join)
        self.addCleanup(self.pages.shut)
        self.play_until("it is shown", lambda: self.watching.is_in_state("played:desk", "up"), newer_member={"is": "skipped"})

    def test_unknown_version_is_told_and_makes_stale(self):
        self.show()
        self.play_until("it is stale", lambda: self.watching.is_in_state("played:desk", "stale"), version=2)
        self.assertIn("version 2", self.watching.row("played:desk")["reason"])
        self.assertIn("speaks version 2", self.watching.errors())
        self.assertEqual(self.watching.taken("played:desk", 1, 1)["result"], "unavailable")

    def test_known_version_after_an_unknown_one_is_read_again(self):
        self.show()
        self.play_until("it is stale", lambda: self.watching.is_in_state("played:desk", "stale"), version=2)
        self.outputs = 3
        self.play_until("it is shown", lambda: self.watching.is_in_state("played:desk", "up"))
        self.assertEqual(len(self.watching.picture("played:desk")["outputs"]), 3)

    def test_take_without_an_answer_at_the_gateways_end_is_in_its_history(self):
        self.show()
        asked = threading.Event()
        owner = BrokerClient(self.broker)
        owner.listen("vr.played.desk.take.watching")

        def hear_take():
            with contextlib.suppress(AssertionError, OSError, ValueError):
                owner.hear()
                asked.set()

        def ask():
            with contextlib.suppress(OSError, http.client.HTTPException):
                self.watching.take([{"output": 1, "input": 2}], "played:desk", within=60000)

        threads = [threading.Thread(target=each) for each in (hear_take, ask)]
        for thread in threads:
            thread.start()
        try:
            self.play_until("it is asked", asked.is_set)
            self.assertEqual(self.watching.stop_gateway(), 0)
        finally:
            owner.shut()
            for thread in threads:
                thread.join()
            owner.close()
        self.watching.start_gateway()
        rows = self.watching.get("/api/v1/history?router=played:desk").json["history"]
        self.assertEqual([(row["output"], row["result"], row["reason"]) for row in rows if row["kind"] == "take"], [(1, "unknown", "the way to site played broke")])

    def test_take_of_an_unknown_version_or_an_old_beat_is_refused(self):
        self.played.listen("vr.north.alive")
        self.played.listen("vi.played.>")
        subject = "vr.north.studio.take.played"
        alive = self.played.hear_until(lambda at, message: "beat" in message)
        take = {"v": 1, "run": alive["run"], "beat": alive["beat"], "by": "x", "within": 1000, "takes": [[1, 8, 8]]}
        wrong = [
            ({**take, "v": 2}, "version"),
            ({**take, "beat": alive["beat"] - 2000}, "too late"),
            ({**take, "beat": alive["beat"] + 1000000}, "beat"),
            ({**take, "takes": []}, ""),
            ({**take, "takes": [[1, 8, 8], [1, 7, 7]]}, ""),
            (b"{", "read"),
            (b"[1", "read"),
            ({"v": 1, "run": 5}, "read"),
        ]
        for number, (message, reason) in enumerate(wrong):
            self.played.say(subject, message, f"vi.played.x.{number}")
            said = self.played.hear_until(lambda at, told, wanted=f"vi.played.x.{number}": at == wanted)
            self.assertEqual(said["ended"], "refused", message)
            self.assertIn(reason, said["reason"])
        self.assertEqual(self.north.sources(1, "studio"), {"video": 1, "audio": 1})

    def test_take_of_an_earlier_run_is_unknown_because_that_one_may_have_done_it(self):
        self.played.listen("vr.north.alive")
        self.played.listen("vi.played.>")
        alive = self.played.hear_until(lambda at, message: "beat" in message)
        take = {"v": 1, "run": "0123456789abcdef", "beat": alive["beat"], "by": "x", "within": 1000, "takes": [[1, 8, 8]]}
        self.played.say("vr.north.studio.take.played", take, "vi.played.x.1")
        said = self.played.hear_until(lambda at, told: "ended" in told)
        self.assertEqual(said["ended"], "unknown", said)
        self.assertIn("earlier run", said["reason"])
        name = {"v": 1, "run": "0123456789abcdef", "beat": alive["beat"], "output": True, "number": 1, "name": "x"}
        self.played.say("vr.north.studio.name.played", name, "vi.played.x.2")
        self.assertEqual(self.played.hear_until(lambda at, told: "ended" in told)["ended"], "unknown")
        self.assertEqual(self.north.sources(1, "studio"), {"video": 1, "audio": 1})

    def test_nobody_is_answered_elsewhere_than_in_an_inbox_of_his(self):
        for subject in ("vr.north.alive", "vr.north.history", "vi.control.x.1", "vi.played.>"):
            self.played.listen(subject)

        def taken():
            alive = self.played.hear_until(lambda at, message: "beat" in message)
            take = {"v": 1, "run": alive["run"], "beat": alive["beat"], "by": "x", "within": 1000, "takes": [[1, 8, 8]]}
            for elsewhere in ("vr.north.history", "vi.control.x.1"):
                self.played.say("vr.north.studio.take.played", take, elsewhere)
            self.played.say("vr.north.studio.get", {"v": 1, "begin": 0}, "vr.north.history")
            self.played.say("vr.north.studio.take.played", {**take, "takes": [[2, 7, 7]]}, "vi.played.x.1")
            self.played.say("vr.north.studio.get", {"v": 1, "begin": 0}, "vi.played.x.2")
            answers = {}
            while len(answers) < 2:
                subject, _, data = self.played.hear()
                if subject != "vr.north.alive":
                    answers[subject] = json.loads(data)
            self.assertEqual(set(answers), {"vi.played.x.1", "vi.played.x.2"})
            return answers["vi.played.x.1"].get("outputs", [{}])[0].get("result") == "confirmed"

        wait_until("it is taken", taken)
        self.assertEqual(self.north.sources(1, "studio"), {"video": 1, "audio": 1})

    def test_take_that_comes_twice_is_done_once(self):
        self.played.listen("vr.north.alive")
        self.played.listen("vi.played.>")

        def taken():
            alive = self.played.hear_until(lambda at, message: "beat" in message)
            take = {"v": 1, "run": alive["run"], "beat": alive["beat"], "by": "x", "within": 1000, "takes": [[1, 8, 8]]}
            reply = f"vi.played.twice.{alive['beat']}"
            self.played.say("vr.north.studio.take.played", take, reply)
            self.played.say("vr.north.studio.take.played", take, reply)
            self.played.say("vr.north.studio.take.played", {**take, "takes": [[2, 7, 7]]}, "vi.played.third")
            return self.played.hear_until(lambda at, told: "ended" in told).get("outputs", [{}])[0].get("result") == "confirmed"

        wait_until("it is taken", taken)
        said = self.played.hear_until(lambda at, told: "ended" in told)
        self.assertEqual(said.get("outputs", [{}])[0].get("output"), 2, said)


class FloodingPeers(sites_fixture.SitesTest):
    north_peers = ("control", "watching")

    def test_peer_that_floods_costs_the_others_nothing(self):
        control = self.add_site("watching", ["north", "played"])
        played = BrokerClient(self.broker)
        self.addCleanup(played.close)
        control.wait_for_state("north:studio", "up")

        def listed():
            played.say("vr.played.alive", alive_message(routers=[("desk", "up", 1)]))
            return control.row("played:desk")

        wait_until("the router is listed", listed)
        change = {**page_message(), "from": 1, "to": 2}
        over = threading.Event()

        def flood():
            while not over.is_set():
                for _ in range(500):
                    played.say("vr.played.desk.evt", change)
                    played.say("vr.played.alive", b"x" * 1000)

        flooding = threading.Thread(target=flood)
        flooding.start()
        try:
            control.take_until_confirmed("north:studio", 1, 6)
            self.expect_sources(control, "north:studio", 1, 6)
            self.assertEqual(self.north.taken("studio", 2, 6)["result"], "confirmed")
        finally:
            over.set()
            flooding.join()


if __name__ == "__main__":
    sites_fixture.main()
