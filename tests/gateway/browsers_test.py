"""What browsers are made to do: sessions, origins, hosts; and what wrong tokens cost."""

import json
import signal

from api_test import DescribedTest
from gateway_fixture import main, wait_until
from raw_http import RawConnection
from websocket_client import Refused


class BrowserCase(DescribedTest):
    def own_origin(self):
        return f"http://{self.address[0]}:{self.address[1]}"

    def begin_session(self, token="", **further):
        return self.ask(
            "POST", "/api/v1/session", {"token": token or self.token, **further}, None, {"Origin": self.own_origin()}
        )

    def cookie(self, **further):
        answer = self.begin_session(**further)
        self.assertEqual(answer.status, 200, answer.body)
        return answer.headers["set-cookie"].split(";")[0]

    def setUp(self):
        super().setUp()
        self.wait_for_up()


class Sessions(BrowserCase):
    def test_cookie_is_for_this_site_alone_and_for_no_script(self):
        answer = self.begin_session()
        attributes = [part.strip() for part in answer.headers["set-cookie"].split(";")]
        self.assertEqual(attributes[1:], ["Path=/", "HttpOnly", "SameSite=Strict"])
        self.assertEqual(answer.json["name"], "boss")
        kept = self.begin_session(keep=True).headers["set-cookie"]
        self.assertIn("Max-Age=2592000", kept)

    def test_cookie_of_a_kept_session_is_given_anew_with_each_look_at_it(self):
        cookie = self.cookie(keep=True)
        answer = self.get("/api/v1/session", token=None, headers={"Cookie": cookie})
        attributes = [part.strip() for part in answer.headers["set-cookie"].split(";")]
        self.assertEqual(attributes, [cookie, "Path=/", "HttpOnly", "SameSite=Strict", "Max-Age=2592000"])
        brief = self.get("/api/v1/session", token=None, headers={"Cookie": self.cookie()})
        self.assertNotIn("set-cookie", brief.headers)
        self.assertNotIn("set-cookie", self.get("/api/v1/session").headers)

    def test_session_stands_for_its_token(self):
        cookie = self.cookie()
        answer = self.get("/api/v1/session", token=None, headers={"Cookie": cookie})
        self.assertEqual((answer.status, answer.json["role"]), (200, "admin"))
        self.assertEqual(self.get("/api/v1/routers", token=None, headers={"Cookie": cookie}).status, 200)

    def test_ended_session_is_none_any_more(self):
        cookie = self.cookie()
        headers = {"Cookie": cookie, "Origin": self.own_origin()}
        ended = self.ask("DELETE", "/api/v1/session", token=None, headers=headers)
        self.assertEqual(ended.status, 204)
        self.assertIn("Max-Age=0", ended.headers["set-cookie"])
        self.expect_problem(self.get("/api/v1/routers", token=None, headers=headers), 401)

    def test_session_ends_with_its_token(self):
        other = self.add_token("other", "view")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=other).status == 200)
        headers = {"Cookie": self.cookie(token=other)}
        self.run_token_command("remove", "other")
        wait_until("it has ended", lambda: self.get("/api/v1/routers", token=None, headers=headers).status == 401)

    def test_session_that_ends_while_its_body_comes_is_obeyed_no_more(self):
        other = self.add_token("other", "lock")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=other).status == 200)
        cookie = self.cookie(token=other)
        body = json.dumps({"state": "lock", "reason": "gone"})
        with RawConnection(self.address) as slow:
            slow.send(
                f"POST /api/v1/routers/studio/outputs/1/lock HTTP/1.1\r\nHost: {self.own_origin()[7:]}\r\nCookie: {cookie}\r\n"
                f"Origin: {self.own_origin()}\r\nContent-Type: application/json\r\nContent-Length: {len(body)}\r\n\r\n{body[:5]}"
            )
            self.run_token_command("remove", "other")
            wait_until("it has ended", lambda: self.get("/api/v1/routers", token=None, headers={"Cookie": cookie}).status == 401)
            slow.send(body[5:])
            self.assertEqual(slow.read_answer()[0], 401)
        self.assertIsNone(self.picture()["outputs"][0]["lock"])

    def test_sessions_readers_end_with_it(self):
        cookie = self.cookie()
        reader = self.events(token=None, headers=[("Cookie", cookie), ("Origin", self.own_origin())])
        reader.read_event()
        self.ask("DELETE", "/api/v1/session", token=None, headers={"Cookie": cookie, "Origin": self.own_origin()})
        self.assertEqual(reader.read_until_closed().code, 1008)

    def test_session_outlives_a_restart(self):
        cookie = self.cookie(keep=True)
        self.stop_gateway()
        self.start_gateway()
        self.assertEqual(self.get("/api/v1/session", token=None, headers={"Cookie": cookie}).status, 200)


