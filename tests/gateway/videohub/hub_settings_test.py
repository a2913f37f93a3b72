"""[[videohub]] of the configuration: at the start, by --check-config, and read anew while the gateway runs."""

import pathlib
import signal
import socket
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from hub_client import HubClient  # noqa: E402
from hub_fixture import HubTest, simulated, wait_until  # noqa: E402

from gateway_fixture import PATIENCE, main  # noqa: E402  isort: skip


class HubSettings(HubTest):
    items = {"studio": simulated(4, 3), "archive": simulated(2, 2)}

    def check(self, text):
        self.configuration = text
        command = [*self.gateway_command(), "--check-config"]
        return subprocess.run(command, capture_output=True, text=True, check=False, timeout=PATIENCE)

    def reload(self, text):
        before = self.errors().count("read anew") + self.errors().count("before stays")
        self.configuration = text
        self.gateway_command()  # writes it
        self.gateway.send_signal(signal.SIGHUP)
        wait_until(
            "it is read", lambda: self.errors().count("read anew") + self.errors().count("before stays") > before
        )

    def is_served(self, address):
        with socket.socket() as probe:
            return probe.connect_ex(address) == 0

    def test_check_knows_right_and_wrong_tables(self):
        self.assertEqual(self.check(self.hub_table(9990)).returncode, 0)
        wrong = self.check(self.hub_table(9990, server='role = "god"\n'))
        self.assertEqual(wrong.returncode, 2)
        self.assertIn('gateway.toml:4: videohub.role cannot be "god"; possible: "view"', wrong.stderr)
        admin = self.check(self.hub_table(9990, server='role = "admin"\n'))
        self.assertIn("which this protocol cannot tell", admin.stderr)
        bare = self.check(self.hub_table(9990, server='address = "0.0.0.0"\n'))
        self.assertIn("clients", bare.stderr)

    def test_address_that_is_taken_ends_the_start(self):
        with socket.create_server(("127.0.0.1", 0)) as other:
            port = other.getsockname()[1]
            self.configuration = self.hub_table(port)
            self.stop_gateway()
            result = subprocess.run(
                [*self.gateway_command(), "--listen", "127.0.0.1:0"],
                capture_output=True,
                text=True,
                check=False,
                timeout=PATIENCE,
            )
            self.assertEqual(result.returncode, 1)
            self.assertIn(f"cannot listen on 127.0.0.1:{port} as a Videohub: Address already in use", result.stderr)

    def test_new_servers_begin_and_gone_ones_end_and_others_go_on(self):
        stays = self.connect()
        self.reload(self.configuration + self.hub_table(router="archive"))
        archive = self.connect(address=self.hub_addresses()[1])
        self.assertEqual(len(archive.outputs), 2)
        self.reload(self.hub_table())
        self.assertTrue(archive.is_closed())
        self.assertFalse(self.is_served(self.hub_addresses()[1]))
        self.assertTrue(stays.ask("PING:\n\n"))
        self.assertEqual(len(self.hub_addresses()), 2)

    def test_changed_server_begins_anew_at_the_same_address(self):
        port = self.hub_address()[1]
        self.reload(self.hub_table(port))  # another port than 0 is another server
        client = self.connect()
        self.assertTrue(client.ask("VIDEO OUTPUT LOCKS:\n0 O\n\n"))
        self.reload(self.hub_table(port, server='role = "view"\n'))
        self.assertTrue(client.is_closed())
        again = self.connect()
        self.assertEqual(self.hub_address()[1], port)
        self.assertFalse(again.ask("VIDEO OUTPUT LOCKS:\n0 U\n\n"))
        self.assertEqual(again.locks[0], "O")

    def test_wrong_file_leaves_all_servers(self):
        client = self.connect()
        self.reload("[[videohub]]\n")
        self.assertTrue(client.ask("PING:\n\n"))

    def test_address_that_is_taken_is_told_and_tried_again_with_the_next_signal(self):
        with socket.create_server(("127.0.0.1", 0)) as other:
            port = other.getsockname()[1]
            self.reload(self.configuration + self.hub_table(port, router="archive"))
            self.assertIn(f"cannot listen on 127.0.0.1:{port} as a Videohub", self.errors())
            self.assertEqual(len(self.hub_addresses()), 1)
        self.reload(self.configuration)
        self.assertEqual(self.hub_addresses()[1], ("127.0.0.1", port))

    def test_end_of_the_gateway_ends_its_clients(self):
        client = self.connect()
        self.assertEqual(self.stop_gateway(), 0)
        self.assertTrue(client.is_closed())


class HubClients(HubTest):
    server = 'role = "operate"\nclients = ["127.0.0.2", "127.1.0.0/16"]\n'

    def test_only_named_addresses_may_connect(self):
        for source, allowed in (("127.0.0.2", True), ("127.1.2.3", True), ("127.0.0.3", False), ("127.2.0.1", False)):
            client = HubClient(self.hub_address(), source=source)
            self.addCleanup(client.close)
            if allowed:
                client.read_prelude()
            else:
                self.assertTrue(client.is_closed())
                self.assertEqual(client.received, b"")
        self.assertEqual(self.errors().count("is not among its clients"), 1)
        self.assertIn("127.0.0.3 is not let in", self.errors())


if __name__ == "__main__":
    main()
