"""The token command beside a running gateway: both at one database."""

import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))
from gateway_fixture import PATIENCE, GatewayTest, Programs, main, wait_until  # noqa: E402

ROUTERS = "/api/v1/routers"


class TokenProgram(GatewayTest):
    items = {}

    def status(self, token):
        return self.get(ROUTERS, token=token).status

    def program(self, *arguments):
        return subprocess.run(
            [Programs.gateway, *arguments], capture_output=True, text=True, timeout=PATIENCE, check=False
        )

    def begin_session(self, token, **wish):
        """The cookie, as a browser sends it back."""
        answer = self.ask("POST", "/api/v1/session", {"token": token, **wish}, token=None, headers=self.origin())
        self.assertIn(answer.status, (200, 201, 204), answer.body)
        return answer.headers["set-cookie"].split(";")[0]

    def origin(self):
        return {"Origin": f"http://{self.address[0]}:{self.address[1]}"}

    def status_of_session(self, cookie):
        return self.get(ROUTERS, token=None, headers={"Cookie": cookie}).status

    def test_running_gateway_notices_tokens_that_come_and_go(self):
        token = self.add_token("desk", "view")
        wait_until("the new token is known", lambda: self.status(token) == 200)
        self.run_token_command("remove", "desk")
        wait_until("the removed token is refused", lambda: self.status(token) == 401)
        self.assertEqual(self.status(self.token), 200, "others stay")

    def test_removed_token_takes_its_sessions_and_readers_with_it(self):
        token = self.add_token("desk", "view")
        wait_until("the new token is known", lambda: self.status(token) == 200)
        cookie = self.begin_session(token)
        self.assertEqual(self.status_of_session(cookie), 200)
        reader = self.events(token=token)
        self.run_token_command("remove", "desk")
        reader.read_until_closed()
        wait_until("the session has ended", lambda: self.status_of_session(cookie) == 401)

    def test_sessions_outlive_a_killed_gateway(self):
        cookie = self.begin_session(self.token)
        self.stop_gateway(9)
        self.start_gateway()
        self.assertEqual(self.status_of_session(cookie), 200)

    def test_damaged_database_is_told_in_one_line(self):
        self.stop_gateway()
        for name in ("access.db-wal", "access.db-shm"):
            (self.folder / "state" / name).unlink(missing_ok=True)
        database = self.folder / "state" / "access.db"
        database.write_bytes(b"x" * 8192)
        for command in ([], ["token", "list"]):
            said = self.program(*command, "--state", str(self.folder / "state"))
            self.assertEqual((said.returncode, said.stdout), (1, ""))
            self.assertEqual(len(said.stderr.splitlines()), 1)
            self.assertIn(f"vrdx_gateway: {database} is damaged", said.stderr)
        self.assertEqual(database.read_bytes(), b"x" * 8192, "it is left as it is")

    def test_exit_codes_say_what_became_of_it(self):
        state = ("--state", str(self.folder / "state"))
        self.assertEqual(self.program("token", "add", "boss", "--role", "view", *state).returncode, 1)
        self.assertEqual(self.program("token", "remove", "nobody", *state).returncode, 1)
        self.assertEqual(self.program("token", "add", "desk", "--role", "root", *state).returncode, 2)
        self.assertEqual(self.program("token").returncode, 2)
        self.assertEqual(self.program("token", "list", *state).returncode, 0)
        self.assertEqual(self.program("--version").returncode, 0)

    def test_configuration_is_checked_and_told_with_its_line(self):
        file = self.folder / "g.toml"
        file.write_text('\nlisten = "localhost"\n', encoding="utf-8")
        said = self.program("--config", str(file), "--check-config")
        self.assertEqual((said.returncode, said.stdout), (2, ""))
        self.assertIn(f'{file}:2: listen cannot be "localhost"; possible: ', said.stderr)
        self.assertEqual(self.program("--config", str(file)).returncode, 2)
        file.write_text("", encoding="utf-8")
        self.assertEqual(self.program("--config", str(file), "--check-config").returncode, 0)


if __name__ == "__main__":
    main()
