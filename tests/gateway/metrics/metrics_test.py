"""/metrics of a real gateway: what it counts, who may see it, both formats; the page, the alerts and the dashboard beside it."""

import json
import pathlib
import re
import signal
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from gateway_fixture import GatewayTest, main, simulated, wait_until  # noqa: E402
from running_driver import PATIENCE  # noqa: E402
from prometheus_text import Figures  # noqa: E402

SOURCE = pathlib.Path(__file__).resolve().parents[3]
PROMETHEUS = SOURCE / "packaging" / "prometheus"
OPEN = "application/openmetrics-text;version=1.0.0,text/plain;version=0.0.4;q=0.5"


class MetricsTest(GatewayTest):
    def figures(self, token="", accept=""):
        answer = self.get("/metrics", token=token, headers={"Accept": accept} if accept else {})
        self.assertEqual(answer.status, 200, answer.body)
        return Figures(answer.body.decode(), "openmetrics" in answer.headers["content-type"])

    def wait_for_figure(self, expected, name, **labels):
        def shown():
            return self.figures().get(name, **labels) == expected

        wait_until(f"{name} {labels} is {expected}", shown)


class Counted(MetricsTest):
    items = {"studio": simulated(8, 8, "simulated refuse outputs=5\n")}

    def test_takes_are_counted_by_their_results(self):
        self.wait_for_up()
        self.take([{"output": 1, "input": 3}, {"output": 2, "input": 3}, {"output": 5, "input": 3}])
        self.wait_for_figure(2, "vrdx_takes_total", router="studio", result="confirmed")
        self.wait_for_figure(1, "vrdx_takes_total", router="studio", result="refused")
        figures = self.figures()
        self.assertEqual(figures.get("vrdx_take_seconds_count", router="studio"), 2)
        self.assertEqual(figures.get("vrdx_take_seconds_bucket", router="studio", le="+Inf"), 2)
        self.assertEqual(figures.get("vrdx_takes_unheard_total", router="studio"), 0)

    def test_driver_that_ends_and_comes_again(self):
        self.wait_for_up()
        self.wait_for_figure(1, "vrdx_backend_up", router="studio")
        self.wait_for_figure(1, "vrdx_link_up", router="studio")
        self.stop_driver("studio")
        self.wait_for_figure(0, "vrdx_driver_up", router="studio")
        gone = self.figures()
        for name in ("vrdx_backend_up", "vrdx_link_up", "vrdx_clients", "vrdx_rollbacks_total"):
            self.assertIsNone(gone.get(name, router="studio"), name)
        age = gone.get("vrdx_state_age_seconds", router="studio")
        wait_until("its age rises", lambda: self.figures().get("vrdx_state_age_seconds", router="studio") > age)
        self.start_driver("studio")
        self.wait_for_figure(1, "vrdx_driver_up", router="studio")
        self.assertGreaterEqual(self.figures().get("vrdx_reconnects_total", router="studio"), 1)

    def test_what_a_silent_driver_told_is_told_no_more(self):
        self.wait_for_up()
        self.wait_for_figure(1, "vrdx_clients", router="studio")
        self.drivers["studio"].send_signal(signal.SIGSTOP)
        self.wait_for_figure(0, "vrdx_driver_up", router="studio")
        self.assertIsNone(self.figures().get("vrdx_clients", router="studio"))
        self.drivers["studio"].send_signal(signal.SIGCONT)
        self.wait_for_figure(1, "vrdx_driver_up", router="studio")

    def test_readers_of_events_are_counted(self):
        self.wait_for_figure(0, "vrdx_gateway_event_readers")
        reader = self.events()
        self.wait_for_figure(1, "vrdx_gateway_event_readers")
        reader.close()
        self.wait_for_figure(0, "vrdx_gateway_event_readers")

    def test_history_is_told_with_its_file(self):
        self.wait_for_up()
        self.take([{"output": 1, "input": 3}])
        self.wait_for_figure(0, "vrdx_history_waiting")
        file = self.folder / "state" / "history.db"
        wait_until("its size is told", lambda: 0 < self.figures().get("vrdx_history_bytes") == file.stat().st_size)
        figures = self.figures()
        self.assertEqual((figures.get("vrdx_history_up"), figures.get("vrdx_history_lost_total")), (1, 0))


class WithoutHistory(MetricsTest):
    configuration = "[history]\ndays = 0\n"

    def test_history_that_nobody_keeps_has_no_figures(self):
        figures = self.figures()
        for name in ("up", "waiting", "lost_total", "bytes"):
            self.assertIsNone(figures.get(f"vrdx_history_{name}"), name)


