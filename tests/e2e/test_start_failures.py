"""A held port 67 refuses the start, naming its holder, with exit status 1."""

import os
import sys

import lab
from lab import SERVER_CARD, LabTest

# Holds UDP port 67 on every card of its namespace, like another DHCP server would.
PORT_HOLDER = """
import socket, time
holder = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
holder.bind(("0.0.0.0", 67))
print("bound", flush=True)
time.sleep(120)
"""


def port_in_use(holder):
    """The refusal names the holder in full (ss cuts names short) with its process number."""
    name = os.path.basename(os.path.realpath(sys.executable))
    return (f"Port 67 is in use by {name} (PID {holder.pid}). Stop it, or turn off the shared "
            "connection or virtual-machine network that started it.")


class StartFailures(LabTest):
    def test_a_held_port_names_its_holder_both_in_the_checks_and_at_the_start(self):
        holder = self.bench.spawn(self.server_ns, [sys.executable, "-c", PORT_HOLDER],
                                  stdout=lab.subprocess.PIPE, text=True)
        self.assertEqual(holder.stdout.readline().strip(), "bound")
        refusal = port_in_use(holder)
        for name, flags, expected in (("checks", (), ("\u2717 " + refusal, "add --force")),
                                      ("start", ("--force",), (refusal,))):
            with self.subTest(refused_by=name):
                result = self.bench.corvane(self.server_ns, [
                    "serve", "--interface", SERVER_CARD, "--virtual", "--lease-file",
                    self.bench.path("leases.json"), *lab.BASE_CONFIG, *flags])
                self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
                for text in expected:
                    self.assertIn(text, result.stderr)
                self.assertNotIn("START", result.stdout)


if __name__ == "__main__":
    lab.main()
