"""What programs ask of the gateway: lists, pictures, takes, names, locks. Each answer is held against the document."""

import datetime
import os
import pwd
import re
import time

from gateway_fixture import PATIENCE, GatewayTest, main, simulated, wait_until

import jsonschema


class DescribedTest(GatewayTest):
    """Holds each answer against the OpenAPI document that the gateway serves."""

    document = None

    def saw(self, method, path, answer):
        if self.document is None:
            self.document = {}
            self.document = self.get("/api/v1/openapi.json").json
        if not self.document:
            return
        operation = self.operation(method, path.split("?")[0])
        if operation is None:
            self.assertIn(answer.status, (200, 400, 404, 405), path)
            return
        described = operation["responses"].get(str(answer.status))
        self.assertIsNotNone(described, f"{method} {path} answered {answer.status}, which is not described")
        if "content" not in described:
            self.assertEqual(answer.body, b"")
            return
        content_type = answer.headers["content-type"]
        self.assertIn(content_type, described["content"])
        if method != "HEAD":
            self.hold_against(described["content"][content_type]["schema"], answer.json)

    def operation(self, method, path):
        for pattern, methods in self.document["paths"].items():
            if re.fullmatch(re.sub(r"\{[a-z]+\}", "[^/]+", pattern), path):
                return methods.get("get" if method == "HEAD" else method.lower())
        return None

    def hold_against(self, schema, value):
        jsonschema.Draft202012Validator({**schema, "components": self.document["components"]}).validate(value)


class Routers(DescribedTest):
    items = {"studio": simulated(), "archive": simulated(4, 2)}

    def test_list_names_all_routers_with_state_and_size(self):
        self.wait_for_up("studio")
        self.wait_for_up("archive")
        rows = self.get("/api/v1/routers").json["routers"]
        self.assertEqual([row["name"] for row in rows], ["archive", "studio"])
        since = datetime.datetime.fromisoformat(rows[0].pop("since"))
        self.assertLess(abs(since.timestamp() - time.time()), PATIENCE)
        self.assertEqual(
            rows[0],
            {
                "name": "archive",
                "state": "up",
                "reason": "",
                "inputs": 4,
                "outputs": 2,
                "levels": ["video", "audio"],
                "last_error": None,
            },
        )

    def test_picture_has_all_inputs_and_outputs(self):
        self.wait_for_up("archive")
        picture = self.picture("archive")
        self.assertEqual([each["name"] for each in picture["inputs"]], ["Input 1", "Input 2", "Input 3", "Input 4"])
        self.assertEqual([each["number"] for each in picture["outputs"]], [1, 2])
        wait_until("the router has reported", lambda: self.sources(2, "archive") == {"video": 2, "audio": 2})

    def test_unchanged_picture_is_not_sent_again(self):
        self.wait_for_up()
        first = self.get("/api/v1/routers/studio")
        tag = first.headers["etag"]
        self.assertEqual(self.get("/api/v1/routers/studio", headers={"If-None-Match": f'"other", {tag}'}).status, 304)
        self.take([{"output": 1, "input": 5}])
        changed = wait_until(
            "another tag", lambda: (lambda a: a if a.status == 200 else None)(self.get("/api/v1/routers/studio", headers={"If-None-Match": tag}))
        )
        self.assertNotEqual(changed.headers["etag"], tag)

    def test_tag_changes_with_a_lock(self):
        self.wait_for_up()
        tag = self.get("/api/v1/routers/studio").headers["etag"]
        self.ask("POST", "/api/v1/routers/studio/outputs/2/lock", {"state": "lock", "reason": "on air"})
        answer = self.get("/api/v1/routers/studio", headers={"If-None-Match": tag})
        self.assertEqual(answer.status, 200)
        self.assertEqual(answer.json["outputs"][1]["lock"]["reason"], "on air")

    def test_router_that_is_not_there(self):
        self.expect_problem(self.get("/api/v1/routers/nowhere"), 404, "/api/v1/routers")

    def test_head_is_get_without_its_body(self):
        self.wait_for_up()
        whole = self.get("/api/v1/routers/studio")
        head = self.ask("HEAD", "/api/v1/routers/studio")
        self.assertEqual((head.status, head.body), (200, b""))
        self.assertEqual(head.headers["content-length"], str(len(whole.body)))

    def test_unknown_paths_and_methods_say_what_is_possible(self):
        self.expect_problem(self.get("/api/v2"), 404, "openapi.json")
        answer = self.ask("DELETE", "/api/v1/routers")
        self.expect_problem(answer, 405, "GET, HEAD")
        self.assertEqual(answer.headers["allow"], "GET, HEAD")

    def test_driver_that_ends_and_comes_again(self):
        self.wait_for_up()
        epoch = self.picture()["epoch"]
        self.stop_driver("studio")
        wait_until("no driver", lambda: self.picture()["state"] == "no driver")
        since = self.picture()["since"]
        answer = self.take([{"output": 1, "input": 2}])
        self.assertEqual(answer.json["results"][0]["result"], "unavailable")
        row = next(row for row in self.get("/api/v1/routers").json["routers"] if row["name"] == "studio")
        self.assertEqual((row["state"], row["since"]), ("no driver", since))
        self.start_driver("studio")
        wait_until("it is up again", lambda: self.picture()["state"] == "up")
        self.assertNotEqual(self.picture()["epoch"], epoch)