class RolledBack(MetricsTest):
    items = {"studio": simulated(8, 8, "simulated delay ms=3000\n"), "bare": "stay resident=1\n"}

    def test_roll_backs_starts_and_clients_are_the_drivers_own_figures(self):
        self.wait_for_up()
        self.wait_for_figure(0, "vrdx_rollbacks_total", router="studio")
        self.take([{"output": 1, "input": 3}], within=1500)
        self.wait_for_figure(1, "vrdx_rollbacks_total", router="studio")
        figures = self.figures()
        self.assertEqual(figures.get("vrdx_backend_starts_total", router="studio"), 1)
        self.assertEqual(figures.get("vrdx_clients", router="studio"), 2)  # the gateway's watch, and its take
        self.assertGreater(figures.get("vrdx_driver_uptime_seconds", router="studio"), 0)
        self.assertEqual(figures.get("vrdx_backend_up", router="bare"), 0)
        self.assertIsNone(figures.get("vrdx_link_up", router="bare"))


class Rights(MetricsTest):
    items = {"studio": simulated(), "archive": simulated(4, 2)}

    def test_token_sees_figures_of_its_routers_alone(self):
        limited = self.add_token("limited", "view", "--router", "archive")
        viewer = self.add_token("viewer", "view")
        wait_until("the tokens are known", lambda: self.get("/metrics", token=viewer).status == 200)
        self.assertEqual(self.figures(viewer).routers(), {"studio", "archive"})
        self.assertIsNotNone(self.figures(viewer).get("vrdx_gateway_connections"))
        seen = self.figures(limited)
        self.assertEqual(seen.routers(), {"archive"})
        self.assertEqual([name for name in seen.names() if name.startswith(("vrdx_gateway", "vrdx_history", "process"))], [])

    def test_without_a_token_nothing_is_told(self):
        self.expect_problem(self.get("/metrics", token=None), 401, "Bearer")
        self.expect_problem(self.get("/metrics", token="vrdx_wrong"), 401)
        self.expect_problem(self.ask("POST", "/metrics", {}), 405, "GET, HEAD")

    def test_head_is_get_without_its_body(self):
        answer = self.ask("HEAD", "/metrics")
        self.assertEqual((answer.status, answer.body), (200, b""))
        self.assertGreater(int(answer.headers["content-length"]), 1000)


class Formats(MetricsTest):
    configuration = "[metrics]\ncrosspoints = true\n"
    items = {
        "studio": simulated(),
        'a"} 1\nvrdx_driver_up{router="forged': simulated(4, 2),
        "back\\slash\\": simulated(4, 2),
        "Größe 七 \u0007": simulated(4, 2),
    }

    def test_plain_text_is_what_promtool_reads(self):
        for name in self.items:
            self.wait_for_up(name)
        answer = self.get("/metrics")
        self.assertEqual(answer.headers["content-type"], "text/plain; version=0.0.4; charset=utf-8")
        self.assertEqual(answer.headers["vary"], "Accept")
        checked = subprocess.run(["promtool", "check", "metrics"], input=answer.body, capture_output=True, timeout=PATIENCE, check=False)
        self.assertEqual((checked.returncode, checked.stdout, checked.stderr), (0, b"", b""))
        self.assertEqual(Figures(answer.body.decode()).routers(), set(self.items))

    def test_open_metrics_are_told_to_who_wants_them(self):
        for name in self.items:
            self.wait_for_up(name)
        answer = self.get("/metrics", headers={"Accept": OPEN})
        self.assertEqual(answer.headers["content-type"], "application/openmetrics-text; version=1.0.0; charset=utf-8")
        figures = Figures(answer.body.decode(), open_metrics=True)
        self.assertEqual(figures.routers(), set(self.items))
        self.assertEqual(figures.families["vrdx_takes"], "counter")
        self.assertEqual(figures.families["vrdx_gateway"], "info")
        self.assertEqual(figures.units["vrdx_take_seconds"], "seconds")
        self.assertEqual(set(figures.families), set(figures.helps))

    def test_crosspoints_are_told_where_the_configuration_says_so(self):
        self.wait_for_up()
        self.wait_for_figure(8, "vrdx_crosspoint", router="studio", output="8", level="video")
        self.take([{"output": 8, "sources": {"video": 3, "audio": 0}}])
        self.wait_for_figure(3, "vrdx_crosspoint", router="studio", output="8", level="video")
        self.wait_for_figure(0, "vrdx_crosspoint", router="studio", output="8", level="audio")
        self.assertEqual(self.figures().get("vrdx_crosspoints_left_out"), 0)
        (self.folder / "gateway.toml").write_text("", encoding="utf-8")
        self.gateway.send_signal(signal.SIGHUP)
        wait_until("they are told no more", lambda: "vrdx_crosspoint" not in self.figures().names())


