// The page of the presets: keeping what is on air, comparing, recalling, undoing, and who may what.

import assert from "node:assert/strict";
import fs from "node:fs";
import { after, before, test } from "node:test";
import { Panels, Rig, desk, findings, isLive, phone, smallTargets, studio, waitFor } from "./panel_fixture.mjs";

const rig = new Rig();
let panels, keeper, operator, viewer, small;

before(async () => {
  await rig.addRouter("studio", { inputs: 16, outputs: 8, levels: "video,audio", "refuse outputs": 5 }, studio);
  await rig.addRouter("stage", { inputs: 8, outputs: 4 });
  await rig.addRouter("away", { inputs: 4, outputs: 4 }, null, false);
  keeper = rig.token("keeper", "lock");
  operator = rig.token("operator", "operate");
  viewer = rig.token("viewer", "view");
  small = rig.token("small", "operate", "--outputs", "1-2");
  await rig.startGateway();
  await rig.waitForToken(keeper);
  panels = await Panels.open();
});

after(async () => {
  await panels?.close();
  await rig.close();
});

const path = (name) => "/api/v1/presets/" + encodeURIComponent(name);
const write = async (name, takes) => assert.equal((await rig.ask(keeper, "PUT", path(name), { takes })).status, 200);
const takesOf = async (name) => (await rig.ask(keeper, "GET", path(name))).body?.takes;
const lock = (number, state) => rig.ask(keeper, "POST", `/api/v1/routers/studio/outputs/${number}/lock`, { state, reason: "on air" });

async function take(router, output, input) {
  const { body } = await rig.ask(keeper, "POST", `/api/v1/routers/${router}/takes`, { takes: [{ output, input }] });
  assert.equal(body.results[0].result, "confirmed");
}

async function source(router, output) {
  return (await rig.ask(keeper, "GET", `/api/v1/routers/${router}`)).body.outputs[output - 1].sources;
}

const said = (page, pattern) => page.waitForFunction((text) => new RegExp(text).test(document.querySelector("section > [role=status]")?.textContent), pattern.source);
const line = (page, place) => page.locator(".lines li", { hasText: place });

// Waits until the line of this place has this mark and these words.
async function waitForLine(page, place, kind, ...words) {
  await page.waitForFunction(([wanted, mark, texts]) => [...document.querySelectorAll(".lines li")].some((each) =>
    each.textContent.includes(wanted) && each.dataset.kind === mark && texts.every((text) => each.textContent.includes(text))), [place, kind, words]);
}

async function open(token = keeper, options = {}, script = null) {
  const page = await panels.logIn(rig, token, "/presets", options, script);
  await said(page, /./);
  return page;
}

async function choose(page, name) {
  await page.click(`[data-preset="${CSS.escape(name)}"]`);
  await page.waitForSelector(".lines li");
}

