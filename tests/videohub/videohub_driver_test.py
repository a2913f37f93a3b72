"""A Videohub router under the real driver: what works. Usage: videohub_driver_test.py [CLASS.METHOD ...]"""

import os
import re
import socket
import unittest

from running_driver import wait_until
from videohub_emulator import OWN, UNLOCKED
from videohub_fixture import VideohubTest, item_text, main


class VideohubUnderTheDriver(VideohubTest):
    def test_shows_sizes_names_and_sources(self):
        _, driver = self.connected(8, 6)
        status = self.status(driver)
        self.assertEqual([entry["name"] for entry in status["inputs"]], [f"Source {n}" for n in range(1, 9)])
        self.assertEqual(status["outputs"][5]["name"], "Destination 6")
        self.assertEqual(self.sources(driver), [1, 2, 3, 4, 5, 6])
        driver.wait_for_trace("STDERR<INFO>: 'connected to 127.0.0.1 port")
        driver.wait_for_trace("STDOUT: 'state=up'")
        self.assertNotIn("STDERR<WARN>", driver.trace())

    def test_take_is_confirmed_by_the_router(self):
        emulator, driver = self.connected(8, 6)
        wait_until("one is confirmed in time", lambda: self.take(driver, "3=8") == 0)
        self.assertEqual(emulator.routing[2], 7)
        self.assertEqual(self.sources(driver)[2], 8)

    def test_take_of_the_source_it_has_is_confirmed(self):
        _, driver = self.connected(8, 6)
        self.expect_taken(driver, "3=3")

    def test_salvo_is_one_block(self):
        emulator, driver = self.connected(8, 6)
        self.expect_taken(driver, "1=5", "2=5", "6=1")
        self.assertEqual(emulator.blocks("VIDEO OUTPUT ROUTING"), [["0 4", "1 4", "5 0"]])

    def test_switching_at_the_panel_is_shown(self):
        emulator, driver = self.connected(8, 6)
        emulator.take_at_panel(1, 7)
        self.wait_for_sources(driver, [1, 8, 3, 4, 5, 6])

    def test_names_become_labels(self):
        emulator, driver = self.connected(8, 6)
        self.routectl(driver, "router-set", "output.2.name=Studio Süd", "input.1.name=a=b")
        wait_until("renamed", lambda: self.status(driver)["outputs"][1]["name"] == "Studio Süd")
        wait_until("renamed", lambda: self.status(driver)["inputs"][0]["name"] == "a=b")
        self.assertEqual((emulator.output_labels[1], emulator.input_labels[0]), ("Studio Süd", "a=b"))

    def test_locks_are_set_and_freed(self):
        emulator, driver = self.connected(8, 6)
        self.routectl(driver, "router-set", "output.2.lock=own")
        driver.wait_for_trace("STDOUT: 'o1.lock=own'")
        self.assertEqual(emulator.locks[1], OWN)
        emulator.lock_output(2)
        driver.wait_for_trace("STDOUT: 'o2.lock=other'")
        self.routectl(driver, "router-set", "output.2.lock=free", "output.3.lock=force")
        wait_until("all are free", lambda: emulator.locks == [UNLOCKED] * 6)
        for output in (1, 2):
            wait_until(
                f"the lock of output {output + 1} is told",
                lambda: f"STDOUT: 'o{output}.lock=free'" in driver.trace().rpartition("lock=other'")[2],
            )

    def test_monitoring_outputs_stand_after_the_others_where_the_item_wants_them(self):
        emulator = self.emulate(8, 6)
        driver = self.drive(emulator, videohub_monitoring_outputs="yes")
        self.wait_for_sources(driver, [1, 2, 3, 4, 5, 6, 2])
        self.assertEqual(self.status(driver)["outputs"][6]["name"], "Monitor 1")
        self.expect_taken(driver, "7=8", "1=8")
        self.wait_for_sources(driver, [8, 2, 3, 4, 5, 6, 8])
        self.assertEqual(emulator.monitors, [7])

    def test_serial_ports_stand_behind_all_inputs_and_outputs_where_the_item_wants_them(self):
        emulator = self.emulate(8, 6)
        driver = self.drive(emulator, videohub_serial_ports="yes", videohub_monitoring_outputs="yes")
        self.wait_for_size(driver, 10, 9)
        self.wait_for_sources(driver, [1, 2, 3, 4, 5, 6, 2, 0, 9])
        self.assertEqual(self.status(driver)["inputs"][9]["name"], "Deck 2")
        self.expect_taken(driver, "8=10", "1=8")
        self.assertEqual(emulator.serial, [1, 0])
        self.assertNotEqual(self.take(driver, "8=1"), 0)
        driver.wait_for_trace("refused: a serial port takes its data from another serial port only")
        self.wait_for_sources(driver, [8, 2, 3, 4, 5, 6, 2, 10, 9])

    def test_two_controllers_at_once_see_each_other(self):
        emulator, driver = self.connected(8, 6)
        other = self.drive(emulator)
        self.wait_for_picture(other, emulator)
        with socket.create_connection(emulator.address) as panel:
            for number in range(1, 7):
                self.expect_taken(driver, f"1={number}")
                self.expect_taken(other, f"2={number}")
                panel.sendall(f"VIDEO OUTPUT ROUTING:\n2 {number}\n\n".encode())
        wait_until("all are in", lambda: emulator.take_blocks == 18)
        for one in (driver, other):
            self.wait_for_sources(one, [6, 6, 7, 4, 5, 6])

    def test_large_router_in_many_pieces(self):
        emulator = self.emulate(288, 288, listening=False)
        emulator.piece = 100
        emulator.listen()
        driver = self.drive(emulator)
        self.wait_for_picture(driver, emulator)
        driver.wait_for_trace("STDOUT: 'o287.input.all=287'")
        self.expect_taken(driver, "1=288", "128=288")
        self.expect_taken(driver, "288=1")
        self.assertEqual(emulator.routing[287], 0)

    def test_blocks_cut_at_every_byte(self):
        emulator = self.emulate(8, 6, listening=False)
        emulator.piece = 1
        emulator.listen()
        driver = self.drive(emulator)
        self.wait_for_picture(driver, emulator)
        self.expect_taken(driver, "3=8")

    def test_old_router_that_does_not_end_its_state(self):
        emulator = self.emulate(40, 12, listening=False)
        emulator.version, emulator.end_prelude, emulator.crlf = "2.3", False, True
        emulator.listen()
        driver = self.drive(emulator)
        self.wait_for_picture(driver, emulator)
        self.expect_taken(driver, "12=40")

    @unittest.skipUnless(os.path.exists("/etc/hosts"), "this machine has no name for itself")
    def test_host_name_is_looked_up(self):
        emulator = self.emulate()
        driver = self.drive_item(item_text(emulator.port, address="localhost"))
        self.wait_for_picture(driver, emulator)

    def test_ipv6_address(self):
        try:
            emulator = self.emulate(host="::1")
        except OSError as error:
            self.skipTest(f"no IPv6 here: {error}")
        driver = self.drive_item(item_text(emulator.port, address="::1"))
        self.wait_for_picture(driver, emulator)

    def test_address_and_port_change_while_it_runs(self):
        _, driver = self.connected(8, 6)
        other = self.emulate(4, 3)
        self.routectl(driver, "set", f"port={other.port}")
        self.wait_for_picture(driver, other)
        self.assertIn("STDOUT: 'state=down'", driver.trace())
        self.expect_taken(driver, "1=4")
        self.routectl(driver, "set", "address=")
        driver.wait_for_trace('STDERR<WARN>: \'not connected: the item has no setting "address"')

    def test_example_item_is_sound(self):
        emulator = self.emulate(8, 6)
        with open(os.environ["VRDX_EXAMPLE_ITEM"], encoding="utf-8") as example:
            text = example.read()
        text = re.sub("(?m)^address=.*", "address=127.0.0.1", text)
        driver = self.drive_item(re.sub("(?m)^port=.*", f"port={emulator.port}", text))
        self.wait_for_picture(driver, emulator)
        self.assertNotIn("STDERR<ERR>", driver.trace())

    def test_connection_is_kept_alive(self):
        emulator, driver = self.connected(8, 6, videohub_ping_ms=50, videohub_silence_ms=20000)
        wait_until("it pings", lambda: len(emulator.blocks("PING")) >= 10)
        self.assertEqual(emulator.connections, 1)
        self.expect_taken(driver, "1=2")

    def test_ends_with_the_driver_and_logs_no_errors(self):
        _, driver = self.connected(8, 6)
        self.assertEqual(driver.stop(), 0)
        self.assertNotIn("STDERR<ERR>", driver.trace())


if __name__ == "__main__":
    main()
