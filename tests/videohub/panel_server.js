// Starts the package videohub-server, which is a library: node panel_server.js FOLDER PORT.
//
// It serves control panels, and so connects back to each of its clients, always to port 9991, and hangs up on one that
// does not answer there. That panel is played here, on a port of its own, since tests run side by side.
// Prints a line for each block that clients send ('block ["VIDEO OUTPUT ROUTING:","0 1"]') and for each take in
// it ('press 0 1').
"use strict";
const net = require("net");
const path = require("path");

const panelPort = 9991;
const connect = net.connect;
const panel = net.createServer((socket) => {
  socket.on("error", () => {});
  socket.resume();
  socket.write("SMART DEVICE:\nModel: Played Panel\nUnique ID: 1\nInput count: 40\nInputs across: 20\nInputs down: 2\n\n");
});
net.connect = (port, host) => connect(port === panelPort ? panel.address().port : port, host);

const VideohubServer = require(path.join(process.argv[2], "videohub.js"));
const server = new VideohubServer();
server.on("press", (client, output, source) => console.log(`press ${output} ${source}`));
server.on("debug", (client, lines) => {
  if (Array.isArray(lines)) console.log(`block ${JSON.stringify(lines)}`);
});
server.on("error", (error) => {
  console.error(error.message);
  process.exit(1);
});
panel.listen(0, "127.0.0.1", () => server.start("127.0.0.1", Number(process.argv[3])));
