"""A real broker, and gateways of several sites around it. Nothing of it survives the test."""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))
import gateway_fixture  # noqa: E402
from gateway_fixture import PATIENCE, Programs, simulated, wait_until  # noqa: E402, F401

BROKER = "/usr/sbin/nats-server"


def stop_running(process):
    """SIGSTOP, and waits until each of its threads stands still."""
    process.send_signal(signal.SIGSTOP)
    tasks = pathlib.Path(f"/proc/{process.pid}/task")
    states = lambda: [(task / "stat").read_text(encoding="utf-8").rpartition(")")[2].split()[0] for task in tasks.iterdir()]  # noqa: E731
    wait_until("it stands still", lambda: set(states()) == {"T"})


class Broker:
    """A nats-server on a port that the kernel chose, and that it keeps when it is started again."""

    def __init__(self, configuration=""):
        self._folder = tempfile.TemporaryDirectory(prefix="vrdx_test.", ignore_cleanup_errors=True)
        self.folder = pathlib.Path(self._folder.name)
        self.configuration = configuration
        self.process = None
        self.port = -1
        self.start()

    def start(self):
        text = self.folder / "broker.conf"
        told = self.configuration.replace("FOLDER", str(self.folder))
        text.write_text(f'listen: "127.0.0.1:{self.port}"\n{told}', encoding="utf-8")
        with open(self.folder / "broker.log", "ab") as log:
            self.process = subprocess.Popen(
                [BROKER, "-c", str(text), "--ports_file_dir", str(self.folder)],
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
            )
        ports = self.folder / f"nats-server_{self.process.pid}.ports"
        wait_until("the broker listens", lambda: self.ports_in(ports))
        self.port = int(self.ports_in(ports)["nats"][0].rsplit(":", 1)[1])

    def ports_in(self, file):
        if self.process.poll() is not None:
            raise AssertionError(f"the broker has ended: {self.log()}")
        try:
            return json.loads(file.read_text(encoding="utf-8"))
        except (OSError, ValueError):
            return None

    def address(self):
        return f"nats://127.0.0.1:{self.port}"

    def log(self):
        return (self.folder / "broker.log").read_text(encoding="utf-8", errors="replace")

    def kill(self):
        self.process.kill()
        self.process.wait()

    def start_empty(self):
        """Killed, and started anew without what its streams kept."""
        self.kill()
        shutil.rmtree(self.folder / "streams")
        self.start()

    def close(self):
        self.kill()
        self._folder.cleanup()


class Site(gateway_fixture.GatewayTest):
    """The gateway of one site, with the drivers of its machine."""

    items = {}
    program = ""  # instead of the gateway that is tested

    def __init__(self, name, broker, peers=(), items=None, further=""):
        super().__init__()
        self.name = name
        self.items = items or {}
        self.broker = broker
        self.further = further
        self.peers = list(peers)

    def runTest(self):  # makes an object of this class possible outside a run
        raise AssertionError("a site is no test")

    @property
    def configuration(self):
        lines = [f'site = "{self.name}"', "[nats]", f'servers = "{self.broker.address()}"', self.further]
        for peer in self.peers:
            site, role = peer if isinstance(peer, tuple) else (peer, None)
            lines += ["[[peer]]", f'site = "{site}"', *([f'role = "{role}"'] if role else [])]
        return "\n".join(lines) + "\n"

    def gateway_command(self, *further):
        command = super().gateway_command(*further)
        return [self.program, *command[1:]] if self.program else command

    def row(self, router):
        rows = self.get("/api/v1/routers").json["routers"]
        return next((row for row in rows if row["name"] == router), None)

    def is_in_state(self, router, state):
        row = self.row(router)
        return row is not None and row["state"] == state

    def wait_for_state(self, router, state):
        wait_until(f"{router} is {state} at {self.name}", lambda: self.is_in_state(router, state))

    def taken(self, router, output, source):
        """What became of one take."""
        answer = self.take([{"output": output, "input": source}], router)
        if answer.status != 200:
            raise AssertionError(f"{answer.status}: {answer.body}")
        return answer.json["results"][0]

    def take_until_confirmed(self, router, output, source):
        """On a machine under load a beat may be too old, which is refused: then it is asked anew."""
        wait_until("the take is confirmed", lambda: self.taken(router, output, source)["result"] == "confirmed")

    def kill_gateway(self):
        self.gateway.kill()
        self.gateway.wait(PATIENCE)


class SitesTest(unittest.TestCase):
    """A control room without routers, and the site north with one."""

    broker_configuration = ""
    north_peers = ("control",)
    north_items = {"studio": simulated()}

    def setUp(self):
        self.broker = Broker(self.broker_configuration)
        self.addCleanup(self.broker.close)
        self.north = self.add_site("north", self.north_peers, self.north_items)
        self.control = self.add_site("control", ("north",))
        for router in self.north_items:
            self.control.wait_for_state(f"north:{router}", "up")

    def add_site(self, name, peers, items=None, further=""):
        site = Site(name, self.broker, peers, items, further)
        self.addCleanup(site.doCleanups)
        site.setUp()
        return site

    def expect_sources(self, site, router, output, source):
        wait_until(
            f"{router} shows {source} on {output} at {site.name}",
            lambda: site.sources(output, router) == {"video": source, "audio": source},
        )


def main():
    """The programs to test are the first two arguments: vrdx_routedriver and vrdx_gateway."""
    gateway_fixture.main()
