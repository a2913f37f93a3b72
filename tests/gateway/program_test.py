"""The gateway as a program: start, signals, certificates, what it says."""

import http.client
import os
import pathlib
import signal
import socket
import ssl
import subprocess
import tempfile
import unittest

from gateway_fixture import PATIENCE, GatewayTest, Programs, main, wait_until
from certificates import make_certificate  # isort: skip
from websocket_client import WebSocketClient


class Program(GatewayTest):
    def test_address_that_is_taken_is_told(self):
        self.stop_gateway()
        with socket.socket() as taken:
            taken.bind(("127.0.0.1", 0))
            taken.listen()
            port = taken.getsockname()[1]
            second = subprocess.run(
                self.gateway_command("--listen", f"127.0.0.1:{port}"),
                capture_output=True,
                text=True,
                timeout=PATIENCE,
                check=False,
            )
        self.assertEqual((second.returncode, second.stdout), (1, ""))
        self.assertEqual(len(second.stderr.splitlines()), 1, second.stderr)
        self.assertIn(f"127.0.0.1:{port}", second.stderr)

    def test_one_gateway_at_a_time_serves_with_a_state_directory(self):
        """Two would not know of each other's locks."""
        second = subprocess.run(
            self.gateway_command("--listen", "127.0.0.1:0"), capture_output=True, text=True, timeout=PATIENCE, check=False
        )
        self.assertEqual((second.returncode, second.stdout), (1, ""))
        self.assertIn("another vrdx_gateway", second.stderr)
        self.assertEqual(self.get("/healthz").status, 200)
        self.gateway.kill()
        self.gateway.wait(PATIENCE)
        self.start_gateway()
        self.assertEqual(self.get("/healthz").status, 200)

    def test_start_and_end_are_told_in_one_line_each(self):
        self.assertEqual(self.stop_gateway(signal.SIGINT), 0)
        lines = self.errors().splitlines()
        self.assertEqual(lines, [f"vrdx_gateway: serves http on {self.address[0]}:{self.address[1]}", "vrdx_gateway: ends"])

    def test_service_manager_is_told(self):
        self.stop_gateway()
        path = self.folder / "notify"
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
            manager.settimeout(PATIENCE)
            manager.bind(str(path))
            os.environ["NOTIFY_SOCKET"], os.environ["WATCHDOG_USEC"] = str(path), "200000"
            try:
                self.start_gateway()
            finally:
                del os.environ["NOTIFY_SOCKET"], os.environ["WATCHDOG_USEC"]
            told = set()
            while not {"READY=1", "WATCHDOG=1"} <= told:
                told.update(manager.recv(4096).decode().split("\n"))
            self.stop_gateway()
            while "STOPPING=1" not in told:
                told.update(manager.recv(4096).decode().split("\n"))

    def test_wrong_configuration_is_told_and_the_one_of_before_stays(self):
        (self.folder / "gateway.toml").write_text("hosts = 5\n", encoding="utf-8")
        self.gateway.send_signal(signal.SIGHUP)
        wait_until("it is told", lambda: "stays" in self.errors())
        self.assertIn("gateway.toml:1", self.errors())
        self.assertEqual(self.get("/healthz").status, 200)

    def test_new_names_hold_after_sighup(self):
        headers = {"Host": "router.example.org"}
        self.expect_problem(self.get("/healthz", headers=headers), 400)
        (self.folder / "gateway.toml").write_text('hosts = ["router.example.org", "127.0.0.1"]\n', encoding="utf-8")
        self.gateway.send_signal(signal.SIGHUP)
        wait_until("it holds", lambda: self.get("/healthz", headers=headers).status == 200)

    def test_configuration_read_anew_before_it_is_ready_changes_no_address(self):
        self.stop_gateway()
        with socket.socket(socket.AF_UNIX) as silent:
            silent.bind(str(self.folder / "run" / "silent.sock"))  # a driver that says nothing: not ready yet
            silent.listen()
            self.while_starting = self.read_anew_twice
            self.configuration = 'listen = ["127.0.0.1:0", "127.0.0.2:0", "127.0.0.3:0"]\n'
            self.start_gateway()
        self.assertEqual([host for host, _ in self.addresses], ["127.0.0.1", "127.0.0.2", "127.0.0.3"])
        for address in self.addresses:
            self.address = address
            self.assertEqual(self.get("/healthz").status, 200)

    while_starting = None

    def wait_for_ready(self, ready):
        if self.while_starting:
            self.while_starting()
        return super().wait_for_ready(ready)

    def read_anew_twice(self):
        status = pathlib.Path(f"/proc/{self.gateway.pid}/status")
        wait_until("it waits for SIGHUP", lambda: self.catches(status.read_text(encoding="utf-8"), signal.SIGHUP))
        for count in (1, 2):
            self.gateway.send_signal(signal.SIGHUP)
            wait_until("it was read", lambda count=count: self.errors().count("was read anew") == count)
        self.assertNotIn(" serves ", self.errors().rsplit("was read anew", 1)[1])
        (self.folder / "run" / "silent.sock").unlink()

    def catches(self, status, number):
        caught = next(line.split()[1] for line in status.splitlines() if line.startswith("SigCgt"))
        return bool(int(caught, 16) >> (number - 1) & 1)

    def test_killed_gateway_comes_again_with_its_tokens(self):
        self.gateway.send_signal(signal.SIGKILL)
        self.gateway.wait(PATIENCE)
        self.start_gateway()
        self.assertEqual(self.get("/api/v1/routers").status, 200)


