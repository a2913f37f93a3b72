"""The programs of the model, each killed, stopped and started anew as the schedule wants it: brokers, routers (a driver
with its backend), gateways. Nothing of them survives their close()."""

import contextlib
import ctypes
import json
import mmap
import os
import pathlib
import shutil
import signal
import struct
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[3] / "support"))
from running_driver import PATIENCE, wait_until  # noqa: E402

BROKER = "/usr/sbin/nats-server"
CLONE_NEWNS = 0x00020000
libc = ctypes.CDLL(None)


def own_mounts():
    """What is mounted from here on goes with this process, however that ends. True when that is possible; to be called before
    there are threads."""
    if libc.unshare(CLONE_NEWNS) != 0:
        return False
    return subprocess.run(["mount", "--make-rprivate", "/"], capture_output=True, check=False).returncode == 0


class Program:
    """One process at a time, the same again after its end."""

    def __init__(self, name, folder):
        self.name = name
        self.folder = folder
        folder.mkdir()
        self.process = None

    def run(self, command, **further):
        with open(self.folder / "errors", "ab") as errors:
            self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=errors, **further)

    def errors(self):
        return (self.folder / "errors").read_text(encoding="utf-8", errors="replace")

    def expect_running(self):
        if self.process.poll() is not None:
            raise AssertionError(f"{self.name} has ended by itself: {self.errors()[-2000:]}")

    def kill(self):
        self.process.kill()
        self.process.wait(PATIENCE)

    def stop(self):
        self.process.send_signal(signal.SIGSTOP)

    def go_on(self):
        self.process.send_signal(signal.SIGCONT)

    def close(self):
        if self.process:
            self.kill()


STREAM = ["$JS.API.STREAM.INFO.VR_AUDIT", "$JS.API.STREAM.MSG.GET.VR_AUDIT", "$JS.API.STREAM.CREATE.VR_AUDIT"]


def site_user(site):
    """What one site may say and hear at a broker, as docs/federation.md has it."""
    publish = [f"vr.{site}.alive", f"vr.{site}.*.evt", "vr.*.*.get", f"vr.*.*.take.{site}", f"vr.*.*.name.{site}", f"vr.{site}.history", *STREAM]
    subscribe = ["vr.*.alive", "vr.*.*.evt", f"vr.{site}.*.get", f"vr.{site}.*.take.*", f"vr.{site}.*.name.*", f"vi.{site}.>"]
    rights = f"publish: {{ allow: {json.dumps(publish)} }}, subscribe: {json.dumps(subscribe)}"
    return f'{{ user: "{site}", password: "of-{site}", permissions: {{ {rights}, allow_responses: {{ max: 1, expires: "75s" }} }} }}'


class Broker(Program):
    histories = True  # it keeps the stream by which sites hand their histories on

    def __init__(self, name, folder, network, sites, may_mount):
        super().__init__(name, folder)
        self.network = network
        self.sites = sites
        self.address, self.port, self.cluster_port = network.listen_address(name)
        self.others = []  # brokers of the same cluster
        self.state = folder / "state"  # a small disk of its own where one may be mounted
        self.state.mkdir()
        mount = ["mount", "-t", "tmpfs", "-o", "size=32m", "none", str(self.state)]
        self.has_disk = may_mount and subprocess.run(mount, capture_output=True, check=False).returncode == 0

    def configuration(self):
        users = "\n".join(site_user(site) for site in self.sites)
        text = f'listen: "{self.address}:{self.port}"\nserver_name: {self.name}\ndebug: true\nlog_file: "{self.state}/log"\n'
        text += f"accounts {{ ROUTERS {{ {'jetstream: enabled,' if self.histories else ''} users = [\n{users}\n] }} }}\n"
        if self.histories:
            text += f'jetstream {{ store_dir: "{self.state}/streams", max_file_store: 1G }}\n'
        if self.others:
            known = [f'"nats://{each.address}:{each.cluster_port}"' for each in self.others if each.cluster_port > 0]
            text += f'cluster {{ name: all, listen: "{self.address}:{self.cluster_port}", routes: [{", ".join(known)}] }}\n'
        return text

    def start(self):
        """With the ports that it had, and nothing of what it kept."""
        for each in self.state.iterdir():
            if each.is_dir():
                shutil.rmtree(each)
            elif each.name != "filler":
                each.unlink()
        configuration = self.folder / "broker.conf"
        configuration.write_text(self.configuration(), encoding="utf-8")
        self.run([*self.network.prefix(self.name), BROKER, "-c", str(configuration), "--ports_file_dir", str(self.folder)])
        ports = self.folder / f"nats-server_{self.process.pid}.ports"
        self.wait_for_ports(ports)

    def wait_for_ports(self, file):
        told = wait_until(f"{self.name} listens", lambda: self.ports_in(file))
        self.port = int(told["nats"][0].rsplit(":", 1)[1])
        if self.others:
            self.cluster_port = int(told["cluster"][0].rsplit(":", 1)[1])
        self.network.broker_listens(self.name, self.port)

    def ports_in(self, file):
        self.expect_running()
        try:
            return json.loads(file.read_text(encoding="utf-8"))
        except (OSError, ValueError):
            return None

    def fill_disk(self):
        with contextlib.suppress(OSError), open(self.state / "filler", "wb", buffering=0) as filler:
            while True:
                filler.write(bytes(4096))

    def free_disk(self):
        (self.state / "filler").unlink(missing_ok=True)

    def close(self):
        super().close()
        if self.has_disk:
            subprocess.run(["umount", "--lazy", str(self.state)], check=True)


