"""vrdx_routectl through a real gateway, with a real driver and the simulated router below it."""

import json
import os
import pathlib
import queue
import signal
import socket
import subprocess
import sys
import threading

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "gateway"))
import gateway_fixture  # noqa: E402
from certificates import make_certificate  # noqa: E402
from gateway_fixture import GatewayTest, simulated  # noqa: E402
from running_driver import PATIENCE, wait_until  # noqa: E402

DONE, REFUSED, WRONG_USE, NO_DRIVER = range(4)


class RoutectlThroughGateway(GatewayTest):
    routectl_program = ""
    scheme = "http"
    items = {"studio": simulated(8, 8, "simulated refuse outputs=5\n")}

    def setUp(self):
        super().setUp()
        self.wait_for_up()

    @property
    def url(self):
        return f"{self.scheme}://{self.address[0]}:{self.address[1]}"

    def run_routectl(self, *arguments, token=None, url=None, timeout=PATIENCE):
        environment = {name: value for name, value in os.environ.items() if name != "VRDX_TOKEN"}
        token = self.token if token is None else token
        if token:
            environment["VRDX_TOKEN"] = token
        return subprocess.run(
            [self.routectl_program, "--gateway", url or self.url, "--timeout", str(timeout), *arguments],
            capture_output=True,
            text=True,
            timeout=4 * PATIENCE,
            check=False,
            env=environment,
        )

    def at_the_socket(self, *arguments):
        return subprocess.run(
            [self.routectl_program, "--timeout", str(PATIENCE), "--sock", str(self.folder / "run" / "studio.sock"), *arguments],
            capture_output=True,
            text=True,
            timeout=4 * PATIENCE,
            check=False,
        )

    def expect(self, result, code, output="", error=""):
        self.assertEqual((result.returncode, result.stdout, result.stderr), (code, output, error))

    def expect_failure(self, result, code, *words):
        """Nothing but one line on standard error."""
        self.assertEqual((result.returncode, result.stdout), (code, ""), result.stderr)
        self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        for word in words:
            self.assertIn(word, result.stderr)


class Showing(RoutectlThroughGateway):
    def test_status_and_names_are_those_of_the_socket(self):
        for words in (("status",), ("status", "--outputs", "2,4"), ("status", "--input", "Input 3"), ("names", "inputs"), ("names", "outputs")):
            with self.subTest(words=words):
                self.expect(self.run_routectl("studio", *words), DONE, self.at_the_socket(*words).stdout)

    def test_status_as_json_has_the_same_inputs_and_outputs(self):
        there = json.loads(self.run_routectl("studio", "status", "--json").stdout)
        here = json.loads(self.at_the_socket("status", "--json").stdout)
        self.assertEqual(set(there), set(here))
        for member in ("router", "inputs", "outputs", "levels", "backend", "epoch", "problems"):
            self.assertEqual(there[member], here[member], member)

    def test_list_shows_what_the_token_may_see(self):
        self.start_driver("gallery", simulated(4, 2))
        self.wait_for_up("gallery")
        listed = self.run_routectl("list")
        self.assertRegex(listed.stdout, r"(?m)^gallery +yes +4x2 +running +unknown +-$")
        self.assertRegex(listed.stdout, r"(?m)^studio +yes +8x8 +running +unknown +-$")
        token = self.add_token("desk", "view", "--router", "gallery")
        names = lambda: [row["name"] for row in json.loads(self.run_routectl("list", "--json", token=token).stdout or '{"routers": []}')["routers"]]
        wait_until("the new token is known", lambda: names() == ["gallery"])

    def test_driver_that_does_not_run_is_told(self):
        self.stop_driver("studio")
        wait_until("the gateway knows", lambda: self.picture()["state"] == "no driver")
        self.expect_failure(self.run_routectl("studio", "status"), NO_DRIVER, "no driver: ")
        self.assertRegex(self.run_routectl("list").stdout, r"(?m)^studio +no .*no driver: ")


