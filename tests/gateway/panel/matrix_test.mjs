// The matrix, and routers of any size.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { Panels, Rig, input, mark, output, press, studio, waitFor, waitForMark } from "./panel_fixture.mjs";

const rig = new Rig();
let panels, token;

before(async () => {
  await rig.addRouter("studio", { inputs: 16, outputs: 8, levels: "video,audio", "refuse outputs": 5 }, studio);
  await rig.addRouter("middle", { inputs: 288, outputs: 288 });
  await rig.addRouter("largest", { inputs: 4096, outputs: 1024 });
  token = rig.token("desk", "operate");
  await rig.startGateway();
  panels = await Panels.open();
});

after(async () => {
  await panels?.close();
  await rig.close();
});

const elements = (page) => page.evaluate(() => document.querySelectorAll("*").length);

async function matrix(router, options) {
  const page = await panels.logIn(rig, token, `/matrix?router=${router}`, options);
  await page.waitForSelector(output(1));
  return page;
}

// The middle of a crosspoint that is in sight.
async function crosspoint(page, destination, source) {
  const row = await page.locator(output(destination)).boundingBox(), column = await page.locator(input(source)).boundingBox();
  return [column.x + column.width / 2, row.y + row.height / 2];
}

test("a crosspoint is taken where it is pressed", async () => {
  const page = await matrix("middle"), place = await crosspoint(page, 3, 8);
  await page.mouse.click(...place);
  await waitForMark(page, 3, "data-source", 8);
  await waitForMark(page, 3, "data-state", "confirmed");
  assert.match(await page.textContent(".at"), /Destination 3 .*source 8 .*is shown/s);
  await page.click(output(4));
  await page.click(input(2));
  await waitForMark(page, 4, "data-source", 2);
  await page.click(".lock-button");
  await page.click('[data-lock-choice="protect"]');
  await waitForMark(page, 4, "data-lock", "protect");
  await page.context().close();
});

// [column, kind, text] of each mark in the row of a destination.
const marksOf = (page, destination) => page.evaluate(([row, columns]) => {
  const middle = (element) => element.getBoundingClientRect().left + element.getBoundingClientRect().width / 2;
  const heads = [...document.querySelectorAll(columns)];
  const nearest = (mark) => heads.reduce((best, head) => (Math.abs(middle(head) - middle(mark)) < Math.abs(middle(best) - middle(mark)) ? head : best));
  return [...document.querySelector(row).parentElement.querySelectorAll(".cross")]
    .map((mark) => [Number(nearest(mark).dataset.input), mark.dataset.kind, mark.textContent]);
}, [output(destination), "[data-input]"]);

test("each level has its mark, and a refused take one of its own, with the reason in words", async () => {
  const page = await matrix("studio");
  await waitForMark(page, 2, "data-source-audio", 9);
  assert.deepEqual(await marksOf(page, 2), [[2, "shown", "V"], [9, "shown", "A"]]);
  assert.deepEqual(await marksOf(page, 1), [[1, "shown", ""]]);
  await page.click("vrdx-salvo >> text=Video");
  await page.mouse.click(...(await crosspoint(page, 1, 4)));
  await waitForMark(page, 1, "data-source-audio", 4);
  await waitForMark(page, 1, "data-state", "confirmed");
  assert.deepEqual(await marksOf(page, 1), [[1, "shown", "V"], [4, "shown", "A"]]);
  await page.click("text=Both");
  await page.mouse.click(...(await crosspoint(page, 5, 7)));
  await waitForMark(page, 5, "data-state", "refused");
  assert.deepEqual(await marksOf(page, 5), [[5, "shown", ""], [7, "refused", ""]]);
  assert.match(await page.textContent(".at"), /Refused: output 5 refuses to switch/);
  await page.click("vrdx-matrix .chip >> text=VTR");
  await waitFor("a group of destinations is shown", async () => (await page.locator("[data-output]").count()) === 2);
  await page.context().close();
});

test("the crosshair follows the mouse, and names stay when one scrolls", async () => {
  const page = await matrix("middle");
  await page.evaluate(() => document.querySelector(".scroller").scrollTo(3000, 4000));
  const seen = () => page.evaluate(() => {
    const field = document.querySelector(".scroller").getBoundingClientRect(), box = (element) => element.getBoundingClientRect();
    const inSight = (element) => box(element).top > field.top + 150 && box(element).bottom < field.bottom;
    const row = [...document.querySelectorAll("[data-output]")].find(inSight);
    const column = [...document.querySelectorAll("[data-input]")].find((each) => box(each).left > field.left + 300);
    return { left: Math.round(box(row).left - field.left), top: Math.round(box(column).top - field.top), row: Number(row.dataset.output), column: Number(column.dataset.input) };
  });
  await waitFor("the rows that are seen now", async () => (await page.locator(output(1)).count()) === 0);
  const { left, top, row, column } = await seen();
  assert.ok(row > 100 && column > 90, `${row} ${column}`);
  assert.deepEqual([left, top], [1, 1], "behind the border of the field");
  const place = await crosspoint(page, row, column);
  await page.mouse.move(...place);
  await page.waitForFunction(([wanted]) => document.querySelector(".at")?.textContent.startsWith(wanted), [`Destination ${row} Output ${row}, source ${column} `]);
  const hairs = await page.evaluate(([x, y]) => [...document.querySelectorAll(".hair")].map((each) => each.getBoundingClientRect())
    .map((box) => box.left <= x && x <= box.right && box.top <= y && y <= box.bottom), place);
  assert.deepEqual(hairs, [true, true]);
  await page.context().close();
});

