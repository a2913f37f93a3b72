// One router as this page knows it. What is shown as a destination's source is what the router has confirmed.

import { plain, prefix, shownName } from "./names.js";
import { isolated, t } from "./texts.js";

export function sameSources(left, right) {
  if (left == null || right == null) return left === right;
  const levels = Object.keys(right);
  return levels.length === Object.keys(left).length && levels.every((level) => left[level] === right[level]);
}

// True when each level that is wanted shows what is wanted there.
function isIn(sources, wanted) {
  return Object.entries(wanted).every(([level, source]) => sources?.[level] === source);
}

export function isWhole(sources) {
  return sources != null && Object.values(sources).every((source) => source !== null);
}

// True when the levels show different sources.
export function isBreakaway(sources) {
  return sources != null && new Set(Object.values(sources)).size > 1;
}

export class Router {
  constructor(name) {
    this.name = name;
    this.state = "reading";
    this.reason = "";
    this.since = 0; // when the state began, by the gateway's clock
    this.levels = ["all"];
    this.inputs = [];
    this.outputs = [];
    this.isRead = false; // its picture was read on this connection
    this.lastError = null; // what its backend noted as an error last: {time, text}
    this.lastProblem = null; // the last take that was not confirmed
    this.pending = 0;
  }

  get isUp() {
    return this.isRead && this.state === "up";
  }

  // `told`: with state, reason and since.
  setState(told) {
    this.state = told.state;
    this.reason = told.reason;
    this.since = Date.parse(told.since);
  }

  readPicture(picture) {
    this.setState(picture);
    this.levels = picture.levels;
    this.inputs = picture.inputs.map((input) => this.inputOf(input));
    const before = this.outputs;
    this.outputs = picture.outputs.map((output, at) => this.outputOf(output, before[at]));
    this.isRead = true;
    this.count();
  }

  // The numbers that have changed.
  readChange(change) {
    for (const input of change.inputs)
      if (input.number <= this.inputs.length) this.inputs[input.number - 1] = this.inputOf(input);
    for (const output of change.outputs)
      if (output.number <= this.outputs.length)
        this.outputs[output.number - 1] = this.outputOf(output, this.outputs[output.number - 1]);
    this.count();
    return { inputs: change.inputs.map((each) => each.number), outputs: change.outputs.map((each) => each.number) };
  }

  count() {
    this.pending = 0;
    for (const output of this.outputs) if (output.pending) this.pending++;
  }

  inputOf(told) {
    const label = shownName(told.name, t("input", told.number));
    return { number: told.number, name: told.name, label, plain: plain(label), prefix: prefix(label) };
  }

  outputOf(told, before) {
    const label = shownName(told.name, t("output", told.number));
    const output = {
      number: told.number,
      name: told.name,
      label,
      plain: plain(label),
      prefix: prefix(label),
      shown: told.sources, // what the driver shows now, confirmed or not
      pending: told.pending,
      lock: told.lock,
      takenBy: told.taken_by,
      confirmed: told.pending ? told.confirmed : told.sources,
      previous: told.previous,
      own: before?.own ?? null, // the take of this page; see takes.js
      lastTake: before?.lastTake ?? null,
    };
    const changed = before?.confirmed != null && !sameSources(output.confirmed, before.confirmed);
    if (output.own) this.settleOwn(output, changed);
    return output;
  }

  // What the router reports says more than what was answered before.
  settleOwn(output, changed) {
    const own = output.own;
    if (own.phase === "answered" && !output.pending) output.own = { ...own, phase: "done" };
    else if (own.phase === "failed" && !output.pending && changed) output.own = null;
    else if (own.phase === "done" && changed && !isIn(output.confirmed, own.wanted)) output.own = null;
  }

  readTake(take) {
    const output = this.outputs[take.output - 1];
    if (!output) return;
    output.lastTake = take;
    if (take.result !== "confirmed" && !take.result.startsWith("replaced")) this.lastProblem = take;
  }

  // The label of a source: number and name, "none", "unknown"; presets name some.
  sourceLabel(source) {
    if (source == null) return t("sourceUnknown");
    if (source === 0) return t("sourceNone");
    if (typeof source === "string") return isolated(shownName(source, ""));
    const label = this.inputs[source - 1]?.label;
    return label === undefined ? t("input", source) : isolated(label);
  }
}
