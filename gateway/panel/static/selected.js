// The chosen destination, large: what it shows, what the last take did, who holds it, the way back.

import { canGoBack, chosen, choose, desk, deskRouter, goBack, listenDesk } from "./desk.js";
import { sourceText } from "./destinations.js";
import { button, el, icon, named, set, setIcon, show, write } from "./dom.js";
import { openLockDialog } from "./lock_dialog.js";
import { mayTakeTo } from "./rights.js";
import { isBreakaway, isWhole } from "./router_model.js";
import { isLive, listen } from "./store.js";
import { comingOf, dismiss, failedState, resultText, stateOf } from "./takes.js";
import { t } from "./texts.js";
import { shownTime } from "./times.js";

class Selected extends HTMLElement {
  #name = named("");
  #number = el("span", { class: "number" });
  #lines = el("div", { class: "sources" });
  #result = el("p", { class: "result", role: "status" }, icon("confirmed"), el("bdi", {}, ""));
  #taken = el("p", { class: "taken" });
  #lockText = el("p", { class: "locked" }, icon("lock"), el("bdi", {}, ""));
  #previous = el("button", { type: "button", class: "previous", click: goBack }, icon("undo"), el("span", {}), named(""));
  #lock = button(t("lockOpen"), () => openLockDialog(), { class: "lock-button" });
  #dismiss = button(t("dismiss"), () => dismiss(desk.router, desk.output), { class: "small" });
  #hint = el("p", { class: "hint" });
  #body = el("div", { class: "body" });

  connectedCallback() {
    const back = el("button", { type: "button", class: "to-list", "aria-label": t("backToDestinations"), click: () => choose(0) }, icon("back"));
    this.#body.append(
      el("div", { class: "title" }, back, this.#number, this.#name),
      this.#lines, this.#lockText,
      el("div", { class: "told" }, this.#result, this.#dismiss), this.#taken,
      el("div", { class: "actions" }, this.#previous, this.#lock));
    this.append(this.#hint, this.#body);
    listen((news) => (news.connection || news.routers.has(desk.router)) && this.#refresh());
    listenDesk(() => this.#refresh());
    this.#refresh();
  }

  #refresh() {
    const router = deskRouter(), output = chosen();
    show(this.#hint, !output);
    show(this.#body, Boolean(output));
    write(this.#hint, t("chooseDestination"));
    if (!output) return;
    const state = stateOf(router, output);
    set(this, "data-shown-state", state);
    write(this.#number, String(output.number));
    write(this.#name, output.label);
    this.#refreshLines(router, output, state);
    this.#refreshResult(router, output, state);
    this.#refreshLock(output);
    show(this.#previous, isWhole(output.previous) && mayTakeTo(output.number));
    set(this.#previous, "disabled", !canGoBack(output));
    write(this.#previous.children[1], t("previous"));
    write(this.#previous.lastChild, sourceText(router, output.previous));
  }

  #refreshLines(router, output, state) {
    const sources = output.confirmed ?? { all: null };
    const apart = isBreakaway(sources);
    const lines = apart ? Object.entries(sources) : [["all", Object.values(sources)[0]]];
    const coming = state === "pending" ? comingOf(output) : null;
    const texts = JSON.stringify([lines, coming, state, router.inputs.length, lines.map(([, source]) => router.sourceLabel(source)), coming && sourceText(router, coming)]);
    if (this.#lines.dataset.texts === texts) return;
    this.#lines.dataset.texts = texts;
    this.#lines.replaceChildren(...lines.map(([level, source]) =>
      el("div", { class: "line" },
        apart ? el("span", { class: "level" }, t("level." + level)) : null,
        source > 0 ? el("span", { class: "number" }, String(source)) : null,
        named(router.sourceLabel(source)))));
    if (apart) this.#lines.append(el("div", { class: "breakaway" }, icon("breakaway"), t("breakaway")));
    if (coming) this.#lines.append(el("div", { class: "coming" }, icon("armed"), named(sourceText(router, coming))));
  }

  #refreshResult(router, output, state) {
    const isFailed = output.own?.phase === "failed";
    const text = state === "stale" && !isFailed ? t("spoken.stale") : resultText(router, output);
    show(this.#result, text !== "");
    show(this.#dismiss, isFailed);
    set(this.#result, "data-kind", isFailed ? failedState(output) : state);
    setIcon(this.#result.firstChild, isFailed ? failedState(output) : state);
    write(this.#result.lastChild, text);
    const last = output.lastTake, by = last?.who.by || (last ? t("user", last.who.user_name || last.who.user) : "");
    show(this.#taken, Boolean(last));
    if (last) write(this.#taken, t("lastTake", shownTime(last.time), by, sourceText(router, last.wanted), t("result." + last.result)));
  }

  #refreshLock(output) {
    const lock = output.lock;
    show(this.#lockText, lock !== null);
    show(this.#lock, mayTakeTo(output.number));
    set(this.#lock, "disabled", !isLive(deskRouter()));
    if (!lock) return;
    setIcon(this.#lockText.firstChild, lock.state);
    const said = t("lock." + lock.state + "Since", lock.owner, shownTime(lock.since));
    write(this.#lockText.lastChild, lock.reason ? `${said}: ${lock.reason}` : said);
  }
}

customElements.define("vrdx-selected", Selected);
