// What the router looks like on the panels of this token, as the gateway keeps it. A view, and no right.

import { ask, routerPath } from "./api.js";
import { set } from "./dom.js";
import { flush, newsOf, store } from "./store.js";
import { t } from "./texts.js";

export const colours = ["red", "orange", "yellow", "green", "blue", "violet"];

// While it is changed here: what may become of it, and list(side), the numbers that are being chosen.
export const arranging = { draft: null, list: null };

const plain = { categories: [], order: [], colours: {}, hidden: [], favourites: [] };
let painted = new Map(); // a side of a layout -> number -> colour

// `side`: "inputs" or "outputs".
export function layoutOf(side) {
  return (arranging.draft ?? store.layout)?.[side] ?? plain;
}

// In the own order; those that have none behind them as they were.
export function inOrder(places, order) {
  const at = new Map(order.map((number, index) => [number, index]));
  return [...places].sort((a, b) => (at.get(a.number) ?? Infinity) - (at.get(b.number) ?? Infinity) || 0);
}

function paint(layout) {
  const found = new Map(), put = (numbers, colour) => colour && numbers.forEach((number) => found.set(number, colour));
  for (const { colour, members } of [...layout.categories].reverse()) put(members, colour);
  for (const [colour, numbers] of Object.entries(layout.colours)) put(numbers, colour);
  painted.set(layout, found);
  return found;
}

// The stripe of a place: its own, else that of its first category with a colour. Gives in words what it shows.
export function showLayout(element, side, number) {
  const layout = layoutOf(side), colour = (painted.get(layout) ?? paint(layout)).get(number);
  const at = arranging.draft ? arranging.list(side).indexOf(number) + 1 : 0;
  set(element, "data-colour", colour);
  set(element, "data-listed", at || null);
  return [colour && t("colour." + colour), at && t("listed", at)].filter(Boolean).join(", ");
}

// Everything is to be shown anew.
export function layoutChanged() {
  painted = new Map();
  newsOf(store.wanted).whole = true;
  flush();
}

// Reads it, or has another one kept. What is wrong, in words; what is shown is what the gateway has.
export async function askLayout(method, layout) {
  if (store.connection !== "live") return t("notConnected");
  const answer = await ask(method, routerPath(store.wanted) + "/layout", layout);
  if (answer.status !== 200) return answer.status === 0 ? t("noAnswer") : answer.problem;
  store.layout = answer.body;
  return "";
}
