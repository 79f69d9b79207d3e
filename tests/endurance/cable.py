"""Two places with a cable between them, which loses, delays and cuts what passes."""
import collections
import fcntl
import os
import random
import select
import socket
import struct
import subprocess
import threading
import time

TUNSETIFF = 0x400454CA
IFF_TUN = 0x0001
IFF_NO_PI = 0x1000


class Condition:
    """What happens to what passes: a share is lost, the rest is late by so much, give or take half of that; or all is
    lost."""

    def __init__(self):
        self.loss = 0.0
        self.delay_s = 0.0
        self.is_cut = False
        self._random = random.Random(30)

    def loses(self):
        return self.is_cut or self._random.random() < self.loss

    def lateness(self):
        return self.delay_s * self._random.uniform(0.5, 1.5)


class NamespaceCable:
    """Two network namespaces, each with a TUN device; the packets between them pass through this process. For root."""

    kind = "packets between two network namespaces"
    address = "10.99.0.1"  # of the first place, as the second one reaches it

    def __init__(self):
        self.condition = Condition()
        self._ends = []
        self._is_ending = threading.Event()
        names = [f"quarn-{os.getpid()}-{end}" for end in "ab"]
        self.namespaces = []
        try:
            for name, address in zip(names, ("10.99.0.1", "10.99.0.2")):
                subprocess.run(["ip", "netns", "add", name], check=True, capture_output=True)
                self.namespaces.append(name)
                device = f"qn{os.getpid() % 100000}{name[-1]}"
                end = os.open("/dev/net/tun", os.O_RDWR | os.O_NONBLOCK)
                self._ends.append(end)
                fcntl.ioctl(end, TUNSETIFF, struct.pack("16sH22x", device.encode(), IFF_TUN | IFF_NO_PI))
                for command in (f"ip link set {device} netns {name}", f"ip -n {name} addr add {address}/24 dev {device}",
                                f"ip -n {name} link set {device} up", f"ip -n {name} link set lo up"):
                    subprocess.run(command.split(), check=True, capture_output=True)
        except (OSError, subprocess.CalledProcessError):
            self._remove()
            raise
        self._thread = threading.Thread(target=self._carry, daemon=True)
        self._thread.start()

    def command(self, place, arguments):
        """The command that runs the program in the first place (0) or the second (1)."""
        return ["ip", "netns", "exec", self.namespaces[place], *arguments]

    def close(self):
        self._is_ending.set()
        self._thread.join()
        self._remove()

    def _remove(self):
        for end in self._ends:
            os.close(end)
        for name in self.namespaces:
            subprocess.run(["ip", "netns", "del", name], check=False)

    def _carry(self):
        waiting = [collections.deque(), collections.deque()]  # for each end: when to deliver what, in order
        while not self._is_ending.is_set():
            now = time.monotonic()
            nearest = min((queue[0][0] for queue in waiting if queue), default=now + 0.1)
            for end in select.select(self._ends, [], [], max(0, min(nearest - now, 0.1)))[0]:
                queue = waiting[1 - self._ends.index(end)]
                packet = os.read(end, 65536)
                if not self.condition.loses():
                    arrival = time.monotonic() + self.condition.lateness()
                    queue.append((max(arrival, queue[-1][0]) if queue else arrival, packet))
            for end, queue in zip(self._ends, waiting):
                while queue and queue[0][0] <= time.monotonic():
                    packet = queue.popleft()[1]
                    if not self.condition.is_cut:
                        os.write(end, packet)


class RelayCable:
    """Without root: a relay of connections on the loopback interface. A connection cannot lose parts, so that what would
    be lost is late instead; while the cable is cut nothing passes, and what had been accepted waits."""

    kind = "a relay of connections on the loopback interface"
    address = "127.0.0.1"

    def __init__(self):
        self.condition = Condition()
        self._listeners = {}

    def command(self, _place, arguments):
        return arguments

    def carry(self, port):
        """The port at which the second place reaches the port of the first one."""
        listener = socket.create_server((self.address, 0))
        threading.Thread(target=self._accept, args=(listener, port), daemon=True).start()
        self._listeners[port] = listener
        return listener.getsockname()[1]

    def close(self):
        for listener in self._listeners.values():
            listener.close()

    def _accept(self, listener, port):
        while True:
            try:
                near = listener.accept()[0]
                far = socket.create_connection((self.address, port))
            except OSError:
                return
            for source, sink in ((near, far), (far, near)):
                threading.Thread(target=self._relay, args=(source, sink), daemon=True).start()

    def _relay(self, source, sink):
        try:
            while piece := source.recv(16384):
                while self.condition.loses():
                    time.sleep(0.05)
                time.sleep(self.condition.lateness())
                sink.sendall(piece)
        except OSError:
            pass
        for end in (source, sink):
            end.close()


def lay_cable():
    try:
        return NamespaceCable()
    except (OSError, subprocess.CalledProcessError):
        return RelayCable()
