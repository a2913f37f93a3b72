// Keys: one table for what they do and for the help page.

import { marry, setArmed, takeArmed, clearArmed, choose, desk, goBack, toggleLevel } from "./desk.js";
import { openHelp } from "./help_dialog.js";
import { openLockDialog } from "./lock_dialog.js";
import { openNameDialog } from "./name_dialog.js";
import { undo } from "./takes.js";

const kept = "vrdx-single-keys"; // in the browser: "off" when letters alone do nothing

export function singleKeys() {
  return localStorage.getItem(kept) !== "off";
}

export function setSingleKeys(isOn) {
  localStorage.setItem(kept, isOn ? "on" : "off");
}

function find(name) {
  return document.querySelector(name);
}

// `single`: a letter without Ctrl; none of those takes anything.
export const keys = [
  { key: "?", single: true, text: "key.help", act: openHelp },
  { key: "d", single: true, text: "key.destinations", act: () => find("vrdx-destinations, vrdx-matrix")?.search("outputs") },
  { key: "s", single: true, text: "key.sources", act: () => find("vrdx-sources, vrdx-matrix")?.search("inputs") },
  { key: "a", single: true, text: "key.armed", act: () => setArmed(!desk.isArmed) },
  { key: "v", single: true, text: "key.video", act: () => toggleLevel("video") },
  { key: "n", single: true, text: "key.audio", act: () => toggleLevel("audio") },
  { key: "m", single: true, text: "key.married", act: marry },
  { key: "l", single: true, text: "key.lock", act: openLockDialog },
  { key: "e", single: true, text: "key.name", act: openNameDialog },
  { key: "w", single: true, text: "newer", act: () => find("vrdx-history")?.newer() },
  { key: "k", single: true, text: "keepNow", act: () => find("vrdx-presets")?.make() },
  { key: "Escape", text: "key.escape", act: () => (desk.armed.size > 0 ? clearArmed() : choose(0)) },
  { key: "Enter", ctrl: true, text: "key.take", act: takeArmed },
  { key: "z", ctrl: true, text: "key.undo", act: () => undo(desk.router) },
  { key: "b", ctrl: true, text: "key.previous", act: goBack },
];

// Keys that elements know themselves.
export const furtherKeys = [
  { name: "↑ ↓ ← →", text: "key.arrows" },
  { name: "Enter", text: "key.enter" },
  { name: "Tab", text: "key.tab" },
];

export function keyName(each) {
  const name = each.key.length === 1 ? each.key.toUpperCase() : each.key;
  return each.ctrl ? `Ctrl + ${name}` : name;
}

function isTyping(target) {
  return find("dialog[open]") !== null || target.closest("input:not([type=checkbox]), select, textarea") !== null;
}

export function listenKeys() {
  addEventListener("keydown", (event) => {
    if (event.repeat && event.key === "Enter" && event.target.closest("button")) event.preventDefault(); // held down, it presses once
    if (event.altKey || event.metaKey || isTyping(event.target)) return;
    const found = keys.find((each) => each.key === (each.ctrl ? event.key.toLowerCase().replace("enter", "Enter") : event.key) && Boolean(each.ctrl) === event.ctrlKey);
    if (!found || event.repeat || (found.single && !singleKeys() && found.key !== "?")) return;
    event.preventDefault();
    if (!found.ctrl || !find("[data-arranging]")) found.act(); // nothing is taken while one arranges
  });
}
