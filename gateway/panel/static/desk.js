// What is chosen on this page: destination, levels, direct or armed, what is armed. Shared by panel and matrix.

import { isLive, newsOf, plan, routerOf } from "./store.js";
import { mayTakeFrom, mayTakeTo } from "./rights.js";
import { isWhole, sameSources } from "./router_model.js";
import { take } from "./takes.js";

export const desk = {
  router: null, // its name
  output: 0, // the chosen destination; 0: none
  input: 0, // the source that the keyboard is on, in the matrix
  levels: { video: true, audio: true }, // married while both are
  isArmed: false,
  armed: new Map(), // output -> sources
  allOrNothing: false,
  filters: { outputs: () => true, inputs: () => true }, // of the address
};

const listeners = new Set();

export function listenDesk(listener) {
  listeners.add(listener);
}

export function deskChanged() {
  for (const listener of listeners) listener();
}

export function deskRouter() {
  return routerOf(desk.router);
}

export function chosen() {
  return deskRouter()?.outputs[desk.output - 1];
}

export function choose(output) {
  desk.output = output;
  deskChanged();
}

export function setArmed(isArmed) {
  desk.isArmed = isArmed;
  if (!isArmed) desk.armed.clear();
  deskChanged();
}

export function isMarried() {
  return desk.levels.video && desk.levels.audio;
}

// One level stays switched on at least.
export function toggleLevel(level) {
  const other = level === "video" ? "audio" : "video";
  if (desk.levels[level] && !desk.levels[other]) desk.levels[other] = true;
  else desk.levels[level] = !desk.levels[level];
  deskChanged();
}

export function marry() {
  desk.levels = { video: true, audio: true };
  deskChanged();
}

// The sources of a take from this input with the levels that are switched on.
export function sourcesOf(input) {
  if ((deskRouter()?.levels ?? []).includes("all")) return { all: input };
  const sources = {};
  for (const level of ["video", "audio"]) if (desk.levels[level]) sources[level] = input;
  return sources;
}

export function canPress(output, input) {
  return output > 0 && isLive(deskRouter()) && mayTakeTo(output) && mayTakeFrom(input);
}

// A source was pressed for a destination.
export function press(output, input) {
  if (!mayTakeTo(output) || !mayTakeFrom(input)) return;
  pressSources(output, sourcesOf(input));
}

// While nothing can be taken, nothing is armed: the press is refused at once.
export function pressSources(output, sources) {
  if (desk.isArmed && isLive(deskRouter())) {
    desk.armed.set(output, { ...desk.armed.get(output), ...sources });
    newsOf(desk.router).outputs.add(output);
    plan();
    deskChanged();
  } else {
    take(desk.router, [{ output, sources }]);
    deskChanged();
  }
}

export function canGoBack(output) {
  return isLive(deskRouter()) && mayTakeTo(output.number) && isWhole(output.previous) && !sameSources(output.previous, output.confirmed);
}

// Takes the source that the destination showed before.
export function goBack() {
  const output = chosen();
  if (output && canGoBack(output)) pressSources(output.number, output.previous);
}

export function clearArmed() {
  desk.armed.clear();
  deskChanged();
}

// What is armed goes as one salvo.
export function takeArmed() {
  const takes = [...desk.armed].map(([output, sources]) => ({ output, sources }));
  if (takes.length === 0 || !isLive(deskRouter())) return;
  desk.armed.clear();
  take(desk.router, takes, { allOrNothing: desk.allOrNothing });
  deskChanged();
}
