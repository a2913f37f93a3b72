"""A disk that takes nothing more, a gateway that is killed at any time: what was answered is kept, what was not kept is
not answered as done."""

import contextlib
import http.client
import json
import os
import resource
import signal
import subprocess
import threading

from hostile_case import HostileCase

from gateway_fixture import PATIENCE, main, wait_until  # isort: skip


SMALL_FILES = 4096  # bytes: room for what is told, and for no page of the database


class Disk(HostileCase):
    def lock(self, output, state="protect", **further):
        return self.ask("POST", f"/api/v1/routers/studio/outputs/{output}/lock", {"state": state, **further})

    def lock_of(self, output):
        return self.picture()["outputs"][output - 1]["lock"]

    def limit_files(self, limit):
        """From now on no file of the gateway grows beyond `limit` bytes, as on a disk that is full."""
        _, hard = resource.prlimit(self.gateway.pid, resource.RLIMIT_FSIZE)
        resource.prlimit(self.gateway.pid, resource.RLIMIT_FSIZE, (limit, hard))

    def test_lock_that_cannot_be_kept_is_not_answered_as_kept(self):
        self.wait_for_up()
        self.assertEqual(self.lock(1).status, 200)
        self.limit_files(1)
        for _ in range(3):
            self.expect_problem(self.lock(2), 500)
            self.expect_problem(self.lock(1, "unlock"), 500)
        self.assertIsNone(self.lock_of(2))
        self.assertEqual(self.lock_of(1)["state"], "protect")
        login = self.ask("POST", "/api/v1/session", {"token": self.token}, None, {"Origin": self.own_origin()})
        self.expect_problem(login, 500)
        self.assertEqual(self.take([{"output": 2, "input": 3}]).json["results"][0]["result"], "confirmed")
        self.limit_files(resource.RLIM_INFINITY)
        self.assertEqual(self.lock(2).status, 200)
        self.stop_gateway(signal.SIGKILL)
        self.start_gateway()
        self.wait_for_up()
        self.assertEqual([self.lock_of(n) is not None for n in (1, 2, 3)], [True, True, False])

    def test_answered_lock_outlives_a_kill_at_any_time(self):
        self.wait_for_up()
        for round_number in range(4):
            answered = {}
            thread = threading.Thread(target=self.lock_until_the_end, args=(answered, f"round {round_number}"))
            thread.start()
            wait_until("some are answered", lambda answered=answered: len(answered) > 3 + round_number)
            self.gateway.kill()
            self.gateway.wait(PATIENCE)
            thread.join()
            self.start_gateway()
            self.wait_for_up()
            for output, reason in answered.items():
                self.assertEqual(self.lock_of(output)["reason"], reason)

    def lock_until_the_end(self, answered, text):
        count = 0
        while True:
            output = count % 8 + 1
            reason = f"{text} {count}"
            try:
                answer = self.lock(output, reason=reason)
            except (OSError, http.client.HTTPException):
                answered.pop(output, None)  # perhaps kept, perhaps not
                return
            if answer.status == 200:
                answered[output] = reason
            count += 1

    @contextlib.contextmanager
    def held_database(self):
        """Another program writes in it until the end."""
        program = (
            "import sqlite3, sys\n"
            "base = sqlite3.connect(sys.argv[1], isolation_level=None)\n"
            "base.execute('BEGIN IMMEDIATE')\nprint('held', flush=True)\nsys.stdin.read()\n"
        )
        holder = subprocess.Popen(
            ["/usr/bin/python3", "-c", program, str(self.folder / "state" / "access.db")],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
        )
        try:
            self.assertEqual(holder.stdout.readline(), b"held\n")
            yield
        finally:
            holder.communicate(timeout=PATIENCE)

    def test_database_that_another_program_holds_stops_writes_alone(self):
        self.wait_for_up()
        with self.held_database():
            self.expect_problem(self.lock(1), 500, "try again")
            self.assertEqual(self.take([{"output": 1, "input": 3}]).json["results"][0]["result"], "confirmed")
        self.assertEqual(self.lock(1).status, 200)

    def test_lock_waits_for_another_program_and_holds_up_nobody(self):
        self.wait_for_up()
        with self.held_database():
            body = '{"state": "lock"}'
            locking = self.raw()
            locking.send(self.post_head("/api/v1/routers/studio/outputs/1/lock", len(body)) + body)
            body = json.dumps({"token": self.token})
            login = self.raw()
            fields = (f"Origin: {self.own_origin()}", "Content-Type: application/json", f"Content-Length: {len(body)}")
            login.send(self.head("POST /api/v1/session HTTP/1.1", *fields) + body)
            self.assertEqual(self.take([{"output": 2, "input": 3}]).json["results"][0]["result"], "confirmed")
        self.assertEqual(locking.read_answer()[0], 200)
        self.assertEqual(login.read_answer()[0], 200)
        self.assertEqual(self.lock_of(1)["state"], "lock")

    def test_session_that_was_ended_stays_so_though_another_program_writes(self):
        self.wait_for_up()
        login = self.ask("POST", "/api/v1/session", {"token": self.token}, None, {"Origin": self.own_origin()})
        headers = {"Cookie": login.headers["set-cookie"].split(";")[0], "Origin": self.own_origin()}
        self.limit_files(SMALL_FILES)
        self.expect_problem(self.ask("DELETE", "/api/v1/session", token=None, headers=headers), 500)
        self.expect_problem(self.get("/api/v1/routers", token=None, headers=headers), 401)
        other = self.add_token("other", "view")  # from here on the gateway reads all anew
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=other).status == 200)
        self.expect_problem(self.get("/api/v1/routers", token=None, headers=headers), 401)
        self.limit_files(resource.RLIM_INFINITY)
        wait_until("the end is told", lambda: "written again" in self.errors())
        self.stop_gateway()
        self.start_gateway()
        self.expect_problem(self.get("/api/v1/routers", token=None, headers=headers), 401)

    def test_disk_that_takes_nothing_is_told_once_and_its_end_too(self):
        self.wait_for_up()
        self.limit_files(SMALL_FILES)
        for output in (1, 2, 3):
            self.expect_problem(self.lock(output), 500)
        wait_until("it is told", lambda: "access.db" in self.errors())
        self.limit_files(resource.RLIM_INFINITY)
        wait_until("the end is told", lambda: "written again" in self.errors())
        self.assertEqual(self.errors().count("access.db"), 1, self.errors())

    def test_database_that_is_replaced_is_told_once_and_nothing_is_answered_as_kept(self):
        self.wait_for_up()
        self.assertEqual(self.lock(1, "lock").status, 200)
        state = self.folder / "state"
        for name in ("removed", "replaced"):
            with self.subTest(name):
                told = self.errors().count("removed or replaced")
                (state / "access.db").rename(state / "before.db")
                if name == "replaced":
                    (state / "access.db").write_bytes((state / "before.db").read_bytes())
                self.expect_problem(self.lock(2), 500, "removed or replaced")
                self.expect_problem(self.lock(1, "unlock"), 500, "removed or replaced")
                login = self.ask("POST", "/api/v1/session", {"token": self.token}, None, {"Origin": self.own_origin()})
                self.expect_problem(login, 500, "removed or replaced")
                result = self.take([{"output": 1, "input": 3}, {"output": 2, "input": 3}]).json["results"]
                self.assertEqual([each["result"] for each in result], ["locked", "confirmed"])
                wait_until("it is told", lambda told=told: self.errors().count("removed or replaced") == told + 1)
                again = self.errors().count("written again")
                (state / "before.db").rename(state / "access.db")
                wait_until("its end is told", lambda again=again: self.errors().count("written again") == again + 1)
                self.assertEqual(self.errors().count("removed or replaced"), told + 1)
                self.assertEqual(self.lock(3, reason=name).status, 200)

    def test_state_directory_that_cannot_be_written_is_one_sentence_at_the_start(self):
        self.stop_gateway()
        readable_alone = self.folder / "readable"
        readable_alone.mkdir()
        readable_alone.chmod(0o555)
        user = 65534 if os.getuid() == 0 else None
        self.folder.chmod(0o755)
        for name, words in (("readable", "cannot be written"), ("readable/state", "cannot be made")):
            command = self.gateway_command("--listen", "127.0.0.1:0")
            command[command.index("--state") + 1] = str(self.folder / name)
            done = subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE, check=False, user=user)
            self.assertEqual((done.returncode, done.stdout), (1, ""))
            self.assertEqual(len(done.stderr.splitlines()), 1, done.stderr)
            self.assertIn(words, done.stderr)
        readable_alone.chmod(0o755)

    def test_file_system_that_is_full_or_read_only_loses_no_lock(self):
        self.stop_gateway()
        state = self.folder / "state"
        kept = (state / "access.db").read_bytes()
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256k", "none", str(state)], capture_output=True, check=False)
        if mounted.returncode != 0:
            self.skipTest("no file system may be mounted here")
        self.addCleanup(subprocess.run, ["umount", "--lazy", str(state)], check=True)
        self.addCleanup(self.end_gateway)
        (state / "access.db").write_bytes(kept)
        self.start_gateway()
        self.wait_for_up()
        self.assertEqual(self.lock(1).status, 200)
        with open(state / "filler", "wb", buffering=0) as filler:
            try:
                while True:
                    filler.write(bytes(4096))
            except OSError:
                pass
            while self.lock(2, reason="x" * 200).status == 200:
                self.lock(2, "unlock")
        self.expect_problem(self.lock(3, reason="x" * 200), 500)
        self.assertEqual(self.take([{"output": 4, "input": 3}]).json["results"][0]["result"], "confirmed")
        (state / "filler").unlink()
        self.assertEqual(self.lock(3).status, 200)
        self.stop_gateway(signal.SIGKILL)
        subprocess.run(["mount", "-o", "remount,ro", str(state)], check=True)
        self.start_gateway()
        self.wait_for_up()
        wait_until("it is told", lambda: "can only be read" in self.errors())
        self.assertEqual([self.lock_of(n) is not None for n in (1, 3, 4)], [True, True, False])
        self.expect_problem(self.lock(4), 500, "cannot be written")
        self.assertEqual(self.take([{"output": 5, "input": 3}]).json["results"][0]["result"], "confirmed")
        self.assertEqual(self.errors().count("can only be read"), 1, self.errors())
        self.stop_gateway()
        subprocess.run(["mount", "-o", "remount,rw", str(state)], check=True)
        self.start_gateway()
        self.wait_for_up()
        self.assertEqual([self.lock_of(n) is not None for n in (1, 3, 4)], [True, True, False])


