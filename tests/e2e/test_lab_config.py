"""Reservations, boot settings and extra options reach real clients, from a file and flags."""

import json

import lab
from lab import CLIENT_CARD, SERVER_CARD, LabTest, Server

RESERVED_MAC = "02:e2:e0:00:00:0a"
# Outside the range: a reservation may put a device anywhere on the network.
RESERVED_IP = "192.168.77.20"
TFTP_SERVER = "192.168.77.2"

DHCLIENT_CONFIG = """option corvane-lab code 224 = text;
request subnet-mask, routers, corvane-lab;
"""


class LabConfig(LabTest):
    def serve(self, path):
        # The file gives the card, the pool and the reservations; the flags add to it.
        return Server(self.bench, self.server_ns,
                      ("--config", path, "--next-server", TFTP_SERVER, "--boot-file",
                       "pxelinux.0", "--option", "42=192.168.77.1", "--option",
                       "224=text:hello-lab"), base=False).started()

    def device(self, mac, name, arguments=()):
        self.bench.ip(self.client_ns, "link", "set", CLIENT_CARD, "address", mac)
        client = lab.udhcpc(self.bench, self.client_ns, name=name, arguments=arguments)
        self.assertIsNotNone(client.dump("bound"), client.result.stdout + client.result.stderr)
        return client.dump("bound")

    def dhclient_option_224(self):
        client = lab.dhclient(self.bench, self.client_ns, DHCLIENT_CONFIG)
        bound = client.wait_dump("BOUND")
        self.bench.stop(client.process)
        return bound.get("new_corvane_lab")

    def test_reserved_devices_boot_settings_and_options_reach_udhcpc_and_dhclient(self):
        path = self.bench.path("lab.json")
        with open(path, "w") as out:
            json.dump({"interface": SERVER_CARD, "serverIP": lab.SERVER_IP, "prefixLength": 24,
                       "rangeStart": "192.168.77.100", "rangeEnd": "192.168.77.150",
                       "leaseSeconds": 600,
                       "reservations": [{"mac": RESERVED_MAC, "ip": RESERVED_IP, "name": "camera"},
                                        {"mac": "02:e2:e0:00:00:0b", "ip": "192.168.77.100"}],
                       "options": {"66": "tftp.lab"}}, out)
        server = self.serve(path)
        bound = self.device(RESERVED_MAC, "reserved",
                            ("-O", "tftp", "-O", "ntpsrv", "-O", "bootfile"))
        self.assertEqual((bound["ip"], bound["lease"]), (RESERVED_IP, "600"))
        self.assertEqual(bound.get("tftp"), "tftp.lab")
        self.assertEqual(bound.get("ntpsrv"), "192.168.77.1")
        self.assertEqual(bound.get("siaddr"), TFTP_SERVER)
        self.assertEqual(bound.get("bootfile"), "pxelinux.0")
        self.assertEqual(bound.get("boot_file"), "pxelinux.0")
        server.wait_for(rf"TX ACK +{RESERVED_IP} -> ")
        # Another device asking for the other reserved address gets the next free one.
        other = self.device("02:e2:e0:00:00:0c", "other", ("-r", "192.168.77.100"))
        self.assertEqual(other["ip"], "192.168.77.101")
        self.assertEqual(self.dhclient_option_224(), "hello-lab")

        # A reserved lease outside the range survives a restart.
        self.assertEqual(server.stop(), 0)
        self.serve(path).wait_for(rf"LEASE +bound {RESERVED_IP} {RESERVED_MAC}")


if __name__ == "__main__":
    lab.main()
