"""A gateway under attack: what its process costs, and that others are served all the same."""

import json
import os
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))
from gateway_fixture import GatewayTest, wait_until  # noqa: E402
from raw_http import RawConnection  # noqa: E402


class HostileCase(GatewayTest):
    def raw(self, **further):
        connection = RawConnection(self.address, **further)
        self.addCleanup(connection.close)
        return connection

    def head(self, line="GET /healthz HTTP/1.1", *fields):
        return "\r\n".join([line, f"Host: {self.address[0]}:{self.address[1]}", *fields]) + "\r\n\r\n"

    def own_origin(self):
        return f"http://{self.address[0]}:{self.address[1]}"

    def post_head(self, path, length, *fields, token=""):
        return self.head(
            f"POST {path} HTTP/1.1",
            f"Authorization: Bearer {token or self.token}",
            "Content-Type: application/json",
            f"Content-Length: {length}",
            *fields,
        )

    def send_take(self, takes, *fields, router="studio", token="", **further):
        """A request whose answer is read later: its connection."""
        body = json.dumps({"takes": takes, **further})
        connection = self.raw()
        connection.send(self.post_head(f"/api/v1/routers/{router}/takes", len(body), *fields, token=token) + body)
        return connection

    def expect_others_served(self):
        self.assertIsNone(self.gateway.poll(), self.errors())
        self.assertEqual(self.get("/healthz").status, 200)
        self.assertEqual(self.get("/api/v1/routers").status, 200)

    # --- what it costs ---

    def open_descriptors(self):
        return len(os.listdir(f"/proc/{self.gateway.pid}/fd"))

    def resident_kib(self):
        status = pathlib.Path(f"/proc/{self.gateway.pid}/status").read_text(encoding="utf-8")
        return next(int(line.split()[1]) for line in status.splitlines() if line.startswith("VmRSS"))

    def expect_resident_below(self, kib):
        """Not of a program under the sanitizers, which keep what was freed."""
        maps = pathlib.Path(f"/proc/{self.gateway.pid}/maps").read_text(encoding="utf-8", errors="replace")
        if "libasan" not in maps:
            self.assertLess(self.resident_kib(), kib)

    def wait_for_descriptors(self, most):
        wait_until(f"at most {most} descriptors are open", lambda: self.open_descriptors() <= most)
