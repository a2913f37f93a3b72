// What all elements of the page show: who one is, the connection, the routers. Written here alone.

import { ask, build, eventsAddress, loginAddress, routerPath, servedBuild } from "./api.js";
import { Router } from "./router_model.js";

const silence = 3000; // milliseconds; the gateway tells each second that it lives
const patience = 12000; // the same until the page is live: a large picture may be long on its way
const lookPeriod = 250; // how often the page looks for it
const standstill = 2000; // a look that comes so late says that the page itself stood still
const useOfSession = 43200000; // a page that stays open for months keeps its session by that
const firstWait = 300, longestWait = 4000; // between two tries to connect

export const store = {
  connection: "opening", // "opening", "live", "lost"
  lostSince: 0,
  heard: 0, // when a message came last
  clockAhead: 0, // of this page before the gateway's clock, in milliseconds
  session: null, // name, role, routers, outputs, inputs
  wanted: null, // the router of this page; null: all
  layout: null, // of that router, for this token
  missing: false, // there is no router `wanted`
  routers: new Map(),
  alarms: [], // newest first
};

const mostAlarms = 20, mostSeen = 2000;
const seenAlarms = new Set();
const listeners = new Set();
let news = freshNews();
let planned = false;
let socket = null;
let opened = 0; // when the socket was made
let wait = firstWait;
let looked = 0; // for silence, last
let hasStood = false;

function freshNews() {
  return { connection: false, alarms: false, routers: new Map() };
}

// What has changed of a router since the listeners were called last.
export function newsOf(name) {
  if (!news.routers.has(name))
    news.routers.set(name, { whole: false, state: false, inputs: new Set(), outputs: new Set() });
  return news.routers.get(name);
}

export function listen(listener) {
  listeners.add(listener);
  return () => listeners.delete(listener);
}

// Calls the listeners once, with the next frame, whatever has changed until then.
export function plan() {
  if (planned) return;
  planned = true;
  if (document.hidden) setTimeout(flush, 50);
  else requestAnimationFrame(flush);
}

// Calls them now: what was pressed is answered at once.
export function flush() {
  planned = false;
  const told = news;
  news = freshNews();
  for (const listener of listeners)
    try {
      listener(told);
    } catch (failure) {
      reportError(failure); // the others hear it all the same
    }
}

export function routerOf(name) {
  return store.routers.get(name);
}

// How long the router has its state, in milliseconds.
export function ageOf(router) {
  return Date.now() - store.clockAhead - router.since;
}

// Nothing is taken unless this is true: the connection lives and the router's picture was read on it.
export function isLive(router) {
  return store.connection === "live" && router !== undefined && router.isUp;
}

function setConnection(state) {
  if (state === store.connection) return;
  if (state === "lost") store.lostSince = store.heard || Date.now();
  store.connection = state;
  news.connection = true;
  plan();
}

// A page that is live shows everything it is about.
function look() {
  if (socket?.readyState !== WebSocket.OPEN) return;
  const routers = [...store.routers.values()];
  if (!routers.every((router) => router.isRead)) return;
  wait = firstWait;
  setConnection("live");
}

function entry(name) {
  if (!store.routers.has(name)) store.routers.set(name, new Router(name));
  return store.routers.get(name);
}

const readers = {
  picture(message) {
    store.missing = false;
    entry(message.router).readPicture(message);
    newsOf(message.router).whole = true;
    look();
  },
  change(message) {
    const router = routerOf(message.router);
    if (!router) return;
    const told = newsOf(message.router), changed = router.readChange(message);
    for (const number of changed.inputs) told.inputs.add(number);
    for (const number of changed.outputs) told.outputs.add(number);
  },
  router(message) {
    if (message.state === "gone") {
      store.routers.delete(message.router);
      store.missing = message.router === store.wanted;
      newsOf(message.router).whole = true;
    } else {
      entry(message.router).setState(message);
      entry(message.router).lastError = message.last_error;
    }
    newsOf(message.router).state = true;
    look();
  },
  take(message) {
    routerOf(message.router)?.readTake(message);
    newsOf(message.router).outputs.add(message.output);
  },
  alive(message) {
    store.clockAhead = Date.now() - Date.parse(message.time);
  },
  // One of the time before the gateway's start is told once more with each new connection.
  alarm(message) {
    const key = `${message.router} ${message.output} ${message.time}`;
    if (seenAlarms.has(key)) return;
    seenAlarms.add(key);
    if (seenAlarms.size > mostSeen) seenAlarms.delete(seenAlarms.values().next().value);
    store.alarms = [message, ...store.alarms].slice(0, mostAlarms);
    news.alarms = true;
  },
};

