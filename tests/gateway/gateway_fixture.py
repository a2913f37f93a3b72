"""A real gateway, with real drivers and simulated routers below it. Nothing of it survives the test."""

import http.client
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from running_driver import PATIENCE, RunningDriver, wait_until  # noqa: E402
from websocket_client import WebSocketClient  # noqa: E402


class Programs:
    """Set by main()."""

    driver = gateway = ""


def simulated(inputs=8, outputs=8, further=""):
    return (
        f"driver=route_simulator\nstay resident=1\nsimulated inputs={inputs}\nsimulated outputs={outputs}\n"
        f"simulated levels=video,audio\n{further}"
    )


class Answer:
    def __init__(self, response, body):
        self.status = response.status
        self.headers = {name.lower(): value for name, value in response.getheaders()}
        self.body = body

    @property
    def json(self):
        return json.loads(self.body)


class GatewayTest(unittest.TestCase):
    """Each test has folders of its own for items, sockets and state."""

    configuration = ""
    items = {"studio": simulated()}

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="vrdx_test.", ignore_cleanup_errors=True)
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for name in ("items", "run", "state"):
            (self.folder / name).mkdir()
        self.drivers = {}
        self.gateway = None
        self.addCleanup(self.end_gateway)
        for name, text in self.items.items():
            self.start_driver(name, text)
        self.token = self.add_token("boss", "admin")
        self.start_gateway()

    # --- programs ---

    def start_driver(self, name, text=None):
        """The first time, or again after stop_driver(); without a text on the item that is there."""
        paths = {"item": self.folder / "items" / f"{name}.item", "socket_path": self.folder / "run" / f"{name}.sock"}
        self.drivers[name] = RunningDriver(Programs.driver, text, **paths)
        self.addCleanup(self.drivers[name].close)

    def stop_driver(self, name, number=signal.SIGTERM):
        self.drivers[name].send_signal(number)
        self.drivers.pop(name).wait_for_end()

    def gateway_command(self, *further):
        configuration = self.folder / "gateway.toml"
        configuration.write_text(self.configuration.replace("FOLDER", str(self.folder)), encoding="utf-8")
        folders = [part for name in ("items", "run", "state") for part in (f"--{name}", str(self.folder / name))]
        return [Programs.gateway, "--config", str(configuration), *folders, *further]

    def start_gateway(self, listen="127.0.0.1:0"):
        """`listen` counts unless the configuration names addresses. The first one is asked."""
        switches = [] if "listen" in self.configuration else ["--listen", listen]
        reading, writing = os.pipe()
        with open(self.folder / "gateway.errors", "ab") as errors, os.fdopen(reading) as ready:
            self.gateway = subprocess.Popen(
                self.gateway_command(*switches, "--ready-fd", str(writing)),
                stdin=subprocess.DEVNULL,
                stdout=subprocess.DEVNULL,
                stderr=errors,
                pass_fds=[writing],
            )
            os.close(writing)
            lines = self.wait_for_ready(ready)
        self.assertTrue(lines, f"the gateway did not start: {self.errors()}")
        self.addresses = [self.address_of(line) for line in lines]
        self.address = self.addresses[0]

    def wait_for_ready(self, ready):
        """What it tells on the descriptor once it is ready: a line for each address."""
        return ready.read().splitlines()

    def address_of(self, line):
        host, port = line.rsplit(":", 1)
        return host.strip("[]"), int(port)

    def shown_address(self, address=None):
        """As it stands in a Host header."""
        host, port = address or self.address
        return f"[{host}]:{port}" if ":" in host else f"{host}:{port}"

    def stop_gateway(self, number=signal.SIGTERM):
        self.gateway.send_signal(number)
        return self.gateway.wait(PATIENCE)

    def end_gateway(self):
        if self.gateway is None:
            return
        try:
            self.gateway.send_signal(signal.SIGCONT)
            self.stop_gateway()
        finally:
            self.gateway.kill()
            self.gateway.wait()

    def errors(self):
        return (self.folder / "gateway.errors").read_text(encoding="utf-8", errors="replace")

    def run_token_command(self, *arguments):
        return subprocess.run(
            [Programs.gateway, "token", *arguments, "--state", str(self.folder / "state")],
            capture_output=True,
            text=True,
            timeout=PATIENCE,
            check=True,
        ).stdout.strip()

    def add_token(self, name, role, *limits):
        return self.run_token_command("add", name, "--role", role, *limits)

    # --- asking ---

    def known_token(self, name, role, *limits):
        """The text of a new token that the running gateway has read."""
        token = self.add_token(name, role, *limits)
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=token).status == 200)
        return token

    def ask(self, method, path, body=None, token="", headers=None, connection=None):
        """`body`: an object, or text as it is. `token`: the boss's unless another one, or None for none."""
        sent = {}
        if token is not None:
            sent["Authorization"] = f"Bearer {token or self.token}"
        if body is not None:
            sent["Content-Type"] = "application/json"
            if not isinstance(body, (str, bytes)):
                body = json.dumps(body)
        sent.update(headers or {})
        asked = connection or http.client.HTTPConnection(*self.address, timeout=PATIENCE)
        try:
            asked.request(method, path, body=body, headers=sent)
            response = asked.getresponse()
            answer = Answer(response, response.read())
        finally:
            if connection is None:
                asked.close()
        self.saw(method, path, answer)
        return answer

    def saw(self, method, path, answer):
        """For tests that look at each answer."""

    def get(self, path, **further):
        return self.ask("GET", path, **further)

    def take(self, takes, router="studio", token="", headers=None, **further):
        return self.ask("POST", f"/api/v1/routers/{router}/takes", {"takes": takes, **further}, token, headers)

    def picture(self, router="studio"):
        return self.get(f"/api/v1/routers/{router}").json

    def sources(self, output, router="studio"):
        return self.picture(router)["outputs"][output - 1]["sources"]

    def expect_problem(self, answer, status, *words):
        self.assertEqual((answer.status, answer.headers["content-type"]), (status, "application/problem+json"), answer.body)
        self.assertEqual(answer.json["status"], status)
        for word in words:
            self.assertIn(word, answer.json["detail"])

    def wait_for_up(self, router="studio"):
        wait_until(
            f"{router} is up",
            lambda: any(row["name"] == router and row["state"] == "up" and row["outputs"] for row in self.get("/api/v1/routers").json["routers"]),
        )

    def events(self, query="", token="", headers=(), **further):
        shown = [("Authorization", f"Bearer {token or self.token}")] if token is not None else []
        reader = WebSocketClient(self.address, f"/api/v1/events{query}", [*shown, *headers], **further)
        self.addCleanup(reader.close)
        return reader

    def wait_for_event(self, reader, what, fits):
        """Reads until an event fits; that one."""
        while True:
            event = reader.read_event()
            if fits(event):
                return event


def main():
    """The programs to test are the first two arguments: vrdx_routedriver and vrdx_gateway."""
    Programs.driver = sys.argv.pop(1)
    Programs.gateway = sys.argv.pop(1)
    unittest.main()
