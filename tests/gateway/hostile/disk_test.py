"""A disk that takes nothing more, a gateway that is killed at any time: what was answered is kept, what was not kept is
not answered as done."""

import http.client
import resource
import signal
import subprocess
import threading

from hostile_case import HostileCase

from gateway_fixture import PATIENCE, main, wait_until  # isort: skip


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

    def test_database_that_another_program_holds_stops_writes_alone(self):
        self.wait_for_up()
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
            self.expect_problem(self.lock(1), 500, "try again")
            self.assertEqual(self.take([{"output": 1, "input": 3}]).json["results"][0]["result"], "confirmed")
        finally:
            holder.communicate(timeout=PATIENCE)
        self.assertEqual(self.lock(1).status, 200)


if __name__ == "__main__":
    main()
