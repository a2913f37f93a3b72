// What stands around what a page shows: the bar, what is away, alarms.

import { el, write } from "./dom.js";
import { listenKeys } from "./keys.js";
import { startPage } from "./page.js";
import { start, store } from "./store.js";
import { t } from "./texts.js";
import "./alarms.js";
import "./app_bar.js";
import "./banner.js";

export function frame(bar, ...content) {
  return [el("vrdx-app-bar", bar), el("vrdx-banner"), el("vrdx-alarms"), el("main", {}, ...content)];
}

// True when nothing can be asked; says so there.
export function isLost(said) {
  const lost = store.connection !== "live";
  if (lost) write(said, t("notConnected"));
  return lost;
}

// A page of all routers.
export function startRoutersPage(name, element) {
  customElements.define("vrdx-" + name, element);
  startPage("vrdx-" + name, t(name));
  listenKeys();
  start(null);
}
