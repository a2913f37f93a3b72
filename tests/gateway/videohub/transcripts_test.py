"""Conversations at a Videohub server, as data: transcripts/NAME.txt.

"> " is a line that the client sends, with those that follow it in one piece; "< " is one that the server has to send, in
this order and nothing else; "\\r" in a line that is sent is a carriage return, and " *" at the end of an expected one stands
for anything. The router has four inputs and three outputs that show inputs 1 to 3.
"""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from hub_fixture import HubTest, wait_until  # noqa: E402

from gateway_fixture import main  # noqa: E402  isort: skip

FOLDER = pathlib.Path(__file__).parent / "transcripts"


class Transcripts(HubTest):
    def setUp(self):
        super().setUp()
        wait_until("the router has told its sources", lambda: self.confirmed_sources() == [1, 2, 3])
        self.client = self.connect(whole=False)

    def play(self, name):
        piece = ""
        for number, line in enumerate((FOLDER / f"{name}.txt").read_text(encoding="utf-8").splitlines(), 1):
            if line.startswith(">"):
                piece += line[2:].replace("\\r", "\r") + "\n"
            elif line.startswith("<"):
                if piece:
                    self.client.send(piece)
                    piece = ""
                self.expect(line[2:], f"{name}.txt:{number}")
        self.client.send(piece)
        self.expect_silence()

    def expect(self, line, place):
        while b"\n" not in self.client.received:
            self.assertTrue(self.client.fill(), f"{place}: the connection is closed")
        said, _, self.client.received = self.client.received.partition(b"\n")
        text = said.decode()
        if line.endswith(" *"):
            self.assertTrue(text.startswith(line[:-1]), f"{place}: {text}")
        else:
            self.assertEqual(text, line, place)

    def expect_silence(self):
        """Nothing more is said before the answer to a last PING."""
        self.client.send("PING:\n\n")
        self.expect("ACK", "the end")
        self.expect("", "the end")
        self.assertEqual(self.client.received, b"")

    def test_each_transcript_is_played(self):
        played = {name.removeprefix("test_") for name in dir(self) if name.startswith("test_")}
        self.assertEqual({path.stem for path in FOLDER.iterdir()}, played - {"each_transcript_is_played"})

    def test_button_panel(self):
        self.play("button_panel")

    def test_salvo_of_a_macro(self):
        self.play("salvo_of_a_macro")

    def test_windows_line_ends(self):
        self.play("windows_line_ends")

    def test_keep_alive(self):
        self.play("keep_alive")

    def test_label_editor(self):
        self.play("label_editor")

    def test_other_models(self):
        self.play("other_models")

    def test_take_mode(self):
        self.play("take_mode")

    def test_off_by_one(self):
        self.play("off_by_one")

    def test_no_source(self):
        self.play("no_source")


if __name__ == "__main__":
    main()
