"""The broker's configuration of docs/federation.md: what it allows, and what it does not."""

import json
import pathlib
import re

import sites_fixture
from broker_client import BrokerClient
from sites_fixture import wait_until

PAGE = pathlib.Path(__file__).parents[3] / "docs" / "federation.md"


def documented(name):
    """The block of the page that begins with ```NAME, without what it listens to, and with streams in the test's folder."""
    block = re.search(rf"^```{name}\n(.*?)^```", PAGE.read_text(encoding="utf-8"), re.MULTILINE | re.DOTALL)[1]
    return re.sub(r'store_dir: "[^"]*"', 'store_dir: "FOLDER/streams"', re.sub(r"^listen: .*\n", "", block))


class SitesWithRights(sites_fixture.SitesTest):
    broker_configuration = documented("nats")

    def add_site(self, name, peers, items=None, further=""):
        user = self.broker.folder / f"user-{name}"
        user.write_text(f"{name}\nPASSWORD-OF-{name.upper()}\n", encoding="utf-8")
        return super().add_site(name, peers, items, f'credentials = "{user}"\n{further}')

    def client(self, user):
        client = BrokerClient(self.broker, user, f"PASSWORD-OF-{user.upper()}")
        self.addCleanup(client.close)
        return client


class BrokerRights(SitesWithRights):
    def test_sites_see_and_take_with_these_rights(self):
        self.control.take_until_confirmed("north:studio", 1, 3)
        self.expect_sources(self.control, "north:studio", 1, 3)
        for site in (self.north, self.control):
            self.assertNotIn("Violation", site.errors())

    def test_site_speaks_for_itself_alone(self):
        client = self.client("control")
        forbidden = [
            "vr.north.alive", "vr.north.studio.evt", "vr.north.studio.take.north", "vr.north.studio.take.other",
            "vr.north.studio.name.north", "vi.north.x.1", "$JS.API.ACCOUNT.PURGE.x", "$JS.API.SERVER.REMOVE",
            "$JS.API.ACCOUNT.STREAM.MOVE.a.b", "vr.north.history", "$SYS.REQ.SERVER.PING", "elsewhere",
        ]  # fmt: skip
        for subject in forbidden:
            self.assertEqual(len(client.errors_of(subject)), 1, subject)
            self.assertIn("Permissions Violation", client.errors[0])

    def test_site_hears_nothing_that_is_not_for_it(self):
        client = self.client("control")
        for subject in (">", "vr.>", "vi.north.>", "vr.north.*.take.*", "vr.north.studio.get", "$SYS.>"):
            client.errors.clear()
            client.listen(subject)
            self.assertEqual(len(client.errors), 1, subject)

    def test_who_has_no_password_is_not_let_in(self):
        for user, password in ((None, None), ("control", "PASSWORD-OF-NORTH")):
            with self.assertRaises((AssertionError, ConnectionError)):
                BrokerClient(self.broker, user, password)

    def test_gateway_with_a_wrong_password_says_so(self):
        user = self.broker.folder / "wrong"
        user.write_text("north\nwrong\n", encoding="utf-8")
        site = sites_fixture.Site("north", self.broker, [], {}, f'credentials = "{user}"')
        self.addCleanup(site.doCleanups)
        site.setUp()
        wait_until("it is told", lambda: "cannot connect to the broker" in site.errors())
        self.assertEqual(site.get("/healthz").status, 200)


class SitesAtALeafNode(SitesWithRights):
    """The site north has a broker of its own, a leaf node of the one in the middle."""

    broker_configuration = documented("nats").replace(
        '"vr.north.history"', '"vr.north.history", "vi.>", "$JS.vrdx.API.STREAM.INFO.VR_AUDIT"'
    ) + documented("leaf-middle").replace("0.0.0.0:7422", "127.0.0.1:-1")

    def add_site(self, name, peers, items=None, further=""):
        if name != "north":
            return super().add_site(name, peers, items, further)
        port = self.leaf_port = re.search(r"leafnode connections on 127\.0\.0\.1:(\d+)", self.broker.log())[1]
        self.leaf = sites_fixture.Broker(documented("leaf-site").replace("broker.example:7422", f"127.0.0.1:{port}"))
        self.addCleanup(self.leaf.close)
        middle, self.broker = self.broker, self.leaf
        try:
            return super().add_site(name, peers, items, further)
        finally:
            self.broker = middle


class LeafNodes(SitesAtALeafNode, BrokerRights):
    def test_middle_lets_nothing_through_that_the_site_may_not_say(self):
        at_leaf = BrokerClient(self.leaf, "north", "PASSWORD-OF-NORTH")
        self.addCleanup(at_leaf.close)
        listening = self.client("control")
        listening.listen("vr.*.alive")
        for subject in ("vr.control.alive", "vr.other.alive", "vr.north.alive"):
            at_leaf.say(subject, {"marked": subject})
        heard = []
        while "vr.north.alive" not in heard:
            heard.append(json.loads(listening.hear()[2]).get("marked"))
        self.assertEqual([each for each in heard if each], ["vr.north.alive"])

    def test_sites_go_on_when_the_middle_was_away(self):
        self.broker.kill()
        self.control.wait_for_state("north:studio", "stale")
        self.assertEqual(self.north.taken("studio", 2, 7)["result"], "confirmed")
        self.broker.configuration = self.broker.configuration.replace('"127.0.0.1:-1"', f'"127.0.0.1:{self.leaf_port}"')
        self.broker.start()
        self.expect_sources(self.control, "north:studio", 2, 7)
        self.control.take_until_confirmed("north:studio", 1, 3)


if __name__ == "__main__":
    sites_fixture.main()