class LockFlood(HostileCase):
    def test_token_that_floods_locks_is_slowed_and_others_are_not(self):
        self.wait_for_up()
        quiet = self.add_token("quiet", "operate")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=quiet).status == 200)
        path = "/api/v1/routers/studio/outputs/1/lock"
        body = '{"state": "lock"}'
        crowd = self.crowd_asks(self.post_head(path, len(body)) + body)
        answer = self.ask("POST", "/api/v1/routers/studio/outputs/2/lock", {"state": "protect"}, quiet)
        self.assertEqual(answer.status, 200)
        self.assertEqual(self.take([{"output": 2, "input": 3}], token=quiet).json["results"][0]["result"], "confirmed")
        answers = [connection.read_answer() for connection in crowd]
        self.assertEqual({status for status, _, _ in answers}, {200, 429})
        for status, headers, text in answers:
            if status == 429:
                self.assertEqual(headers["retry-after"], "1")
                self.assertIn("too many locks", json.loads(text)["detail"])
        wait_until("it may lock again", lambda: self.ask("POST", path, {"state": "lock"}).status == 200)

    def test_token_that_floods_logins_is_slowed(self):
        origin = {"Origin": self.own_origin()}
        body = json.dumps({"token": self.token})
        fields = (f"Origin: {self.own_origin()}", "Content-Type: application/json", f"Content-Length: {len(body)}")
        crowd = self.crowd_asks(self.head("POST /api/v1/session HTTP/1.1", *fields) + body)
        self.assertEqual({connection.read_answer()[0] for connection in crowd}, {200, 429})
        wait_until(
            "it may log in again",
            lambda: self.ask("POST", "/api/v1/session", {"token": self.token}, None, origin).status == 200,
        )

    def crowd_asks(self, text):
        """Sent at once: the gateway stands still meanwhile."""
        crowd = [self.raw() for _ in range(300)]
        self.gateway.send_signal(signal.SIGSTOP)
        for connection in crowd:
            connection.send(text)
        self.gateway.send_signal(signal.SIGCONT)
        return crowd


if __name__ == "__main__":
    main()
