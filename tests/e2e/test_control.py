"""Driving a running corvane serve: leases, forget, clear-expired, wait-lease and events
through its control socket, the same commands on the file once it stopped, and the socket
standing up to bad and hostile clients."""

import json
import os
import re
import socket
import stat
import subprocess

import lab
from lab import LabTest, Server

DEVICE = "02:c0:de:00:00:01"
NEXT_DEVICE = "02:c0:de:00:00:02"


def read_to_end(connection):
    """Everything until the server closes; a close with our data unread resets instead."""
    connection.settimeout(10)
    received = b""
    try:
        while chunk := connection.recv(1 << 16):
            received += chunk
    except ConnectionResetError:
        pass
    return received


class ControlTest(LabTest):
    def setUp(self):
        super().setUp()
        self.server = Server(self.bench, self.server_ns, ("--no-presence", "--lease", "10m"))
        self.server.started()
        self.lease_file = ("--lease-file", self.server.lease_file)

    def corvane(self, *arguments):
        return self.bench.corvane(self.server_ns, list(arguments))

    def spawn_corvane(self, *arguments):
        return self.bench.spawn(self.server_ns, [lab.corvane(), *arguments],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                env=self.bench.environment())

    def device(self, mac, name, arguments=()):
        self.bench.ip(self.client_ns, "link", "set", lab.CLIENT_CARD, "address", mac)
        return lab.udhcpc(self.bench, self.client_ns, name=name, arguments=arguments)

    def socket_path(self):
        with open(os.path.join(os.path.dirname(self.server.lease_file),
                               ".leases.json.lock")) as lock:
            return lock.read().strip()

    def wait_for_connections(self, count):
        """Until the server has accepted `count` control connections."""
        path = self.socket_path()
        lab.wait_until(lambda: self.bench.run(self.server_ns, ["ss", "-xH"]).stdout.count(path)
                       >= count, 15, message=f"{count} control connections")

    def connect(self):
        connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        connection.settimeout(10)
        connection.connect(self.socket_path())
        self.addCleanup(connection.close)
        return connection, connection.makefile("r")


class ScriptsDriveTheServer(ControlTest):
    def test_wait_lease_events_leases_forget_and_clear_expired_act_on_the_live_server(self):
        waiting = self.spawn_corvane("wait-lease", "--mac", DEVICE.upper(), "--timeout", "30",
                                     *self.lease_file)
        events = self.spawn_corvane("events", "--mac", DEVICE, *self.lease_file)
        self.wait_for_connections(2)
        bound = self.device(DEVICE, "first").wait_dump("bound")
        output, errors = waiting.communicate(timeout=30)
        self.assertEqual((waiting.returncode, output.strip()), (0, bound["ip"]), errors)

        # Already bound: the answer comes from the table at once.
        again = self.corvane("wait-lease", "--mac", DEVICE, "--timeout", "5", *self.lease_file)
        self.assertEqual((again.returncode, again.stdout.strip()), (0, bound["ip"]), again.stderr)

        listing = self.corvane("leases", *self.lease_file)
        self.assertEqual(listing.returncode, 0, listing.stderr)
        self.assertRegex(listing.stdout, rf"\n{bound['ip']} +{DEVICE} +locally administered +bound +in (9|10) m")

        forgotten = self.corvane("forget", DEVICE, *self.lease_file)
        self.assertEqual(forgotten.returncode, 0, forgotten.stderr)
        self.assertIn(f"Forgot the lease of {DEVICE} ({bound['ip']})", forgotten.stdout)
        self.server.wait_for(rf"LEASE +removed {DEVICE}$")
        with open(self.server.lease_file) as document:
            self.assertNotIn(DEVICE, document.read())
        cleared = self.corvane("clear-expired", *self.lease_file)
        self.assertEqual(cleared.returncode, 0, cleared.stderr)
        self.assertIn("No expired", cleared.stdout)

        # The freed address goes to the next device that asks for it; udhcpc -R releases it
        # when it is ended, as a device does when it shuts down.
        self.bench.ip(self.client_ns, "link", "set", lab.CLIENT_CARD, "address", NEXT_DEVICE)
        next_device = lab.udhcpc(self.bench, self.client_ns, name="next",
                                 arguments=("-r", bound["ip"], "-R"), once=False)
        taken = next_device.wait_dump("bound")
        self.assertEqual(taken["ip"], bound["ip"])
        self.bench.stop(next_device.process)
        self.server.wait_for(rf"LEASE +released {re.escape(taken['ip'])} {NEXT_DEVICE}$")

        self.server.stop()
        followed, _ = events.communicate(timeout=15)
        lines = [json.loads(line) for line in followed.splitlines()]
        self.assertIn(("sent", "ACK", bound["ip"]),
                      [(line["event"], line.get("type"), line.get("ip")) for line in lines])
        self.assertTrue(all(line.get("mac") in (DEVICE, None) for line in lines), followed)
        self.edit_the_file_without_a_server(taken["ip"])

    def edit_the_file_without_a_server(self, released_ip):
        listing = self.corvane("leases", *self.lease_file)
        self.assertEqual(listing.returncode, 0, listing.stderr)
        heading, released = listing.stdout.splitlines()
        self.assertRegex(heading, r"^ADDRESS +MAC +MAKER +STATE +EXPIRES +HOST NAME$")
        self.assertRegex(released, rf"^{re.escape(released_ip)} +{NEXT_DEVICE} +locally "
                                   r"administered +released +- +-$")
        for column, value in (("MAC", NEXT_DEVICE), ("MAKER", "locally"), ("STATE", "released")):
            self.assertEqual(released.index(value), heading.index(column), listing.stdout)

        cleared = self.corvane("clear-expired", *self.lease_file)
        self.assertEqual(cleared.returncode, 0, cleared.stderr)
        self.assertIn("Cleared 1 ", cleared.stdout)
        self.assertIn("No leases in", self.corvane("leases", *self.lease_file).stdout)
        again = self.corvane("forget", NEXT_DEVICE.upper(), *self.lease_file)
        self.assertEqual(again.returncode, 1)
        self.assertIn(f"There is no lease for {NEXT_DEVICE}", again.stderr)

    def test_a_second_server_a_bad_mac_and_a_late_device_are_refused(self):
        for name, arguments, status, refusal in (
                ("bad MAC", ("forget", "02:e2:e0:00:00", *self.lease_file), 2,
                 '"02:e2:e0:00:00" is not a MAC address.'),
                ("second server", ("serve", "--interface", lab.SERVER_CARD, "--virtual",
                                   "--force", *lab.BASE_CONFIG, *self.lease_file), 1,
                 "Another corvane serve is using the lease file")):
            with self.subTest(command=name):
                result = self.corvane(*arguments)
                self.assertEqual(result.returncode, status, result.stdout + result.stderr)
                self.assertIn(refusal, result.stderr)
        late = self.corvane("wait-lease", "--mac", DEVICE, "--timeout", "1", *self.lease_file)
        self.assertEqual(late.returncode, 1)
        self.assertIn(f"{DEVICE} did not get an address within 1 seconds", late.stderr)
        self.assertEqual(self.server.stop(), 0)
        for command in (("wait-lease", "--mac", DEVICE), ("events",)):
            with self.subTest(command=command[0]):
                result = self.corvane(*command, *self.lease_file)
                self.assertEqual(result.returncode, 1)
                self.assertIn("No corvane serve is running on the lease file", result.stderr)


