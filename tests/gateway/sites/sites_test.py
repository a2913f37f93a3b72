"""Routers of another site: shown, taken on, named, refused, locked."""

import re

import sites_fixture
from sites_fixture import simulated, wait_until


class FarRouters(sites_fixture.SitesTest):
    def test_take_from_the_control_room_is_confirmed_and_shown_at_both_sites(self):
        self.control.take_until_confirmed("north:studio", 1, 3)
        self.expect_sources(self.control, "north:studio", 1, 3)
        self.expect_sources(self.north, "studio", 1, 3)
        output = self.north.picture("studio")["outputs"][0]
        self.assertEqual(output["taken_by"]["by"], "control:boss")

    def test_take_at_the_owner_is_told_in_the_control_room(self):
        reader = self.control.events("?router=north:studio")
        self.control.wait_for_event(reader, "the picture", lambda event: event["type"] == "picture")
        self.assertEqual(self.north.taken("studio", 2, 5)["result"], "confirmed")
        change = self.control.wait_for_event(
            reader,
            "the change",
            lambda event: event["type"] == "change" and any(output["number"] == 2 and not output["pending"] for output in event["outputs"]),
        )
        self.assertEqual(change["router"], "north:studio")
        self.assertEqual(change["outputs"][0]["sources"], {"video": 5, "audio": 5})

    def test_decided_take_is_told_in_the_control_room(self):
        reader = self.control.events()
        self.control.take_until_confirmed("north:studio", 3, 4)
        told = self.control.wait_for_event(reader, "the take", lambda event: event["type"] == "take" and event["result"] == "confirmed")
        self.assertEqual((told["router"], told["output"], told["who"]["by"]), ("north:studio", 3, "control:boss"))

    def test_what_the_router_has_not_is_refused_in_the_words_of_its_driver(self):
        said = self.control.taken("north:studio", 99, 1)
        self.assertEqual((said["result"], said["reason"]), ("refused", "no such output"))

    def test_one_level_alone_keeps_the_other(self):
        self.control.take_until_confirmed("north:studio", 1, 2)
        self.expect_sources(self.control, "north:studio", 1, 2)
        wait_until(
            "video alone is taken",
            lambda: self.control.take([{"output": 1, "sources": {"video": 7}}], "north:studio").json["results"][0]["result"] == "confirmed",
        )
        self.assertEqual(self.north.sources(1, "studio"), {"video": 7, "audio": 2})

    def test_source_is_found_by_its_name(self):
        wait_until(
            "it is taken",
            lambda: self.control.take([{"output": 1, "input": "Input 6"}], "north:studio").json["results"][0]["result"] == "confirmed",
        )
        self.expect_sources(self.north, "studio", 1, 6)

    def test_token_of_one_far_router_sees_it_alone(self):
        self.north.start_driver("gallery", simulated())
        self.control.wait_for_state("north:gallery", "up")
        token = self.control.add_token("desk", "operate", "--router", "north:studio", "--outputs", "1-2")
        wait_until("the token holds", lambda: self.control.get("/api/v1/routers", token=token).status == 200)
        rows = self.control.get("/api/v1/routers", token=token).json["routers"]
        self.assertEqual([row["name"] for row in rows], ["north:studio"])
        self.assertEqual(self.control.take([{"output": 3, "input": 1}], "north:studio", token).status, 403)
        self.assertEqual(self.control.take([{"output": 1, "input": 1}], "north:gallery", token).status, 404)

    def test_router_that_goes_and_comes_is_told(self):
        reader = self.control.events()
        self.north.stop_driver("studio")
        self.control.wait_for_state("north:studio", "no driver")
        said = self.control.taken("north:studio", 1, 1)
        self.assertEqual(said["result"], "unavailable")
        (self.north.folder / "items" / "studio.item").unlink()
        (self.north.folder / "run" / "studio.sock").unlink(missing_ok=True)
        self.control.wait_for_event(reader, "it is gone", lambda event: event["type"] == "router" and event.get("state") == "gone")
        self.assertEqual(self.control.get("/api/v1/routers/north:studio").status, 404)
        self.north.start_driver("studio", simulated(outputs=3))
        self.control.wait_for_state("north:studio", "up")
        wait_until("its new size is there", lambda: len(self.control.picture("north:studio")["outputs"]) == 3)

    def test_any_name_of_a_router_is_possible(self):
        self.north.start_driver("B 1.x>*", simulated())
        self.control.wait_for_state("north:B 1.x>*", "up")
        quoted = "north%3AB%201.x%3E%2A"
        wait_until(
            "it is taken",
            lambda: self.control.take([{"output": 1, "input": 2}], quoted).json["results"][0]["result"] == "confirmed",
        )
        self.assertEqual(self.north.sources(1, "B%201.x%3E%2A"), {"video": 2, "audio": 2})

    def test_router_of_this_host_goes_before_a_far_one_of_the_same_name(self):
        self.control.start_driver("north:studio", simulated(outputs=5))
        wait_until("its own is shown", lambda: len(self.control.picture("north:studio")["outputs"]) == 5)
        self.assertEqual(self.control.taken("north:studio", 1, 4)["result"], "confirmed")
        self.assertEqual(self.north.sources(1, "studio"), {"video": 1, "audio": 1})
        names = [row["name"] for row in self.control.get("/api/v1/routers").json["routers"]]
        self.assertEqual(names, ["north:studio"])

    def test_large_picture_is_read_in_pages(self):
        self.north.start_driver("large", simulated(inputs=4000, outputs=1000))
        self.control.wait_for_state("north:large", "up")
        near, far = self.north.picture("large"), self.control.picture("north:large")
        for each in ("inputs", "outputs", "levels", "epoch"):
            self.assertEqual(far[each], near[each])
        self.assertEqual(len(far["inputs"]), 4000)


