// What every page begins with: language, light or dark, its title, its one element.

import { el } from "./dom.js";
import { language } from "./texts.js";
import { applyTheme } from "./theme.js";

export function startPage(name, title) {
  document.documentElement.lang = language;
  document.title = title;
  applyTheme();
  document.body.append(el(name));
}
