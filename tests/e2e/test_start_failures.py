"""corvane serve refuses to start, with the reason and the right exit status."""

import sys
import unittest

import lab
from lab import SERVER_CARD, Lab

# Holds UDP port 67 on every card of its namespace, like another DHCP server would.
PORT_HOLDER = """
import socket, sys, time
holder = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
holder.bind(("0.0.0.0", 67))
print("bound", flush=True)
time.sleep(120)
"""

PORT_IN_USE = ("Port 67 is in use by python3. Turn off Internet Sharing or stop the VM's shared "
               "network.")


class StartFailures(unittest.TestCase):
    def setUp(self):
        self.bench = Lab()
        self.addCleanup(self.bench.close)
        self.server_ns, self.client_ns = self.bench.served_pair()

    def serve(self, *arguments):
        return self.bench.corvane(self.server_ns, [
            "serve", "--interface", SERVER_CARD, "--virtual", "--lease-file",
            self.bench.path("leases.json"), "--log-dir", self.bench.path("logs"),
            *lab.with_base_config(arguments)])

    def test_a_held_port_names_its_holder_both_in_the_checks_and_at_the_start(self):
        holder = self.bench.spawn(self.server_ns, [sys.executable, "-c", PORT_HOLDER],
                                  stdout=lab.subprocess.PIPE, text=True)
        self.assertEqual(holder.stdout.readline().strip(), "bound")
        for name, flags, expected in (("checks", (), "\u2717 " + PORT_IN_USE),
                                      ("start", ("--force",), PORT_IN_USE)):
            with self.subTest(refused_by=name):
                result = self.serve(*flags)
                self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
                self.assertIn(expected, result.stderr.splitlines())
                self.assertNotIn("START", result.stdout)

    def test_bad_configurations_list_every_message_and_exit_with_status_2(self):
        for name, flags, messages in (
                ("unreadable flags", ("--lease", "soon", "--router", "nowhere"),
                 ['--lease: "soon" is not a lease time.', '--router: "nowhere" is not an IPv4']),
                ("broken rules", ("--range", "192.168.77.150-192.168.77.100", "--lease", "10s"),
                 ["Range start must not be after range end.",
                  "Lease time must be between 1 minute and 30 days."]),
                ("unknown card", ("--interface", "cv-none"),
                 ['There is no network card named "cv-none".'])):
            with self.subTest(case=name):
                arguments = list(flags)
                if "--interface" in arguments:
                    result = self.bench.corvane(self.server_ns, ["serve", *arguments])
                else:
                    result = self.serve(*arguments)
                self.assertEqual(result.returncode, 2, result.stdout + result.stderr)
                for message in messages:
                    self.assertIn(message, result.stderr)

    def test_a_failing_check_refuses_the_start_unless_forced(self):
        self.bench.ip(self.server_ns, "address", "flush", "dev", SERVER_CARD)
        refused = self.serve("--no-presence")
        self.assertEqual(refused.returncode, 1, refused.stdout + refused.stderr)
        self.assertIn("\u2717 Card isn't set to 192.168.77.1/24", refused.stderr)
        self.assertIn("add --force", refused.stderr)

        forced = lab.Server(self.bench, self.server_ns, ("--no-presence", "--force")).started()
        self.assertEqual(forced.stop(), 0)


if __name__ == "__main__":
    lab.main()
