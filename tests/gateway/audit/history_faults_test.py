"""The history under bad luck: a gateway that is killed at any moment, a disk that takes nothing, a damaged file, a flood of
wrong logins. Takes go on in each of them."""

import pathlib
import resource
import signal
import sqlite3
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from history_test import HistoryCase  # noqa: E402

from gateway_fixture import PATIENCE, main, simulated, wait_until  # isort: skip


class KilledGateway(HistoryCase):
    items = {"studio": simulated()}

    def test_history_opens_and_nothing_older_than_a_second_is_missing(self):
        self.wait_for_up()
        noted = []
        for turn in range(6):
            ending = threading.Event()
            thread = threading.Thread(target=self.lock_until, args=(ending, noted))
            thread.start()
            wait_until("some locks are set", lambda enough=len(noted) + 5 + 7 * turn: len(noted) >= enough)
            killed = time.monotonic()
            self.gateway.kill()
            self.gateway.wait(PATIENCE)
            ending.set()
            thread.join()
            self.start_gateway()
            self.wait_for_up()
            reasons = {each["reason"] for each in self.history("?limit=5000") if each["kind"] == "lock"}
            expected = {reason for reason, done in noted if done < killed - 1}
            self.assertEqual(expected - reasons, set())
            # The next turn judges these by now as well: what the kill took is not asked for again.
            noted = [(reason, done) for reason, done in noted if reason in reasons]
        with sqlite3.connect(self.folder / "state" / "history.db") as connection:
            self.assertEqual(connection.execute("PRAGMA integrity_check").fetchall(), [("ok",)])
        connection.close()

    def lock_until(self, ending, noted):
        turn = 0
        while not ending.is_set():
            turn += 1
            reason = f"{time.monotonic_ns()} {turn}"
            try:
                answer = self.ask("POST", "/api/v1/routers/studio/outputs/1/lock", {"state": "protect", "reason": reason})
            except Exception:  # noqa: BLE001 - the gateway was killed below it, in any of many ways
                return
            if answer.status == 200:
                noted.append((reason, time.monotonic()))

    def test_takes_of_killed_gateways_are_each_there_once(self):
        self.wait_for_up()
        count = 0
        for turn in range(4):
            for source in (1, 2, 3):
                self.take([{"output": 1, "input": source + turn}])
                count += 1
            self.gateway.kill()
            self.gateway.wait(PATIENCE)
            self.start_gateway()
            self.wait_for_up()
            takes = self.wait_for_takes(count)
            self.assertEqual([each["number"] for each in takes], list(range(count, 0, -1)))
            self.assertEqual({each["by"] for each in takes}, {"boss"})


class FullDisk(HistoryCase):
    def limit_files(self, limit):
        """From now on no file of the gateway grows beyond `limit` bytes, as on a disk that is full."""
        _, hard = resource.prlimit(self.gateway.pid, resource.RLIMIT_FSIZE)
        resource.prlimit(self.gateway.pid, resource.RLIMIT_FSIZE, (limit, hard))

    def ready(self):
        return self.get("/readyz", token=None)

    def test_takes_go_on_and_what_was_done_meanwhile_is_there_afterwards(self):
        self.wait_for_up()
        self.assertEqual(self.ready().json["status"], "ready")
        self.limit_files(1)
        for source in (3, 4, 5):
            self.assertEqual(self.take([{"output": 1, "input": source}]).json["results"][0]["result"], "confirmed")
        wait_until("it is told", lambda: self.ready().json["status"] == "degraded")
        self.assertEqual(self.ready().status, 200)
        self.assertIn("history", self.ready().json["reason"])
        self.assertNotIn("/", self.ready().json["reason"])
        self.assertEqual(self.take([{"output": 1, "input": 6}]).json["results"][0]["result"], "confirmed")
        self.limit_files(resource.RLIM_INFINITY)
        wait_until("it is written again", lambda: self.ready().json["status"] == "ready")
        takes = self.wait_for_takes(4)
        self.assertEqual([each["after"]["all"] for each in takes], [6, 5, 4, 3])

    def test_damaged_history_stops_nothing_and_another_one_begins_when_it_is_moved_away(self):
        self.stop_gateway()
        file = self.folder / "state" / "history.db"
        for ending in ("-wal", "-shm"):
            pathlib.Path(f"{file}{ending}").unlink(missing_ok=True)
        file.write_bytes(b"no database at all\n" * 1000)
        self.start_gateway()
        self.wait_for_up()
        wait_until("it is told", lambda: self.ready().json["status"] == "degraded")
        self.assertEqual(self.take([{"output": 1, "input": 3}]).json["results"][0]["result"], "confirmed")
        self.expect_problem(self.get("/api/v1/history"), 503)
        file.rename(self.folder / "state" / "history.damaged")
        wait_until("it is written again", lambda: self.ready().json["status"] == "ready")
        self.wait_for_takes(1)
        self.assertEqual(self.errors().count("the history cannot be written"), 1)
        self.assertEqual(self.errors().count("the history is written again"), 1)


class NoHistory(HistoryCase):
    configuration = "[history]\ndays = 0\n"

    def test_nothing_is_kept_when_none_is_wanted(self):
        self.wait_for_up()
        self.take([{"output": 1, "input": 3}])
        self.assertEqual(self.history(), [])
        self.assertFalse((self.folder / "state" / "history.db").exists())

    def test_it_begins_with_a_reload(self):
        self.wait_for_up()
        self.configuration = "[history]\ndays = 1\n"
        self.gateway_command()
        self.gateway.send_signal(signal.SIGHUP)
        wait_until("the configuration is read", lambda: "was read anew" in self.errors())
        self.take([{"output": 1, "input": 3}])
        self.wait_for_takes(1)


class Flood(HistoryCase):
    def test_wrong_logins_of_many_addresses_are_a_handful_of_lines_and_erase_nothing(self):
        self.configuration = 'proxies = ["127.0.0.1"]\n'
        self.stop_gateway()
        self.start_gateway()
        self.wait_for_up()
        self.take([{"output": 1, "input": 3}])
        self.wait_for_takes(1)
        wrong = "vrdx_" + "x" * 43
        count = 300
        for turn in range(count):
            self.get("/api/v1/routers", token=wrong, headers={"X-Forwarded-For": f"192.0.2.{turn % 250}"})
        logins = [each for each in self.history("?limit=5000") if each["kind"] == "login"]
        self.assertEqual(sum(each["count"] for each in logins), count)
        minutes = {each["time"][:16] for each in logins}
        self.assertLessEqual(len(logins), 65 * len(minutes))
        self.assertTrue(any("further ones" in each["reason"] for each in logins))
        self.wait_for_takes(1)


if __name__ == "__main__":
    main()
