"""Routers found by their short names, and all of them on one table.

Usage: routectl_list_end_to_end_test.py PATH-OF-VRDX_ROUTEDRIVER PATH-OF-VRDX_ROUTECTL [CLASS[.METHOD] ...]
"""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

from routectl_fixture import (DONE, NO_DRIVER, PATIENCE, REFUSED, WRONG_USE, RoutectlTest, RunningDriver, main, simulated,
                              wait_until)


class RoutectlList(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="vrdx_test.")
        self.addCleanup(directory.cleanup)
        self.root = pathlib.Path(directory.name)
        for name in ("items", "run", "meta"):
            (self.root / name).mkdir()
        self.environment = {**os.environ, "VRDX_ITEMS": str(self.root / "items"), "VRDX_RUN": str(self.root / "run")}

    def start(self, name, item_text, *switches):
        """A driver run as the service runs it."""
        driver = RunningDriver(RoutectlTest.driver_program, item_text, ["--metadir", self.root / "meta", *switches],
                               item=self.root / "items" / f"{name}.item", socket_path=self.root / "run" / f"{name}.sock")
        self.addCleanup(driver.close)
        wait_until("the driver answers", lambda: self.routectl(name, "ping").returncode == DONE)
        return driver

    def routectl(self, *arguments):
        return subprocess.run(
            [RoutectlTest.routectl_program, *arguments],
            capture_output=True, text=True, timeout=2 * PATIENCE, check=False, env=self.environment,
        )

    def lines(self, *options):
        result = self.routectl("list", "--json", "--timeout", str(PATIENCE), *options)
        self.assertEqual((result.returncode, result.stderr), (DONE, ""))
        return {one.pop("name"): one for one in json.loads(result.stdout)["routers"]}

    def wait_for_problems(self, name, problems):
        wait_until(f"{name}: {problems}", lambda: self.lines()[name]["problems"] == problems)

    def test_short_name_finds_the_router(self):
        self.start("studio", simulated())
        for name in ("studio", "studio.item"):
            wait_until("the router is there", lambda: "Router with 8 inputs" in self.routectl(name, "status").stdout)
        self.assertEqual(self.routectl("studio", "route", "--wait", "1=5").returncode, DONE)

    def test_unknown_short_name_is_told(self):
        result = self.routectl("nowhere", "status")
        self.assertEqual((result.returncode, result.stdout), (NO_DRIVER, ""))
        self.assertIn(f"no driver at {self.root}/run/nowhere.sock: ", result.stderr)
        self.assertIn('"vrdx_routectl list" shows all routers', result.stderr)

    def test_no_routers_are_told(self):
        told = f"no routers: no item file in {self.root}/items, no socket in {self.root}/run\n"
        for _ in range(2):
            result = self.routectl("list")
            self.assertEqual((result.returncode, result.stdout, result.stderr), (DONE, told, ""))
            self.assertEqual(self.lines(), {})
            for name in ("items", "run"):
                if (self.root / name).exists():
                    (self.root / name).rmdir()  # now there are not even the directories

    def test_each_condition_is_named(self):
        self.start("studio", simulated())
        self.start("broken", "driver=simulator\n")
        self.start("missing", "driver=route_there_is_none\n")
        self.start("orphan", "")
        (self.root / "items" / "orphan.item").unlink()
        (self.root / "items" / "stopped.item").write_text(simulated(), encoding="utf-8")
        (self.root / "items" / "wrong.item").write_text("", encoding="utf-8")
        (self.root / "items" / "folder.item").mkdir()
        self.wait_for_problems("studio", [])
        wait_until("the exec failed", lambda: self.lines()["missing"]["last error"])
        # Between two tries it is restarting, during one connected.
        lines = wait_until("restarting", lambda: (now := self.lines())["missing"]["backend"] == "starting" and now)
        self.assertRegex("; ".join(lines["missing"]["problems"]), "^backend restarting.*; no router$")
        self.assertEqual({name: line["running"] for name, line in lines.items()},
                         {"studio": True, "broken": True, "missing": True, "orphan": True, "stopped": False,
                          "wrong": False, "folder": False})
        self.assertEqual((lines["studio"]["inputs"], lines["studio"]["outputs"], lines["studio"]["backend"]),
                         (8, 4, "running"))
        self.assertEqual(lines["broken"]["problems"],
                         ['no backend: the item file names no usable driver: "simulator"', "no router"])
        self.assertEqual((lines["broken"]["backend"], lines["missing"]["backend"]), ("none", "starting"))
        self.assertIn("Failed to start backend driver", lines["missing"]["last error"])
        self.assertEqual(lines["orphan"]["problems"], ["no backend: the item file names no usable driver", "no router", "there is no item file"])
        self.assertEqual(lines["stopped"]["problems"], ["not running"])
        self.assertEqual(lines["wrong"]["problems"], ["not running", "the item file names no driver"])
        self.assertEqual(lines["folder"]["problems"], ["not running", "the item file is no regular file"])
        table = self.routectl("list").stdout.splitlines()
        self.assertEqual(table[0].split()[:4], ["Router", "Running", "Size", "Backend"])
        self.assertEqual([row.split()[0] for row in table[1:]], sorted(lines))

    def test_driver_that_was_killed_is_not_running(self):
        driver = self.start("studio", "")
        driver.send_signal(signal.SIGKILL)
        driver.wait_for_end()
        self.assertTrue((self.root / "run" / "studio.sock").exists())
        line = self.lines()["studio"]
        self.assertEqual((line["running"], line["problems"]),
                         (False, ["not running", "the item file names no driver"]))

    def test_silent_drivers_hold_nobody_up_beyond_the_timeout(self):
        self.start("studio", simulated())
        self.wait_for_problems("studio", [])
        for i in range(8):
            self.start(f"silent{i}", "").send_signal(signal.SIGSTOP)
        began = time.monotonic()
        result = self.routectl("list", "--json", "--timeout", "8")
        took = time.monotonic() - began
        lines = {one["name"]: one for one in json.loads(result.stdout)["routers"]}
        self.assertEqual(lines["studio"]["problems"], [])
        for i in range(8):
            self.assertIs(lines[f"silent{i}"]["running"], True)
            self.assertEqual(lines[f"silent{i}"]["problems"][0], "no answer within 8 s")
        self.assertLess(took, 8 * 8, "they were waited for one after the other")

    def test_takes_of_the_last_hour_are_counted(self):
        self.start("studio", simulated(further="simulated refuse outputs=2\nsimulated delay ms=0\n"))
        self.wait_for_problems("studio", [])
        self.assertEqual(self.routectl("studio", "route", "1=5").returncode, DONE)

        def is_rolled_back():
            line = self.lines()["studio"]
            # A report that happens to come in the second of the confirmation spares the rollback.
            if line["last hour"]["rolled back"] == 0 and line["waiting takes"] == 0:
                self.routectl("studio", "route", "2=7")
            return line["last hour"]["rolled back"] > 0

        wait_until("rolled back", is_rolled_back)
        line = self.lines()["studio"]
        self.assertEqual((line["last hour"]["confirmed"], line["waiting takes"]), (1, 0))
        self.assertGreaterEqual(line["last hour"]["asked"], 2)
        self.assertGreaterEqual(line["clients"], 1)
        self.assertGreater(line["uptime ms"], 0)
        head, row = self.routectl("list").stdout.splitlines()
        self.assertEqual(head.split()[:10], ["Router", "Running", "Size", "Backend", "Link", "Waiting", "Refused/h",
                                             "Back/h", "Clients", "Up"])
        self.assertRegex(row, r"^studio  yes      8x4   running  up    0        \d          [1-9] +1        \d+ s ")

    def test_logs_of_a_service_come_from_the_journal(self):
        journal = self.root / "journalctl"
        journal.write_text('#!/bin/sh\necho "$@"\n', encoding="utf-8")
        journal.chmod(0o755)
        self.environment["PATH"] = f"{self.root}:{self.environment['PATH']}"
        self.assertEqual(self.routectl("studio", "--metadir", self.root / "meta", "logs").stdout,
                         "--no-pager -u vrdx-routedriver@studio -n 20\n")
        self.assertEqual(self.routectl("studio", "--metadir", self.root / "meta", "logs", "-f", "--lines", "7").stdout,
                         "--no-pager -u vrdx-routedriver@studio -n 7 -f\n")
        self.environment["PATH"] = str(self.root / "run")
        result = self.routectl("studio", "--metadir", self.root / "meta", "logs")
        self.assertEqual(result.returncode, REFUSED)
        self.assertIn("cannot run journalctl: No such file or directory", result.stderr)
        self.assertIn(f"there is no log file {self.root}/meta/.tavrixlog.studio.item", result.stderr)

    def test_log_file_of_a_service_comes_first(self):
        self.start("studio", "", "--stderr-to-log")
        result = self.routectl("studio", "--metadir", self.root / "meta", "logs", "--lines", "1000")
        self.assertIn(f"   Sock: {self.root}/run/studio.sock\n", result.stdout)

    @unittest.skipUnless(os.geteuid() == 0, "only root can run a program as somebody else")
    def test_who_may_not_connect_is_told(self):
        self.start("studio", simulated())
        self.root.chmod(0o755)
        (self.root / "run").chmod(0o700)
        program = shutil.copy(RoutectlTest.routectl_program, self.root)

        def as_nobody(*arguments):
            return subprocess.run([program, *arguments], capture_output=True, text=True, timeout=2 * PATIENCE,
                                  check=False, env=self.environment, user=65534, group=65534, extra_groups=[])

        result = as_nobody("list", "--json")
        self.assertEqual((result.returncode, json.loads(result.stderr)["error"]),
                         (REFUSED, f"cannot read {self.root}/run: Permission denied"))
        (line,) = json.loads(result.stdout)["routers"]
        self.assertEqual((line["running"], line["problems"]), (None, ["cannot connect: Permission denied"]))
        (self.root / "run").chmod(0o711)
        result = as_nobody("studio", "ping")
        self.assertEqual(result.returncode, NO_DRIVER)
        self.assertIn("Permission denied", result.stderr)

    def test_list_takes_no_item(self):
        self.assertEqual(self.routectl("studio", "list").returncode, WRONG_USE)


if __name__ == "__main__":
    main()
