"""Presets of a real gateway: kept, recalled on several routers, undone. Each answer is held against the document."""

import contextlib
import http.client
import json
import pathlib
import signal
import sqlite3
import subprocess
import threading

from api_test import DescribedTest
from gateway_fixture import GatewayTest, Programs, main, simulated, wait_until
from running_driver import PATIENCE


class PresetTest(DescribedTest):
    items = {"studio": simulated(8, 8, "simulated refuse outputs=5\n"), "archive": simulated(4, 4)}

    def setUp(self):
        super().setUp()
        for router in self.items:
            self.wait_for_up(router)
            count = len(self.picture(router)["outputs"])
            wait_until("the router has reported", lambda: self.sources(count, router) == {"video": count, "audio": count})

    def path(self, name, further=""):
        return f"/api/v1/presets/{name}{further}"

    def put(self, name, takes, **further):
        return self.ask("PUT", self.path(name), {"takes": takes}, **further)

    def written(self, name, takes):
        answer = self.put(name, takes)
        self.assertEqual(answer.status, 200, answer.body)
        return answer.json

    def recall(self, name, token="", **manner):
        return self.ask("POST", self.path(name, "/recall"), manner, token)

    def undo(self, name, token="", **manner):
        return self.ask("POST", self.path(name, "/undo"), manner, token)

    def results(self, answer):
        self.assertEqual(answer.status, 200, answer.body)
        return [(each["router"], each["output"], each["result"]) for each in answer.json["results"]]

    def wait_for_sources(self, output, video, audio=None, router="studio"):
        wanted = {"video": video, "audio": video if audio is None else audio}

        def shown():
            place = self.picture(router)["outputs"][output - 1]
            return place["sources"] == wanted and not place["pending"]

        wait_until(f"{router} {output} shows {wanted}", shown)


TWO_ROUTERS = [
    {"router": "studio", "output": 1, "input": 7},
    {"router": "archive", "output": 2, "sources": {"video": 3, "audio": "Input 4"}},
    {"router": "studio", "output": 2, "sources": {"video": 0}},
]


