"""Two places with a cable between them, which loses, delays and cuts what passes."""
import collections
import fcntl
import os
import random
import select
import struct
import subprocess
import threading
import time

TUNSETIFF = 0x400454CA
IFF_TUN = 0x0001
IFF_NO_PI = 0x1000


class Cable:
    """Two network namespaces, each with a TUN device; the packets between them pass through this process: a share of them
    is lost, the rest is late by so much, give or take half of that; or all are lost. Only root can lay one."""

    address = "10.99.0.1"  # of the first place, as the second one reaches it

    def __init__(self):
        self.loss = 0.0
        self.delay_s = 0.0
        self.is_cut = False
        self._random = random.Random(30)
        self._ends = []
        self._namespaces = []
        self._is_ending = False
        self._thread = threading.Thread(target=self._carry, daemon=True)
        try:
            for address in (self.address, "10.99.0.2"):
                self._lay_end(address)
        except BaseException:
            self._remove()
            raise
        self._thread.start()

    def _lay_end(self, address):
        namespace = device = f"qn{os.getpid() % 1000000}-{len(self._ends)}"
        subprocess.run(["ip", "netns", "add", namespace], check=True)
        self._namespaces.append(namespace)
        end = os.open("/dev/net/tun", os.O_RDWR | os.O_NONBLOCK)
        self._ends.append(end)
        fcntl.ioctl(end, TUNSETIFF, struct.pack("16sH22x", device.encode(), IFF_TUN | IFF_NO_PI))
        for command in (f"link set {device} netns {namespace}", f"-n {namespace} addr add {address}/24 dev {device}",
                        f"-n {namespace} link set {device} up", f"-n {namespace} link set lo up"):
            subprocess.run(["ip", *command.split()], check=True)

    def command(self, place, arguments):
        """The command that runs the program in the first place (0) or the second (1)."""
        return ["ip", "netns", "exec", self._namespaces[place], *arguments]

    def close(self):
        self._is_ending = True
        self._thread.join()
        self._remove()

    def _remove(self):
        for end in self._ends:
            os.close(end)
        for namespace in self._namespaces:
            subprocess.run(["ip", "netns", "del", namespace], check=False)

    def _carry(self):
        waiting = [collections.deque(), collections.deque()]  # for each end: when to deliver what, in order
        while not self._is_ending:
            for end in select.select(self._ends, [], [], 0.001 if any(waiting) else 0.1)[0]:
                queue = waiting[1 - self._ends.index(end)]
                packet = os.read(end, 65536)
                if self._random.random() >= self.loss:
                    arrival = time.monotonic() + self.delay_s * self._random.uniform(0.5, 1.5)
                    queue.append((max(arrival, queue[-1][0]) if queue else arrival, packet))
            for end, queue in zip(self._ends, waiting):
                while queue and queue[0][0] <= time.monotonic():
                    packet = queue.popleft()[1]
                    if not self.is_cut:
                        os.write(end, packet)
