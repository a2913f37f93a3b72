// The bar in which the layout is changed: what is pressed meanwhile joins or leaves the chosen list, and nothing is taken.

import { button, el, set, show, write } from "./dom.js";
import { arranging, askLayout, colours, layoutChanged } from "./layout.js";
import { store } from "./store.js";
import { t } from "./texts.js";

const options = (list) => list.map(([value, text]) => el("option", { value }, text));
const colourOptions = () => colours.map((each) => [each, t("colour." + each)]);

class Arrange extends HTMLElement {
  #list = el("select", { "aria-label": t("list"), change: () => this.#show() });
  #name = el("input", { "aria-label": t("name"), maxlength: 32, autocomplete: "off", change: () => this.#call() });
  #colour = el("select", { "aria-label": t("colour"), change: () => this.#call() }, ...options([["", "–"], ...colourOptions()]));
  #said = el("p", { role: "status" });

  connectedCallback() {
    this.hidden = true;
    set(this, "role", "region");
    set(this, "aria-label", t("arrange"));
    this.append(this.#list, this.#name, this.#colour, button(t("clear"), () => this.#change((numbers) => numbers.splice(0))),
      button(t("keepLayout"), () => this.#keep(), { class: "primary" }), button(t("close"), () => this.#end()), this.#said);
    this.parentElement.addEventListener("click", (event) => this.#press(event), true); // before the tiles hear of it
  }

  async begin() {
    const problem = await askLayout("GET"); // another screen may have changed it
    if (problem || arranging.draft) return write(this.#said, problem);
    const { inputs, outputs } = structuredClone(store.layout);
    for (const side of [inputs, outputs]) for (const each of colours) side.colours[each] ??= [];
    arranging.draft = { inputs, outputs };
    arranging.list = (side) => this.#numbers(arranging.draft[side]);
    show(this, true);
    set(this.parentElement, "data-arranging", true);
    this.#offer("favourites");
    this.#list.focus();
    write(this.#said, t("arrangeMeans"));
  }

  #end() {
    arranging.draft = null;
    show(this, false);
    set(this.parentElement, "data-arranging", null);
    layoutChanged();
  }

  // Categories of one name on both sides are one list.
  #offer(chosen) {
    const { inputs, outputs } = arranging.draft, all = [inputs, outputs].flatMap((side) => side.categories);
    for (const side of [inputs, outputs])
      for (const each of all) if (!side.categories.some(({ name }) => name === each.name)) side.categories.push({ ...each, members: [] });
    this.#list.replaceChildren(...options([
      ...["favourites", "hidden", "order"].map((each) => [each, t(each)]), ...colourOptions(),
      ...inputs.categories.map(({ name }) => ["#" + name, name]), ["#", t("newCategory")]]));
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
    const key = this.#list.value;
    for (const each of [this.#name, this.#colour]) show(each, key.startsWith("#"));
    this.#name.value = key.slice(1);
    this.#colour.value = this.#category(arranging.draft.inputs)?.colour ?? "";
    layoutChanged();
  }

  #change(edit) {
    for (const side of Object.values(arranging.draft)) edit(this.#numbers(side), side);
    layoutChanged();
  }

  // Name and colour of a category, perhaps a new one.
  #call() {
    const name = this.#name.value.trim(), { inputs, outputs } = arranging.draft;
    if (name === "") return;
    const told = { name, colour: this.#colour.value || null };
    if (this.#list.value === "#") inputs.categories.push({ ...told, members: [] });
    for (const side of [inputs, outputs]) Object.assign(this.#category(side) ?? {}, told);
    this.#offer("#" + name);
  }

  #press(event) {
    const tile = arranging.draft && event.target.closest("[data-tile]")?.dataset;
    if (!tile) return;
    event.stopPropagation();
    const pressed = arranging.draft[tile.input ? "inputs" : "outputs"], number = Number(tile.tile);
    this.#change((numbers, side) => {
      if (side !== pressed) return;
      const at = numbers.indexOf(number), others = Object.values(side.colours);
      // One colour each.
      for (const list of others.includes(numbers) ? others : [numbers]) if (list.includes(number)) list.splice(list.indexOf(number), 1);
      if (at < 0) numbers.push(number);
    });
  }

  // A category without members is none.
  async #keep() {
    const wish = structuredClone(arranging.draft);
    for (const side of Object.values(wish)) side.categories = side.categories.filter(({ members }) => members.length > 0);
    const problem = await askLayout("PUT", wish);
    write(this.#said, problem);
    if (!problem) this.#end();
  }
}

customElements.define("vrdx-arrange", Arrange);