class Kept(PresetTest):
    def test_preset_is_told_as_it_was_written(self):
        written = self.written("Morning show", TWO_ROUTERS)
        self.assertEqual(written["takes"], TWO_ROUTERS)
        self.assertEqual(self.get(self.path("Morning%20show")).json, written)
        self.assertEqual((written["author"], written["undo"], written["outputs"]), ("boss", 0, 3))
        [row] = self.get("/api/v1/presets").json["presets"]
        self.assertEqual(row, {key: written[key] for key in ("name", "author", "changed", "routers", "outputs")})
        self.assertEqual(row["routers"], ["archive", "studio"])

    def path(self, name, further=""):
        return super().path(name.replace(" ", "%20"), further)

    def test_preset_outlives_a_killed_gateway(self):
        written = self.written("kept", TWO_ROUTERS)
        self.stop_gateway(signal.SIGKILL)
        self.start_gateway()
        self.assertEqual(self.get(self.path("kept")).json, written)

    def test_preset_is_replaced_and_removed(self):
        self.written("one", TWO_ROUTERS)
        self.written("one", TWO_ROUTERS[:1])
        self.assertEqual(self.get(self.path("one")).json["takes"], TWO_ROUTERS[:1])
        self.assertEqual(self.ask("DELETE", self.path("one")).status, 204)
        self.expect_problem(self.get(self.path("one")), 404, "/api/v1/presets")
        self.expect_problem(self.ask("DELETE", self.path("one")), 404)
        self.assertEqual(self.get("/api/v1/presets").json, {"presets": []})

    def test_impossible_presets_are_refused_with_a_sentence(self):
        good = TWO_ROUTERS[0]
        for takes, words in (
            ([], "1 to 4096"),
            ("all", "list"),
            ([good, good], "twice"),
            ([good] * 4097, "1 to 4096"),
            ([{"output": 1, "input": 2}], "router"),
            ([{**good, "router": ""}], "router"),
            ([{**good, "router": "nowhere"}], "nowhere"),
            ([{**good, "output": 0}], "output"),
            ([{**good, "output": 1025}], "output"),
            ([{**good, "input": -1}], "source"),
            ([{**good, "input": ""}], "source"),
            ([{**good, "level": "all"}], "level"),
            ([{**good, "sources": {"video": 1}}], "sources"),
            ([{"router": "studio", "output": 1}], "sources"),
            (["studio"], "members"),
        ):
            with self.subTest(takes=str(takes)[:80]):
                self.expect_problem(self.put("bad", takes), 422, words)
        self.expect_problem(self.ask("PUT", self.path("bad"), {"takes": [good], "all": True}), 422, "all")
        self.expect_problem(self.ask("PUT", self.path("bad"), []), 422, "members")
        self.assertEqual(self.get("/api/v1/presets").json, {"presets": []})

    def test_hostile_names_and_bodies_do_nothing(self):
        body = {"takes": TWO_ROUTERS[:1]}
        for name, status in (
            ("a%2Fb", 400),
            ("%2e%2e", 400),
            ("%ff%fe", 400),
            ("%00", 400),
            ("%0a", 400),
            ("a/b", 404),
            ("", 404),
            ("n" * 129, 422),
            ("%C3%A9" * 65, 422),
            ("n" * 65536, 431),
        ):
            with self.subTest(name=name[:20]):
                answer = GatewayTest.ask(self, "PUT", f"/api/v1/presets/{name}", body)
                self.expect_problem(answer, status)
        for body, status in (
            (b'{"takes": [{"router": "\xff", "output": 1, "input": 1}]}', 400),
            (b"\xff" * 65536, 400),
            (b'{"takes": [' + b"[" * 65536, 400),
            (json.dumps({"takes": [{"router": "x" * 65536, "output": 1, "input": 1}]}), 422),
            (json.dumps({"takes": [{"router": "studio\u0000", "output": 1, "input": 1}]}), 422),
            (b" " * 1048577, 413),
        ):
            with self.subTest(body=body[:20]):
                self.expect_problem(self.ask("PUT", self.path("bad"), body), status)
        self.expect_problem(self.ask("POST", self.path("bad", "/recall"), b" " * 16385), 413)
        self.assertEqual(self.get("/api/v1/presets").json, {"presets": []})

    def saw(self, method, path, answer):
        if answer.status not in (400, 404, 413, 431) or answer.status == 404 and path.count("/") == 4:
            super().saw(method, path, answer)

    def test_longest_name_is_kept(self):
        self.written("%C3%A9" * 64, TWO_ROUTERS[:1])
        self.assertEqual(self.get("/api/v1/presets").json["presets"][0]["name"], "é" * 64)

    def test_a_preset_of_the_most_takes_is_kept_and_recalled(self):
        takes = [{"router": router, "output": output, "input": 1} for router in self.items for output in range(1, 1025)]
        self.assertEqual(self.written("large", takes)["outputs"], 2048)
        results = self.results(self.recall("large"))
        self.assertEqual(len(results), 2048)
        self.assertEqual([result for _, output, result in results if output > 8], ["refused"] * 2032)


