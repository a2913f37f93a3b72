"""What a router looks like on each panel: kept by a real gateway. Each answer is held against the document."""

import json
import signal
import subprocess

from api_test import DescribedTest
from gateway_fixture import PATIENCE, Programs, main, simulated, wait_until

PLAIN_SIDE = {"categories": [], "order": [], "colours": {}, "hidden": [], "favourites": []}
LAYOUT = {
    "inputs": {
        "categories": [{"name": "Cameras", "colour": "blue", "members": [3, 1, 2]}, {"name": "Größe", "colour": None, "members": []}],
        "order": [5, 4],
        "colours": {"red": [7]},
        "hidden": [8],
        "favourites": [1, 6],
    },
    "outputs": {**PLAIN_SIDE, "hidden": [2, 3]},
}


class LayoutTest(DescribedTest):
    items = {"studio": simulated(8, 8), "archive": simulated(4, 4)}

    def setUp(self):
        super().setUp()
        for router in self.items:
            self.wait_for_up(router)

    def path(self, router="studio", query=""):
        return f"/api/v1/routers/{router}/layout{query}"

    def put(self, body, token="", router="studio", query="", **further):
        return self.ask("PUT", self.path(router, query), body, token, **further)

    def written(self, body, **further):
        answer = self.put(body, **further)
        self.assertEqual(answer.status, 200, answer.body)
        return answer.json

    def layout(self, token="", router="studio", query="", **further):
        answer = self.get(self.path(router, query), token=token, **further)
        self.assertEqual(answer.status, 200, answer.body)
        return answer.json

    def sides(self, *arguments, **further):
        whole = self.layout(*arguments, **further)
        return {side: whole[side] for side in ("inputs", "outputs")}

    def plain(self):
        return {"inputs": PLAIN_SIDE, "outputs": PLAIN_SIDE}


class Kept(LayoutTest):
    def test_layout_is_told_as_it_was_written(self):
        before = self.layout()
        self.assertEqual(before, {"router": "studio", "panel": "boss", "changed": None, **self.plain()})
        written = self.written(LAYOUT)
        self.assertEqual({side: written[side] for side in LAYOUT}, LAYOUT)
        self.assertIsNotNone(written["changed"])
        self.assertEqual(self.layout(), written)
        self.assertEqual(self.sides(router="archive"), self.plain())
        self.assertEqual(self.written({"outputs": {"order": [2]}})["inputs"], PLAIN_SIDE)

    def test_layout_outlives_a_killed_gateway(self):
        written = self.written(LAYOUT)
        self.stop_gateway(signal.SIGKILL)
        self.start_gateway()
        self.assertEqual(self.layout(), written)

    def test_removed_layout_shows_the_router_as_it_is(self):
        self.written(LAYOUT)
        for _ in range(2):
            self.assertEqual(self.ask("DELETE", self.path()).status, 204)
            self.assertEqual(self.sides(), self.plain())
        self.assertIsNone(self.layout()["changed"])

    def test_hidden_outputs_can_be_taken_all_the_same(self):
        self.written(LAYOUT)
        answer = self.take([{"output": 2, "input": 8}])
        self.assertEqual([each["result"] for each in answer.json["results"]], ["confirmed"])

    def test_layout_of_a_router_that_is_away_is_there(self):
        self.written(LAYOUT)
        self.stop_driver("studio")
        wait_until("no driver", lambda: self.picture()["state"] == "no driver")
        self.assertEqual(self.sides(), LAYOUT)
        self.written({})

    def test_backup_has_it(self):
        def command(what, file):
            arguments = [Programs.gateway, what, str(file), "--state", str(self.folder / "state")]
            done = subprocess.run(arguments, capture_output=True, text=True, timeout=PATIENCE, check=False)
            self.assertEqual((done.returncode, done.stderr), (0, ""))

        self.written(LAYOUT)
        command("backup", self.folder / "backup")
        self.written({})
        self.stop_gateway()
        command("restore", self.folder / "backup")
        self.start_gateway()
        self.assertEqual(self.sides(), LAYOUT)


