"""Hostile clients and hostile files: broken datagrams are dropped with their reason, no address
is taken from a device that may still use it, forged DECLINEs quarantine nothing, log files are
private and never followed through a link, and a lease file with some bad records keeps the
good ones."""

import glob
import json
import os
import re
import signal
import stat
import struct
import sys
import time

import lab
from lab import CLIENT_CARD, SERVER_IP, LabTest, Server

# Runs DHCP exchanges for made-up MACs on the card and prints one JSON line per exchange:
# {"mac": ..., "offer": ip or null, "ack": ip or null}. Each step is its own subcommand:
#   dora MAC...            DISCOVER, then REQUEST what was offered
#   discover MAC...        DISCOVER only (three tries a second apart)
#   decline MAC/IP...      DECLINE for IP from MAC, no answer expected
#   reboot MAC/IP...       a REQUEST for IP after a restart (answered by broadcast)
CLIENT = r"""
import json, random, sys
from scapy.all import BOOTP, DHCP, Ether, IP, UDP, conf, mac2str, sendp, srp1
conf.checkIPaddr = False
card, server, action, *targets = sys.argv[1:]

def packet(mac, options):
    return (Ether(src=mac, dst="ff:ff:ff:ff:ff:ff") / IP(src="0.0.0.0", dst="255.255.255.255") /
            UDP(sport=68, dport=67) /
            BOOTP(chaddr=mac2str(mac), xid=random.getrandbits(32), flags=0x8000) /
            DHCP(options=options + ["end"]))

def ask(mac, options, kind):
    answer = srp1(packet(mac, options), iface=card, timeout=1, verbose=False,
                  filter="udp and dst port 68")
    if answer is None or DHCP not in answer:
        return None
    types = [option[1] for option in answer[DHCP].options
             if isinstance(option, tuple) and option[0] == "message-type"]
    return answer[BOOTP].yiaddr if types == [kind] else None

for target in targets:
    mac, _, ip = target.partition("/")
    if action == "decline":
        sendp(packet(mac, [("message-type", "decline"), ("requested_addr", ip),
                           ("server_id", server)]), iface=card, verbose=False)
        continue
    if action == "reboot":
        ack = ask(mac, [("message-type", "request"), ("requested_addr", ip)], 5)
        print(json.dumps({"mac": mac, "offer": None, "ack": ack}), flush=True)
        continue
    offer = None
    for _ in range(3):
        offer = ask(mac, [("message-type", "discover")], 2)
        if offer:
            break
    ack = None
    if offer and action == "dora":
        ack = ask(mac, [("message-type", "request"), ("requested_addr", offer),
                        ("server_id", server)], 5)
    print(json.dumps({"mac": mac, "offer": offer, "ack": ack}), flush=True)
"""


# Sends each hex payload as a UDP datagram from 0.0.0.0:68 to 255.255.255.255:67 on the card,
# the way a client without an address does.
SENDER = """
import sys
from scapy.all import Ether, IP, UDP, Raw, sendp
card = sys.argv[1]
for payload in sys.argv[2:]:
    sendp(Ether(dst="ff:ff:ff:ff:ff:ff") / IP(src="0.0.0.0", dst="255.255.255.255") /
          UDP(sport=68, dport=67) / Raw(bytes.fromhex(payload)), iface=card, verbose=False)
"""

COOKIE = bytes([99, 130, 83, 99])
BOOTP_HEADER = (struct.pack("!BBBBIHHIIII", 1, 1, 6, 0, 0x1234, 0, 0, 0, 0, 0, 0) +
                bytes.fromhex("02e2e0000042") + bytes(10 + 64 + 128))
# (rule, payload, the reason the server must log)
BROKEN = (
    ("shorter than a BOOTP header", BOOTP_HEADER[:100], "malformed (too short (100 bytes))"),
    ("header without the magic cookie", BOOTP_HEADER + bytes(4) + bytes([53, 1, 1, 255]),
     "malformed (bad magic cookie)"),
    ("an option longer than the datagram", BOOTP_HEADER + COOKIE + bytes([53, 1, 1, 12, 40]) +
     b"abc", "malformed (option 12 runs past the end)"),
)


