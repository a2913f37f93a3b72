// The help page: keys, marks, words.

import { button, el, icon, openDialog } from "./dom.js";
import { furtherKeys, keyName, keys, setSingleKeys, singleKeys } from "./keys.js";
import { t } from "./texts.js";

const states = ["confirmed", "pending", "armed", "refused", "unknown", "stale", "breakaway", "lock", "protect"];

let dialog = null;

function row(name, text) {
  return el("tr", {}, el("th", { scope: "row" }, name), el("td", {}, text));
}

function make() {
  const single = el("input", { type: "checkbox", id: "single-keys", change: (event) => setSingleKeys(event.target.checked) });
  single.checked = singleKeys();
  const box = el("dialog", { class: "help-dialog", "aria-labelledby": "help-title" },
    el("h2", { id: "help-title", tabindex: "-1", autofocus: true }, t("help")),
    el("p", {}, t("helpTake")), el("p", {}, t("helpArmed")), el("p", {}, t("helpTruth")),
    el("h3", {}, t("marks")),
    el("ul", { class: "marks" }, ...states.map((state) =>
      el("li", {}, el("span", { class: "sample", "data-kind": state }, icon(state)), t("explain." + state)))),
    el("h3", {}, t("keys")),
    el("table", {}, el("tbody", {},
      ...keys.map((each) => row(el("kbd", {}, keyName(each)), t(each.text))),
      ...furtherKeys.map((each) => row(el("kbd", {}, each.name), t(each.text))))),
    el("label", { class: "choice" }, single, t("singleKeys")),
    el("h3", {}, t("addresses")),
    el("p", {}, el("code", {}, "/panel?router=NAME&outputs=1-8&inputs=1-16&mode=armed")),
    el("p", {}, t("helpAddresses")),
    button(t("close"), () => box.close(), { class: "close" }));
  return box;
}

export function openHelp() {
  dialog ??= make();
  openDialog(dialog);
}
