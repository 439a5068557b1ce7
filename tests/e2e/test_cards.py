"""The server waits for its unplugged card and serves again when it is back."""

import re

import lab
from lab import SERVER_CARD, LabTest, Server

UNPLUGGED = "The adapter was unplugged. Waiting for it to come back\u2026"


class TheServerFollowsItsCard(LabTest):
    def test_an_unplugged_card_is_reported_and_its_return_is_noticed(self):
        server = Server(self.bench, self.server_ns, ("--no-presence",)).started()
        self.bench.ip(self.server_ns, "link", "delete", SERVER_CARD)
        server.wait_for(rf"NOTICE +{re.escape(UNPLUGGED)}$")

        mark = len(server.lines)
        self.bench.plug_server_card(self.server_ns, self.client_ns)
        server.wait_for(rf"INFO +{SERVER_CARD} is back$", after=mark)
        again = lab.udhcpc(self.bench, self.client_ns, name="after")
        self.assertIsNotNone(again.dump("bound"))
        server.wait_for(r"TX ACK ", after=mark)


if __name__ == "__main__":
    lab.main()
