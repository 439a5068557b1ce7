"""Every ACK the server printed survives a crash under load, and no address goes to two
clients after the restart. A clean stop's save and the leases dropped by a narrower range
are checked with the real file in tests/server and by the restarts in test_lab_config and
test_hardening."""

import glob
import json
import os
import signal
import subprocess
import sys

import lab
from lab import CLIENT_CARD, LabTest, Server

LOAD_GENERATOR = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "bench",
                              "dora_load.py")


def sent_acks(server):
    """MAC -> address of every ACK the server printed as sent, in its --json output."""
    acks = {}
    lines = list(server.lines)
    for number, line in enumerate(lines):
        try:
            event = json.loads(line)
        except ValueError:
            # Output is flushed per batch, so a kill may cut the last line short.
            if number == len(lines) - 1:
                continue
            raise
        if event.get("event") == "sent" and event.get("type") == "ACK":
            acks[event["mac"]] = event["ip"]
    return acks


def holders(path):
    """Address -> MACs of the records that hold it, bound or offered."""
    held = {}
    for lease in lab.saved_document(path)["leases"]:
        if lease["state"] in ("bound", "offered"):
            held.setdefault(lease["ip"], []).append(lease["mac"])
    return held


class Crash(LabTest):
    # Both runs together stay below the pool's 253 addresses, so nothing needs reclaiming.
    def load(self, seed, clients):
        return self.bench.spawn(self.client_ns, [sys.executable, LOAD_GENERATOR, "--interface",
                                                 CLIENT_CARD, "--clients", str(clients),
                                                 "--seconds", "30", "--seed", str(seed)],
                                stdout=subprocess.DEVNULL)

    def test_every_printed_ack_survives_a_kill_and_no_address_goes_to_two_clients(self):
        arguments = ("--no-presence", "--json", "--range", "192.168.77.2-192.168.77.254")
        server = Server(self.bench, self.server_ns, arguments).started_json()
        first = self.load(1, 150)
        lab.wait_until(lambda: len(sent_acks(server)) > 80, 30, message="a busy run")
        server.stop(signal.SIGKILL)
        self.bench.stop(first)
        acked = sent_acks(server)

        listing = self.bench.corvane(self.server_ns, ["leases", "--lease-file", server.lease_file])
        self.assertEqual(listing.returncode, 0, listing.stderr)
        restarted = Server(self.bench, self.server_ns, arguments).started_json()
        restarted.wait_for(r"did not stop cleanly")
        # New clients after the restart must not be given an address acknowledged before.
        second = self.load(2, 80)
        lab.wait_until(lambda: len(sent_acks(restarted)) > 40, 30, message="new clients bound")
        self.bench.stop(second)
        self.assertEqual(restarted.stop(), 0)

        held = holders(server.lease_file)
        for mac, ip in acked.items():
            self.assertIn(mac, held.get(ip, []), f"{mac} lost {ip} in the crash")
        for mac, ip in sent_acks(restarted).items():
            self.assertNotIn(ip, {old_ip for old_mac, old_ip in acked.items() if old_mac != mac})
        self.assertEqual({ip: macs for ip, macs in held.items() if len(macs) > 1}, {})
        self.assertEqual(glob.glob(server.lease_file + ".corrupt-*"), [])


if __name__ == "__main__":
    lab.main()
