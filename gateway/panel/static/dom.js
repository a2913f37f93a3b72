// Elements made by code. Texts come in as text alone, never as markup.

const svg = "http://www.w3.org/2000/svg";

// Attributes: a function is a listener, true an empty attribute, false and null none.
export function el(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (typeof value === "function") element.addEventListener(name, value);
    else set(element, name, value);
  }
  element.append(...children.filter((child) => child != null));
  return element;
}

// Touches the page only where something differs.
export function set(element, name, value) {
  if (value === false || value == null) {
    if (element.hasAttribute(name)) element.removeAttribute(name);
    return;
  }
  const text = value === true ? "" : String(value);
  if (element.getAttribute(name) !== text) element.setAttribute(name, text);
}

export function write(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

export function show(element, visible) {
  if (element.hidden === visible) element.hidden = !visible;
}

// Forms, so that nothing is told by colour alone. Drawn in a square of 16.
const shapes = {
  confirmed: "M3 8.5 6.5 12 13 4.5",
  pending: "M8 1.8a6.2 6.2 0 1 0 0 12.4A6.2 6.2 0 0 0 8 1.8ZM8 4.5V8l2.4 1.6",
  refused: "M3.5 3.5l9 9M12.5 3.5l-9 9",
  unknown: "M5.2 5.6a2.8 2.8 0 1 1 4.3 2.3c-1 .7-1.5 1.2-1.5 2.3M8 12.9v.4",
  stale: "M2 8h2.5M6.8 8h2.5M11.5 8H14",
  armed: "M2.5 8h9M8 4l4 4-4 4",
  lock: "M4 7.5h8v6H4ZM5.5 7.5V5a2.5 2.5 0 0 1 5 0v2.5",
  protect: "M8 1.8 13 4v4c0 3-2 5-5 6.2C5 13 3 11 3 8V4Z",
  breakaway: "M2 8h4l4-4h4M6 8l4 4h4",
  undo: "M6 3 2.5 6.5 6 10M2.5 6.5H10a3.5 3.5 0 0 1 0 7H7",
  back: "M10 3 5 8l5 5",
  menu: "M2 4h12M2 8h12M2 12h12",
  alarm: "M8 2 15 14H1ZM8 6.5v3.5M8 12v.3",
  up: "M8 3v10M4 7l4-4 4 4",
  away: "M2 2l12 12M4 8.5V13h8M12 9.5V6H8.5",
  reading: "M13.5 8A5.5 5.5 0 1 1 11 3.4M11 1v3H8",
};

export function icon(name) {
  const drawing = document.createElementNS(svg, "svg");
  drawing.setAttribute("viewBox", "0 0 16 16");
  drawing.setAttribute("class", "icon");
  drawing.setAttribute("aria-hidden", "true");
  drawing.append(document.createElementNS(svg, "path"));
  setIcon(drawing, name);
  return drawing;
}

export function setIcon(drawing, name) {
  if (drawing.dataset.shape === name) return;
  drawing.dataset.shape = name ?? "";
  drawing.firstChild.setAttribute("d", shapes[name] ?? "");
}

// The part of that class, made by `make` and added when there is something to show in it for the first time.
export function part(element, name, isNeeded, make) {
  const found = element.getElementsByClassName(name)[0];
  if (found) show(found, isNeeded);
  if (found || !isNeeded) return found;
  const made = make();
  made.classList.add(name);
  element.append(made);
  return made;
}

// What is told to those who do not see the marks, behind the texts of an element.
export function speak(element, text) {
  const spoken = part(element, "spoken", text !== "", () => el("span"));
  if (spoken) write(spoken, text);
}

// A name as others gave it: text of its own direction, which cannot turn what stands around it.
export function named(text) {
  return el("bdi", { class: "name" }, text);
}

export function button(text, press, attributes = {}) {
  return el("button", { type: "button", click: press, ...attributes }, text);
}

export function openDialog(dialog) {
  if (!dialog.isConnected) document.body.append(dialog);
  if (!dialog.open) dialog.showModal();
}
