// The search field, the categories and the groups above a pane of destinations or sources.

import { el, set, show } from "./dom.js";
import { arranging, layoutOf } from "./layout.js";
import { groupsOf, matches, searchWords } from "./names.js";
import { t } from "./texts.js";

const hiddenKey = " "; // no name begins with it

export class PaneFilter extends HTMLElement {
  changed = null; // called when something else is to be shown
  enter = null; // called when Enter is pressed in the search field

  #words = [];
  #group = ""; // what a name begins with; "#" the favourites, "#Name" a category
  #all = false; // the hidden ones, too
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

  // The numbers of the places that are to be shown, in their order. `side`: "inputs" or "outputs".
  pick(places, isAllowed, side) {
    const { categories, favourites, hidden, order } = layoutOf(side), isPlain = arranging.draft !== null, away = new Set(hidden);
    const allowed = places.filter(({ number }) => isAllowed(number) && (this.#all || isPlain || !away.has(number)));
    const known = new Map(allowed.map((place) => [place.number, place]));
    const among = (numbers) => numbers.map((number) => known.get(number)).filter(Boolean);
    const shown = [...new Set([...(isPlain ? [] : among(order)), ...allowed])]; // those of the order first
    const lists = [{ name: "", text: t("favourites"), members: favourites }, ...categories]
      .map(({ name, text = name, colour, members }) => ({ key: "#" + name, text, colour, places: among(members) })).filter(({ places: { length } }) => length > 0);
    this.#offer([
      ...lists.map((each) => [each.key, each.text, each.places.length, each.colour]),
      ...groupsOf(shown).map((each) => [each.prefix, each.prefix, each.count]),
      ...(away.size > 0 ? [[hiddenKey, t("hidden"), away.size]] : []),
    ]);
    const found = lists.find((each) => each.key === this.#group)?.places ?? shown.filter((place) => this.#group === "" || place.prefix === this.#group);
    return found.filter((place) => matches(place, this.#words)).map((place) => place.number);
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
    if (!groups.some(([key]) => key === this.#group)) this.#group = "";
    show(this.#groups, groups.length > 0);
    this.#groups.replaceChildren(...[["", t("all"), null], ...groups].map((each) => this.#chip(...each)));
    this.#mark();
  }

  #chip(key, text, count, colour) {
    return el("button", { type: "button", class: "chip", "data-group": key, "data-colour": colour, click: () => this.#choose(key) },
      el("bdi", {}, text), count === null ? null : el("span", { class: "count" }, String(count)));
  }

  #choose(key) {
    if (key === hiddenKey) this.#all = !this.#all;
    else this.#group = key;
    this.#mark();
    this.changed();
  }

  #mark() {
    for (const chip of this.#groups.children) {
      const key = chip.dataset.group;
      set(chip, "aria-pressed", String(key === hiddenKey ? this.#all : key === this.#group));
    }
  }
}

customElements.define("vrdx-pane-filter", PaneFilter);
