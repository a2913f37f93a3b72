// What the router looks like on the panels of this token, as the gateway keeps it. A view, and no right.

import { ask, routerPath } from "./api.js";
import { set } from "./dom.js";
import { flush, newsOf, store } from "./store.js";
import { t } from "./texts.js";

export const colours = ["red", "orange", "yellow", "green", "blue", "violet"];

// While it is changed here: what may become of it, and list(side), the numbers that are being chosen.
export const arranging = { draft: null, list: null };

const plain = { categories: [], order: [], colours: {}, hidden: [], favourites: [] };

// `side`: "inputs" or "outputs".
export function layoutOf(side) {
  return (arranging.draft ?? store.layout)?.[side] ?? plain;
}

// The stripe of a place, its own or that of its first category with one, and while it is arranged its place in the list.
// Gives both in words.
export function showLayout(element, side, number) {
  const { colours: own, categories } = layoutOf(side);
  const colour = colours.find((each) => own[each]?.includes(number)) ?? categories.find((each) => each.colour && each.members.includes(number))?.colour;
  const at = arranging.draft && arranging.list(side).indexOf(number) + 1;
  set(element, "data-colour", colour);
  set(element, "data-listed", at || null);
  return [colour && t(colour), at && t("listed", at)].filter(Boolean).join(", ");
}

// Everything is to be shown anew.
export function layoutChanged() {
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