class Refused(LayoutTest):
    def test_what_is_no_layout_is_refused_with_a_sentence(self):
        for body, words in (
            ([], ("inputs", "outputs")),
            ({"input": {}}, ("inputs", "outputs")),
            ({"inputs": []}, ("favourites",)),
            ({"outputs": {"hidden": [1025]}}, ("hidden", "1024")),
            ({"outputs": {"hidden": [1, 1]}}, ("hidden", "each once")),
            ({"inputs": {"colours": {"pink": [1]}}}, ("violet",)),
            ({"inputs": {"categories": [{"name": "a"}, {"name": "a"}]}}, ("each once",)),
            ({"inputs": {"categories": [{"name": str(at)} for at in range(65)]}}, ("64",)),
        ):
            with self.subTest(body=str(body)[:60]):
                self.expect_problem(self.put(body), 422, *words)
        for body, status in ((b"{", 400), (b'{"inputs": {"order": [1.5]}}', 400), (b"[" * 1000, 400), (b" " * 131073, 413)):
            with self.subTest(body=body[:20]):
                self.expect_problem(self.put(body), status)
        answer = self.ask("PUT", self.path(), json.dumps(LAYOUT), headers={"Content-Type": "text/plain"})
        self.expect_problem(answer, 415)
        self.assertEqual(self.sides(), self.plain())

    def test_layout_whose_request_fits_and_which_is_larger_as_it_is_kept_is_refused(self):
        side = {"categories": [{"name": str(at), "members": list(range(1, 4097))} for at in range(6)], "order": []}
        length = lambda: len(json.dumps({"inputs": side}, separators=(",", ":")))
        self.assertLess(length(), 131072 - 5)
        side["order"] = list(range(1000, 1000 + (131072 - length()) // 5))
        body = json.dumps({"inputs": side}, separators=(",", ":"))
        self.assertGreater(len(body), 131072 - 10)
        self.expect_problem(self.put(body), 422, "131072 bytes")
        self.assertEqual(self.sides(), self.plain())
        side["order"] = side["order"][:-50]
        smaller = self.written(json.dumps({"inputs": side}, separators=(",", ":")))
        self.assertEqual(smaller["inputs"]["order"], side["order"])


class Panels(LayoutTest):
    def test_each_token_has_its_own(self):
        desk, wall = self.known_token("desk", "operate"), self.known_token("wall", "view")
        self.written({"inputs": {"hidden": [1]}}, token=desk)
        self.written({"inputs": {"hidden": [2]}}, token=wall)
        self.assertEqual((self.layout(desk)["panel"], self.layout(desk)["inputs"]["hidden"]), ("desk", [1]))
        self.assertEqual((self.layout(wall)["panel"], self.layout(wall)["inputs"]["hidden"]), ("wall", [2]))
        self.assertEqual(self.layout()["inputs"]["hidden"], [])

    def test_admin_arranges_for_others_and_nobody_else_does(self):
        desk, far = self.known_token("desk", "lock"), self.known_token("far", "lock", "--router", "archive")
        self.assertEqual(self.written(LAYOUT, query="?panel=desk")["panel"], "desk")
        self.assertEqual(self.sides(desk), LAYOUT)
        self.assertEqual(self.sides(query="?panel=desk"), LAYOUT)
        self.assertEqual(self.sides(), self.plain())
        self.assertEqual(self.sides(desk, query="?panel=desk"), LAYOUT)
        for query in ("?panel=boss", "?panel=nobody", "?panel=anonymous"):
            for answer in (self.put({}, desk, query=query), self.get(self.path(query=query), token=desk), self.ask("DELETE", self.path(query=query), token=desk)):
                self.expect_problem(answer, 403, "admin")
        for name in ("nobody", "far", ""):
            self.expect_problem(self.put({}, query=f"?panel={name}"), 404, "token")
        self.expect_problem(self.get(self.path(), token=far), 404)
        self.assertEqual(self.ask("DELETE", self.path(query="?panel=desk")).status, 204)
        self.assertEqual(self.sides(desk), self.plain())

    def test_layout_goes_with_its_token(self):
        desk = self.known_token("desk", "view")
        self.written(LAYOUT, token=desk)
        self.run_token_command("remove", "desk")
        wait_until("the token is gone", lambda: self.get("/api/v1/routers", token=desk).status == 401)
        self.assertEqual(self.put(LAYOUT, desk).status, 401)
        again = self.known_token("desk", "view")
        self.assertEqual(self.sides(again), self.plain())

    def test_one_without_a_token_reads_nothing(self):
        self.expect_problem(self.get(self.path(), token=None), 401)
        self.expect_problem(self.put({}, None), 401)


class Anonymous(LayoutTest):
    configuration = 'anonymous = "operate"\n'

    def test_reads_what_an_admin_has_kept_for_all(self):
        self.written(LAYOUT, query="?panel=anonymous")
        shown = self.layout(None)
        self.assertEqual((shown["panel"], shown["outputs"]["hidden"]), ("anonymous", [2, 3]))
        origin = {"Origin": f"http://{self.shown_address()}"}
        self.expect_problem(self.put({}, None, headers=origin), 403, "log in")
        self.expect_problem(self.ask("DELETE", self.path(), token=None, headers=origin), 403, "log in")
        self.expect_problem(self.get(self.path(query="?panel=boss"), token=None), 403, "admin")
        self.assertEqual(self.sides(None), LAYOUT)


class AnonymousAdmin(LayoutTest):
    configuration = 'anonymous = "admin"\n'

    def test_writes_the_one_of_all(self):
        origin = {"Origin": f"http://{self.shown_address()}"}
        self.written(LAYOUT, token=None, headers=origin)
        self.assertEqual(self.sides(None), LAYOUT)
        self.assertEqual(self.sides(), self.plain())


if __name__ == "__main__":
    main()
