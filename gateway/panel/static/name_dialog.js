// Names of destinations and sources: asked for here, decided by the router, shown when it tells them.

import { ask, problemOf, routerPath } from "./api.js";
import { desk, deskRouter } from "./desk.js";
import { button, el, openDialog, set, write } from "./dom.js";
import { mayName } from "./rights.js";
import { isLive, listen } from "./store.js";
import { t } from "./texts.js";

let dialog = null;

class NameDialog {
  #sent = null; // what was asked for, until the router tells it

  constructor() {
    this.side = el("select", { id: "name-side", change: () => this.pick() },
      el("option", { value: "outputs" }, t("destination")), el("option", { value: "inputs" }, t("source")));
    this.number = el("input", { id: "name-number", type: "number", min: 1, required: true, input: () => this.pick() });
    this.name = el("input", { id: "name-name", autocomplete: "off", maxlength: 250 });
    this.save = el("button", { type: "submit", class: "primary" }, t("nameSave"));
    this.said = el("p", { role: "status" });
    this.box = el("dialog", { class: "name-dialog", "aria-labelledby": "name-title" },
      el("h2", { id: "name-title" }, t("nameTitle")),
      el("form", { submit: (event) => this.send(event) },
        el("div", { class: "row" }, this.side, this.number),
        el("label", { for: "name-name" }, t("name")), this.name, this.said, this.save),
      button(t("close"), () => this.box.close(), { class: "close" }));
    set(this.side, "aria-label", t("nameSide"));
    set(this.number, "aria-label", t("number"));
    listen(() => this.#sent && this.#look());
  }

  place() {
    return deskRouter()?.[this.side.value][Number(this.number.value) - 1];
  }

  open() {
    this.side.value = desk.output > 0 || desk.input === 0 ? "outputs" : "inputs";
    this.number.value = (this.side.value === "outputs" ? desk.output : desk.input) || 1;
    this.pick();
    openDialog(this.box);
    this.name.select();
  }

  pick() {
    const place = this.place();
    this.#sent = null;
    this.name.value = place?.name ?? "";
    this.save.disabled = !place || !isLive(deskRouter()) || !mayName(this.side.value, place.number);
    write(this.said, place ? "" : t("noPlace", deskRouter()?.[this.side.value].length ?? 0));
  }

  async send(event) {
    event.preventDefault();
    const place = this.place(), side = this.side.value, name = this.name.value;
    if (!place || !isLive(deskRouter())) return write(this.said, t("notConnected"));
    const sent = this.#sent = { side, number: place.number, name };
    write(this.said, t("spoken.pending"));
    const answer = await ask("PUT", `${routerPath(desk.router)}/${side}/${place.number}/name`, { name });
    if (this.#sent !== sent) return; // the router told it before the answer came, or something else was asked for
    if (answer.status === 202) return this.#look();
    this.#sent = null;
    write(this.said, problemOf(answer));
  }

  #look() {
    const { side, number, name } = this.#sent, place = deskRouter()?.[side][number - 1];
    if (place?.name !== name) return;
    this.#sent = null;
    write(this.said, t("nameIs", number, place.label));
  }
}

export function openNameDialog() {
  if (!deskRouter() || !mayName()) return;
  dialog ??= new NameDialog();
  dialog.open();
}