class Taking(RoutectlThroughGateway):
    def test_takes_are_done_and_signed_with_the_tokens_name(self):
        self.expect(self.run_routectl("studio", "route", "1=3", "2-3=Input 4", "4=none", "6=5,7"), DONE)
        self.assertEqual(self.sources(1), {"audio": 3, "video": 3})
        self.assertEqual(self.sources(3), {"audio": 4, "video": 4})
        self.assertEqual(self.sources(4), {"audio": 0, "video": 0})
        self.assertEqual(self.sources(6), {"audio": 5, "video": 7})
        self.assertEqual(self.picture()["outputs"][0]["taken_by"]["by"], "boss")

    def test_take_of_one_level_keeps_the_other(self):
        self.expect(self.run_routectl("studio", "route", "1.audio=8"), DONE)
        self.assertEqual(self.sources(1), {"audio": 8, "video": 1})

    def test_refused_take_is_told_as_at_the_socket(self):
        there = self.run_routectl("studio", "route", "5=7")
        self.expect_failure(there, REFUSED, 'output 5 "Output 5": refused by the router')
        self.assertEqual(there.stderr, self.at_the_socket("route", "5=7").stderr)

    def test_dry_run_takes_nothing(self):
        self.expect(self.run_routectl("studio", "route", "1=3", "--dry-run"), DONE, 'output 1 "Output 1": 1 "Input 1" -> 3 "Input 3"\n')
        self.assertEqual(self.sources(1), {"audio": 1, "video": 1})

    def test_what_means_nothing_is_told_in_the_same_words(self):
        for take in ("99=1", "1=99", "nonsense"):
            with self.subTest(take=take):
                there = self.run_routectl("studio", "route", take)
                self.assertEqual((there.returncode, there.stderr), (WRONG_USE, self.at_the_socket("route", take).stderr))

    def test_locked_output_names_owner_and_reason_and_others_are_done(self):
        lock = {"state": "lock", "reason": "on air"}
        self.assertEqual(self.ask("POST", "/api/v1/routers/studio/outputs/2/lock", lock).status, 200)
        result = self.run_routectl("studio", "route", "1=3", "2=3")
        self.expect_failure(result, REFUSED, 'output 2 "Output 2": refused: locked by "boss": on air')
        self.assertEqual((self.sources(1)["video"], self.sources(2)["video"]), (3, 2))
        answer = json.loads(self.run_routectl("studio", "route", "1=4", "2=4", "--json").stdout)
        self.assertEqual([one["result"] for one in answer["outputs"]], ["confirmed", "locked"])

    def test_token_that_may_only_look_takes_nothing(self):
        token = self.add_token("guest", "view")
        wait_until("the new token is known", lambda: self.get("/api/v1/routers", token=token).status == 200)
        self.expect_failure(self.run_routectl("studio", "route", "1=3", token=token), REFUSED, "the token may not do that: ")
        self.assertEqual(self.sources(1)["video"], 1)


