"""Reservations, boot settings and extra options reach real clients, also from a file."""

import json
import os

import lab
from lab import CLIENT_CARD, SERVER_CARD, LabTest, Server

RESERVED_MAC = "02:e2:e0:00:00:0a"
# Outside the range: a reservation may put a device anywhere on the network.
RESERVED_IP = "192.168.77.20"
TFTP_SERVER = "192.168.77.2"

DHCLIENT_CONFIG = """option corvane-lab code 224 = text;
request subnet-mask, routers, corvane-lab;
"""


class ReservationsAndOptions(LabTest):
    def test_a_reserved_device_gets_its_address_and_others_never_do(self):
        server = Server(self.bench, self.server_ns,
                        ("--reserve", f"{RESERVED_MAC}={RESERVED_IP}=camera",
                         "--reserve", "02:e2:e0:00:00:0b=192.168.77.100")).started()
        self.bench.ip(self.client_ns, "link", "set", CLIENT_CARD, "address", RESERVED_MAC)
        reserved = lab.udhcpc(self.bench, self.client_ns, name="reserved")
        self.assertEqual(reserved.dump("bound")["ip"], RESERVED_IP, reserved.result.stderr)
        # Another device asking for the other reserved address gets the next free one.
        self.bench.ip(self.client_ns, "link", "set", CLIENT_CARD, "address", "02:e2:e0:00:00:0c")
        other = lab.udhcpc(self.bench, self.client_ns, name="other",
                           arguments=("-r", "192.168.77.100"))
        self.assertEqual(other.dump("bound")["ip"], "192.168.77.101")
        server.wait_for(rf"TX ACK +{RESERVED_IP} -> ")

    def test_udhcpc_reports_the_tftp_name_ntp_server_boot_server_and_boot_file(self):
        Server(self.bench, self.server_ns,
               ("--next-server", TFTP_SERVER, "--boot-file", "pxelinux.0",
                "--option", "66=tftp.lab", "--option", "42=192.168.77.1")).started()
        client = lab.udhcpc(self.bench, self.client_ns,
                            arguments=("-O", "tftp", "-O", "ntpsrv", "-O", "bootfile"))
        bound = client.dump("bound")
        self.assertIsNotNone(bound, client.result.stdout + client.result.stderr)
        self.assertEqual(bound.get("tftp"), "tftp.lab")
        self.assertEqual(bound.get("ntpsrv"), "192.168.77.1")
        self.assertEqual(bound.get("siaddr"), TFTP_SERVER)
        self.assertEqual(bound.get("bootfile"), "pxelinux.0")
        self.assertEqual(bound.get("boot_file"), "pxelinux.0")

    def test_dhclient_gets_a_custom_option_by_number(self):
        Server(self.bench, self.server_ns, ("--option", "224=text:hello-lab")).started()
        client = lab.Client(self.bench, "dhclient", lab.DHCLIENT_SCRIPT)
        config = os.path.join(client.folder, "dhclient.conf")
        with open(config, "w") as out:
            out.write(DHCLIENT_CONFIG)
        client.process = self.bench.spawn(
            self.client_ns,
            ["dhclient", "-d", "-4", "-1", "-cf", config,
             "-lf", os.path.join(client.folder, "leases"),
             "-pf", os.path.join(client.folder, "dhclient.pid"), "-sf", client.script,
             CLIENT_CARD], stdout=lab.subprocess.DEVNULL, stderr=lab.subprocess.DEVNULL)
        bound = client.wait_dump("BOUND")
        self.bench.stop(client.process)
        self.assertEqual(bound.get("new_corvane_lab"), "hello-lab")


class ConfigFile(LabTest):
    def test_a_config_file_alone_serves_its_card_with_its_reservation(self):
        path = self.bench.path("lab.json")
        with open(path, "w") as out:
            json.dump({"interface": SERVER_CARD, "serverIP": lab.SERVER_IP, "prefixLength": 24,
                       "rangeStart": "192.168.77.100", "rangeEnd": "192.168.77.150",
                       "leaseSeconds": 600,
                       "reservations": [{"mac": RESERVED_MAC, "ip": RESERVED_IP}],
                       "options": {"66": "tftp.lab"}}, out)
        server = Server(self.bench, self.server_ns, ("--config", path), base=False).started()
        self.bench.ip(self.client_ns, "link", "set", CLIENT_CARD, "address", RESERVED_MAC)
        client = lab.udhcpc(self.bench, self.client_ns, arguments=("-O", "tftp"))
        bound = client.dump("bound")
        self.assertIsNotNone(bound, server.output())
        self.assertEqual(bound["ip"], RESERVED_IP)
        self.assertEqual(bound["lease"], "600")
        self.assertEqual(bound.get("tftp"), "tftp.lab")
        # A reserved lease outside the range survives a restart.
        self.assertEqual(server.stop(), 0)
        again = Server(self.bench, self.server_ns, ("--config", path), base=False).started()
        again.wait_for(rf"LEASE +bound {RESERVED_IP} {RESERVED_MAC}")


if __name__ == "__main__":
    lab.main()