class Origins(BrowserCase):
    def test_writes_with_a_cookie_need_the_own_origin(self):
        cookie = self.cookie()
        take = {"takes": [{"output": 1, "input": 3}]}
        path = "/api/v1/routers/studio/takes"
        for origin in (None, "http://evil.example.org", "null", self.own_origin() + "0", self.own_origin().replace("http", "https")):
            headers = {"Cookie": cookie, **({"Origin": origin} if origin else {})}
            self.expect_problem(self.ask("POST", path, take, None, headers), 403, self.own_origin())
        answer = self.ask("POST", path, take, None, {"Cookie": cookie, "Origin": self.own_origin()})
        self.assertEqual(answer.json["results"][0]["result"], "confirmed")

    def test_websocket_with_a_cookie_needs_the_own_origin(self):
        cookie = self.cookie()
        for headers in ([("Cookie", cookie)], [("Cookie", cookie), ("Origin", "http://evil.example.org")]):
            with self.assertRaises(Refused) as refused:
                self.events(token=None, headers=headers)
            self.assertEqual(refused.exception.status, 403)
        reader = self.events(token=None, headers=[("Cookie", cookie), ("Origin", self.own_origin())])
        self.assertEqual(reader.read_event()["type"], "picture")

    def test_program_with_a_token_needs_none(self):
        self.assertEqual(self.take([{"output": 1, "input": 3}], headers={"Origin": "http://elsewhere"}).status, 200)

    def test_form_of_another_site_cannot_log_in(self):
        body = json.dumps({"token": self.token})
        for headers in ({"Origin": "http://evil.example.org"}, {}):
            self.expect_problem(self.ask("POST", "/api/v1/session", body, None, headers), 403)
        answer = self.ask(
            "POST", "/api/v1/session", body, None, {"Origin": self.own_origin(), "Content-Type": "text/plain"}
        )
        self.expect_problem(answer, 415)

    def test_host_of_another_name_is_refused(self):
        for host in ("evil.example.org", "localhost.evil.example.org:80", "127.0.0.1.example.org"):
            for path in ("/", "/healthz", "/api/v1/routers"):
                self.expect_problem(self.get(path, headers={"Host": host}), 400, "localhost")
        self.assertEqual(self.get("/healthz", headers={"Host": "localhost:9"}).status, 200)


class TokensOfBrowsers(BrowserCase):
    def test_token_is_made_from_an_own_page_alone(self):
        cookie = self.cookie()
        wish = {"name": "kiosk", "role": "view"}
        for origin in ({}, {"Origin": "http://evil.example.org"}):
            self.expect_problem(self.ask("POST", "/api/v1/tokens", wish, None, {"Cookie": cookie, **origin}), 403, "Origin")
        answer = self.ask("POST", "/api/v1/tokens", wish, None, {"Cookie": cookie, "Origin": self.own_origin()})
        self.assertEqual((answer.status, answer.headers["cache-control"]), (201, "no-store"))


