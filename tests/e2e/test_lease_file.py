"""The lease file survives stops, restarts and crashes, and its loss never stops serving."""

import glob
import json
import os
import re
import signal
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


class Crash(LabTest):
    def test_a_kill_during_a_busy_run_leaves_a_file_that_loads(self):
        server = Server(self.bench, self.server_ns,
                        ("--no-presence", "--range", "192.168.77.2-192.168.77.254")).started()
        load = self.bench.spawn(self.client_ns, [sys.executable, LOAD_GENERATOR, "--interface",
                                                 CLIENT_CARD, "--clients", "250", "--seconds",
                                                 "30"])
        server.wait_for(r"LEASE +bound .*", timeout=20)
        lab.wait_until(lambda: sum("LEASE" in line for line in server.lines) > 60, 20,
                       message="a busy run")
        server.stop(signal.SIGKILL)
        self.bench.stop(load)

        listing = self.bench.corvane(self.server_ns,
                                     ["leases", "--lease-file", server.lease_file])
        self.assertEqual(listing.returncode, 0, listing.stderr)
        self.assertGreater(len(stored_leases(server.lease_file)), 0)
        self.assertIn("192.168.77.", listing.stdout)
        self.assertEqual(glob.glob(server.lease_file + ".corrupt-*"), [])


class UnwritableLeaseFile(LabTest):
    def test_a_lease_file_that_cannot_be_written_raises_the_notice_and_serving_goes_on(self):
        path = self.bench.path("gone/leases.json")
        server = Server(self.bench, self.server_ns, ("--no-presence",), lease_file=path).started()
        # A folder where the file should go makes every save fail.
        os.makedirs(path)
        self.assertIsNotNone(lab.udhcpc(self.bench, self.client_ns).dump("bound"))
        server.wait_for(r"NOTICE +Leases could not be saved: ")
        server.wait_for(r"TX ACK ")
        self.assertEqual(server.stop(), 0)


if __name__ == "__main__":
    lab.main()
