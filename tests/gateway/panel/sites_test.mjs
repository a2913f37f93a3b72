// The control room's pages with routers of other sites, called SITE:ROUTER.

import assert from "node:assert/strict";
import fs from "node:fs";
import { after, before, test } from "node:test";
import { Broker, hasBroker } from "./broker.mjs";
import { Panels, input, isLive, mark, output, press, studio, waitFor, waitForMark } from "./panel_fixture.mjs";

const all = { skip: hasBroker ? false : "nats-server is not installed" };
const broker = new Broker();
const rigs = [];
let panels, control, north, south, admin;

function open(name, peers) {
  const rig = broker.site(name, peers);
  rigs.push(rig);
  return rig;
}

before(async () => {
  if (!hasBroker) return;
  await broker.start();
  north = open("north", ["control"]);
  south = open("south", ["control"]);
  control = open("control", ["north", "south"]);
  await north.addRouter("studio", { inputs: 16, outputs: 8 }, studio);
  await south.addRouter("desk 1", { inputs: 4, outputs: 4 });
  admin = control.token("desk", "admin");
  for (const rig of rigs) await rig.startGateway();
  panels = await Panels.open();
  for (const router of ["north:studio", "south:desk 1"]) await isUp(router);
});

after(async () => {
  await panels?.close();
  for (const rig of rigs) await rig.close();
  await broker.close();
});

async function isUp(router) {
  await waitFor(`${router} is up`, async () => {
    const { body } = await control.ask(admin, "GET", "/api/v1/routers");
    return body.routers.some((each) => each.name === router && each.state === "up" && each.outputs > 0);
  });
}

async function panel(router = "north:studio") {
  return panels.logIn(control, admin, `/panel?router=${encodeURIComponent(router)}`);
}

// A beat may be too old on a machine under load, and the take is refused: then it is asked for anew.
async function take(page, destination, source) {
  await waitFor("the take is shown", async () => {
    await press(page, destination, source);
    for (let look = 0; look < 100; look++) {
      if (await mark(page, destination, "data-source") === String(source)) return true;
      await page.waitForTimeout(20);
    }
    return false;
  });
}

test("a router of another site is opened by its name, taken on, and follows what is done there", all, async () => {
  const page = await panel();
  await waitForMark(page, 1, "data-state", "confirmed");
  assert.match(page.url(), /router=north(%3A|:)studio$/);
  assert.match(await page.title(), /north:studio/);
  assert.match(await page.textContent("h1"), /north:studio/);
  await take(page, 1, 4);
  assert.match(north.routectl("studio", "status", "--outputs", "1").stdout, /Cam 4/);
  assert.equal(north.routectl("studio", "route", "2=12").status, 0);
  await waitForMark(page, 2, "data-source", 12);
  await page.context().close();
});

test("routers of all sites stand on one page, and lead to their pages", all, async () => {
  const page = await panels.logIn(control, admin, "/routers");
  for (const router of ["north:studio", "south:desk 1"]) await page.waitForSelector(`[data-router="${router}"][data-router-state="up"]`);
  await page.click('[data-router="south:desk 1"] >> text=Matrix');
  await page.waitForURL((address) => address.pathname === "/matrix" && address.searchParams.get("router") === "south:desk 1");
  await isLive(page);
  await page.waitForFunction(() => document.title.includes("south:desk 1"));
  await page.context().close();
});

test("a broken link leaves the last picture as stale with its age, refuses at once, and all is read anew", all, async () => {
  const page = await panel(), takes = [], routers = await panels.logIn(control, admin, "/routers");
  await waitForMark(page, 3, "data-state", "confirmed");
  const source = await mark(page, 3, "data-source");
  await page.click(output(3));
  await broker.kill();
  await waitForMark(page, 3, "data-state", "stale");
  assert.equal(await mark(page, 3, "data-source"), source);
  await page.waitForSelector(".banner.away:visible");
  assert.match(await page.textContent(".banner.away"), /not been heard since 20\d\d-/);
  await page.waitForFunction(() => /for \d+ s/.test(document.querySelector(".banner.away")?.textContent));
  await routers.waitForSelector('[data-router="north:studio"][data-router-state="stale"]');
  assert.equal(await page.getAttribute(input(3), "aria-disabled"), "true");
  page.on("request", (request) => request.method() === "POST" && takes.push(request.url()));
  await page.click(input(7), { force: true });
  assert.deepEqual(takes, [], "nothing is sent");
  assert.equal((await control.ask(admin, "POST", "/api/v1/routers/north%3Astudio/takes", { takes: [{ output: 3, input: 7 }] })).body.results[0].result, "unavailable");
  assert.equal(north.routectl("studio", "route", "4=9").status, 0);
  await broker.start();
  await waitForMark(page, 4, "data-source", 9);
  await waitForMark(page, 4, "data-state", "confirmed");
  await page.waitForSelector(".banner.away", { state: "hidden" });
  await routers.waitForSelector('[data-router="north:studio"][data-router-state="up"]');
  assert.equal(await mark(page, 3, "data-source"), source, "what was refused did not come late");
  await take(page, 3, 5);
  for (const each of [page, routers]) await each.context().close();
});

test("a site that ends leaves the other one's router as it is", all, async () => {
  const page = await panel("south:desk 1");
  await waitForMark(page, 1, "data-state", "confirmed");
  const ofNorth = await panel();
  await waitForMark(ofNorth, 1, "data-state", "confirmed");
  await north.killGateway();
  await waitForMark(ofNorth, 1, "data-state", "stale");
  await take(page, 1, 3);
  assert.equal(await mark(page, 1, "data-state"), "confirmed");
  await north.startGateway();
  await waitForMark(ofNorth, 1, "data-state", "confirmed");
  for (const each of [page, ofNorth]) await each.context().close();
});

test("a wall's page shows a router of another site without a token", all, async () => {
  const wall = broker.site("wall", ["north"]);
  rigs.push(wall);
  fs.writeFileSync(wall.configuration, 'anonymous = "view"\n' + fs.readFileSync(wall.configuration, "utf8"));
  await wall.startGateway();
  const page = await panels.page();
  await waitFor("the router is known there", async () => (await fetch(`${wall.address}/api/v1/routers/north%3Astudio`)).status === 200);
  await page.goto(`${wall.address}/panel?router=north%3Astudio`);
  await isLive(page);
  await waitForMark(page, 1, "data-state", "confirmed");
  await page.context().close();
});

test("no page has broken a rule", all, () => {
  assert.deepEqual(panels.problems, []);
});