class WrongTokens(BrowserCase):
    def test_many_wrong_ones_are_slowed_down_and_valid_ones_never(self):
        statuses = []
        while 429 not in statuses:
            statuses.append(self.begin_session(token=f"vrdx_wrong{len(statuses)}").status)
            self.assertLess(len(statuses), 40)
        self.assertEqual(statuses[:10], [401] * 10)
        self.expect_problem(self.begin_session(token="vrdx_wrong"), 429, "seconds")
        self.assertEqual(self.begin_session().status, 200)
        self.assertEqual(self.get("/api/v1/routers").status, 200)
        self.expect_problem(self.get("/api/v1/routers", token="vrdx_wrong"), 429)


class Anonymous(BrowserCase):
    configuration = 'anonymous = "view"\n'

    def test_anonymous_may_what_the_configuration_gives(self):
        self.assertEqual(self.get("/api/v1/routers", token=None).status, 200)
        self.assertEqual(self.get("/api/v1/session", token=None).json["name"], "anonymous")
        headers = {"Origin": self.own_origin()}
        path = "/api/v1/routers/studio/takes"
        self.expect_problem(self.ask("POST", path, {"takes": [{"output": 1, "input": 1}]}, None, headers), 403, "operate")
        self.expect_problem(self.get("/api/v1/routers", token="vrdx_wrong"), 401)

    def test_anonymous_reader_needs_the_own_origin(self):
        with self.assertRaises(Refused):
            self.events(token=None)
        reader = self.events(token=None, headers=[("Origin", self.own_origin())])
        self.assertEqual(reader.read_event()["type"], "picture")


class AnonymousAdmin(BrowserCase):
    configuration = 'anonymous = "admin"\n'

    def test_makes_no_token_that_would_outlive_the_configuration(self):
        wish = {"name": "kiosk", "role": "view"}
        answer = self.ask("POST", "/api/v1/tokens", wish, None, {"Origin": self.own_origin()})
        self.expect_problem(answer, 403, "without a token")


class Walls(BrowserCase):
    configuration = """
proxies = "127.0.0.1"
[[wall]]
addresses = ["192.0.2.40", "2001:db8::40"]
[[wall]]
addresses = "192.0.2.41"
role = "operate"
"""

    def session_at(self, address):
        return self.get("/api/v1/session", token=None, headers={"X-Forwarded-For": address})

    def test_address_stands_for_a_token(self):
        for address, role in (("192.0.2.40", "view"), ("2001:DB8:0::40", "view"), ("192.0.2.41", "operate")):
            self.assertEqual(self.session_at(address).json["role"], role)
        for address in ("192.0.2.42", "192.0.2.40, 192.0.2.42", "unknown"):
            self.expect_problem(self.session_at(address), 401)
        self.expect_problem(self.get("/api/v1/session", token=None), 401)

    def test_wall_that_may_view_takes_nothing(self):
        take = {"takes": [{"output": 1, "input": 2}]}
        for address, status in (("192.0.2.40", 403), ("192.0.2.41", 200)):
            headers = {"Origin": self.own_origin(), "X-Forwarded-For": address}
            self.assertEqual(self.ask("POST", "/api/v1/routers/studio/takes", take, None, headers).status, status)
        foreign = {"Origin": "http://evil.example.org", "X-Forwarded-For": "192.0.2.41"}
        self.expect_problem(self.ask("POST", "/api/v1/routers/studio/takes", take, None, foreign), 403, "Origin")

    def test_token_at_a_wall_counts_for_more(self):
        answer = self.get("/api/v1/session", headers={"X-Forwarded-For": "192.0.2.40"})
        self.assertEqual(answer.json["name"], "boss")

    def test_wall_that_is_none_any_more_is_shown_nothing(self):
        headers = [("Origin", self.own_origin()), ("X-Forwarded-For", "192.0.2.40")]
        reader = self.events(token=None, headers=headers)
        self.assertEqual(reader.read_event()["type"], "picture")
        (self.folder / "gateway.toml").write_text('proxies = "127.0.0.1"\n', encoding="utf-8")
        self.gateway.send_signal(signal.SIGHUP)
        self.assertEqual(reader.read_until_closed().code, 1008)
        self.assertEqual(self.session_at("192.0.2.40").status, 401)


if __name__ == "__main__":
    main()
