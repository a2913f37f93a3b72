"""The history of a running gateway: who took, named, locked, logged in, and what was refused; what the drivers recorded
while nobody listened; what is asked of it, and by whom."""

import csv
import io
import json
import os
import pathlib
import pwd
import signal
import socket
import sqlite3
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))
from gateway_fixture import GatewayTest, main, simulated, wait_until  # noqa: E402
from packet_codec import ARGUMENT, END, ENTRY, packet  # noqa: E402

OWN_NAME = pwd.getpwuid(os.getuid()).pw_name


class HistoryCase(GatewayTest):
    further_tokens = ()

    def start_gateway(self, *arguments):
        """Tokens that are there before the gateway: nobody has to ask with one that is not known yet."""
        for name, *limits in self.further_tokens:
            if not hasattr(self, name):
                setattr(self, name, self.add_token(name, *limits))
        super().start_gateway(*arguments)

    def history(self, query="", token=""):
        answer = self.get(f"/api/v1/history{query}", token=token)
        self.assertEqual(answer.status, 200, answer.body)
        return answer.json["history"]

    def takes(self, query="?router=studio"):
        return [entry for entry in self.history(query) if entry["kind"] == "take"]

    def wait_for_takes(self, count, query="?router=studio&limit=5000"):
        wait_until(f"{count} takes are recorded", lambda: len(self.takes(query)) >= count)
        takes = self.takes(query)
        self.assertEqual(len(takes), count)
        return takes

    def take_at_the_driver(self, arguments, by, router="studio"):
        """As a client of the driver's own socket."""
        words = [(ARGUMENT, each) for each in arguments]
        with socket.socket(socket.AF_UNIX) as connection:
            connection.connect(str(self.folder / "run" / f"{router}.sock"))
            connection.sendall(packet("take", *words, (END,), (ENTRY, "id", "1"), (ENTRY, "by", by)))
            self.assertEqual(connection.recv(4, socket.MSG_WAITALL), b"TVX4")


class WhoDidWhat(HistoryCase):
    items = {"studio": simulated(), "gallery": simulated()}
    further_tokens = (("viewer", "view"), ("limited", "operate", "--router", "gallery"), ("desk", "lock"))

    def setUp(self):
        super().setUp()
        self.wait_for_up("studio")
        self.wait_for_up("gallery")

    def test_take_is_there_with_who_where_before_and_after(self):
        before = self.sources(1)
        self.assertEqual(self.take([{"output": 1, "input": 3}]).json["results"][0]["result"], "confirmed")
        (entry,) = self.wait_for_takes(1)
        self.assertEqual((entry["router"], entry["output"], entry["result"]), ("studio", 1, "confirmed"))
        self.assertEqual((entry["by"], entry["through"], entry["claims"]), ("boss", "gateway", ""))
        self.assertEqual((entry["address"], entry["process"]), ("127.0.0.1", self.gateway.pid))
        self.assertEqual((entry["before"], entry["after"]), ({"all": before["video"]}, {"all": 3}))
        self.assertEqual((entry["number"], entry["count"], entry["level"]), (1, 1, "all"))
        self.assertEqual(entry["epoch"], self.picture()["epoch"])
        self.assertGreaterEqual(entry["milliseconds"], 0)

    def test_take_at_the_socket_is_of_its_user_and_its_name_is_a_claim(self):
        self.take_at_the_driver(["1=4,7"], "boss")
        (entry,) = self.wait_for_takes(1)
        self.assertEqual((entry["by"], entry["through"], entry["claims"]), (OWN_NAME, "driver", "boss"))
        self.assertEqual((entry["address"], entry["after"], entry["level"]), ("", {"video": 7, "audio": 4}, "video,audio"))
        self.assertEqual((entry["user"], entry["process"]), (os.getuid(), os.getpid()))

    def test_names_locks_and_logins_are_there(self):
        origin = {"Origin": f"http://{self.address[0]}:{self.address[1]}"}
        self.assertEqual(self.ask("PUT", "/api/v1/routers/studio/inputs/2/name", {"name": "Kamera"}).status, 202)
        self.assertEqual(self.ask("POST", "/api/v1/routers/studio/outputs/1/lock", {"state": "lock", "reason": "on air"}).status, 200)
        self.assertEqual(self.ask("POST", "/api/v1/session", {"token": self.token}, None, origin).status, 200)
        login, lock, name = self.history()
        self.assertEqual((name["kind"], name["input"], name["before"], name["after"], name["result"]), ("name", 2, "Input 2", "Kamera", "handed on"))
        self.assertEqual((lock["kind"], lock["before"], lock["after"], lock["reason"]), ("lock", "free", "lock of boss", "on air"))
        self.assertEqual((login["kind"], login["by"], login["result"], login["router"]), ("login", "boss", "begun", ""))

    def test_spreadsheet_gets_a_line_for_each(self):
        self.assertEqual(self.ask("PUT", "/api/v1/routers/studio/inputs/2/name", {"name": '=1+"2", x'}).status, 202)
        self.take([{"output": 1, "input": 3}])
        self.wait_for_takes(1)
        for path, headers in (("/api/v1/history?format=csv", {}), ("/api/v1/history", {"Accept": "text/csv"})):
            answer = self.get(path, headers=headers)
            self.assertEqual((answer.status, answer.headers["content-type"]), (200, "text/csv; charset=utf-8"))
            take, name = csv.DictReader(io.StringIO(answer.body.decode(), newline=""))
            self.assertEqual((take["kind"], take["output"], take["after"], take["by"]), ("take", "1", "3", "boss"))
            self.assertEqual((name["kind"], name["after"]), ("name", "'=1+\"2\", x"))

    def test_made_token_is_there_without_its_text(self):
        made = self.ask("POST", "/api/v1/tokens", {"name": "wall", "role": "view"})
        self.assertEqual(made.status, 201, made.body)
        (entry,) = self.history()
        self.assertEqual((entry["kind"], entry["by"], entry["after"], entry["result"]), ("token", "boss", "wall, view", "made"))
        self.assertNotIn(made.json["token"], json.dumps(entry))

    def test_end_of_a_session_is_there(self):
        origin = {"Origin": f"http://{self.address[0]}:{self.address[1]}"}
        begun = self.ask("POST", "/api/v1/session", {"token": self.token}, None, origin)
        cookie = begun.headers["set-cookie"].split(";")[0]
        self.assertEqual(self.ask("DELETE", "/api/v1/session", None, None, {**origin, "Cookie": cookie}).status, 204)
        self.assertEqual([each["result"] for each in self.history()], ["ended", "begun"])


