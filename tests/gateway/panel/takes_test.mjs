// Takes in the browser: what is shown of them, and when.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { Panels, Rig, input, mark, output, press, studio, waitFor, waitForMark } from "./panel_fixture.mjs";

const rig = new Rig();
const slowness = 600; // milliseconds until the slow router reports
let panels, tokens, hub;

before(async () => {
  await rig.addRouter("studio", { inputs: 16, outputs: 8, levels: "video,audio", "refuse outputs": 5 }, studio);
  await rig.addRouter("slow", { inputs: 8, outputs: 8, "delay ms": slowness });
  await rig.addRouter("silent", { inputs: 4, outputs: 4, "delay ms": 60000 });
  hub = await rig.addVideohub("hub");
  tokens = {
    desk: rig.token("desk", "operate"), gallery: rig.token("gallery", "lock"), wall: rig.token("wall", "view"),
    small: rig.token("small", "operate", "--outputs", "1-2", "--inputs", "1-4"),
  };
  await rig.startGateway();
  panels = await Panels.open();
});

after(async () => {
  await panels?.close();
  await rig.close();
});

async function panel(name, token = tokens.desk, more = "") {
  const page = await panels.logIn(rig, token, `/panel?router=${name}${more}`);
  await page.waitForSelector(output(1));
  return page;
}

test("a take waits for the router's own report, and the old source stays until then", async () => {
  const page = await panel("slow");
  await page.evaluate(() => {
    window.seen = [];
    const tile = document.querySelector('[data-output="1"]');
    new MutationObserver(() => {
      window.seen.push(`${tile.dataset.state} ${tile.dataset.source}`);
      if (tile.dataset.source === "4") window.shownAt ??= performance.now();
    }).observe(tile, { attributes: true });
  });
  await page.click(output(1));
  const atOnce = await page.evaluate(() => {
    window.pressedAt = performance.now();
    document.querySelector('[data-input="4"]').click();
    return [document.querySelector('[data-output="1"]').dataset.state, document.querySelector('[data-input="4"]').dataset.mark];
  });
  assert.deepEqual(atOnce, ["pending", "pending"]);
  await waitForMark(page, 1, "data-source", 4);
  await waitForMark(page, 1, "data-state", "confirmed");
  const seen = await page.evaluate(() => window.seen);
  assert.ok(seen.includes("pending 1"), seen.join());
  assert.ok(!seen.slice(seen.indexOf("pending 1"), seen.lastIndexOf("pending 1")).includes("confirmed 1"), seen.join());
  const waited = await page.evaluate(() => window.shownAt - window.pressedAt);
  assert.ok(waited >= slowness - 10, `the router reports after ${slowness} ms, it was shown after ${waited} ms`);
  assert.equal(await page.getAttribute(input(4), "data-mark"), "shown");
  await page.context().close();
});

test("a page that is opened while a take waits shows what the router has confirmed", async () => {
  const first = await panel("silent");
  await waitForMark(first, 3, "data-source", 3);
  let source = 1;
  // Each comes before the one before it falls back, so that the output waits all the time.
  const takes = setInterval(() => rig.ask(tokens.desk, "POST", "/api/v1/routers/silent/takes", { takes: [{ output: 3, input: (source = 3 - source) }] }), 300);
  try {
    await waitForMark(first, 3, "data-state", "pending");
    const page = await panel("silent");
    await waitForMark(page, 3, "data-state", "pending");
    assert.equal(await mark(page, 3, "data-source"), "3");
    await page.context().close();
  } finally {
    clearInterval(takes);
  }
  await first.context().close();
});

test("two browsers see each other's takes", async () => {
  const one = await panel("studio"), other = await panel("studio", tokens.gallery);
  await press(one, 7, 3);
  await waitForMark(other, 7, "data-source", 3);
  await press(other, 7, 12);
  await waitForMark(one, 7, "data-source", 12);
  await one.waitForFunction(() => document.querySelector("vrdx-selected")?.textContent.includes("gallery"));
  await one.context().close();
  await other.context().close();
});

