// Asking the gateway. Nothing is ever asked twice by itself.

import { t } from "./texts.js";

const patience = 20000; // milliseconds until an answer is given up

// {status, body, problem}: status 0 when no answer came; then nobody knows whether it was done.
export async function ask(method, path, body, headers = {}) {
  try {
    const answer = await fetch(path, {
      method,
      body: body === undefined ? undefined : JSON.stringify(body),
      headers: body === undefined ? headers : { "Content-Type": "application/json", ...headers },
      credentials: "same-origin",
      cache: "no-store",
      redirect: "error",
      signal: AbortSignal.timeout(patience),
    });
    const text = await answer.text();
    const type = answer.headers.get("Content-Type") ?? "";
    const content = type.includes("json") && text !== "" ? JSON.parse(text) : null;
    return { status: answer.status, body: content, problem: answer.ok ? "" : (content?.detail ?? String(answer.status)) };
  } catch (failure) {
    return { status: 0, body: null, problem: failure.message };
  }
}

// What went wrong, in a sentence.
export function problemOf(answer) {
  return answer.status === 0 ? t("noAnswer") : answer.problem;
}

// Of one request: sent again by the browser itself, it is done once.
export function newKey() {
  const bytes = crypto.getRandomValues(new Uint8Array(12));
  return { "Idempotency-Key": Array.from(bytes, (byte) => byte.toString(16).padStart(2, "0")).join("") };
}

export function routerPath(router) {
  return "/api/v1/routers/" + encodeURIComponent(router);
}

export function presetPath(name) {
  return "/api/v1/presets/" + encodeURIComponent(name);
}

export function eventsAddress(router) {
  const scheme = location.protocol === "https:" ? "wss://" : "ws://";
  const query = router == null ? "" : "?router=" + encodeURIComponent(router);
  return scheme + location.host + "/api/v1/events" + query;
}

// The address of the login page, which comes back to this page.
export function loginAddress() {
  return "/?to=" + encodeURIComponent(location.pathname + location.search);
}

// Only pages of our own, so that no address sends anybody elsewhere.
export function ownPage(address) {
  return /^\/(routers|panel|matrix|history|presets)(\?|$)/.test(address ?? "") ? address : "/routers";
}

export const build = document.querySelector('meta[name="build"]')?.content ?? "";

// The build that the gateway serves now; "" when it does not say.
export async function servedBuild() {
  const answer = await ask("GET", "/static/build");
  return answer.status === 200 ? (answer.body?.build ?? "") : "";
}