class Recalled(PresetTest):
    def test_outputs_of_all_its_routers_are_taken(self):
        self.written("show", TWO_ROUTERS)
        self.assertEqual(
            self.results(self.recall("show")),
            [("studio", 1, "confirmed"), ("archive", 2, "confirmed"), ("studio", 2, "confirmed")],
        )
        self.wait_for_sources(1, 7)
        self.wait_for_sources(2, 3, 4, "archive")
        self.wait_for_sources(2, 0, 2)
        self.assertEqual(self.picture("archive")["outputs"][1]["taken_by"]["by"], "boss")

    def test_dry_run_tells_the_differences_and_takes_nothing(self):
        self.written("show", [*TWO_ROUTERS, {"router": "studio", "output": 3, "input": 3}, {"router": "studio", "output": 4, "input": 1}])
        self.ask("POST", "/api/v1/routers/studio/outputs/4/lock", {"state": "lock", "reason": "on air"})
        answer = self.recall("show", dry_run=True)
        self.assertEqual(answer.status, 200, answer.body)
        first, second, third, same, locked = answer.json["differences"]
        self.assertEqual(first, {"router": "studio", "output": 1, "shows": {"video": 1, "audio": 1}, "wanted": {"video": 7, "audio": 7}, "same": False})
        self.assertEqual(second["wanted"], {"video": 3, "audio": 4})
        self.assertEqual(third["wanted"], {"video": 0, "audio": 2})
        self.assertTrue(same["same"])
        self.assertEqual((locked["result"], locked["same"]), ("locked", False))
        self.assertIn("on air", locked["reason"])
        self.assertEqual(self.sources(1), {"video": 1, "audio": 1})
        self.assertEqual(self.get(self.path("show")).json["undo"], 0)

    def test_locks_and_refusals_are_told_output_by_output(self):
        self.written("show", [{"router": "studio", "output": output, "input": 6} for output in (1, 4, 5, 99)])
        self.ask("POST", "/api/v1/routers/studio/outputs/4/lock", {"state": "lock", "reason": "on air"})
        answer = self.recall("show")
        self.assertEqual([result for _, _, result in self.results(answer)], ["confirmed", "locked", "refused", "refused"])
        self.assertEqual(answer.json["results"][1]["lock"]["reason"], "on air")

    def test_all_or_nothing_reaches_over_routers(self):
        self.written("show", TWO_ROUTERS)
        self.ask("POST", "/api/v1/routers/archive/outputs/2/lock", {"state": "lock"})
        answer = self.recall("show", all_or_nothing=True)
        self.assertEqual([result for _, _, result in self.results(answer)], ["withdrawn", "locked", "withdrawn"])
        self.assertIn("output 2 of archive", answer.json["results"][0]["reason"])
        self.assertEqual(self.sources(1), {"video": 1, "audio": 1})
        self.ask("POST", "/api/v1/routers/archive/outputs/2/lock", {"state": "unlock"})
        self.assertEqual([result for _, _, result in self.results(self.recall("show", all_or_nothing=True))], ["confirmed"] * 3)

    def test_router_without_a_driver_is_unavailable_and_the_others_are_taken(self):
        self.written("show", TWO_ROUTERS)
        self.stop_driver("archive")
        wait_until("no driver", lambda: self.picture("archive")["state"] == "no driver")
        nothing = self.recall("show", all_or_nothing=True)
        self.assertEqual([result for _, _, result in self.results(nothing)], ["withdrawn", "unavailable", "withdrawn"])
        answer = self.recall("show")
        self.assertEqual([result for _, _, result in self.results(answer)], ["confirmed", "unavailable", "confirmed"])

    def test_a_name_that_no_input_has_is_refused_as_a_whole(self):
        self.written("show", [*TWO_ROUTERS, {"router": "archive", "output": 1, "input": "Gone"}])
        self.expect_problem(self.recall("show"), 422, "Gone", "archive")
        self.assertEqual(self.sources(1), {"video": 1, "audio": 1})

    def test_wrong_wishes_are_refused(self):
        self.written("show", TWO_ROUTERS)
        for manner, word in (({"dry_run": 1}, "dry_run"), ({"all_or_nothing": "yes"}, "all_or_nothing"), ({"within": 5}, "within"), ({"slowly": True}, "slowly")):
            self.expect_problem(self.recall("show", **manner), 422, word)
        self.expect_problem(self.undo("show", dry_run=True), 422, "dry_run")
        self.expect_problem(self.recall("none"), 404)
        self.expect_problem(self.undo("none"), 404)