test("a refused take says why, where it was pressed", async () => {
  const page = await panel("studio");
  await press(page, 5, 2);
  await waitForMark(page, 5, "data-state", "refused");
  assert.equal(await mark(page, 5, "data-source"), "5");
  assert.match(await page.textContent(output(5)), /output 5 refuses to switch/);
  assert.equal(await page.getAttribute(input(2), "data-mark"), "refused");
  const all = await panels.logIn(rig, tokens.wall, "/routers");
  await all.waitForFunction(() => /output 5 refuses to switch/.test(document.querySelector('li[data-router="studio"] .last')?.textContent));
  await all.context().close();
  await page.click("text=Dismiss");
  await waitForMark(page, 5, "data-state", "confirmed");
  await page.context().close();
});

test("a take that nobody confirms ends as unknown, with the old source", async () => {
  const page = await panel("silent");
  await press(page, 2, 4);
  await waitForMark(page, 2, "data-state", "unknown");
  assert.equal(await mark(page, 2, "data-source"), "2");
  await page.context().close();
});

test("a take on a Videohub, one at its own panel, and one that the router answers with another source", async () => {
  const page = await panel("hub");
  await press(page, 3, 5);
  await waitForMark(page, 3, "data-source", 5);
  hub("panel 3 6");
  await waitForMark(page, 4, "data-source", 7);
  hub("silent");
  await press(page, 3, 2);
  await waitForMark(page, 3, "data-state", "pending");
  hub("panel 2 7");
  await waitForMark(page, 3, "data-state", "refused");
  assert.equal(await mark(page, 3, "data-source"), "8");
  assert.match(await page.textContent("vrdx-selected"), /Rolled back, the router shows/);
  await page.context().close();
});

test("what is armed is sent with Take, as one salvo", async () => {
  const page = await panel("studio"), sent = [];
  page.on("request", (request) => request.method() === "POST" && sent.push(request.postDataJSON()));
  await page.click("text=Armed");
  await press(page, 3, 9);
  await press(page, 4, 10);
  assert.match(await page.textContent(output(4)), /10 VTR 2/);
  assert.equal(await mark(page, 4, "data-source"), "4");
  assert.deepEqual(sent, []);
  await page.click("text=Take 2");
  await waitForMark(page, 3, "data-source", 9);
  await waitForMark(page, 4, "data-source", 10);
  assert.equal(sent.length, 1);
  assert.equal(sent[0].takes.length, 2);
  await press(page, 3, 1);
  await page.click("vrdx-salvo >> text=Clear");
  assert.ok(await page.isDisabled(".take"));
  assert.equal(sent.length, 1);
  await page.context().close();
});

test("of a salvo that is all or nothing, a lock refuses all, and says which it was", async () => {
  const page = await panel("studio"), sources = [await mark(page, 3, "data-source"), await mark(page, 8, "data-source")];
  assert.equal((await rig.ask(tokens.gallery, "POST", "/api/v1/routers/studio/outputs/8/lock", { state: "lock", reason: "" })).status, 200);
  await waitForMark(page, 8, "data-lock", "lock");
  await page.click("text=Armed");
  await press(page, 3, 2);
  await press(page, 8, 2);
  await page.check("text=All or nothing");
  await page.click("text=Take 2");
  for (const [number, source] of [[3, sources[0]], [8, sources[1]]]) {
    await waitForMark(page, number, "data-state", "refused");
    assert.equal(await mark(page, number, "data-source"), source);
  }
  assert.match(await page.textContent(output(8)), /locked by "gallery"/);
  await rig.ask(tokens.gallery, "POST", "/api/v1/routers/studio/outputs/8/lock", { state: "unlock" });
  await page.context().close();
});

test("breakaway is shown level by level, and married takes end it", async () => {
  const page = await panel("studio");
  assert.equal(await mark(page, 2, "data-source"), null);
  assert.equal(await mark(page, 2, "data-source-video"), "2");
  assert.equal(await mark(page, 2, "data-source-audio"), "9");
  await page.click("vrdx-salvo >> text=Audio");
  await press(page, 8, 6);
  await waitForMark(page, 8, "data-source-video", 6);
  assert.equal(await mark(page, 8, "data-source-audio"), "8");
  await page.click("text=Both");
  await page.click(input(7));
  await waitForMark(page, 8, "data-source", 7);
  assert.equal(await mark(page, 8, "data-source-video"), null);
  await page.context().close();
});

