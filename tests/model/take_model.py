"""Takes that are answered, in the simplest form: what each is answered, and when.

A take here has always been written when something is reported: whoever drives the model waits for its flush."""


def told_source(source, known=True):
    return str(source + 1) if known else "unknown"


class OpenTake:
    """The newest take on an output, while it is undecided. `answer` is None for a route's."""

    def __init__(self, answer, audio, video, deadline):
        self.answer = answer
        self.asked = {"audio": audio, "video": video}
        self.seen = {}  # what the router's reports said since, by level: right or wrong
        self.deadline = deadline  # (earliest, latest) time


class Answer:
    def __init__(self, outputs):
        self.results = dict.fromkeys(outputs)

    def complete(self):
        return None not in self.results.values()

    def packet(self):
        """Result and results, in the order of the arguments."""
        good = all(result == "confirmed" for result in self.results.values())
        return (0 if good else 1), [(f"output {output + 1}", result) for output, result in self.results.items()]


class TakeModel:
    def __init__(self, router, who):
        self.router = router
        self.who = who
        self.open = {}  # by output
        self.answers = {}  # by id, until they have been compared

    def decide(self, output, result):
        take = self.open.pop(output)
        if take.answer:
            self.answers[take.answer].results[output] = result

    def replace(self, output, by):
        if output in self.open:
            self.decide(output, f"replaced sent {self.who}{by and ' ' + by}")

    def objection(self, output, audio, video, expected):
        router = self.router
        if not 0 <= output < len(router.outputs):
            return "no such output"
        if audio >= len(router.inputs) or video >= len(router.inputs):
            return "no such input"
        if not router.split and audio != video:
            return "levels are not separate"
        if not router.connected:
            return "no backend"
        if router.link == "down":
            return "link down" + (router.link_text and f": {router.link_text}")
        one = router.outputs[output]
        if expected and not (one.confirmed and one.known == (True, True) and expected == (one.audio, one.video)):
            return "changed meanwhile"
        return ""

    def ask(self, name, takes, expected, by, deadline, when):
        """`takes` are (output, audio, video)."""
        answer = self.answers[name] = Answer([output for output, _, _ in takes])
        planned = False
        for output, audio, video in takes:
            reason = self.objection(output, audio, video, expected.get(output))
            if reason:
                answer.results[output] = f"refused {reason}"
                continue
            self.replace(output, by)
            self.router.send_take(output, audio, video)
            self.router.show_take(output, audio, video, by, when)
            self.open[output] = OpenTake(name, audio, video, deadline)
            planned = True
        if planned:
            self.router.send_flush()

    def routed(self, output, audio, video, deadline):
        self.replace(output, "")
        self.open[output] = OpenTake(None, audio, video, deadline)

    def reported(self, output, levels, source, known):
        take = self.open.get(output)
        if take is None:
            return
        for level in levels:
            take.seen[level] = known and source == take.asked[level]
        if take.seen == {"audio": True, "video": True}:
            self.decide(output, "confirmed")

    def refused(self, output, levels, source, text):
        take = self.open.get(output)
        if take and any(take.asked[level] == source for level in levels):
            self.decide(output, f"refused by the router: {text}")

    def backend_went(self):
        for output in list(self.open):
            self.decide(output, "unknown backend ended")

    def deadlines(self):
        return [take.deadline for take in self.open.values()]

    def let_pass(self, when):
        """All deadlines up to this time are over."""
        for output, take in list(self.open.items()):
            if take.deadline[1] > when:
                continue
            if False in take.seen.values() and output < len(self.router.outputs):
                one = self.router.outputs[output]
                self.decide(output, f"shows {one.told_sources()}")
            else:
                self.decide(output, "unknown not confirmed in time")
