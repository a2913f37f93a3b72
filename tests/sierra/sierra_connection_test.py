"""The backend program's connection to an emulated router, and its faults.

Usage: sierra_connection_test.py [CLASS.METHOD ...]
"""

import socket
import sys
import unittest

from sierra_backend import SierraTest
from sierra_emulator import SierraEmulator


class SierraBackendConnection(SierraTest):
    def test_refused_connection_is_told_once_and_tried_again(self):
        router = self.router()
        router.stop_listening()
        backend = self.backend(self.item_text(router))
        backend.wait_for_log("<WARN>not connected to 127.0.0.1 port")
        backend.take((0, 1))
        backend.wait_for_log("<WARN>take to output 1 refused: not connected to the router")
        router.listen_tcp()
        backend.wait_for_log("<INFO>connected to")
        self.assertEqual(sum("<WARN>not connected to" in line for line in backend.log), 1)
        self.assertEqual(router.takes(), [])

    def test_lost_connection_is_told_and_everything_is_read_again(self):
        router = self.router()
        backend = self.ready_backend(router)
        router.stop_listening()
        router.cut_connections()
        backend.wait_for_log("<WARN>lost the connection to")
        router.take_at_panel(1, 1, 8)
        router.listen_tcp()
        backend.wait_for_log("<INFO>connected to", times=2)
        backend.wait_for_fields(o0_input_video="7")
        self.assertEqual(router.received[-6:], ["", "I", "Q", "L", "U2", "S"])

    def test_silent_router_is_told_and_left(self):
        router = self.router(silent=True)
        backend = self.backend(self.item_text(router))
        backend.wait_for_log("no answer to **!!")
        router.silent = False
        backend.wait_for_log("<INFO>connected to")

    def test_connection_that_is_not_accepted_ends_at_its_timeout(self):
        # Behind a full backlog an attempt hangs.
        full = socket.socket()
        self.addCleanup(full.close)
        full.bind(("127.0.0.1", 0))
        full.listen(0)
        for _ in range(8):
            filler = socket.socket()
            self.addCleanup(filler.close)
            filler.setblocking(False)
            filler.connect_ex(full.getsockname())
        port = full.getsockname()[1]
        backend = self.backend(f"address=127.0.0.1\nport={port}\nconnect timeout ms=200\n")
        backend.wait_for_log("Connection timed out")

    def test_reset_in_the_middle_of_a_string_keeps_nothing_of_it(self):
        router = self.router(cut_after=40)
        backend = self.backend(self.item_text(router))
        backend.wait_for_log("<INFO>connected to")
        self.assertEqual(router.received.count("S"), 2)
        backend.wait_for_fields(o7_input_audio="7")

    def test_size_change_after_a_restart_is_followed(self):
        router = self.router()
        backend = self.ready_backend(router)
        router.restart(140, 32, ["SDI"])
        backend.wait_for_fields(outputs="140", inputs="32", o139_input_all="11")
        self.assertNotIn("output routing controls", [r for c, r in backend.reports if c == "info"][-1])
        backend.take((139, 31))
        backend.wait_for_fields(o139_input_all="31")
        self.assertEqual(router.connections, 1)

    def test_far_router_is_waited_for(self):
        router = self.router(latency=2)
        backend = self.ready_backend(router)
        self.assertEqual(router.connections, 1)
        backend.take((2, 5))
        backend.wait_for_fields(o2_input_video="5")
        self.assertEqual(router.takes(), ["X3,6,0"])

    def test_garbage_is_survived_and_the_state_read_again(self):
        router = self.router()
        backend = self.ready_backend(router)
        router.sources[1, 1] = 8  # and nobody is told
        router.send_raw("~~~ \x00\xff** X2,** Q~!! X1,1,1!! ** X,,, X99,1,1 ")
        router.send_raw("!!")
        backend.wait_for_log("<WARN>the router sent what cannot be read")
        backend.wait_for_fields(o0_input_video="7")
        backend.take((2, 5))
        backend.wait_for_fields(o2_input_video="5")
        self.assertEqual(router.connections, 1)

    def test_gigabyte_without_an_end_drops_the_connection(self):
        router = self.router()
        backend = self.ready_backend(router)
        before = backend.memory()
        taken = router.flood("X1,1,1 " * 9000, 1 << 30)
        self.assertLess(taken, 64 << 20)  # what was on its way when it was dropped
        backend.wait_for_log("<WARN>lost the connection to", times=1)
        self.assertTrue(backend.says("it sends what never ends"), backend.log)
        backend.wait_for_log("<INFO>connected to", times=2)
        self.assertLess(backend.memory() - before, 16 << 20)

    def test_another_address_is_followed_while_it_runs(self):
        backend = self.ready_backend(self.router())
        other = self.router(4, 4)
        backend.change_setting("port", other.port)
        backend.wait_for_fields(outputs="4")
        backend.wait_for_log("<INFO>connected to", times=2)

    def test_input_that_closes_ends_it_whatever_the_router_does(self):
        for faults in ({}, {"silent": True}, {"latency": 5}):
            backend = self.backend(self.item_text(self.router(**faults)))
            self.assertEqual(backend.stop(), 0)


class SierraBackendOnASerialLine(SierraTest):
    def test_takes_and_reports_come_over_the_line(self):
        router = SierraEmulator(140, 32)
        self.addCleanup(router.close)
        backend = self.backend(f"device={router.open_line()}\n")
        backend.wait_for_log("<INFO>connected to /dev/pts/")
        backend.wait_for_fields(outputs="140", o139_input_audio="11")
        router.take_at_panel(140, 1, 32)
        backend.wait_for_fields(o139_input_video="31")
        backend.take((139, 4, "video"), (139, 5, "audio"))
        backend.wait_for_fields(o139_input_video="4", o139_input_audio="5")
        self.assertEqual(backend.stop(), 0)

    def test_line_of_9600_baud_is_fast_enough_for_takes(self):
        router = SierraEmulator(16, 16)
        self.addCleanup(router.close)
        router.bytes_per_second = 960
        backend = self.backend(f"device={router.open_line()}\n")
        backend.wait_for_log("<INFO>connected to /dev/pts/")
        backend.take(*((output, 4) for output in range(16)))
        backend.wait_for_fields(**{f"o{output}_input_video": "4" for output in range(16)})
        self.assertEqual(len(set(router.takes())), 1, "one string, whether or not it was repeated")

    def test_device_that_is_none_is_told(self):
        backend = self.backend("device=/dev/vrdx_no_such_line\n")
        backend.wait_for_log("<WARN>not connected to /dev/vrdx_no_such_line: No such file or directory")

    def test_file_that_is_no_line_is_told(self):
        backend = self.backend("device=/dev/null\n")
        backend.wait_for_log("<WARN>not connected to /dev/null: Inappropriate ioctl for device")

    def test_line_of_another_program_is_left_alone(self):
        router = SierraEmulator()
        self.addCleanup(router.close)
        path = router.open_line()
        self.backend(f"device={path}\n").wait_for_log("<INFO>connected to")
        other = self.backend(f"device={path}\n")
        other.wait_for_log(f"<WARN>not connected to {path}: Resource temporarily unavailable")


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