class Router(Program):
    """A driver whose backend writes down what it does."""

    def __init__(self, driver, name, folder, gateway, size):
        super().__init__(f"{gateway.name}:{name}", folder)
        self.driver = driver
        self.ledger = folder / "ledger"
        self.ledger.touch()
        self.clock = gateway.clock_environment()  # both run on one machine
        self.socket = gateway.folder / "run" / f"{name}.sock"
        self.item = gateway.folder / "items" / f"{name}.item"
        inputs, outputs = size
        self.item.write_text(
            f"driver=route_ledger\nstay resident=1\ninputs={inputs}\noutputs={outputs}\nledger={self.ledger}\ndelay ms=30\n",
            encoding="utf-8",
        )

    def start(self):
        self.run([self.driver, "--file", str(self.item), "--sock", str(self.socket)], env={**os.environ, **self.clock})

    def backends(self):
        """Their process numbers: one, or none while there is none."""
        task = pathlib.Path(f"/proc/{self.process.pid}/task/{self.process.pid}/children")
        with contextlib.suppress(OSError):
            return [int(number) for number in task.read_text(encoding="utf-8").split()]
        return []

    def done(self):
        """(time, output, input) of each take that the router did, in their order."""
        return [tuple(int(number) for number in line.split()) for line in self.ledger.read_text(encoding="utf-8").splitlines()]


class Gateway(Program):
    """The gateway of one site. `clock`: a library that moves the clocks of its machine, "" for none."""

    def __init__(self, program, name, folder, network, clock):
        super().__init__(name, folder)
        self.program = program
        self.network = network
        self.port = 0
        self.routers = []
        self.peers = {}  # role by site
        self.brokers = []
        self.hands_on = False  # its history; and of these sites it reads theirs
        self.reads = frozenset()
        self.clock = clock
        for each in ("items", "run", "state"):
            (folder / each).mkdir()
        (folder / "user").write_text(f"{name}\nof-{name}\n", encoding="utf-8")
        (folder / "user").chmod(0o600)
        (folder / "clock").write_bytes(bytes(16))

    def add_token(self, name, role, *limits):
        command = [self.program, "token", "add", name, "--role", role, *limits, "--state", str(self.folder / "state")]
        return subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE, check=True).stdout.strip()

    def configuration(self):
        servers = ", ".join(f'"{self.network.broker_address(self.name, broker.name)}"' for broker in self.brokers)
        text = f'site = "{self.name}"\ninsecure = true\n[nats]\nservers = [{servers}]\ncredentials = "{self.folder}/user"\n'
        if self.hands_on:
            text += "history = true\n"
        for site, role in self.peers.items():
            text += f'[[peer]]\nsite = "{site}"\nrole = "{role}"\n{"history = true" if site in self.reads else ""}\n'
        return text

    def start(self):
        configuration = self.folder / "gateway.toml"
        configuration.write_text(self.configuration(), encoding="utf-8")
        folders = [part for name in ("items", "run", "state") for part in (f"--{name}", str(self.folder / name))]
        reading, writing = os.pipe()
        command = [self.program, "--config", str(configuration), *folders, "--listen", "127.0.0.1:0", "--ready-fd", str(writing)]
        with os.fdopen(reading) as ready:
            self.run([*self.network.prefix(self.name), *command], pass_fds=[writing], env={**os.environ, **self.clock_environment()})
            os.close(writing)
            lines = ready.read().splitlines()
        if not lines:
            raise AssertionError(f"{self.name} did not start: {self.errors()[-2000:]}")
        self.port = int(lines[0].rsplit(":", 1)[1])

    def clock_environment(self):
        return {"LD_PRELOAD": self.clock, "VRDX_MOVED_CLOCK": str(self.folder / "clock")} if self.clock else {}

    def move_clock(self, day, since_start):
        """By nanoseconds, at once, also while it runs."""
        with open(self.folder / "clock", "r+b") as file, mmap.mmap(file.fileno(), 16) as offsets:
            offsets[:] = struct.pack("qq", day, since_start)