class WhatElseTheGatewayDoes(sites_fixture.SitesTest):
    def takes_in_history(self, site, router):
        return [entry for entry in site.get(f"/api/v1/history?router={router}").json["history"] if entry["kind"] == "take"]

    def test_both_sites_have_the_take_in_their_history_once(self):
        self.control.take_until_confirmed("north:studio", 1, 3)

        def confirmed(site, router):
            return [entry for entry in self.takes_in_history(site, router) if entry["result"] == "confirmed"]

        wait_until("the owner has it", lambda: confirmed(self.north, "studio"))
        wait_until("the control room has it", lambda: confirmed(self.control, "north:studio"))
        [owners], [own] = confirmed(self.north, "studio"), confirmed(self.control, "north:studio")
        self.assertEqual((owners["by"], owners["through"], owners["output"]), ("control:boss", "site", 1))
        self.assertTrue(owners["number"])
        self.assertEqual((own["by"], own["through"], own["output"], own["address"]), ("boss", "gateway", 1, "127.0.0.1"))
        self.assertFalse(own["number"])

    def test_take_at_the_owner_is_in_the_history_of_the_owner_alone(self):
        self.assertEqual(self.north.taken("studio", 2, 5)["result"], "confirmed")
        self.control.take_until_confirmed("north:studio", 1, 3)
        wait_until("the owner has both", lambda: {entry["output"] for entry in self.takes_in_history(self.north, "studio")} == {1, 2})
        wait_until("the control room has its own", lambda: self.takes_in_history(self.control, "north:studio"))
        self.assertEqual({entry["output"] for entry in self.takes_in_history(self.control, "north:studio")}, {1})

    def test_preset_takes_on_a_far_router_and_is_undone(self):
        preset = {"takes": [{"router": "north:studio", "output": 1, "input": 4}, {"router": "north:studio", "output": 2, "input": 4}]}
        answer = self.control.ask("PUT", "/api/v1/presets/show", preset)
        self.assertIn(answer.status, (200, 201, 204), answer.body)

        def is_confirmed(verb):
            said = self.control.ask("POST", f"/api/v1/presets/show/{verb}", {})
            return said.status == 200 and {each["result"] for each in said.json["results"]} == {"confirmed"}

        def recalled_and_undone():  # anew from the beginning where a beat was too old
            for output in (1, 2):
                self.control.take_until_confirmed("north:studio", output, output)
                self.expect_sources(self.control, "north:studio", output, output)
            if not is_confirmed("recall"):
                return False
            self.assertEqual(self.north.sources(1, "studio"), {"video": 4, "audio": 4})
            return is_confirmed("undo")

        wait_until("it is recalled and undone", recalled_and_undone)
        for output in (1, 2):
            self.assertEqual(self.north.sources(output, "studio"), {"video": output, "audio": output})

    def test_figures_are_those_of_the_own_site(self):
        self.assertIn(b'vrdx_driver_up{router="studio"} 1', self.north.get("/metrics").body)
        figures = self.control.get("/metrics").body
        self.assertIn(b"vrdx_gateway_routers 0\n", figures)
        self.assertNotIn(b'"studio"', figures)
        self.assertNotIn(b"vrdx_takes_total{", figures)

    def test_far_router_is_told_in_the_figures_by_whether_it_is_heard(self):
        def figure(name):
            text = self.control.get("/metrics").body.decode()
            return float(re.search(rf'(?m)^{name}{{router="north:studio"}} (\S+)$', text)[1])

        self.assertEqual(figure("vrdx_far_router_up"), 1)
        heard = figure("vrdx_far_router_age_seconds")
        self.north.kill_gateway()
        wait_until("it is not heard", lambda: figure("vrdx_far_router_up") == 0)
        self.assertGreater(figure("vrdx_far_router_age_seconds"), heard)