class Takes(DescribedTest):
    items = {"studio": simulated(8, 8, "simulated refuse outputs=5\n")}

    def setUp(self):
        super().setUp()
        self.wait_for_up()
        wait_until("the router has reported", lambda: self.sources(8) == {"video": 8, "audio": 8})

    def results(self, takes, **further):
        answer = self.take(takes, **further)
        self.assertEqual(answer.status, 200, answer.body)
        return answer.json["results"]

    def test_confirmed_take_is_in_the_picture(self):
        self.assertEqual(self.results([{"output": 1, "input": 3}]), [{"output": 1, "result": "confirmed"}])
        output = wait_until(
            "the picture shows it",
            lambda: (lambda o: o if o["sources"] == {"video": 3, "audio": 3} and not o["pending"] else None)(self.picture()["outputs"][0]),
        )
        self.assertEqual(output["taken_by"]["by"], "boss")
        self.assertEqual(output["previous"], {"video": 1, "audio": 1})
        name = pwd.getpwuid(os.getuid()).pw_name
        wait_until("the user's name is known", lambda: self.picture()["outputs"][0]["taken_by"]["user_name"] == name)

    def test_router_that_refuses_has_a_last_error(self):
        self.assertIsNone(self.get("/api/v1/routers").json["routers"][0]["last_error"])
        self.assertEqual(self.results([{"output": 5, "input": 3}])[0]["result"], "refused")
        error = wait_until("the error is told", lambda: self.get("/api/v1/routers").json["routers"][0]["last_error"])
        self.assertEqual(error["text"], "output 5 refuses to switch")
        self.assertLess(abs(datetime.datetime.fromisoformat(error["time"]).timestamp() - time.time()), PATIENCE)

    def test_what_was_shown_before_is_known_after_a_restart_of_the_gateway(self):
        self.assertEqual(self.results([{"output": 1, "input": 3}])[0]["result"], "confirmed")
        self.stop_gateway()
        self.start_gateway()
        self.wait_for_up()
        wait_until("the record is read", lambda: self.picture()["outputs"][0]["previous"] == {"video": 1, "audio": 1})
        self.assertIsNone(self.picture()["outputs"][1]["previous"])

    def test_results_stand_in_the_order_of_the_takes(self):
        results = self.results([{"output": 7, "input": 1}, {"output": 2, "input": 0}, {"output": 99, "input": 1}])
        self.assertEqual([result["output"] for result in results], [7, 2, 99])
        self.assertEqual([result["result"] for result in results], ["confirmed", "confirmed", "refused"])
        self.assertEqual(results[2]["reason"], "no such output")

    def test_levels_are_taken_apart_and_the_other_one_stays(self):
        self.assertEqual(self.results([{"output": 2, "sources": {"video": 3, "audio": 4}}])[0]["result"], "confirmed")
        wait_until("both levels", lambda: self.sources(2) == {"video": 3, "audio": 4})
        wait_until("it is confirmed", lambda: not self.picture()["outputs"][1]["pending"])
        self.assertEqual(self.results([{"output": 2, "sources": {"audio": 1}}])[0]["result"], "confirmed")
        wait_until("audio alone", lambda: self.sources(2) == {"video": 3, "audio": 1})

    def test_sources_by_name(self):
        self.assertEqual(self.results([{"output": 3, "input": "Input 6"}])[0]["result"], "confirmed")
        wait_until("it is taken", lambda: self.sources(3) == {"video": 6, "audio": 6})
        self.expect_problem(self.take([{"output": 3, "input": "Nobody"}]), 422, "Nobody")

    def test_name_of_two_inputs_is_refused(self):
        self.ask("PUT", "/api/v1/routers/studio/inputs/2/name", {"name": "Input 1"})
        wait_until("the name is there", lambda: self.picture()["inputs"][1]["name"] == "Input 1")
        self.expect_problem(self.take([{"output": 3, "input": "Input 1"}]), 422, "1 and 2")

    def test_router_that_refuses_says_so(self):
        (result,) = self.results([{"output": 5, "input": 1}])
        self.assertEqual(result["result"], "refused")
        self.assertIn("by the router", result["reason"])

    def test_malformed_bodies_say_what_is_possible_and_take_nothing(self):
        before = self.picture()["outputs"]
        good = {"output": 1, "input": 4}
        for body in (
            {},
            {"takes": []},
            {"takes": [good], "more": 1},
            {"takes": [good, good]},
            {"takes": [good, {"output": 0, "input": 1}]},
            {"takes": [good, {"output": 2}]},
            {"takes": [good, {"output": 2, "input": 1, "sources": {"video": 1}}]},
            {"takes": [good, {"output": 2, "sources": {}}]},
            {"takes": [good, {"output": 2, "sources": {"picture": 1}}]},
            {"takes": [good, {"output": 2, "input": -1}]},
            {"takes": [good, {"output": 2, "input": 5000}]},
            {"takes": [good, {"output": 2, "input": True}]},
            {"takes": [good], "within": 50},
            {"takes": [good], "within": "long"},
            {"takes": [good], "all_or_nothing": 1},
            {"takes": [{"output": number, "input": 1} for number in range(1, 1026)]},
            [good],
        ):
            with self.subTest(body=str(body)[:80]):
                self.expect_problem(self.ask("POST", "/api/v1/routers/studio/takes", body), 422)
        self.assertEqual(self.picture()["outputs"], before)

    def test_bodies_that_are_no_strict_json(self):
        for text, words in (
            (b"", "JSON"),
            (b"{", "JSON"),
            (b'{"takes":[{"output":1,"input":1}],"takes":[]}', "twice"),
            (b"[" * 100, "deep"),
            (b'{"takes":1e400}', "number"),
            (b'{"takes":99999999999999999999}', "number"),
            (b'{"takes":1.5}', "number"),
            (b'{"takes":"\xff\xfe"}', "UTF-8"),
            (b'{"takes":[]} x', "JSON"),
        ):
            with self.subTest(text=text[:60]):
                self.expect_problem(self.ask("POST", "/api/v1/routers/studio/takes", text), 400, words)

    def test_body_of_another_type(self):
        answer = self.ask("POST", "/api/v1/routers/studio/takes", "takes", headers={"Content-Type": "text/plain"})
        self.expect_problem(answer, 415, "application/json")

    def test_same_key_takes_once(self):
        key = {"Idempotency-Key": "one"}
        first = self.take([{"output": 1, "input": 3}], headers=key)
        self.take([{"output": 1, "input": 2}])
        again = self.take([{"output": 1, "input": 3}], headers=key)
        self.assertEqual((again.status, again.body), (200, first.body))
        wait_until("input 2 stays", lambda: self.sources(1) == {"video": 2, "audio": 2})
        self.expect_problem(self.take([{"output": 1, "input": 4}], headers=key), 422, "Idempotency-Key")

    def test_all_or_nothing_takes_nothing_when_one_is_locked(self):
        self.ask("POST", "/api/v1/routers/studio/outputs/2/lock", {"state": "lock"})
        results = self.results([{"output": 1, "input": 7}, {"output": 2, "input": 7}], all_or_nothing=True)
        self.assertEqual([result["result"] for result in results], ["withdrawn", "locked"])
        self.assertEqual(self.sources(1), {"video": 1, "audio": 1})

    def test_all_or_nothing_takes_nothing_when_one_is_not_there(self):
        for other in ({"output": 999, "input": 7}, {"output": 2, "input": 999}):
            results = self.results([{"output": 1, "input": 7}, other], all_or_nothing=True)
            self.assertEqual([result["result"] for result in results], ["withdrawn", "refused"])
        self.assertEqual(self.sources(1), {"video": 1, "audio": 1})


