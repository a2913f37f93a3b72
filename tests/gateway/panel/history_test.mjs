// The page of the history: what it tells of each entry, its filters, what is newer and older, its file.

import assert from "node:assert/strict";
import fs from "node:fs";
import { after, before, test } from "node:test";
import { Panels, Rig, desk, findings, isLive, phone, smallTargets, studio, waitFor } from "./panel_fixture.mjs";

const rig = new Rig(), large = 160;
let panels, admin, gallery, guest;

before(async () => {
  await rig.addRouter("studio", { inputs: 16, outputs: 8, levels: "video,audio", "refuse outputs": 5 }, studio);
  await rig.addRouter("large", { inputs: 4, outputs: large });
  admin = rig.token("desk", "admin");
  gallery = rig.token("gallery", "lock");
  guest = rig.token("guest", "view", "--router", "large");
  await rig.startGateway();
  panels = await Panels.open();
});

after(async () => {
  await panels?.close();
  await rig.close();
});

const take = (token, router, takes) => rig.ask(token, "POST", `/api/v1/routers/${router}/takes`, { takes });
const entries = async (query) => (await rig.ask(admin, "GET", "/api/v1/history?limit=5000" + query)).body.history;
const texts = (page) => page.locator(".lines li").allTextContents();

// Waits until the page shows a line with these words, and gives its text.
async function lineWith(page, ...words) {
  const found = await page.waitForFunction((wanted) =>
    [...document.querySelectorAll(".lines li")].find((each) => wanted.every((word) => each.textContent.includes(word))), words);
  return found.evaluate((each) => each.textContent);
}

async function open(query = "", token = admin, options = {}) {
  const page = await panels.logIn(rig, token, "/history" + query, options);
  await page.waitForFunction(() => document.querySelector("main [role=status]")?.textContent);
  return page;
}

// The page shows exactly these, in the history's order.
async function shows(page, query, isOne) {
  const wanted = (await entries(query)).length;
  await page.waitForFunction((count) => document.querySelectorAll(".lines li").length === count, wanted);
  assert.ok(wanted > 0);
  for (const text of await texts(page)) assert.ok(isOne(text), text);
}

test("takes stand there with their sources, who did them and what became of them", async () => {
  await take(gallery, "studio", [{ output: 1, input: 4 }, { output: 2, sources: { video: 3, audio: 9 } }, { output: 5, input: 2 }]);
  assert.equal(rig.routectl("studio", "route", "4=10").status, 0);
  await waitFor("the history has them", async () => (await entries("&router=studio")).filter((each) => each.kind === "take").length === 4);
  const page = await open("?router=studio");
  assert.match(await lineWith(page, "1 Studio A monitor"), /studio · 1 Studio A monitor.*Take · 1 Cam 1 → 4 Cam 4.*gallery · gateway · 127\.0\.0\.1.*Confirmed by the router/);
  assert.match(await lineWith(page, "2 Studio B monitor"), /Take · V 2 Cam 2 · A 9 VTR 1 → V 3 Cam 3 · A 9 VTR 1/);
  assert.match(await lineWith(page, "5 VTR rec 1"), /Refused: output 5 refuses to switch/);
  assert.match(await lineWith(page, "4 Preview"), /driver · calls itself .*vrdx_routectl.*, unchecked/);
  const kinds = await page.locator(".lines li").evaluateAll((lines) => lines.map((each) => [each.textContent.includes("VTR rec 1"), each.dataset.kind]));
  for (const [isRefused, kind] of kinds) assert.equal(kind, isRefused ? "refused" : "confirmed");
  const times = await page.locator(".lines time").evaluateAll((all) => all.map((each) => each.dateTime));
  assert.deepEqual(times, times.toSorted().reverse());
  assert.match(await page.locator(".lines time").first().textContent(), /^\d\d:\d\d:\d\d \S+/);
  await page.context().close();
});

