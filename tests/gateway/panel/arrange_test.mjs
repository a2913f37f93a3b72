// What each panel looks like: arranged on the page, kept by the gateway, the same on each of its screens.

import assert from "node:assert/strict";
import fs from "node:fs";
import { after, before, test } from "node:test";
import { Panels, Rig, desk, findings, input, isLive, output, phone, press, smallTargets, studio, waitFor, waitForMark } from "./panel_fixture.mjs";

const rig = new Rig();
let panels, keys;
const layout = "/api/v1/routers/studio/layout";
const none = { categories: [], order: [], colours: {}, hidden: [], favourites: [] };

before(async () => {
  await rig.addRouter("studio", { inputs: 16, outputs: 8 }, studio);
  keys = { desk: rig.token("desk", "operate"), wall: rig.token("wall", "view"), boss: rig.token("boss", "admin") };
  await rig.startGateway();
  panels = await Panels.open();
});

after(async () => {
  await panels?.close();
  await rig.close();
});

async function open(where, { token = keys.desk, options } = {}) {
  const page = await panels.logIn(rig, token, where, options);
  await page.waitForSelector("[data-output]");
  return page;
}

async function keep(told, token = keys.desk) {
  const answer = await rig.ask(token, "PUT", layout, told);
  assert.equal(answer.status, 200, JSON.stringify(answer.body));
}

const kept = async (token = keys.desk) => (await rig.ask(token, "GET", layout)).body;

// Numbers in the order in which they are seen.
const seen = (page, side) => page.evaluate((name) =>
  [...document.querySelectorAll(`[data-${name}]`)]
    .map((each) => ({ number: Number(each.dataset[name]), box: each.getBoundingClientRect() }))
    .sort((a, b) => a.box.top - b.box.top || a.box.left - b.box.left).map((each) => each.number), side);
const waitForSeen = async (page, side, wanted) => {
  let found;
  await waitFor(`${side} ${wanted} instead of what is seen`, async () => {
    found = await seen(page, side);
    return JSON.stringify(found) === JSON.stringify(wanted);
  }).catch((failure) => assert.fail(`${failure.message}: ${found}`));
};

async function begin(page) {
  await page.click(".menu");
  await page.click("text=Arrange");
  await page.waitForSelector("vrdx-arrange:visible");
}

async function choose(page, list) {
  await page.selectOption("vrdx-arrange select >> nth=0", { label: list });
}

async function end(page) {
  await page.click("vrdx-arrange >> text=Keep");
  await page.waitForSelector("vrdx-arrange", { state: "hidden" });
}

test("order, hidden ones and categories are shown as they are kept", async () => {
  await keep({
    outputs: { ...none, order: [3, 1], hidden: [2, 7, 8], colours: { red: [3] }, favourites: [4, 7] },
    inputs: { ...none, categories: [{ name: "Left & <b>right</b>", colour: "violet", members: [12, 2, 1] }], hidden: [1] },
  });
  const page = await open("/panel?router=studio&inputs=1-14");
  await waitForSeen(page, "output", [3, 1, 4, 5, 6]);
  await waitForSeen(page, "input", [2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14]);
  assert.equal(await page.getAttribute(output(3), "data-colour"), "red");
  assert.match(await page.textContent(output(3)), /red/);
  assert.equal(await page.getAttribute(output(1), "data-colour"), null);
  assert.equal(await page.getAttribute(input(12), "data-colour"), "violet");
  await page.click("vrdx-sources .chip >> text=Left & <b>right</b>");
  await waitForSeen(page, "input", [12, 2]);
  await page.click("vrdx-sources .chip >> text=Hidden");
  await waitForSeen(page, "input", [12, 2, 1]);
  await page.click("vrdx-destinations .chip >> text=Favourites");
  await waitForSeen(page, "output", [4]);
  await page.click("vrdx-destinations .chip >> text=Hidden");
  await waitForSeen(page, "output", [4, 7]);
  // A view forbids nothing.
  await press(page, 7, 1);
  await waitForMark(page, 7, "data-source", 1);
  await page.context().close();
});

test("the address limits what the layout shows, and the matrix follows both", async () => {
  await keep({ outputs: { ...none, order: [5, 3], hidden: [4], colours: { green: [3] } }, inputs: { ...none, order: [2], hidden: [1] } });
  const page = await open("/panel?router=studio&outputs=1-4&inputs=1-3"), matrix = await open("/matrix?router=studio&outputs=1-4&inputs=1-3");
  for (const each of [page, matrix]) {
    await waitForSeen(each, "output", [3, 1, 2]);
    await waitForSeen(each, "input", [2, 3]);
    assert.equal(await each.getAttribute(output(3), "data-colour"), "green");
  }
  await matrix.click(".menu");
  assert.ok(await matrix.isHidden("text=Arrange"), "it is arranged on the panel");
  await page.context().close();
  await matrix.context().close();
});

