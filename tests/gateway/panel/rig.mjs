// A gateway, drivers and simulated routers of one test, in a folder of their own. Nothing of them survives it.

import { spawn, spawnSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { fileURLToPath } from "node:url";

const bin = process.env.VRDX_BIN, here = path.dirname(fileURLToPath(import.meta.url));
export const patience = 60000; // milliseconds; reached only when a test fails

const pause = (milliseconds) => new Promise((done) => setTimeout(done, milliseconds));

// Waits until `condition` gives something true, and gives that.
export async function waitFor(what, condition) {
  const end = Date.now() + patience;
  for (;;) {
    const result = await condition();
    if (result) return result;
    if (Date.now() > end) throw new Error(`waited in vain: ${what}`);
    await pause(10);
  }
}

// What the simulated router remembers: names, and what each output shows. Lists begin with number 1. U+E000 in a name
// becomes bytes that are no UTF-8.
function stateText({ inputs, outputs }) {
  const lines = ["*COMMAND=simulated router", "*TYPE=state"];
  inputs.forEach((name, at) => lines.push(`i${at}.name=${name}`));
  outputs.forEach(({ name, video, audio }, at) => {
    const number = (source) => (source ? String(source - 1) : "none");
    lines.push(`o${at}.name=${name}`, `o${at}.input.audio=${number(audio ?? video)}`, `o${at}.input.video=${number(video)}`);
  });
  const text = lines.join("\n") + "\n\n";
  return Buffer.from(Buffer.from(text).toString("latin1").replaceAll("\xee\x80\x80", "\xff\xfe\x80"), "latin1");
}

export class Rig {
  constructor() {
    this.folder = fs.mkdtempSync(path.join(os.tmpdir(), "vrdx_panel."));
    for (const each of ["items", "run", "state"]) fs.mkdirSync(this.file(each), { mode: 0o755 });
    this.drivers = new Map();
    this.emulators = [];
    this.gateway = null;
    this.port = 0;
  }

  file(...parts) {
    return path.join(this.folder, ...parts);
  }

  get address() {
    return `http://127.0.0.1:${this.port}`;
  }

  // Settings of the item, and perhaps what the router remembers. Starts its driver unless told otherwise.
  async addRouter(name, settings, remembered = null, isStarted = true) {
    const lines = ["driver=route_simulator", "stay resident=1"];
    if (remembered) {
      fs.writeFileSync(this.file(`${name}.state`), stateText(remembered));
      lines.push(`simulated state file=${this.file(`${name}.state`)}`);
    }
    for (const [key, value] of Object.entries(settings)) lines.push(`simulated ${key}=${value}`);
    fs.writeFileSync(this.file("items", `${name}.item`), lines.join("\n") + "\n");
    if (isStarted) await this.startDriver(name);
  }

  // An emulated Videohub of 8 x 8 below a driver; gives a function that sends it a line.
  async addVideohub(name) {
    const router = spawn("python3", ["-B", path.join(here, "emulated_videohub.py")], { stdio: ["pipe", "pipe", "inherit"] });
    this.emulators.push(router);
    let port = "";
    router.stdout.on("data", (data) => (port += data));
    await waitFor("the port of the emulated router", () => port.includes("\n"));
    fs.writeFileSync(this.file("items", `${name}.item`), `driver=route_videohub\nstay resident=1\naddress=127.0.0.1\nport=${port.trim()}\n`);
    await this.startDriver(name);
    return (line) => router.stdin.write(line + "\n");
  }

  async startDriver(name) {
    const log = fs.openSync(this.file(`${name}.log`), "a");
    const driver = spawn(`${bin}/vrdx_routedriver`,
      ["--file", this.file("items", `${name}.item`), `--sock=${this.file("run", `${name}.sock`)}`, `--metadir=${this.folder}`],
      { stdio: ["ignore", log, log] });
    fs.closeSync(log);
    this.drivers.set(name, driver);
    await waitFor(`the socket of ${name}`, () => fs.existsSync(this.file("run", `${name}.sock`)));
  }

  async killDriver(name) {
    await this.#end(this.drivers.get(name), "SIGKILL");
  }

  // The backend is the driver's only child.
  backendOf(name) {
    const driver = this.drivers.get(name).pid;
    return Number(fs.readFileSync(`/proc/${driver}/task/${driver}/children`, "utf8").trim().split(" ")[0]);
  }

  routectl(name, ...command) {
    return spawnSync(`${bin}/vrdx_routectl`, ["--sock", this.file("run", `${name}.sock`), ...command], { encoding: "utf8" });
  }

  async startGateway(port = 0) {
    const log = fs.openSync(this.file("gateway.log"), "a");
    this.gateway = spawn(`${bin}/vrdx_gateway`,
      ["--items", this.file("items"), "--run", this.file("run"), "--state", this.file("state"),
        ...(this.configuration ? ["--config", this.configuration] : []),
        "--listen", `127.0.0.1:${port}`, "--ready-fd", "3"],
      { stdio: ["ignore", log, log, "pipe"] });
    fs.closeSync(log);
    let told = "";
    this.gateway.stdio[3].on("data", (data) => (told += data));
    await waitFor("the gateway is ready", () => {
      if (this.gateway.exitCode !== null) throw new Error("the gateway has ended: " + fs.readFileSync(this.file("gateway.log"), "utf8"));
      return told.includes("\n");
    });
    this.port = Number(told.trim().split(":").pop());
  }

  // It stands still and its connections stay, as those to a machine behind a cut cable do.
  stopGateway() {
    this.gateway.kill("SIGSTOP");
  }

  letGatewayGoOn() {
    this.gateway.kill("SIGCONT");
  }

  async killGateway() {
    await this.#end(this.gateway, "SIGKILL");
  }

  // The text of a new token.
  token(name, role, ...limits) {
    const made = spawnSync(`${bin}/vrdx_gateway`, ["token", "add", name, "--role", role, ...limits, "--state", this.file("state")], { encoding: "utf8" });
    if (made.status !== 0) throw new Error(made.stderr);
    return made.stdout.trim();
  }

  // A running gateway notices a new token within a second. Asked seldom: wrong tokens are slowed down.
  async waitForToken(token) {
    await waitFor("the token is known", async () => {
      if ((await this.ask(token, "GET", "/api/v1/session")).status === 200) return true;
      await pause(300);
      return false;
    });
  }

  // Of a session of this token, as "name=value".
  async cookie(token) {
    const answer = await fetch(this.address + "/api/v1/session", {
      method: "POST",
      headers: { Origin: this.address, "Content-Type": "application/json" },
      body: JSON.stringify({ token }),
    });
    if (answer.status !== 200) throw new Error(`no session: ${answer.status}`);
    return answer.headers.get("set-cookie").split(";")[0];
  }

  removeToken(name) {
    spawnSync(`${bin}/vrdx_gateway`, ["token", "remove", name, "--state", this.file("state")]);
  }

  async ask(token, method, where, body) {
    const answer = await fetch(this.address + where, {
      method,
      headers: { Authorization: `Bearer ${token}`, ...(body ? { "Content-Type": "application/json" } : {}) },
      body: body && JSON.stringify(body),
    });
    return { status: answer.status, body: await answer.json().catch(() => null) };
  }

  async #end(process, signal) {
    if (!process || process.exitCode !== null || process.signalCode !== null) return;
    const ended = new Promise((done) => process.once("exit", done));
    process.kill(signal);
    await ended;
  }

  async close() {
    await Promise.all([
      this.#end(this.gateway, "SIGKILL"),
      ...[...this.drivers.values()].map((driver) => this.#end(driver, "SIGTERM")),
      ...this.emulators.map((emulator) => this.#end(emulator, "SIGKILL")),
    ]);
    fs.rmSync(this.folder, { recursive: true, force: true });
  }
}
