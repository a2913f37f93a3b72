"""Judges what was answered by what the routers' ledgers say that they did. Knows nothing of how either came about.

All times are nanoseconds of the machine's monotonic clock."""

import collections
import dataclasses

SECOND = 1_000_000_000

# Answers that say: it was not done, and will not be.
NO = frozenset({"refused", "withdrawn", "locked", "unavailable", "replaced unsent", "not sent"})
# Those that leave it open, or say that something else came behind it.
OPEN = frozenset({"unknown", "replaced sent", "shows"})
KNOWN = NO | OPEN | {"confirmed"}

# What holds a take up: the owner refuses what carries a beat that is older than this, and tells its driver the same,
BEAT_LIMIT = 1 * SECOND
# its own takes the driver refuses when nobody waits for the answer any more: half a second after `within`;
# and a machine that is under load may be slow to read, but not for as long as anything stands still here.
LOAD = 3 * SECOND


@dataclasses.dataclass
class Take:
    """One output of one request. No two have the same router, output and input."""

    router: str  # "SITE:NAME"
    output: int
    input: int
    asker: str  # the gateway that was asked
    asked: int
    within: int  # nanoseconds
    said: str | None = None  # one of KNOWN; None without an answer
    answered: int | None = None  # when it came, or when nobody waited any longer
    allowed: bool = True  # by the token and by the peer's role
    void: bool = False  # a test sent it with what makes it too late, or of another version, from the beginning
    may_be_silent: bool = False  # a test asked at the broker itself, where a message may be lost
    answers: int = 0  # how many came
    note: str = ""

    @property
    def key(self):
        return self.router, self.output, self.input

    @property
    def owner(self):
        return self.router.partition(":")[0]


@dataclasses.dataclass(frozen=True)
class Done:
    """A line of a ledger."""

    router: str
    output: int
    input: int
    at: int

    @property
    def key(self):
        return self.router, self.output, self.input


@dataclasses.dataclass(frozen=True)
class Fault:
    kind: str  # "killed", "stopped", "cut", "full", "moved"
    what: str  # "gateway", "broker", "driver", "backend", "link", "clock"
    name: str  # of the gateway, broker or router
    begin: int
    end: int

    def touches(self, begin, end):
        return self.begin <= end and self.end >= begin


@dataclasses.dataclass(frozen=True)
class Lock:
    """An output that was certainly locked for everybody: from the answer on until it was asked to be free."""

    router: str
    output: int
    begin: int
    end: int


