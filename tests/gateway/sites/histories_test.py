"""Histories of all sites: handed on to the broker's stream, and read there."""

import rights_test
import sites_fixture
from histories_fixture import STREAM, Histories
from sites_fixture import simulated, wait_until


class HistoriesOfSites(Histories):
    def test_take_at_a_site_is_in_the_history_of_the_control_room(self):
        self.take_at_north(1, 3)
        self.wait_for_takes([(1, 3)])
        [take] = self.read_at_control(lambda entry: entry["kind"] == "take")
        self.assertEqual((take["router"], take["by"], take["through"], take["site"]), ("north:studio", "north:boss", "gateway", "north"))
        self.assertEqual((take["result"], take["address"]), ("confirmed", "127.0.0.1"))
        [own] = [entry for entry in self.entries(self.north, "router=studio") if entry["kind"] == "take"]
        self.assertEqual((own["router"], own["by"], own["site"]), ("studio", "boss", ""))
        self.assertEqual((own["epoch"], own["number"], own["time"]), (take["epoch"], take["number"], take["time"]))
        self.assertEqual(self.entries(self.control, "router=north:studio"), [take])

    def test_take_from_the_control_room_is_there_as_asked_and_as_done(self):
        self.control.take_until_confirmed("north:studio", 1, 3)

        def confirmed():
            return [entry for entry in self.entries(self.control, "router=north:studio") if entry["result"] == "confirmed"]

        wait_until("both are there", lambda: {entry["site"] for entry in confirmed()} == {"", "north"})
        by_site = {entry["site"]: entry for entry in confirmed()}
        self.assertEqual((by_site[""]["by"], by_site[""]["through"]), ("boss", "gateway"))
        self.assertEqual((by_site["north"]["by"], by_site["north"]["through"]), ("control:boss", "site"))

    def test_other_entries_are_read_too(self):
        self.north.ask("POST", "/api/v1/routers/studio/outputs/1/lock", {"state": "lock", "reason": "on air"})
        wait_until("the lock is read", lambda: self.read_at_control(lambda entry: entry["kind"] == "lock"))
        [lock] = self.read_at_control(lambda entry: entry["kind"] == "lock")
        self.assertEqual((lock["router"], lock["output"], lock["by"], lock["reason"]), ("north:studio", 1, "north:boss", "on air"))
        self.expect_same_histories()

    def test_token_of_some_routers_sees_their_entries_alone(self):
        self.north.start_driver("gallery", simulated())
        self.control.wait_for_state("north:gallery", "up")
        self.take_at_north(1, 3)
        self.assertEqual(self.north.taken("gallery", 1, 4)["result"], "confirmed")
        self.wait_for_takes([(1, 3), (1, 4)])
        token = self.control.add_token("desk", "view", "--router", "north:gallery")
        wait_until("the token holds", lambda: self.control.get("/api/v1/history", token=token).status == 200)
        rows = self.control.get("/api/v1/history", token=token).json["history"]
        self.assertEqual({row["router"] for row in rows}, {"north:gallery"})

    def test_site_that_is_not_to_be_read_is_not(self):
        other = self.add_site("other", ["north"])
        other.wait_for_state("north:studio", "up")
        self.take_at_north(1, 3)
        self.wait_for_takes([(1, 3)])
        self.assertEqual([entry for entry in self.entries(other) if entry["site"]], [])

    def test_figures_tell_what_was_sent_and_read(self):
        self.take_at_north(1, 3)
        self.wait_for_takes([(1, 3)])
        wait_until("all is sent", lambda: self.figure(self.north, "vrdx_history_sent_total") >= 1 and self.figure(self.north, "vrdx_history_unsent") == 0)
        wait_until("all is read", lambda: self.figure(self.control, "vrdx_history_read_total") >= 1 and self.figure(self.control, "vrdx_history_unread") == 0)
        for site in (self.north, self.control):
            self.assertEqual(self.figure(site, "vrdx_history_exchange_up"), 1)


class NoStreams(sites_fixture.SitesTest):
    def test_broker_without_streams_is_told(self):
        east = self.add_site("east", (), further='history = true\n[[peer]]\nsite = "north"\nhistory = true\n')

        def degraded():
            told = east.get("/readyz", token=None)
            return told.status == 200 and told.json["status"] == "degraded" and "other sites" in told.json["reason"]

        wait_until("it is told", degraded)
        east.wait_for_state("north:studio", "up")
        self.assertRegex(east.errors(), "the history is not exchanged with other sites: .*keeps no streams")


class HistoriesWithRights(Histories, rights_test.SitesWithRights):
    """With the rights of docs/federation.md."""

    broker_configuration = rights_test.SitesWithRights.broker_configuration

    def test_histories_go_on_with_these_rights(self):
        self.take_at_north(1, 3)
        self.wait_for_takes([(1, 3)])
        for site in (self.north, self.control):
            self.wait_for_ready(site)
            self.assertNotIn("Violation", site.errors())

    def test_site_tells_its_own_history_alone(self):
        client = self.client("control")
        for subject in ("vr.north.history", "vr.other.history"):
            self.assertEqual(len(client.errors_of(subject)), 1, subject)

    def test_site_reads_and_changes_no_stream_without_a_right(self):
        client = self.client("north")
        for what in ("CREATE", "UPDATE", "DELETE", "PURGE", "MSG.GET", "MSG.DELETE", "RESTORE", "SNAPSHOT"):
            self.assertEqual(len(client.errors_of(f"$JS.API.STREAM.{what}.{STREAM}")), 1, what)


class HistoriesThroughALeafNode(Histories, rights_test.SitesAtALeafNode):
    broker_configuration = rights_test.SitesAtALeafNode.broker_configuration

    def test_histories_go_through_it(self):
        self.take_at_north(1, 3)
        self.wait_for_takes([(1, 3)])
        for site in (self.north, self.control):
            self.wait_for_ready(site)


if __name__ == "__main__":
    sites_fixture.main()
