"""Our own Videohub backend at our own Videohub server: a router ("studio"), the gateway, and a second driver ("far")
whose router is the gateway's server. The gateway shows both."""

import pathlib
import random
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from hub_fixture import HubTest, simulated, wait_until  # noqa: E402

from gateway_fixture import Programs, main  # noqa: E402  isort: skip


class LoopTest(HubTest):
    size = 16
    server = 'role = "lock"\n'
    refused = ""

    def setUp(self):
        self.items = {"studio": simulated(self.size, self.size, self.refused)}
        super().setUp()
        self.start_driver("far", self.far_item())
        self.wait_for_up("far")
        self.wait_for_same()

    def far_item(self):
        """Its backend connects again without a pause."""
        host, port = self.hub_address()
        return f"driver=route_videohub\nstay resident=1\naddress={host}\nport={port}\nvideohub reconnect ms=50\n"

    def shown(self, router):
        """Names and confirmed sources; of studio as the far side has to see it."""
        picture = self.picture(router)
        if picture["state"] != "up":
            return None
        inputs = [each["name"] for each in picture["inputs"]]
        outputs = [each["name"] for each in picture["outputs"]]
        sources = [None if each["pending"] else each["sources"] for each in picture["outputs"]]
        if router == "studio":
            inputs.append("None/other")
            sources = [each and {"all": each["video"] or self.size + 1} for each in sources]
        return inputs, outputs, sources

    def is_same(self):
        near, far = self.shown("studio"), self.shown("far")
        return near is not None and None not in near[2] and near == far

    def wait_for_same(self):
        wait_until("both sides show the same", self.is_same)

    def results(self, takes, router="far", **further):
        answer = self.take(takes, router, within=20000, **further)
        self.assertEqual(answer.status, 200, answer.body)
        return [result["result"] for result in answer.json["results"]]


class Sixteen(LoopTest):
    refused = "simulated refuse outputs=5\n"

    def test_take_from_far_is_confirmed_by_the_router(self):
        self.assertEqual(self.results([{"output": 3, "input": 9}]), ["confirmed"])
        self.assertEqual(self.sources(3), {"video": 9, "audio": 9})
        self.assertEqual(self.picture()["outputs"][2]["taken_by"]["by"], "videohub 127.0.0.1")

    def test_take_of_the_source_that_is_there_is_confirmed(self):
        self.assertEqual(self.results([{"output": 3, "input": 3}]), ["confirmed"])

    def test_salvo_from_far_is_confirmed(self):
        takes = [{"output": output, "input": 7} for output in range(1, 17) if output != 5]
        self.assertEqual(self.results(takes), ["confirmed"] * 15)
        self.wait_for_same()

    def test_no_source_goes_through(self):
        self.assertEqual(self.results([{"output": 3, "input": 17}]), ["confirmed"])
        self.assertEqual(self.sources(3), {"video": 0, "audio": 0})

    def test_refused_take_is_not_confirmed_and_both_sides_show_what_is_there(self):
        self.assertNotIn("confirmed", self.results([{"output": 5, "input": 1}]))
        self.wait_for_same()
        self.assertEqual(self.sources(5), {"video": 5, "audio": 5})

    def test_locked_output_is_refused_to_far(self):
        self.lock(3, "lock", reason="on air")
        self.assertEqual(self.results([{"output": 3, "input": 9}]), ["refused"])
        self.assertEqual(self.sources(3), {"video": 3, "audio": 3})

    def test_one_locked_output_of_a_salvo_is_refused_alone(self):
        self.lock(3, "lock")
        takes = [{"output": output, "input": 9} for output in (2, 3, 4)]
        self.assertEqual(self.results(takes), ["confirmed", "refused", "confirmed"])
        self.wait_for_same()

    def test_near_takes_are_shown_far(self):
        self.results([{"output": 1, "input": 8}, {"output": 2, "input": 0}], router="studio")
        self.wait_for_same()
        self.assertEqual(self.sources(2, "far"), {"all": 17})

    def test_names_go_both_ways(self):
        self.ask("PUT", "/api/v1/routers/far/outputs/3/name", {"name": "Süd: ☃"})
        self.ask("PUT", "/api/v1/routers/studio/inputs/2/name", {"name": "VTR"})
        wait_until("far's name is there", lambda: self.picture()["outputs"][2]["name"] == "Süd: ☃")
        wait_until("near's name is there", lambda: self.picture("far")["inputs"][1]["name"] == "VTR")
        self.wait_for_same()

    def test_locks_of_the_server_are_properties_far(self):
        def shown():
            return self.picture("far")["outputs"][2]["properties"].get("lock")

        self.lock(3, "lock")
        wait_until("it is another's", lambda: shown() == "other")
        self.lock(3, "unlock")
        wait_until("it is free", lambda: shown() == "free")

    def test_router_that_goes_is_gone_far(self):
        self.stop_driver("studio")
        wait_until("far says so", lambda: self.picture("far")["state"] == "link down")
        self.assertEqual(self.results([{"output": 1, "input": 2}]), ["refused"])
        self.start_driver("studio")
        self.wait_for_same()
        self.assertEqual(self.results([{"output": 1, "input": 2}]), ["confirmed"])

    def test_far_driver_that_is_started_again_shows_the_same(self):
        self.stop_driver("far")
        self.results([{"output": 1, "input": 2}], router="studio")
        self.start_driver("far")
        self.wait_for_same()

    def test_gateway_that_is_started_again(self):
        self.configuration = self.hub_table(port=self.hub_address()[1])
        self.stop_gateway()
        self.start_gateway()
        self.wait_for_same()
        self.assertEqual(self.results([{"output": 1, "input": 2}]), ["confirmed"])

    def test_takes_of_both_sides_end_with_one_picture(self):
        chance = random.Random(1)
        for _ in range(60):
            router = chance.choice(["studio", "far"])
            outputs = chance.sample([n for n in range(1, 17) if n != 5], chance.randint(1, 6))
            self.take([{"output": n, "input": chance.randint(1, 16)} for n in outputs], router, within=20000)
        self.wait_for_same()

    def test_check_of_backends_finds_nothing(self):
        item = self.folder / "check.item"
        item.write_text(self.far_item(), encoding="utf-8")
        folder = pathlib.Path(Programs.driver).parent
        command = [folder / "vrdx_backend_check", folder / "vrdx_route_videohub", "--file", item]
        result = subprocess.run(command, capture_output=True, text=True, check=False, timeout=200)
        self.assertEqual(result.returncode, 0, result.stdout)