class Judge:
    def __init__(self, takes, done, faults=(), locks=()):
        self.takes = {take.key: take for take in takes}
        self.surplus = len(takes) - len(self.takes)
        self.done = list(done)
        self.faults = list(faults)
        self.locks = list(locks)

    def violations(self):
        """A sentence for each thing that must not be."""
        found = [f"{self.surplus} takes are not distinct: the test is wrong"] if self.surplus else []
        done = collections.defaultdict(list)
        for each in self.done:
            done[each.key].append(each)
        for key, lines in done.items():
            if key not in self.takes:
                found.append(f"{key} was done, and nobody asked for it")
            elif len(lines) > 1:
                found.append(f"{self.shown(self.takes[key])} was done {len(lines)} times")
        for take in self.takes.values():
            found += [f"{self.shown(take)} {what}" for what in self.wrong_with(take, done.get(take.key, []))]
        return found

    @staticmethod
    def shown(take):
        return f"output {take.output} of {take.router} = {take.input}, asked of {take.asker} at {take.asked}{take.note},"

    def wrong_with(self, take, lines):
        if take.answers > 1:
            yield f"was answered {take.answers} times"
        if take.said is None:
            if not take.may_be_silent and not self.asker_was_killed(take):
                yield "has no answer"
        elif take.said not in KNOWN:
            yield f"was answered {take.said!r}, which is no answer"
        if take.said in NO and lines:
            yield f"was answered {take.said!r} at {take.answered} and done at {lines[0].at}"
        if take.said == "confirmed" and not lines:
            yield "was confirmed and never done"
        if not take.allowed and lines:
            yield "was done without the right to it"
        if take.void and lines:
            yield f"was void from the beginning, and done at {lines[0].at}"
        for line in lines:
            yield from self.wrong_with_time(take, line)

    def wrong_with_time(self, take, line):
        if line.at < take.asked:
            yield f"was done before it was asked for, at {line.at}"
        if take.said == "confirmed" and line.at > take.answered:
            yield f"was confirmed at {take.answered}, before it was done at {line.at}"
        for lock in self.locks:
            if (lock.router, lock.output) == (take.router, take.output) and lock.begin < take.asked and line.at < lock.end:
                yield f"was done at {line.at} while the output was locked"
        if line.at > take.asked + self.longest(take) and not self.is_late_for_good_reason(take, line):
            yield f"was done {(line.at - take.asked) / SECOND:.3f} s after it was asked for, and told {take.said!r}"

    # --- lateness ---

    @staticmethod
    def longest(take):
        return BEAT_LIMIT + take.within + LOAD

    def is_late_for_good_reason(self, take, line):
        """A driver or backend that stood still is none: it refuses what it reads too late. A request that lay before the
        asking gateway had read it is as new as that gateway: it is done and answered as any other; but what it had
        read and sent, it tells as unknown and may not be done."""
        for fault in self.faults:
            if not fault.touches(take.asked, line.at):
                continue
            if fault.what == "gateway" and fault.name == take.asker and fault.kind == "stopped" and line.at > fault.end:
                fresh = line.at <= fault.end + self.longest(take)
                return fresh and (take.said != "unknown" or self.is_disturbed_behind(take, fault))
        return False

    def is_disturbed_behind(self, take, fault):
        answered = take.answered or fault.end + self.longest(take)
        return any(other.touches(fault.end, answered) for other in self.faults if other is not fault)

    def asker_was_killed(self, take):
        return any(
            fault.what == "gateway" and fault.kind == "killed" and fault.name == take.asker and fault.touches(take.asked, take.answered)
            for fault in self.faults
        )


def history_violations(entries, takes, has_gap, where):
    """Of one router at its owner: `entries` are (output, input, result, record), where the record is the driver's epoch
    and number, or None for what is in no record."""
    found = []
    seen = collections.Counter((output, source) for output, source, _, record in entries if record)
    records = collections.Counter(record for *_, record in entries if record)
    found += [f"the history of {where} has the record {record} {count} times" for record, count in records.items() if count > 1]
    for (output, source), count in seen.items():
        if count > 1:
            found.append(f"the history of {where} has output {output} = {source} {count} times")
    if not has_gap:
        for take in takes:
            if take.said == "confirmed" and not seen[(take.output, take.input)]:
                found.append(f"{Judge.shown(take)} was confirmed, and the history of {where} has neither it nor a gap")
    return found


def handed_on_violations(own, read, where):
    """Of one router: rows of its owner's history and of a reader's, as above. The owner still has all of them, so that no gap
    excuses one that is missing."""
    found = history_violations(read, [], False, where)
    missing = {record for *_, record in own if record} - {record for *_, record in read}
    if missing:
        found.append(f"the history of {where} lacks {len(missing)} takes of the owner's: {sorted(missing)[:3]}")
    strange = {record for *_, record in read if record} - {record for *_, record in own}
    if strange:
        found.append(f"the history of {where} has {len(strange)} takes that the owner's has not: {sorted(strange)[:3]}")
    return found


def picture_violations(shown, done, where):
    """`shown`: the source of each output, from 1; `done`: the lines of the router's ledger, in their order."""
    last = {each.output: each.input for each in done}
    return [
        f"{where} shows {source} on output {output}, the router has {last.get(output, 0)}"
        for output, source in enumerate(shown, 1)
        if source != last.get(output, 0)
    ]
