// The search field and the groups above a pane of destinations or sources.

import { el, set, show } from "./dom.js";
import { groupsOf, matches, searchWords } from "./names.js";
import { t } from "./texts.js";

export class PaneFilter extends HTMLElement {
  changed = null; // called when something else is to be shown
  enter = null; // called when Enter is pressed in the search field

  #words = [];
  #group = "";
  #field = null;
  #groups = el("div", { class: "groups", role: "group" });
  #offered = "";

  // `label`: what the field is called.
  build(label) {
    this.#field = el("input", {
      type: "search", "aria-label": label, placeholder: label, autocomplete: "off", spellcheck: "false", maxlength: 80,
      input: () => this.#search(),
      keydown: (event) => this.#key(event),
    });
    set(this.#groups, "aria-label", t("groups"));
    this.append(this.#field, this.#groups);
  }

  focusField() {
    this.#field.focus();
    this.#field.select();
  }

  // The numbers of the places that are to be shown, in their order.
  pick(places, isAllowed) {
    const allowed = places.filter((place) => isAllowed(place.number));
    this.#offer(groupsOf(allowed));
    return allowed
      .filter((place) => (this.#group === "" || place.prefix === this.#group) && matches(place, this.#words))
      .map((place) => place.number);
  }

  #search() {
    this.#words = searchWords(this.#field.value);
    this.changed();
  }

  #key(event) {
    if (event.key === "Escape" && this.#field.value !== "") {
      this.#field.value = "";
      this.#search();
      event.stopPropagation();
    } else if (event.key === "Enter" || event.key === "ArrowDown") {
      event.preventDefault();
      this.enter(event.key === "Enter");
    }
  }

  #offer(groups) {
    const offered = JSON.stringify(groups);
    if (offered === this.#offered) return;
    this.#offered = offered;
    if (!groups.some((group) => group.prefix === this.#group)) this.#group = "";
    show(this.#groups, groups.length > 0);
    this.#groups.replaceChildren(
      this.#chip("", t("all"), null), ...groups.map((group) => this.#chip(group.prefix, group.prefix, group.count)));
    this.#mark();
  }

  #chip(prefix, text, count) {
    return el("button", { type: "button", class: "chip", "data-group": prefix, click: () => this.#choose(prefix) },
      el("bdi", {}, text), count === null ? null : el("span", { class: "count" }, String(count)));
  }

  #choose(prefix) {
    this.#group = prefix;
    this.#mark();
    this.changed();
  }

  #mark() {
    for (const chip of this.#groups.children) set(chip, "aria-pressed", String(chip.dataset.group === this.#group));
  }
}

customElements.define("vrdx-pane-filter", PaneFilter);
