"""Real DHCP clients get what the server is configured to give, keep it, and are seen
ONLINE while they hold it."""

import json
import os
import re
import signal

import lab
from lab import CLIENT_CARD, SERVER_IP, LabTest, Server

ROUTER = SERVER_IP
DNS = ("192.168.77.53", "192.168.77.54")
LEASE_SECONDS = 600
CONFIG = ("--router", ROUTER, "--dns", ",".join(DNS), "--lease", "10m")
# The presence cycle runs every 10 seconds; a probe waits at most 1 second.
PRESENCE_WAIT = 18
IN_RANGE = re.compile(r"^192\.168\.77\.(1[0-4][0-9]|150)$")

DHCPCD_CONFIG = "option domain_name_servers, routers, subnet_mask\nnoarp\nnoipv4ll\n"
DHCPCD_HOOK = '#!/bin/sh\nenv > "{folder}/$reason.$$"\nmv "{folder}/$reason.$$" "{folder}/$reason"\n'


def udhcpc_view(test, bench):
    client = lab.udhcpc(bench, test.client_ns)
    bound = client.dump("bound")
    test.assertIsNotNone(bound, client.result.stdout + client.result.stderr)
    return {"ip": bound["ip"], "mask": bound["subnet"], "router": bound["router"],
            "dns": bound["dns"].split(), "lease": bound["lease"]}


def dhclient_view(test, bench):
    client = lab.dhclient(bench, test.client_ns)
    bound = client.wait_dump("BOUND")
    bench.stop(client.process)
    return {"ip": bound["new_ip_address"], "mask": bound["new_subnet_mask"],
            "router": bound["new_routers"], "dns": bound["new_domain_name_servers"].split(),
            "lease": bound["new_dhcp_lease_time"]}


def dhcpcd_view(test, bench):
    folder = bench.path("dhcpcd")
    os.makedirs(folder)
    hook = os.path.join(folder, "hook")
    with open(hook, "w") as out:
        out.write(DHCPCD_HOOK.format(folder=folder))
    os.chmod(hook, 0o755)
    config = os.path.join(folder, "dhcpcd.conf")
    with open(config, "w") as out:
        out.write(DHCPCD_CONFIG)
    # dhcpcd keeps its state under /run/dhcpcd and /var/lib/dhcpcd; private empty folders
    # in the client's own mount namespace keep the host's untouched.
    private_state = "mount -t tmpfs none /run && mount -t tmpfs none /var/lib/dhcpcd && " \
                    'exec "$@"'
    result = bench.run(test.client_ns, ["sh", "-c", private_state, "sh", "timeout", "30",
                                        "dhcpcd", "-B", "-4", "-1", "-t", "15", "-f", config,
                                        "-c", hook, CLIENT_CARD], timeout=40, check=False)
    bound_path = os.path.join(folder, "BOUND")
    test.assertTrue(os.path.exists(bound_path), result.stdout + result.stderr)
    bound = lab.read_environment(bound_path)
    return {"ip": bound["new_ip_address"], "mask": bound["new_subnet_mask"],
            "router": bound["new_routers"], "dns": bound["new_domain_name_servers"].split(),
            "lease": bound["new_dhcp_lease_time"]}


class ServedClientTest(LabTest):
    def setUp(self):
        super().setUp()
        self.server = Server(self.bench, self.server_ns, CONFIG).started()


class EveryClientGetsTheConfiguration(ServedClientTest):
    # All three ask from the one card, so each after the first is a returning device.
    def test_each_client_reports_address_mask_router_dns_and_lease_time(self):
        addresses = set()
        for name, view in (("udhcpc", udhcpc_view), ("dhclient", dhclient_view),
                           ("dhcpcd", dhcpcd_view)):
            with self.subTest(client=name):
                self.bench.ip(self.client_ns, "-4", "address", "flush", "dev", CLIENT_CARD)
                got = view(self, self.bench)
                self.assertRegex(got["ip"], IN_RANGE)
                self.assertEqual(got["mask"], lab.NETMASK)
                self.assertEqual(got["router"], ROUTER)
                self.assertEqual(got["dns"], list(DNS))
                self.assertEqual(int(got["lease"]), LEASE_SECONDS)
                self.server.wait_for(rf"TX ACK +{re.escape(got['ip'])} -> ")
                addresses.add(got["ip"])
        self.assertEqual(len(addresses), 1, "a returning device got another address")


class AKeptLease(ServedClientTest):
    def test_a_renewal_is_unicast_and_presence_follows_the_address(self):
        client = lab.udhcpc(self.bench, self.client_ns, once=False)
        ip = client.wait_dump("bound")["ip"]
        mark = len(self.server.lines)
        # SIGUSR1 makes udhcpc renew now instead of at half the lease time.
        client.process.send_signal(signal.SIGUSR1)
        self.server.wait_for(rf"RX REQUEST .* ciaddr={re.escape(ip)} ", after=mark)
        self.server.wait_for(rf"TX ACK +{re.escape(ip)} -> {re.escape(ip)}:68 via ", after=mark)
        client.wait_dump("renew")

        # The device answers for its address, and is OFFLINE once it no longer holds it.
        self.server.wait_for(rf"ONLINE +{re.escape(ip)} ", timeout=PRESENCE_WAIT)
        mark = len(self.server.lines)
        self.bench.ip(self.client_ns, "-4", "address", "flush", "dev", CLIENT_CARD)
        self.server.wait_for(rf"OFFLINE +{re.escape(ip)} ", after=mark, timeout=PRESENCE_WAIT)


class OutputForms(LabTest):
    def test_json_lines_on_stdout_and_text_lines_in_the_daily_log_file(self):
        server = Server(self.bench, self.server_ns, ("--json", "--no-presence"))
        lab.udhcpc(self.bench, self.client_ns)
        server.wait_for(r'"event":"sent".*"type":"ACK"')
        self.assertEqual(server.stop(), 0)
        events = [json.loads(line)["event"] for line in server.lines]
        self.assertEqual((events[0], events[-1]), ("started", "stopped"))
        [log_name] = os.listdir(server.log_dir)
        with open(os.path.join(server.log_dir, log_name)) as log:
            written = log.read().splitlines()
        self.assertEqual(len(written), len(events))
        self.assertRegex(written[-1], r"^\d\d:\d\d:\d\d\.\d{3}  STOP +server stopped$")


if __name__ == "__main__":
    lab.main()
