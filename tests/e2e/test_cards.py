"""The server serves its one card only, and follows that card's cable and link."""

import re
import unittest

import lab
from lab import CLIENT_CARD, PREFIX, SERVER_CARD, SERVER_IP, Lab, Server

UNPLUGGED = "The adapter was unplugged. Waiting for it to come back\u2026"
LINK_DOWN = (f"Link down. No device is connected to {SERVER_CARD}. "
             "Serving resumes on its own when the link returns.")


class CardTest(unittest.TestCase):
    def setUp(self):
        self.bench = Lab()
        self.addCleanup(self.bench.close)
        self.server_ns, self.client_ns = self.bench.served_pair()

    def bound_client(self, name="device"):
        """A udhcpc that stays, bound to an address; returns that address."""
        client = lab.udhcpc(self.bench, self.client_ns, name=name, once=False)
        return client, client.wait_dump("bound")["ip"]


class OnlyTheServedCardIsServed(CardTest):
    def test_a_discover_on_another_card_of_the_namespace_gets_no_answer(self):
        other_ns = self.bench.namespace("other")
        self.bench.cable(self.server_ns, "cv-srv1", other_ns, CLIENT_CARD,
                         second_mac="02:e2:e0:00:00:99")
        self.bench.ip(self.server_ns, "address", "add", "192.168.88.1/24", "dev", "cv-srv1")
        server = Server(self.bench, self.server_ns, ("--no-presence",)).started()

        unanswered = lab.udhcpc(self.bench, other_ns, name="other")
        self.assertIsNone(unanswered.dump("bound"))
        self.assertNotEqual(unanswered.result.returncode, 0)
        answered = lab.udhcpc(self.bench, self.client_ns, name="served")
        self.assertIsNotNone(answered.dump("bound"))
        self.assertFalse(server.has_line("02:e2:e0:00:00:99"), server.output())


class TheServerFollowsItsCard(CardTest):
    def test_an_unplugged_card_is_reported_and_its_return_is_noticed(self):
        server = Server(self.bench, self.server_ns).started()
        _, ip = self.bound_client()
        server.wait_for(rf"ONLINE +{re.escape(ip)} ")

        mark = len(server.lines)
        self.bench.ip(self.server_ns, "link", "delete", SERVER_CARD)
        server.wait_for(rf"NOTICE +{re.escape(UNPLUGGED)}$", after=mark)
        server.wait_for(rf"OFFLINE +{re.escape(ip)} .* adapter unplugged$", after=mark)

        mark = len(server.lines)
        self.bench.cable(self.server_ns, SERVER_CARD, self.client_ns, CLIENT_CARD)
        self.bench.ip(self.server_ns, "address", "add", f"{SERVER_IP}/{PREFIX}", "dev",
                      SERVER_CARD)
        server.wait_for(rf"INFO +{SERVER_CARD} is back$", after=mark)
        # Serving goes on over the new cable.
        again = lab.udhcpc(self.bench, self.client_ns, name="after")
        self.assertIsNotNone(again.dump("bound"))
        server.wait_for(r"TX ACK ", after=mark)

    def test_the_peer_taking_its_link_down_raises_link_down_until_it_returns(self):
        server = Server(self.bench, self.server_ns, ("--no-presence",)).started()
        server.wait_for(r"LINK +up")
        mark = len(server.lines)
        self.bench.ip(self.client_ns, "link", "set", CLIENT_CARD, "down")
        server.wait_for(r"LINK +down$", after=mark)
        server.wait_for(rf"NOTICE +{re.escape(LINK_DOWN)}$", after=mark)
        mark = len(server.lines)
        self.bench.ip(self.client_ns, "link", "set", CLIENT_CARD, "up")
        server.wait_for(r"LINK +up", after=mark)


if __name__ == "__main__":
    lab.main()
