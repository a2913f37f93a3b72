// What the pages show while something is away, and what they do when it is back.

import assert from "node:assert/strict";
import fs from "node:fs";
import { after, before, test } from "node:test";
import { Panels, Rig, input, isLive, mark, output, press, studio, waitFor, waitForMark } from "./panel_fixture.mjs";

const rig = new Rig();
let panels, admin;

before(async () => {
  await rig.addRouter("studio", { inputs: 16, outputs: 8 }, studio);
  await rig.addRouter("spare", { inputs: 4, outputs: 4 }, null, false);
  admin = rig.token("desk", "admin");
  await rig.startGateway();
  panels = await Panels.open();
});

after(async () => {
  await panels?.close();
  await rig.close();
});

async function panel() {
  const page = await panels.logIn(rig, admin, "/panel?router=studio");
  await waitForMark(page, 1, "data-state", "confirmed");
  return page;
}

const alert = '[role="alert"]:visible';

test("a lost gateway is a banner with its age; takes are refused at once; all is read anew when it is back", async () => {
  const page = await panel(), takes = [];
  await page.click(output(1));
  const port = rig.port, top = (await page.locator(input(3)).boundingBox()).y;
  await rig.killGateway();
  await page.waitForSelector(alert);
  assert.match(await page.textContent(alert), /lost.*for \d+ s/s);
  assert.equal(await mark(page, 1, "data-state"), "stale");
  page.on("request", (request) => request.method() === "POST" && takes.push(request.url()));
  await page.click(input(3), { force: true });
  assert.equal(await page.getAttribute(input(3), "data-mark"), "refused");
  assert.match(await page.textContent("vrdx-selected"), /nothing was sent/);
  assert.deepEqual(takes, []);
  assert.equal((await page.locator(input(3)).boundingBox()).y, top, "nothing moves under the finger");
  await page.waitForFunction(() => /for [2-9] s/.test(document.querySelector('[role="alert"]')?.textContent));
  assert.equal(rig.routectl("studio", "route", "2=12").status, 0);
  await rig.startGateway(port);
  await page.waitForSelector(alert, { state: "hidden" });
  await waitForMark(page, 2, "data-source", 12);
  await press(page, 1, 4);
  await waitForMark(page, 1, "data-source", 4);
  await page.context().close();
});

test("a gateway that stands still is lost, too, although its connections stay; when it goes on all is read anew", async () => {
  const page = await panel(), takes = [];
  await page.click(output(1));
  page.on("request", (request) => request.method() === "POST" && takes.push(request.url()));
  rig.stopGateway();
  try {
    await page.waitForSelector(alert);
    assert.equal(await mark(page, 1, "data-state"), "stale");
    await page.click(input(3), { force: true });
    assert.equal(await page.getAttribute(input(3), "data-mark"), "refused");
    assert.deepEqual(takes, []);
  } finally {
    rig.letGatewayGoOn();
  }
  await page.waitForSelector(alert, { state: "hidden" });
  await press(page, 1, 6);
  await waitForMark(page, 1, "data-source", 6);
  await page.context().close();
});

test("a killed driver leaves the last picture as stale, with the reason, until it is back", async () => {
  const page = await panel();
  await page.click(output(2));
  await rig.killDriver("studio");
  await waitForMark(page, 2, "data-state", "stale");
  assert.equal(await mark(page, 2, "data-source"), "12");
  assert.equal(await page.getAttribute(input(3), "aria-disabled"), "true");
  await page.waitForSelector(".banner.away:visible");
  await page.waitForFunction(() => /for \d+ s/.test(document.querySelector(".banner.away")?.textContent));
  const age = () => page.evaluate(() => Number(/for (\d+) s/.exec(document.querySelector(".banner.away").textContent)?.[1] ?? -1));
  const before = await waitFor("an age of two seconds", async () => (await age()) >= 2 && (await age()));
  await page.reload();
  await isLive(page);
  assert.ok(await waitFor("the age", async () => (await age()) >= 0 && (await age()) + 1 > before), "the age does not begin with the page");
  await rig.startDriver("studio");
  await waitForMark(page, 2, "data-state", "confirmed");
  await page.waitForSelector(".banner.away", { state: "hidden" });
  await press(page, 2, 5);
  await waitForMark(page, 2, "data-source", 5);
  await page.context().close();
});

test("a killed backend is told, and comes back", async () => {
  const page = await panel();
  process.kill(rig.backendOf("studio"), "SIGKILL");
  await page.waitForSelector(".banner.away:visible");
  await waitForMark(page, 3, "data-state", "stale");
  await waitForMark(page, 3, "data-state", "confirmed");
  await press(page, 3, 6);
  await waitForMark(page, 3, "data-source", 6);
  await page.context().close();
});

test("all routers stand on one page, those that are away with their reason", async () => {
  const page = await panels.logIn(rig, admin, "/routers");
  await page.waitForSelector('[data-router="studio"][data-router-state="up"]');
  const away = page.locator('[data-router="spare"]');
  assert.equal(await away.getAttribute("data-router-state"), "no driver");
  await waitFor("its age is told", async () => /No driver runs.*for \d+ s/s.test(await away.textContent()));
  assert.equal(await away.locator("[href], button").count(), 0, "nothing of it can be pressed");
  assert.equal(await page.locator('[data-router="studio"] [href]').count(), 3);
  assert.match(await page.textContent('[data-router="studio"]'), /16 inputs × 8 outputs/);
  await rig.startDriver("spare");
  await page.waitForSelector('[data-router="spare"][data-router-state="up"]');
  await page.click('[data-router="spare"] >> text=Matrix');
  await page.waitForURL("**/matrix?router=spare");
  await page.context().close();
});

