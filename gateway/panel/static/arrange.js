// The bar in which the layout is changed: what is pressed meanwhile joins or leaves the chosen list, and nothing is taken.

import { button, el, set, show, write } from "./dom.js";
import { arranging, askLayout, colours, layoutChanged } from "./layout.js";
import { store } from "./store.js";
import { t } from "./texts.js";

const options = (list) => list.map(([value, text]) => el("option", { value }, text));
const named = (list) => list.map((each) => [each, t(each)]);

class Arrange extends HTMLElement {
  #list = el("select", { "aria-label": t("list"), change: () => this.#show() });
  #name = el("input", { "aria-label": t("name"), maxlength: 32, autocomplete: "off", change: () => this.#call() });
  #colour = el("select", { "aria-label": t("colour"), change: () => this.#call() }, ...options([["", "–"], ...named(colours)]));
  #said = el("p", { role: "status" });

  connectedCallback() {
    show(this, false);
    set(this, "role", "region");
    set(this, "aria-label", t("arrange"));
    this.append(this.#list, this.#name, this.#colour, button(t("clear"), () => this.#clear()),
      button(t("keepLayout"), () => this.#keep(), { class: "primary" }), button(t("close"), () => this.#end()), this.#said);
    this.parentElement.addEventListener("click", (event) => this.#press(event), true); // before the tiles hear of it
  }

  async begin() {
    const problem = await askLayout("GET"); // another screen may have changed it
    if (!store.layout || arranging.draft) return;
    const { inputs, outputs } = structuredClone(store.layout);
    for (const side of [inputs, outputs]) for (const each of colours) side.colours[each] ??= [];
    arranging.draft = { inputs, outputs };
    arranging.list = (side) => this.#numbers(arranging.draft[side]);
    show(this, true);
    set(this.parentElement, "data-arranging", true);
    this.#offer("favourites");
    this.#list.focus();
    write(this.#said, problem || t("arrangeMeans"));
  }

  #end() {
    arranging.draft = null;
    show(this, false);
    set(this.parentElement, "data-arranging", null);
    layoutChanged();
    document.querySelector(".menu").focus();
  }

  get #sides() {
    return Object.values(arranging.draft);
  }

  // Categories of one name on both sides are one list.
  #offer(chosen) {
    const all = this.#sides.flatMap((side) => side.categories);
    for (const { categories } of this.#sides)
      for (const each of all) if (!categories.some(({ name }) => name === each.name)) categories.push({ ...each, members: [] });
    this.#list.replaceChildren(...options([
      ...named(["favourites", "hidden", "order", ...colours]), ...this.#sides[0].categories.map(({ name }) => ["#" + name, name]), ["#", t("newCategory")]]));
    this.#list.value = chosen;
    this.#show();
  }

  #category(side) {
    return side.categories.find(({ name }) => "#" + name === this.#list.value);
  }

  #numbers(side) {
    const key = this.#list.value;
    return side[key] ?? side.colours[key] ?? this.#category(side)?.members ?? [];
  }

  #show() {
    if (!arranging.draft) return;
    const key = this.#list.value;
    for (const each of [this.#name, this.#colour]) show(each, key[0] === "#");
    this.#name.value = key.slice(1);
    this.#colour.value = this.#category(this.#sides[0])?.colour ?? "";
    layoutChanged();
  }

  // Name and colour of a category, perhaps a new one. Where another has the name, that one is chosen.
  #call() {
    if (!arranging.draft) return;
    const told = { name: this.#name.value.trim(), colour: this.#colour.value || null };
    if (told.name === "") return;
    const isOther = "#" + told.name !== this.#list.value && this.#sides[0].categories.some(({ name }) => name === told.name);
    if (!isOther) for (const side of this.#sides)
      if (this.#list.value === "#") side.categories.push({ ...told, members: [] });
      else Object.assign(this.#category(side), told);
    this.#offer("#" + told.name);
  }

  #press(event) {
    const tile = arranging.draft && event.target.closest("[data-tile]")?.dataset;
    if (!tile) return;
    event.stopPropagation();
    const number = Number(tile.tile), side = arranging.draft[tile.input ? "inputs" : "outputs"], numbers = this.#numbers(side), isNew = !numbers.includes(number);
    const others = Object.values(side.colours); // a place has one of them
    for (const list of others.includes(numbers) ? others : [numbers]) if (list.includes(number)) list.splice(list.indexOf(number), 1);
    if (isNew) numbers.push(number);
    layoutChanged();
  }

  #clear() {
    for (const side of this.#sides) this.#numbers(side).length = 0;
    layoutChanged();
  }

  // A category without members is none.
  async #keep() {
    const wish = structuredClone(arranging.draft);
    for (const side of Object.values(wish)) side.categories = side.categories.filter(({ members }) => members.length > 0);
    this.parentElement.inert = true; // what is pressed now would not be kept
    const problem = await askLayout("PUT", wish);
    this.parentElement.inert = false;
    write(this.#said, problem);
    if (problem) this.querySelector(".primary").focus();
    else this.#end();
  }
}

customElements.define("vrdx-arrange", Arrange);
