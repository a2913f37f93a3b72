// Where things are in the matrix: rows are destinations, columns are sources, only those that are seen exist.

const spare = 3; // rows and columns beyond what is seen

export class MatrixField {
  outputs = []; // numbers of the rows, in their order
  inputs = []; // numbers of the columns
  #rowOf = new Map();
  #columnOf = new Map();

  // In pixels: one crosspoint, the names on the left, the names on top.
  constructor(cell, left, top) {
    this.cell = cell;
    this.left = left;
    this.top = top;
  }

  set(outputs, inputs) {
    this.outputs = outputs;
    this.inputs = inputs;
    this.#rowOf = new Map(outputs.map((number, at) => [number, at]));
    this.#columnOf = new Map(inputs.map((number, at) => [number, at]));
  }

  get width() {
    return this.left + this.inputs.length * this.cell;
  }

  get height() {
    return this.top + this.outputs.length * this.cell;
  }

  rowOf(output) {
    return this.#rowOf.get(output) ?? -1;
  }

  columnOf(input) {
    return this.#columnOf.get(input) ?? -1;
  }

  x(column) {
    return this.left + column * this.cell;
  }

  y(row) {
    return this.top + row * this.cell;
  }

  // First and behind the last of what is seen of so many.
  #range(scrolled, room, count) {
    const first = Math.max(0, Math.floor(scrolled / this.cell) - spare);
    return { first, end: Math.min(count, Math.ceil((scrolled + room) / this.cell) + spare) };
  }

  rows(scroller) {
    return this.#range(scroller.scrollTop, scroller.clientHeight - this.top, this.outputs.length);
  }

  columns(scroller) {
    return this.#range(scroller.scrollLeft, scroller.clientWidth - this.left, this.inputs.length);
  }

  // The crosspoint under a point of the scroller's own; null over the names and beyond the last one.
  at(scroller, x, y) {
    if (x < this.left || y < this.top) return null;
    const column = Math.floor((x - this.left + scroller.scrollLeft) / this.cell);
    const row = Math.floor((y - this.top + scroller.scrollTop) / this.cell);
    return row < this.outputs.length && column < this.inputs.length ? { output: this.outputs[row], input: this.inputs[column] } : null;
  }

  // Scrolls as little as brings the crosspoint into sight.
  reveal(scroller, output, input) {
    const y = this.rowOf(output) * this.cell, x = this.columnOf(input) * this.cell;
    const height = scroller.clientHeight - this.top, width = scroller.clientWidth - this.left;
    if (y >= 0) scroller.scrollTop = Math.min(y, Math.max(scroller.scrollTop, y + this.cell - height));
    if (x >= 0) scroller.scrollLeft = Math.min(x, Math.max(scroller.scrollLeft, x + this.cell - width));
  }
}
