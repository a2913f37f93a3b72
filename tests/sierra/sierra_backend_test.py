"""The backend program under the check, and its start. Usage: sierra_backend_test.py [CLASS.METHOD ...]"""

import subprocess
import sys
import unittest

from running_driver import wait_until
from sierra_backend import BIN, PROGRAM, RunningBackend, SierraTest
from sierra_emulator import SierraEmulator


class SierraBackendPassesTheCheck(SierraTest):
    def check(self, item_text, *notes):
        backend = RunningBackend(item_text)  # for its item file
        self.addCleanup(backend.close)
        backend.stop()
        command = [f"{BIN}/vrdx_backend_check", PROGRAM, "--file", backend.item]
        result = subprocess.run(command, capture_output=True, text=True, check=False, timeout=200)
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)
        shown = [line[6:] for line in result.stdout.splitlines()
                 if line.startswith("note ") and "reaches its router" not in line]
        self.assertEqual(shown, list(notes))
        return result.stdout

    def test_with_video_and_audio_levels(self):
        output = self.check(self.item_text(self.router()))
        self.assertIn("8 inputs, 8 outputs, levels video and audio\n", output)
        self.assertIn("32 ok, 0 failed, 0 skipped", output)

    def test_with_a_router_of_140_x_32(self):
        output = self.check(self.item_text(self.router(140, 32)))
        self.assertIn("32 inputs, 140 outputs, levels video and audio\n", output)

    def test_with_a_large_router(self):
        output = self.check(self.item_text(self.router(1024, 576)))
        self.assertIn("576 inputs, 1024 outputs, levels video and audio\n", output)

    def test_with_one_level(self):
        output = self.check(self.item_text(self.router(8, 8, ["SDI"])))
        self.assertIn("31 ok, 0 failed, 1 skipped", output)

    def test_with_locked_outputs(self):
        router = self.router()
        for level in range(1, 4):
            router.take_at_panel(2, level, 5)
        router.locked = {2}
        self.check(
            self.item_text(router),
            "output 2: reported with another source than asked for",
        )

    def test_over_a_serial_line(self):
        router = SierraEmulator()
        self.addCleanup(router.close)
        output = self.check(f"device={router.open_line()}\nbaud=115200\n")
        self.assertIn("32 ok, 0 failed, 0 skipped", output)