test("each kind of entry has its mark and says what it is", async () => {
  const page = await panels.page(), [name, value] = (await rig.cookie(admin)).split("=");
  await page.context().addCookies([{ name, value, url: rig.address }]);
  const plain = { time: "2026-01-02T03:04:05.000006Z", router: "studio", output: null, input: null, by: "", through: "gateway", claims: "", address: "",
    before: null, after: null, result: "", reason: "", count: 1, until: null };
  const told = [
    { kind: "gap", count: 12, until: plain.time }, { kind: "gap", count: 0 },
    { kind: "take", output: 1, after: { all: 3 }, result: "unknown" },
    { kind: "take", output: 1, before: { all: null }, after: { all: 3 }, result: "shows", reason: "the router shows 4" },
    { kind: "take", output: 1, after: { all: 3 }, result: "locked", reason: "locked by \"desk\"", count: 3, until: plain.time },
    { kind: "take", router: "gone", output: 7, after: { all: 3 }, result: "confirmed" },
    { kind: "name", input: 2, before: "Cam 2", after: "\u202eneves <b>", result: "handed on", claims: "\u202eeno", by: "\u202eowt" },
    { kind: "preset", after: "Show", result: "recalled", reason: "1 of 2 outputs confirmed" },
    { kind: "preset", after: "Show", result: "recalled", reason: "12 of 12 outputs confirmed" },
    { kind: "token", after: "kiosk", result: "made" }, { kind: "login", result: "begun" }, { kind: "request", result: "refused", reason: "PUT /" },
  ].map((each, at) => ({ ...plain, ...each, id: 100 - at }));
  await page.route("**/api/v1/history?*", (route) => route.fulfill({ contentType: "application/json", body: JSON.stringify({ history: told }) }));
  await page.goto(rig.address + "/history");
  await page.waitForFunction((count) => document.querySelectorAll(".lines li").length === count, told.length);
  const seen = await page.locator(".lines li").evaluateAll((lines) =>
    lines.map((each) => [each.dataset.kind, [...each.querySelectorAll("bdi")].map((cell) => cell.textContent.replace(/[\u2068\u2069]/g, "")).join(" | ")]));
  assert.deepEqual(seen, [
    ["stale", "studio | Missing entries: 12 | gateway | "], ["stale", "studio | Missing entries: ? | gateway | "],
    ["unknown", "studio · 1 Studio A monitor | Take · 3 Cam 3 | gateway | Unknown"],
    ["refused", "studio · 1 Studio A monitor | Take · Unknown → 3 Cam 3 | gateway | Rolled back, the router shows 4"],
    ["refused", `studio · 1 Studio A monitor | Take · 3 Cam 3 | gateway | Not taken: locked by "desk" · 3 times until ${seen[4][1].split("until ")[1]}`],
    ["confirmed", "gone · 7 Output 7 | Take · 3 Input 3 | gateway | Confirmed by the router"],
    ["pending", "studio · 2 Cam 2 | Name · Cam 2 → \u202eneves <b> | \u202eowt · gateway · calls itself \u202eeno, unchecked | Handed on"],
    ["refused", "studio | Preset · Show | gateway | Recalled: 1 of 2 outputs confirmed"], ["confirmed", "studio | Preset · Show | gateway | Recalled: 12 of 12 outputs confirmed"],
    ["confirmed", "studio | Token · kiosk | gateway | Made"], ["confirmed", "studio | Login | gateway | Begun"],
    ["refused", "studio | Request | gateway | Refused: PUT /"],
  ]);
  assert.equal(await page.locator(".lines li b").count(), 0);
  // What is turned turns nothing behind it.
  const cells = await page.locator(".lines li").nth(6).locator("bdi").allTextContents();
  for (const turned of ["neves <b>", "owt", "eno"]) assert.ok(cells.some((cell) => cell.includes(`\u2068\u202e${turned}\u2069`)), turned);
  await page.context().close();
});

test("filters, which stand in the address, too", async () => {
  await take(admin, "large", [{ output: 9, input: 2 }]);
  await take(gallery, "large", [{ output: 8, input: 3 }, { output: 9, input: 3 }]);
  await waitFor("the history has them", async () => (await entries("&router=large&output=9")).length === 2);
  const page = await open();
  await page.selectOption("[name=router]", "large");
  await shows(page, "&router=large", (text) => text.includes("large"));
  await page.fill("[name=output]", "9");
  await page.press("[name=output]", "Enter");
  await shows(page, "&router=large&output=9", (text) => text.includes("9 Output 9"));
  await page.fill("[name=by]", "gallery");
  await page.press("[name=by]", "Enter");
  await shows(page, "&router=large&output=9&by=gallery", (text) => text.includes("gallery"));
  await page.reload();
  await isLive(page);
  await shows(page, "&router=large&output=9&by=gallery", (text) => text.includes("gallery"));
  assert.equal(await page.inputValue("[name=output]"), "9");
  await page.fill("[name=since]", "2031-01-01T00:00");
  await page.waitForSelector("main >> text=Nothing fits");
  assert.equal((await texts(page)).length, 0);
  await page.click("text=1 h");
  await shows(page, "&router=large&output=9&by=gallery", (text) => text.includes("gallery"));
  const since = await page.evaluate(() => new Date(document.querySelector("[name=since]").value) - Date.now());
  assert.ok(since < -3590000 && since > -3670000, String(since));
  await page.context().close();
});