class Places(DescribedTest):
    def setUp(self):
        super().setUp()
        self.wait_for_up()

    def lock(self, state, output=2, token="", **further):
        return self.ask("POST", f"/api/v1/routers/studio/outputs/{output}/lock", {"state": state, **further}, token)

    def test_names_are_given_and_shown(self):
        answer = self.ask("PUT", "/api/v1/routers/studio/outputs/3/name", {"name": "Stüdio ☃"})
        self.assertEqual((answer.status, answer.json), (202, {"name": "Stüdio ☃"}))
        wait_until("the name is shown", lambda: self.picture()["outputs"][2]["name"] == "Stüdio ☃")

    def test_wrong_names_and_places(self):
        path = "/api/v1/routers/studio/outputs/3/name"
        for body in ({}, {"name": 3}, {"name": "a\nb"}, {"name": "x" * 1025}, {"name": "x", "more": 1}):
            self.expect_problem(self.ask("PUT", path, body), 422)
        for place in ("9", "0", "03", "-1", "three", "99999999999999999999"):
            answer = self.ask("PUT", f"/api/v1/routers/studio/outputs/{place}/name", {"name": "x"})
            self.expect_problem(answer, 404, "1 to 8")

    def test_locked_output_is_not_taken_by_anybody(self):
        answer = self.lock("lock", reason="on air")
        self.assertEqual(answer.json["lock"]["owner"], "boss")
        (result,) = self.take([{"output": 2, "input": 1}]).json["results"]
        self.assertEqual(result["result"], "locked")
        self.assertIn("boss", result["reason"])
        self.assertIn("on air", result["reason"])
        self.assertIsNone(self.lock("unlock").json["lock"])
        self.assertEqual(self.take([{"output": 2, "input": 1}]).json["results"][0]["result"], "confirmed")

    def test_protected_output_is_its_owners(self):
        other = self.add_token("other", "operate")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=other).status == 200)
        self.lock("protect", token=other)
        self.assertEqual(self.take([{"output": 2, "input": 1}]).json["results"][0]["result"], "locked")
        self.assertEqual(self.take([{"output": 2, "input": 1}], token=other).json["results"][0]["result"], "confirmed")
        self.expect_problem(self.lock("unlock"), 409)
        self.expect_problem(self.lock("force", token=other), 403)
        self.assertIsNone(self.lock("force").json["lock"])

    def test_locks_outlive_a_kill(self):
        self.lock("lock", reason="on air")
        self.gateway.kill()
        self.gateway.wait()
        self.start_gateway()
        self.wait_for_up()
        self.assertEqual(self.picture()["outputs"][1]["lock"]["reason"], "on air")

    def test_wrong_locks(self):
        for body in ({}, {"state": "open"}, {"state": 1}, {"state": "lock", "reason": 5}, {"state": "lock", "reason": "x" * 300}):
            self.expect_problem(self.ask("POST", "/api/v1/routers/studio/outputs/1/lock", body), 422)


