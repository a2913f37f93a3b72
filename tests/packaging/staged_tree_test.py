"""The installed tree: what is where, the unit as the service manager judges it, and its command line
as the driver understands it.

Usage: staged_tree_test.py [CLASS.METHOD ...]
"""

import glob
import gzip
import os
import re
import shlex
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest

from running_driver import PATIENCE, RunningDriver, wait_until

BUILD = os.environ["VRDX_BUILD"]
SOURCE = os.environ["VRDX_SOURCE"]
CMAKE = os.environ["CMAKE"]
UNIT = "vrdx-routedriver@.service"
INSTANCE = "vrdx-routedriver@studio.service"
GATEWAY_UNIT = "vrdx-gateway.service"
SYSTEM_UNITS = "/lib/systemd/system"


class StagedTree(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="vrdx_test.")
        self.addCleanup(directory.cleanup)
        self.root = directory.name
        self.usr = os.path.join(self.root, "usr")
        self.run_command(CMAKE, "--install", BUILD, "--prefix", self.usr)

    def run_command(self, *command):
        result = subprocess.run(
            command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, timeout=200
        )
        self.assertEqual(result.returncode, 0, f"{command}\n{result.stdout}")
        return result.stdout

    def staged(self, *parts):
        return os.path.join(self.usr, *parts)

    def read_staged(self, *parts):
        with open(self.staged(*parts), encoding="utf-8") as file:
            return file.read()

    def version(self):
        with open(os.path.join(SOURCE, "CMakeLists.txt"), encoding="utf-8") as project:
            return re.search(r"^project\(\S+ VERSION (\S+)", project.read(), re.MULTILINE)[1]

    def unit_settings(self, unit=UNIT):
        """The unit's settings; of one that is given more than once, the last."""
        lines = self.read_staged("lib", "systemd", "system", unit).splitlines()
        return dict(line.split("=", 1) for line in lines if "=" in line and not line.startswith("#"))

    def need_service_manager(self):
        # What the unit refers to, from the system that the test runs on.
        if shutil.which("systemd-analyze") is None or not os.path.isdir(SYSTEM_UNITS):
            self.skipTest("no systemd here")
        for unit in glob.glob(f"{SYSTEM_UNITS}/*.target") + glob.glob(f"{SYSTEM_UNITS}/*.slice"):
            shutil.copy(unit, self.staged("lib", "systemd", "system"))

    def judge_unit(self, unit=INSTANCE):
        """Its exit code, and what it says of our units: the machine's own may have faults, too."""
        result = subprocess.run(
            ["systemd-analyze", "verify", "--man=no", f"--root={self.root}", unit],
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
            timeout=200,
        )
        ours = [line for line in result.stdout.splitlines() if "vrdx" in line]
        return result.returncode, "\n".join(ours)

    def test_programs_and_documents_are_where_a_system_looks(self):
        backends = ("vrdx_route_simulator", "vrdx_route_videohub", "vrdx_route_sierra_video_aspen_hdsdi")
        for name in ("vrdx_routedriver", "vrdx_gateway", "vrdx_routectl", "vrdx_backend_check", *backends):
            self.assertTrue(os.access(self.staged("bin", name), os.X_OK), name)
        for package in ("vrdx-routedriver", "vrdx-gateway", "libvrdx-endpoint-dev"):
            self.assertIn("MIT License", self.read_staged("share", "doc", package, "copyright"))
            with gzip.open(self.staged("share", "doc", package, "changelog.gz"), "rt") as changelog:
                self.assertTrue(changelog.readline().startswith(f"{package} ({self.version()}) "))
        for page in glob.glob(f"{SOURCE}/docs/*.md"):
            name = os.path.basename(page)
            installed = self.staged("share", "doc", "vrdx-routedriver", "docs", name)
            self.assertTrue(os.path.exists(installed), name)
        for name in ("videohub.item", "sierra.item", "serial-line.conf"):
            installed = self.staged("share", "doc", "vrdx-routedriver", "examples", name)
            self.assertTrue(os.path.exists(installed), name)

    def test_libraries_tell_the_projects_version(self):
        found = glob.glob(f"{self.usr}/**/pkgconfig/vrdx-*.pc", recursive=True)
        self.assertEqual(len(found), 2)
        for path in found:
            self.assertIn(f"\nVersion: {self.version()}\n", self.read_staged(path))

    def test_manual_and_completion_are_where_a_system_looks(self):
        for page in glob.glob(f"{SOURCE}/man/*.[158]"):
            name = os.path.basename(page)
            with open(page, "rb") as source:
                with gzip.open(self.staged("share", "man", "man" + name[-1], name + ".gz")) as installed:
                    self.assertEqual(installed.read(), source.read(), name)
        for completion in glob.glob(f"{SOURCE}/completion/vrdx_*"):
            name = os.path.basename(completion)
            with open(completion, encoding="utf-8") as source:
                installed = self.read_staged("share", "bash-completion", "completions", name)
                self.assertEqual(installed, source.read())
        for program in ("vrdx_routectl", "vrdx_gateway"):
            for place in (("zsh", "vendor-completions", f"_{program}"),
                          ("fish", "vendor_completions.d", f"{program}.fish")):
                self.assertIn(program, self.read_staged("share", *place))

    def test_unit_is_valid(self):
        self.need_service_manager()
        self.assertEqual(self.judge_unit(), (0, ""))

    def test_nothing_but_a_stop_ends_the_service_for_good(self):
        settings = self.unit_settings()
        self.assertEqual((settings["Restart"], settings["StartLimitIntervalSec"]), ("always", "0"))
        self.assertLess(int(settings["RestartSec"]), 5)
        self.assertIn("--no-autoshutdown", settings["ExecStart"].split())
        # A condition that does not hold when the driver is started again would end it, too.
        self.assertEqual([name for name in settings if name.startswith(("Assert", "Condition", "RestartPrevent"))], [])

    def test_unit_has_room_for_the_memory_budget(self):
        settings = self.unit_settings()
        gib = int(settings["MemoryMax"].removesuffix("G"))
        budget = self.read_staged("share", "doc", "vrdx-routedriver", "docs", "reliability.md")
        (mib,) = re.findall(r"(?m)^\| all together, one user \| ([\d,]+) MiB \|$", budget)
        self.assertLess(int(mib.replace(",", "")), gib * 1024)
        self.assertGreaterEqual(int(settings["TasksMax"]), 16)

    def test_unit_without_its_program_is_not_valid(self):
        self.need_service_manager()
        os.remove(self.staged("bin", "vrdx_routedriver"))
        code, complaints = self.judge_unit()
        self.assertNotEqual(code, 0)
        self.assertIn("/usr/bin/vrdx_routedriver is not executable", complaints)

    def test_unit_exposes_little(self):
        self.need_service_manager()
        unit = self.staged("lib", "systemd", "system", UNIT)
        report = self.run_command("systemd-analyze", "security", "--offline=true", "--threshold=20", unit)
        self.assertIn("Overall exposure level", report)

    def test_gateways_unit_is_valid_and_exposes_little(self):
        self.need_service_manager()
        self.put_shell_there()
        self.assertEqual(self.judge_unit(GATEWAY_UNIT), (0, ""))
        unit = self.staged("lib", "systemd", "system", GATEWAY_UNIT)
        self.run_command("systemd-analyze", "security", "--offline=true", "--threshold=20", unit)

    def test_gateways_unit_for_a_low_port_exposes_little(self):
        self.need_service_manager()
        self.put_shell_there()
        drop_ins = self.staged("lib", "systemd", "system", GATEWAY_UNIT + ".d")
        os.mkdir(drop_ins)
        shutil.copy(self.staged("share", "doc", "vrdx-gateway", "examples", "low-port.conf"), drop_ins)
        self.assertEqual(self.judge_unit(GATEWAY_UNIT), (0, ""))
        unit = self.staged("lib", "systemd", "system", GATEWAY_UNIT)
        self.run_command("systemd-analyze", "security", "--offline=true", "--threshold=20", unit)

    def put_shell_there(self):
        """What the unit's reload runs besides the gateway itself."""
        os.mkdir(os.path.join(self.root, "bin"))
        shutil.copy("/bin/sh", os.path.join(self.root, "bin", "sh"))

    def test_gateways_example_configuration_is_comments_and_right_without_them(self):
        example = self.staged("share", "doc", "vrdx-gateway", "examples", "gateway.toml")
        with open(example, encoding="utf-8") as file:
            lines = file.read().splitlines()
        self.assertEqual([line for line in lines if line and not line.startswith("#")], [])
        certificate = os.path.join(self.root, "gateway.pem")
        open(certificate, "w", encoding="utf-8").close()
        keys = [line[2:] for line in lines if re.match(r"# ([a-z]+ = |\[)", line)]
        self.assertGreaterEqual(len(keys), 10)
        written = os.path.join(self.root, "gateway.toml")
        with open(written, "w", encoding="utf-8") as file:
            file.write(re.sub(r'"/etc/vrdx/(gateway\.(crt|key)|broker-user)"', f'"{certificate}"', "\n".join(keys)))
        self.run_command(self.staged("bin", "vrdx_gateway"), "--check-config", "--config", written)

    def test_gateway_is_in_the_drivers_group_and_has_a_directory_of_its_own(self):
        settings = self.unit_settings(GATEWAY_UNIT)
        users = self.read_staged("lib", "sysusers.d", "vrdx-gateway.conf")
        self.assertEqual((settings["User"], settings["SupplementaryGroups"]), ("vrdx-gateway", "vrdx"))
        self.assertIn("m vrdx-gateway vrdx\n", users)
        self.assertRegex(self.read_staged("lib", "tmpfiles.d", "vrdx-gateway.conf"),
                         rf"(?m)^d /var/lib/{settings['StateDirectory']} 0700 vrdx-gateway vrdx-gateway ")
        self.assertEqual(settings["StateDirectoryMode"], "0700")

    def test_nothing_but_a_stop_ends_the_gateway_for_good(self):
        settings = self.unit_settings(GATEWAY_UNIT)
        self.assertEqual((settings["Restart"], settings["StartLimitIntervalSec"]), ("always", "0"))
        self.assertEqual([name for name in settings if name.startswith(("Assert", "Condition", "RestartPrevent"))], [])

    def test_unit_for_a_serial_line_exposes_little(self):
        self.need_service_manager()
        drop_ins = self.staged("lib", "systemd", "system", UNIT + ".d")
        os.mkdir(drop_ins)
        shutil.copy(self.staged("share", "doc", "vrdx-routedriver", "examples", "serial-line.conf"), drop_ins)
        self.assertEqual(self.judge_unit(), (0, ""))
        unit = self.staged("lib", "systemd", "system", UNIT)
        self.run_command("systemd-analyze", "security", "--offline=true", "--threshold=20", unit)

    def test_user_and_directories_are_made(self):
        if shutil.which("systemd-sysusers") is None or os.geteuid() != 0:
            self.skipTest("no systemd here, or not root")
        os.mkdir(os.path.join(self.root, "etc"))
        self.run_command("systemd-sysusers", f"--root={self.root}")
        self.run_command("systemd-tmpfiles", f"--root={self.root}", "--create")
        with open(os.path.join(self.root, "etc", "passwd"), encoding="utf-8") as users:
            (line,) = [user for user in users if user.startswith("vrdx:")]
        user, group = (int(number) for number in line.split(":")[2:4])
        for path, owner in (("etc/vrdx/items", 0), ("run/vrdx", user), ("var/lib/vrdx", user)):
            status = os.stat(os.path.join(self.root, path))
            found = (status.st_mode & 0o777, status.st_uid, status.st_gid)
            self.assertEqual(found, (0o750, owner, group), path)

    def test_unit_names_the_directories_that_are_made(self):
        settings = self.unit_settings()
        made = self.read_staged("lib", "tmpfiles.d", "vrdx-routedriver.conf")
        for path in ("/run/" + settings["RuntimeDirectory"], "/var/lib/" + settings["StateDirectory"]):
            self.assertRegex(made, rf"(?m)^d {path} +0750 {settings['User']} {settings['Group']} ")
        self.assertEqual(settings["RuntimeDirectoryPreserve"], "yes")
        self.assertIn("u vrdx ", self.read_staged("lib", "sysusers.d", "vrdx-routedriver.conf"))

    def take_on_a_router(self, socket_path):
        control = [self.staged("bin", "vrdx_routectl"), "--sock", socket_path, "studio"]

        def status():
            return subprocess.run([*control, "status"], stdout=subprocess.PIPE, text=True, check=False).stdout

        wait_until("the router is there", lambda: "Output 16" in status())
        self.run_command(*control, "route", "1=3", "--wait")

    def test_driver_understands_the_units_command_line(self):
        for path in ("etc/vrdx/items", "run/vrdx", "var/lib/vrdx"):
            os.makedirs(os.path.join(self.root, path))
        command = [
            self.root + word if word.startswith("/") else word
            for word in shlex.split(self.unit_settings()["ExecStart"].replace("%i", "studio"))
        ]
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
            manager.bind(os.path.join(self.root, "notify"))
            manager.settimeout(PATIENCE)
            told_by_manager = {"NOTIFY_SOCKET": manager.getsockname(), "WATCHDOG_USEC": "20000000"}
            driver = RunningDriver(
                command,
                "driver=route_simulator\n",
                item=self.root + "/etc/vrdx/items/studio.item",
                socket_path=self.root + "/run/vrdx/studio.sock",
                environment={**os.environ, **told_by_manager},
            )
            self.addCleanup(driver.close)
            told = [manager.recv(4096).decode() for _ in range(3)]
            self.assertIn(f"READY=1\nSTATUS=Ready to serve data\nMAINPID={driver.process.pid}", told)
            self.assertIn("WATCHDOG=1", told)
            self.take_on_a_router(driver.socket_path)
            self.assertEqual(driver.stop(), 0)
            while not manager.recv(4096).startswith(b"STOPPING=1"):
                pass
        self.assertEqual(os.listdir(os.path.join(self.root, "run/vrdx")), [])
        self.assertEqual(os.listdir(os.path.join(self.root, "var/lib/vrdx")), [".tavrixmeta.studio.item"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
