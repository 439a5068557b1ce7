"""Many simulated DHCP clients doing full DISCOVER-OFFER-REQUEST-ACK exchanges at once.

Run it inside a network namespace whose card is cabled to the server under test: it writes
raw Ethernet frames with a distinct MAC address per client on that one card, keeps a window
of clients in flight, retries a silent exchange a few times, and prints one JSON object with
the counts and the rate. The run is bounded by the number of clients and by --seconds.
Only the standard library is used, so the generator costs little next to the server.
"""

import argparse
import json
import os
import random
import select
import socket
import struct
import sys
import time

ETH_P_IP = 0x0800
PACKET_OUTGOING = 4
MAGIC_COOKIE = bytes([99, 130, 83, 99])
DISCOVER, OFFER, REQUEST, ACK, NAK = 1, 2, 3, 5, 6
RETRY_AFTER = 1.0
TRIES = 3


def checksum(data):
    if len(data) % 2:
        data += b"\0"
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF


def client_mac(index, seed):
    # Locally administered, and distinct for every index of one run.
    return bytes([0x02, seed & 0xFF]) + index.to_bytes(4, "big")


def dhcp_message(mac, xid, message_type, requested=None, server=None):
    header = struct.pack("!BBBBIHHIIII", 1, 1, 6, 0, xid, 0, 0, 0, 0, 0, 0)
    header += mac + bytes(10) + bytes(64) + bytes(128) + MAGIC_COOKIE
    options = bytes([53, 1, message_type])
    if requested:
        options += bytes([50, 4]) + requested
    if server:
        options += bytes([54, 4]) + server
    options += bytes([55, 4, 1, 3, 6, 51, 255])
    message = header + options
    return message + bytes(max(0, 300 - len(message)))


def frame(mac, payload):
    udp = struct.pack("!HHHH", 68, 67, 8 + len(payload), 0) + payload
    ip = struct.pack("!BBHHHBBH4s4s", 0x45, 0, 20 + len(udp), 0, 0, 64, 17, 0,
                     bytes(4), b"\xff\xff\xff\xff")
    ip = ip[:10] + struct.pack("!H", checksum(ip)) + ip[12:]
    return b"\xff" * 6 + mac + struct.pack("!H", ETH_P_IP) + ip + udp


def parse_reply(data):
    """(xid, message type, offered address, server identifier) of a BOOTREPLY, or None."""
    if len(data) < 14 + 20 + 8 + 240 or data[12:14] != b"\x08\x00":
        return None
    ip_length = (data[14] & 0x0F) * 4
    if data[14 + 9] != 17:
        return None
    udp = 14 + ip_length
    if struct.unpack("!H", data[udp + 2:udp + 4])[0] != 68:
        return None
    bootp = data[udp + 8:]
    if len(bootp) < 240 or bootp[0] != 2 or bootp[236:240] != MAGIC_COOKIE:
        return None
    xid = struct.unpack("!I", bootp[4:8])[0]
    yiaddr = bootp[16:20]
    message_type, server = None, None
    position = 240
    while position < len(bootp):
        code = bootp[position]
        if code == 255:
            break
        if code == 0:
            position += 1
            continue
        if position + 1 >= len(bootp):
            break
        length = bootp[position + 1]
        value = bootp[position + 2:position + 2 + length]
        if code == 53 and length == 1:
            message_type = value[0]
        elif code == 54 and length == 4:
            server = value
        position += 2 + length
    return xid, message_type, yiaddr, server


class Exchange:
    def __init__(self, index, seed):
        self.mac = client_mac(index, seed)
        self.xid = random.getrandbits(32)
        self.stage = DISCOVER
        self.offered = None
        self.server = None
        self.tries = 0
        self.sent_at = 0.0
        self.started = 0.0

    def message(self):
        if self.stage == DISCOVER:
            return dhcp_message(self.mac, self.xid, DISCOVER)
        return dhcp_message(self.mac, self.xid, REQUEST, self.offered, self.server)


def run(interface, clients, window, seconds, seed):
    sock = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ETH_P_IP))
    sock.bind((interface, ETH_P_IP))
    sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
    sock.setblocking(False)
    deadline = time.monotonic() + seconds
    started = time.monotonic()
    waiting = list(range(clients))
    waiting.reverse()
    in_flight = {}
    completed = failed = naks = 0
    durations = []

    def send(exchange):
        exchange.sent_at = time.monotonic()
        exchange.tries += 1
        sock.send(frame(exchange.mac, exchange.message()))

    while (waiting or in_flight) and time.monotonic() < deadline:
        while waiting and len(in_flight) < window:
            exchange = Exchange(waiting.pop(), seed)
            while exchange.xid in in_flight:
                exchange.xid = random.getrandbits(32)
            exchange.started = time.monotonic()
            in_flight[exchange.xid] = exchange
            send(exchange)
        readable, _, _ = select.select([sock], [], [], 0.05)
        if readable:
            for _ in range(256):
                try:
                    data, address = sock.recvfrom(2048)
                except BlockingIOError:
                    break
                if address[2] == PACKET_OUTGOING:
                    continue
                reply = parse_reply(data)
                if reply is None or reply[0] not in in_flight:
                    continue
                xid, message_type, yiaddr, server = reply
                exchange = in_flight[xid]
                if message_type == OFFER and exchange.stage == DISCOVER:
                    exchange.stage, exchange.offered = REQUEST, yiaddr
                    exchange.server, exchange.tries = server, 0
                    send(exchange)
                elif message_type == ACK and exchange.stage == REQUEST:
                    completed += 1
                    durations.append(time.monotonic() - exchange.started)
                    del in_flight[xid]
                elif message_type == NAK:
                    naks += 1
                    failed += 1
                    del in_flight[xid]
        now = time.monotonic()
        for xid, exchange in list(in_flight.items()):
            if now - exchange.sent_at >= RETRY_AFTER:
                if exchange.tries >= TRIES:
                    failed += 1
                    del in_flight[xid]
                else:
                    send(exchange)
    elapsed = time.monotonic() - started
    durations.sort()
    return {
        "clients": clients,
        "completed": completed,
        "failed": failed,
        "naks": naks,
        "unfinished": len(in_flight) + len(waiting),
        "seconds": round(elapsed, 3),
        "exchanges_per_second": round(completed / elapsed, 1) if elapsed > 0 else 0.0,
        "median_exchange_ms": round(durations[len(durations) // 2] * 1000, 2) if durations else None,
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--interface", required=True)
    parser.add_argument("--clients", type=int, default=1000)
    parser.add_argument("--window", type=int, default=32)
    parser.add_argument("--seconds", type=float, default=60.0)
    parser.add_argument("--seed", type=int, default=os.getpid() & 0xFF)
    arguments = parser.parse_args()
    result = run(arguments.interface, arguments.clients, arguments.window, arguments.seconds,
                 arguments.seed)
    print(json.dumps(result), flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
