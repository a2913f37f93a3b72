// What the panel costs and how soon it shows, in Chromium, against the real gateway, drivers and simulated routers.

import os from "node:os";
import { Panels, Rig, input, mark, output, waitFor, waitForMark } from "../../tests/gateway/panel/panel_fixture.mjs";
import { watchPage } from "./page_clock.mjs";
import { median, percentile, printTable, spread } from "./figures.mjs";

const option = (name, otherwise) => {
  const at = process.argv.indexOf(name);
  return at < 0 ? otherwise : Number(process.argv[at + 1]);
};
const rounds = option("--rounds", 5);
const changes = { perSecond: 200, seconds: 10, perRequest: 4 };
const presses = 40, takesOfOthers = 40;

const rig = new Rig();
let panels, token, other;

async function open(where) {
  const page = await panels.logIn(rig, token, where, {}, watchPage);
  return { page, shown: await page.evaluate(() => window.clock.shown) };
}

async function opening(where) {
  const { page, shown } = await open(where);
  await page.context().close();
  return shown;
}

const takes = (list) => rig.ask(other, "POST", "/api/v1/routers/middle/takes", { takes: list, within: 30000 });

// Destinations change one after the other, at an even pace.
async function changeSteadily(page) {
  const period = (1000 * changes.perRequest) / changes.perSecond, count = (changes.seconds * changes.perSecond) / changes.perRequest;
  const asked = [], begun = performance.now();
  await page.evaluate(() => window.clock.forgetTasks());
  for (let at = 0; at < count; at++) {
    const wait = begun + at * period - performance.now();
    if (wait > 0) await new Promise((done) => setTimeout(done, wait));
    asked.push(takes(Array.from({ length: changes.perRequest }, (_, more) => {
      const step = at * changes.perRequest + more;
      return { output: (step % 288) + 1, input: ((step * 7 + Math.floor(step / 288)) % 288) + 1 };
    })));
  }
  const answers = await Promise.all(asked);
  const wrong = answers.find((each) => each.status !== 200);
  if (wrong) throw new Error(`a take was answered ${wrong.status}`);
  const pace = (count * changes.perRequest * 1000) / (performance.now() - begun);
  return { longest: await page.evaluate(() => window.clock.longestTask), pace };
}

// From the request of somebody else's take to its mark in this page, in milliseconds.
async function takesOfOthersShown(page) {
  const sent = new Map();
  await page.evaluate((selector) => window.clock.watchSource(document.querySelector(selector)), output(1));
  for (let at = 0; at < takesOfOthers; at++) {
    const source = 2 + (at % 200);
    await new Promise((done) => setTimeout(done, 10 + Math.random() * 40));
    sent.set(source, performance.timeOrigin + performance.now());
    await takes([{ output: 1, input: source }]);
    await waitForMark(page, 1, "data-source", source);
  }
  const shown = await page.evaluate(() => window.clock.sources);
  return [...sent].map(([source, time]) => shown[source] - time);
}

// From a press of the mouse to its mark, and the frames that were drawn between the two.
async function pressesMarked(page) {
  await page.click(output(2));
  await page.evaluate(() => window.clock.watchPresses());
  for (let at = 0; at < presses; at++) {
    const source = 1 + (at % 20);
    await page.click(input(source));
    await waitForMark(page, 2, "data-source", source);
    await waitForMark(page, 2, "data-state", "confirmed");
  }
  return page.evaluate(() => window.clock.presses);
}

async function heap(page) {
  const debug = await page.context().newCDPSession(page);
  await debug.send("HeapProfiler.enable");
  await debug.send("HeapProfiler.collectGarbage");
  const { usedSize } = await debug.send("Runtime.getHeapUsage");
  await debug.detach();
  return usedSize / 1024;
}

async function salvos(page, first, end) {
  for (let round = first; round < end; round++)
    await takes(Array.from({ length: 288 }, (_, at) => ({ output: at + 1, input: ((at + round * 11) % 288) + 1 })));
  const last = String((((end - 1) * 11) % 288) + 1);
  await waitFor("the last salvo is shown", async () => (await mark(page, 1, "data-source")) === last);
}

async function measure() {
  const found = new Map();
  const note = (name, ...values) => found.set(name, [...(found.get(name) ?? []), ...values]);
  for (let round = 0; round < rounds; round++) {
    note("panel 288x288, opened to shown", await opening("/panel?router=middle"));
    note("matrix 288x288, opened to shown", await opening("/matrix?router=middle"));
    note("panel 4096x1024, opened to shown", await opening("/panel?router=largest"));
    note("matrix 4096x1024, opened to shown", await opening("/matrix?router=largest"));
    for (const kind of ["panel", "matrix"]) {
      const { page } = await open(`/${kind}?router=middle`);
      const { longest, pace } = await changeSteadily(page);
      note(`longest task of a ${kind} beside ${changes.perSecond} changes a second`, longest);
      note(`changes a second, ${kind}`, pace);
      await page.context().close();
    }
    const { page } = await open("/panel?router=middle");
    const others = await takesOfOthersShown(page), pressed = await pressesMarked(page);
    note("take of another to its mark, p50", median(others));
    note("take of another to its mark, p99", percentile(others, 99));
    note("press to its mark, p99", percentile(pressed.map((each) => each.milliseconds), 99));
    note("frames between a press and its mark, most", Math.max(...pressed.map((each) => each.frames)));
    await salvos(page, 0, 8);
    const before = await heap(page);
    await salvos(page, 8, 43);
    note("memory that 10,080 more changes left", (await heap(page)) - before);
    await page.context().close();
  }
  return found;
}

const targets = {
  "panel 288x288, opened to shown": ["ms", 500],
  "matrix 288x288, opened to shown": ["ms", 500],
  "panel 4096x1024, opened to shown": ["ms", 1500],
  "matrix 4096x1024, opened to shown": ["ms", 1500],
  [`longest task of a panel beside ${changes.perSecond} changes a second`]: ["ms", 50],
  [`longest task of a matrix beside ${changes.perSecond} changes a second`]: ["ms", 50],
  "take of another to its mark, p50": ["ms", 100],
  "take of another to its mark, p99": ["ms", 100],
  "press to its mark, p99": ["ms", 16.7],
  "frames between a press and its mark, most": ["frames", 0],
  "memory that 10,080 more changes left": ["KiB", 512],
};

const load = os.loadavg()[0];
if (load > 0.5) console.error(`bench.sh: the machine is busy (load ${load.toFixed(1)}); what is measured is measured with that`);
try {
  panels = await Panels.open();
  await rig.addRouter("middle", { inputs: 288, outputs: 288 });
  await rig.addRouter("largest", { inputs: 4096, outputs: 1024 });
  await rig.startGateway();
  token = rig.token("desk", "operate");
  other = rig.token("other", "operate");
  for (const each of [token, other]) await rig.waitForToken(each);
  const rows = [...await measure()].map(([name, values]) => {
    const [unit, most] = targets[name] ?? ["1/s", null];
    const figure = median(values);
    return { row: name, figure, unit, target: most === null ? "reported" : `at most ${most}`, spread: spread(values), met: most === null || figure <= most };
  });
  printTable(rows, process.argv.includes("--markdown"));
} finally {
  await panels?.close();
  await rig.close();
}
