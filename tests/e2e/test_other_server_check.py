"""corvane check looks for another DHCP server on the cable, here busybox udhcpd."""

import re
import subprocess

import lab
from lab import LabTest

ROGUE_IP = "192.168.77.2"
UDHCPD_CONFIG = """start 192.168.77.200
end 192.168.77.210
interface {card}
lease_file {folder}/udhcpd.leases
pidfile {folder}/udhcpd.pid
option subnet 255.255.255.0
"""


class OtherServerCheck(LabTest):
    def check(self):
        return self.bench.corvane(self.server_ns, ["check", "--interface", lab.SERVER_CARD,
                                                   "--virtual", *lab.BASE_CONFIG])

    # A quiet cable's line is in the full checklist of tests/host/host_e2e_test.cpp.
    def test_a_rogue_server_on_the_other_end_is_named_and_only_warns(self):
        self.bench.ip(self.client_ns, "address", "add", f"{ROGUE_IP}/24", "dev", lab.CLIENT_CARD)
        rogue_mac = re.search(r"link/ether (\S+)", self.bench.ip(
            self.client_ns, "link", "show", lab.CLIENT_CARD).stdout).group(1)
        config = self.bench.path("udhcpd.conf")
        with open(config, "w") as out:
            out.write(UDHCPD_CONFIG.format(card=lab.CLIENT_CARD, folder=self.bench.folder))
        self.bench.spawn(self.client_ns, ["busybox", "udhcpd", "-f", "-a", "100", config],
                         stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

        # udhcpd may need a moment to open its socket; a later check must see it.
        def warned():
            result = self.check()
            return result if ROGUE_IP in result.stdout else None

        noisy = lab.wait_until(warned, 20, message="the check to name udhcpd")
        self.assertIn(f"\u26a0 {ROGUE_IP} ({rogue_mac}) answers DHCP on {lab.SERVER_CARD}: "
                      "devices may take its address instead\n", noisy.stdout)
        self.assertEqual(noisy.returncode, 0, "a warning never blocks the start")


if __name__ == "__main__":
    lab.main()
