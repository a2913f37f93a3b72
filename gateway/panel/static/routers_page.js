// All routers: what each is doing, how large it is, what waits, what went wrong last.

import { pageAddress, stateShape } from "./app_bar.js";
import { el, icon, named, set, setIcon, show, write } from "./dom.js";
import { frame, startRoutersPage } from "./frame.js";
import { shownName } from "./names.js";
import { ageOf, isLive, listen, store } from "./store.js";
import { language, t } from "./texts.js";
import { age, shownTime } from "./times.js";

class Routers extends HTMLElement {
  #rows = new Map();
  #list = el("ul", { class: "routers" });
  #empty = el("p", { class: "empty", hidden: true });
  #summary = el("p", { class: "summary", role: "status" });

  connectedCallback() {
    this.append(...frame({ page: "routers" }, el("h1", {}, t("routers")), this.#summary, this.#list, this.#empty));
    listen((news) => this.#hear(news));
    setInterval(() => this.#tick(), 1000);
  }

  #hear(news) {
    const names = [...store.routers.keys()].sort((left, right) => left.localeCompare(right, language, { numeric: true }));
    const isSame = names.length === this.#rows.size && names.every((name) => this.#rows.has(name));
    if (!isSame) this.#arrange(names);
    for (const name of news.connection ? names : news.routers.keys()) this.#refresh(name);
    show(this.#empty, names.length === 0 && store.connection === "live");
    write(this.#empty, t("noRouters"));
    const up = names.filter((name) => isLive(store.routers.get(name))).length;
    write(this.#summary, names.length === 0 ? "" : t("routersUp", up, names.length));
  }

  #arrange(names) {
    for (const [name, row] of this.#rows)
      if (!names.includes(name)) {
        row.remove();
        this.#rows.delete(name);
      }
    for (const name of names) if (!this.#rows.has(name)) this.#rows.set(name, this.#make(name));
    this.#list.replaceChildren(...names.map((name) => this.#rows.get(name)));
    names.forEach((name) => this.#refresh(name));
  }

  #make(name) {
    const shown = shownName(name, t("router"));
    return el("li", { class: "router", "data-router": name },
      el("div", { class: "title" }, el("a", { "data-address": pageAddress("panel", name), role: "link", class: "main" }, named(shown)),
        el("span", { class: "state" }, icon("reading"), el("span", {}))),
      el("p", { class: "reason" }, el("bdi", {}), " ", el("span", { class: "age" })),
      el("p", { class: "facts" }, el("span", { class: "size" }), el("span", { class: "pending" })),
      el("p", { class: "last" }, icon("refused"), el("bdi", {})),
      el("div", { class: "actions" },
        el("a", { "data-address": pageAddress("panel", name), role: "link", class: "button", "aria-label": `${t("panel")}: ${shown}` }, t("panel")),
        el("a", { "data-address": pageAddress("matrix", name), role: "link", class: "button", "aria-label": `${t("matrix")}: ${shown}` }, t("matrix"))));
  }

  #refresh(name) {
    const row = this.#rows.get(name), router = store.routers.get(name);
    if (!row || !router) return;
    const [title, reason, facts, last] = row.children, state = store.connection === "lost" ? "stale" : router.state;
    set(row, "data-router-state", state);
    this.#offer(row, isLive(router));
    setIcon(title.lastChild.firstChild, stateShape(state));
    write(title.lastChild.lastChild, t("state." + state));
    write(reason.firstChild, router.reason);
    show(reason, router.state !== "up");
    write(facts.firstChild, router.outputs.length + router.inputs.length > 0 ? t("size", router.inputs.length, router.outputs.length, router.levels.map((level) => t("level." + level)).join(", ")) : t("sizeUnknown"));
    write(facts.lastChild, router.pending > 0 ? t("pendingCount", router.pending) : "");
    const wrong = this.#wentWrong(router);
    show(last, wrong !== "");
    write(last.lastChild, wrong);
    this.#tickRow(row, router);
  }

  // What did so last: a take, or what the router's backend noted.
  #wentWrong({ lastProblem: take, lastError: error }) {
    if (error && !(take && Date.parse(take.time) >= Date.parse(error.time))) return `${shownTime(error.time)}: ${shownName(error.text, "")}`;
    return take ? t("lastProblem", shownTime(take.time), take.output, t("result." + take.result), shownName(take.reason, "")) : "";
  }

  // Of a router that is away nothing can be pressed.
  #offer(row, isOffered) {
    for (const link of row.querySelectorAll("a")) {
      set(link, "href", isOffered ? link.dataset.address : null);
      set(link, "aria-disabled", isOffered ? null : "true");
    }
  }

  #tick() {
    for (const [name, row] of this.#rows) this.#tickRow(row, store.routers.get(name));
  }

  #tickRow(row, router) {
    if (router && router.state !== "up")
      write(row.children[1].lastChild, t("forAge", age(ageOf(router))));
  }
}

startRoutersPage("routers", Routers);
