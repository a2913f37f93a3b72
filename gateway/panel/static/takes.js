// Takes of this page: asked for at once or not at all, never again by themselves, shown as done only when the
// router has said so.

import { ask, newKey, routerPath } from "./api.js";
import { shownName } from "./names.js";
import { sameSources, isWhole } from "./router_model.js";
import { flush, isLive, newsOf, plan, routerOf, store } from "./store.js";
import { isolated, t } from "./texts.js";

const patienceAfterAnswer = 1500; // milliseconds for the picture to show what was answered
const mostUndone = 50;
const undoable = []; // salvos of this page, the newest last

// Words after which nothing was done and nothing will be.
const refusing = ["refused", "withdrawn", "replaced unsent", "locked", "unavailable", "not allowed"];

function mark(router, number, own) {
  const output = router.outputs[number - 1];
  if (!output) return;
  output.own = own;
  newsOf(router.name).outputs.add(number);
}

// {word: "refused" | "unknown" | ..., reason} of everything in the salvo.
function markAll(router, takes, own) {
  for (const take of takes) mark(router, take.output, { ...own, wanted: take.sources });
}

// What a level that is not named keeps.
function whole(router, take) {
  const shown = router.outputs[take.output - 1]?.confirmed ?? {};
  return "all" in take.sources ? take.sources : { ...shown, ...take.sources };
}

function body(take) {
  return "all" in take.sources ? { output: take.output, input: take.sources.all } : take;
}

// `takes`: [{output, sources: {all: 3}}] or with video and audio, one of them or both. True when all were
// confirmed.
export async function take(name, takes, { allOrNothing = false, isUndo = false } = {}) {
  const router = routerOf(name);
  if (!isLive(router)) {
    if (router) markAll(router, takes, { phase: "failed", word: "refused", reason: refusalNow(router) });
    flush();
    return false;
  }
  const before = new Map(takes.map((each) => [each.output, router.outputs[each.output - 1]?.confirmed]));
  const pressed = performance.now();
  const salvo = { name, takes: isUndo ? [] : waysBack(takes, before), isAnswered: false };
  if (salvo.takes.length > 0) undoable.push(salvo);
  if (undoable.length > mostUndone) undoable.shift();
  markAll(router, takes, { phase: "sent", pressed });
  flush();
  const answer = await ask("POST", routerPath(name) + "/takes", { takes: takes.map(body), all_or_nothing: allOrNothing }, newKey());
  const now = routerOf(name); // it may have gone meanwhile
  if (now) readAnswer(now, takes, answer, pressed);
  const results = answer.body?.results ?? [];
  const done = takes.filter((each) => results.some((one) => one.output === each.output && one.result === "confirmed"));
  keepForUndo(salvo, done);
  plan();
  return done.length === takes.length;
}

function refusalNow(router) {
  return store.connection === "live" ? (router.reason || t("state." + router.state)) : t("notConnected");
}

function readAnswer(router, takes, answer, pressed) {
  const results = answer.status === 200 ? answer.body.results : [];
  for (const each of takes) {
    const output = router.outputs[each.output - 1];
    if (output?.own?.pressed !== pressed) continue; // a later press has taken its place
    const result = results.find((one) => one.output === each.output) ?? unanswered(answer);
    mark(router, each.output, { ...ended(router, output, each, result), pressed, wanted: each.sources });
  }
}

// The result of each take when the answer has none.
export function unanswered(answer) {
  if (answer.status >= 400 && answer.status < 500) return { result: "not allowed", reason: answer.problem };
  if (answer.status === 503) return { result: "unavailable", reason: answer.problem };
  return { result: "unknown", reason: t("noAnswer") };
}

function ended(router, output, each, result) {
  if (result.result !== "confirmed")
    return { phase: "failed", word: result.result, reason: result.reason ?? "", sources: result.sources };
  const { pressed } = output.own;
  const isShown = !output.pending && sameSources(output.confirmed, whole(router, each));
  if (isShown) return { phase: "done", at: Date.now() };
  setTimeout(() => settle(router.name, each.output, pressed), patienceAfterAnswer);
  return { phase: "answered", at: Date.now() };
}

