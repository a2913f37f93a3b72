"""The ways between gateways and brokers where no network namespaces are to be had: each goes through a relay in this
process, which can hold back what comes from either side. What was held back is handed on when the way is whole again,
as a real network does it that sends lost packets anew."""

import asyncio
import socket
import threading

LOOPBACK = "127.0.0.1"


class Relays:
    """`gateways` and `brokers` are names; each gateway has a way to each broker."""

    name = "relays"

    def __init__(self, gateways, brokers):
        self.ports = {}  # of the brokers themselves, once they listen
        self.open = {}  # by (from, to): set while what comes is handed on
        self.relay_ports = {}
        self.servers = []
        self.pairs = [(gateway, broker) for gateway in gateways for broker in brokers]
        self.loop = asyncio.new_event_loop()
        started = threading.Event()
        self.thread = threading.Thread(target=self._run, args=(started,))
        self.thread.start()
        started.wait()

    def cuttable(self):
        """Pairs between which the way can be cut."""
        return self.pairs

    def prefix(self, _machine):
        return []

    def listen_address(self, _broker):
        return LOOPBACK, -1, -1  # ports that the kernel chooses

    def broker_listens(self, broker, port):
        self.ports[broker] = port

    def broker_address(self, gateway, broker):
        return f"nats://{LOOPBACK}:{self.relay_ports[gateway, broker]}"

    def broker_socket(self, broker, patience):
        return socket.create_connection((LOOPBACK, self.ports[broker]), patience)

    def connect(self, _gateway, port, patience):
        return socket.create_connection((LOOPBACK, port), patience)

    def lose(self, sender, receiver):
        self.loop.call_soon_threadsafe(self.open[sender, receiver].clear)

    def mend(self, sender, receiver):
        self.loop.call_soon_threadsafe(self.open[sender, receiver].set)

    def close(self):
        self.loop.call_soon_threadsafe(self.loop.stop)
        self.thread.join()

    # --- the relays' thread ---

    def _run(self, started):
        asyncio.set_event_loop(self.loop)
        self.loop.run_until_complete(self._listen())
        started.set()
        self.loop.run_forever()
        for server in self.servers:
            server.close()
        tasks = asyncio.all_tasks(self.loop)
        for task in tasks:
            task.cancel()
        self.loop.run_until_complete(asyncio.gather(*tasks, return_exceptions=True))
        self.loop.close()

    async def _listen(self):
        for gateway, broker in self.pairs:
            for way in ((gateway, broker), (broker, gateway)):
                self.open[way] = asyncio.Event()
                self.open[way].set()
            server = await asyncio.start_server(
                lambda reader, writer, pair=(gateway, broker): self._relay(*pair, reader, writer), LOOPBACK, 0
            )
            self.servers.append(server)
            self.relay_ports[gateway, broker] = server.sockets[0].getsockname()[1]

    async def _relay(self, gateway, broker, reader, writer):
        try:
            await self.open[gateway, broker].wait()
            far_reader, far_writer = await asyncio.open_connection(LOOPBACK, self.ports[broker])
        except OSError:
            writer.close()
            return
        await asyncio.gather(
            self._hand_on(self.open[gateway, broker], reader, far_writer),
            self._hand_on(self.open[broker, gateway], far_reader, writer),
        )

    @staticmethod
    async def _hand_on(way, reader, writer):
        try:
            while data := await reader.read(65536):
                await way.wait()
                writer.write(data)
                await writer.drain()
        except OSError:
            pass
        await way.wait()
        writer.close()
