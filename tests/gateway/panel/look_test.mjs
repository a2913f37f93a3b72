// What everybody has to be able to read and reach: rules of accessibility, sizes of targets, languages, hostile names.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { Panels, Rig, desk, findings, isLive, jsQR, output, phone, press, smallTargets, studio, waitFor, waitForMark } from "./panel_fixture.mjs";

const rig = new Rig();
let panels, admin;

const hostile = {
  script: "<script>window.isHurt = true</script>",
  image: '"><img src=x onerror="window.isHurt = true">',
  turned: "\u202egnihtemos esle\u2069\u2069",
  long: "x".repeat(65536),
  empty: "",
  bytes: "Cam \ue000 9",
};

before(async () => {
  const names = Object.values(hostile);
  await rig.addRouter("studio", { inputs: 16, outputs: 8, levels: "video,audio", "refuse outputs": 5 }, studio);
  await rig.addRouter("hostile", { inputs: 6, outputs: 6 }, {
    inputs: names,
    outputs: names.map((name, at) => ({ name, video: at + 1 })),
  });
  await rig.addRouter("away", { inputs: 4, outputs: 4 }, null, false);
  admin = rig.token("desk", "admin");
  await rig.startGateway();
  panels = await Panels.open();
});

after(async () => {
  await panels?.close();
  await rig.close();
});

for (const [name, viewport] of [["desk", desk], ["phone", phone]])
  for (const colorScheme of ["dark", "light"])
    test(`nothing is wrong with the pages on a ${name}, ${colorScheme}`, async () => {
      const page = await panels.logIn(rig, admin, "/panel?router=studio", { viewport, colorScheme });
      const back = async () => viewport === phone && (await page.click(".to-list"));
      const wrong = [];
      const look = async (what) => {
        const wider = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
        if (wider > 0) wrong.push(`${what}: ${wider} pixels too wide`);
        wrong.push(...[...(await findings(page)), ...(await smallTargets(page))].map((each) => `${what}: ${each}`));
      };
      await page.waitForSelector(output(1));
      await look("panel");
      await press(page, 5, 2);
      await waitForMark(page, 5, "data-state", "refused");
      await back();
      await page.click("text=Armed");
      await press(page, 4, 12);
      await look("panel with marks");
      await page.click(".lock-button");
      await look("locks");
      await page.keyboard.press("Escape");
      await page.keyboard.press("e");
      await look("names");
      await page.keyboard.press("Escape");
      await page.click(".help");
      await look("help");
      await page.keyboard.press("Escape");
      await page.click(".menu");
      await look("menu");
      await page.click("text=Pair a panel");
      await look("pairing");
      await page.goto(rig.address + "/routers");
      await page.waitForSelector('[data-router="away"]');
      await look("routers");
      await page.goto(rig.address + "/matrix?router=studio");
      await page.waitForSelector(output(1));
      await look("matrix");
      await page.goto(rig.address + "/panel?router=away");
      await page.waitForSelector(".banner.away:visible");
      await look("a router that is away");
      await page.goto(rig.address + "/panel?router=studio");
      await isLive(page);
      await page.context().setOffline(true);
      await page.waitForSelector('[role="alert"]:visible');
      await look("a lost connection");
      await page.goto("about:blank"); // else the page itself goes to the login, too
      await page.context().setOffline(false);
      await page.context().clearCookies();
      await page.goto(rig.address + "/");
      await page.waitForSelector("input[name=token]");
      await look("login");
      assert.equal(wrong.join("\n"), "");
      await page.context().close();
    });

test("names are text, whatever they hold", async () => {
  for (const where of ["/panel?router=hostile", "/matrix?router=hostile", "/routers"]) {
    const page = await panels.logIn(rig, admin, where);
    if (where !== "/routers") {
      await page.waitForSelector(output(1));
      await page.click(output(1));
      const texts = await page.locator("[data-output] .name").allTextContents();
      assert.equal(texts[0], hostile.script);
      assert.equal(texts[1], hostile.image);
      assert.ok(texts[3].startsWith("xxxx") && texts[3].length < 200);
      assert.equal(texts[4], "Output 5");
      assert.match(texts[5], /^Cam \ufffd+ 9$/);
      // A name of the other direction turns neither its number nor what stands behind it.
      const isTurned = await page.evaluate(() => {
        const box = (selector) => document.querySelector(`[data-output="3"] ${selector}`).getBoundingClientRect();
        return box(".number").left > box(".name").left;
      });
      assert.equal(isTurned, false);
    }
    assert.equal(await page.evaluate(() => window.isHurt), undefined);
    assert.equal(await page.locator("main script, main img").count(), 0);
    await page.context().close();
  }
});

test("German is German, times name their zone", async () => {
  const page = await panels.logIn(rig, admin, "/panel?router=studio", { locale: "de-DE", timezoneId: "Europe/Berlin" });
  await page.waitForSelector(output(1));
  assert.equal(await page.getAttribute("html", "lang"), "de");
  assert.match(await page.textContent("vrdx-selected"), /Wählen Sie ein Ziel/);
  assert.match(await page.textContent(".clock"), /^\d\d:\d\d:\d\d (MEZ|MESZ)$/);
  await page.click(".menu");
  await page.selectOption("#language", "en");
  await page.waitForSelector("text=Choose a destination");
  await page.context().close();
});

test("an admin pairs a panel: its own token, a link that logs it in, a picture that says the same", async () => {
  const page = await panels.logIn(rig, admin, "/routers");
  await page.click(".menu");
  await page.click("text=Pair a panel");
  await page.fill("#pair-name", "desk");
  await page.selectOption("#pair-page", "panel studio");
  await page.fill("#pair-outputs", "1-4");
  await page.click("text=Make the link");
  await page.waitForSelector("dialog >> text=There is a token of this name already");
  await page.fill("#pair-name", "kiosk");
  await page.click("text=Make the link");
  const address = await page.getAttribute(".pair-link[href]", "href");
  const picture = await page.evaluate(() => {
    const canvas = document.querySelector(".qr"), data = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
    return { bytes: [...data.data], width: canvas.width, height: canvas.height };
  });
  assert.equal(jsQR(Uint8ClampedArray.from(picture.bytes), picture.width, picture.height).data, address);
  await page.click("dialog[open] >> text=Close");
  const token = new URL(address).hash.match(/token=([^&]+)/)[1];
  await waitFor("the token is gone with the dialog", async () => !(await page.content()).includes(token));
  const kiosk = await panels.page();
  await kiosk.goto(address);
  await kiosk.waitForSelector(output(4));
  assert.equal(await kiosk.locator("[data-output]").count(), 4);
  assert.ok(!kiosk.url().includes("token"));
  assert.match(await kiosk.textContent(".who"), /kiosk, role operate/);
  await press(kiosk, 4, 9);
  await waitForMark(kiosk, 4, "data-source", 9);
  await kiosk.goto(rig.address + "/routers");
  await isLive(kiosk);
  assert.equal(await kiosk.locator("li[data-router]").count(), 1, "its token is of one router");
  await kiosk.click(".menu");
  assert.ok(await kiosk.isHidden("text=Pair a panel"));
  await kiosk.context().close();
  await page.context().close();
});

test("no page broke the content policy or failed", () => assert.deepEqual(panels.problems, []));
