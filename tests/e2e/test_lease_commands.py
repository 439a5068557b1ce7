"""corvane leases, forget and clear-expired on a lease file a real server wrote."""

import json
import re

import lab
from lab import LabTest, Server

IN_USE_BY_SERVER = "Another corvane serve is using the lease file"


class LeaseCommands(LabTest):
    def setUp(self):
        super().setUp()
        self.server = Server(self.bench, self.server_ns, ("--no-presence", "--lease", "10m"))
        self.server.started()
        self.client = lab.udhcpc(self.bench, self.client_ns).dump("bound")
        self.mac = self.server.wait_for(r"LEASE +bound ")[1].split()[-1]
        self.lease_file = ("--lease-file", self.server.lease_file)

    def corvane(self, *arguments):
        return self.bench.corvane(self.server_ns, list(arguments))

    def test_a_bad_mac_and_a_second_server_are_refused_while_the_server_runs(self):
        for name, arguments, status, refusal in (
                ("bad MAC", ("forget", "02:e2:e0:00:00", *self.lease_file), 2,
                 '"02:e2:e0:00:00" is not a MAC address.'),
                ("second server", ("serve", "--interface", lab.SERVER_CARD, "--virtual",
                                   "--force", *lab.BASE_CONFIG, *self.lease_file), 1,
                 IN_USE_BY_SERVER)):
            with self.subTest(command=name):
                result = self.corvane(*arguments)
                self.assertEqual(result.returncode, status, result.stdout + result.stderr)
                self.assertIn(refusal, result.stderr)
        # The table is unchanged: still the one lease (the running server answers).
        listing = self.corvane("leases", *self.lease_file)
        self.assertEqual(len(listing.stdout.strip().splitlines()), 2, listing.stdout)

    def test_leases_lists_clear_expired_and_forget_edit_after_the_stop(self):
        released_mac = "02:e2:e0:00:00:07"
        self.bench.ip(self.client_ns, "link", "set", lab.CLIENT_CARD, "address", released_mac)
        released = lab.udhcpc(self.bench, self.client_ns, name="released", arguments=("-R",),
                              once=False)
        released_ip = released.wait_dump("bound")["ip"]
        # udhcpc -R releases when it is ended, as a device does when it shuts down.
        self.bench.stop(released.process)
        self.server.wait_for(rf"LEASE +released {re.escape(released_ip)} {released_mac}$")
        self.assertEqual(self.server.stop(), 0)

        listing = self.corvane("leases", *self.lease_file)
        self.assertEqual(listing.returncode, 0, listing.stderr)
        heading, bound, gone = listing.stdout.splitlines()
        self.assertRegex(heading, r"^ADDRESS +MAC +MAKER +STATE +EXPIRES +HOST NAME$")
        self.assertRegex(bound, rf"^{re.escape(self.client['ip'])} +{self.mac} +locally administered +bound +in (9|10) m")
        self.assertRegex(gone, rf"^{re.escape(released_ip)} +{released_mac} +locally administered +released +- +-$")
        for column, value in (("MAC", self.mac), ("MAKER", "locally administered"),
                              ("STATE", "bound"), ("EXPIRES", "in ")):
            self.assertEqual(bound.index(value), heading.index(column), listing.stdout)

        cleared = self.corvane("clear-expired", *self.lease_file)
        self.assertEqual(cleared.returncode, 0, cleared.stderr)
        self.assertIn("Cleared 1 ", cleared.stdout)
        remaining = self.corvane("leases", *self.lease_file).stdout
        self.assertIn(self.mac, remaining)
        self.assertNotIn(released_mac, remaining)

        forgotten = self.corvane("forget", self.mac.upper(), *self.lease_file)
        self.assertEqual(forgotten.returncode, 0, forgotten.stderr)
        self.assertIn(self.client["ip"], forgotten.stdout)
        self.assertIn("No leases in", self.corvane("leases", *self.lease_file).stdout)
        again = self.corvane("forget", self.mac, *self.lease_file)
        self.assertEqual(again.returncode, 1)
        self.assertIn(f"There is no lease for {self.mac}", again.stderr)


if __name__ == "__main__":
    lab.main()
