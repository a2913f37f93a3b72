"""Videohub routers that others have written: packages of npm's registry, of one version each, run as they are.

A package is fetched once with npm, from the registry that npm is set up for, into the build folder. What lies there is
used only while it is, byte for byte, what it was when these tests were written.
"""

import base64
import fcntl
import hashlib
import json
import os
import shutil
import socket
import subprocess
import tarfile
import tempfile

from running_driver import PATIENCE, wait_until

FETCH_SECONDS = 60  # npm may hang longer than anybody waits for a test
MOST_TRIES = 10  # of a port that was free a moment ago

# What npm says when the registry is not there, or somebody on the way does not let us through.
UNREACHABLE = (
    {"ENOTFOUND", "EAI_AGAIN", "ECONNREFUSED", "ECONNRESET", "ETIMEDOUT", "ENETUNREACH", "EHOSTUNREACH"}
    | {"ERR_SOCKET_TIMEOUT", "EIDLETIMEOUT", "E401", "E403", "E407", "E502", "E503", "E504"}
)


class CannotBeHad(Exception):
    """npm or node is missing, or the registry cannot be reached."""


class Package:
    """`integrity` is the SHA-512 of its archive, written as npm writes it."""

    def __init__(self, name, version, integrity):
        self.name = f"{name}@{version}"
        self.integrity = integrity
        self.folder = f"{name.replace('@', '').replace('/', '-')}-{version}"

    def fetch(self, cache):
        """The folder with the package's files, below `cache`; several tests may ask for it at once."""
        for tool in ("node", "npm"):
            if shutil.which(tool) is None:
                raise CannotBeHad(f"{tool} is not installed")
        os.makedirs(cache, exist_ok=True)
        archive = os.path.join(cache, self.folder + ".tgz")
        with open(archive + ".lock", "w", encoding="ascii") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            if not os.path.exists(archive) or self.integrity_of(archive) != self.integrity:
                self.download(cache, archive)
            return self.unpack(cache, archive)

    def download(self, cache, archive):
        with tempfile.TemporaryDirectory(prefix="fetch.", dir=cache) as directory:
            command = ["npm", "pack", "--json", "--ignore-scripts", "--fetch-retries=1", "--fetch-timeout=20000"]
            command += ["--no-update-notifier", "--cache", os.path.join(directory, "npm")]
            command += ["--pack-destination", directory, self.name]
            try:
                result = subprocess.run(
                    command, capture_output=True, text=True, check=False, timeout=FETCH_SECONDS, cwd=directory
                )
            except subprocess.TimeoutExpired as error:
                raise CannotBeHad(f"npm does not bring {self.name} in {FETCH_SECONDS} s") from error
            if result.returncode != 0:
                self.tell_failure(result)
            (packed,) = [name for name in os.listdir(directory) if name.endswith(".tgz")]
            fetched = os.path.join(directory, packed)
            found = self.integrity_of(fetched)
            if found != self.integrity:
                raise AssertionError(f"{self.name} is not what it was: {found}")
            os.replace(fetched, archive)

    def tell_failure(self, result):
        try:
            code = json.loads(result.stdout)["error"]["code"]
        except (ValueError, KeyError, TypeError):
            code = "unknown"
        lines = [line for line in result.stderr.splitlines() if not line.startswith("npm warn")]
        text = f"npm pack {self.name}: {code}\n" + "\n".join(lines[:6])
        if code in UNREACHABLE:
            raise CannotBeHad(text)
        raise AssertionError(text)

    @staticmethod
    def integrity_of(archive):
        with open(archive, "rb") as file:
            return "sha512-" + base64.b64encode(hashlib.sha512(file.read()).digest()).decode()

    def unpack(self, cache, archive):
        """Anew each time: files that somebody has changed in the cache would be run otherwise."""
        folder = tempfile.mkdtemp(prefix=f"{self.folder}.", dir=cache)
        with tarfile.open(archive) as packed:
            packed.extractall(folder)
        return folder


class IndependentPeer:
    """A router of one of these packages, on 127.0.0.1."""

    def __init__(self, command, environment=None):
        """`command` and the values of `environment` have "{port}" where the port belongs."""
        self.output = tempfile.TemporaryFile()
        for _ in range(MOST_TRIES):
            with socket.create_server(("127.0.0.1", 0)) as probe:
                self.port = probe.getsockname()[1]
            self.process = self.start(command, environment or {})
            if wait_until("it is served or has ended", self.is_served_or_ended) == "served":
                return
        raise AssertionError(f"the independent router does not start: {self.text()}")

    def start(self, command, environment):
        values = {name: value.format(port=self.port) for name, value in environment.items()}
        return subprocess.Popen(
            [part.format(port=self.port) for part in command],
            env={**os.environ, **values},
            stdin=subprocess.DEVNULL,
            stdout=self.output,
            stderr=self.output,
        )

    def is_served_or_ended(self):
        if self.process.poll() is not None:  # somebody else has the port by now
            return "ended"
        with socket.socket() as probe:
            return "served" if probe.connect_ex(("127.0.0.1", self.port)) == 0 else ""

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.port), PATIENCE)

    def text(self):
        """All that it has printed."""
        size = os.fstat(self.output.fileno()).st_size
        return os.pread(self.output.fileno(), size, 0).decode(errors="replace")

    def close(self):
        self.process.kill()
        self.process.wait()
        self.output.close()
