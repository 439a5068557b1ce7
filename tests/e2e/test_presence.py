"""Presence: a device that answers for its address is ONLINE, and OFFLINE once it stops."""

import re

import lab
from lab import CLIENT_CARD, LabTest, Server

# The presence cycle runs every 10 seconds; a probe waits at most 1 second.
PRESENCE_WAIT = 18


class PresenceFollowsTheDevice(LabTest):
    def test_a_device_turns_online_and_offline_when_its_address_goes(self):
        server = Server(self.bench, self.server_ns).started()
        ip = re.escape(lab.udhcpc(self.bench, self.client_ns).dump("bound")["ip"])
        server.wait_for(rf"ONLINE +{ip} ", timeout=PRESENCE_WAIT)
        mark = len(server.lines)
        self.bench.ip(self.client_ns, "-4", "address", "flush", "dev", CLIENT_CARD)
        server.wait_for(rf"OFFLINE +{ip} ", after=mark, timeout=PRESENCE_WAIT)


if __name__ == "__main__":
    lab.main()