class PresetsOverSites(sites_fixture.SitesTest):
    def setUp(self):
        super().setUp()
        self.south = self.add_site("south", ["hall"], {"desk": simulated()})
        self.hall = self.add_site("hall", ["north", "south"], {"own": simulated()})
        for router in ("north:studio", "south:desk", "own"):
            self.hall.wait_for_state(router, "up")

    north_peers = ("control", "hall")

    def results_of(self, verb, **further):
        said = self.hall.ask("POST", f"/api/v1/presets/evening/{verb}", further)
        self.assertEqual(said.status, 200, said.body)
        return {each["router"]: each["result"] for each in said.json["results"]}

    def test_preset_takes_at_two_sites_and_here_and_is_undone(self):
        owners = {"north:studio": (self.north, "studio"), "south:desk": (self.south, "desk"), "own": (self.hall, "own")}
        takes = [{"router": router, "output": 1, "input": 5} for router in owners]
        self.assertIn(self.hall.ask("PUT", "/api/v1/presets/evening", {"takes": takes}).status, (200, 201, 204))
        [row] = self.hall.get("/api/v1/presets").json["presets"]
        self.assertEqual(sorted(row["routers"]), sorted(owners))
        wanted = dict.fromkeys(owners, "confirmed")

        def recalled_and_undone():  # anew from the beginning where a beat was too old
            for router in owners:
                self.hall.take_until_confirmed(router, 1, 1)
                self.expect_sources(self.hall, router, 1, 1)
            if self.results_of("recall") != wanted:
                return False
            for site, router in owners.values():
                self.assertEqual(site.sources(1, router), {"video": 5, "audio": 5})
            return self.results_of("undo") == wanted

        wait_until("it is recalled and undone", recalled_and_undone)
        for site, router in owners.values():
            self.assertEqual(site.sources(1, router), {"video": 1, "audio": 1})

    def test_site_that_is_away_is_told_and_the_others_are_taken_on(self):
        routers = ("north:studio", "south:desk", "own")
        takes = [{"router": router, "output": 1, "input": 5} for router in routers]
        self.assertIn(self.hall.ask("PUT", "/api/v1/presets/evening", {"takes": takes}).status, (200, 201, 204))
        self.south.kill_gateway()
        self.hall.wait_for_state("south:desk", "stale")
        wanted = {"north:studio": "confirmed", "south:desk": "unavailable", "own": "confirmed"}
        wait_until("the others are taken on", lambda: self.results_of("recall") == wanted)