class WhileNobodyListened(HistoryCase):
    def test_takes_of_that_time_are_read_from_the_drivers_record(self):
        self.wait_for_up()
        self.take([{"output": 1, "input": 3}])
        self.wait_for_takes(1)
        first_gateway = self.gateway.pid
        self.stop_gateway(signal.SIGKILL)
        self.take_at_the_driver(["2=5"], "somebody")
        self.start_gateway()
        newest, oldest = self.wait_for_takes(2)
        self.assertEqual((newest["output"], newest["claims"], newest["number"]), (2, "somebody", 2))
        self.assertEqual((oldest["by"], oldest["process"]), ("boss", first_gateway))
        self.assertEqual([each for each in self.history() if each["kind"] == "gap"], [])

    def test_take_of_an_earlier_gateway_is_of_its_token_also_when_it_is_read_later(self):
        self.wait_for_up()
        self.take([{"output": 1, "input": 3}])
        self.wait_for_takes(1)
        first_gateway = self.gateway.pid
        self.stop_gateway()
        database = self.folder / "state" / "history.db"
        self.forget_takes(database)
        self.start_gateway()
        (entry,) = self.wait_for_takes(1)
        self.assertEqual((entry["by"], entry["through"], entry["process"]), ("boss", "gateway", first_gateway))

    @staticmethod
    def forget_takes(database):
        with sqlite3.connect(database) as connection:
            connection.execute("DELETE FROM entries")
            connection.execute("DELETE FROM records")
        connection.close()

    def test_what_the_record_no_longer_has_is_told_as_a_gap_once(self):
        self.wait_for_up()
        self.take([{"output": 1, "input": 3}])
        self.wait_for_takes(1)
        self.stop_gateway()
        for turn in range(140):  # the record holds 1,000
            self.take_at_the_driver([f"{output}={(turn + output) % 8 + 1}" for output in range(1, 9)], "")
        for _ in range(2):
            self.start_gateway()
            wait_until("the record was read", lambda: len(self.takes("?limit=5000")) == 1001)
            gaps = [each for each in self.history("?limit=5000") if each["kind"] == "gap"]
            self.assertEqual([(each["count"], each["router"]) for each in gaps], [(120, "studio")])
            self.assertIn("takes 2 to 121 of the driver's record", gaps[0]["reason"])
            self.stop_gateway()
        self.start_gateway()

    def test_driver_that_was_started_anew_meanwhile_is_told_as_a_gap_once(self):
        self.wait_for_up()
        self.take([{"output": 1, "input": 3}])
        self.wait_for_takes(1)
        self.stop_gateway()
        self.stop_driver("studio")
        self.start_driver("studio")
        for _ in range(2):
            self.start_gateway()
            self.wait_for_up()
            wait_until("the gap is told", lambda: any(each["kind"] == "gap" for each in self.history()))
            gaps = [each for each in self.history() if each["kind"] == "gap"]
            self.assertEqual([(each["count"], each["epoch"]) for each in gaps], [(0, self.picture()["epoch"])])
            self.stop_gateway()
        self.start_gateway()

    def test_driver_that_was_started_anew_while_the_gateway_listened_is_no_gap(self):
        self.wait_for_up()
        self.take([{"output": 1, "input": 3}])
        self.wait_for_takes(1)
        epoch = self.picture()["epoch"]
        self.stop_driver("studio")
        self.start_driver("studio")
        wait_until("the driver is another", lambda: self.picture()["epoch"] != epoch)
        self.wait_for_up()
        self.take([{"output": 1, "input": 4}])
        takes = self.wait_for_takes(2)
        self.assertEqual([each["number"] for each in takes], [1, 1])
        self.assertEqual([each for each in self.history() if each["kind"] == "gap"], [])


if __name__ == "__main__":
    main()