def exchange(test, action, *targets):
    result = test.bench.run(test.client_ns, [sys.executable, "-c", CLIENT, CLIENT_CARD,
                                             SERVER_IP, action, *targets], timeout=120)
    return [json.loads(line) for line in result.stdout.splitlines() if line.startswith("{")]


def mac(number):
    return f"02:e2:e0:00:11:{number:02x}"


class NoPresence(LabTest):
    def test_broken_and_stale_datagrams_are_dropped_and_a_full_pool_takes_no_unexpired_lease(
            self):
        server = Server(self.bench, self.server_ns,
                        ("--no-presence", "--range", "192.168.77.100-192.168.77.101")).started()
        self.bench.run(self.client_ns, [sys.executable, "-c", SENDER, CLIENT_CARD,
                                        *(payload.hex() for _, payload, _ in BROKEN)], timeout=60)
        for rule, _, reason in BROKEN:
            with self.subTest(rule=rule):
                server.wait_for(rf"DROP +{re.escape(reason)}$")
        self.assertFalse(server.has_line(r"RX "), server.output())

        # A stopped server stands for one busy with a flood: a DISCOVER that sat in its queue
        # longer than a client waits is dropped, not offered.
        stale = (BOOTP_HEADER + COOKIE + bytes([53, 1, 1, 255])).hex()
        os.kill(server.process.pid, signal.SIGSTOP)
        try:
            self.bench.run(self.client_ns, [sys.executable, "-c", SENDER, CLIENT_CARD, stale],
                           timeout=60)
            time.sleep(5)  # longer than the 4 s a client waits before it asks again
        finally:
            os.kill(server.process.pid, signal.SIGCONT)
        server.wait_for(
            r"DROP .*waited in the receive queue longer than a client waits for its answer")
        self.assertFalse(server.has_line(r"TX OFFER"), server.output())

        held = exchange(self, "dora", mac(1), mac(2))
        self.assertEqual([entry["ack"] for entry in held], ["192.168.77.100", "192.168.77.101"],
                         server.output())

        [newcomer] = exchange(self, "discover", mac(3))
        self.assertIsNone(newcomer["offer"], server.output())
        server.wait_for(r"DROP +address pool exhausted")
        self.assertFalse(server.has_line(r"reclaimed"), server.output())
        renewed = exchange(self, "reboot", f"{mac(1)}/192.168.77.100")
        self.assertEqual(renewed[0]["ack"], "192.168.77.100", server.output())
        self.assertEqual(server.stop(), 0)


class SpoofedDeclines(LabTest):
    def test_declines_from_clients_that_never_held_the_address_quarantine_nothing(self):
        server = Server(self.bench, self.server_ns,
                        ("--no-presence", "--range", "192.168.77.100-192.168.77.103")).started()
        [holder] = exchange(self, "dora", mac(1))
        self.assertEqual(holder["ack"], "192.168.77.100")

        forged = [f"{mac(0x80 + n)}/192.168.77.{100 + n % 4}" for n in range(40)]
        forged += [f"{mac(0xc0 + n)}/10.{n}.0.1" for n in range(20)]
        exchange(self, "decline", *forged)
        server.wait_for(r"DROP +DECLINE for 192\.168\.77\.10[0-3], which this client was not "
                        r"offered and does not hold")
        server.wait_for(r"DROP +DECLINE for 10\.\d+\.0\.1, which is outside the range")

        renewed = exchange(self, "reboot", f"{mac(1)}/192.168.77.100")
        self.assertEqual(renewed[0]["ack"], "192.168.77.100", server.output())
        newcomers = exchange(self, "dora", mac(2), mac(3), mac(4))
        self.assertEqual(sorted(entry["ack"] for entry in newcomers),
                         ["192.168.77.101", "192.168.77.102", "192.168.77.103"])
        self.assertFalse(server.has_line(r"conflict: .* quarantined"), server.output())
        self.assertEqual(server.stop(), 0)
        self.assertEqual(lab.saved_document(server.lease_file)["quarantine"], [])

        # The holder's own DECLINE still counts.
        again = Server(self.bench, self.server_ns,
                       ("--no-presence", "--range", "192.168.77.100-192.168.77.103")).started()
        exchange(self, "decline", f"{mac(1)}/192.168.77.100")
        again.wait_for(rf"conflict: {mac(1)} reports 192\.168\.77\.100 is already in use")
        self.assertEqual(again.stop(), 0)


