// One browser, and pages that are logged in, for many cases.

import { createRequire } from "node:module";
import { Rig, waitFor } from "./rig.mjs";

const require = createRequire(process.env.VRDX_NODE_MODULES + "/");
export const { chromium } = require("playwright-core");
const { AxeBuilder } = require("@axe-core/playwright");
export const jsQR = require("jsqr");
export { Rig, waitFor };

export const desk = { width: 1280, height: 800 };
export const phone = { width: 390, height: 844 };

// 16 inputs and 8 outputs with names as a studio has them; output 2 takes its sound from elsewhere.
export const studio = {
  inputs: ["Cam 1", "Cam 2", "Cam 3", "Cam 4", "Cam 5", "Cam 6", "Cam 7", "Cam 8", "VTR 1", "VTR 2", "VTR 3", "Graphics A", "Graphics B", "Test pattern", "Black", "Line in"],
  outputs: ["Studio A monitor", "Studio B monitor", "Programme", "Preview", "VTR rec 1", "VTR rec 2", "Gallery wall 1", "Gallery wall 2"]
    .map((name, at) => ({ name, video: at + 1, audio: at === 1 ? 9 : at + 1 })),
};

export class Panels {
  static async open() {
    const panels = new Panels();
    panels.browser = await chromium.launch({
      executablePath: process.env.VRDX_CHROMIUM,
      args: ["--no-sandbox", "--disable-dev-shm-usage"],
    });
    panels.problems = []; // errors of pages; broken rules of the content policy are among them
    return panels;
  }

  // A page of its own browser profile.
  async page(options = {}, script = null) {
    const context = await this.browser.newContext({ viewport: desk, locale: "en-GB", ...options });
    if (script) await context.addInitScript(script);
    context.setDefaultTimeout(60000);
    const page = await context.newPage();
    page.on("pageerror", (error) => this.problems.push(error.message));
    page.on("console", (message) => {
      const text = message.text();
      if (message.type() === "error" && /policy|refused to/i.test(text)) this.problems.push(text);
    });
    return page;
  }

  // A page that is logged in with this token and shows this address. `script` runs in it before its own.
  async logIn(rig, token, where, options = {}, script = null) {
    await rig.waitForToken(token);
    const page = await this.page(options, script), [name, value] = (await rig.cookie(token)).split("=");
    await page.context().addCookies([{ name, value, url: rig.address }]);
    await page.goto(rig.address + where);
    await isLive(page);
    return page;
  }

  async close() {
    await this.browser.close();
  }
}

export async function isLive(page) {
  await page.waitForFunction(() => document.documentElement.dataset.connection === "live");
}

export const output = (number) => `[data-output="${number}"]`;
export const input = (number) => `[data-input="${number}"]`;

// Waits until the destination has this attribute, or has it not (null).
export async function waitForMark(page, number, name, value) {
  await page.waitForFunction(([selector, key, wanted]) => {
    const found = document.querySelector(selector);
    return found && found.getAttribute(key) === wanted;
  }, [output(number), name, value === null ? null : String(value)]);
}

export async function mark(page, number, name) {
  return page.getAttribute(output(number), name);
}

export async function press(page, destination, source) {
  await page.click(output(destination));
  await page.click(input(source));
}

// What the rules of accessibility say against the page.
export async function findings(page) {
  // The pages have no frames, which would need a page more for each look; what is right is not told.
  const { violations } = await new AxeBuilder({ page }).options({ resultTypes: ["violations"] }).setLegacyMode().analyze();
  return violations.map(({ id, nodes }) => [id, ...nodes.slice(0, 2).flatMap((node) => [node.html.slice(0, 100), node.failureSummary.split("\n")[1]])].join(" | "));
}

// What can be pressed and is too small for a finger.
export async function smallTargets(page) {
  return page.evaluate(() =>
    [...document.querySelectorAll("button, a[href], select, input:not([type=checkbox])")]
      .filter((each) => each.checkVisibility() && !each.closest(".space"))
      .map((each) => ({ text: each.outerHTML.slice(0, 120), box: each.getBoundingClientRect() }))
      .filter(({ box }) => box.width > 0 && (box.height < 43.5 || box.width < 24))
      .map(({ text, box }) => `${Math.round(box.width)}x${Math.round(box.height)} ${text}`));
}
