"""A gateway with a Videohub server, above drivers with simulated routers."""

import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from hub_client import HubClient, wait_until  # noqa: E402

from gateway_fixture import GatewayTest, simulated  # noqa: E402  isort: skip


class HubTest(GatewayTest):
    """`server`: further keys of its [[videohub]]."""

    router = "studio"
    server = 'role = "lock"\n'
    items = {"studio": simulated(4, 3)}

    def setUp(self):
        self.configuration = self.hub_table()
        super().setUp()
        self.wait_for_up(self.router)

    def hub_table(self, port=0, router=None, server=None):
        return f'[[videohub]]\nrouter = "{router or self.router}"\nport = {port}\n{server or self.server}'

    def hub_addresses(self):
        """Of all servers that were begun, the oldest first."""
        found = re.findall(r"serves (\S+) as a Videohub on ([0-9.]+):([0-9]+)", self.errors())
        return [(address, int(port)) for _, address, port in found]

    def hub_address(self):
        return self.hub_addresses()[-1]

    def connect(self, whole=True, address=None, **further):
        client = HubClient(address or self.hub_address(), **further)
        self.addCleanup(client.close)
        if whole:
            client.read_prelude()
        return client

    def connected_to_quiet_router(self, sources):
        """A client that knows these sources, confirmed by the router, and is told nothing more by itself."""
        wait_until("the router has told its sources", lambda: self.confirmed_sources() == sources)
        client = self.connect()
        self.assertEqual(client.routing, {output: str(source - 1) for output, source in enumerate(sources)})
        return client

    def confirmed_sources(self):
        outputs = self.picture(self.router)["outputs"]
        return [None if output["pending"] else output["sources"]["video"] for output in outputs]

    def lock(self, output, state, token="", **further):
        path = f"/api/v1/routers/{self.router}/outputs/{output}/lock"
        return self.ask("POST", path, {"state": state, **further}, token)