test("since is a time of the browser's zone, which is named", async () => {
  const page = await open("", admin, { timezoneId: "America/New_York" });
  assert.match(await page.textContent("label:has([name=since])"), /Since \((GMT-\d|E[SD]T)\)/);
  const asked = page.waitForRequest(/since=/);
  await page.fill("[name=since]", "2026-01-15T08:30");
  assert.equal(new URL((await asked).url()).searchParams.get("since"), "2026-01-15T13:30:00.000Z");
  await page.context().close();
});

test("only routers that the token may see", async () => {
  const page = await open("", guest);
  await shows(page, "&router=large", (text) => text.includes("large"));
  assert.deepEqual(await page.locator("[name=router] option").allTextContents(), ["All", "large"]);
  await page.goto(rig.address + "/history?router=studio");
  await page.waitForSelector("main >> text=There is no router of this name");
  assert.equal((await texts(page)).length, 0);
  await page.context().close();
});

// A salvo has the same time for many takes.
test("older entries come on a press, each once, until the first", async () => {
  const all = Array.from({ length: large }, (_, at) => ({ output: at + 1, input: 4 }));
  for (const input of [4, 1]) assert.equal((await take(admin, "large", all.map((each) => ({ ...each, input })))).status, 200);
  const total = await waitFor("the history has them", async () => {
    const known = await entries("&router=large");
    return known.filter((each) => each.kind === "take").length >= 2 * large + 3 && known;
  });
  const page = await open("?router=large");
  assert.equal((await texts(page)).length, 100);
  for (let count = 100; count < total.length; count = (await texts(page)).length) {
    await isLive(page); // while the gateway seems lost nothing is asked for
    await page.click("text=Show older");
    await page.waitForFunction((before) => document.querySelectorAll(".lines li").length > before, count);
  }
  await page.waitForSelector("text=Show older", { state: "hidden" });
  assert.equal((await texts(page)).length, total.length);
  const places = await page.locator(".lines li").evaluateAll((lines) => lines.map((each) => each.querySelector("bdi").textContent.match(/(\d*) Output/)?.[1]));
  assert.deepEqual(places, total.map((each) => each.output ? String(each.output) : undefined));
  await page.context().close();
});

test("answers that come late change nothing; without an entry nothing older is asked for", async () => {
  const page = await open("?router=large"), held = [];
  await page.waitForSelector("text=Show older");
  await page.route("**/api/v1/history?*", (route) => held.push(route));
  await page.selectOption("select[name=router]", "studio");
  await waitFor("the first is on its way", () => held.length === 1);
  await page.locator("text=Show older").dispatchEvent("click");
  await page.selectOption("select[name=router]", "large");
  await page.selectOption("select[name=router]", "studio");
  await page.selectOption("select[name=router]", "large");
  await waitFor("the others too", () => held.length === 4);
  assert.deepEqual(held.map((each) => new URL(each.request().url()).searchParams.get("until")), [null, null, null, null]);
  const told = (id) => ({ contentType: "application/json", body: JSON.stringify({ history: [{ id, kind: "take", time: "2026-01-01T00:00:00.000Z", router: "large", output: id, by: "late" + id, result: "confirmed" }] }) });
  await held[3].continue();
  await page.waitForFunction(() => document.querySelectorAll(".lines li").length === 100);
  await page.waitForSelector("text=Show older");
  const before = await texts(page);
  for (const at of [1, 0, 2]) await Promise.all([page.waitForResponse((answer) => answer.request() === held[at].request()).then((answer) => answer.finished()), held[at].fulfill(told(at + 1))]);
  await page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
  assert.deepEqual(await texts(page), before);
  assert.ok(await page.isVisible("text=Show older"));
  await page.context().close();
});