class Undone(PresetTest):
    def test_undo_leads_back_to_what_was_shown(self):
        self.written("show", [*TWO_ROUTERS, {"router": "studio", "output": 3, "input": 3}])
        self.expect_problem(self.undo("show"), 409, "recalled")
        self.results(self.recall("show"))
        self.assertEqual(self.get(self.path("show")).json["undo"], 3)  # output 3 showed it already
        self.assertEqual(
            self.results(self.undo("show")), [("studio", 1, "confirmed"), ("archive", 2, "confirmed"), ("studio", 2, "confirmed")]
        )
        self.wait_for_sources(1, 1)
        self.wait_for_sources(2, 2)
        self.wait_for_sources(2, 2, 2, "archive")
        self.expect_problem(self.undo("show"), 409)
        self.assertEqual(self.get(self.path("show")).json["undo"], 0)

    def test_what_somebody_took_since_stays(self):
        self.written("show", TWO_ROUTERS)
        self.results(self.recall("show"))
        self.take([{"output": 1, "input": 5}])
        self.wait_for_sources(1, 5)
        answer = self.undo("show")
        self.assertEqual([result for _, _, result in self.results(answer)], ["refused", "confirmed", "confirmed"])
        self.assertIn("changed meanwhile", answer.json["results"][0]["reason"])
        self.assertEqual(self.sources(1), {"video": 5, "audio": 5})

    def test_refused_outputs_are_not_undone(self):
        self.written("show", [{"router": "studio", "output": 5, "input": 6}, {"router": "studio", "output": 6, "input": 5}])
        self.assertEqual([result for _, _, result in self.results(self.recall("show"))], ["refused", "confirmed"])
        self.assertEqual(self.results(self.undo("show")), [("studio", 6, "confirmed")])

    def test_undo_that_could_send_nothing_is_still_there(self):
        self.written("show", TWO_ROUTERS[:1])
        self.results(self.recall("show"))
        self.ask("POST", "/api/v1/routers/studio/outputs/1/lock", {"state": "lock"})
        self.assertEqual(self.results(self.undo("show")), [("studio", 1, "locked")])
        self.ask("POST", "/api/v1/routers/studio/outputs/1/lock", {"state": "unlock"})
        self.assertEqual(self.results(self.undo("show")), [("studio", 1, "confirmed")])

    def test_another_preset_of_the_name_has_nothing_to_undo(self):
        self.written("show", TWO_ROUTERS)
        self.results(self.recall("show"))
        self.written("show", TWO_ROUTERS)
        self.expect_problem(self.undo("show"), 409)


