"""A network namespace for each gateway and each broker, all at one switch. What one sends to another one can be lost, in
either direction alone; the kernels at both ends do what they do when a cable is pulled. Needs root.

The namespaces have no names: they live as long as a descriptor here, and go with this process."""

import ctypes
import os
import socket
import subprocess
import threading

CLONE_NEWNET = 0x40000000
NOBODY = "02:00:00:00:ff:ff"  # a hardware address that no machine has
CLIENT_PORT, CLUSTER_PORT = 4222, 6222
libc = ctypes.CDLL(None, use_errno=True)


def check(result):
    if result != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


def in_thread(work):
    """Namespaces are a thread's own: what enters one, or makes one, does so in a thread that ends with it."""
    results = []

    def call():
        try:
            results.append((work(), None))
        except OSError as problem:
            results.append((None, problem))

    thread = threading.Thread(target=call)
    thread.start()
    thread.join()
    result, problem = results[0]
    if problem:
        raise problem
    return result


def new_namespace():
    def make():
        check(libc.unshare(CLONE_NEWNET))
        return os.open("/proc/thread-self/ns/net", os.O_RDONLY | os.O_CLOEXEC)

    return in_thread(make)


def problem_here():
    """Why there can be no namespaces here; "" when there can."""
    try:
        switch = Switch(["one", "two"])
    except (OSError, subprocess.CalledProcessError) as problem:
        return f"no network namespaces can be made here: {problem}"
    switch.close()
    return ""


class Switch:
    """Machines, each in a namespace of its own."""

    def __init__(self, machines):
        self.numbers = {machine: number for number, machine in enumerate(machines, 1)}
        self.namespaces = {}
        self.switch = -1
        try:
            self.switch = new_namespace()
            self._ip(self.switch, "link add switch type bridge", "link set switch up")
            for machine in machines:
                self._connect(machine)
        except BaseException:
            self.close()
            raise

    def _connect(self, machine):
        number = self.numbers[machine]
        own = self.namespaces[machine] = new_namespace()
        port = f"port{number}"
        self._ip(
            self.switch,
            f"link add {port} type veth peer name eth0 address {self.hardware(machine)} netns {self.path(own)}",
            f"link set {port} master switch",
            f"link set {port} up",
        )
        self._ip(own, "link set lo up", f"address add {self.address(machine)}/16 dev eth0", "link set eth0 up")

    def address(self, machine):
        return f"10.77.0.{self.numbers[machine]}"

    def hardware(self, machine):
        return f"02:00:00:00:00:{self.numbers[machine]:02x}"

    @staticmethod
    def path(descriptor):
        return f"/proc/{os.getpid()}/fd/{descriptor}"

    def prefix_of(self, descriptor):
        return ["nsenter", f"--net={self.path(descriptor)}"]

    def _ip(self, descriptor, *lines):
        text = "".join(line + "\n" for line in lines)
        subprocess.run([*self.prefix_of(descriptor), "ip", "-batch", "-"], input=text, text=True, check=True, capture_output=True)

    def lose(self, sender, receiver):
        self._neighbour(sender, receiver, NOBODY)

    def mend(self, sender, receiver):
        self._neighbour(sender, receiver, self.hardware(receiver))

    def _neighbour(self, sender, receiver, hardware):
        line = f"neighbour replace {self.address(receiver)} lladdr {hardware} nud permanent dev eth0"
        self._ip(self.namespaces[sender], line)

    def connection(self, machine, address, patience):
        """A connection that begins at this machine."""

        def connect():
            check(libc.setns(self.namespaces[machine], CLONE_NEWNET))
            return socket.create_connection(address, patience)

        return in_thread(connect)

    def close(self):
        for descriptor in [*self.namespaces.values(), *([self.switch] if self.switch >= 0 else [])]:
            os.close(descriptor)
        self.namespaces.clear()
        self.switch = -1


class Namespaces(Switch):
    """As Relays has it."""

    name = "network namespaces"

    def __init__(self, gateways, brokers):
        super().__init__([*gateways, *brokers])
        self.pairs = [(gateway, broker) for gateway in gateways for broker in brokers]
        self.pairs += [(one, other) for at, one in enumerate(brokers) for other in brokers[:at]]

    def cuttable(self):
        return self.pairs

    def prefix(self, machine):
        return self.prefix_of(self.namespaces[machine])

    def listen_address(self, broker):
        return self.address(broker), CLIENT_PORT, CLUSTER_PORT

    def broker_listens(self, broker, port):
        """The port is always the same."""

    def broker_address(self, _gateway, broker):
        return f"nats://{self.address(broker)}:{CLIENT_PORT}"

    def broker_socket(self, broker, patience):
        return self.connection(broker, (self.address(broker), CLIENT_PORT), patience)

    def connect(self, gateway, port, patience):
        return self.connection(gateway, ("127.0.0.1", port), patience)
