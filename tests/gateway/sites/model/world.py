"""All programs of one run of the model, and what is known of them: what the routers did, what the gateways show."""

import collections
import concurrent.futures
import contextlib
import dataclasses
import http.client
import json
import pathlib
import tempfile
import urllib.parse

from judge import Done, handed_on_violations, history_violations, picture_violations
from programs import PATIENCE, Broker, Gateway, Router, own_mounts, wait_until

HISTORY_ROWS = 5000  # of one answer, at most


@dataclasses.dataclass(frozen=True)
class Size:
    gateways: int
    routers: int
    brokers: int
    inputs: int
    outputs: int


class World:
    def __init__(self, programs, size, network_type, rng):
        """`programs`: (driver, gateway, library that moves clocks or ""). What peers may is drawn."""
        self._closing = contextlib.ExitStack()
        try:
            self._make(programs, size, network_type, rng)
        except BaseException:
            self._closing.close()
            raise

    def _make(self, programs, size, network_type, rng):
        driver, gateway, clock = programs
        self.size = size
        self.moves_clocks = bool(clock)
        folder = pathlib.Path(self._closing.enter_context(tempfile.TemporaryDirectory(prefix="vrdx_test.", ignore_cleanup_errors=True)))
        names = [f"g{number}" for number in range(size.gateways)]
        brokers = [f"b{number}" for number in range(size.brokers)]
        may_mount = own_mounts()
        self.network = self._closing.enter_context(contextlib.closing(network_type(names, brokers)))
        self.brokers = [self._closed(Broker(name, folder / name, self.network, [*names, *PLAYED], may_mount)) for name in brokers]
        # Brokers of a cluster that are to keep streams have to know each other before they start.
        self.histories = size.brokers == 1 or all(broker.cluster_port > 0 for broker in self.brokers)
        for broker in self.brokers:
            broker.histories = self.histories
            broker.others = [each for each in self.brokers if each is not broker]
        self.gateways = {name: self._closed(Gateway(gateway, name, folder / name, self.network, clock)) for name in names}
        for number, each in enumerate(self.gateways.values()):
            at = number % len(self.brokers)
            each.brokers = self.brokers[at:] + self.brokers[:at]  # its own first, then those of the others
            each.peers = {name: "view" if rng.random() < 0.1 else "operate" for name in names if name != each.name}
            each.peers |= dict.fromkeys(PLAYED, "operate")
            each.hands_on = self.histories
            each.reads = frozenset(names[1:] if self.histories and number == 0 else ())
        self.routers = {}
        for number in range(size.routers):
            own = self.gateways[names[number % size.gateways]]
            router = self._closed(Router(driver, f"r{number}", folder / f"r{number}", own, (size.inputs, size.outputs)))
            own.routers.append(router)
            self.routers[router.name] = router
        self.tokens = {}

    def _closed(self, program):
        self._closing.enter_context(contextlib.closing(program))
        return program

    def start(self):
        for each in [*self.brokers, *self.routers.values()]:
            each.start()
        for gateway in self.gateways.values():
            self.tokens[gateway.name] = (gateway.add_token("boss", "admin"), gateway.add_token("desk", "operate", "--outputs", f"1-{self.limited}"))
            gateway.start()
        self.wait_until_whole()

    @property
    def limited(self):
        """Outputs beyond this one are not for the token with limits."""
        return self.size.outputs // 2

    def close(self):
        self._closing.close()

    def may(self, asker, router):
        """Whether that gateway's site may take on that router."""
        owner = router.partition(":")[0]
        return owner == asker or self.gateways[owner].peers[asker] != "view"

    @staticmethod
    def name_at(asker, router):
        """How that gateway calls it."""
        owner, _, name = router.partition(":")
        return name if owner == asker else router

    # --- asking ---

    def ask(self, gateway, method, path, body=None, limited=False, port=0, headers=()):
        """(status, object). OSError or HTTPException when there is no answer. `port`: where it listened before."""
        port = port or gateway.port
        asked = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)
        with contextlib.closing(asked):
            asked.sock = self.network.connect(gateway.name, port, PATIENCE)
            sent = {"Authorization": f"Bearer {self.tokens[gateway.name][limited]}", "Content-Type": "application/json", **dict(headers)}
            asked.request(method, path, body=None if body is None else json.dumps(body), headers=sent)
            answer = asked.getresponse()
            return answer.status, json.loads(answer.read())

    def get(self, gateway, path):
        status, answer = self.ask(gateway, "GET", path)
        if status != 200:
            raise AssertionError(f"{gateway.name} answers {path}: {status} {answer}")
        return answer

    def wait_until_whole(self):
        """Each gateway shows each router as it is."""
        for gateway in self.gateways.values():
            wait_until(f"{gateway.name} shows all routers", lambda gateway=gateway: not self.not_up(gateway))

    def not_up(self, gateway):
        rows = {row["name"]: row["state"] for row in self.get(gateway, "/api/v1/routers")["routers"]}
        return [router for router in self.routers if rows.get(self.name_at(gateway.name, router)) != "up"]

    # --- what there is at the end ---

    def done(self):
        return [Done(name, output, source, at) for name, router in self.routers.items() for at, output, source in router.done()]

    def each_gateway(self, work):
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            return [sentence for found in pool.map(work, self.gateways.values()) for sentence in found]

    def picture_violations(self):
        """What any gateway still shows wrongly when it had its time: all of it, on the last look."""
        found = []

        def all_true():
            found[:] = self.each_gateway(self.wrong_pictures_of)
            return not found

        with contextlib.suppress(AssertionError):
            wait_until("all pictures are true", all_true)
        return found

    def wrong_pictures_of(self, gateway):
        found = []
        for name, router in self.routers.items():
            path = urllib.parse.quote(self.name_at(gateway.name, name), safe="")
            outputs = self.get(gateway, f"/api/v1/routers/{path}")["outputs"]
            shown = [output["sources"]["all"] for output in outputs]
            done = [Done(name, output, source, at) for at, output, source in router.done()]
            found += picture_violations(shown, done, f"{gateway.name}: {name}")
        return found

    def history_violations(self, takes):
        """Each owner's own history: complete, or told as a gap, and nothing in it twice."""
        of_router = {name: [take for take in takes if take.router == name] for name in self.routers}

        def look(gateway):
            found = []
            for router in gateway.routers:
                found += self.wrong_history_of(gateway, router, of_router[router.name])
            return found

        return self.each_gateway(look)

    def handed_on_violations(self):
        """What the first gateway has read of the others' histories; these stay as they are by now."""
        reader = next(iter(self.gateways.values()))
        found = []

        def complete():
            found.clear()
            for name, router in self.routers.items():
                owner = self.gateways[name.partition(":")[0]]
                if owner is not reader:
                    own = self.takes_in(self.history(owner, router.name.partition(":")[2]))
                    entries = self.history(reader, name)
                    found.extend(handed_on_violations(own, self.takes_in(entries, owner.name), f"{name} at {reader.name}"))
            for owner in self.gateways.values():
                if owner is not reader:
                    found.extend(self.strange_gaps(reader, owner))
            return not found

        with contextlib.suppress(AssertionError):
            wait_until("the histories are read", complete)
        return found

    def strange_gaps(self, reader, owner):
        """A gap is told only where the owner itself has one: nothing of what it has is missing at the end."""
        own = collections.Counter(gap["time"] for gap in self.gaps(owner, ""))
        read = collections.Counter(gap["time"] for gap in self.gaps(reader, owner.name))
        return [f"{reader.name} tells a gap in the history of {owner.name} at {when} that is none" for when in read - own]

    def gaps(self, gateway, site):
        return [entry for entry in self.history(gateway) if entry["kind"] == "gap" and entry.get("site", "") == site]

    def takes_in(self, entries, site=""):
        return [self.history_row(entry) for entry in entries if entry["kind"] == "take" and entry.get("site", "") == site]

    def wrong_history_of(self, gateway, router, takes):
        found = []

        def complete():  # what a driver decided comes a moment later
            entries = self.history(gateway, router.name.partition(":")[2])
            rows = self.takes_in(entries)
            has_gap = any(entry["kind"] == "gap" for entry in entries)
            found[:] = history_violations(rows, takes, has_gap, router.name)
            return not found

        with contextlib.suppress(AssertionError):
            wait_until("the history is complete", complete)
        return found

    @staticmethod
    def history_row(entry):
        record = (entry["epoch"], entry["number"]) if entry["epoch"] else None
        return entry["output"], (entry["after"] or {}).get("all"), entry["result"], record

    def history(self, gateway, router=""):
        """Of one router, or all of it."""
        entries, until = {}, ""
        of_router = f"router={router}&" if router else ""
        while True:
            page = self.get(gateway, f"/api/v1/history?{of_router}limit={HISTORY_ROWS}{until}")["history"]
            fresh = [entry for entry in page if entry["id"] not in entries]
            entries.update((entry["id"], entry) for entry in page)
            if len(page) < HISTORY_ROWS or not fresh:
                return list(entries.values())
            until = "&until=" + urllib.parse.quote(page[-1]["time"])


# Sites that tests play: one speaks other versions, the other one says everything again.
PLAYED = ("older", "echo")
