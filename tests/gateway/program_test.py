"""The gateway as a program: start, signals, certificates, what it says."""

import http.client
import os
import pathlib
import signal
import socket
import ssl
import subprocess
import tempfile

from gateway_fixture import PATIENCE, GatewayTest, Programs, main, wait_until
from websocket_client import WebSocketClient


def make_certificate(folder, name):
    """A certificate for localhost and its key: (certificate, key)."""
    certificate, key = folder / f"{name}.pem", folder / f"{name}.key"
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "2",
         "-subj", f"/CN={name}", "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1",
         "-keyout", str(key), "-out", str(certificate)],
        check=True,
        capture_output=True,
        timeout=PATIENCE,
    )  # fmt: skip
    return certificate, key


class Program(GatewayTest):
    def test_address_that_is_taken_is_told(self):
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

    def test_killed_gateway_comes_again_with_its_tokens(self):
        self.gateway.send_signal(signal.SIGKILL)
        self.gateway.wait(PATIENCE)
        self.start_gateway()
        self.assertEqual(self.get("/api/v1/routers").status, 200)


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
