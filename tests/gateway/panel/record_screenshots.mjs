// Makes the pictures of docs/panel.md. Run by panel_test.py, as the tests are.

import path from "node:path";
import { Panels, Rig, input, output, phone, press, studio, waitForMark } from "./panel_fixture.mjs";

const images = path.join(import.meta.dirname ?? path.dirname(new URL(import.meta.url).pathname), "../../../docs/images");
const rig = new Rig(), panels = await Panels.open();
try {
  await rig.addRouter("studio", { inputs: 16, outputs: 8, levels: "video,audio", "refuse outputs": 5, "delay ms": 800 }, studio);
  await rig.startGateway();
  const desk = rig.token("desk-1", "lock"), gallery = rig.token("gallery", "lock");
  const page = await panels.logIn(rig, desk, "/panel?router=studio", { colorScheme: "dark", viewport: { width: 1280, height: 720 } });
  await rig.ask(gallery, "POST", "/api/v1/routers/studio/outputs/3/lock", { state: "lock", reason: "On air until 18:00" });
  await waitForMark(page, 3, "data-lock", "lock");
  await press(page, 5, 7);
  await waitForMark(page, 5, "data-state", "refused");
  await press(page, 1, 4);
  await page.screenshot({ path: path.join(images, "panel.png") });
  await waitForMark(page, 1, "data-source", 4);
  await page.goto(rig.address + "/matrix?router=studio");
  await page.waitForSelector(output(1));
  await page.setViewportSize({ width: 1000, height: 660 });
  const row = await page.locator(output(6)).boundingBox(), column = await page.locator(input(10)).boundingBox();
  await page.mouse.move(column.x + 10, row.y + 10);
  await page.screenshot({ path: path.join(images, "matrix.png") });
  const small = await panels.logIn(rig, gallery, "/panel?router=studio", { colorScheme: "light", viewport: phone, hasTouch: true, isMobile: true });
  await press(small, 2, 9);
  await waitForMark(small, 2, "data-source", 9);
  await small.screenshot({ path: path.join(images, "phone.png") });
  const presets = await panels.logIn(rig, gallery, "/presets", { colorScheme: "dark", viewport: { width: 900, height: 510 } });
  const takes = [1, 2, 5, 7].map((number) => ({ router: "studio", output: number, sources: { video: number + 1, audio: number === 7 ? 16 : number + 1 } }));
  for (const name of ["Evening news", "Morning show", "Night loop"])
    await rig.ask(gallery, "PUT", "/api/v1/presets/" + encodeURIComponent(name), { takes: [...takes, { router: "studio", output: 3, input: 5 }] });
  await presets.reload();
  await presets.click("text=Morning show");
  await presets.waitForSelector(".lines li");
  await presets.click("section .primary");
  await presets.waitForSelector("text=of 5 outputs confirmed");
  await presets.waitForFunction(() => !document.querySelector('.lines [data-kind="pending"], .lines [data-kind="armed"]'));
  await presets.screenshot({ path: path.join(images, "presets.png") });
  const admin = await panels.logIn(rig, rig.token("head", "admin"), "/routers", { colorScheme: "dark", viewport: { width: 720, height: 600 } });
  await admin.click(".menu");
  await admin.click("text=Pair a panel");
  await admin.fill("#pair-name", "Studio door");
  await admin.selectOption("#pair-page", "panel studio");
  await admin.fill("#pair-outputs", "1-4");
  await admin.screenshot({ path: path.join(images, "pairing.png") });
  const side = (categories, further) => ({ categories, order: [], colours: {}, hidden: [], favourites: [], ...further });
  await rig.ask(gallery, "PUT", "/api/v1/routers/studio/layout", {
    inputs: side([{ name: "Cameras", colour: "blue", members: [3, 1, 2, 4] }, { name: "Tape", colour: "orange", members: [9, 10, 11] }], { colours: { red: [15], green: [12, 13] } }),
    outputs: side([], { order: [3, 4], colours: { red: [3], violet: [7, 8] } }),
  });
  const arranged = await panels.logIn(rig, gallery, "/panel?router=studio", { colorScheme: "dark", viewport: { width: 1000, height: 560 } });
  await arranged.click(".menu");
  await arranged.click("text=Arrange");
  await arranged.selectOption("vrdx-arrange select >> nth=0", { label: "Cameras" });
  await arranged.waitForSelector(`${input(4)}[data-listed="4"]`);
  await arranged.screenshot({ path: path.join(images, "arranging.png") });
} finally {
  await panels.close();
  await rig.close();
}
