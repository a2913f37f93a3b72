// What an operator does not expect: others at the same destination, routers that go, messages that break, held keys.

import assert from "node:assert/strict";
import fs from "node:fs";
import { after, before, test } from "node:test";
import { Panels, Rig, input, isLive, mark, output, press, studio, waitFor, waitForMark } from "./panel_fixture.mjs";

const rig = new Rig();
let panels, desk, gallery;

before(async () => {
  await rig.addRouter("studio", { inputs: 16, outputs: 8 }, studio);
  await rig.addRouter("slow", { inputs: 8, outputs: 8, "delay ms": 2000 });
  desk = rig.token("desk", "operate");
  gallery = rig.token("gallery", "lock");
  await rig.startGateway();
  panels = await Panels.open();
});

after(async () => {
  await panels?.close();
  await rig.close();
});

async function open(where, token = desk, script = null) {
  const page = await panels.logIn(rig, token, where, {}, script);
  await waitForMark(page, 1, "data-state", "confirmed");
  return page;
}

const take = (router, number, source) =>
  rig.ask(gallery, "POST", `/api/v1/routers/${router}/takes`, { takes: [{ output: number, input: source }], within: 20000 });
const lock = (router, number, state) => rig.ask(gallery, "POST", `/api/v1/routers/${router}/outputs/${number}/lock`, { state });
const coming = (page, text) => page.waitForFunction((wanted) => document.querySelector(".coming")?.textContent.includes(wanted), text);
const result = (page) => page.textContent("vrdx-selected .result");

test("where another's take waits, it is shown, and not the own one that was refused before", async () => {
  const page = await open("/panel?router=slow"), matrix = await open("/matrix?router=slow");
  assert.equal((await lock("slow", 3, "protect")).status, 200);
  await waitForMark(page, 3, "data-lock", "protect");
  await press(page, 3, 4);
  await matrix.click(output(3));
  await matrix.click(input(4));
  for (const each of [page, matrix]) await waitForMark(each, 3, "data-state", "refused");
  const taken = take("slow", 3, 6);
  const row = matrix.waitForFunction(() => {
    const marks = document.querySelector('[data-output="3"]').parentElement.querySelectorAll('.cross[data-kind="pending"]');
    const column = document.querySelector('[data-input="6"]').style.left;
    return marks.length === 1 && marks[0].style.left === column;
  });
  await coming(page, "Input 6");
  assert.equal(await page.getAttribute(input(6), "data-mark"), "pending");
  assert.equal(await page.getAttribute(input(4), "data-mark"), "refused");
  await row;
  assert.equal((await taken).body.results[0].result, "confirmed");
  await lock("slow", 3, "unlock");
  await page.context().close();
  await matrix.context().close();
});

test("an own take that is done says nothing of a later one by somebody else", async () => {
  const page = await open("/panel?router=slow");
  await press(page, 2, 3);
  await waitForMark(page, 2, "data-source", 3);
  await page.waitForFunction(() => /Confirmed by the router/.test(document.querySelector(".result")?.textContent));
  const taken = take("slow", 2, 5);
  await coming(page, "Input 5");
  assert.equal(await result(page), "waiting for the router");
  assert.equal((await taken).body.results[0].result, "confirmed");
  await waitForMark(page, 2, "data-source", 5);
  await page.waitForFunction(() => document.querySelector(".result")?.hidden);
  await page.context().close();
});

test("a source that is shown already, pressed again, is nothing to undo", async () => {
  const page = await open("/panel?router=studio"), source = Number(await mark(page, 7, "data-source"));
  await press(page, 7, source);
  await page.waitForFunction(() => /Confirmed by the router/.test(document.querySelector(".result")?.textContent));
  assert.ok(await page.isDisabled(".undo"));
  await page.context().close();
});

test("Enter held on a source takes once", async () => {
  const page = await open("/panel?router=studio");
  await page.click(output(6));
  await page.focus(input(9));
  await page.evaluate(() => {
    window.presses = 0;
    document.querySelector('[data-input="9"]').addEventListener("click", () => window.presses++);
  });
  for (let times = 0; times < 4; times++) await page.keyboard.down("Enter"); // all but the first are repeats
  await page.keyboard.up("Enter");
  await waitForMark(page, 6, "data-source", 9);
  assert.equal(await page.evaluate(() => window.presses), 1);
  await page.context().close();
});