// node has none of its own.
const CSS = { escape: (text) => text.replace(/["\\]/g, "\\$&") };

const row = (page, router) => page.locator("dialog[open] .row", { hasText: router });

test("what is on air is kept: chosen routers and destinations, breakaway too; what nobody knows is left out and said", async () => {
  // The page hears that nobody knows what output 4 shows, and what its sound on output 3 is.
  const page = await open(keeper, {}, () => {
    const parse = JSON.parse;
    JSON.parse = (text) => {
      const told = parse(text);
      if (told?.type === "picture" && told.router === "studio") {
        told.outputs[3].sources = { video: null, audio: null };
        told.outputs[2].sources.audio = null;
      }
      return told;
    };
  });
  await page.keyboard.press("k");
  await page.waitForSelector("dialog[open]");
  await page.fill("dialog[open] label:has-text('Name') input", "First");
  await row(page, "studio").locator("[type=checkbox]").check();
  await row(page, "studio").locator("input:not([type])").fill("2-4,7");
  await row(page, "stage").locator("[type=checkbox]").check();
  assert.ok(await row(page, "away").locator("[type=checkbox]").isDisabled());
  assert.match(await page.textContent("dialog[open] [role=status]"), /Outputs: 7\. Left out, source unknown: 3, 4/);
  await page.click("dialog[open] .primary");
  await page.waitForSelector("dialog", { state: "hidden" });
  assert.deepEqual(await takesOf("First"), [
    { router: "stage", output: 1, input: 1 }, { router: "stage", output: 2, input: 2 }, { router: "stage", output: 3, input: 3 }, { router: "stage", output: 4, input: 4 },
    { router: "studio", output: 2, sources: { video: 2, audio: 9 } }, { router: "studio", output: 3, sources: { video: 3 } }, { router: "studio", output: 7, input: 7 },
  ]);
  await waitForLine(page, "studio · 7 Gallery wall 1", "confirmed", "7 Cam 7", "is shown");
  assert.equal(await page.getAttribute('[data-preset="First"]', "aria-pressed"), "true");
  await page.context().close();
});

test("a preset is replaced only when one says so once more", async () => {
  await write("Replaced", [{ router: "stage", output: 2, input: 7 }, { router: "stage", output: 3, input: 7 }]);
  const page = await open();
  await choose(page, "Replaced");
  await page.click("text=Replace …");
  assert.equal(await row(page, "stage").locator("input:not([type])").inputValue(), "2,3");
  assert.equal(await row(page, "studio").locator("[type=checkbox]").isChecked(), false);
  // Neither a double click nor a press after something else was done is the second one.
  for (const pressed of [() => page.dblclick("dialog[open] .primary"), () => page.click("dialog[open] .primary")]) {
    await pressed();
    await page.waitForSelector("dialog[open] >> text=What Replaced has will be lost");
    await page.focus("dialog[open] label:has-text('Name') input");
  }
  assert.equal((await takesOf("Replaced"))[0].input, 7);
  await page.click("dialog[open] .primary");
  await page.keyboard.press("Enter");
  await page.waitForSelector("dialog", { state: "hidden" });
  assert.deepEqual(await takesOf("Replaced"), [2, 3].map((number) => ({ router: "stage", output: number, input: number })));
  await page.context().close();
});

test("what a recall would change is told before, and follows what others do", async () => {
  await write("Show", [{ router: "studio", output: 1, input: 4 }, { router: "studio", output: 2, input: "Cam 8" }, { router: "stage", output: 1, input: 1 }]);
  await lock(2, "lock");
  const page = await open(operator);
  await choose(page, "Show");
  await waitForLine(page, "studio · 1 Studio A monitor", "armed", "1 Cam 1 → 4 Cam 4");
  await waitForLine(page, "studio · 2 Studio B monitor", "refused", "V 2 Cam 2 · A 9 VTR 1 → 8 Cam 8", "Would not be taken: locked by");
  await waitForLine(page, "stage · 1 Output 1", "confirmed", "is shown");
  await take("stage", 1, 5);
  await waitForLine(page, "stage · 1 Output 1", "armed", "5 Input 5 → 1 Input 1");
  await take("stage", 1, 1);
  await lock(2, "unlock");
  await waitForLine(page, "studio · 2 Studio B monitor", "armed", "→ 8 Cam 8");
  await page.context().close();
});

test("a recall says of each output what became of it; undo leads back, once", async () => {
  await take("studio", 1, 1);
  await write("Recalled", [{ router: "studio", output: 1, input: 12 }, { router: "studio", output: 5, input: 3 }, { router: "studio", output: 6, input: 3 },
    { router: "stage", output: 3, input: 8 }]);
  await lock(6, "lock");
  const page = await open(operator);
  await choose(page, "Recalled");
  assert.ok(await page.isHidden("section >> text=Undo"));
  await page.click("section .primary");
  await said(page, /2 of 4 outputs confirmed/);
  await waitForLine(page, "studio · 1", "confirmed", "Confirmed by the router");
  await waitForLine(page, "studio · 5", "refused", "Refused: output 5 refuses to switch");
  await waitForLine(page, "studio · 6", "refused", "Not taken: locked by");
  await waitForLine(page, "stage · 3", "confirmed", "Confirmed by the router");
  assert.deepEqual([await source("studio", 1), await source("stage", 3)], [{ video: 12, audio: 12 }, { all: 8 }]);
  await page.click("section >> text=Undo (2)");
  await said(page, /2 of 2 outputs confirmed/);
  await page.waitForSelector("section >> text=Undo", { state: "hidden" });
  assert.deepEqual([await source("studio", 1), await source("stage", 3)], [{ video: 1, audio: 1 }, { all: 3 }]);
  await waitForLine(page, "studio · 1", "armed", "1 Cam 1 → 12");
  await waitForLine(page, "stage · 3", "armed", "3 Input 3 → 8 Input 8");
  for (const place of ["studio · 1", "stage · 3"]) assert.doesNotMatch(await line(page, place).textContent(), /Confirmed/);
  await page.check("section [type=checkbox]");
  await page.click("section .primary");
  await said(page, /0 of 4 outputs confirmed/);
  await waitForLine(page, "studio · 1", "refused", "Withdrawn, not sent: all or nothing");
  assert.deepEqual([await source("studio", 1), await source("stage", 3)], [{ video: 1, audio: 1 }, { all: 3 }]);
  await lock(6, "unlock");
  await page.context().close();
});

test("what one may not do is not offered", async () => {
  await write("Rights", [{ router: "studio", output: 7, sources: { video: 9, audio: "Cam 1" } }]);
  for (const [token, mayRecall, mayKeep, problem] of [[viewer, false, false, null], [small, false, false, /output/], [operator, true, false, null], [keeper, true, true, null]]) {
    const page = await open(token);
    await choose(page, "Rights");
    await waitForLine(page, "studio · 7 Gallery wall 1", "armed", "9 VTR 1", "Cam 1");
    if (problem) await said(page, problem);
    const visible = async (text) => page.locator(`main button:text-is("${text}")`).isVisible();
    assert.deepEqual(await Promise.all(["Recall", "Keep what is on air", "Replace …", "Remove"].map(visible)), [mayRecall, mayKeep, mayKeep, mayKeep]);
    await page.keyboard.press("k");
    assert.equal(await page.locator("dialog[open]").count(), mayKeep ? 1 : 0);
    await page.context().close();
  }
});

test("a preset is removed only when one says so once more", async () => {
  await write("Removed", [{ router: "stage", output: 2, input: 7 }]);
  const page = await open(), other = await open();
  await choose(page, "Removed");
  await page.dblclick("section .danger");
  await said(page, /What Removed has will be lost/);
  assert.equal((await takesOf("Removed")).length, 1);
  await page.focus("section .danger");
  await page.keyboard.press("Enter");
  await page.waitForSelector('[data-preset="Removed"]', { state: "detached" });
  assert.equal(await takesOf("Removed"), undefined);
  assert.ok(await page.isHidden("section .primary"));
  await other.click('[data-preset="Removed"]');
  await other.waitForSelector('[data-preset="Removed"]', { state: "detached" });
  await said(other, /There is no preset of this name/);
  await page.context().close();
  await other.context().close();
});

test("the press that is sure removes nothing but what was asked about, also where a pressed button gets no focus", async () => {
  for (const name of ["Asked", "Other"]) await write(name, [{ router: "stage", output: 2, input: 7 }]);
  const page = await open(keeper, {}, "HTMLElement.prototype.focus = () => {}; addEventListener('mousedown', (event) => event.preventDefault());");
  await choose(page, "Asked");
  await page.click("section .danger");
  await said(page, /What Asked has will be lost/);
  await choose(page, "Other");
  await page.waitForFunction(() => document.querySelector("section h2")?.textContent === "Other");
  await page.click("section .danger");
  await said(page, /What Other has will be lost/);
  await page.click("section .danger");
  await page.waitForSelector('[data-preset="Other"]', { state: "detached" });
  assert.equal((await takesOf("Asked")).length, 1);
  await page.context().close();
});

test("what comes of a removal does not touch the preset that was chosen meanwhile", async () => {
  for (const name of ["Leaving", "Staying"]) await write(name, [{ router: "stage", output: 2, input: 7 }]);
  const page = await open();
  let go = null;
  await page.route("**/presets/Leaving", (route) => (route.request().method() === "DELETE" ? (go = () => route.continue()) : route.continue()));
  await choose(page, "Leaving");
  for (const what of ["click", "click"]) await page.locator("section .danger").dispatchEvent(what);
  await waitFor("the removal is on its way", () => go !== null);
  await choose(page, "Staying");
  await page.waitForFunction(() => document.querySelector("section h2")?.textContent === "Staying");
  await go();
  await page.waitForSelector('[data-preset="Leaving"]', { state: "detached" });
  assert.ok(await page.isVisible("section h2 >> text=Staying"));
  await page.context().close();
});

test("names of presets are texts, and lead to their preset whatever they hold", async () => {
  const names = ['<img src=x onerror="window.isHurt = true">', "100 % ?a=1&b#c", "\u202eturned", "x".repeat(128)];
  for (const [at, name] of names.entries()) await write(name, [{ router: "stage", output: 4, input: at + 1 }]);
  const page = await open();
  for (const [at, name] of names.entries()) {
    await choose(page, name);
    await page.waitForFunction((wanted) => document.querySelector("section h2")?.textContent === wanted, name);
    await page.click("section .primary");
    await said(page, /1 of 1 outputs confirmed/);
    assert.deepEqual(await source("stage", 4), { all: at + 1 });
  }
  assert.equal(await page.locator("main img").count(), 0);
  assert.equal(await page.evaluate(() => window.isHurt), undefined);
  const wider = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
  assert.equal(wider, 0);
  await page.context().close();
});

test("a preset's part on a router is a file that vrdx_routectl restores", async () => {
  await write("Filed", [{ router: "stage", output: 2, input: 6 }, { router: "studio", output: 8, input: 1 }]);
  const page = await open(viewer);
  await choose(page, "Filed");
  const [file] = await Promise.all([page.waitForEvent("download"), page.click("text=File for stage")]);
  assert.equal(file.suggestedFilename(), "Filed stage.json");
  const saved = rig.file("saved.json");
  fs.copyFileSync(await file.path(), saved);
  const restored = rig.routectl("stage", "restore", saved);
  assert.equal(restored.status, 0, restored.stderr);
  await waitFor("it shows that", async () => (await source("stage", 2)).all === 6);
  await page.context().close();
});

test("without the gateway nothing is sent, and nothing is kept for later", async () => {
  await take("stage", 1, 2);
  await write("Lost", [{ router: "stage", output: 1, input: 3 }]);
  const page = await open(), port = rig.port, sent = [];
  await choose(page, "Lost");
  await rig.killGateway();
  await page.waitForSelector(".banner.lost:visible");
  page.on("request", (request) => request.url().includes("/presets") && sent.push(request.url()));
  await page.click("section .primary");
  await said(page, /not connected to the gateway; nothing was sent/);
  await page.click("section .danger");
  await page.keyboard.press("Enter");
  await said(page, /not connected to the gateway; nothing was sent/);
  assert.deepEqual(sent, []);
  await rig.startGateway(port);
  await page.waitForSelector(".banner.lost", { state: "hidden" });
  await waitForLine(page, "stage · 1", "armed", "2 Input 2 → 3 Input 3");
  assert.deepEqual(await source("stage", 1), { all: 2 });
  assert.equal((await takesOf("Lost")).length, 1);
  await page.context().close();
});

test("a recall whose answer is lost says that nobody knows, and is not sent again", async () => {
  await write("Silent", [{ router: "stage", output: 1, input: 4 }]);
  const page = await open();
  await choose(page, "Silent");
  let sent = 0;
  await page.route("**/recall", (route) => {
    if (route.request().postDataJSON().dry_run) return route.continue();
    sent++;
    return route.abort();
  });
  await page.click("section .primary");
  await said(page, /nobody knows whether it was done/);
  await waitForLine(page, "stage · 1", "armed", "→ 4 Input 4");
  assert.equal(sent, 1);
  await page.context().close();
});

test("who has no preset is told how to get one; the page comes back after a login", async () => {
  const empty = new Rig();
  try {
    await empty.addRouter("studio", { inputs: 4, outputs: 4 });
    const token = empty.token("desk", "lock");
    await empty.startGateway();
    const page = await panels.logIn(empty, token, "/routers", { locale: "de-DE" });
    await page.click("nav >> text=Presets");
    await said(page, /Es gibt kein Preset/);
    await page.click("text=Behalten, was läuft");
    assert.equal(await page.locator("dialog[open] [type=checkbox]").isChecked(), true, "the only router is chosen");
    await page.fill("dialog[open] label:has-text('Name') input", "Alle");
    await page.click("dialog[open] .primary");
    await page.waitForSelector('[data-preset="Alle"][aria-pressed="true"]');
    await page.context().clearCookies();
    await page.goto(empty.address + "/presets");
    await page.waitForURL("**/?to=*");
    await page.fill("input[name=token]", token);
    await page.click("button[type=submit]");
    await page.waitForURL(empty.address + "/presets");
    await page.context().close();
  } finally {
    await empty.close();
  }
});

for (const [name, viewport] of [["desk", desk], ["phone", phone]])
  for (const colorScheme of ["dark", "light"])
    test(`nothing is wrong with the page on a ${name}, ${colorScheme}`, async () => {
      await write("Look", [{ router: "studio", output: 5, input: 4 }, { router: "studio", output: 2, sources: { video: 2, audio: 3 } }, { router: "away", output: 1, input: 1 }]);
      const page = await open(keeper, { viewport, colorScheme }), wrong = [];
      const look = async (what) => {
        const wider = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
        wrong.push(...[wider === 0 ? null : `${wider} pixels too wide`, ...(await findings(page)), ...(await smallTargets(page))].filter(Boolean).map((each) => `${what}: ${each}`));
      };
      await choose(page, "Look");
      await look("differences");
      await page.click("section .primary");
      await said(page, /of 3 outputs confirmed/);
      await look("results");
      await page.click("text=Keep what is on air");
      await look("dialog");
      assert.deepEqual(wrong, []);
      await page.context().close();
    });

test("no page broke the content policy or failed", () => assert.deepEqual(panels.problems, []));