class Reaching(RoutectlThroughGateway):
    def test_token_comes_from_its_file(self):
        file = self.folder / "token"
        file.write_text(self.token + "\n", encoding="utf-8")
        self.assertEqual(self.run_routectl("list", "--token-file", str(file), token="").returncode, DONE)
        file.write_text("two words\n", encoding="utf-8")
        self.expect_failure(self.run_routectl("list", "--token-file", str(file)), WRONG_USE, "holds no token")
        self.expect_failure(self.run_routectl("list", "--token-file", str(file) + "x"), WRONG_USE, "cannot open the token file", "No such file")

    def test_missing_and_wrong_tokens_are_told(self):
        for words in (("list",), ("studio", "status"), ("studio", "route", "1=2"), ("studio", "watch")):
            with self.subTest(words=words):
                self.expect_failure(self.run_routectl(*words, token=""), REFUSED, "the gateway wants a token: --token-file FILE")
                self.expect_failure(self.run_routectl(*words, token="vrdx_wrong"), REFUSED, "the gateway knows no such token")

    def test_unknown_router_is_told(self):
        for words in (("status",), ("route", "1=2"), ("watch",)):
            with self.subTest(words=words):
                self.expect_failure(self.run_routectl("stüdio 2", *words), NO_DRIVER, 'the gateway has no router "stüdio 2"')

    def test_gateway_that_is_away_is_told(self):
        with socket.socket() as nobody:  # bound, and not listening
            nobody.bind(("127.0.0.1", 0))
            url = f"http://127.0.0.1:{nobody.getsockname()[1]}"
            for words in (("list",), ("studio", "status"), ("studio", "watch")):
                self.expect_failure(self.run_routectl(*words, url=url), NO_DRIVER, f"cannot reach the gateway {url}: Connection refused")

    def test_who_answers_without_being_a_gateway_is_told(self):
        with socket.socket() as server:
            server.bind(("127.0.0.1", 0))
            server.listen()
            threading.Thread(target=self.answer_nonsense, args=(server,), daemon=True).start()
            url = f"http://127.0.0.1:{server.getsockname()[1]}"
            self.expect_failure(self.run_routectl("list", url=url), NO_DRIVER, "what answers there is no gateway")

    @staticmethod
    def answer_nonsense(server):
        connection, _ = server.accept()
        with connection:
            connection.recv(4096)
            connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n[[[[")

    def test_silent_one_is_given_up_in_time(self):
        with socket.socket() as server:
            server.bind(("127.0.0.1", 0))
            server.listen()
            url = f"http://127.0.0.1:{server.getsockname()[1]}"
            self.expect_failure(self.run_routectl("list", url=url, timeout=0.3), NO_DRIVER, "no answer in time")

    def test_what_does_not_go_through_a_gateway_is_told(self):
        for words, sentence in (
            (("studio", "undo"), "undo does not go through a gateway; possible are list, status, names, route, watch"),
            (("--sock", "/x", "studio", "status"), "--gateway and --sock contradict each other"),
            (("studio", "route", "1=2", "--no-wait"), "--no-wait is not possible"),
            (("studio", "route", "1=2", "--by", "me"), "--by is not possible"),
            (("status",), "which router? Give its name"),
        ):
            with self.subTest(words=words):
                self.expect_failure(self.run_routectl(*words), WRONG_USE, sentence)
        for url in ("127.0.0.1:8400", "ftp://x", "http://", "http://x:0", "http://x:99999", "http://[::1", "http://a b"):
            with self.subTest(url=url):
                self.expect_failure(self.run_routectl("list", url=url), WRONG_USE, "a gateway is given as http://HOST:PORT")


class Watching(RoutectlThroughGateway):
    def start_watch(self):
        self.watch = subprocess.Popen(
            [self.routectl_program, "--gateway", self.url, "studio", "watch", "--json"],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            env={**os.environ, "VRDX_TOKEN": self.token},
        )
        self.addCleanup(self.end_watch)
        self.lines = queue.Queue()
        self.reader = threading.Thread(target=self.read_lines)
        self.reader.start()

    def read_lines(self):
        for line in self.watch.stdout:
            self.lines.put(json.loads(line))

    def end_watch(self):
        self.watch.kill()
        self.watch.wait()
        self.reader.join()
        self.watch.stdout.close()
        self.watch.stderr.close()

    def wait_for_line(self, **wanted):
        while True:
            line = self.lines.get(timeout=4 * PATIENCE)
            if all(line.get(name) == value for name, value in wanted.items()):
                return line

    def test_changes_takes_and_the_drivers_restart_are_told(self):
        self.start_watch()
        begin = self.wait_for_line(change="begin")
        self.assertEqual((begin["size"], begin["backend"]), ({"inputs": 8, "outputs": 8}, "running"))
        self.run_routectl("studio", "route", "1=3")
        source = self.wait_for_line(change="source", output=1)
        self.assertEqual((source["after"], source["taken"]["by"]), ({"audio": 3, "video": 3}, "boss"))
        take = self.wait_for_line(change="take", output=1)
        self.assertEqual((take["result"], take["by"], take["to"]), ("confirmed", "boss", {"audio": 3, "video": 3}))
        self.stop_driver("studio")
        self.wait_for_line(change="driver", after=False)
        self.start_driver("studio")
        self.wait_for_line(change="driver", after=True)
        wait_until("the new driver knows its names", lambda: "Output 8" in self.at_the_socket("status").stdout)
        self.at_the_socket("router-set", "output.2.name=Desk")
        self.wait_for_line(change="output name", output=2, after="Desk")

    def test_change_of_a_locked_output_is_told_as_an_alarm(self):
        self.ask("POST", "/api/v1/routers/studio/outputs/2/lock", {"state": "lock", "reason": "on air"})
        self.start_watch()
        self.wait_for_line(change="begin")
        self.at_the_socket("route", "2=6")
        alarm = self.wait_for_line(change="alarm", output=2)
        self.assertEqual((alarm["owner"], alarm["reason"], alarm["after"]["video"]), ("boss", "on air", 6))

    def test_gateways_restart_is_told_and_survived(self):
        self.start_watch()
        self.wait_for_line(change="begin")
        self.stop_gateway(signal.SIGKILL)
        self.wait_for_line(change="gateway", after=False)
        self.start_gateway(f"{self.address[0]}:{self.address[1]}")
        self.wait_for_line(change="gateway", after=True)
        self.run_routectl("studio", "route", "1=5")
        self.assertEqual(self.wait_for_line(change="source", output=1)["after"]["video"], 5)

    def test_removed_token_ends_the_watch(self):
        self.start_watch()
        self.wait_for_line(change="begin")
        self.run_token_command("remove", "boss")
        self.assertEqual(self.watch.wait(4 * PATIENCE), REFUSED)
        self.assertIn("the gateway knows no such token", self.watch.stderr.read())


class Encrypted(RoutectlThroughGateway):
    scheme = "https"
    configuration = '[tls]\ncertificate = "FOLDER/gateway.pem"\nkey = "FOLDER/gateway.key"\n'

    def start_gateway(self, listen="127.0.0.1:0"):
        if not (self.folder / "gateway.pem").exists():
            make_certificate(self.folder, "gateway")
        super().start_gateway(listen)

    def wait_for_up(self, router="studio"):
        wait_until("studio is up", lambda: "8x8" in self.trusting("list").stdout)

    def trusting(self, *arguments, **further):
        return self.run_routectl("--ca", str(self.folder / "gateway.pem"), *arguments, **further)

    def test_trusted_certificate_lets_status_route_and_watch_through(self):
        self.expect(self.trusting("studio", "route", "1=3"), DONE)
        self.assertRegex(self.trusting("studio", "status").stdout, r"(?m)^ +1 +Output 1 +3 Input 3 +3 Input 3$")
        watch = subprocess.Popen(
            [self.routectl_program, "--gateway", self.url, "--ca", str(self.folder / "gateway.pem"), "studio", "watch"],
            stdout=subprocess.PIPE, text=True, env={**os.environ, "VRDX_TOKEN": self.token})
        self.addCleanup(watch.stdout.close)
        self.addCleanup(watch.wait)
        self.addCleanup(watch.kill)
        self.assertIn("watching 8x8", watch.stdout.readline())

    def test_unknown_certificate_is_refused(self):
        for words in (("list",), ("studio", "watch")):
            self.expect_failure(self.run_routectl(*words), NO_DRIVER, "its certificate is not trusted: ", "--ca FILE")

    def test_certificate_of_another_name_is_refused(self):
        url = f"https://127.0.0.2:{self.address[1]}"
        self.stop_gateway()
        self.start_gateway(f"127.0.0.2:{self.address[1]}")
        self.expect_failure(self.trusting("list", url=url), NO_DRIVER, "its certificate is not trusted: ")

    def test_file_without_certificates_is_told(self):
        self.expect_failure(self.run_routectl("--ca", "/nonexistent", "list"), NO_DRIVER, "cannot use the certificates of /nonexistent")


if __name__ == "__main__":
    RoutectlThroughGateway.routectl_program = sys.argv.pop(3)
    gateway_fixture.main()
