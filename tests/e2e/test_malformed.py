"""Crafted broken or stale datagrams are dropped with their reason, and serving goes on."""

import os
import re
import signal
import struct
import sys
import time

import lab
from lab import CLIENT_CARD, LabTest, Server

# Sends each hex payload as a UDP datagram from 0.0.0.0:68 to 255.255.255.255:67 on the card,
# the way a client without an address does.
SENDER = """
import sys
from scapy.all import Ether, IP, UDP, Raw, sendp
card = sys.argv[1]
for payload in sys.argv[2:]:
    sendp(Ether(dst="ff:ff:ff:ff:ff:ff") / IP(src="0.0.0.0", dst="255.255.255.255") /
          UDP(sport=68, dport=67) / Raw(bytes.fromhex(payload)), iface=card, verbose=False)
"""

MAC = bytes.fromhex("02e2e0000042")
COOKIE = bytes([99, 130, 83, 99])


def bootp_header(xid=0x1234):
    return (struct.pack("!BBBBIHHIIII", 1, 1, 6, 0, xid, 0, 0, 0, 0, 0, 0) + MAC + bytes(10) +
            bytes(64) + bytes(128))


# (rule, payload, the reason the server must log)
BROKEN = (
    ("shorter than a BOOTP header", bootp_header()[:100], "malformed (too short (100 bytes))"),
    ("header without the magic cookie", bootp_header() + bytes(4) + bytes([53, 1, 1, 255]),
     "malformed (bad magic cookie)"),
    ("an option longer than the datagram", bootp_header() + COOKIE + bytes([53, 1, 1, 12, 40]) +
     b"abc", "malformed (option 12 runs past the end)"),
)


class BrokenDatagramsAreDropped(LabTest):
    def setUp(self):
        super().setUp()
        self.server = Server(self.bench, self.server_ns, ("--no-presence",)).started()

    def test_each_broken_datagram_is_logged_as_a_drop_and_a_client_is_still_served(self):
        payloads = [payload.hex() for _, payload, _ in BROKEN]
        self.bench.run(self.client_ns, [sys.executable, "-c", SENDER, CLIENT_CARD, *payloads],
                       timeout=60)
        for rule, _, reason in BROKEN:
            with self.subTest(rule=rule):
                self.server.wait_for(rf"DROP +{re.escape(reason)}$")
        self.assertFalse(self.server.has_line(r"RX "), self.server.output())

        client = lab.udhcpc(self.bench, self.client_ns)
        self.assertIsNotNone(client.dump("bound"))
        self.server.wait_for(r"TX ACK ")

    def test_a_discover_queued_longer_than_a_client_waits_is_dropped_unanswered(self):
        discover = (bootp_header(0x5151) + COOKIE + bytes([53, 1, 1, 255])).hex()
        # A stopped server stands for one busy with a flood: the DISCOVER sits in its queue.
        os.kill(self.server.process.pid, signal.SIGSTOP)
        try:
            self.bench.run(self.client_ns, [sys.executable, "-c", SENDER, CLIENT_CARD, discover],
                           timeout=60)
            time.sleep(5)  # longer than the 4 s a client waits before it asks again
        finally:
            os.kill(self.server.process.pid, signal.SIGCONT)
        index, _ = self.server.wait_for(
            r"DROP .*waited in the receive queue longer than a client waits for its answer")
        self.assertFalse(self.server.has_line(r"TX OFFER"), self.server.output())

        # The same DISCOVER sent fresh is answered.
        self.bench.run(self.client_ns, [sys.executable, "-c", SENDER, CLIENT_CARD, discover],
                       timeout=60)
        self.server.wait_for(r"TX OFFER ", after=index)


if __name__ == "__main__":
    lab.main()
