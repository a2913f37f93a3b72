// The bar of a desk: direct or armed, the levels, Take and Clear, undo.

import { clearArmed, desk, deskChanged, deskRouter, isMarried, listenDesk, marry, setArmed, takeArmed, toggleLevel } from "./desk.js";
import { button, el, icon, set, show, write } from "./dom.js";
import { mayOperate } from "./rights.js";
import { isLive, listen } from "./store.js";
import { undo, undoCount } from "./takes.js";
import { t } from "./texts.js";

class Salvo extends HTMLElement {
  #direct = button(t("direct"), () => setArmed(false), { title: t("directMeans") });
  #armed = button(t("armed"), () => setArmed(true), { title: t("armedMeans") });
  #take = button(t("take"), () => takeArmed(), { class: "take" });
  #clear = button(t("clear"), () => clearArmed(), { class: "clear" });
  #all = el("input", { type: "checkbox", change: (event) => this.#setAll(event.target.checked) });
  #allLabel = el("label", { class: "all-or-nothing", title: t("allOrNothingMeans") }, this.#all, t("allOrNothing"));
  #video = button(t("level.video"), () => toggleLevel("video"), { class: "level" });
  #audio = button(t("level.audio"), () => toggleLevel("audio"), { class: "level" });
  #married = button(t("married"), () => marry(), { class: "small" });
  #levels = el("div", { class: "levels", role: "group", "aria-label": t("levels") });
  #undo = el("button", { type: "button", class: "undo", "aria-label": t("undo"), title: t("undo"), click: () => undo(desk.router) }, icon("undo"), el("span", {}, t("undo")));

  connectedCallback() {
    this.#levels.append(this.#video, this.#audio, this.#married);
    this.append(
      el("div", { class: "mode", role: "group", "aria-label": t("mode") }, this.#direct, this.#armed),
      this.#levels, this.#take, this.#clear, this.#allLabel, this.#undo);
    listenDesk(() => this.#refresh());
    listen((news) => (news.connection || news.routers.has(desk.router)) && this.#refresh());
    this.#refresh();
  }

  #setAll(all) {
    desk.allOrNothing = all;
    deskChanged();
  }

  #refresh() {
    const router = deskRouter(), live = isLive(router), count = desk.armed.size;
    show(this, mayOperate());
    set(this.#direct, "aria-pressed", String(!desk.isArmed));
    set(this.#armed, "aria-pressed", String(desk.isArmed));
    for (const each of [this.#take, this.#clear, this.#allLabel]) show(each, desk.isArmed);
    write(this.#take, count > 0 ? t("takeCount", count) : t("take"));
    set(this.#take, "disabled", !live || count === 0);
    set(this.#clear, "disabled", count === 0);
    show(this.#levels, Boolean(router?.levels.includes("video")));
    set(this.#video, "aria-pressed", String(desk.levels.video));
    set(this.#audio, "aria-pressed", String(desk.levels.audio));
    set(this.#levels, "data-apart", !isMarried());
    show(this.#married, !isMarried());
    set(this.#undo, "disabled", !live || undoCount(desk.router) === 0);
  }
}

customElements.define("vrdx-salvo", Salvo);
