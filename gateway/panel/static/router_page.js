// What the pages of one router have in common: they read their address and begin.

import { desk, setArmed } from "./desk.js";
import { numberList } from "./names.js";
import { listenKeys } from "./keys.js";
import { startPage } from "./page.js";
import { start } from "./store.js";
import { t } from "./texts.js";

// router=NAME, outputs=1-8, inputs=1-16, mode=armed. A list that is none shows nothing rather than everything.
export function startRouterPage(element, title) {
  const wish = new URLSearchParams(location.search), router = wish.get("router");
  if (router === null || router === "") return location.replace("/routers");
  desk.router = router;
  desk.filters.outputs = numberList(wish.get("outputs")) ?? (() => false);
  desk.filters.inputs = numberList(wish.get("inputs")) ?? (() => false);
  startPage(element, `${router} – ${t(title)}`);
  if (wish.get("mode") === "armed") setArmed(true);
  listenKeys();
  start(router);
}