test("a finger goes there first, and takes with the next touch", async () => {
  const page = await matrix("middle", { viewport: { width: 390, height: 844 }, hasTouch: true, isMobile: true });
  const place = await crosspoint(page, 6, 3), sent = [];
  page.on("request", (request) => request.method() === "POST" && sent.push(request.url()));
  await page.touchscreen.tap(...place);
  await page.waitForFunction(() => document.querySelector('[data-output="6"]')?.getAttribute("aria-pressed") === "true");
  assert.deepEqual(sent, []);
  await page.touchscreen.tap(...place);
  await waitForMark(page, 6, "data-source", 3);
  await page.context().close();
});

test("arrows move, Enter takes", async () => {
  const page = await matrix("middle");
  await page.focus(".scroller");
  for (const key of ["ArrowDown", "ArrowDown", "ArrowRight", "ArrowRight", "Enter"]) await page.keyboard.press(key);
  await waitForMark(page, 2, "data-source", 3);
  await page.keyboard.press("End");
  await page.waitForSelector(input(288));
  await page.context().close();
});

test("of 4096 x 1024 there is what is seen, wherever one is", async () => {
  const page = await matrix("largest");
  assert.ok((await elements(page)) < 1500);
  assert.equal(await page.locator(output(1024)).count(), 0);
  await page.evaluate(() => document.querySelector(".scroller").scrollTo(1e7, 1e7));
  await page.waitForSelector(output(1024));
  await page.waitForSelector(input(4096));
  assert.ok((await elements(page)) < 1500);
  const [x, y] = await crosspoint(page, 1024, 4096);
  await page.mouse.click(x, y);
  await waitForMark(page, 1024, "data-source", 4096);
  await page.fill('[aria-label="Search sources"]', "input 4000");
  await waitFor("one column is left", async () => (await page.locator("[data-input]").count()) === 1);
  await page.context().close();
});

test("the panel of 4096 x 1024 finds, shows and takes", async () => {
  const page = await panels.logIn(rig, token, "/panel?router=largest");
  await page.waitForSelector(output(1));
  assert.ok((await elements(page)) < 3000);
  await page.fill('[aria-label="Search destinations"]', "output 1000");
  await page.click(output(1000));
  await page.fill('[aria-label="Search sources"]', "4001");
  await page.click(input(4001));
  await waitForMark(page, 1000, "data-source", 4001);
  await page.context().close();
});

test("all 288 destinations and sources are in the panel", async () => {
  const page = await panels.logIn(rig, token, "/panel?router=middle");
  await page.waitForSelector(output(288), { state: "attached" });
  assert.equal(await page.locator("[data-output]").count(), 288);
  assert.equal(await page.locator("[data-input]").count(), 288);
  await press(page, 200, 250);
  await waitForMark(page, 200, "data-source", 250);
  await page.context().close();
});

// What a page keeps after many changes does not grow with their number.
test("many changes leave nothing behind", async () => {
  const page = await panels.logIn(rig, token, "/panel?router=middle");
  const debug = await page.context().newCDPSession(page);
  await debug.send("HeapProfiler.enable");
  const rounds = async (count) => {
    for (let round = 0; round < count; round++) {
      const takes = Array.from({ length: 288 }, (_, at) => ({ output: at + 1, input: ((at + round * 7) % 288) + 1 }));
      assert.equal((await rig.ask(token, "POST", "/api/v1/routers/middle/takes", { takes, within: 30000 })).status, 200);
    }
    await waitFor("the last is shown", async () => (await mark(page, 1, "data-source")) === String((((count - 1) * 7) % 288) + 1) && (await mark(page, 288, "data-state")) === "confirmed");
    await debug.send("HeapProfiler.collectGarbage");
    const { usedSize } = await debug.send("Runtime.getHeapUsage");
    return { bytes: usedSize, elements: await elements(page) };
  };
  const first = await rounds(20), last = await rounds(60);
  assert.equal(last.elements, first.elements);
  assert.ok(last.bytes < first.bytes + 1000000, `${first.bytes} -> ${last.bytes}`);
  await page.context().close();
});

test("no page broke the content policy or failed", () => assert.deepEqual(panels.problems, []));