class RememberedRecalls(PresetTest):
    """What an undo needs outlives the gateway."""

    def kill_and_start(self):
        self.stop_gateway(signal.SIGKILL)
        self.start_gateway()
        for router in self.items:
            self.wait_for_up(router)

    def undo_of(self, name):
        return self.get(self.path(name)).json["undo"]

    def test_recall_is_undone_after_a_kill(self):
        self.written("show", TWO_ROUTERS)
        self.take([{"output": 2, "sources": {"video": 4, "audio": 6}}], "archive")
        self.take([{"output": 1, "sources": {"video": 4, "audio": 6}}])
        self.wait_for_sources(1, 4, 6)
        self.results(self.recall("show"))
        self.kill_and_start()
        self.assertEqual(self.undo_of("show"), 3)
        self.assertEqual([result for _, _, result in self.results(self.undo("show"))], ["confirmed"] * 3)
        self.wait_for_sources(1, 4, 6)
        self.wait_for_sources(2, 2)

    def test_what_was_undone_is_not_undone_again_after_a_kill(self):
        self.written("show", TWO_ROUTERS)
        self.results(self.recall("show"))
        self.results(self.undo("show"))
        self.kill_and_start()
        self.assertEqual(self.undo_of("show"), 0)
        self.expect_problem(self.undo("show"), 409, "within a day")

    def test_the_last_recall_of_each_preset_is_remembered_and_another_preset_of_the_name_has_none(self):
        self.written("show", TWO_ROUTERS)
        self.written("other", [{"router": "studio", "output": 1, "input": 2}])
        self.results(self.recall("show"))
        self.results(self.recall("other"))
        self.kill_and_start()
        self.assertEqual((self.undo_of("show"), self.undo_of("other")), (3, 1))
        self.assertEqual([result for _, _, result in self.results(self.undo("show"))], ["refused", "confirmed", "confirmed"])
        self.written("other", [{"router": "studio", "output": 1, "input": 3}])
        self.kill_and_start()
        self.assertEqual((self.undo_of("show"), self.undo_of("other")), (0, 0))
        self.assertEqual(self.results(self.recall("other")), [("studio", 1, "confirmed")])
        self.kill_and_start()
        self.assertEqual(self.results(self.undo("other")), [("studio", 1, "confirmed")])
        self.wait_for_sources(1, 2)

    def test_recall_that_a_kill_ends_leaves_no_way_back_of_the_one_before(self):
        self.written("show", TWO_ROUTERS[:1])
        self.results(self.recall("show"))
        self.assertEqual(self.recalls_on_the_disk(), 1)
        self.take([{"output": 1, "input": 5}])
        self.wait_for_sources(1, 5)
        self.drivers["studio"].send_signal(signal.SIGSTOP)
        try:
            asking = threading.Thread(target=self.recall_that_may_be_cut_off)
            asking.start()
            wait_until("the way back of before is gone", lambda: self.recalls_on_the_disk() == 0)
            self.stop_gateway(signal.SIGKILL)
            asking.join()
        finally:
            self.drivers["studio"].send_signal(signal.SIGCONT)
        self.start_gateway()
        self.assertEqual(self.undo_of("show"), 0)

    def recall_that_may_be_cut_off(self):
        with contextlib.suppress(OSError, http.client.HTTPException):
            self.recall("show")

    def test_recall_that_changed_nothing_leaves_the_one_before_it_to_be_undone(self):
        self.written("show", [{"router": "studio", "output": 5, "input": 6}, {"router": "studio", "output": 6, "input": 5}])
        for _ in range(2):  # output 5 is refused, and output 6 shows it already the second time
            self.assertEqual(self.results(self.recall("show"))[0], ("studio", 5, "refused"))
            self.assertEqual(self.undo_of("show"), 1)
        self.kill_and_start()
        self.assertEqual(self.results(self.undo("show")), [("studio", 6, "confirmed")])
        self.wait_for_sources(6, 6)

    def test_a_day_later_it_is_forgotten(self):
        self.written("show", TWO_ROUTERS)
        self.results(self.recall("show"))
        self.stop_gateway()
        with contextlib.closing(sqlite3.connect(self.folder / "state" / "access.db")) as base, base:
            base.execute("UPDATE recalls SET time = time - 86400")
        self.start_gateway()
        self.assertEqual(self.undo_of("show"), 0)
        self.expect_problem(self.undo("show"), 409, "within a day")

    def test_recall_is_answered_once_its_undo_is_on_the_disk(self):
        self.written("show", TWO_ROUTERS[:1])
        answers = []
        asking = threading.Thread(target=lambda: answers.append(self.recall("show")))
        with self.held_database():
            asking.start()
            self.wait_for_sources(1, 7)  # it is taken meanwhile
            self.assertEqual(answers, [])
        asking.join()
        self.assertEqual(self.results(answers[0]), [("studio", 1, "confirmed")])
        self.kill_and_start()
        self.assertEqual(self.undo_of("show"), 1)

    @contextlib.contextmanager
    def held_database(self):
        """Another program writes in it until the end."""
        with contextlib.closing(sqlite3.connect(self.folder / "state" / "access.db", isolation_level=None, timeout=PATIENCE)) as base:
            base.execute("BEGIN IMMEDIATE")
            yield
            base.execute("ROLLBACK")

    def test_recall_while_the_database_is_held_for_long_is_answered_all_the_same(self):
        self.written("show", TWO_ROUTERS[:1])
        with self.held_database():
            self.assertEqual(self.results(self.recall("show")), [("studio", 1, "confirmed")])
            self.assertEqual(self.undo_of("show"), 1)  # in memory
        wait_until("it is on the disk", lambda: self.recalls_on_the_disk() == 1)

    def recalls_on_the_disk(self):
        with contextlib.closing(sqlite3.connect(self.folder / "state" / "access.db", timeout=PATIENCE)) as base:
            return base.execute("SELECT count(*) FROM recalls").fetchone()[0]


