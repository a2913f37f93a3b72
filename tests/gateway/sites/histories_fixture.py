"""A site that hands its history on, and a control room that reads it."""

import contextlib
import json
import re
import sqlite3

import sites_fixture
from sites_fixture import wait_until

STREAM = "VR_AUDIT"


def ask_stream(client, what, text=b""):
    """An answer of the broker's own service."""
    reply = f"vi.asking.{client.numbers}"
    client.listen(reply)
    client.say(f"$JS.API.STREAM.{what}.{STREAM}", text, reply)
    while True:
        subject, _, data = client.hear()
        if subject == reply:
            return json.loads(data)


class Histories(sites_fixture.SitesTest):
    broker_configuration = 'jetstream { store_dir: "FOLDER/streams", max_file_store: 1G }\n'
    control_peers = '[[peer]]\nsite = "north"\nhistory = true\n'

    def make_broker(self):
        return sites_fixture.Broker(self.broker_configuration)

    def setUp(self):
        self.broker = self.make_broker()
        self.addCleanup(self.broker.close)
        self.control = self.add_site("control", (), further=self.control_peers)
        self.north = self.add_site("north", self.north_peers, self.north_items, "history = true")
        for router in self.north_items:
            self.control.wait_for_state(f"north:{router}", "up")

    def entries(self, site, query="limit=5000"):
        return site.get(f"/api/v1/history?{query}").json["history"]

    def read_at_control(self, fits=lambda entry: True):
        return [entry for entry in self.entries(self.control) if entry["site"] == "north" and fits(entry)]

    def take_at_north(self, output, source):
        self.assertEqual(self.north.taken("studio", output, source)["result"], "confirmed")

    def takes_read(self):
        """Outputs and sources of the takes at north, oldest first."""
        takes = self.read_at_control(lambda entry: entry["kind"] == "take")
        return [(take["output"], take["after"]["all"]) for take in reversed(takes)]

    def wait_for_takes(self, wanted):
        wait_until("the takes are read", lambda: sorted(self.takes_read()) == sorted(wanted))

    def expect_same_histories(self):
        """What north has of its own is at the control room, each entry once."""

        def own():
            return sorted(self.identity(entry, "north:") for entry in self.entries(self.north) if entry["kind"] != "login")

        def read():
            return sorted(self.identity(entry) for entry in self.read_at_control(lambda entry: entry["kind"] != "login"))

        wait_until("both have the same", lambda: own() == read())

    def identity(self, entry, site=""):
        router = entry["router"] and site + entry["router"]
        return (entry["time"], entry["kind"], router, entry["output"] or 0, entry["result"], entry["epoch"], entry["number"] or 0)

    def ready(self, site):
        answer = site.get("/readyz", token=None)
        self.assertEqual(answer.status, 200, answer.body)
        return answer.json

    def wait_for_degraded(self, site, pattern):
        wait_until(
            f"{site.name} tells it",
            lambda: "other sites" in self.ready(site)["reason"] and re.search(f"not exchanged with other sites: .*{pattern}", site.errors()),
        )

    def wait_for_ready(self, site):
        wait_until(f"{site.name} is ready", lambda: self.ready(site)["status"] == "ready")

    def gaps(self):
        return [entry for entry in self.entries(self.control) if entry["kind"] == "gap"]

    def wait_until_sent(self, count):
        """So many entries of north at least, and all there are; and north has written down that they are."""

        def all_sent():
            with contextlib.closing(sqlite3.connect(self.north.folder / "state" / "history.db")) as kept:
                places = dict(kept.execute("SELECT name, number FROM places"))
            return places.get("sent") == places.get("numbered", 0) >= count

        wait_until("all is sent", all_sent)

    def figure(self, site, name):
        return float(re.search(rf"(?m)^{name} (\S+)$", site.get("/metrics").body.decode())[1])