function settle(name, number, pressed) {
  const router = routerOf(name), own = router?.outputs[number - 1]?.own;
  if (own?.phase !== "answered" || own.pressed !== pressed) return; // a later press has a time of its own
  mark(router, number, { ...own, phase: "done" });
  plan();
}

export function dismiss(name, number) {
  const router = routerOf(name);
  if (router?.outputs[number - 1]?.own?.phase !== "failed") return;
  mark(router, number, null);
  flush();
}

// "confirmed", "pending", "refused", "unknown" or "stale".
export function stateOf(router, output) {
  if (!isLive(router)) return "stale";
  const own = output.own;
  if (output.pending || own?.phase === "sent" || own?.phase === "answered") return "pending";
  if (own?.phase === "failed") return failedState(output);
  return isWhole(output.confirmed) ? "confirmed" : "unknown";
}

// Where a destination that waits is going: to what this page asked for, or to what somebody else did.
export function comingOf(output) {
  const own = output.own;
  return own?.phase === "sent" || own?.phase === "answered" ? own.wanted : output.shown;
}

// "refused" or "unknown", of a take that failed.
export function failedState(output) {
  return stateOfWord(output.own.word);
}

export function stateOfWord(word) {
  return word === "confirmed" ? word : refusing.includes(word) || word === "shows" ? "refused" : "unknown";
}

// A result and its reason.
export function wordText(router, { word, sources, reason = "" }) {
  const why = isolated(shownName(reason.replace(/^(by the router: |the router shows )/, ""), ""));
  const shown = sources ? Object.values(sources).map((source) => router.sourceLabel(source)).join(" / ") : why;
  if (word === "shows") return t("result.shows", shown);
  return why ? `${t("result." + word)}: ${why}` : t("result." + word);
}

// One sentence on what the last take of this page did there.
export function resultText(router, output) {
  const own = output.own;
  if (!own) return "";
  if (own.phase === "sent" || own.phase === "answered") return t("spoken.pending");
  if (own.phase === "done" && output.pending) return t("spoken.pending"); // of a later take
  if (own.phase === "done") return isWhole(output.confirmed) ? t("result.confirmed") : "";
  return wordText(router, own);
}

// Of those that change something.
function waysBack(takes, before) {
  return takes
    .filter((each) => isWhole(before.get(each.output)))
    .map((each) => ({ output: each.output, before: before.get(each.output), after: { ...before.get(each.output), ...each.sources } }))
    .filter((each) => !sameSources(each.before, each.after));
}

// Of an answered salvo, what was done can be undone.
function keepForUndo(salvo, done) {
  salvo.isAnswered = true;
  salvo.takes = salvo.takes.filter((each) => done.some((one) => one.output === each.output));
  const at = undoable.indexOf(salvo);
  if (at >= 0 && salvo.takes.length === 0) undoable.splice(at, 1);
}

function isAsAfter(router, each) {
  const output = router.outputs[each.output - 1];
  return output && !output.pending && sameSources(output.confirmed, each.after);
}

// The router's report may come before the answer; what is seen as done can be undone.
function canUndo(salvo, name) {
  const router = routerOf(name);
  return salvo.isAnswered || (router && salvo.takes.every((each) => isAsAfter(router, each)));
}

export function undoCount(name) {
  return undoable.filter((each) => each.name === name && canUndo(each, name)).length;
}

// Takes back the last salvo of this page, where it is still shown.
export function undo(name) {
  const at = undoable.findLastIndex((each) => each.name === name);
  const router = routerOf(name);
  // One that is still on its way is not undone, and none before it in its stead.
  if (at < 0 || !isLive(router) || !canUndo(undoable[at], name)) return false;
  const [salvo] = undoable.splice(at, 1);
  const still = [];
  for (const each of salvo.takes) {
    const output = router.outputs[each.output - 1];
    if (!output) continue;
    if (isAsAfter(router, each)) still.push({ output: each.output, sources: each.before });
    else mark(router, each.output, { phase: "failed", word: "refused", reason: t("changedMeanwhile"), wanted: each.before });
  }
  plan();
  if (still.length > 0) take(name, still, { isUndo: true });
  return true;
}