class RecallWhileATakeWaits(PresetTest):
    items = {"studio": simulated(8, 8, "simulated delay ms=60000\n"), "archive": simulated(4, 4)}

    def test_what_the_router_has_confirmed_counts_as_shown(self):
        self.written("show", [{"router": "studio", "output": 1, "input": 5}])
        taking = threading.Thread(target=self.take_that_may_be_cut_off)
        taking.start()
        wait_until("the take waits", lambda: self.picture()["outputs"][0]["pending"])
        self.assertEqual(self.sources(1), {"video": 5, "audio": 5})
        (difference,) = self.recall("show", dry_run=True).json["differences"]
        self.assertEqual((difference["shows"], difference["same"]), ({"video": 1, "audio": 1}, False))
        self.stop_gateway(signal.SIGKILL)
        taking.join()

    def take_that_may_be_cut_off(self):
        with contextlib.suppress(OSError, http.client.HTTPException):
            self.take([{"output": 1, "input": 5}], within=50000)


class RecalledOnce(PresetTest):
    def with_key(self, key, what, body=None):
        return self.ask("POST", self.path("show", what), body or {}, headers={"Idempotency-Key": key})

    def test_the_same_key_recalls_and_undoes_once(self):
        self.written("show", TWO_ROUTERS[:1])
        first = self.with_key("a", "/recall")
        self.assertEqual(self.results(first), [("studio", 1, "confirmed")])
        self.take([{"output": 1, "input": 5}])
        self.wait_for_sources(1, 5)
        self.assertEqual(self.with_key("a", "/recall").body, first.body)
        self.assertEqual(self.sources(1), {"video": 5, "audio": 5})
        self.expect_problem(self.with_key("a", "/recall", {"all_or_nothing": True}), 422, "Idempotency-Key")
        self.expect_problem(self.with_key("a", "/undo"), 422, "Idempotency-Key")
        self.assertEqual(self.results(self.with_key("b", "/recall")), [("studio", 1, "confirmed")])
        undone = self.with_key("c", "/undo")
        self.assertEqual(self.results(undone), [("studio", 1, "confirmed")])
        self.assertEqual(self.with_key("c", "/undo").body, undone.body)
        self.expect_problem(self.with_key("d", "/undo"), 409)
        self.expect_problem(self.with_key("", "/undo"), 400, "Idempotency-Key")

    def test_a_key_of_what_was_refused_is_free(self):
        self.written("show", TWO_ROUTERS)
        self.expect_problem(self.with_key("a", "/undo"), 409)
        self.results(self.with_key("b", "/recall"))
        self.assertEqual([result for _, _, result in self.results(self.with_key("a", "/undo"))], ["confirmed"] * 3)


