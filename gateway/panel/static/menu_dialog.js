// The menu: language, light and dark, pairing, logging in and out.

import { ask, loginAddress } from "./api.js";
import { desk } from "./desk.js";
import { button, el, openDialog, show } from "./dom.js";
import { openNameDialog } from "./name_dialog.js";
import { openPairing } from "./pairing_dialog.js";
import { isAdmin, mayName } from "./rights.js";
import { store } from "./store.js";
import { language, languages, setLanguage, t } from "./texts.js";
import { setTheme, theme, themes } from "./theme.js";

let menu = null;

function choice(label, id, options, current, changed) {
  const select = el("select", { id, change: (event) => changed(event.target.value) },
    ...options.map(([value, text]) => el("option", { value, selected: value === current }, text)));
  return el("div", { class: "row" }, el("label", { for: id }, label), select);
}

async function logOut() {
  await ask("DELETE", "/api/v1/session");
  location.assign("/");
}

class Menu {
  constructor() {
    this.bar = document.querySelector("vrdx-arrange"); // of the panel
    this.arrange = this.entry("arrange", () => this.bar.begin());
    this.history = el("a", { href: "/history?router=" + encodeURIComponent(desk.router ?? ""), class: "button" }, t("history"));
    this.names = this.entry("nameOpen", openNameDialog);
    this.pairing = this.entry("pairing", openPairing);
    this.out = button(t("logOut"), logOut);
    this.in = el("a", { href: loginAddress(), class: "button" }, t("logIn"));
    this.who = el("p", {});
    this.box = el("dialog", { class: "menu-dialog", "aria-labelledby": "menu-title" },
      el("h2", { id: "menu-title" }, t("menu")),
      this.who,
      choice(t("language"), "language", Object.entries(languages), language, setLanguage),
      choice(t("theme"), "theme", themes.map((each) => [each, t("theme." + each)]), theme(), setTheme),
      el("a", { href: "/presets", class: "button" }, t("presets")), this.history,
      this.arrange, this.names, this.pairing, this.out, this.in,
      button(t("close"), () => this.box.close(), { class: "close" }));
  }

  // Another dialog in the menu's place.
  entry(text, openIt) {
    return button(t(text), () => {
      this.box.close();
      openIt();
    });
  }

  open() {
    const session = store.session, isAnonymous = session?.name === "anonymous";
    this.who.textContent = session ? t("youAre", session.name, t("role." + session.role), session.outputs || t("all"), session.inputs || t("all")) : "";
    show(this.arrange, this.bar !== null && (!isAnonymous || isAdmin())); // what all without a token see is an admin's business
    show(this.names, desk.router !== null && mayName());
    show(this.pairing, isAdmin());
    show(this.out, !isAnonymous);
    show(this.in, isAnonymous);
    openDialog(this.box);
  }
}

export function openMenu() {
  menu ??= new Menu();
  menu.open();
}
