// The destinations of a router: what each shows, how sure that is, and which one is chosen.

import { choose, desk, deskRouter, listenDesk } from "./desk.js";
import { el, icon, named, part, set, setIcon, show, speak, write } from "./dom.js";
import { isBreakaway, isWhole } from "./router_model.js";
import { showLayout } from "./layout.js";
import { listen } from "./store.js";
import { comingOf, resultText, stateOf } from "./takes.js";
import { t } from "./texts.js";
import "./pane_filter.js";
import "./tile_grid.js";

// The hooks of a destination, wherever it stands.
export function markDestination(element, router, output, state) {
  const sources = output.confirmed ?? {};
  const apart = isBreakaway(sources);
  const source = apart ? null : Object.values(sources)[0];
  set(element, "data-router", router.name);
  set(element, "data-source", source ?? null);
  set(element, "data-source-video", apart ? (sources.video ?? "unknown") : null);
  set(element, "data-source-audio", apart ? (sources.audio ?? "unknown") : null);
  set(element, "data-lock", output.lock?.state ?? null);
  set(element, "data-state", state);
}

function isOfAllLevels(router, sources) {
  return "all" in sources || Object.keys(sources).length === router.levels.length;
}

// The last confirmed source in words: one, or one for each level.
export function sourceText(router, sources) {
  if (sources == null) return t("sourceUnknown");
  if (!isBreakaway(sources) && isOfAllLevels(router, sources)) {
    const source = Object.values(sources)[0];
    return source > 0 ? `${source} ${router.sourceLabel(source)}` : router.sourceLabel(source);
  }
  return Object.entries(sources).map(([level, source]) => `${t("short." + level)} ${source ?? "?"} ${router.sourceLabel(source)}`).join(" · ");
}

// The form beside the confirmed source, which a take that waits or failed leaves as it is.
function sourceShape(output, state) {
  if (state === "stale") return "stale";
  if (!isWhole(output.confirmed)) return "unknown";
  return isBreakaway(output.confirmed) ? "breakaway" : "confirmed";
}

class Destinations extends HTMLElement {
  #filter = document.createElement("vrdx-pane-filter");
  #tiles = document.createElement("vrdx-tiles");
  #empty = el("p", { class: "empty", hidden: true });

  connectedCallback() {
    this.#filter.build(t("searchDestinations"));
    this.#filter.changed = () => this.#pick();
    this.#filter.enter = (isChoice) => (isChoice ? this.#tiles.first()?.click() : this.#tiles.first()?.focus());
    this.#tiles.least = 220;
    this.#tiles.make = (number) => this.#make(number);
    this.#tiles.update = (tile, number) => this.#update(tile, number);
    set(this.#tiles, "role", "group");
    set(this.#tiles, "aria-label", t("destinations"));
    this.append(el("div", { class: "heading" }, el("h2", {}, t("destinations"))), this.#filter, this.#empty, this.#tiles);
    listen((news) => this.#hear(news));
    listenDesk(() => this.#tiles.refresh());
  }

  search() {
    this.#filter.focusField();
  }

  focusChosen() {
    this.#tiles.focusNumber(desk.output || this.#tiles.numbers[0]);
  }

  #hear(news) {
    const told = news.routers.get(desk.router);
    if (told?.whole) this.#pick();
    if (told?.whole || told?.state || news.connection) this.#tiles.refresh();
    else if (told) this.#tiles.refresh(told.inputs.size > 0 ? undefined : told.outputs);
  }

  #pick() {
    const router = deskRouter();
    this.#tiles.setNumbers(router ? this.#filter.pick(router.outputs, desk.filters.outputs, "outputs") : []);
    this.#tiles.refresh();
    show(this.#empty, this.#tiles.numbers.length === 0);
    write(this.#empty, t(router?.outputs.length > 0 ? "nothingFound" : "noDestinations"));
  }

  #make(number) {
    const tile = el("button", { type: "button", class: "tile destination", "data-output": number, click: () => choose(number) },
      el("span", { class: "number" }, String(number)),
      named(""),
      el("span", { class: "source" }, icon("unknown"), el("bdi", {}, "")));
    return tile;
  }

  #update(tile, number) {
    const router = deskRouter(), output = router?.outputs[number - 1];
    if (!output) return set(tile, "data-state", "stale"); // it has gone; the tile stays only while it has the focus
    const state = stateOf(router, output), [, name, source] = tile.children;
    markDestination(tile, router, output, state);
    set(tile, "aria-pressed", String(desk.output === number));
    write(name, output.label);
    set(tile, "title", output.label.length > 24 ? output.label : null);
    const lock = part(tile, "lock", output.lock !== null, () => el("span", {}, icon("lock")));
    if (output.lock) setIcon(lock.firstChild, output.lock.state);
    setIcon(source.firstChild, sourceShape(output, state));
    write(source.lastChild, sourceText(router, output.confirmed));
    this.#updateNext(tile, router, output, state);
    speak(tile, [this.#spoken(output, state), showLayout(tile, "outputs", number)].filter(Boolean).join(", "));
  }

  // Where it is going: armed, or waiting for the router.
  #updateNext(tile, router, output, state) {
    const armed = desk.armed.get(output.number);
    const coming = armed ?? (state === "pending" ? comingOf(output) : null);
    const said = coming ? sourceText(router, coming) : state === "refused" || output.own?.phase === "failed" ? resultText(router, output) : "";
    const next = part(tile, "next", said !== "" && state !== "stale", () => el("span", {}, icon("armed"), el("bdi", {}, "")));
    if (!next) return;
    const kind = armed ? "armed" : coming ? "pending" : state;
    set(next, "data-kind", kind);
    setIcon(next.firstChild, kind);
    write(next.lastChild, said);
  }

  #spoken(output, state) {
    const parts = state === "confirmed" ? [] : [t("spoken." + state)];
    if (output.lock) parts.push(t("lock." + output.lock.state + "By", output.lock.owner));
    if (desk.armed.has(output.number)) parts.push(t("spoken.armed"));
    return parts.join(", ");
  }
}

customElements.define("vrdx-destinations", Destinations);
