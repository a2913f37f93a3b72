// A link that logs a panel in: the token stands behind the #, which browsers send to nobody.

import { button, el, openDialog, show, write } from "./dom.js";
import { qrSquares } from "./qr.js";
import { store } from "./store.js";
import { t } from "./texts.js";

const side = 4; // pixels of one square
const quiet = 4; // squares around

let dialog = null;

class Pairing {
  constructor() {
    this.token = el("input", { id: "pair-token", type: "password", autocomplete: "off", input: () => this.refresh() });
    this.page = el("select", { id: "pair-page", change: () => this.refresh() });
    this.outputs = el("input", { id: "pair-outputs", autocomplete: "off", placeholder: "1-8", input: () => this.refresh() });
    this.link = el("a", { class: "pair-link", rel: "noreferrer" });
    this.picture = el("canvas", { class: "qr", role: "img", "aria-label": t("pairPicture") });
    this.result = el("div", { hidden: true }, this.picture, el("p", {}, this.link));
    this.problem = el("p", { role: "status" });
    this.box = el("dialog", { class: "pairing-dialog", "aria-labelledby": "pair-title" },
      el("h2", { id: "pair-title" }, t("pairing")),
      el("p", {}, t("pairMeans")),
      el("p", {}, el("code", {}, "vrdx_gateway token add NAME --role operate")),
      el("label", { for: "pair-token" }, t("token")), this.token,
      el("label", { for: "pair-page" }, t("page")), this.page,
      el("label", { for: "pair-outputs" }, t("pairOutputs")), this.outputs,
      this.problem, this.result,
      button(t("close"), () => this.close(), { class: "close" }));
    this.box.addEventListener("close", () => this.forget());
  }

  open() {
    const options = [["/routers", t("routers")]];
    for (const name of store.routers.keys())
      for (const page of ["panel", "matrix"]) options.push([`/${page}?router=${encodeURIComponent(name)}`, `${t(page)}: ${name}`]);
    this.page.replaceChildren(...options.map(([value, text]) => el("option", { value }, text)));
    this.refresh();
    openDialog(this.box);
  }

  close() {
    this.box.close();
  }

  // The token stays in the page no longer than the dialog.
  forget() {
    this.token.value = "";
    this.refresh();
  }

  refresh() {
    const token = this.token.value.trim(), isToken = /^vrdx_[\w-]{43}$/.test(token);
    write(this.problem, token === "" || isToken ? "" : t("noToken"));
    show(this.result, isToken);
    if (!isToken) {
      this.link.removeAttribute("href");
      return write(this.link, "");
    }
    const outputs = this.outputs.value.trim();
    const to = this.page.value + (outputs && this.page.value !== "/routers" ? "&outputs=" + encodeURIComponent(outputs) : "");
    const address = `${location.origin}/#token=${token}&to=${encodeURIComponent(to)}`;
    this.link.href = address;
    write(this.link, address);
    this.draw(address);
  }

  draw(address) {
    const squares = qrSquares(address);
    show(this.picture, squares !== null);
    if (squares === null) return;
    const size = (squares.length + 2 * quiet) * side, pen = this.picture.getContext("2d");
    this.picture.width = this.picture.height = size;
    pen.fillStyle = "#fff";
    pen.fillRect(0, 0, size, size);
    pen.fillStyle = "#000";
    squares.forEach((row, y) => row.forEach((dark, x) => dark && pen.fillRect((x + quiet) * side, (y + quiet) * side, side, side)));
  }
}

export function openPairing() {
  dialog ??= new Pairing();
  dialog.open();
}
