// A panel is paired: a token of its own is made, and put into a link that logs in. It stands behind the #, which
// browsers send to nobody.

import { ask, problemOf } from "./api.js";
import { button, el, openDialog, set, show, write } from "./dom.js";
import { qrSquares } from "./qr.js";
import { store } from "./store.js";
import { t } from "./texts.js";

const side = 4; // pixels of one square
const quiet = 4; // squares around

let dialog = null;

function draw(picture, address) {
  const squares = qrSquares(address);
  show(picture, squares !== null);
  if (squares === null) return;
  const size = (squares.length + 2 * quiet) * side, pen = picture.getContext("2d");
  picture.width = picture.height = size;
  pen.fillStyle = "#fff";
  pen.fillRect(0, 0, size, size);
  pen.fillStyle = "#000";
  squares.forEach((row, y) => row.forEach((dark, x) => dark && pen.fillRect((x + quiet) * side, (y + quiet) * side, side, side)));
}

class Pairing {
  constructor() {
    this.name = el("input", { id: "pair-name", autocomplete: "off", maxlength: 64, required: true });
    this.role = el("select", { id: "pair-role" }, ...["view", "operate", "lock"].map((role) => el("option", { value: role }, t("role." + role))));
    this.page = el("select", { id: "pair-page" });
    this.outputs = el("input", { id: "pair-outputs", autocomplete: "off", placeholder: "1-8" });
    this.make = el("button", { type: "submit", class: "primary" }, t("pairMake"));
    this.wish = el("form", { submit: (event) => this.send(event) },
      ...["name", "role", "page", "outputs"].flatMap((each) => [el("label", { for: "pair-" + each }, t("pair." + each)), this[each]]), this.make);
    this.link = el("a", { class: "pair-link", rel: "noreferrer" });
    this.picture = el("canvas", { class: "qr", role: "img", "aria-label": t("pairPicture") });
    this.result = el("div", { hidden: true }, el("p", {}, t("pairOnce")), this.picture, el("p", {}, this.link));
    this.problem = el("p", { class: "problem", role: "alert" });
    this.box = el("dialog", { class: "pairing-dialog", "aria-labelledby": "pair-title" },
      el("h2", { id: "pair-title" }, t("pairing")), el("p", {}, t("pairMeans")),
      this.wish, this.problem, this.result,
      button(t("close"), () => this.box.close(), { class: "close" }));
    this.box.addEventListener("close", () => this.begin());
  }

  open() {
    const options = [["", t("routers")]];
    for (const name of store.routers.keys()) for (const page of ["panel", "matrix"]) options.push([`${page} ${name}`, `${t(page)}: ${name}`]);
    this.page.replaceChildren(...options.map(([value, text]) => el("option", { value }, text)));
    if (store.wanted !== null) this.page.selectedIndex = 1;
    this.begin();
    openDialog(this.box);
    this.name.focus();
  }

  // The token stays in the page no longer than the dialog is open.
  begin() {
    this.name.value = "";
    this.outputs.value = store.session.outputs;
    this.role.value = "operate";
    write(this.problem, "");
    this.showLink("");
  }

  // A token for one router when its page is one of a router.
  async send(event) {
    event.preventDefault();
    const [page, ...words] = this.page.value.split(" "), router = words.join(" "), outputs = this.outputs.value.replace(/\s/g, "");
    const wish = { name: this.name.value.trim(), role: this.role.value };
    if (router !== "") wish.routers = [router];
    else if (store.session.routers.length > 0) wish.routers = store.session.routers;
    if (outputs !== "") wish.outputs = outputs;
    if (store.session.inputs !== "") wish.inputs = store.session.inputs;
    this.make.disabled = true;
    const answer = await ask("POST", "/api/v1/tokens", wish);
    this.make.disabled = false;
    write(this.problem, answer.status === 201 ? "" : problemOf(answer));
    if (answer.status !== 201 || !this.box.open) return;
    const only = outputs === "" ? "" : "&outputs=" + encodeURIComponent(outputs);
    const to = router === "" ? "/routers" : `/${page}?router=${encodeURIComponent(router)}${only}`;
    this.showLink(`${location.origin}/#token=${answer.body.token}&to=${encodeURIComponent(to)}`);
  }

  showLink(address) {
    show(this.wish, address === "");
    show(this.result, address !== "");
    set(this.link, "href", address || null);
    write(this.link, address);
    if (address === "") this.picture.width = 0;
    else draw(this.picture, address);
    this.link.focus();
  }
}

export function openPairing() {
  dialog ??= new Pairing();
  dialog.open();
}
