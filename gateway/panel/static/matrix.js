// The matrix of a router: rows and columns are made as they are seen, never an element for each crosspoint.

import { canPress, choose, desk, deskChanged, deskRouter, listenDesk, press } from "./desk.js";
import { button, el, named, set, show, write } from "./dom.js";
import { showLayout } from "./layout.js";
import { openLockDialog } from "./lock_dialog.js";
import { MatrixField } from "./matrix_field.js";
import { makeRow, updateRow } from "./matrix_row.js";
import { mayTakeTo } from "./rights.js";
import { isLive, listen } from "./store.js";
import { resultText } from "./takes.js";
import { t } from "./texts.js";
import "./pane_filter.js";

const isCoarse = matchMedia("(any-pointer: coarse)").matches, isNarrow = matchMedia("(max-width: 700px)").matches;

class Matrix extends HTMLElement {
  #field = new MatrixField(isCoarse ? 44 : 30, isNarrow ? 130 : 230, 130);
  #filters = { outputs: document.createElement("vrdx-pane-filter"), inputs: document.createElement("vrdx-pane-filter") };
  #heads = el("div", { class: "heads" }, el("div", { class: "corner" }, el("span", {}, t("sources") + " →"), el("span", {}, t("destinations") + " ↓")));
  #hairs = { row: el("div", { class: "hair" }), column: el("div", { class: "hair" }) };
  #space = el("div", { class: "space" });
  #scroller = el("div", { class: "scroller", tabindex: "0", role: "application" });
  #said = el("p", { class: "at", role: "status" });
  #lock = button(t("lockOpen"), () => openLockDialog(), { class: "lock-button", hidden: true });
  #rows = new Map();
  #columns = new Map();
  #hovered = null; // the crosspoint under the mouse: shown, not chosen