class SierraBackendStart(SierraTest):
    def test_reads_the_router_in_order(self):
        router = self.router()
        backend = self.ready_backend(router)
        backend.wait_for_fields(o7_input_video="7", o7_input_audio="7")
        self.assertEqual(router.received[:6], ["", "I", "Q", "L", "U2", "S"])
        self.assertEqual(backend.reports[0][0], "info")
        self.assertEqual(
            backend.reports[0][1],
            {"inputs": "8", "outputs": "8", "output routing controls": "video,audio", "salvo": "yes"},
        )
        self.assertEqual(backend.stop(), 0)

    def test_every_form_of_the_status_is_read(self):
        for faults in (
            {"status_item": "V"},
            {"status_in_one_string": False},
            {"status_item": "V", "status_in_one_string": False, "status_ends_with_ok": False},
            {"status_ends_with_ok": False, "padding": 4},
            {"lower_case": True, "padding": 3},
            {"absent": {(2, 3), (3, 1), (3, 2), (3, 3)}},
        ):
            with self.subTest(faults=faults):
                router = self.router(4, 8, **faults)
                router.take_at_panel(1, 2, "-")
                router.take_at_panel(1, 3, "-")
                backend = self.ready_backend(router)
                backend.wait_for_fields(o3_input_video="3", o1_input_audio="1", o0_input_audio="none")
                backend.wait_for_fields(o2_input_video="unknown" if (3, 1) in router.absent else "2")
                backend.take((1, 5, "video"), (1, 6, "audio"))
                backend.wait_for_fields(o1_input_video="5", o1_input_audio="6")
                self.assertEqual(router.shows(2), [6, 7, 7])

    def test_manners_of_other_models_are_understood(self):
        for faults in (
            {"options": "O(1,2)S(3)"},
            {"options": "P(#=#ML,2)"},
            {"blanks_after_commas": True, "lower_case": True, "padding": 2},
            {"short_strings": True},
            {"chatter": "HOST0"},
            {"chatter": "FULL ERROR"},
            {"chatter": "GKL2,x;y~"},
        ):
            with self.subTest(faults=faults):
                router = self.router(4, 8, **faults)
                backend = self.ready_backend(router)
                backend.wait_for_fields(o3_input_video="3", o1_input_audio="1")
                backend.take((1, 5, "video"))
                backend.wait_for_fields(o1_input_video="5")
                self.assertFalse(backend.says("cannot be read"), backend.log)

    def test_router_with_delayed_reports_alone_tells_its_changes(self):
        router = self.router(reports_known={0, 1})
        backend = self.ready_backend(router)
        router.take_at_panel(2, 1, 7)
        backend.wait_for_fields(o1_input_video="6")
        self.assertNotIn("<WARN>", " ".join(backend.log))

    def test_router_without_reports_is_polled(self):
        router = self.router(reports_known={0})
        backend = self.ready_backend(router, "poll ms=100\n")
        router.take_at_panel(2, 1, 7)
        backend.wait_for_fields(o1_input_video="6")
        self.assertTrue(backend.says("does not tell changes, they are seen every 100 ms"))

    def test_locks_are_set_and_a_locked_output_refuses(self):
        router = self.router()
        backend = self.ready_backend(router, "lock password=6741\n")
        backend.send("router set", "command", **{"output.2.lock": "own"})
        wait_until("locked", lambda: router.locked == {3})
        backend.wait_for_fields(o2_lock="own")
        backend.take((2, 5))
        wait_until("refused", lambda: "refused" in dict(backend.reports))
        self.assertEqual(
            dict(backend.reports)["refused"],
            {"to output": "2", "from input": "5", "text": "text:output is locked"},
        )
        backend.send("router set", "command", **{"output.2.lock": "free"})
        backend.wait_for_fields(o2_lock="free")
        self.assertEqual(router.locked, set())

    def test_salvo_in_one_message_is_one_string(self):
        router = self.router()
        backend = self.ready_backend(router)
        fields = {"take.0000": "1 5 video", "take.0001": "0 none"}
        backend.send("route outputs", "command", expires="99999999999", **fields)
        backend.wait_for_fields(o1_input_video="5", o0_input_video="none")
        self.assertEqual(router.takes(), ["X1,-,0X2,6,1"])
        backend.send("route outputs", "command", expires="1", **fields)
        wait_until("refused", lambda: [name for name, _ in backend.reports].count("refused") == 2)
        self.assertEqual(len(router.takes()), 1)

    def test_link_is_told(self):
        router = self.router()
        backend = self.ready_backend(router)
        backend.wait_for_fields(state="up")
        router.stop_listening()
        router.cut_connections()
        backend.wait_for_fields(state="down")
        router.listen_tcp()
        backend.wait_for_fields(state="up")

    def test_names_are_those_of_the_item(self):
        backend = self.ready_backend(self.router(), "input name 1=CAM 1\noutput name 8=Studio Süd\n")
        backend.wait_for_fields(i0_name="CAM 1", o7_name="Studio Süd")

    def test_without_an_address_it_says_so_and_takes_one_later(self):
        router = self.router()
        backend = self.backend("driver=route_sierra_video_aspen_hdsdi\n")
        backend.wait_for_log('<ERR>neither the setting "address" nor "device" names the router')
        backend.change_setting("port", router.port)
        backend.change_setting("address", "127.0.0.1")
        backend.wait_for_log("<INFO>connected to")

    def test_wrong_use_is_told(self):
        result = subprocess.run(
            [PROGRAM], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False, timeout=100
        )
        self.assertEqual(result.returncode, 1)
        self.assertIn("<ERR>", result.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