class Large(LoopTest):
    size = 288
    refused = "simulated refuse outputs=17 33\n"

    def test_whole_router_is_taken_in_one_salvo(self):
        takes = [{"output": output, "input": 289 - output} for output in range(1, 289) if output not in (17, 33)]
        self.assertEqual(self.results(takes), ["confirmed"] * 286)
        self.wait_for_same()

    def test_restart_shows_all_of_it_again(self):
        self.results([{"output": output, "input": 7} for output in range(1, 289)], router="studio")
        self.stop_driver("studio")
        wait_until("far says so", lambda: self.picture("far")["state"] == "link down")
        self.start_driver("studio")
        self.wait_for_same()

    def test_refusals_and_a_restart_of_the_gateway_end_with_one_picture(self):
        configuration = self.hub_table(port=self.hub_address()[1])
        for output in (4, 100, 288):
            self.lock(output, "lock", reason="on air")
        outputs = [output for output in range(1, 289) if output not in (17, 33)]
        results = self.results([{"output": output, "input": 1 + output % 288} for output in outputs])
        refused = [output for output, result in zip(outputs, results) if result == "refused"]
        self.assertEqual((refused, results.count("confirmed")), ([4, 100, 288], 283))
        # The protocol has no word for it; the answer comes when its time is over.
        takes = [{"output": output, "input": 1} for output in (17, 33)]
        answer = self.take(takes, "far", within=1000).json["results"]
        self.assertNotIn("confirmed", [each["result"] for each in answer])
        self.wait_for_same()
        self.assertEqual([self.sources(n)["video"] for n in (4, 17, 33, 100, 288)], [4, 17, 33, 100, 288])
        self.configuration = configuration
        self.stop_gateway()
        self.start_gateway()
        self.wait_for_same()
        self.assertEqual(self.results([{"output": 100, "input": 1}, {"output": 101, "input": 1}]), ["refused", "confirmed"])

    def test_names_of_all_inputs(self):
        for number in range(1, 289, 41):
            self.ask("PUT", f"/api/v1/routers/far/inputs/{number}/name", {"name": f"Camera {number}"})
        wait_until("the last one is there", lambda: self.picture()["inputs"][287]["name"] == "Camera 288")
        self.wait_for_same()


if __name__ == "__main__":
    main()
