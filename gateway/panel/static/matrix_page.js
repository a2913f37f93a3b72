// The page of the matrix.

import { desk } from "./desk.js";
import { el } from "./dom.js";
import { frame } from "./frame.js";
import { startRouterPage } from "./router_page.js";
import "./matrix.js";
import "./salvo.js";

class MatrixPage extends HTMLElement {
  connectedCallback() {
    this.append(...frame({ page: "matrix", router: desk.router }, el("vrdx-matrix"), el("vrdx-salvo")));
  }
}

customElements.define("vrdx-matrix-page", MatrixPage);
startRouterPage("vrdx-matrix-page", "matrix");
