"""corvane serve --pcap: the run's DHCP packets, both ways, in a file that scapy reads back."""

import os

import lab
from lab import LabTest, Server

DEVICE = "02:ca:97:00:00:01"


class SessionCapture(LabTest):
    def test_a_client_exchange_is_in_the_capture_with_both_directions(self):
        from scapy.all import BOOTP, DHCP, rdpcap

        capture = self.bench.path("session.pcap")
        server = Server(self.bench, self.server_ns, ("--no-presence", "--pcap", capture))
        server.started()
        self.bench.ip(self.client_ns, "link", "set", lab.CLIENT_CARD, "address", DEVICE)
        bound = lab.udhcpc(self.bench, self.client_ns).wait_dump("bound")
        server.wait_for(r"TX ACK")
        self.assertEqual(server.stop(), 0, server.output())

        names = {1: "DISCOVER", 2: "OFFER", 3: "REQUEST", 5: "ACK"}
        seen = []
        for packet in rdpcap(capture):
            options = dict(option for option in packet[DHCP].options if len(option) == 2)
            mac = ":".join(f"{byte:02x}" for byte in packet[BOOTP].chaddr[:6])
            seen.append((names.get(options["message-type"]), mac, packet[BOOTP].yiaddr))
        exchange = [entry for entry in seen if entry[1] == DEVICE]
        self.assertEqual([name for name, _, _ in exchange], ["DISCOVER", "OFFER", "REQUEST", "ACK"],
                         seen)
        self.assertEqual(exchange[-1][2], bound["ip"])

    def test_a_capture_that_cannot_be_written_stops_the_start(self):
        missing = os.path.join(self.bench.path("no-such-folder"), "session.pcap")
        result = self.bench.corvane(self.server_ns, [
            "serve", "--interface", lab.SERVER_CARD, "--virtual", "--lease-file",
            self.bench.path("leases.json"), *lab.BASE_CONFIG, "--pcap", missing])
        self.assertEqual(result.returncode, 1, result.stdout)
        self.assertIn(f"Could not write the capture file {missing}", result.stderr)


if __name__ == "__main__":
    lab.main()
