"""Requests that no ordinary program sends: answered clearly or cut, and others go on."""

import json
import socket

from gateway_fixture import GatewayTest, main, simulated, wait_until
from raw_http import RawConnection


class RawCase(GatewayTest):
    def raw(self, **further):
        connection = RawConnection(self.address, **further)
        self.addCleanup(connection.close)
        return connection

    def head(self, line="GET /healthz HTTP/1.1", *fields, host=True):
        usual = [f"Host: {self.address[0]}:{self.address[1]}"] if host else []
        return "\r\n".join([line, *usual, *fields]) + "\r\n\r\n"

    def ask_raw(self, text):
        connection = self.raw()
        connection.send(text)
        return connection.read_answer()

    def expect_refusal(self, text, status):
        answered, headers, body = self.ask_raw(text)
        self.assertEqual(answered, status, text)
        self.assertEqual(headers["content-type"], "application/problem+json")
        self.assertTrue(json.loads(body)["detail"])
        self.assertEqual(headers["connection"], "close")

    def expect_others_served(self):
        self.assertEqual(self.get("/healthz").status, 200)


class Requests(RawCase):
    items = {}

    def test_pipelined_requests_are_answered_in_order(self):
        connection = self.raw()
        connection.send(self.head() * 3 + self.head("GET /nothing HTTP/1.1") + self.head())
        self.assertEqual([connection.read_answer()[0] for _ in range(5)], [200, 200, 200, 404, 200])

    def test_request_that_comes_byte_by_byte(self):
        connection = self.raw()
        for letter in self.head():
            connection.send(letter)
        self.assertEqual(connection.read_answer()[0], 200)

    def test_http_1_0_is_answered_and_closed(self):
        connection = self.raw()
        connection.send(self.head("GET /healthz HTTP/1.0"))
        status, headers, _ = connection.read_answer()
        self.assertEqual(status, 200)
        self.assertTrue(connection.is_ended())

    def test_answers_name_the_server_and_no_version(self):
        _, headers, _ = self.ask_raw(self.head())
        self.assertEqual(headers["server"], "vrdx_gateway")
        self.assertEqual(self.events().reply_headers["server"], "vrdx_gateway")
        self.assertIn("date", headers)
        self.assertEqual(headers["x-content-type-options"], "nosniff")

    def test_framing_that_two_readers_understand_in_two_ways(self):
        post = "POST /api/v1/session HTTP/1.1"
        for fields in (
            ("Content-Length: 5", "Transfer-Encoding: chunked"),
            ("Transfer-Encoding: chunked", "Content-Length: 5"),
            ("Content-Length: 5", "Content-Length: 5"),
            ("Content-Length: 5", "Content-Length: 6"),
            ("Content-Length: 5, 5",),
            ("Content-Length: +5",),
            ("Content-Length: -5",),
            ("Content-Length: 0x5",),
            ("Content-Length: 99999999999999999999999",),
            ("Transfer-Encoding: identity",),
            ("Transfer-Encoding: chunked, chunked",),
            ("Transfer-Encoding : chunked",),
            ("X: a\r\n folded",),
            ("X: a\nContent-Length: 5",),
            ("X: a\x00b",),
            (" Content-Length: 5",),
        ):
            with self.subTest(fields=fields):
                self.expect_refusal(self.head(post, *fields) + "GET /healthz HTTP/1.1\r\n\r\n", 400)
        self.expect_others_served()

    def test_malformed_heads(self):
        for text in (
            self.head("GET  /healthz HTTP/1.1"),
            self.head("GET /healthz HTTP/2.0"),
            self.head("GET /healthz"),
            self.head("GET /healthz HTTP/1.1", host=False),
            self.head("GET /healthz HTTP/1.1", "Host: other"),
            self.head("G@T /healthz HTTP/1.1"),
            "\x16\x03\x01\x02\x00\x01\x00\x01\xfc\r\n\r\n",
        ):
            with self.subTest(text=text):
                self.expect_refusal(text, 400)

    def test_targets_with_tricks_in_them(self):
        for target in (
            "*",
            "healthz",
            "/api/v1/routers/..%2f..%2fetc",
            "/api/v1/routers/%2e%2e/healthz",
            "/../healthz",
            "/./healthz",
            "/healthz%00",
            "/healthz%0d%0aX:",
            "/a%5cb",
            "/a\\b",
            "/%ff",
            "/%c0%ae%c0%ae/",
            "/%",
            "/#healthz",
            "http://user@localhost/healthz",
            "http://elsewhere/healthz",
            "ftp://localhost/healthz",
        ):
            with self.subTest(target=target):
                self.expect_refusal(self.head(f"GET {target} HTTP/1.1"), 400)
        for target in ("//healthz", "/healthz/", "/HEALTHZ", "/%2565", "/healthz;a=b"):
            with self.subTest(target=target):
                self.assertEqual(self.ask_raw(self.head(f"GET {target} HTTP/1.1"))[0], 404)

    def test_target_with_the_host_in_it(self):
        host = f"{self.address[0]}:{self.address[1]}"
        self.assertEqual(self.ask_raw(self.head(f"GET http://{host}/healthz HTTP/1.1"))[0], 200)

    def test_methods_nobody_knows(self):
        for method in ("TRACE", "OPTIONS", "PATCH", "BREW"):
            self.assertEqual(self.ask_raw(self.head(f"{method} /healthz HTTP/1.1"))[0], 405)

    def test_headers_without_an_end(self):
        for text in (self.head()[:-2] + "X: " + "y" * 20000, "GET /" + "a" * 20000, self.head()[:-2] + "X: y\r\n" * 4000):
            with self.subTest(length=len(text)):
                self.expect_refusal(text, 431)