class HostileClients(ControlTest):
    def ask(self, connection, reader, line):
        connection.sendall(line.encode() + b"\n")
        return json.loads(reader.readline())

    def test_bad_requests_get_error_replies_and_serving_goes_on(self):
        connection, reader = self.connect()
        for line, error in (("{not json", "is not a JSON object"),
                            ("[1, 2]", "is not a JSON object"),
                            ('{"mac": "x"}', 'has no "request" name'),
                            ('{"request": "reboot"}', 'no request named "reboot"'),
                            ('{"request": "forget", "mac": "zz"}', '"zz" is not a MAC address'),
                            ('{"request": "forget"}', 'needs a "mac"'),
                            ('{"request": "forget", "mac": "02:00:00:00:00:09"}', "no lease")):
            with self.subTest(request=line):
                reply = self.ask(connection, reader, line)
                self.assertFalse(reply["ok"])
                self.assertIn(error, reply["error"])
        self.assertEqual(self.ask(connection, reader, '{"request":"leases"}'),
                         {"ok": True, "request": "leases", "leases": []})

        huge, _ = self.connect()
        try:
            huge.sendall(b"x" * (1024 * 1024))
        except (BrokenPipeError, ConnectionResetError):
            pass
        reply, _, rest = read_to_end(huge).partition(b"\n")
        self.assertIn("longer than", json.loads(reply)["error"])
        self.assertEqual(rest, b"", "nothing follows the refusal")

        self.assertIn("ip", self.device(DEVICE, "device").wait_dump("bound"))

    def test_a_client_that_never_reads_is_dropped_without_stalling_the_server(self):
        silent, _ = self.connect()
        silent.settimeout(2)
        self.ask(*self.connect(), '{"request":"subscribe"}')
        sent = 0
        request = b'{"request":"leases"}\n' * 1000
        try:
            for _ in range(200):
                silent.sendall(request)
                sent += 1000
        except (BrokenPipeError, ConnectionResetError, socket.timeout):
            pass
        # Serving and the other clients carry on while the silent one is ignored.
        bound = self.device(DEVICE, "device").wait_dump("bound")
        other, reader = self.connect()
        self.assertEqual(self.ask(other, reader, '{"request":"leases"}')["leases"][0]["ip"],
                         bound["ip"])
        received = read_to_end(silent)
        self.assertLess(received.count(b"\n"), sent, "the silent client was never dropped")

    def test_only_the_servers_user_can_open_the_socket(self):
        path = self.socket_path()
        self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o600)
        self.assertEqual(stat.S_IMODE(os.stat(os.path.dirname(path)).st_mode), 0o700)
        # Open every folder on the way so that only the socket's own mode stands in the way.
        folder = os.path.dirname(path)
        while folder != os.path.dirname(self.bench.folder):
            os.chmod(folder, 0o711)
            folder = os.path.dirname(folder)
        attempt = subprocess.run(
            ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", "/usr/bin/python3",
             "-c", f"import socket; socket.socket(socket.AF_UNIX).connect({path!r})"],
            capture_output=True, text=True, timeout=20)
        self.assertNotEqual(attempt.returncode, 0)
        self.assertIn("PermissionError", attempt.stderr)
        connection, reader = self.connect()
        self.assertTrue(self.ask(connection, reader, '{"request":"leases"}')["ok"])


if __name__ == "__main__":
    lab.main()
