"""A real Prometheus scrapes a real gateway, with the scrape configuration and the alerts that are installed."""

import json
import pathlib
import re
import subprocess
import sys
import urllib.error
import urllib.parse
import urllib.request

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from gateway_fixture import GatewayTest, main, simulated, wait_until  # noqa: E402
from running_driver import PATIENCE  # noqa: E402

PROMETHEUS = pathlib.Path(__file__).resolve().parents[3] / "packaging" / "prometheus"


class Scraped(GatewayTest):
    configuration = "[metrics]\ncrosspoints = true\n"
    forged = 'a"} 1\nvrdx_driver_up{router="forged'
    items = {"studio": simulated(), forged: simulated(4, 2)}

    def setUp(self):
        super().setUp()
        self.wait_for_up()
        token = self.folder / "token"
        token.write_text(self.add_token("prometheus", "view") + "\n", encoding="utf-8")
        wait_until("the token is known", lambda: self.get("/metrics", token=token.read_text(encoding="utf-8").strip()).status == 200)
        job = (PROMETHEUS / "vrdx-scrape.yml").read_text(encoding="utf-8")
        for installed, here in (("/etc/prometheus/vrdx-token", str(token)), ("127.0.0.1:8400", "{}:{}".format(*self.address))):
            self.assertIn(installed, job)
            job = job.replace(installed, here)
        (self.folder / "prometheus.yml").write_text(
            "global:\n  scrape_interval: 2s\n  scrape_timeout: 2s\n  evaluation_interval: 1s\n"
            f"rule_files: [{PROMETHEUS / 'vrdx-alerts.yml'}]\nscrape_configs:\n{job}",
            encoding="utf-8",
        )
        self.start_prometheus()

    def start_prometheus(self):
        log = self.folder / "prometheus.log"
        with open(log, "wb") as written:
            self.prometheus = subprocess.Popen(
                [
                    "prometheus",
                    f"--config.file={self.folder / 'prometheus.yml'}",
                    f"--storage.tsdb.path={self.folder / 'tsdb'}",
                    "--web.listen-address=127.0.0.1:0",
                ],
                stdin=subprocess.DEVNULL,
                stdout=subprocess.DEVNULL,
                stderr=written,
            )
        self.addCleanup(self.stop_prometheus)

        def address():
            self.assertIsNone(self.prometheus.poll(), log.read_text(encoding="utf-8"))
            return re.search(r'msg="Listening on" address=(127\.0\.0\.1:[1-9]\d*)', log.read_text(encoding="utf-8"))

        self.prometheus_address = wait_until("prometheus listens", address)[1]
        wait_until("prometheus is ready", self.is_ready)

    def is_ready(self):
        try:
            with urllib.request.urlopen(f"http://{self.prometheus_address}/-/ready", timeout=PATIENCE):
                return True
        except urllib.error.HTTPError:
            return False  # it listens before it can answer

    def stop_prometheus(self):
        self.prometheus.terminate()
        try:
            self.prometheus.wait(PATIENCE)
        finally:
            self.prometheus.kill()
            self.prometheus.wait()

    def asked(self, path, **query):
        url = f"http://{self.prometheus_address}/api/v1/{path}?{urllib.parse.urlencode(query)}"
        with urllib.request.urlopen(url, timeout=PATIENCE) as answer:
            return json.load(answer)["data"]

    def values(self, expression):
        return {row["metric"].get("router", ""): float(row["value"][1]) for row in self.asked("query", query=expression)["result"]}

    def test_figures_arrive(self):
        wait_until("prometheus has scraped", lambda: [each["health"] for each in self.asked("targets")["activeTargets"]] == ["up"])
        self.take([{"output": 1, "input": 3}])
        wait_until("the take arrives", lambda: self.values('vrdx_takes_total{result="confirmed"}').get("studio") == 1)
        self.assertEqual(self.values("vrdx_driver_up"), {"studio": 1, self.forged: 1})
        self.assertEqual(self.values('vrdx_crosspoint{output="1",level="video"}')["studio"], 3)
        self.assertEqual(self.values("histogram_quantile(1, vrdx_take_seconds_bucket) > 0").keys(), {"studio"})
        metadata = self.asked("metadata", metric="vrdx_take_seconds")["vrdx_take_seconds"]
        self.assertEqual([(each["type"], each["unit"]) for each in metadata], [("histogram", "seconds")])
        names = {rule["name"] for group in self.asked("rules")["groups"] for rule in group["rules"]}
        self.assertEqual(names, {"VrdxBackendDown", "VrdxLinkDown", "VrdxRollbacksRising"})
        self.stop_driver("studio")
        wait_until(
            "the alert is on its way",
            lambda: any(alert["labels"].get("router") == "studio" and alert["labels"]["alertname"] == "VrdxBackendDown" for alert in self.asked("alerts")["alerts"]),
        )


if __name__ == "__main__":
    main()
