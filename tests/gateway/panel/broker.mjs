// A message broker of one test, and the gateways of sites around it.

import { spawn } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { Rig, waitFor } from "./rig.mjs";

const program = "/usr/sbin/nats-server";
export const hasBroker = fs.existsSync(program);

export class Broker {
  constructor() {
    this.folder = fs.mkdtempSync(path.join(os.tmpdir(), "vrdx_broker."));
    this.port = -1; // the kernel chooses; kept when it is started again
  }

  async start() {
    const log = fs.openSync(path.join(this.folder, "broker.log"), "a");
    this.process = spawn(program, ["-a", "127.0.0.1", "-p", String(this.port), "--ports_file_dir", this.folder], { stdio: ["ignore", log, log] });
    fs.closeSync(log);
    const told = path.join(this.folder, `nats-server_${this.process.pid}.ports`);
    this.port = await waitFor("the broker listens", () => {
      try {
        return Number(JSON.parse(fs.readFileSync(told, "utf8")).nats[0].split(":").pop());
      } catch {
        return 0; // not there yet, or not whole
      }
    });
  }

  async kill() {
    if (!this.process || this.process.exitCode !== null || this.process.signalCode !== null) return;
    const ended = new Promise((done) => this.process.once("exit", done));
    this.process.kill("SIGKILL");
    await ended;
  }

  // A rig whose gateway is that site's; it is not started yet.
  site(name, peers) {
    const rig = new Rig();
    rig.configuration = rig.file("gateway.toml");
    fs.writeFileSync(rig.configuration, [`site = "${name}"`, "[nats]", `servers = "nats://127.0.0.1:${this.port}"`,
      ...peers.flatMap((peer) => ["[[peer]]", `site = "${peer}"`])].join("\n") + "\n");
    return rig;
  }

  async close() {
    await this.kill();
    fs.rmSync(this.folder, { recursive: true, force: true });
  }
}