  connectedCallback() {
    this.#buildFilters();
    const shades = el("div", { class: "hairs" }, this.#hairs.row, this.#hairs.column);
    this.#space.append(this.#heads, shades);
    this.#scroller.append(this.#space);
    set(this.#scroller, "aria-label", t("matrixMeans"));
    this.style.setProperty("--cell", `${this.#field.cell}px`);
    this.style.setProperty("--left", `${this.#field.left}px`);
    this.style.setProperty("--top", `${this.#field.top}px`);
    this.append(el("div", { class: "filters" }, this.#filters.outputs, this.#filters.inputs), this.#scroller, el("div", { class: "below" }, this.#said, this.#lock));
    this.#scroller.addEventListener("scroll", () => this.#draw(), { passive: true });
    this.#scroller.addEventListener("keydown", (event) => this.#key(event));
    this.#scroller.addEventListener("pointermove", (event) => event.pointerType === "mouse" && this.#hover(event));
    this.#scroller.addEventListener("pointerleave", () => this.#hoverAt(null));
    this.#scroller.addEventListener("click", (event) => this.#click(event));
    new ResizeObserver(() => this.#draw()).observe(this.#scroller);
    listen((news) => this.#hear(news));
    listenDesk(() => this.#update());
  }

  search(side) {
    this.#filters[side].focusField();
  }

  #buildFilters() {
    this.#filters.outputs.build(t("searchDestinations"));
    this.#filters.inputs.build(t("searchSources"));
    for (const filter of Object.values(this.#filters)) {
      filter.changed = () => this.#pick();
      filter.enter = () => this.#scroller.focus();
    }
  }

  #hear(news) {
    const told = news.routers.get(desk.router);
    if (told?.whole || told?.inputs.size > 0) this.#pick();
    else if (told?.state || news.connection) this.#update();
    else if (told) this.#update(told.outputs);
  }

  #pick() {
    const router = deskRouter();
    this.#field.set(
      router ? this.#filters.outputs.pick(router.outputs, desk.filters.outputs, "outputs") : [],
      router ? this.#filters.inputs.pick(router.inputs, desk.filters.inputs, "inputs") : []);
    this.#space.style.width = `${this.#field.width}px`;
    this.#space.style.setProperty("--columns", `${this.#field.width - this.#field.left}px`);
    this.#space.style.height = `${this.#field.height}px`;
    for (const head of this.#columns.values()) head.remove();
    this.#columns.clear();
    this.#draw();
    this.#update();
  }

  // Makes what has come into sight, and removes what has gone from it.
  #draw() {
    const rows = this.#field.rows(this.#scroller), columns = this.#field.columns(this.#scroller);
    const outputs = this.#field.outputs.slice(rows.first, rows.end), inputs = this.#field.inputs.slice(columns.first, columns.end);
    this.#keep(this.#rows, outputs, (number) => this.#addRow(number));
    this.#keep(this.#columns, inputs, (number) => this.#addColumn(number));
    outputs.forEach((number, at) => (this.#rows.get(number).style.top = `${this.#field.y(rows.first + at)}px`));
    this.#placeHairs();
  }

  #keep(elements, numbers, add) {
    const wanted = new Set(numbers);
    for (const [number, element] of elements)
      if (!wanted.has(number)) {
        element.remove();
        elements.delete(number);
      }
    for (const number of numbers) if (!elements.has(number)) elements.set(number, add(number));
  }

  #addRow(number) {
    const row = makeRow(number), router = deskRouter();
    this.#space.append(row);
    if (router?.outputs[number - 1]) updateRow(row, router, router.outputs[number - 1], this.#field);
    return row;
  }

  #addColumn(number) {
    const label = deskRouter()?.inputs[number - 1]?.label ?? ""; // it may have gone a moment ago
    const head = el("button", { type: "button", class: "column-head", "data-input": number, "data-router": desk.router, tabindex: "-1", title: label },
      el("span", { class: "number" }, String(number)), named(label));
    head.style.left = `${this.#field.x(this.#field.columnOf(number))}px`;
    showLayout(head, "inputs", number);
    this.#heads.append(head);
    return head;
  }

  #update(numbers = this.#rows.keys()) {
    const router = deskRouter();
    for (const number of numbers) {
      const row = this.#rows.get(number), output = router?.outputs[number - 1];
      if (row && output) updateRow(row, router, output, this.#field);
    }
    for (const [number, head] of this.#columns) {
      set(head, "aria-disabled", canPress(desk.output, number) ? null : "true");
      set(head, "data-here", desk.input === number);
    }
    show(this.#lock, mayTakeTo(desk.output) && desk.output > 0);
    set(this.#lock, "disabled", !isLive(router));
    this.#placeHairs();
    this.#say();
  }

  #placeHairs() {
    const here = this.#here(), row = this.#field.rowOf(here.output), column = this.#field.columnOf(here.input);
    this.#hairs.row.style.cssText = row < 0 ? "display: none" : `top: ${this.#field.y(row)}px; left: 0; width: ${this.#field.width}px; height: ${this.#field.cell}px`;
    this.#hairs.column.style.cssText = column < 0 ? "display: none" : `left: ${this.#field.x(column)}px; top: 0; height: ${this.#field.height}px; width: ${this.#field.cell}px`;
  }

  #here() {
    return this.#hovered ?? { output: desk.output, input: desk.input };
  }

  // The crosspoint in words, for everybody.
  #say() {
    const router = deskRouter(), here = this.#here();
    const output = router?.outputs[here.output - 1], input = router?.inputs[here.input - 1];
    if (!output || !input) return write(this.#said, t("matrixMeans"));
    const isShown = Object.values(output.confirmed ?? {}).includes(input.number);
    const result = resultText(router, output);
    write(this.#said, t("crosspoint", output.number, output.label, input.number, input.label, t(isShown ? "spoken.shown" : "crosspointFree")) + (result ? `. ${result}` : ""));
  }

  #go(output, input) {
    desk.input = input;
    choose(output);
  }

  #point(event) {
    const box = this.#scroller.getBoundingClientRect();
    return this.#field.at(this.#scroller, event.clientX - box.left - this.#scroller.clientLeft, event.clientY - box.top - this.#scroller.clientTop);
  }

  #hover(event) {
    const isHead = event.target.closest("[data-output], [data-input]");
    this.#hoverAt(isHead ? null : this.#point(event));
  }

  #hoverAt(point) {
    if (point?.output === this.#hovered?.output && point?.input === this.#hovered?.input) return;
    this.#hovered = point;
    this.#placeHairs();
    this.#say();
  }

  // A finger first goes there, and takes with the next touch; a mouse has seen where it is.
  #click(event) {
    const row = event.target.closest("[data-output]"), column = event.target.closest("[data-input]");
    if (row) return choose(Number(row.dataset.output));
    if (column) {
      desk.input = Number(column.dataset.input);
      if (desk.output > 0) press(desk.output, desk.input);
      return deskChanged();
    }
    const point = this.#point(event);
    if (!point) return;
    const wasHere = point.output === desk.output && point.input === desk.input;
    this.#go(point.output, point.input);
    if (event.pointerType !== "touch" || wasHere) press(point.output, point.input);
  }

  #key(event) {
    const page = Math.max(1, Math.floor(this.#scroller.clientHeight / this.#field.cell) - 2);
    const steps = { ArrowRight: [0, 1], ArrowLeft: [0, -1], ArrowDown: [1, 0], ArrowUp: [-1, 0], PageDown: [page, 0], PageUp: [-page, 0], Home: [0, -Infinity], End: [0, Infinity] };
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    if (event.key === "Enter" && !event.repeat && desk.output > 0 && desk.input > 0) press(desk.output, desk.input);
    else if (event.key in steps) this.#step(...steps[event.key]);
    else return;
    event.preventDefault();
  }

  #step(down, right) {
    const { outputs, inputs } = this.#field;
    if (outputs.length === 0 || inputs.length === 0) return;
    const clip = (at, length) => Math.min(length - 1, Math.max(0, at));
    const row = this.#field.rowOf(desk.output), column = this.#field.columnOf(desk.input);
    const output = outputs[row < 0 ? 0 : clip(row + down, outputs.length)];
    const input = inputs[column < 0 ? 0 : clip(column + right, inputs.length)];
    this.#field.reveal(this.#scroller, output, input);
    this.#go(output, input);
  }
}

customElements.define("vrdx-matrix", Matrix);