test("undo takes the last salvo back, Back to takes the source before", async () => {
  const page = await panel("studio");
  const first = await mark(page, 6, "data-source");
  await press(page, 6, 11);
  await waitForMark(page, 6, "data-source", 11);
  await page.click(".undo:not([disabled])");
  await waitForMark(page, 6, "data-source", first);
  await page.click(".previous:not([disabled])");
  await waitForMark(page, 6, "data-source", 11);
  await page.context().close();
  const other = await panel("studio"); // it was not open when that was taken
  await other.click(output(6));
  await other.keyboard.press("Control+b");
  await waitForMark(other, 6, "data-source", first);
  await other.context().close();
});

test("a lock names its owner and reason, and refuses; force asks once more", async () => {
  const owner = await panel("studio"), other = await panel("studio", tokens.gallery);
  await owner.click(output(1));
  await owner.click(".lock-button");
  await owner.fill("#lock-reason", "On air until 18:00");
  await owner.click('[data-lock-choice="lock"]');
  await waitForMark(other, 1, "data-lock", "lock");
  await press(other, 1, 8);
  await waitForMark(other, 1, "data-state", "refused");
  assert.match(await other.textContent("vrdx-selected"), /Locked by desk since .*UTC.*: On air until 18:00/s);
  await other.click(".lock-button");
  await other.click('[data-lock-choice="force"]');
  assert.equal(await mark(other, 1, "data-lock"), "lock");
  await other.click('[data-lock-choice="force-sure"]');
  await waitForMark(owner, 1, "data-lock", null);
  await owner.click(".lock-button");
  await owner.click('[data-lock-choice="protect"]');
  await waitForMark(owner, 1, "data-lock", "protect");
  await owner.click(input(8));
  await waitForMark(owner, 1, "data-source", 8);
  await other.click(".lock-button");
  await other.click('[data-lock-choice="force"]');
  await other.click('[data-lock-choice="force-sure"]');
  await waitForMark(owner, 1, "data-lock", null);
  await owner.context().close();
  await other.context().close();
});

test("a locked output that changes all the same raises an alarm", async () => {
  const page = await panel("studio");
  await page.click(output(4));
  await page.click(".lock-button");
  await page.click('[data-lock-choice="lock"]');
  await waitForMark(page, 4, "data-lock", "lock");
  assert.equal(rig.routectl("studio", "route", "4=13").status, 0);
  await page.waitForFunction(() => /output 4 Preview is locked by desk.*→ 13 Graphics B/s.test(document.querySelector("vrdx-alarms")?.textContent));
  await page.click("vrdx-alarms >> text=Dismiss");
  await page.waitForFunction(() => document.querySelector("vrdx-alarms").childElementCount === 0);
  await page.click(".lock-button");
  await page.click('[data-lock-choice="unlock"]');
  await waitForMark(page, 4, "data-lock", null);
  await page.context().close();
});

test("what one may not do is not offered", async () => {
  const viewer = await panel("studio", tokens.wall);
  await viewer.click(output(1));
  assert.ok(await viewer.isHidden("vrdx-salvo"));
  assert.ok(await viewer.isHidden(".lock-button"));
  assert.equal(await viewer.getAttribute(input(3), "aria-disabled"), "true");
  await viewer.context().close();
  const limited = await panel("studio", tokens.small);
  await limited.click(output(3));
  assert.equal(await limited.getAttribute(input(3), "aria-disabled"), "true");
  assert.ok(await limited.isHidden(".lock-button"));
  await limited.click(output(2));
  assert.equal(await limited.getAttribute(input(5), "aria-disabled"), "true");
  assert.equal(await limited.getAttribute(input(3), "aria-disabled"), null);
  await limited.click(".menu");
  assert.ok(await limited.isHidden("text=Pair a panel"));
  await limited.context().close();
});

