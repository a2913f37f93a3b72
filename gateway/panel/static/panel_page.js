// The panel: destinations on one side, sources on the other, the chosen destination between them.

import { desk, listenDesk } from "./desk.js";
import { el, set } from "./dom.js";
import { frame } from "./frame.js";
import { startRouterPage } from "./router_page.js";
import "./arrange.js";
import "./destinations.js";
import "./salvo.js";
import "./selected.js";
import "./sources.js";

class Panel extends HTMLElement {
  connectedCallback() {
    this.append(...frame({ page: "panel", router: desk.router }, el("vrdx-destinations"), el("div", { class: "right" }, el("vrdx-selected"), el("vrdx-sources")), el("vrdx-salvo")));
    this.lastChild.before(el("vrdx-arrange"));
    // A phone shows one side at a time.
    listenDesk(() => set(this, "data-chosen", desk.output > 0));
  }
}

customElements.define("vrdx-panel", Panel);
startRouterPage("vrdx-panel", "panel");