test("the key of the lock opens nothing where one may not lock", async () => {
  const wall = rig.token("wall", "view"), viewer = await open("/panel?router=studio", wall), page = await open("/panel?router=studio");
  for (const each of [viewer, page]) {
    await each.click(output(1));
    await each.keyboard.press("l");
  }
  assert.equal(await page.locator("dialog[open]").count(), 1);
  assert.equal(await viewer.locator("dialog[open]").count(), 0);
  await viewer.context().close();
  await page.context().close();
});

test("a lost connection stands before an alarm, and what is pressed then is not armed", async () => {
  const page = await open("/panel?router=studio");
  assert.equal((await lock("studio", 4, "lock")).status, 200);
  await waitForMark(page, 4, "data-lock", "lock");
  assert.equal(rig.routectl("studio", "route", "4=13").status, 0);
  await page.waitForSelector(".alarm");
  await page.click("text=Armed");
  await page.click(output(3));
  const port = rig.port;
  await rig.killGateway();
  await page.waitForSelector(".banner.lost:visible");
  assert.equal(await page.locator(".alarm").count(), 1);
  const inFront = await page.evaluate(() => document.elementFromPoint(innerWidth / 2, 25).closest(".banner, .alarm").className);
  assert.equal(inFront, "banner lost");
  await page.click(input(8), { force: true });
  assert.equal(await page.getAttribute(input(8), "data-mark"), "refused");
  await rig.startGateway(port);
  await isLive(page);
  await waitForMark(page, 1, "data-state", "confirmed");
  assert.ok(await page.isDisabled(".take"));
  await lock("studio", 4, "unlock");
  await page.context().close();
});

test("a router that goes is not shown as confirmed any more, and comes back", async () => {
  await rig.addRouter("leaving", { inputs: 40, outputs: 40 });
  await waitFor("the gateway knows it", async () => (await rig.ask(desk, "GET", "/api/v1/routers/leaving")).body?.outputs?.length === 40);
  const page = await open("/panel?router=leaving"), matrix = await open("/matrix?router=leaving");
  await press(page, 5, 7); // the source keeps the focus
  await waitForMark(page, 5, "data-source", 7);
  for (const each of ["items/leaving.item", "run/leaving.sock"]) fs.rmSync(rig.file(each));
  for (const each of [page, matrix]) {
    await each.waitForSelector(".banner.away:visible");
    await each.waitForFunction(() => document.querySelectorAll("[data-output]").length === 0);
  }
  assert.equal(await page.locator("[data-input]:not([aria-disabled])").count(), 0);
  await matrix.evaluate(() => document.querySelector(".scroller").dispatchEvent(new Event("scroll")));
  await rig.killDriver("leaving");
  await rig.addRouter("leaving", { inputs: 40, outputs: 40 });
  for (const each of [page, matrix]) await waitForMark(each, 1, "data-state", "confirmed");
  await page.context().close();
  await matrix.context().close();
});

test("a message that cannot be read ends the connection, and all is read anew", async () => {
  const page = await open("/panel?router=studio", desk, () => {
    const parse = JSON.parse;
    JSON.parse = (text) => {
      if (!window.isBroken) return parse(text);
      window.isBroken = false;
      throw new SyntaxError("broken for this test");
    };
  });
  await page.evaluate(() => {
    window.seen = [];
    new MutationObserver(() => window.seen.push(document.documentElement.dataset.connection)).observe(document.documentElement, { attributeFilter: ["data-connection"] });
    window.isBroken = true;
  });
  assert.equal((await take("studio", 8, 2)).body.results[0].result, "confirmed");
  await waitForMark(page, 8, "data-source", 2);
  assert.deepEqual(await page.evaluate(() => window.seen), ["lost", "live"]);
  await page.context().close();
});

test("a connection that does not come to be is given up and tried again", async () => {
  // The first socket stays silent from its birth; a second later the clock is a minute ahead.
  const page = await open("/panel?router=studio", desk, () => {
    const Real = window.WebSocket, now = Date.now.bind(Date);
    let made = 0, ahead = 0;
    Date.now = () => now() + ahead;
    window.WebSocket = function (address) {
      if (++made > 1) return new Real(address);
      setTimeout(() => (ahead = 60000), 1000);
      return { readyState: 0, close() {} };
    };
    window.WebSocket.OPEN = 1;
  });
  await page.context().close();
});

test("a pairing link in a tab that is at the login already logs in, and leaves no token in the address", async () => {
  const page = await panels.page();
  await page.goto(rig.address + "/");
  await page.waitForSelector("input[name=token]:focus");
  await page.evaluate((hash) => (location.hash = hash), `token=${desk}`);
  await page.waitForURL(rig.address + "/routers");
  await page.context().close();
});

test("no page broke the content policy or failed", () => assert.deepEqual(panels.problems, []));