def mode(path):
    return stat.S_IMODE(os.lstat(path).st_mode)


class PrivateLogs(LabTest):
    def today_log(self, server):
        return os.path.join(server.log_dir, time.strftime("%Y-%m-%d") + ".log")

    # Every kind of link or odd file where the day's log goes is refused in tests/log; here the
    # refusal reaches the user, and the file behind the link stays as it was.
    def test_the_files_are_readable_by_their_owner_only_and_a_log_link_is_refused(self):
        server = Server(self.bench, self.server_ns, ("--no-presence",)).started()
        self.assertEqual(server.stop(), 0)
        self.assertEqual(mode(server.log_dir), 0o700)
        self.assertEqual(mode(self.today_log(server)), 0o600)

        victim = self.bench.path("victim")
        with open(victim, "w") as out:
            out.write("not a log\n")
        os.unlink(self.today_log(server))
        os.symlink(victim, self.today_log(server))
        again = Server(self.bench, self.server_ns, ("--no-presence",)).started()
        self.assertEqual(again.stop(), 0)
        self.assertTrue(any("is a symbolic link" in line for line in again.errors),
                        again.output())
        with open(victim) as kept:
            self.assertEqual(kept.read(), "not a log\n")


def record(mac_text, ip, state="bound"):
    return {"mac": mac_text, "ip": ip, "state": state, "expiresAt": "2099-01-01T00:00:00Z",
            "firstSeen": "2025-03-01T11:00:00Z", "lastSeen": "2025-03-01T11:00:00Z"}


class PartlyDamagedLeaseFile(LabTest):
    def write_leases(self, path, client_mac):
        good = [record(client_mac, "192.168.77.120"), record(mac(1), "192.168.77.121"),
                record(mac(2), "192.168.77.122", "offered")]
        bad = [record("02:e2:e0:00:11:zz", "192.168.77.123"), record(mac(4), "192.168.77.124",
                                                                     "lost")]
        del bad[0]["expiresAt"]
        document = {"version": 1, "leases": [good[0], bad[0], good[1], bad[1], good[2]],
                    "quarantine": []}
        with open(path, "w") as out:
            json.dump(document, out)
        with open(path) as written:
            return written.read()

    def test_the_good_records_are_kept_served_and_written_back(self):
        client_mac = self.bench.ip(self.client_ns, "-j", "link", "show", CLIENT_CARD).stdout
        client_mac = json.loads(client_mac)[0]["address"]
        path = self.bench.path("leases.json")
        original = self.write_leases(path, client_mac)

        shown = self.bench.corvane(self.server_ns, ["leases", "--lease-file", path])
        self.assertEqual(shown.returncode, 0, shown.stderr)
        self.assertIn("192.168.77.121", shown.stdout)
        self.assertIn("kept 3 records, dropped 2", shown.stderr)
        with open(path) as untouched:
            self.assertEqual(untouched.read(), original)
        self.assertEqual(glob.glob(path + ".corrupt-*"), [])

        server = Server(self.bench, self.server_ns, ("--no-presence",), lease_file=path)
        server.wait_for(r"NOTICE +Some records of the lease file could not be read; the file "
                        r"was moved to leases\.json\.corrupt-\d{8}-\d{6}\. Starting with the 3 "
                        r"leases that could be read\.")
        server.wait_for(r"INFO +lease file: kept 3 records, dropped 2: lease 2 "
                        r"\(02:e2:e0:00:11:zz\): no \"expiresAt\"; lease 4 \(02:e2:e0:00:11:04\):"
                        r" Not a lease state: lost$")
        bound = lab.udhcpc(self.bench, self.client_ns).dump("bound")
        self.assertEqual(bound["ip"], "192.168.77.120")
        self.assertEqual(server.stop(), 0)
        [set_aside] = glob.glob(path + ".corrupt-*")
        with open(set_aside) as kept:
            self.assertEqual(kept.read(), original)
        self.assertEqual(sorted(entry["mac"] for entry in lab.saved_document(path)["leases"]),
                         sorted([client_mac, mac(1), mac(2)]))


if __name__ == "__main__":
    lab.main()
