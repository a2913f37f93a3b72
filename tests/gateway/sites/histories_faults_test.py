"""What goes wrong between histories: kept while the broker is away, sent again when it has lost them, read once."""

import base64
import datetime
import resource
import signal
import time

import sites_fixture
from broker_client import BrokerClient
from histories_fixture import STREAM, Histories, ask_stream
from sites_fixture import stop_running, wait_until


class HistoriesAfterFaults(Histories):
    def test_what_was_done_while_the_broker_was_away_is_delivered_afterwards(self):
        self.take_at_north(1, 2)
        self.wait_for_takes([(1, 2)])
        self.broker.kill()
        for site in (self.north, self.control):
            self.wait_for_degraded(site, "broker")
        for source in (3, 4, 5):
            self.take_at_north(1, source)
        self.assertEqual(self.takes_read(), [(1, 2)])
        self.assertEqual(self.figure(self.north, "vrdx_history_exchange_up"), 0)
        self.broker.start()
        self.wait_for_takes([(1, 2), (1, 3), (1, 4), (1, 5)])
        for site in (self.north, self.control):
            self.wait_for_ready(site)
        self.expect_same_histories()
        told = [line for line in self.north.errors().splitlines() if "the history is exchanged" in line]
        self.assertEqual(len(told), 1, told)

    def test_killed_gateways_lose_and_double_nothing(self):
        wanted = []
        for turn, site in enumerate((self.north, self.control, self.north, self.control)):
            for output in range(1, 9):
                self.take_at_north(output, turn + 1)
                wanted.append((output, turn + 1))
            site.kill_gateway()  # at any moment of what it does with them
            site.start_gateway()
            self.north.wait_for_up("studio")
        self.wait_for_takes(wanted)
        self.expect_same_histories()

    def test_sites_that_were_stopped_for_a_while_go_on(self):
        stop_running(self.control.gateway)
        for source in (2, 3):
            self.take_at_north(1, source)
        stop_running(self.broker.process)
        self.take_at_north(1, 4)
        self.broker.process.send_signal(signal.SIGCONT)
        self.control.gateway.send_signal(signal.SIGCONT)
        self.wait_for_takes([(1, 2), (1, 3), (1, 4)])

    def test_stream_that_is_gone_is_made_anew_and_doubles_nothing(self):
        self.take_at_north(1, 2)
        self.wait_for_takes([(1, 2)])
        client = BrokerClient(self.broker)
        self.addCleanup(client.close)
        self.assertTrue(ask_stream(client, "DELETE").get("success"))
        self.take_at_north(1, 3)
        self.wait_for_takes([(1, 2), (1, 3)])
        self.expect_same_histories()

    def test_entries_that_a_broker_lost_before_they_were_read_are_sent_again(self):
        self.take_at_north(1, 2)
        self.wait_for_takes([(1, 2)])
        self.control.kill_gateway()
        for source in (3, 4, 5):
            self.take_at_north(1, source)
        self.wait_until_sent(4)
        self.broker.start_empty()
        self.control.start_gateway()  # makes the stream
        self.control.wait_for_state("north:studio", "up")
        self.wait_for_takes([(1, 2), (1, 3), (1, 4), (1, 5)])
        self.expect_same_histories()
        self.assertEqual(self.gaps(), [])
        sent = self.figure(self.north, "vrdx_history_sent_total")
        self.north.kill_gateway()  # what it has sent to which stream is known afterwards, too
        self.north.start_gateway()
        self.north.wait_for_up("studio")
        self.take_at_north(1, 6)
        self.wait_for_takes([(1, 2), (1, 3), (1, 4), (1, 5), (1, 6)])
        self.assertLess(self.figure(self.north, "vrdx_history_sent_total"), sent)

    def test_entries_of_a_stream_that_was_made_anew_unseen_are_sent_again(self):
        """The site learns of it when it is back, with nothing new to send."""
        self.take_at_north(1, 2)
        self.wait_for_takes([(1, 2)])
        self.control.kill_gateway()
        self.take_at_north(1, 3)
        self.wait_until_sent(2)
        self.north.kill_gateway()
        client = BrokerClient(self.broker)
        self.addCleanup(client.close)
        configuration = ask_stream(client, "INFO")["config"]
        self.assertTrue(ask_stream(client, "DELETE").get("success"))
        self.assertNotIn("error", ask_stream(client, "CREATE", configuration))
        for number in range(100):  # its numbers go beyond those of before
            client.say("vr.other.history", {"v": 1, "made up": number})
        self.control.start_gateway()
        self.north.start_gateway()
        self.wait_for_takes([(1, 2), (1, 3)])
        self.assertEqual(self.gaps(), [])

    def test_entries_that_never_come_are_a_gap(self):
        self.take_at_north(1, 2)
        self.wait_for_takes([(1, 2)])
        self.control.kill_gateway()
        self.take_at_north(1, 3)
        self.wait_until_sent(2)
        client = BrokerClient(self.broker)
        self.addCleanup(client.close)
        state = ask_stream(client, "INFO")["state"]
        self.assertTrue(ask_stream(client, "MSG.DELETE", {"seq": state["last_seq"]}).get("success"))
        self.take_at_north(1, 4)
        self.control.start_gateway()
        self.wait_for_takes([(1, 2), (1, 4)])
        [gap] = self.gaps()
        self.assertEqual((gap["count"], gap["site"], gap["router"] or ""), (1, "north", ""))

    def test_clock_that_is_far_ahead_is_told_and_its_entries_are_of_now(self):
        self.take_at_north(1, 2)
        self.wait_for_takes([(1, 2)])
        client = BrokerClient(self.broker)
        self.addCleanup(client.close)
        year = 365 * 86400 * 1000000
        told = {"v": 1, "epoch": "00112233445566aa", "number": 1, "time": time.time_ns() // 1000 + year, "kind": "lock", "reason": "ahead"}
        client.say("vr.north.history", told)
        wait_until("it is read", lambda: self.read_at_control(lambda entry: entry["reason"] == "ahead"))
        [ahead] = self.read_at_control(lambda entry: entry["reason"] == "ahead")
        self.assertLess(datetime.datetime.fromisoformat(ahead["time"].replace("Z", "+00:00")).timestamp(), time.time() + 86400)
        wait_until("it is told", lambda: "the clock of site north is ahead" in self.control.errors())

    def test_entries_that_come_twice_are_read_once(self):
        self.take_at_north(1, 2)
        self.wait_for_takes([(1, 2)])
        client = BrokerClient(self.broker)
        self.addCleanup(client.close)
        state = ask_stream(client, "INFO")["state"]
        before = [self.identity(entry) for entry in self.read_at_control()]
        sent = []
        client.listen("vr.north.history")
        for number in range(state["first_seq"], state["last_seq"] + 1):
            sent.append(ask_stream(client, "MSG.GET", {"seq": number})["message"]["data"])
        for text in sent:  # without an id: the broker takes each for a new one
            client.say("vr.north.history", base64.b64decode(text))
        wait_until("all is read", lambda: self.figure(self.control, "vrdx_history_read_total") >= 2 * len(sent))
        self.take_at_north(1, 3)
        self.wait_for_takes([(1, 2), (1, 3)])
        after = [self.identity(entry) for entry in self.read_at_control()]
        self.assertEqual(after[-len(before) :], before)
        self.assertEqual(len(after), len(set(after)))

    def test_entry_that_cannot_be_read_becomes_a_gap(self):
        self.take_at_north(1, 2)
        self.wait_for_takes([(1, 2)])
        client = BrokerClient(self.broker)
        self.addCleanup(client.close)
        for message in (b"{", {"v": 2, "new": True}, {"v": 1, "epoch": "x"}):
            client.say("vr.north.history", message)
        self.take_at_north(1, 3)
        self.wait_for_takes([(1, 2), (1, 3)])
        gaps = [entry for entry in self.entries(self.control) if entry["kind"] == "gap"]
        for words, count in (("cannot be read", 2), ("version 2", 1)):  # those of one minute are one entry
            self.assertEqual(sum(gap["count"] for gap in gaps if words in gap["reason"]), count, gaps)
        self.assertIn("the history of site north is written in version 2", self.control.errors())


class HistoriesWithoutRoom(Histories):
    """The broker's disk takes nothing more at some point."""

    def make_broker(self):
        broker = super().make_broker()
        client = BrokerClient(broker)
        self.addCleanup(client.close)
        made = ask_stream(client, "CREATE", {**self.stream, "max_bytes": 3000})
        self.assertNotIn("error", made)
        self.client = client
        return broker

    stream = {
        "name": STREAM, "subjects": ["vr.*.history"], "retention": "limits", "storage": "file", "discard": "new",
        "max_consumers": -1, "max_msgs": -1, "max_age": 0, "num_replicas": 1,
    }  # fmt: skip

    def test_full_stream_is_told_and_harms_no_take(self):
        wanted = []
        while self.ready(self.north)["status"] == "ready":
            wanted.append((1, len(wanted) % 8 + 1))
            self.take_at_north(*wanted[-1])
        self.wait_for_degraded(self.north, "maximum bytes")
        for source in (7, 8):
            self.control.take_until_confirmed("north:studio", 2, source)
        self.assertGreaterEqual(self.figure(self.north, "vrdx_history_unsent"), 1)
        self.assertNotIn("error", ask_stream(self.client, "UPDATE", {**self.stream, "max_bytes": 10000000}))
        self.wait_for_ready(self.north)
        self.expect_same_histories()
        self.assertEqual([take for take in self.takes_read() if take[0] == 1], wanted)


class HistoriesWithoutDisk(Histories):
    """The broker's process may write no file beyond some size."""

    def test_disk_that_takes_nothing_is_told_and_harms_no_take(self):
        self.take_at_north(1, 2)
        self.wait_for_takes([(1, 2)])
        resource.prlimit(self.broker.process.pid, resource.RLIMIT_FSIZE, (1, resource.RLIM_INFINITY))
        turn = 0
        while self.ready(self.north)["status"] == "ready":
            turn += 1
            self.take_at_north(1, turn % 8 + 1)
        self.control.take_until_confirmed("north:studio", 2, 8)
        self.expect_sources(self.control, "north:studio", 2, 8)
        resource.prlimit(self.broker.process.pid, resource.RLIMIT_FSIZE, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))
        self.broker.kill()
        self.broker.start()
        self.wait_for_ready(self.north)
        self.expect_same_histories()


if __name__ == "__main__":
    sites_fixture.main()
