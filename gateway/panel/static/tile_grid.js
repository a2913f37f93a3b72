// Tiles of one size in columns. Up to `allAtMost` are all in the page; of more, those that are seen.

import { el } from "./dom.js";

const allAtMost = 640;
const spareRows = 4; // above and below what is seen

export class TileGrid extends HTMLElement {
  // What the owner sets: make(number) gives a tile, update(tile, number) brings it up to date.
  numbers = [];
  make = null;
  update = null;
  least = 170; // width of a tile in pixels
  height = 72;

  #tiles = new Map(); // number -> element
  #sizer = el("div", { class: "sizer" });
  #columns = 1;
  #width = 0; // of what is seen, in pixels
  #room = 0;
  #focused = 0; // the tile that the tabulator goes to

  connectedCallback() {
    if (this.#sizer.isConnected) return;
    this.append(this.#sizer);
    this.addEventListener("scroll", () => this.#place(), { passive: true });
    this.addEventListener("keydown", (event) => this.#move(event));
    this.addEventListener("focusin", (event) => this.#noteFocus(event.target.closest("[data-tile]")));
    new ResizeObserver(([entry]) => this.#resize(entry.contentRect)).observe(this);
  }

  setNumbers(numbers) {
    this.numbers = numbers;
    this.#layOut();
  }

  // Brings tiles that are in the page up to date; all without numbers.
  refresh(numbers = this.#tiles.keys()) {
    for (const number of numbers) {
      const tile = this.#tiles.get(number);
      if (tile) this.update(tile, number);
    }
  }

  tile(number) {
    return this.#tiles.get(number);
  }

  focusNumber(number) {
    const at = this.numbers.indexOf(number);
    if (at < 0) return;
    this.#scrollTo(at);
    this.#tiles.get(number)?.focus();
  }

  // The first tile that is found, for who has searched and presses Enter.
  first() {
    return this.#tiles.get(this.numbers[0]);
  }

  // Told, not asked: asking would make the browser lay out everything at once.
  #resize(room) {
    const isSame = room.width === this.#width && room.height === this.#room;
    this.#width = room.width;
    this.#room = room.height;
    if (!isSame) this.#layOut();
  }

  #layOut() {
    if (this.#width === 0) return;
    this.#columns = Math.max(1, Math.floor(this.#width / this.least));
    const rows = Math.ceil(this.numbers.length / this.#columns);
    this.#sizer.style.height = `${rows * this.height}px`;
    this.#place();
  }

  #place() {
    const range = this.#seen();
    const wanted = new Set(this.numbers.slice(range.first, range.end));
    for (const [number, tile] of this.#tiles)
      if (!wanted.has(number) && tile !== document.activeElement) {
        tile.remove();
        this.#tiles.delete(number);
      }
    const added = document.createDocumentFragment();
    const width = this.#width / this.#columns;
    for (let at = range.first; at < range.end; at++) this.#placeOne(at, width, added);
    this.#sizer.append(added);
    this.#roam();
  }

  #placeOne(at, width, added) {
    const number = this.numbers[at];
    let tile = this.#tiles.get(number);
    if (!tile) {
      tile = this.make(number);
      tile.dataset.tile = number;
      tile.tabIndex = -1;
      this.#tiles.set(number, tile);
      this.update(tile, number);
      added.append(tile);
    }
    const place = `${at}/${width}`;
    if (tile.dataset.at === place) return;
    tile.dataset.at = place;
    tile.style.width = `${width - 8}px`;
    tile.style.height = `${this.height - 8}px`;
    tile.style.left = `${(at % this.#columns) * width}px`;
    tile.style.top = `${Math.floor(at / this.#columns) * this.height}px`;
  }

  #seen() {
    const count = this.numbers.length;
    if (count <= allAtMost) return { first: 0, end: count };
    const first = Math.max(0, Math.floor(this.scrollTop / this.height) - spareRows);
    const last = Math.ceil((this.scrollTop + this.#room) / this.height) + spareRows;
    return { first: first * this.#columns, end: Math.min(count, last * this.#columns) };
  }

  #scrollTo(at) {
    const top = Math.floor(at / this.#columns) * this.height;
    if (top < this.scrollTop) this.scrollTop = top;
    else if (top + this.height > this.scrollTop + this.clientHeight) this.scrollTop = top + this.height - this.clientHeight;
    this.#place();
  }

  // One tile is reached with the tabulator, the others with the arrows.
  #roam() {
    const number = this.numbers.includes(this.#focused) ? this.#focused : this.numbers[0];
    for (const [each, tile] of this.#tiles) tile.tabIndex = each === number ? 0 : -1;
  }

  #noteFocus(tile) {
    if (!tile) return;
    this.#focused = Number(tile.dataset.tile);
    this.#roam();
  }

  #move(event) {
    const tile = event.target.closest("[data-tile]");
    if (!tile || event.ctrlKey || event.altKey || event.metaKey) return;
    const page = Math.max(1, Math.floor(this.clientHeight / this.height)) * this.#columns;
    const steps = {
      ArrowRight: 1, ArrowLeft: -1, ArrowDown: this.#columns, ArrowUp: -this.#columns,
      PageDown: page, PageUp: -page, Home: -Infinity, End: Infinity,
    };
    if (!(event.key in steps)) return;
    event.preventDefault();
    const from = this.numbers.indexOf(Number(tile.dataset.tile));
    const to = Math.min(this.numbers.length - 1, Math.max(0, from + steps[event.key]));
    this.focusNumber(this.numbers[to]);
  }
}

customElements.define("vrdx-tiles", TileGrid);