class Rights(DescribedTest):
    items = {"studio": simulated(), "archive": simulated(4, 2)}

    def setUp(self):
        super().setUp()
        self.wait_for_up("studio")
        self.wait_for_up("archive")

    def test_without_a_token_only_public_paths_answer(self):
        for path in ("/", "/healthz", "/readyz"):
            self.assertEqual(self.get(path, token=None).status, 200)
        for path in ("/api/v1/routers", "/api/v1/routers/studio", "/api/v1/openapi.json", "/api/v1/events"):
            answer = self.get(path, token=None)
            self.expect_problem(answer, 401, "Bearer")
            self.assertEqual(answer.headers["www-authenticate"], "Bearer")
        self.expect_problem(self.get("/api/v1/routers", token="vrdx_wrong"), 401)

    def test_viewer_takes_nothing(self):
        viewer = self.known_token("viewer", "view")
        self.expect_problem(self.take([{"output": 1, "input": 2}], token=viewer), 403, "operate")
        self.expect_problem(self.ask("PUT", "/api/v1/routers/studio/inputs/1/name", {"name": "x"}, viewer), 403, "lock")

    def test_router_out_of_sight_is_not_there(self):
        limited = self.known_token("limited", "operate", "--router", "archive")
        rows = self.get("/api/v1/routers", token=limited).json["routers"]
        self.assertEqual([row["name"] for row in rows], ["archive"])
        hidden = self.get("/api/v1/routers/studio", token=limited)
        missing = self.get("/api/v1/routers/nowhere", token=limited)
        self.assertEqual((hidden.status, hidden.body), (404, missing.body))
        self.expect_problem(self.take([{"output": 1, "input": 2}], token=limited), 404)

    def test_take_beyond_the_tokens_outputs_does_nothing_at_all(self):
        limited = self.known_token("limited", "operate", "--outputs", "1-2", "--inputs", "1-4")
        before = self.picture()["outputs"]
        self.expect_problem(self.take([{"output": 1, "input": 2}, {"output": 3, "input": 2}], token=limited), 403)
        self.expect_problem(self.take([{"output": 1, "input": 2}, {"output": 2, "input": 5}], token=limited), 403)
        self.assertEqual(self.picture()["outputs"], before)
        self.assertEqual(self.take([{"output": 1, "input": 2}], token=limited).json["results"][0]["result"], "confirmed")

    def test_level_that_stays_needs_no_right_on_its_source(self):
        limited = self.known_token("limited", "operate", "--inputs", "1-4")
        self.assertEqual(self.take([{"output": 1, "sources": {"video": 2, "audio": 7}}]).status, 200)
        self.expect_problem(self.take([{"output": 1, "sources": {"audio": 6}}], token=limited), 403)
        answer = self.take([{"output": 1, "sources": {"video": 3}}], token=limited)
        self.assertEqual(answer.json["results"][0]["result"], "confirmed")
        self.assertEqual(self.sources(1), {"audio": 7, "video": 3})

    def test_checks_come_in_their_order(self):
        viewer = self.known_token("viewer", "view", "--router", "archive")
        operator = self.known_token("operator", "operate", "--router", "archive")
        wrong_in_all = {"Host": "evil.example.org", "Content-Type": "text/plain"}
        path = "/api/v1/routers/studio/takes"
        for mended, status, words in (
            ({}, 400, "Host"),
            ({"host": True}, 404, "openapi.json"),
            ({"host": True, "path": path}, 401, "token"),
            ({"host": True, "path": path, "token": viewer}, 403, "operate"),
            ({"host": True, "path": path, "token": operator}, 404, "no router"),
            ({"host": True, "path": path.replace("studio", "archive"), "token": operator}, 415, "application/json"),
            ({"host": True, "path": path.replace("studio", "archive"), "token": operator, "type": True}, 400, "no JSON"),
        ):
            headers = dict(wrong_in_all)
            if "host" in mended:
                del headers["Host"]
            if "type" in mended:
                headers["Content-Type"] = "application/json; charset=utf-8"
            answer = self.ask("POST", mended.get("path", "/nothing"), b"{", mended.get("token"), headers)
            self.expect_problem(answer, status, words)

    def test_removed_token_is_refused(self):
        gone = self.known_token("gone", "view")
        self.run_token_command("remove", "gone")
        wait_until("it is refused", lambda: self.get("/api/v1/routers", token=gone).status == 401)