def has_ipv6():
    try:
        with socket.socket(socket.AF_INET6) as probe:
            probe.bind(("::1", 0))
        return True
    except OSError:
        return False


@unittest.skipUnless(has_ipv6(), "this machine has no IPv6")
class AddressInBrackets(GatewayTest):
    """The same by [::1], from the command line and from the configuration."""

    def login(self, origin, headers=()):
        return self.ask("POST", "/api/v1/session", {"token": self.token}, None, {"Origin": origin, **dict(headers)})

    def expect_all_works(self):
        own = f"http://{self.shown_address()}"
        self.assertEqual(self.address[0], "::1")
        self.assertEqual(self.get("/healthz").status, 200)
        self.assertEqual(self.get("/healthz", headers={"Host": "[::1]"}).status, 200)
        self.expect_problem(self.get("/healthz", headers={"Host": "[2001:db8::1]:80"}), 400, "[::1]")
        self.assertEqual(self.login(own).status, 200)
        for wrong in ("http://::1", f"http://127.0.0.1:{self.address[1]}", own.replace("[::1]", "[::2]")):
            self.expect_problem(self.login(wrong), 403, own)
        cookie = self.login(own).headers["set-cookie"].split(";")[0]
        reader = self.events(token=None, headers=[("Cookie", cookie), ("Origin", own)])
        self.assertEqual(reader.read_event()["type"], "picture")

    def test_listens_where_the_command_line_says(self):
        self.stop_gateway()
        self.start_gateway("[::1]:0")
        self.expect_all_works()

    def test_listens_where_the_configuration_says(self):
        self.stop_gateway()
        self.configuration = 'listen = ["[::1]:0", "127.0.0.1:0"]\n'
        self.start_gateway()
        self.expect_all_works()
        self.address = self.addresses[1]
        self.assertEqual(self.get("/healthz").status, 200)

    def test_caller_behind_a_proxy_is_counted_by_its_own_address(self):
        self.stop_gateway()
        self.configuration = 'proxies = ["::1"]\n'
        self.start_gateway("[::1]:0")
        own = f"http://{self.shown_address()}"

        def wrong_login(address):
            fields = {"Origin": own, "X-Forwarded-For": address}
            return self.ask("POST", "/api/v1/session", {"token": "wrong"}, None, fields).status

        statuses = [wrong_login(f"[2001:db8::{n:x}]:4711") for n in range(1, 12)]
        self.assertEqual(statuses, [401] * 10 + [429])  # all of one house
        for other in ("[2001:db8:1::7]:80", "2001:DB8:2::7", "192.0.2.7:80"):
            self.assertEqual(wrong_login(other), 401)


