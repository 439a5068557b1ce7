"""Presence: a device that stays shows ONLINE, one that vanishes turns OFFLINE."""

import re
import unittest

import lab
from lab import Lab, Server

# The presence cycle runs every 10 seconds; a probe waits at most 1 second.
PRESENCE_INTERVAL = 10
MARGIN = 8


class PresenceFollowsTheDevices(unittest.TestCase):
    def setUp(self):
        self.bench = Lab()
        self.addCleanup(self.bench.close)
        self.server_ns, self.client_nss = self.bench.switched(2)
        self.server = Server(self.bench, self.server_ns).started()

    def test_a_staying_device_is_online_and_a_vanished_one_turns_offline(self):
        addresses = []
        for number, namespace in enumerate(self.client_nss):
            client = lab.udhcpc(self.bench, namespace, name=f"device{number}", once=False)
            addresses.append(client.wait_dump("bound")["ip"])
        staying, leaving = addresses
        for ip in addresses:
            self.server.wait_for(rf"ONLINE +{re.escape(ip)} ", timeout=PRESENCE_INTERVAL + MARGIN)

        mark = len(self.server.lines)
        self.bench.remove_namespace(self.client_nss[1])
        self.server.wait_for(rf"OFFLINE +{re.escape(leaving)} ", after=mark,
                             timeout=PRESENCE_INTERVAL + MARGIN)
        # The cycle that found the vanished device probed the staying one too, and a presence
        # line appears only on a change.
        self.assertFalse(self.server.has_line(rf"(OFFLINE|CONFLICT|UNKNOWN) +{re.escape(staying)} ",
                                              after=mark), self.server.output())


if __name__ == "__main__":
    lab.main()