class Papers(MetricsTest):
    # With a broker, also one that is away: what is told of other sites stands there, too.
    configuration = 'site = "north"\n[metrics]\ncrosspoints = true\n[nats]\nservers = "nats://127.0.0.1:1"\nhistory = true\n'

    def test_page_names_each_metric_and_no_other(self):
        page = (SOURCE / "docs" / "metrics.md").read_text(encoding="utf-8")
        families = self.figures().families
        rows = dict(re.findall(r"^\| `([a-z_]+)` \| ([a-z]+) \|", page, re.MULTILINE))
        self.assertEqual(rows, families)
        others = {"vrdx_gateway"}  # the program, and the family of its info
        self.assertEqual(set(re.findall(r"`((?:vrdx|process)_[a-z_]+)`", page)) - set(families) - others, set())

    def test_limits_of_the_page_are_those_of_the_code(self):
        page = (SOURCE / "docs" / "metrics.md").read_text(encoding="utf-8")
        code = (SOURCE / "gateway" / "settings" / "limits.h").read_text(encoding="utf-8")
        rows = re.findall(r"^\| `([a-z_]+)` \| (\d+) \|", page, re.MULTILINE)
        self.assertEqual(len(rows), 3)
        for name, value in rows:
            self.assertRegex(code, rf"\b{name} =\s+{value};")

    def test_dashboard_shows_what_there_is(self):
        board = json.loads((PROMETHEUS / "vrdx-dashboard.json").read_text(encoding="utf-8"))
        expressions = [target["expr"] for panel in board["panels"] for target in panel["targets"]]
        expressions += [variable["definition"] for variable in board["templating"]["list"] if "definition" in variable]
        self.assertGreater(len(expressions), 15)
        names = self.figures().names()
        for expression in expressions:
            used = re.findall(r"\b(?:vrdx|process)_[a-z_]+", expression)
            self.assertTrue(used, expression)
            self.assertEqual(set(used) - names, set(), expression)
        shown = " ".join(expressions)
        for name in ("backend_up", "link_up", "takes_total", "take_seconds_bucket", "rollbacks_total", "backend_starts_total",
                     "clients", "reconnects_total", "state_age_seconds", "gateway_event_readers", "gateway_event_queue_bytes"):
            self.assertIn(f"vrdx_{name}", shown)

    def test_dashboard_panels_stand_beside_each_other(self):
        board = json.loads((PROMETHEUS / "vrdx-dashboard.json").read_text(encoding="utf-8"))
        taken = set()
        for panel in board["panels"]:
            place = panel["gridPos"]
            cells = {(x, y) for x in range(place["x"], place["x"] + place["w"]) for y in range(place["y"], place["y"] + place["h"])}
            self.assertFalse(cells & taken, panel["title"])
            self.assertLessEqual(place["x"] + place["w"], 24)
            taken |= cells
        numbers = [panel["id"] for panel in board["panels"]]
        self.assertEqual(len(numbers), len(set(numbers)))

    def test_alerts_rise_for_the_faults_they_are_for(self):
        rules = (PROMETHEUS / "vrdx-alerts.yml").read_text(encoding="utf-8")
        expressions = re.findall(r"^ +expr: (.+)$", rules, re.MULTILINE)
        self.assertEqual(len(expressions), 3)
        self.assertEqual(set(re.findall(r"\bvrdx_[a-z_]+", " ".join(expressions))) - self.figures().names(), set())
        for arguments in (["check", "rules", PROMETHEUS / "vrdx-alerts.yml"], ["test", "rules", pathlib.Path(__file__).parent / "alerts_test.yml"]):
            ran = subprocess.run(["promtool", *map(str, arguments)], capture_output=True, text=True, timeout=PATIENCE, check=False)
            self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)
            self.assertIn("SUCCESS", ran.stdout)

    def test_description_names_both_types(self):
        described = self.get("/api/v1/openapi.json").json["paths"]["/metrics"]["get"]
        answered = {self.get("/metrics", headers={"Accept": accept}).headers["content-type"].split(";")[0] for accept in ("", OPEN)}
        self.assertEqual(set(described["responses"]["200"]["content"]), answered)


if __name__ == "__main__":
    main()
