// What the token of this page may do. The gateway checks it again; this only keeps from view what it would refuse.

import { numberList } from "./names.js";
import { store } from "./store.js";

const order = ["none", "view", "operate", "lock", "admin"];
let known = null; // the session that the lists belong to
let outputs, inputs;

function has(role) {
  return order.indexOf(store.session?.role ?? "none") >= order.indexOf(role);
}

function read() {
  if (known === store.session) return;
  known = store.session;
  outputs = numberList(known?.outputs) ?? (() => false);
  inputs = numberList(known?.inputs) ?? (() => false);
}

export function mayOperate() {
  return has("operate");
}

export function mayTakeTo(output) {
  read();
  return has("operate") && outputs(output);
}

export function mayTakeFrom(input) {
  read();
  return has("operate") && (input === 0 || inputs(input));
}

export function mayForce(output) {
  read();
  return has("lock") && outputs(output);
}

// Of a place on that side, "outputs" or "inputs"; of any without one.
export function mayName(side, number) {
  read();
  return has("lock") && (side === undefined || (side === "outputs" ? outputs : inputs)(number));
}

export function mayKeep() {
  return has("lock");
}

export function isAdmin() {
  return has("admin");
}

// A lock is its owner's, known by name.
export function isOwn(lock) {
  return lock != null && lock.owner === store.session?.name;
}