class PresetRights(PresetTest):
    def test_each_role_may_what_it_is_for(self):
        viewer, operator = self.known_token("viewer", "view"), self.known_token("operator", "operate")
        lock = self.known_token("keeper", "lock")
        self.expect_problem(self.put("show", TWO_ROUTERS, token=operator), 403, "lock")
        self.assertEqual(self.put("show", TWO_ROUTERS, token=lock).status, 200)
        self.assertEqual(self.get(self.path("show"), token=viewer).status, 200)
        self.expect_problem(self.recall("show", viewer), 403, "operate")
        self.expect_problem(self.recall("show", viewer, dry_run=True), 403, "operate")
        self.assertEqual(self.recall("show", operator).status, 200)
        self.expect_problem(self.undo("show", viewer), 403)
        self.assertEqual(self.undo("show", operator).status, 200)
        self.expect_problem(self.ask("DELETE", self.path("show"), token=operator), 403)
        self.expect_problem(self.get("/api/v1/presets", token=None), 401)

    def test_recall_beyond_ones_rights_does_nothing(self):
        limited = self.known_token("limited", "operate", "--outputs", "1")
        self.written("show", TWO_ROUTERS)
        self.expect_problem(self.recall("show", limited), 403, "limited")
        self.expect_problem(self.recall("show", limited, dry_run=True), 403, "limited")
        self.assertEqual(self.sources(1), {"video": 1, "audio": 1})

    def test_undo_is_within_the_rights_of_who_undoes(self):
        limited = self.known_token("limited", "operate", "--inputs", "7")
        self.written("show", TWO_ROUTERS[:1])
        self.results(self.recall("show", limited))
        self.expect_problem(self.undo("show", limited), 403, "input 1")
        self.assertEqual(self.results(self.undo("show")), [("studio", 1, "confirmed")])

    def test_preset_of_unseen_routers_is_not_there(self):
        limited = self.known_token("limited", "lock", "--router", "studio")
        self.written("both", TWO_ROUTERS)
        self.written("mine", TWO_ROUTERS[:1])
        self.assertEqual([row["name"] for row in self.get("/api/v1/presets", token=limited).json["presets"]], ["mine"])
        for answer in (
            self.get(self.path("both"), token=limited),
            self.recall("both", limited),
            self.undo("both", limited),
            self.ask("DELETE", self.path("both"), token=limited),
        ):
            self.expect_problem(answer, 404)
            self.assertNotIn(b"archive", answer.body)
        self.expect_problem(self.put("both", TWO_ROUTERS[:1], token=limited), 409, "another name")
        self.expect_problem(self.put("other", TWO_ROUTERS, token=limited), 422, "archive")
        self.assertEqual(self.get(self.path("both")).json["takes"], TWO_ROUTERS)


class Remembered(PresetTest):
    def history(self, router, token=""):
        entries = self.get(f"/api/v1/history?router={router}", token=token).json["history"]
        return [(entry["after"], entry["result"], entry["by"], entry["reason"]) for entry in entries if entry["kind"] == "preset"]

    def test_history_has_who_wrote_recalled_and_undid_a_preset(self):
        keeper = self.known_token("keeper", "lock")
        limited = self.known_token("limited", "view", "--router", "archive")
        self.put("show", TWO_ROUTERS, token=keeper)
        self.results(self.recall("show", keeper))
        self.results(self.recall("show", dry_run=False))
        self.recall("show", dry_run=True)
        self.results(self.undo("show"))
        self.ask("DELETE", self.path("show"))
        expected = [
            ("show", "removed", "boss", ""),
            ("show", "undone", "boss", "3 of 3 outputs confirmed"),
            ("show", "recalled", "boss", "3 of 3 outputs confirmed"),
            ("show", "recalled", "keeper", "3 of 3 outputs confirmed"),
            ("show", "written", "keeper", ""),
        ]
        self.assertEqual(self.history("studio"), expected)
        self.assertEqual(self.history("archive", limited), expected)

    def taken(self, router, output):
        entries = self.get(f"/api/v1/history?router={router}&output={output}").json["history"]
        return [(entry["result"], entry["by"], entry["after"]) for entry in entries if entry["kind"] == "take"]

    def test_locked_outputs_are_remembered_also_when_their_router_gets_nothing(self):
        self.written("show", TWO_ROUTERS)
        self.ask("POST", "/api/v1/routers/archive/outputs/2/lock", {"state": "lock"})
        results = [("studio", 1, "confirmed"), ("archive", 2, "locked"), ("studio", 2, "confirmed")]
        self.assertEqual(self.results(self.recall("show")), results)
        self.assertEqual(self.taken("archive", 2), [("locked", "boss", {"video": 3, "audio": 4})])

    def test_refused_recall_is_remembered(self):
        limited = self.known_token("limited", "operate", "--outputs", "1")
        self.written("show", TWO_ROUTERS)
        self.expect_problem(self.recall("show", limited), 403)
        entries = self.get("/api/v1/history").json["history"]
        refused = [entry for entry in entries if entry["kind"] == "preset" and entry["result"] == "refused"]
        self.assertEqual([(entry["by"], entry["after"], entry["router"]) for entry in refused], [("limited", "show", "")])
        self.assertIn("archive", refused[0]["reason"])


