"""The lease file survives stops, restarts and crashes, and its loss never stops serving."""

import glob
import json
import os
import re
import signal
import subprocess
import sys

import lab
from lab import CLIENT_CARD, LabTest, Server

LOAD_GENERATOR = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "bench",
                              "dora_load.py")


def stored_leases(path):
    with open(path) as document:
        return json.load(document)["leases"]


class StopAndRestart(LabTest):
    def test_a_stop_saves_and_a_narrower_range_drops_the_outside_lease(self):
        server = Server(self.bench, self.server_ns, ("--no-presence",)).started()
        ip = lab.udhcpc(self.bench, self.client_ns).dump("bound")["ip"]
        self.assertEqual(ip, "192.168.77.100")
        self.assertEqual(server.stop(), 0)
        [saved] = stored_leases(server.lease_file)
        self.assertEqual((saved["ip"], saved["state"]), (ip, "bound"))

        narrower = Server(self.bench, self.server_ns,
                          ("--no-presence", "--range", "192.168.77.120-192.168.77.150"))
        narrower.wait_for(rf"INFO +dropped lease {re.escape(ip)} for {saved['mac']}: "
                          "outside the range$")
        lab.wait_until(lambda: stored_leases(narrower.lease_file) == [], 5,
                       message="the dropped lease to leave leases.json")
        self.assertEqual(narrower.stop(), 0)


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
    for lease in stored_leases(path):
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
