// The sources of a router: which one the chosen destination shows, and what became of the one that was pressed.

import { canPress, chosen, desk, deskRouter, listenDesk, press } from "./desk.js";
import { el, icon, named, part, set, setIcon, show, speak, write } from "./dom.js";
import { arranging, showLayout } from "./layout.js";
import { mayTakeTo } from "./rights.js";
import { isLive, listen, store } from "./store.js";
import { comingOf, failedState, resultText, stateOf } from "./takes.js";
import { t } from "./texts.js";
import "./pane_filter.js";
import "./tile_grid.js";

function has(sources, input) {
  return sources != null && Object.values(sources).includes(input);
}

// The levels on which the sources have this input: "" for all of them, "V", "A".
function levelsOf(sources, input, count) {
  const levels = Object.keys(sources).filter((level) => sources[level] === input);
  return levels.length === count ? "" : levels.map((level) => t("short." + level)).join("");
}

class Sources extends HTMLElement {
  #filter = document.createElement("vrdx-pane-filter");
  #tiles = document.createElement("vrdx-tiles");
  #hint = el("span", { class: "hint" });

  connectedCallback() {
    this.#filter.build(t("searchSources"));
    this.#filter.changed = () => this.#pick();
    this.#filter.enter = () => this.#tiles.first()?.focus(); // a search takes nothing by itself
    this.#tiles.make = (number) => this.#make(number);
    this.#tiles.update = (tile, number) => this.#update(tile, number);
    this.#tiles.height = 60;
    set(this.#tiles, "role", "group");
    set(this.#tiles, "aria-label", t("sources"));
    this.append(el("div", { class: "heading" }, el("h2", {}, t("sources")), this.#hint), this.#filter, this.#tiles);
    listen((news) => this.#hear(news));
    listenDesk(() => this.#refresh());
  }

  search() {
    this.#filter.focusField();
  }

  focusShown() {
    const sources = Object.values(chosen()?.confirmed ?? {});
    this.#tiles.focusNumber(sources[0] > 0 ? sources[0] : this.#tiles.numbers[0]);
  }

  #hear(news) {
    const told = news.routers.get(desk.router);
    if (told?.whole || told?.inputs.size > 0) this.#pick();
    if (news.connection || told?.whole || told?.state || told?.outputs.has(desk.output)) this.#refresh();
  }

  #pick() {
    const router = deskRouter();
    this.#tiles.setNumbers(router ? this.#filter.pick(router.inputs, desk.filters.inputs, "inputs") : []);
    this.#refresh();
  }

  #refresh() {
    write(this.#hint, this.#hintText());
    show(this.#hint, this.#hint.textContent !== "");
    this.#tiles.refresh();
  }

  // Why nothing can be pressed, when nothing can.
  #hintText() {
    const router = deskRouter();
    if (!isLive(router)) return store.connection === "live" && router ? t("routerAway") : "";
    if (desk.output === 0) return "";
    if (store.session.role === "view") return t("viewOnly");
    return mayTakeTo(desk.output) ? "" : t("notYours", desk.output);
  }

  #make(number) {
    return el("button", { type: "button", class: "tile input", "data-input": number, click: () => desk.output > 0 && press(desk.output, number) },
      el("span", { class: "number" }, String(number)),
      named(""));
  }

  #update(tile, number) {
    const router = deskRouter(), input = router?.inputs[number - 1];
    if (!input) {
      set(tile, "data-mark", null);
      return set(tile, "aria-disabled", "true");
    }
    const output = chosen(), [, name] = tile.children;
    const kind = output ? this.#kind(router, output, number) : "";
    set(tile, "data-router", router.name);
    set(tile, "data-mark", kind === "" ? null : kind);
    set(tile, "aria-disabled", arranging.draft || canPress(desk.output, number) ? null : "true");
    write(name, input.label);
    set(tile, "title", input.label.length > 24 ? input.label : null);
    const mark = part(tile, "mark", kind !== "", () => el("span", {}, icon("confirmed"), el("span")));
    if (kind !== "") {
      setIcon(mark.firstChild, kind === "shown" ? "confirmed" : kind);
      write(mark.lastChild, this.#levelsText(output, number, kind));
    }
    speak(tile, [kind === "" ? "" : t("spoken." + kind), this.#why(router, output, kind), showLayout(tile, "inputs", number)].filter(Boolean).join(", "));
  }

  // What this source is to the chosen destination.
  #kind(router, output, number) {
    if (has(desk.armed.get(output.number), number)) return "armed";
    const state = stateOf(router, output), own = output.own;
    if (state === "pending" && has(comingOf(output), number)) return "pending";
    if (own?.phase === "failed" && has(own.wanted, number)) return failedState(output);
    return has(output.confirmed, number) ? (state === "stale" ? "stale" : "shown") : "";
  }

  #levelsText(output, number, kind) {
    if (kind === "armed") return levelsOf(desk.armed.get(output.number), number, deskRouter().levels.length);
    return kind === "shown" || kind === "stale" ? levelsOf(output.confirmed, number, deskRouter().levels.length) : "";
  }

  #why(router, output, kind) {
    return kind === "refused" || kind === "unknown" ? resultText(router, output) : "";
  }
}

customElements.define("vrdx-sources", Sources);
