"""A pool held entirely by switched-off devices still admits a client that keeps retrying."""

import datetime
import json

import lab
from lab import LabTest, Server

RANGE = ("192.168.77.100", "192.168.77.103")


def stamp(moment):
    return moment.strftime("%Y-%m-%dT%H:%M:%SZ")


class FullPoolOfAbsentDevices(LabTest):
    def test_a_client_retrying_every_second_gets_an_address(self):
        now = datetime.datetime.now(datetime.timezone.utc)
        first, last = (int(ip.rsplit(".", 1)[1]) for ip in RANGE)
        leases = [{"mac": f"02:aa:00:00:00:{host:02x}", "ip": f"192.168.77.{host}",
                   "state": "bound", "expiresAt": stamp(now + datetime.timedelta(hours=1)),
                   "firstSeen": stamp(now - datetime.timedelta(hours=2)),
                   "lastSeen": stamp(now - datetime.timedelta(hours=1, seconds=host))}
                  for host in range(first, last + 1)]
        path = self.bench.path("leases.json")
        with open(path, "w") as document:
            json.dump({"leases": leases, "quarantine": [], "version": 1}, document)

        server = Server(self.bench, self.server_ns, ("--range", "-".join(RANGE)),
                        lease_file=path).started()
        # Nobody answers on the pool's addresses; the client asks again every second.
        client = lab.udhcpc(self.bench, self.client_ns, arguments=("-t", "20", "-T", "1"))
        bound = client.dump("bound")
        self.assertIsNotNone(bound, server.output())
        self.assertIn(bound["ip"], [lease["ip"] for lease in leases])
        server.wait_for(r"TX ACK ")
        self.assertEqual(server.stop(), 0)


if __name__ == "__main__":
    lab.main()
