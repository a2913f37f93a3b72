// Who did what, newest first. What is newer or older comes on a press: nothing moves while one reads.

import { ask, problemOf } from "./api.js";
import { button, el, set, show, write } from "./dom.js";
import { frame, isLost, startRoutersPage } from "./frame.js";
import { line } from "./lines.js";
import { shownName } from "./names.js";
import { listen, store } from "./store.js";
import { isolated, t } from "./texts.js";
import { age, shownTime, zone } from "./times.js";

// Entries of one answer.
const few = 100, most = 5000;
// Milliseconds. An entry may come a minute after its time.
const minute = 60000, hour = 3600000;

// The mark of what is no take. A recall is confirmed where all of it was.
function kindOf({ kind, result, reason }) {
  if (kind === "take" || result === "refused") return undefined;
  const [, done, all] = reason.match(/^(\d+) of (\d+) /) ?? [];
  return kind === "gap" ? "stale" : result === "handed on" ? "pending" : done === all ? "confirmed" : "refused";
}

function lineOf(entry) {
  const { kind, time, by, through, address, claims, count, until } = entry;
  return line(entry, {
    kind: kindOf(entry), time: el("time", { datetime: time }, shownTime(time)), title: t(kind, count || "?"),
    by: [...[by, through, address].map((each) => isolated(shownName(each, ""))), claims && t("claims", shownName(claims, ""))].filter(Boolean).join(" · "),
    more: count > 1 && kind !== "gap" && t("times", count, shownTime(until)),
  });
}

class HistoryPage extends HTMLElement {
  #router = el("select", { name: "router" });
  #since = el("input", { name: "since", type: "datetime-local" });
  #form = el("form", { change: () => this.#begin() });
  #csv = el("a", { class: "button", download: "history.csv" }, t("csv"));
  #said = el("p", { role: "status" });
  #list = el("ol", { class: "lines" });
  #older = button(t("older"), () => this.#readOlder(), { hidden: true });
  // Entries by their id, newest first.
  #shown = new Map();
  #run = 0; // answers of an earlier one come too late

  connectedCallback() {
    const field = (text, element) => el("label", {}, t(text, zone(Date.now())), element);
    this.#form.append(field("routers", this.#router), field("destination", el("input", { name: "output", type: "number", min: 1 })),
      field("by", el("input", { name: "by" })), field("since", this.#since),
      ...[hour, 24 * hour, 168 * hour].map((each) => button(age(each), () => this.#last(each), { title: t("since", age(each)) })));
    this.append(...frame({ page: "history" }, el("h1", {}, t("history")), this.#form,
      el("div", { class: "bar" }, button(t("newer"), () => this.newer()), this.#csv, this.#said), this.#list, this.#older));
    listen(() => this.#router.length === 0 && store.connection === "live" && this.#connected());
  }

  // The routers are known, and their names.
  #connected() {
    const wish = new URLSearchParams(location.search), names = new Set(["", ...store.routers.keys(), wish.get("router") ?? ""]);
    this.#router.append(...[...names].map((value) => el("option", { value }, shownName(value, t("all")))));
    for (const [name, value] of wish) if (this.#form.elements[name]) this.#form.elements[name].value = value;
    this.#begin();
  }

  #last(duration) {
    const from = new Date(Date.now() - duration);
    this.#since.valueAsNumber = (Math.floor(from / minute) - from.getTimezoneOffset()) * minute;
    this.#begin();
  }

  // What the gateway is asked for.
  #address(more) {
    const wish = { ...Object.fromEntries(new FormData(this.#form)), ...more };
    if (wish.since) wish.since = new Date(wish.since).toISOString();
    return "/api/v1/history?" + new URLSearchParams(Object.entries(wish).filter(([, value]) => value !== ""));
  }

  // Adds what the gateway tells; gives how many these are, -1 where it told none for this run.
  async #read(more) {
    const run = this.#run, answer = await ask("GET", this.#address(more));
    if (run !== this.#run) return -1;
    const told = answer.body?.history ?? [];
    for (const each of told) this.#shown.set(each.id, { ...each, line: lineOf(each) });
    const entries = [...this.#shown].sort(([, one], [, other]) => other.time.localeCompare(one.time) || other.id - one.id);
    this.#shown = new Map(entries);
    this.#list.replaceChildren(...entries.map(([, each]) => each.line));
    write(this.#said, answer.status !== 200 ? problemOf(answer) : t(entries.length > 0 ? "entries" : "noEntries", entries.length));
    return answer.status === 200 ? told.length : -1;
  }

  async #begin() {
    if (isLost(this.#said)) return;
    history.replaceState(null, "", "?" + new URLSearchParams(new FormData(this.#form)));
    set(this.#csv, "href", this.#address({ limit: most, format: "csv" }));
    this.#run++;
    this.#shown.clear();
    show(this.#older, false);
    if ((await this.#read({ limit: few })) === few) show(this.#older, true);
  }

  // Of one very time there may be more than an answer has: then as many as are possible are asked for.
  async #readOlder() {
    if (isLost(this.#said) || this.#shown.size === 0) return;
    const before = this.#shown.size, until = [...this.#shown.values()].at(-1).time;
    for (const limit of [few, most]) {
      const count = await this.#read({ until, limit });
      if (count >= 0) show(this.#older, count === limit);
      if (count !== limit || this.#shown.size > before) return;
    }
  }

  async newer() {
    if (isLost(this.#said)) return;
    const [newest] = this.#shown.values();
    const since = newest && new Date(Math.max(Date.parse(newest.time) - minute, Date.parse(this.#since.value) || 0));
    if (!newest || (await this.#read({ limit: few, since })) === few) await this.#begin();
    this.querySelector("main").scrollTop = 0;
  }
}

startRoutersPage("history", HistoryPage);
