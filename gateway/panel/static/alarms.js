// Alarms: a locked output that changed all the same.

import { desk } from "./desk.js";
import { sourceText } from "./destinations.js";
import { button, el, icon } from "./dom.js";
import { dismissAlarm, listen, routerOf, store } from "./store.js";
import { t } from "./texts.js";
import { shownTime } from "./times.js";

const shownAtOnce = 3;

class Alarms extends HTMLElement {
  connectedCallback() {
    this.setAttribute("aria-live", "assertive");
    listen((news) => news.alarms && this.#refresh());
  }

  #refresh() {
    const alarms = store.alarms.filter((alarm) => desk.router === null || alarm.router === desk.router);
    this.replaceChildren(...alarms.slice(0, shownAtOnce).map((alarm) => this.#row(alarm)));
    if (alarms.length > shownAtOnce) this.append(el("p", {}, t("moreAlarms", alarms.length - shownAtOnce)));
  }

  #row(alarm) {
    const router = routerOf(alarm.router), output = router?.outputs[alarm.output - 1];
    const text = t("alarm", alarm.router, alarm.output, output?.label ?? "",
      router ? sourceText(router, alarm.before) : "?", router ? sourceText(router, alarm.now) : "?", alarm.lock?.owner ?? "?", shownTime(alarm.time));
    return el("div", { class: "alarm" }, icon("alarm"), el("bdi", {}, text), button(t("dismiss"), () => dismissAlarm(alarm), { class: "small" }));
  }
}

customElements.define("vrdx-alarms", Alarms);