test("what is pressed joins the list, and is there after a reload and in a second browser; nothing is taken", async () => {
  await keep({});
  const page = await open("/panel?router=studio"), before = await page.getAttribute(output(6), "data-source");
  await page.click(output(6));
  await begin(page);
  for (const each of [output(5), output(2), input(9)]) await page.click(each);
  assert.equal(await page.getAttribute(output(2), "data-listed"), "2");
  assert.match(await page.textContent(output(2)), /place 2/);
  await choose(page, "Hidden");
  for (const each of [output(7), input(16), output(8), output(8)]) await page.click(each);
  await choose(page, "Order");
  for (const each of [output(4), input(3), input(2)]) await page.click(each);
  await choose(page, "red");
  for (const each of [input(1), input(2)]) await page.click(each);
  await choose(page, "blue");
  await page.click(input(2));
  assert.equal(await page.getAttribute(input(2), "data-colour"), "blue");
  await choose(page, "New category");
  await page.fill("vrdx-arrange input", "Tape");
  await page.selectOption("vrdx-arrange select >> nth=1", "orange");
  for (const each of [input(11), input(9), output(5)]) await page.click(each);
  await end(page);
  assert.equal(await page.getAttribute(output(6), "data-source"), before);
  const { inputs, outputs } = await kept();
  assert.deepEqual(outputs.favourites, [5, 2]);
  assert.deepEqual(inputs.favourites, [9]);
  assert.deepEqual([outputs.hidden, inputs.hidden], [[7], [16]]);
  assert.deepEqual([outputs.order, inputs.order], [[4], [3, 2]]);
  assert.deepEqual([inputs.colours.red, inputs.colours.blue], [[1], [2]]);
  assert.deepEqual(inputs.categories, [{ name: "Tape", colour: "orange", members: [11, 9] }]);
  assert.deepEqual(outputs.categories, [{ name: "Tape", colour: "orange", members: [5] }]);
  await page.reload();
  await isLive(page);
  const second = await open("/panel?router=studio");
  for (const each of [page, second]) {
    await waitForSeen(each, "output", [4, 1, 2, 3, 5, 6, 8]);
    await waitForSeen(each, "input", [3, 2, 1, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15]);
    await each.click("vrdx-sources .chip >> text=Tape");
    await waitForSeen(each, "input", [11, 9]);
    assert.equal(await each.getAttribute(input(9), "data-colour"), "orange");
  }
  const wall = await open("/panel?router=studio", { token: keys.wall });
  await waitForSeen(wall, "output", [1, 2, 3, 4, 5, 6, 7, 8]);
  for (const each of [page, second, wall]) await each.context().close();
});

test("a category is renamed, emptied and gone; what was not kept is forgotten", async () => {
  await keep({ inputs: { ...none, categories: [{ name: "Tape", colour: "red", members: [9, 10] }, { name: "Other", members: [1] }] } });
  const page = await open("/panel?router=studio");
  await begin(page);
  await choose(page, "Tape");
  await page.fill("vrdx-arrange input", "Recorders");
  await page.keyboard.press("Tab");
  await page.click(input(9));
  await choose(page, "Other");
  await page.click("vrdx-arrange >> text=Clear");
  await end(page);
  assert.deepEqual((await kept()).inputs.categories, [{ name: "Recorders", colour: "red", members: [10] }]);
  await begin(page);
  await choose(page, "Hidden");
  await page.click(input(4));
  await page.click("vrdx-arrange >> text=Close");
  assert.deepEqual((await kept()).inputs.hidden, []);
  await press(page, 1, 4);
  await waitForMark(page, 1, "data-source", 4);
  await page.context().close();
});

test("it is arranged with the keyboard alone", async () => {
  await keep({});
  const page = await open("/panel?router=studio");
  await page.focus(".menu");
  await page.keyboard.press("Enter");
  await page.focus("dialog button >> text=Arrange");
  await page.keyboard.press("Enter");
  await page.waitForFunction(() => document.activeElement.matches("vrdx-arrange select"));
  await page.focus(output(3));
  await page.keyboard.press("ArrowRight");
  await page.keyboard.press("Enter");
  await page.waitForSelector("[data-output][data-listed='1']");
  await page.focus("vrdx-arrange .primary");
  await page.keyboard.press("Enter");
  await page.waitForSelector("vrdx-arrange", { state: "hidden" });
  assert.equal((await kept()).outputs.favourites.length, 1);
  await page.context().close();
});

test("no key takes anything while it is arranged", async () => {
  await keep({});
  const page = await open("/panel?router=studio"), sent = [];
  await press(page, 1, 7);
  await waitForMark(page, 1, "data-source", 7);
  await begin(page);
  page.on("request", (request) => request.method() === "POST" && sent.push(request.url()));
  await page.focus(output(3)); // keys do nothing in a field
  for (const key of ["Control+z", "Control+b", "Control+Enter"]) await page.keyboard.press(key);
  await page.click("vrdx-arrange >> text=Close");
  await page.waitForSelector("vrdx-arrange", { state: "hidden" });
  assert.deepEqual(sent, []);
  await page.keyboard.press("Control+z");
  await waitFor("the same key takes back afterwards", () => sent.length === 1);
  await page.context().close();
});

