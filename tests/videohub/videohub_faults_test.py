"""A Videohub router under the real driver: what goes wrong. Usage: videohub_faults_test.py [CLASS.METHOD ...]"""

import random
import signal
import time

from running_driver import wait_until
from videohub_emulator import LOCKED, UNLOCKED
from videohub_fixture import VideohubTest, item_text, main

MEBIBYTE = 1024 * 1024


class VideohubConnectionFaults(VideohubTest):
    def test_refused_connection_is_said_once_and_takes_are_not_kept(self):
        emulator = self.emulate(8, 6)
        driver = self.drive(emulator)
        self.wait_for_picture(driver, emulator)
        emulator.refuse()
        emulator.drop_clients()
        driver.wait_for_trace("STDERR<WARN>: 'lost the connection")
        driver.wait_for_trace("Connection refused")
        self.assertIn("STDOUT: 'text=the router closed it'", driver.trace())
        self.assertNotEqual(self.take(driver, "1=5"), 0)
        self.routectl(driver, "route", "--no-wait", "1=5")
        driver.wait_for_trace("STDERR<WARN>: 'take to output 1 refused: not connected to the router'")
        self.wait_for_sources(driver, [1, 2, 3, 4, 5, 6])
        emulator.listen()
        wait_until("it is back", lambda: driver.trace().count("STDERR<INFO>: 'connected to") == 2)
        self.expect_taken(driver, "2=6")
        self.assertEqual(emulator.blocks("VIDEO OUTPUT ROUTING"), [["1 5"]])
        self.assertEqual(self.warnings(driver, "Connection refused"), 1)

    def test_router_that_appears_later_is_found(self):
        emulator = self.emulate(8, 6, listening=False)
        driver = self.drive(emulator)
        driver.wait_for_trace("Connection refused")
        self.assertIs(self.status(driver)["router"], False)
        emulator.listen()
        self.wait_for_picture(driver, emulator)

    def test_accepting_and_silence(self):
        emulator = self.emulate(8, 6, listening=False)
        emulator.greeting = ""
        emulator.listen()
        driver = self.drive(emulator, videohub_answer_ms=200)
        driver.wait_for_trace("does not speak the Videohub protocol")
        wait_until("it tries again", lambda: emulator.connections >= 3)
        self.assertEqual(self.warnings(driver, "does not speak"), 1)
        emulator.greeting = None
        self.wait_for_picture(driver, emulator)

    def test_silence_later_on(self):
        emulator, driver = self.connected(8, 6, videohub_ping_ms=200, videohub_silence_ms=1000)
        connections = emulator.connections
        emulator.answers_pings = False
        driver.wait_for_trace("STDERR<WARN>: 'lost the connection to 127.0.0.1 port")
        driver.wait_for_trace("it is silent'")
        wait_until("it is back", lambda: emulator.connections > connections)
        emulator.answers_pings = True
        wait_until("it takes again", lambda: self.take(driver, "1=3") == 0)

    def test_reset_in_the_middle_of_a_block(self):
        emulator = self.emulate(8, 6, listening=False)
        emulator.hang_up_after = 500  # within the labels
        emulator.listen()
        driver = self.drive(emulator)
        wait_until("it tries again", lambda: emulator.connections >= 3)
        self.assertIs(self.status(driver)["router"], False)
        emulator.hang_up_after = None
        self.wait_for_picture(driver, emulator)

    def test_what_changed_meanwhile_is_read_again(self):
        emulator, driver = self.connected(8, 6)
        emulator.refuse()
        emulator.drop_clients(reset=True)
        driver.wait_for_trace("lost the connection")
        emulator.routing[0] = 6
        emulator.output_labels[0] = "Other"
        emulator.listen()
        self.wait_for_picture(driver, emulator)
        wait_until("renamed", lambda: self.status(driver)["outputs"][0]["name"] == "Other")

    def test_another_size_after_a_reconnect(self):
        emulator, driver = self.connected(8, 6)
        emulator.become(12, 20)
        emulator.drop_clients()
        self.wait_for_picture(driver, emulator)
        self.expect_taken(driver, "20=11")
        emulator.become(2, 1)
        emulator.drop_clients()
        self.wait_for_picture(driver, emulator)

    def test_another_device_while_connected(self):
        emulator, driver = self.connected(8, 6)
        emulator.attach(16, 3)
        self.wait_for_picture(driver, emulator)
        self.expect_taken(driver, "3=16")
        self.assertEqual(emulator.connections, 1)

    def test_missing_device(self):
        emulator = self.emulate(8, 6, listening=False)
        emulator.present = "false"
        emulator.listen()
        driver = self.drive(emulator)
        driver.wait_for_trace("STDERR<WARN>: 'the Videohub server answers, but no device is attached to it'")
        self.assertIs(self.status(driver)["router"], False)
        emulator.attach(8, 6)
        self.wait_for_picture(driver, emulator)

    def test_another_major_version(self):
        emulator = self.emulate(8, 6, listening=False)
        emulator.version = "3.0"
        emulator.listen()
        driver = self.drive(emulator)
        driver.wait_for_trace("it speaks version 3.0 of the protocol, not 2.x")
        self.assertIs(self.status(driver)["router"], False)

    def test_missing_address(self):
        driver = self.drive_item("driver=route_videohub\n")
        driver.wait_for_trace('STDERR<WARN>: \'not connected: the item has no setting "address"')

    def test_unknown_host(self):
        driver = self.drive_item(item_text(9990, address="no-such-router.invalid"))
        driver.wait_for_trace("STDERR<WARN>: 'not connected to no-such-router.invalid port 9990: the name")


    def test_routing_that_leaves_outputs_out_is_shown_without_them(self):
        emulator = self.emulate(8, 6, listening=False)
        emulator.untold = {0, 4}
        emulator.listen()
        driver = self.drive(emulator, videohub_silence_ms=1000, videohub_ping_ms=200)
        driver.wait_for_trace("STDOUT: 'o4.input.all=unknown'")
        self.wait_for_size(driver, 8, 6)
        self.expect_taken(driver, "5=2")
        wait_until("it stays", lambda: len(emulator.blocks("PING")) >= 10)
        self.assertEqual(emulator.connections, 1)

    def test_device_described_once_more_costs_no_take(self):
        emulator, driver = self.connected(8, 6)
        emulator.describe_device_again()
        self.expect_taken(driver, "1=5")
        self.assertEqual(driver.trace().count("STDOUT: 'inputs=8'"), 1)

    def test_half_read_router_is_lost_once_per_reason(self):
        emulator = self.emulate(8, 6, listening=False)
        emulator.hang_up_after = 500
        emulator.listen()
        driver = self.drive(emulator)
        wait_until("it tries again", lambda: emulator.connections >= 4)
        self.assertEqual(self.warnings(driver, "connect"), 1)


