// The banner of a lost connection, of a router that is away, and of one that is not there.

import { el, icon, set, show, write } from "./dom.js";
import { ageOf, listen, routerOf, store } from "./store.js";
import { t } from "./texts.js";
import { age } from "./times.js";

class Banner extends HTMLElement {
  #lostAge = el("span", { class: "age", "aria-live": "off" });
  // In the page only while it is true, so that it is read out when it comes.
  #lost = el("div", { class: "banner lost", role: "alert" }, icon("alarm"), el("strong", {}, t("lost")), this.#lostAge, el("span", {}, t("lostMeans")));
  #away = el("div", { class: "banner away", role: "status", hidden: true }, icon("away"), el("strong", {}), el("bdi", {}), el("span", { class: "age", "aria-live": "off" }));

  connectedCallback() {
    this.append(this.#away);
    listen(() => this.#refresh());
    setInterval(() => this.#tick(), 500);
    this.#refresh();
  }

  #refresh() {
    const isLost = store.connection === "lost";
    set(document.documentElement, "data-connection", store.connection);
    this.#refreshAway();
    this.#tick();
    if (!isLost) this.#lost.remove();
    else if (!this.#lost.isConnected) this.append(this.#lost);
  }

  #refreshAway() {
    const router = store.wanted === null ? null : routerOf(store.wanted);
    const isAway = store.connection === "live" && (store.missing || (router && router.state !== "up"));
    show(this.#away, Boolean(isAway));
    if (!isAway) return;
    write(this.#away.children[1], store.missing ? t("noSuchRouter", store.wanted) : t("state." + router.state));
    write(this.#away.children[2], router?.reason ?? "");
  }

  #tick() {
    write(this.#lostAge, t("forAge", age(Date.now() - store.lostSince)));
    const router = routerOf(store.wanted);
    if (router) write(this.#away.lastChild, t("forAge", age(ageOf(router))));
    else write(this.#away.lastChild, "");
  }
}

customElements.define("vrdx-banner", Banner);