class Encrypted(GatewayTest):
    configuration = '[tls]\ncertificate = "FOLDER/used.pem"\nkey = "FOLDER/used.key"\n'

    def setUp(self):
        keys = tempfile.TemporaryDirectory(prefix="vrdx_test.", ignore_cleanup_errors=True)
        self.addCleanup(keys.cleanup)
        self.keys = pathlib.Path(keys.name)
        self.first = make_certificate(self.keys, "first")
        super().setUp()

    def gateway_command(self, *further):
        if not (self.folder / "used.pem").exists():
            self.use(self.first)
        return super().gateway_command(*further)

    def use(self, pair):
        for file, name in zip(pair, ("used.pem", "used.key")):
            (self.folder / name).write_bytes(file.read_bytes())

    def trusting(self, pair):
        return ssl.create_default_context(cafile=str(pair[0]))

    def status_trusting(self, pair):
        connection = http.client.HTTPSConnection(*self.address, timeout=PATIENCE, context=self.trusting(pair))
        try:
            connection.request("GET", "/healthz")
            return connection.getresponse().status
        except ssl.SSLCertVerificationError:
            return None
        finally:
            connection.close()

    def test_requests_and_events_are_encrypted(self):
        self.assertEqual(self.status_trusting(self.first), 200)
        headers = [("Authorization", f"Bearer {self.token}")]
        with WebSocketClient(self.address, headers=headers, tls=self.trusting(self.first)) as reader:
            self.assertEqual(reader.read_event()["type"], "picture")

    def test_session_cookie_is_for_encrypted_connections_alone(self):
        connection = http.client.HTTPSConnection(*self.address, timeout=PATIENCE, context=self.trusting(self.first))
        self.addCleanup(connection.close)
        own = f"https://{self.address[0]}:{self.address[1]}"
        answer = self.ask("POST", "/api/v1/session", {"token": self.token}, None, {"Origin": own}, connection)
        self.assertEqual(answer.status, 200)
        self.assertIn("; Secure", answer.headers["set-cookie"])

    def test_plain_text_gets_no_answer_and_harms_nobody(self):
        with socket.create_connection(self.address, PATIENCE) as plain:
            plain.sendall(b"GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n")
            self.assertNotIn(b"HTTP", plain.recv(4096))
        self.assertEqual(self.status_trusting(self.first), 200)

    def test_new_certificate_holds_after_sighup_and_a_wrong_one_changes_nothing(self):
        second = make_certificate(self.keys, "second")
        headers = [("Authorization", f"Bearer {self.token}")]
        reader = WebSocketClient(self.address, headers=headers, tls=self.trusting(self.first))
        self.addCleanup(reader.close)
        self.use(second)
        self.gateway.send_signal(signal.SIGHUP)
        wait_until("the second one holds", lambda: self.status_trusting(second) == 200)
        self.assertEqual(reader.read_event()["type"], "picture")
        (self.folder / "used.key").write_bytes(self.first[1].read_bytes())
        self.gateway.send_signal(signal.SIGHUP)
        wait_until("it is told", lambda: "stays" in self.errors())
        self.assertEqual(self.status_trusting(second), 200)


class CommandLine(GatewayTest):
    items = {}

    def test_help_and_version(self):
        for switch in ("--help", "--version"):
            done = subprocess.run([Programs.gateway, switch], capture_output=True, text=True, timeout=PATIENCE, check=False)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            self.assertTrue(done.stdout)

    def test_wrong_use_is_exit_code_2(self):
        done = subprocess.run(
            [Programs.gateway, "--nonsense"], capture_output=True, text=True, timeout=PATIENCE, check=False
        )
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertTrue(done.stderr)


if __name__ == "__main__":
    main()