test("who may gives names, and they show when the router tells them", async () => {
  const page = await panel("studio", tokens.gallery), other = await panel("studio");
  await page.click(output(6));
  await page.click(".menu");
  await page.click("text=Names …");
  await page.fill("#name-name", "Lobby <b>screen</b>");
  await page.click("text=Give the name");
  await page.waitForSelector("dialog >> text=6 is called Lobby <b>screen</b> now.");
  await other.waitForFunction((selector) => document.querySelector(selector)?.textContent === "Lobby <b>screen</b>", output(6) + " .name");
  await page.selectOption("#name-side", "inputs");
  await page.fill("#name-number", "17");
  assert.ok(await page.isDisabled("text=Give the name"));
  await page.fill("#name-number", "16");
  assert.equal(await page.inputValue("#name-name"), "Line in");
  await page.fill("#name-name", "Radio");
  await page.keyboard.press("Enter");
  await other.waitForFunction((selector) => document.querySelector(selector)?.textContent === "Radio", input(16) + " .name");
  await other.keyboard.press("e");
  assert.equal(await other.locator("dialog[open]").count(), 0);
  await other.click(".menu");
  assert.ok(await other.isHidden("text=Names …"));
  await page.context().close();
  await other.context().close();
});

test("search and groups find on both sides, the address limits what is shown", async () => {
  const page = await panel("studio", tokens.desk, "&outputs=1-3,8");
  const count = (selector) => page.locator(selector).count();
  assert.equal(await count("[data-output]"), 4);
  await page.fill("vrdx-destinations input", "STUDIO b");
  await waitFor("one is found", async () => (await count("[data-output]")) === 1);
  await page.keyboard.press("Enter");
  assert.equal(await page.getAttribute(output(2), "aria-pressed"), "true");
  await page.click("vrdx-sources .chip >> text=VTR");
  await waitFor("a group is shown", async () => (await count("[data-input]")) === 3);
  await page.fill("vrdx-sources input", "11");
  await waitFor("a number is found", async () => (await count("[data-input]")) === 1);
  await page.context().close();
});

test("keys do what the help page says, and letters alone take nothing", async () => {
  const page = await panel("studio");
  await page.keyboard.press("d");
  await page.keyboard.type("wall 2");
  await page.keyboard.press("Enter");
  assert.equal(await page.getAttribute(output(8), "aria-pressed"), "true");
  await page.keyboard.press("s"); // typed into the field
  assert.equal(await page.inputValue("vrdx-destinations input"), "wall 2s");
  await page.keyboard.press("Escape");
  await page.focus(output(8));
  await page.keyboard.press("s");
  await page.keyboard.type("black");
  await page.keyboard.press("ArrowDown");
  await page.keyboard.press("Enter");
  await waitForMark(page, 8, "data-source", 15);
  await page.keyboard.press("Control+z");
  await waitForMark(page, 8, "data-source", 7);
  await page.keyboard.press("?");
  await page.waitForSelector("dialog[open] >> text=Help and keys");
  await page.context().close();
});

// The answer to the page's next request of this address comes when the function given back is called.
async function holdAnswer(page, address) {
  let letGo;
  const held = new Promise((resolve) => (letGo = resolve));
  await page.route(address, async (route) => {
    const answer = await route.fetch();
    await held;
    await route.fulfill({ response: answer });
  }, { times: 1 });
  return letGo;
}

test("a name that the router tells before the answer is there is given", async () => {
  const page = await panel("studio", tokens.gallery);
  await page.click(output(7));
  await page.click(".menu");
  await page.click("text=Names …");
  const letGo = await holdAnswer(page, "**/name");
  await page.fill("#name-name", "Foyer");
  await page.click("text=Give the name");
  const given = page.locator("dialog >> text=7 is called Foyer now.");
  await given.waitFor();
  const answered = page.waitForResponse("**/name");
  letGo();
  await (await answered).finished();
  assert.ok(await given.isVisible());
  await page.context().close();
});

test("what is shown as done can be undone before the answer is there", async () => {
  const page = await panel("studio");
  const letGo = await holdAnswer(page, "**/takes");
  const before = await mark(page, 8, "data-source");
  await press(page, 8, 9);
  await waitForMark(page, 8, "data-source", 9);
  await page.keyboard.press("Control+z");
  await waitForMark(page, 8, "data-source", before);
  letGo();
  await page.context().close();
});

test("no page broke the content policy or failed", () => assert.deepEqual(panels.problems, []));