test("a category is made once: its name chooses it from then on", async () => {
  await keep({ inputs: { ...none, categories: [{ name: "Tape", colour: "red", members: [9] }] } });
  const page = await open("/panel?router=studio");
  await begin(page);
  await choose(page, "New category");
  await page.fill("vrdx-arrange input", "Tape");
  await page.keyboard.press("Tab");
  await page.waitForSelector(input(9) + "[data-listed='1']");
  assert.equal(await page.locator("vrdx-arrange option:text-is('Tape')").count(), 1);
  await page.click(input(10));
  await end(page);
  assert.deepEqual((await kept()).inputs.categories, [{ name: "Tape", colour: "red", members: [9, 10] }]);
  await page.context().close();
});

test("nothing is pressed while the layout is on its way", async () => {
  await keep({});
  const page = await open("/panel?router=studio");
  await begin(page);
  await page.click(output(1));
  let go = null;
  await page.route("**/layout", (route) => (route.request().method() === "PUT" ? (go = () => route.continue()) : route.continue()));
  await page.click("vrdx-arrange >> text=Keep");
  await waitFor("it is on its way", () => go !== null);
  const { x, y } = await page.locator(output(2)).boundingBox();
  await page.mouse.click(x + 5, y + 5);
  assert.equal(await page.getAttribute(output(2), "data-listed"), null);
  await go();
  await page.waitForSelector("vrdx-arrange", { state: "hidden" });
  assert.deepEqual((await kept()).outputs.favourites, [1]);
  await press(page, 2, 3);
  await waitForMark(page, 2, "data-source", 3);
  await page.context().close();
});

test("what the gateway refuses is told, and stays to be mended", async () => {
  await keep({});
  const page = await open("/panel?router=studio");
  await begin(page);
  await page.click(output(1));
  await page.route("**/layout", (route) => (route.request().method() === "PUT" ? route.fulfill({ status: 422, contentType: "application/problem+json", body: '{"detail": "too large for this test"}' }) : route.continue()));
  await page.click("vrdx-arrange >> text=Keep");
  await page.waitForSelector("vrdx-arrange >> text=too large for this test");
  await page.unroute("**/layout");
  await end(page);
  assert.deepEqual((await kept()).outputs.favourites, [1]);
  await page.context().close();
});

test("who has no token of his own arranges nothing, an admin does for him", async () => {
  await rig.killGateway();
  rig.configuration = rig.file("gateway.toml");
  fs.writeFileSync(rig.configuration, 'anonymous = "operate"\n');
  await rig.startGateway(rig.port);
  const answer = await rig.ask(keys.boss, "PUT", layout + "?panel=anonymous", { outputs: { ...none, hidden: [1] } });
  assert.equal(answer.status, 200);
  const page = await panels.page();
  await page.goto(rig.address + "/panel?router=studio");
  await isLive(page);
  await waitForSeen(page, "output", [2, 3, 4, 5, 6, 7, 8]);
  await page.click(".menu");
  assert.ok(await page.isHidden("text=Arrange"));
  await page.context().close();
});

for (const [name, viewport] of [["desk", desk], ["phone", phone]])
  for (const colorScheme of ["dark", "light"])
    test(`nothing is wrong with an arranged panel on a ${name}, ${colorScheme}`, async () => {
      const colours = { red: [1], orange: [2], yellow: [3], green: [4], blue: [5], violet: [6] };
      await keep({
        inputs: { ...none, colours, categories: [{ name: "Cameras", colour: "blue", members: [1, 2, 3, 4, 5, 6, 7, 8] }, { name: "Tape", colour: "violet", members: [9, 10, 11] }], favourites: [1, 9], hidden: [16] },
        outputs: { ...none, colours, order: [3], favourites: [3, 4], hidden: [8] },
      });
      const page = await open("/panel?router=studio", { options: { viewport, colorScheme } });
      const wrong = [];
      const look = async (what) => {
        const wider = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
        if (wider > 0) wrong.push(`${what}: ${wider} pixels too wide`);
        wrong.push(...[...(await findings(page)), ...(await smallTargets(page))].map((each) => `${what}: ${each}`));
      };
      await look("arranged");
      await begin(page);
      await choose(page, "Cameras");
      await page.click(input(10));
      await look("while it is arranged");
      await page.click("vrdx-arrange >> text=Close");
      if (viewport === phone) await page.click(output(3));
      await look("sources");
      await page.goto(rig.address + "/matrix?router=studio");
      await page.waitForSelector(output(1));
      await look("matrix");
      assert.equal(wrong.join("\n"), "");
      await page.context().close();
    });

test("no page broke the content policy or failed", () => assert.deepEqual(panels.problems, []));