class SavedFiles(PresetTest):
    def routectl(self, *arguments):
        program = pathlib.Path(Programs.driver).parent / "vrdx_routectl"
        ran = subprocess.run(
            [program, "--sock", self.folder / "run" / "studio.sock", self.folder / "items" / "studio.item", *arguments],
            capture_output=True, text=True, timeout=PATIENCE, check=False,
        )
        self.assertEqual(ran.returncode, 0, ran.stderr)

    def test_files_of_the_command_are_recalled_and_restored(self):
        file = self.folder / "saved"
        self.take([{"output": 1, "sources": {"video": 3, "audio": 2}}])
        self.wait_for_sources(1, 3, 2)
        self.routectl("save", file, "--names")
        self.assertEqual(self.ask("PUT", self.path("evening", "?snapshot=studio"), file.read_bytes()).status, 200)
        self.take([{"output": 1, "input": 8}, {"output": 2, "input": 8}])
        self.wait_for_sources(2, 8)
        self.assertEqual([result for _, _, result in self.results(self.recall("evening")) if result != "refused"], ["confirmed"] * 7)
        self.wait_for_sources(1, 3, 2)
        self.take([{"output": 1, "input": 8}])
        self.wait_for_sources(1, 8)
        self.written("morning", [{"router": "studio", "output": 1, "input": "Input 6"}])
        file.write_bytes(self.get(self.path("morning", "?snapshot=studio")).body)
        self.routectl("restore", file)
        self.wait_for_sources(1, 6)

    def test_saved_file_goes_in_and_comes_out(self):
        saved = {
            "format": "vrdx crosspoints",
            "version": 1,
            "inputs": 8,
            "outputs": 8,
            "crosspoints": [{"output": 1, "audio": 2, "video": 3}, {"output": 2, "audio": 0, "video": 0}],
            "input names": ["a"] * 8,
        }
        answer = self.ask("PUT", self.path("saved", "?snapshot=studio"), saved)
        self.assertEqual(answer.status, 200, answer.body)
        self.assertEqual(
            answer.json["takes"],
            [{"router": "studio", "output": 1, "sources": {"video": 3, "audio": 2}}, {"router": "studio", "output": 2, "input": 0}],
        )
        del saved["input names"]
        self.assertEqual(self.get(self.path("saved", "?snapshot=studio")).json, saved)

    def test_names_come_out_as_numbers(self):
        self.written("show", TWO_ROUTERS)
        file = self.get(self.path("show", "?snapshot=archive")).json
        self.assertEqual((file["inputs"], file["outputs"]), (4, 4))
        self.assertEqual(file["crosspoints"], [{"output": 2, "audio": 4, "video": 3}])

    def test_what_is_no_saved_file_is_refused(self):
        point = {"output": 1, "audio": 2, "video": 3}
        good = {"format": "vrdx crosspoints", "version": 1, "inputs": 8, "outputs": 8, "crosspoints": [point]}
        for wrong in (
            {"takes": TWO_ROUTERS},
            {**good, "format": "other"},
            {**good, "format": 1},
            {**good, "version": 2},
            {**good, "crosspoints": {}},
            {**good, "crosspoints": []},
            {**good, "crosspoints": [point, point]},
            {**good, "crosspoints": [1]},
            {**good, "crosspoints": [{"output": 0, "audio": 2, "video": 3}]},
            {**good, "crosspoints": [{"output": 1, "audio": -1, "video": 3}]},
            {**good, "crosspoints": [{"output": 1, "audio": 2}]},
        ):
            with self.subTest(wrong=wrong):
                self.expect_problem(self.ask("PUT", self.path("bad", "?snapshot=studio"), wrong), 422)
        self.expect_problem(self.ask("PUT", self.path("bad", "?snapshot=nowhere"), good), 422, "nowhere")
        self.expect_problem(self.ask("PUT", self.path("bad"), good), 422, "format")
        self.written("show", TWO_ROUTERS)
        self.expect_problem(self.get(self.path("show", "?snapshot=nowhere")), 404, "nowhere")
        self.assertEqual([row["name"] for row in self.get("/api/v1/presets").json["presets"]], ["show"])


if __name__ == "__main__":
    main()