class Bodies(RawCase):
    items = {}

    def post(self, *fields, path="/api/v1/session"):
        own = f"http://{self.address[0]}:{self.address[1]}"
        return self.head(f"POST {path} HTTP/1.1", f"Origin: {own}", "Content-Type: application/json", *fields)

    def test_announced_gigabyte_is_refused_before_it_comes(self):
        self.expect_refusal(self.post("Content-Length: 1073741824"), 413)
        self.expect_refusal(self.post("Content-Length: 1073741824", "Expect: 100-continue"), 413)

    def test_endless_chunks_are_refused(self):
        connection = self.raw()
        connection.send(self.post("Transfer-Encoding: chunked"))
        try:
            while True:
                connection.send("400\r\n" + "x" * 1024 + "\r\n")
        except OSError:
            pass
        self.assertIn(connection.read_answer()[0], (413, 0))  # 0: taken back by a reset, for we never read
        self.expect_others_served()

    def test_malformed_chunks(self):
        for chunks in ("x\r\n", "-1\r\n", "5\r\nabc", "fffffffffffffffff\r\n", "5;" + "x" * 30000):
            with self.subTest(chunks=chunks[:20]):
                connection = self.raw()
                connection.send(self.post("Transfer-Encoding: chunked") + chunks)
                if chunks == "5\r\nabc":
                    connection.send("XX")
                    connection.send("no line end")
                self.assertEqual(connection.read_answer()[0], 400)

    def test_chunks_are_a_body_like_any_other(self):
        connection = self.raw()
        body = json.dumps({"token": "wrong"})
        connection.send(self.post("Transfer-Encoding: chunked"))
        for letter in body:
            connection.send(f"1\r\n{letter}\r\n")
        connection.send("0\r\n\r\n")
        self.assertEqual(connection.read_answer()[0], 401)
        connection.send(self.head())
        self.assertEqual(connection.read_answer()[0], 200)

    def test_expectation_is_met_before_the_body_comes(self):
        connection = self.raw()
        body = json.dumps({"token": "wrong"})
        connection.send(self.post(f"Content-Length: {len(body)}", "Expect: 100-continue"))
        self.assertEqual(connection.read_answer()[0], 100)
        connection.send(body)
        self.assertEqual(connection.read_answer()[0], 401)
        self.assertEqual(self.ask_raw(self.post("Content-Length: 2", "Expect: miracles"))[0], 417)

    def test_refused_request_is_answered_though_its_body_still_comes(self):
        connection = self.raw()
        connection.send(self.head("POST /api/v1/routers/a/takes HTTP/1.1", "Content-Length: 100000"))
        status, headers, _ = connection.read_answer()
        self.assertEqual((status, headers["connection"]), (401, "close"))

    def test_body_where_none_belongs(self):
        self.expect_refusal(self.head("GET /healthz HTTP/1.1", "Content-Length: 3") + "abc", 413)

    def test_half_a_body_costs_only_its_sender(self):
        connection = self.raw()
        connection.send(self.post("Content-Length: 100") + "{")
        self.expect_others_served()
        connection.close()
        self.expect_others_served()


class Patience(RawCase):
    """What takes its time: each of these waits for a deadline of the gateway."""

    items = {}

    def test_headers_that_never_end_are_given_up(self):
        connection = self.raw()
        connection.send("GET /healthz HTTP/1.1\r\nHost: ")
        self.assertEqual(connection.read_answer()[0], 408)
        self.assertTrue(connection.is_ended())

    def test_body_that_never_ends_is_given_up(self):
        connection = self.raw()
        own = f"http://{self.address[0]}:{self.address[1]}"
        connection.send(
            self.head("POST /api/v1/session HTTP/1.1", f"Origin: {own}", "Content-Type: application/json", "Content-Length: 100")
        )
        self.assertEqual(connection.read_answer()[0], 408)


class Crowds(RawCase):
    items = {}

    def test_waiting_crowd_gives_way_to_who_asks(self):
        waiting = [self.raw() for _ in range(700)]  # more of one address than may wait
        self.expect_others_served()
        self.assertTrue(waiting[0].is_ended())
        waiting[-1].send(self.head())
        self.assertEqual(waiting[-1].read_answer()[0], 200)


class SlowReaders(RawCase):
    items = {"large": simulated(1024, 1024)}

    def test_answer_that_is_not_read_holds_up_nobody(self):
        wait_until("the picture is there", lambda: len(self.picture("large")["outputs"]) == 1024)
        slow = self.raw(receive_buffer=2048)
        fields = f"Authorization: Bearer {self.token}"
        slow.send(self.head("GET /api/v1/routers/large HTTP/1.1", fields) * 20)
        for _ in range(5):
            self.assertEqual(len(self.picture("large")["outputs"]), 1024)
        for _ in range(20):
            status, _, body = slow.read_answer()
            self.assertEqual((status, len(json.loads(body)["outputs"])), (200, 1024))

    def test_end_waits_for_an_answer_under_way(self):
        wait_until("the picture is there", lambda: len(self.picture("large")["outputs"]) == 1024)
        reader = self.raw(receive_buffer=2048)
        reader.send(self.head("GET /api/v1/routers/large HTTP/1.1", f"Authorization: Bearer {self.token}"))
        status, _, body = reader.read_answer()
        self.assertEqual((status, len(json.loads(body)["outputs"])), (200, 1024))
        self.assertEqual(self.stop_gateway(), 0)
        self.assertTrue(reader.is_ended())
        with self.assertRaises(OSError):
            socket.create_connection(self.address, 1).close()


if __name__ == "__main__":
    main()