test("what happens meanwhile moves nothing, and is shown on a press", async () => {
  const page = await open("?router=studio"), before = await texts(page);
  await take(gallery, "studio", [{ output: 7, input: 11 }]);
  await waitFor("the history has it", async () => (await entries("&router=studio&output=7")).length === 1);
  await page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
  assert.deepEqual(await texts(page), before);
  await page.keyboard.press("w");
  await lineWith(page, "7 Gallery wall 1", "11 VTR 3");
  const now = await texts(page);
  assert.match(now[0], /7 Gallery wall 1/);
  assert.deepEqual(now.slice(1), before);
  await page.context().close();
});

test("the file has what the filters find", async () => {
  const page = await open("?router=large&output=9&by=gallery"), wanted = await entries("&router=large&output=9&by=gallery");
  const [file] = await Promise.all([page.waitForEvent("download"), page.click("text=CSV")]);
  assert.equal(file.suggestedFilename(), "history.csv");
  const lines = fs.readFileSync(await file.path(), "utf8").trim().split("\r\n");
  assert.equal(lines.length, wanted.length + 1);
  const names = lines[0].split(","), row = lines[1].split(",");
  assert.equal(row[names.indexOf("by")], "gallery");
  assert.equal(row[names.indexOf("output")], "9");
  await page.context().close();
});

test("texts of others are texts", async () => {
  const reason = '"><img src=x onerror="window.isHurt = true"><script>window.isHurt = true</script>';
  assert.equal((await rig.ask(gallery, "POST", "/api/v1/routers/studio/outputs/8/lock", { state: "lock", reason })).status, 200);
  const page = await open("?router=studio&output=8");
  assert.ok((await lineWith(page, "Lock · free → lock of gallery")).includes(reason));
  assert.equal(await page.locator(".lines img, .lines script").count(), 0);
  assert.equal(await page.evaluate(() => window.isHurt), undefined);
  await page.context().close();
});

test("while the gateway is away nothing is asked, and what was read stays", async () => {
  const page = await open("?router=studio"), port = rig.port, before = await texts(page), asked = [];
  await rig.killGateway();
  await page.waitForSelector(".banner.lost:visible");
  page.on("request", (request) => request.url().includes("/history?") && asked.push(request.url()));
  await page.keyboard.press("w");
  await page.waitForSelector("main >> text=not connected to the gateway");
  await page.click("text=1 d");
  assert.deepEqual([await texts(page), asked], [before, []]);
  await rig.startGateway(port);
  await page.waitForSelector(".banner.lost", { state: "hidden" });
  await page.keyboard.press("w");
  await page.waitForSelector("main >> text=Entries:");
  await page.context().close();
});

test("it is found from the pages of a router, and comes back after a login", async () => {
  const page = await panels.logIn(rig, admin, "/panel?router=studio");
  await page.click(".menu");
  await page.click("dialog >> text=History");
  await page.waitForURL("**/history?router=studio*");
  await page.waitForFunction(() => document.querySelector("[name=router]")?.value === "studio");
  await page.click("nav >> text=Routers");
  await page.click("nav >> text=History");
  await page.waitForSelector(".lines li");
  await page.context().clearCookies();
  await page.goto(rig.address + "/history?router=studio");
  await page.waitForURL("**/?to=*");
  await page.fill("input[name=token]", admin);
  await page.click("button[type=submit]");
  await page.waitForURL("**/history?router=studio*");
  await page.context().close();
});

for (const [name, viewport] of [["desk", desk], ["phone", phone]])
  for (const colorScheme of ["dark", "light"])
    test(`nothing is wrong with the page on a ${name}, ${colorScheme}`, async () => {
      const page = await open("", admin, { viewport, colorScheme, locale: colorScheme === "dark" ? "en-GB" : "de-DE" });
      await page.waitForSelector(".lines li");
      const wider = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
      assert.deepEqual([wider, await findings(page), await smallTargets(page)], [0, [], []]);
      await page.click(".help");
      assert.match(await page.textContent("dialog"), colorScheme === "dark" ? /W.?Show newer/ : /W.?Neuere zeigen/);
      await page.context().close();
    });

test("no page broke the content policy or failed", () => assert.deepEqual(panels.problems, []));