function read(text) {
  store.heard = Date.now();
  const message = JSON.parse(text);
  const isAsked = store.wanted === null || message.router === undefined || message.router === store.wanted;
  if (isAsked && readers[message.type]) {
    readers[message.type](message);
    plan();
  }
}

export function dismissAlarm(alarm) {
  store.alarms = store.alarms.filter((each) => each !== alarm);
  news.alarms = true;
  flush();
}

function lose() {
  if (socket) {
    socket.onopen = socket.onmessage = socket.onclose = null;
    socket.close();
    socket = null;
  }
  for (const router of store.routers.values()) {
    router.isRead = false;
    newsOf(router.name).whole = true;
  }
  setConnection("lost");
  setTimeout(connect, wait * (0.75 + Math.random() / 2));
  wait = Math.min(2 * wait, longestWait);
}

// Everything is read anew: who one is, which build the gateway is, which routers there are.
async function connect() {
  const [who, list, layout] = await Promise.all([
    ask("GET", "/api/v1/session"), ask("GET", "/api/v1/routers"),
    store.wanted === null ? null : ask("GET", routerPath(store.wanted) + "/layout")]);
  if (who.status === 401 || who.status === 403) return location.replace(loginAddress());
  if (who.status !== 200) return lose();
  if (build !== "" && store.heard > 0) {
    const served = await servedBuild();
    if (served === "") return lose();
    if (served !== build) return location.reload();
  }
  if (list.status !== 200) return lose();
  store.session = who.body;
  if (layout?.status === 200) store.layout = layout.body;
  news.connection = true;
  keepRouters(list.body.routers);
  openSocket();
}

function keepRouters(rows) {
  const names = rows.map((row) => row.name).filter((name) => store.wanted === null || name === store.wanted);
  for (const name of [...store.routers.keys()])
    if (!names.includes(name)) {
      store.routers.delete(name);
      newsOf(name).whole = true;
    }
  for (const name of names) {
    const router = entry(name), row = rows.find((each) => each.name === name);
    router.setState(row);
    router.lastError = row.last_error;
    router.isRead = false;
    newsOf(name).whole = true;
  }
  store.missing = store.wanted !== null && names.length === 0;
  plan();
}

function openSocket() {
  // A router that is not there cannot be asked for; all are, until it comes.
  socket = new WebSocket(eventsAddress(store.missing ? null : store.wanted));
  opened = Date.now();
  socket.onopen = () => {
    store.heard = Date.now();
    look();
  };
  socket.onmessage = (event) => {
    try {
      read(event.data);
    } catch (failure) {
      console.error(failure);
      lose(); // what was not understood is not shown as true
    }
  };
  socket.onclose = lose;
}

// What has come while the page stood still is read before the next look.
function watchSilence() {
  const now = Date.now(), isLate = now - looked > standstill;
  looked = now;
  hasStood = isLate && !hasStood;
  if (hasStood) return;
  // The clock may have been put back.
  opened = Math.min(opened, now);
  store.heard = Math.min(store.heard, now);
  const isOn = store.connection === "live", quiet = now - (isOn ? store.heard : Math.max(opened, store.heard));
  if (socket && quiet > (isOn ? silence : patience)) lose(); // also one that does not come to open
}

// `router`: the one that the page is about; null for all.
export function start(router) {
  store.wanted = router;
  connect();
  looked = Date.now();
  setInterval(watchSilence, lookPeriod);
  setInterval(() => ask("GET", "/api/v1/session"), useOfSession);
  addEventListener("offline", () => socket && lose());
  addEventListener("pageshow", (event) => event.persisted && location.reload());
}
