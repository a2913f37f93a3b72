// Lines of the history and of presets: a mark, the place, from what to what, and what became of it.

import { sourceText } from "./destinations.js";
import { el, icon } from "./dom.js";
import { shownName } from "./names.js";
import { Router } from "./router_model.js";
import { routerOf } from "./store.js";
import { stateOfWord, wordText } from "./takes.js";
import { isolated, t } from "./texts.js";

// `told` as the gateway has it; `kind` where the result does not tell the mark.
export function line(told, { kind = stateOfWord(told.result), time, title, by, more }) {
  const { router, output, input, before, after, result } = told;
  const known = routerOf(router) ?? new Router(router), side = output ? "output" : "input", number = output ?? input;
  const text = (each) => (typeof each === "string" ? isolated(shownName(each, "")) : each && sourceText(known, each));
  const cells = [
    [isolated(shownName(router, "")), number && `${number} ${isolated(known[side + "s"][number - 1]?.label ?? t(side, number))}`],
    [title, [text(before), text(after)].filter(Boolean).join(" → ")], [by], [result && wordText(known, { ...told, word: result }), more]];
  return el("li", { "data-kind": kind }, icon(kind), time, ...cells.map((each) => el("bdi", {}, each.filter(Boolean).join(" · "))));
}
