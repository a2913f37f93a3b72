// Locks of the chosen destination: set, protect, unlock, and remove another's by force.

import { ask, problemOf, routerPath } from "./api.js";
import { chosen, desk } from "./desk.js";
import { button, el, icon, named, openDialog, show, write } from "./dom.js";
import { isOwn, mayForce, mayTakeTo } from "./rights.js";
import { isLive, routerOf } from "./store.js";
import { t } from "./texts.js";
import { shownTime } from "./times.js";

let dialog = null;

class LockDialog {
  constructor() {
    this.output = 0;
    this.title = el("h2", { id: "lock-title" });
    this.held = el("p", {});
    this.reason = el("input", { type: "text", maxlength: 80, autocomplete: "off", id: "lock-reason" });
    this.problem = el("p", { class: "problem", role: "alert", hidden: true });
    this.buttons = el("div", { class: "choices" });
    this.box = el("dialog", { "aria-labelledby": "lock-title", class: "lock-dialog" },
      this.title, this.held,
      el("label", { for: "lock-reason" }, t("lockReason")), this.reason,
      this.buttons, this.problem,
      button(t("close"), () => this.box.close(), { class: "close" }));
  }

  open() {
    const output = chosen();
    if (!output || !mayTakeTo(output.number)) return;
    this.output = output.number;
    this.title.replaceChildren(t("lockOf", output.number), " ", named(output.label));
    this.reason.value = "";
    show(this.problem, false);
    this.fill(output.lock);
    openDialog(this.box);
    this.box.querySelector("button").focus();
  }

  fill(lock) {
    const own = isOwn(lock), free = lock === null;
    write(this.held, free ? t("lockFree") : `${t(`lock.${lock.state}Since`, lock.owner, shownTime(lock.since))}${lock.reason ? ": " + lock.reason : ""}`);
    const choices = [];
    if (free || own) {
      if (lock?.state !== "lock") choices.push(this.choice("lock", "lock"));
      if (lock?.state !== "protect") choices.push(this.choice("protect", "protect"));
    }
    if (own) choices.push(this.choice("unlock", "undo"));
    if (!free && !own && mayForce(this.output)) choices.push(this.forceChoice(lock));
    if (!free && !own && choices.length === 0) choices.push(el("p", {}, t("lockOthers", lock.owner)));
    this.buttons.replaceChildren(...choices);
    for (const each of [this.reason, this.reason.previousSibling]) show(each, free || own);
  }

  choice(state, shape) {
    return el("button", { type: "button", "data-lock-choice": state, click: () => this.send(state) },
      icon(shape), el("strong", {}, t("do." + state)), el("span", {}, t("means." + state)));
  }

  // Asks once more: it is another's lock.
  forceChoice(lock) {
    const sure = el("button", { type: "button", class: "danger", hidden: true, "data-lock-choice": "force-sure", click: () => this.send("force") },
      icon("alarm"), el("strong", {}, t("forceSure", lock.owner)));
    const first = el("button", { type: "button", class: "danger", "data-lock-choice": "force", click: () => {
      show(first, false);
      show(sure, true);
      sure.focus();
    } }, icon("alarm"), el("strong", {}, t("do.force")), el("span", {}, t("means.force")));
    return el("div", { class: "choices" }, first, sure);
  }

  async send(state) {
    if (!isLive(routerOf(desk.router))) return this.tell(t("notConnected"));
    const body = state === "lock" || state === "protect" ? { state, reason: this.reason.value } : { state };
    const answer = await ask("POST", `${routerPath(desk.router)}/outputs/${this.output}/lock`, body);
    if (answer.status === 200) this.box.close();
    else this.tell(problemOf(answer));
  }

  tell(problem) {
    write(this.problem, problem);
    show(this.problem, true);
  }
}

export function openLockDialog() {
  dialog ??= new LockDialog();
  dialog.open();
}
