"""Many gateways around one broker or three, random faults, and a model that counts: each take has exactly one answer;
nothing happens after an answer that said no; nothing happens twice; nothing happens late; afterwards all pictures are true
and the histories complete, with nothing in them twice.

Usage: site_model_test.py DRIVER GATEWAY CLOCK [TEST]
       site_model_test.py DRIVER GATEWAY CLOCK --seconds N [--seed S] [--seeds N] [--gateways N] [--routers N]
                          [--brokers N] [--network relays|namespaces]

CLOCK is the library that moves the gateways' clocks, or "none". What goes wrong and who asks for what is drawn from the
seed alone: --seed S repeats it. The sites hand their histories on through the broker, and what one of them reads is
compared with what the others have; but not with several brokers at relays, which keep no streams. VRDX_LONG=1 makes the tests long."""

import argparse
import os
import pathlib
import random
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))
import namespaces  # noqa: E402
from relays import Relays  # noqa: E402
from run import Run  # noqa: E402
from world import Size  # noqa: E402

SHORT_SEED = 1
NETWORKS = {"relays": Relays, "namespaces": namespaces.Namespaces}
LONG = os.environ.get("VRDX_LONG") == "1"


class Programs:
    """Set by main()."""

    all = ()


def short_run(seed, network, brokers):
    size = Size(gateways=3, routers=6, brokers=brokers, inputs=400, outputs=8)
    return Run(Programs.all, size, NETWORKS[network], seed, seconds=6, pause=0.6, stop_length=7.0, askers=6, asker_pause=0.3)


def long_run(seed, network, brokers, gateways=10, routers=100, seconds=300):
    size = Size(gateways=gateways, routers=routers, brokers=brokers, inputs=600, outputs=16)
    return Run(Programs.all, size, NETWORKS[network], seed, seconds=seconds, pause=2.0, stop_length=10.0, askers=24, asker_pause=0.5)


def judged(run):
    """The sentences; each is printed with what went wrong meanwhile."""
    print(f"seed {run.seed}", flush=True)
    found = run.violations()
    if found:
        for planned in run.plan:
            print(f"planned: {planned}")
        for fault in run.disturber.faults:
            print(f"done: {fault}")
        for sentence in found[:50]:
            print(f"violation: {sentence}")
    if not run.confirmed_far:
        found.append("no take at another site was confirmed: nothing was tried")
    return found


class SiteModel(unittest.TestCase):
    def expect_nothing_wrong(self, network, brokers):
        seed = random.randrange(2**32) if LONG else SHORT_SEED
        found = judged((long_run if LONG else short_run)(seed, network, brokers))
        self.assertEqual(found[:5], [])

    def test_one_broker(self):
        self.expect_nothing_wrong("relays", 1)

    def test_three_brokers_in_network_namespaces(self):
        problem = namespaces.problem_here()
        if problem:
            print(f"{problem}; the same without them")
        self.expect_nothing_wrong("relays" if problem else "namespaces", 3)


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("--seconds", type=float, required=True)
    parser.add_argument("--seed", type=int, default=random.randrange(2**32))
    parser.add_argument("--seeds", type=int, default=1, help="so many runs, each with the next seed")
    parser.add_argument("--gateways", type=int, default=10)
    parser.add_argument("--routers", type=int, default=100)
    parser.add_argument("--brokers", type=int, default=3)
    parser.add_argument("--network", choices=NETWORKS, default="relays" if namespaces.problem_here() else "namespaces")
    return parser.parse_args()


def main():
    driver, gateway, clock = (sys.argv.pop(1) for _ in range(3))
    Programs.all = (driver, gateway, "" if clock == "none" else clock)
    if not any(argument.startswith("--seconds") for argument in sys.argv):
        return unittest.main()
    args = arguments()
    failed = 0
    for seed in range(args.seed, args.seed + args.seeds):
        failed += bool(judged(long_run(seed, args.network, args.brokers, args.gateways, args.routers, args.seconds)))
    print(f"{args.seeds - failed} of {args.seeds} runs without a violation")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
