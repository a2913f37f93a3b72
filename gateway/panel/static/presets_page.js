// Presets: what each would change now, its recall and undo with what became of them, and what may be done to it.

import { ask, newKey, presetPath, problemOf } from "./api.js";
import { button, el, named, set, show, write } from "./dom.js";
import { frame, isLost, startRoutersPage } from "./frame.js";
import { line } from "./lines.js";
import { shownName } from "./names.js";
import { openPresetDialog, sureButton } from "./preset_dialog.js";
import { mayKeep, mayOperate } from "./rights.js";
import { listen, routerOf, store } from "./store.js";
import { stateOfWord } from "./takes.js";
import { t } from "./texts.js";
import { shownTime } from "./times.js";

// Milliseconds between two comparisons with now, at least.
const period = 1000;
const unknown = { all: null };

const keyOf = ({ router, output }) => output + " " + router;

class Presets extends HTMLElement {
  #list = el("ul", {});
  #make = button(t("keepNow"), () => this.make());
  #title = named("");
  #facts = el("p");
  #said = el("p", { role: "status" });
  #lines = el("ol", { class: "lines" });
  #files = el("div", { class: "bar" });
  #all = el("input", { type: "checkbox" });
  #recall = el("div", { class: "bar" }, button(t("recall"), () => this.#act("recall"), { class: "primary" }),
    el("label", { class: "choice", title: t("allOrNothingMeans") }, this.#all, t("allOrNothing")));
  #undo = button("", () => this.#act("undo"));
  #change = el("div", { class: "bar" }, button(t("replace"), () => this.make(this.#preset)), sureButton(t("remove"), () => this.#remove(), () => (write(this.#said, t("sure", this.#name)), this.#name), "danger"));
  #detail = el("div", { hidden: true }, el("h2", {}, this.#title), this.#facts,
    el("div", { class: "bar" }, this.#recall, this.#undo), this.#lines, this.#change, this.#files);
  // All presets, as the gateway lists them.
  #rows = [];
  // The chosen one, and what became of its last recall or undo on this page.
  #name = "";
  #preset = null;
  #results = new Map();
  #isAsked = false;
  #isPlanned = false;

  connectedCallback() {
    this.append(...frame({ page: "presets" }, el("div", { class: "list" }, el("h1", {}, t("presets")), this.#make, this.#list),
      el("section", {}, this.#said, this.#detail)));
    listen((news) => this.#hear(news));
  }

  #hear(news) {
    if (news.connection) this.#read();
    if (this.#isPlanned || !this.#preset?.routers.some((name) => news.routers.has(name))) return;
    this.#isPlanned = true;
    setTimeout(() => this.#look(), period);
  }

  make(preset) {
    this.#read();
    if (mayKeep()) openPresetDialog(preset, (name) => this.#rows.some((each) => each.name === name), (name) => this.#open(name));
  }

  async #read() {
    for (const each of [this.#make, this.#change]) show(each, mayKeep());
    if (store.connection !== "live") return;
    const answer = await ask("GET", "/api/v1/presets");
    if (answer.status !== 200) return write(this.#said, problemOf(answer));
    const before = JSON.stringify(this.#rows), rows = this.#rows = answer.body.presets;
    if (this.#name === "") write(this.#said, t(rows.length === 0 ? "noPresets" : "choosePreset"));
    if (JSON.stringify(rows) !== before) this.#list.replaceChildren(...rows.map(({ name, outputs }) => el("li", {},
      el("button", { type: "button", "data-preset": name, click: () => this.#open(name) }, named(shownName(name, "")), t("outputs", outputs)))));
    for (const each of this.#list.querySelectorAll("button")) set(each, "aria-pressed", String(each.dataset.preset === this.#name));
    await this.#look();
  }

  async #open(name) {
    if (this.#isAsked || isLost(this.#said)) return;
    this.#name = name;
    this.#preset = null;
    this.#results.clear();
    show(this.#detail, false);
    write(this.#said, "");
    await this.#read();
  }

  // Reads it, and what a recall would change now. Who may not recall it sees what it has.
  async #look() {
    this.#isPlanned = false;
    if (store.connection !== "live" || !this.#name) return;
    const name = this.#name, path = presetPath(name);
    const [read, now] = await Promise.all([ask("GET", path), mayOperate() ? ask("POST", path + "/recall", { dry_run: true }) : null]);
    const wrong = [read, now].find((each) => each && each.status !== 200), preset = read.body;
    if (name !== this.#name || store.connection !== "live") return;
    if (wrong) write(this.#said, problemOf(wrong));
    if (read.status !== 200) return;
    const before = this.#preset;
    this.#preset = preset;
    show(this.#detail, true);
    write(this.#title, shownName(name, ""));
    write(this.#facts, t("presetFacts", preset.routers.join(", "), preset.author, shownTime(preset.changed)));
    show(this.#recall, now?.status === 200);
    show(this.#undo, mayOperate() && preset.undo > 0);
    write(this.#undo, `${t("undo")} (${preset.undo})`);
    const plain = (each) => ({ ...each, wanted: each.sources ?? { all: each.input } });
    this.#lines.replaceChildren(...(now?.body?.differences ?? preset.takes.map(plain)).map((each) => this.#line(each)));
    if (String(before?.routers) !== String(preset.routers)) this.#files.replaceChildren(...preset.routers.map((router) => el("a", { class: "button",
      href: `${path}?snapshot=${encodeURIComponent(router)}`, download: `${name} ${router}.json` }, t("file", shownName(router, "")))));
  }

  // What was confirmed and is no more shown, as after an undo, says nothing of now.
  #line(each) {
    const told = this.#results.get(keyOf(each)), result = told?.result === "confirmed" && !each.same ? null : told, isPending = routerOf(each.router)?.outputs[each.output - 1]?.pending;
    const kind = result ? stateOfWord(result.result) : isPending ? "pending" : each.result ? "refused" : each.same ? "confirmed" : "armed";
    const more = !result && (isPending ? t("spoken.pending") : each.result ? t("wouldNot", each.reason) : each.same && t("spoken.shown"));
    return line({ ...each, before: each.same || each.shows === undefined ? null : each.shows ?? unknown, after: each.wanted ?? unknown, result: "", ...result }, { kind, more });
  }

  async #act(what) {
    if (this.#isAsked || isLost(this.#said)) return;
    this.#isAsked = true;
    write(this.#said, t("spoken.pending"));
    const answer = await ask("POST", `${presetPath(this.#name)}/${what}`, { all_or_nothing: this.#all.checked }, newKey());
    const results = answer.body?.results ?? [], done = results.filter((each) => each.result === "confirmed").length;
    this.#isAsked = false;
    this.#results = new Map(results.map((each) => [keyOf(each), each]));
    write(this.#said, answer.status === 200 ? t("recalled", done, results.length) : problemOf(answer));
    await this.#look();
  }

  async #remove() {
    if (isLost(this.#said)) return;
    const name = this.#name, answer = await ask("DELETE", presetPath(name));
    if (name === this.#name) {
      if (answer.status !== 204) return write(this.#said, problemOf(answer));
      this.#name = "";
      this.#preset = null;
      show(this.#detail, false);
      this.#make.focus();
    }
    await this.#read();
  }
}

startRoutersPage("presets", Presets);
