// One destination of the matrix: its name, and a mark where a level has its source.

import { desk } from "./desk.js";
import { markDestination, sourceText } from "./destinations.js";
import { el, icon, named, part, set, setIcon, speak, write } from "./dom.js";
import { showLayout } from "./layout.js";
import { isBreakaway } from "./router_model.js";
import { comingOf, resultText, stateOf } from "./takes.js";
import { t } from "./texts.js";

// Source -> text in the mark: "" for all levels.
function marksOf(sources) {
  if (sources == null) return [];
  if (!isBreakaway(sources)) return [[Object.values(sources)[0], ""]];
  return Object.entries(sources).map(([level, source]) => [source, t("short." + level)]);
}

function wishes(output, state) {
  const armed = desk.armed.get(output.number), own = output.own;
  const marks = [];
  if (armed) marks.push(...marksOf(armed).map((each) => [...each, "armed"]));
  if (state === "pending") marks.push(...marksOf(comingOf(output)).map((each) => [...each, "pending"]));
  else if (own?.phase === "failed" && state !== "stale") marks.push(...marksOf(own.wanted).map((each) => [...each, state]));
  return marks;
}

export function makeRow(number) {
  const head = el("button", { type: "button", class: "row-head", "data-output": number, tabindex: "-1" },
    el("span", { class: "number" }, String(number)), named(""), icon("confirmed"));
  return el("div", { class: "matrix-row" }, head);
}

export function updateRow(row, router, output, field) {
  const head = row.firstChild, state = stateOf(router, output), [, name, shape] = head.children;
  markDestination(head, router, output, state);
  set(head, "aria-pressed", String(desk.output === output.number));
  showLayout(head, "outputs", output.number);
  set(row, "data-state", state);
  write(name, output.label);
  const lock = part(head, "lock", output.lock !== null, () => el("span", {}, icon("lock")));
  if (output.lock) setIcon(lock.firstChild, output.lock.state);
  setIcon(shape, state);
  const said = resultText(router, output);
  set(head, "title", `${output.label}\n← ${sourceText(router, output.confirmed)}${said ? "\n" + said : ""}`);
  speak(head, `${t("shows", sourceText(router, output.confirmed))}, ${t("spoken." + state)}`);
  placeMarks(row, [...marksOf(output.confirmed).map((each) => [...each, "shown"]), ...wishes(output, state)], field);
}

function placeMarks(row, marks, field) {
  const seen = marks.filter(([source]) => field.columnOf(source) >= 0);
  while (row.children.length - 1 > seen.length) row.lastChild.remove();
  while (row.children.length - 1 < seen.length) row.append(el("span", { class: "cross", "aria-hidden": "true" }, icon("confirmed"), el("span")));
  seen.forEach(([source, text, kind], at) => {
    const mark = row.children[at + 1];
    mark.style.left = `${field.x(field.columnOf(source))}px`;
    set(mark, "data-kind", kind);
    setIcon(mark.firstChild, text === "" && kind !== "shown" ? kind : "");
    write(mark.lastChild, text);
  });
}