class LocksOfTheOwner(sites_fixture.SitesTest):
    def lock(self, state, **further):
        answer = self.north.ask("POST", "/api/v1/routers/studio/outputs/1/lock", {"state": state, **further})
        self.assertEqual(answer.status, 200, answer.body)

    def shown_lock(self):
        return self.control.picture("north:studio")["outputs"][0]["lock"]

    def test_locked_output_is_not_taken_and_shown_as_locked(self):
        self.lock("lock", reason="on air")
        said = {}

        def locked():
            said.update(self.control.taken("north:studio", 1, 2))
            return said["result"] == "locked"

        wait_until("it is locked", locked)
        self.assertEqual((said["lock"]["owner"], said["lock"]["reason"]), ("boss", "on air"))
        wait_until("the lock is shown", lambda: self.shown_lock() is not None)
        self.assertEqual(self.shown_lock()["state"], "lock")
        self.assertEqual(self.north.sources(1, "studio"), {"video": 1, "audio": 1})
        self.lock("unlock")
        wait_until("the lock is gone", lambda: self.shown_lock() is None)
        self.control.take_until_confirmed("north:studio", 1, 2)

    def test_lock_is_told_as_an_event(self):
        reader = self.control.events()
        self.lock("protect")
        event = self.control.wait_for_event(
            reader, "the lock", lambda told: told["type"] == "change" and any(output["lock"] for output in told["outputs"])
        )
        self.assertEqual(event["outputs"][0]["lock"]["state"], "protect")

    def test_all_or_nothing_heeds_the_locks_of_the_owner(self):
        self.lock("lock")
        takes = [{"output": 1, "input": 5}, {"output": 2, "input": 5}]
        results = []

        def answered():
            results[:] = self.control.take(takes, "north:studio", all_or_nothing=True).json["results"]
            return [each["result"] for each in results] == ["locked", "withdrawn"]

        wait_until("nothing is taken", answered)
        self.assertEqual(self.north.sources(2, "studio"), {"video": 2, "audio": 2})

    def test_locks_are_set_at_the_site_of_their_router(self):
        answer = self.control.ask("POST", "/api/v1/routers/north:studio/outputs/1/lock", {"state": "lock"})
        self.control.expect_problem(answer, 409, "north")


class RolesOfPeers(sites_fixture.SitesTest):
    north_peers = (("control", "view"), ("desk", "lock"))

    def set_up_desk(self):
        desk = self.add_site("desk", ["north"])
        desk.wait_for_state("north:studio", "up")
        return desk

    def rename(self, site, name):
        return site.ask("PUT", "/api/v1/routers/north:studio/outputs/2/name", {"name": name})

    def test_site_that_may_see_may_not_take(self):
        said = {}

        def refused():
            said.update(self.control.taken("north:studio", 1, 2))
            return "role" in said.get("reason", "")

        wait_until("the role is told", refused)
        self.assertEqual(said["result"], "refused")
        self.assertIn("view", said["reason"])
        self.assertEqual(self.north.sources(1, "studio"), {"video": 1, "audio": 1})

    def test_names_need_the_role_lock(self):
        desk = self.set_up_desk()
        wait_until("a name is given", lambda: self.rename(desk, "Regie B").status == 202)
        wait_until("it is shown", lambda: desk.picture("north:studio")["outputs"][1]["name"] == "Regie B")
        self.assertEqual(self.rename(self.control, "Regie C").status, 503)
        self.assertEqual(self.north.picture("studio")["outputs"][1]["name"], "Regie B")

    def test_site_that_does_not_know_another_refuses_its_takes_at_once(self):
        stranger = self.add_site("stranger", ["north"])
        stranger.wait_for_state("north:studio", "up")
        said = {}

        def refused():
            said.update(stranger.taken("north:studio", 1, 2))
            return "nobody at site north listens" in said["reason"]

        wait_until("it is refused", refused)
        self.assertEqual(said["result"], "refused")


if __name__ == "__main__":
    sites_fixture.main()
