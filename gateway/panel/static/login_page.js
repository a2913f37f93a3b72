// The first page: asks for a token, or takes the one behind the # of a pairing link.

import { ask, ownPage } from "./api.js";
import { el, show, write } from "./dom.js";
import { t } from "./texts.js";
import { startPage } from "./page.js";

class Login extends HTMLElement {
  #token = el("input", { name: "token", type: "password", id: "token", autocomplete: "current-password", spellcheck: "false", required: true });
  #keep = el("input", { name: "keep", type: "checkbox", id: "keep" });
  #submit = el("button", { type: "submit", class: "primary" }, t("logIn"));
  #problem = el("p", { class: "problem", role: "alert", hidden: true });
  #anonymous = el("a", { class: "button", hidden: true }, t("goOnAnonymous"));

  connectedCallback() {
    this.#anonymous.href = this.#target();
    this.append(el("main", {}, el("form", { submit: (event) => this.#send(event) },
      el("h1", {}, t("title")),
      el("p", {}, t("loginMeans")),
      el("label", { for: "token" }, t("token")), this.#token,
      el("label", { class: "choice", for: "keep" }, this.#keep, t("keep")),
      this.#problem, this.#submit, this.#anonymous)));
    addEventListener("hashchange", () => this.#begin()); // a pairing link opened where this page already is
    this.#begin();
  }

  #target() {
    const given = new URLSearchParams(location.search).get("to") ?? new URLSearchParams(location.hash.slice(1)).get("to");
    return ownPage(given);
  }

  async #begin() {
    const paired = new URLSearchParams(location.hash.slice(1)).get("token"), target = this.#target();
    if (location.hash !== "") history.replaceState(null, "", "/"); // nobody reads it from the address line
    if (paired) return this.#logIn(paired, true, target);
    const who = await ask("GET", "/api/v1/session");
    if (who.status === 200 && who.body.name !== "anonymous") location.replace(target);
    else show(this.#anonymous, who.status === 200);
    this.#token.focus();
  }

  #send(event) {
    event.preventDefault();
    this.#logIn(this.#token.value.trim(), this.#keep.checked, this.#target());
  }

  async #logIn(token, keep, target) {
    this.#submit.disabled = true;
    show(this.#problem, false);
    const answer = await ask("POST", "/api/v1/session", { token, keep });
    this.#submit.disabled = false;
    if (answer.status === 200) return location.assign(target);
    write(this.#problem, answer.status === 0 ? t("noGateway") : answer.problem);
    show(this.#problem, true);
    this.#token.select();
  }
}

customElements.define("vrdx-login", Login);
startPage("vrdx-login", t("logIn"));
