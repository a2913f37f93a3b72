// The page of the matrix.

import { desk } from "./desk.js";
import { el } from "./dom.js";
import { startRouterPage } from "./router_page.js";
import "./alarms.js";
import "./app_bar.js";
import "./banner.js";
import "./matrix.js";
import "./salvo.js";

class MatrixPage extends HTMLElement {
  connectedCallback() {
    this.append(
      el("vrdx-app-bar", { page: "matrix", router: desk.router }), el("vrdx-banner"), el("vrdx-alarms"),
      el("main", {}, el("vrdx-matrix"), el("vrdx-salvo")));
  }
}

customElements.define("vrdx-matrix-page", MatrixPage);
startRouterPage("vrdx-matrix-page", "matrix");