class VideohubNonsense(VideohubTest):
    def test_garbage(self):
        emulator = self.emulate(8, 6, listening=False)
        emulator.greeting = random.Random(7).randbytes(20000)
        emulator.greeting_repeats = 20
        emulator.listen()
        driver = self.drive(emulator, videohub_answer_ms=300)
        driver.wait_for_trace("does not speak the Videohub protocol")
        emulator.greeting = None
        self.wait_for_picture(driver, emulator)

    def offer_a_gibibyte(self, greeting):
        """The connection is dropped long before the end; the router is found again afterwards."""
        emulator = self.emulate(8, 6, listening=False)
        emulator.greeting = greeting.encode()
        emulator.greeting_repeats = 1024 * MEBIBYTE // len(greeting)
        emulator.listen()
        driver = self.drive(emulator, videohub_reconnect_ms=1000)
        driver.wait_for_trace("it sends a block of more than 1 MiB")
        wait_until("it is dropped", lambda: emulator.clients[0].gone)
        self.assertLess(emulator.bytes_sent, 16 * MEBIBYTE * emulator.connections)
        emulator.greeting = None
        self.wait_for_picture(driver, emulator)

    def test_chatty_router_is_not_read_while_the_driver_does_not_read(self):
        emulator, driver = self.connected(8, 6)
        driver.send_signal(signal.SIGSTOP)  # its fixture continues it in the end
        offered = 32
        changes = emulator.block("VIDEO OUTPUT ROUTING", ["0 1"]) * (MEBIBYTE // 26)
        for _ in range(offered):
            emulator.broadcast(changes)
        waiting = emulator.clients[0].outgoing
        counts = [-1]

        def stands_still():
            time.sleep(0.5)
            counts.append(waiting.qsize())
            return counts[-1] == counts[-2] < offered or counts[-1] == 0

        wait_until("nothing is sent any more", stands_still)
        self.assertGreater(waiting.qsize(), 0)

    def test_gibibyte_without_a_line_feed(self):
        self.offer_a_gibibyte("x" * MEBIBYTE)

    def test_gibibyte_without_an_empty_line(self):
        self.offer_a_gibibyte("0 label\n" * (MEBIBYTE // 8))


class VideohubTakesThatFail(VideohubTest):
    def test_every_second_take_is_refused(self):
        emulator, driver = self.connected(8, 6)
        emulator.refuses_every = 2
        for number in range(1, 7):
            if number % 2 == 1:
                self.expect_taken(driver, f"1={number}")
            else:
                self.assertNotEqual(self.take(driver, f"1={number}"), 0)
            self.assertEqual(self.sources(driver)[0], emulator.routing[0] + 1)
        self.assertEqual(self.warnings(driver, "take to output 1 refused: the router said NAK"), 3)
        self.assertEqual(emulator.take_blocks, 6)

    def test_locked_output_is_told_and_the_others_are_taken(self):
        emulator, driver = self.connected(8, 6)
        emulator.lock_output(1)
        told = "STDERR<WARN>: 'take to output 2 refused: locked by another client of the router'"
        # A take before the backend knows of the lock fails, too, and is told otherwise.
        wait_until("refused", lambda: self.take(driver, "2=8") != 0 and told in driver.trace())
        self.assertNotEqual(self.take(driver, "1=7", "2=7"), 0)
        self.wait_for_sources(driver, [7, 2, 3, 4, 5, 6])
        emulator.lock_output(1, UNLOCKED)
        wait_until("taken", lambda: self.take(driver, "2=8") == 0)

    def test_output_that_refuses_does_not_cost_the_others_of_its_salvo(self):
        emulator, driver = self.connected(8, 6)
        emulator.locks[1] = LOCKED  # which nobody has told
        self.assertNotEqual(self.take(driver, "1=7", "2=7", "3=7"), 0)
        self.wait_for_sources(driver, [7, 2, 7, 4, 5, 6])
        self.assertEqual(
            emulator.blocks("VIDEO OUTPUT ROUTING"), [["0 6", "1 6", "2 6"], ["0 6"], ["1 6"], ["2 6"]]
        )
        self.assertIn("STDOUT: 'text=the router said NAK'", driver.trace())

    def test_router_that_reads_one_line_per_block_is_sent_each_take_alone(self):
        emulator, driver = self.connected(8, 6, videohub_one_take_per_block="yes")
        emulator.one_take_per_block = True
        self.expect_taken(driver, "1=7", "2=7", "3=7")
        self.wait_for_sources(driver, [7, 7, 7, 4, 5, 6])

    def test_refused_name_is_told_as_it_was(self):
        emulator, driver = self.connected(8, 6)
        emulator.refuses_names = True
        self.routectl(driver, "router-set", "output.2.name=Studio")
        driver.wait_for_trace("STDERR<WARN>: 'the router refused the names or locks'")
        # By itself: what the driver asks for every ten seconds begins with the first output.
        driver.wait_for_trace("STDOUT: '*TYPE=message'\nSTDOUT: 'o1.name=Destination 2'\n")

    def test_acknowledged_take_that_is_never_confirmed_rolls_back(self):
        emulator, driver = self.connected(8, 6)
        emulator.confirms = False
        self.assertNotEqual(self.take(driver, "1=5"), 0)
        driver.wait_for_trace("STDERR<WARN>: 'the router has not confirmed the take to output 1'")
        self.assertEqual(self.sources(driver)[0], 1)

    def test_take_that_is_never_answered_breaks_the_connection(self):
        emulator, driver = self.connected(8, 6, videohub_answer_ms=1500)
        emulator.answers = emulator.confirms = False
        self.assertNotEqual(self.take(driver, "1=5"), 0)
        driver.wait_for_trace("it does not answer'")
        emulator.answers = emulator.confirms = True
        wait_until("it takes again", lambda: self.take(driver, "1=3") == 0)
        self.assertNotIn(["0 4"], emulator.blocks("VIDEO OUTPUT ROUTING")[1:])

    def test_slow_router_is_shown_late_but_truly(self):
        emulator = self.emulate(8, 6, listening=False)
        emulator.latency = 5  # seconds: longer than the driver waits for the take
        emulator.listen()
        driver = self.drive(emulator)
        self.wait_for_picture(driver, emulator)
        self.assertNotEqual(self.take(driver, "1=5"), 0)
        driver.wait_for_trace("STDERR<WARN>: 'the router has not confirmed the take to output 1'")
        self.wait_for_sources(driver, [5, 2, 3, 4, 5, 6])
        self.assertEqual(emulator.connections, 1)

    def test_takes_behind_a_slow_one_are_given_up_not_repeated(self):
        emulator = self.emulate(8, 6, listening=False)
        emulator.latency = 4
        emulator.listen()
        driver = self.drive(emulator)
        self.wait_for_picture(driver, emulator)
        self.routectl(driver, "route", "--no-wait", "1=5")
        wait_until("it is sent", lambda: emulator.take_blocks == 1)
        self.routectl(driver, "route", "--no-wait", "2=5")
        driver.wait_for_trace("take to output 2 refused: came too late: the router has not answered the one before")
        self.wait_for_sources(driver, [5, 2, 3, 4, 5, 6])
        self.assertEqual(emulator.blocks("VIDEO OUTPUT ROUTING"), [["0 4"]])


if __name__ == "__main__":
    main()
