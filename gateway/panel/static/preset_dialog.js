// What is on air is kept as a preset: of which routers, and which of their destinations.

import { ask, presetPath, problemOf } from "./api.js";
import { button, el, named, openDialog, write } from "./dom.js";
import { numberList, shownName } from "./names.js";
import { isWhole } from "./router_model.js";
import { isLive, listen, routerOf, store } from "./store.js";
import { t } from "./texts.js";

let dialog = null;

// Acts with the second press for the same. `question` asks for it and gives the name of what it is about, "" if the first
// is enough. The second of a double click is none.
export function sureButton(text, act, question, look) {
  let asked = "";
  return button(text, (event) => {
    if (asked && event.detail > 1) return;
    event.currentTarget.focus(); // not every browser does
    const name = question();
    asked = name === asked ? "" : name;
    if (!asked) act();
  }, { class: look, blur: () => (asked = "") });
}

class PresetDialog {
  constructor() {
    this.name = el("input", { autocomplete: "off", maxlength: 128 });
    this.rows = el("div", { input: () => this.takes() });
    this.said = el("p", { role: "status" });
    this.problem = el("p", { class: "problem", role: "alert" });
    this.box = el("dialog", { "aria-label": t("keepNow") }, el("h2", {}, t("keepNow")),
      el("label", {}, t("name"), this.name), this.rows, this.said, this.problem,
      el("div", { class: "bar" }, sureButton(t("keepNow"), () => this.send(), () => this.question(), "primary"), button(t("close"), () => this.box.close())));
    listen(() => this.box.open && this.takes());
  }

  // `preset`: the one that is to be replaced, or none. `done` gets the name of one that was written.
  open(preset, isThere, done) {
    Object.assign(this, { isThere, done });
    this.name.value = preset?.name ?? "";
    this.choices = [...store.routers.values()].map((router) => {
      const outputs = preset?.takes.filter((each) => each.router === router.name).map((each) => each.output);
      const label = shownName(router.name, ""), disabled = !isLive(router), box = el("input", { type: "checkbox", disabled });
      const list = el("input", { disabled, "aria-label": `${t("destinations")}: ${label}`, placeholder: disabled ? null : "1-" + router.outputs.length, value: outputs?.join() });
      box.checked = outputs ? outputs.length > 0 : store.routers.size === 1;
      return { router: router.name, box, list, row: el("div", { class: "row" }, el("label", { class: "choice" }, box, named(label), disabled ? t("state." + router.state) : null), list) };
    });
    this.rows.replaceChildren(...this.choices.map((each) => each.row));
    write(this.problem, "");
    this.takes();
    openDialog(this.box);
  }

  // What is on air, as the routers have confirmed it; null while one of them is away.
  takes() {
    const takes = [], leftOut = [];
    for (const { router, box, list } of this.choices.filter((each) => each.box.checked)) {
      const known = routerOf(router), isWanted = numberList(list.value);
      if (!isLive(known) || !isWanted) return write(this.said, isWanted ? t("routerAway") : t("noPlace", known?.outputs.length ?? 0)), null;
      for (const { number, confirmed } of known.outputs.filter((each) => isWanted(each.number))) {
        const sources = Object.fromEntries(Object.entries(confirmed ?? {}).filter(([, source]) => source !== null));
        if (Object.keys(sources).length > 0) takes.push({ router, output: number, sources });
        if (!isWhole(confirmed)) leftOut.push(number);
      }
    }
    write(this.said, t("outputs", takes.length) + (leftOut.length > 0 ? ". " + t("leftOut", leftOut.join(", ")) : ""));
    return takes;
  }

  question() {
    const name = this.name.value.trim(), isThere = this.isThere(name);
    write(this.problem, isThere ? t("sure", name) : "");
    return isThere ? name : "";
  }

  async send() {
    const name = this.name.value.trim(), takes = this.takes();
    if (!takes || !name) return this.name.focus();
    const answer = await ask("PUT", presetPath(name), { takes });
    if (answer.status !== 200) return write(this.problem, problemOf(answer));
    this.box.close();
    this.done(name);
  }
}

export function openPresetDialog(...wish) {
  dialog ??= new PresetDialog();
  dialog.open(...wish);
}
