// The bar on top: where one is, the router's state, the time, who one is, help and menu.

import { desk } from "./desk.js";
import { el, icon, named, set, setIcon, show, write } from "./dom.js";
import { openHelp } from "./help_dialog.js";
import { openMenu } from "./menu_dialog.js";
import { listen, routerOf, store } from "./store.js";
import { t } from "./texts.js";
import { clock } from "./times.js";

// The form of each state.
export function stateShape(state) {
  return { up: "confirmed", reading: "reading", stale: "stale" }[state] ?? "away";
}

export function pageAddress(page, router) {
  return `/${page}?router=${encodeURIComponent(router)}`;
}

class AppBar extends HTMLElement {
  #state = el("span", { class: "state", hidden: true }, icon("reading"), el("span", {}));
  #clock = el("time", { class: "clock" });
  #who = el("span", { class: "who" });

  connectedCallback() {
    const name = this.getAttribute("router");
    set(this, "role", "banner");
    this.append(
      el("nav", { "aria-label": t("pages") },
        this.#link("/routers", "routers"),
        ...(name === null ? ["presets", "history"].map((each) => this.#link("/" + each, each)) : [
          el("h1", {}, named(name)), this.#state, ...["panel", "matrix"].map((each) => this.#link("/" + each + location.search, each))])),
      el("div", { class: "aside" }, this.#clock, this.#who,
        el("button", { type: "button", "aria-label": t("help"), title: t("help"), class: "help", click: openHelp }, "?"),
        el("button", { type: "button", "aria-label": t("menu"), title: t("menu"), class: "menu", click: openMenu }, icon("menu"))));
    listen(() => this.#refresh());
    setInterval(() => write(this.#clock, clock()), 1000);
    write(this.#clock, clock());
    this.#refresh();
  }

  #link(address, page) {
    return el("a", { href: address, "aria-current": this.getAttribute("page") === page ? "page" : null }, t(page));
  }

  #refresh() {
    const session = store.session, router = routerOf(desk.router);
    write(this.#who, session ? t("who", session.name, t("role." + session.role)) : "");
    show(this.#state, Boolean(router));
    if (!router) return;
    const state = store.connection === "live" ? router.state : store.connection === "lost" ? "stale" : "reading";
    set(this.#state, "data-router-state", state);
    setIcon(this.#state.firstChild, stateShape(state));
    write(this.#state.lastChild, t("state." + state));
  }
}

customElements.define("vrdx-app-bar", AppBar);