class NewTokens(DescribedTest):
    def make(self, token="", **wish):
        return self.ask("POST", "/api/v1/tokens", {"name": "kiosk", "role": "operate", **wish}, token)

    def test_new_token_holds_at_once_for_what_was_wished(self):
        self.wait_for_up()
        made = self.make(routers=["studio", "studio"], outputs="2,1", inputs="1-4").json
        text = made.pop("token")
        may = {"name": "kiosk", "role": "operate", "routers": ["studio"], "outputs": "1-2", "inputs": "1-4"}
        self.assertEqual(made, may)
        self.assertEqual(self.get("/api/v1/session", token=text).json, may)
        self.expect_problem(self.take([{"output": 3, "input": 1}], token=text), 403, "1-2")
        self.assertEqual(self.take([{"output": 1, "input": 3}], token=text).json["results"][0]["result"], "confirmed")
        self.assertIn("kiosk", self.run_token_command("list"))

    def test_new_token_outlives_a_restart_and_is_removed_as_any_other(self):
        text = self.make(role="view").json["token"]
        self.stop_gateway()
        self.start_gateway()
        self.assertEqual(self.get("/api/v1/session", token=text).json["name"], "kiosk")
        self.run_token_command("remove", "kiosk")
        wait_until("it is refused", lambda: self.get("/api/v1/session", token=text).status == 401)

    def test_text_is_told_once_and_kept_nowhere(self):
        text = self.make().json["token"]
        self.assertNotIn(text, self.run_token_command("list") + self.errors())
        for file in (self.folder / "state").iterdir():
            self.assertNotIn(text[5:].encode(), file.read_bytes(), file)

    def test_admins_alone_make_tokens(self):
        for role in ("view", "operate", "lock"):
            other = self.make(name=role, role=role).json["token"]
            self.expect_problem(self.make(token=other), 403, "admin")
        self.expect_problem(self.make(token=None), 401)

    def test_new_token_may_nothing_that_its_maker_may_not(self):
        maker = self.make(name="maker", role="admin", routers=["studio"], outputs="1-4", inputs="1-8").json["token"]
        inside = {"routers": ["studio"], "outputs": "1-4", "inputs": "2"}
        for beyond in ({"routers": ["studio", "archive"]}, {"outputs": "4-5"}, {"inputs": "9"}):
            self.expect_problem(self.make(token=maker, **{**inside, **beyond}), 403, "possible")
        for missing in inside:
            wish = {key: value for key, value in inside.items() if key != missing}
            self.expect_problem(self.make(token=maker, **wish), 403, "possible")
        self.assertEqual(self.make(token=maker, **inside).status, 201)

    def test_name_of_another_token_is_refused(self):
        first = self.make().json["token"]
        self.expect_problem(self.make(), 409, "another name")
        self.assertEqual(self.get("/api/v1/session", token=first).status, 200)

    def test_wrong_wishes_say_what_is_possible(self):
        for wish, word in (
            ({"name": ""}, "printable"),
            ({"name": "anonymous"}, "any other"),
            ({"name": "a\nb"}, "printable"),
            ({"name": 5}, "name"),
            ({"role": "none"}, "operate"),
            ({"role": "root"}, "operate"),
            ({"role": None}, "operate"),
            ({"routers": []}, "all routers"),
            ({"routers": "studio"}, "array"),
            ({"routers": ["a/b"]}, "name of an item"),
            ({"outputs": ""}, "outputs"),
            ({"outputs": "8-1"}, "1-8,12"),
            ({"outputs": 3}, "1-8,12"),
            ({"inputs": "1-9999"}, "inputs"),
            ({"until": "never"}, "possible"),
        ):
            with self.subTest(wish=wish):
                self.expect_problem(self.make(**wish), 422, word)
        self.assertNotIn("kiosk", self.run_token_command("list"))


if __name__ == "__main__":
    main()
