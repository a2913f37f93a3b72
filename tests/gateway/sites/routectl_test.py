"""vrdx_routectl --gateway with routers of another site."""

import pathlib
import subprocess

import sites_fixture
from sites_fixture import PATIENCE, Programs, wait_until


class RoutectlOfFarRouters(sites_fixture.SitesTest):
    def run_command(self, *arguments):
        token = self.control.folder / "token"
        token.write_text(self.control.token + "\n", encoding="utf-8")
        token.chmod(0o600)
        program = pathlib.Path(Programs.gateway).parent / "vrdx_routectl"
        host, port = self.control.address
        return subprocess.run(
            [program, "--gateway", f"http://{host}:{port}", "--token-file", token, *arguments],
            capture_output=True,
            text=True,
            timeout=PATIENCE,
            check=False,
        )

    def test_far_router_is_listed_shown_and_taken_on(self):
        self.assertIn("north:studio", self.run_command("list").stdout)
        wait_until("it is taken", lambda: self.run_command("north:studio", "route", "1=3").returncode == 0)
        self.expect_sources(self.north, "studio", 1, 3)
        shown = self.run_command("north:studio", "status", "--outputs", "1")
        self.assertEqual(shown.returncode, 0, shown.stderr)
        self.assertRegex(shown.stdout, r"(?m)^ +1 +Output 1 +3 Input 3 +3 Input 3")

    def test_refusal_of_the_owner_is_told(self):
        self.north.ask("POST", "/api/v1/routers/studio/outputs/1/lock", {"state": "lock", "reason": "on air"})
        told = ""

        def is_told():
            nonlocal told
            told = self.run_command("north:studio", "route", "1=3").stderr
            return "locked" in told

        wait_until("the lock is told", is_told)
        self.assertIn("on air", told)


if __name__ == "__main__":
    sites_fixture.main()