// Drivers are not needed for it: what is away has to be listed, too.
test("a hundred routers stand on one page", async () => {
  const crowd = new Rig();
  try {
    for (let at = 1; at <= 100; at++) await crowd.addRouter(`site ${at}`, { inputs: 2, outputs: 2 }, null, at <= 2);
    const token = crowd.token("desk", "view");
    await crowd.startGateway();
    const page = await panels.logIn(crowd, token, "/routers");
    await page.waitForFunction(() => document.querySelectorAll('li[data-router-state="up"]').length === 2);
    assert.equal(await page.locator("li[data-router]").count(), 100);
    assert.match(await page.textContent(".summary"), /2 of 100 up/);
    assert.deepEqual((await page.locator("li .name").allTextContents()).slice(0, 3), ["site 1", "site 2", "site 3"]);
    const last = page.locator('li[data-router="site 100"]');
    await last.scrollIntoViewIfNeeded();
    assert.ok(await last.isVisible());
    await page.context().close();
  } finally {
    await crowd.close();
  }
});

test("a slow network: the press is marked at once, and confirmed when the router has reported", async () => {
  const page = await panel(), network = await page.context().newCDPSession(page);
  await network.send("Network.emulateNetworkConditions", { offline: false, latency: 700, downloadThroughput: -1, uploadThroughput: -1 });
  await page.click(output(4));
  const state = await page.evaluate(() => {
    document.querySelector('[data-input="9"]').click();
    return document.querySelector('[data-output="4"]').dataset.state;
  });
  assert.equal(state, "pending");
  await waitForMark(page, 4, "data-source", 9);
  await waitForMark(page, 4, "data-state", "confirmed");
  await page.context().close();
});

test("a take whose answer is lost ends as unknown, and is not sent again", async () => {
  const page = await panel();
  let sent = 0;
  await page.route("**/takes", (route) => {
    sent++;
    route.abort();
  });
  await press(page, 5, 2);
  await waitForMark(page, 5, "data-state", "unknown");
  assert.equal(sent, 1);
  await page.context().close();
});

test("after an upgrade of the gateway the page loads itself anew", async () => {
  const page = await panel();
  await page.evaluate(() => (window.isOld = true));
  let build = "another";
  await page.route("**/static/build", (route) => route.fulfill({ contentType: "application/json", body: JSON.stringify({ build }) }));
  const port = rig.port;
  await rig.killGateway();
  await page.waitForSelector(alert);
  await rig.startGateway(port);
  await page.waitForFunction(() => window.isOld === undefined);
  await isLive(page);
  await page.context().close();
});

test("a removed token ends the page, which asks for one", async () => {
  const token = rig.token("guest", "view");
  const page = await panels.logIn(rig, token, "/panel?router=studio");
  await waitForMark(page, 1, "data-state", "confirmed");
  rig.removeToken("guest");
  await page.waitForURL("**/?to=*");
  await page.waitForSelector("input[name=token]");
  await page.context().close();
});

test("a wrong token is told, a right one goes to all routers, and stays logged in", async () => {
  const page = await panels.page();
  await page.goto(rig.address + "/");
  await page.fill("input[name=token]", "vrdx_wrong");
  await page.click("button[type=submit]");
  await page.waitForSelector(alert);
  await page.fill("input[name=token]", admin);
  await page.click("button[type=submit]");
  await page.waitForURL(rig.address + "/routers");
  await page.goto(rig.address + "/");
  await page.waitForURL(rig.address + "/routers");
  await page.goto(rig.address + "/?to=" + encodeURIComponent("//elsewhere.example/"));
  await page.waitForURL(rig.address + "/routers");
  await page.click(".menu");
  await page.click("text=Log out");
  await page.waitForSelector("input[name=token]");
  await page.goto(rig.address + "/routers");
  await page.waitForURL("**/?to=*");
  await page.context().close();
});

test("a router that is not there is said to be so", async () => {
  const page = await panels.logIn(rig, admin, "/panel?router=nowhere");
  await page.waitForSelector(".banner.away:visible");
  assert.match(await page.textContent(".banner.away"), /nowhere/);
  await page.context().close();
});

for (const [what, text] of [["everybody", 'anonymous = "view"\n'], ["a wall's address", '[[wall]]\naddresses = "127.0.0.1"\n']])
test(`a wall shows its page without a token where the configuration lets ${what}`, async () => {
  const open = new Rig();
  try {
    open.configuration = open.file("gateway.toml");
    fs.writeFileSync(open.configuration, text);
    await open.addRouter("studio", { inputs: 16, outputs: 8 }, studio);
    await open.startGateway();
    const page = await panels.page();
    await page.goto(open.address + "/panel?router=studio&outputs=1-4");
    await waitForMark(page, 4, "data-source", 4);
    assert.equal(await page.locator("[data-output]").count(), 4);
    assert.ok(await page.isHidden("vrdx-salvo"));
    await page.goto(open.address + "/");
    await page.click("text=Go on without a token");
    await page.waitForURL(open.address + "/routers");
    await page.click(".menu");
    await page.click("dialog >> text=Log in");
    await page.waitForSelector("input[name=token]");
    await page.context().close();
  } finally {
    await open.close();
  }
});

test("no page broke the content policy or failed", () => assert.deepEqual(panels.problems, []));
