"""A throw-away network for one end-to-end test. Links are made only inside lab namespaces,
never in the host's own one, and Lab.close() removes every namespace, process (by PID) and file.
"""

import argparse
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

SKIP_STATUS = 77

SERVER_IP = "192.168.77.1"
PREFIX = 24
NETMASK = "255.255.255.0"
SERVER_CARD = "cv-srv0"
CLIENT_CARD = "cv-cli0"
RANGE = "192.168.77.100-192.168.77.150"
# The flags every served test starts from; a test's own flags come after and win.
BASE_CONFIG = ("--server-ip", SERVER_IP, "--prefix", str(PREFIX), "--range", RANGE)

_corvane = None


def corvane():
    return _corvane


def unavailable_reason():
    if os.geteuid() != 0:
        return "the end-to-end tests create network namespaces and need root (run them with sudo)"
    for program in ("ip", "busybox"):
        if shutil.which(program) is None:
            return f"{program} is not installed (scripts/install-deps.sh installs it)"
    probe = f"cve2e-probe-{os.getpid()}"
    made = subprocess.run(["ip", "netns", "add", probe], capture_output=True, text=True)
    if made.returncode != 0:
        return f"network namespaces are not available here: {made.stderr.strip()}"
    subprocess.run(["ip", "netns", "delete", probe], capture_output=True)
    return None


def main():
    global _corvane
    parser = argparse.ArgumentParser()
    parser.add_argument("--corvane", required=True)
    arguments, rest = parser.parse_known_args()
    _corvane = os.path.abspath(arguments.corvane)
    reason = unavailable_reason()
    if reason is not None:
        print(f"SKIPPED: {reason}")
        sys.exit(SKIP_STATUS)
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)


def wait_until(condition, timeout, message="condition"):
    deadline = time.monotonic() + timeout
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() >= deadline:
            raise AssertionError(f"timed out after {timeout} s waiting for {message}")
        time.sleep(0.05)


class Lab:
    def __init__(self):
        self.prefix = f"cve2e-{os.getpid()}-{threading.get_ident() % 10000}"
        self.folder = tempfile.mkdtemp(prefix="corvane-e2e-")
        self.namespaces = []
        self.processes = []
        self.servers = []
        self.count = 0

    def path(self, name):
        return os.path.join(self.folder, name)

    def namespace(self, short_name):
        self.count += 1
        name = f"{self.prefix}-{self.count}-{short_name}"
        subprocess.run(["ip", "netns", "add", name], check=True, capture_output=True)
        self.namespaces.append(name)
        self.ip(name, "link", "set", "lo", "up")
        return name

    def ip(self, namespace, *arguments):
        result = subprocess.run(["ip", "-n", namespace, *arguments], capture_output=True,
                                text=True, timeout=10)
        if result.returncode != 0:
            raise RuntimeError(f"ip {' '.join(arguments)} in {namespace}: {result.stderr.strip()}")
        return result

    def plug_server_card(self, server, client):
        """A veth pair made inside `server` with its peer placed straight into `client`."""
        self.ip(server, "link", "add", SERVER_CARD, "type", "veth", "peer", "name", CLIENT_CARD,
                "netns", client)
        self.ip(server, "address", "add", f"{SERVER_IP}/{PREFIX}", "dev", SERVER_CARD)
        self.ip(server, "link", "set", SERVER_CARD, "up")
        self.ip(client, "link", "set", CLIENT_CARD, "up")

    def run(self, namespace, arguments, timeout=20, check=True, **options):
        result = subprocess.run(["ip", "netns", "exec", namespace, *arguments],
                                capture_output=True, text=True, timeout=timeout, **options)
        if check and result.returncode != 0:
            raise RuntimeError(f"{' '.join(arguments)} failed ({result.returncode}): "
                               f"{result.stdout}{result.stderr}")
        return result

    def spawn(self, namespace, arguments, **options):
        process = subprocess.Popen(["ip", "netns", "exec", namespace, *arguments], **options)
        self.processes.append(process)
        return process

    def stop(self, process, sig=signal.SIGTERM, timeout=10):
        if process.poll() is None:
            process.send_signal(sig)
            try:
                process.wait(timeout)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait(5)
        return process.returncode

    @staticmethod
    def close_pipes(process):
        for stream in (process.stdin, process.stdout, process.stderr):
            if stream is not None:
                stream.close()

    def close(self):
        # Every process first: a namespace lives on while any process is inside it.
        for process in self.processes:
            self.stop(process, timeout=5)
            self.close_pipes(process)
        for name in self.namespaces:
            subprocess.run(["ip", "netns", "delete", name], capture_output=True)
        shutil.rmtree(self.folder, ignore_errors=True)
        # A sanitizer build aborts on its first finding; its report is on the server's stderr.
        for server in self.servers:
            for reader in server.readers:
                reader.join(5)
            reports = [line for line in server.errors
                       if "Sanitizer" in line or "runtime error" in line]
            if reports:
                raise AssertionError("corvane serve reported:\n" + "\n".join(server.errors))

    def environment(self):
        # Keeps every corvane run away from the user's own settings, leases and logs.
        home = self.path("home")
        runtime = self.path("run")
        os.makedirs(runtime, mode=0o700, exist_ok=True)
        environment = dict(os.environ)
        environment.update(HOME=home, XDG_CONFIG_HOME=os.path.join(home, "config"),
                           XDG_DATA_HOME=os.path.join(home, "data"),
                           XDG_STATE_HOME=os.path.join(home, "state"),
                           XDG_RUNTIME_DIR=runtime)
        return environment

    def corvane(self, namespace, arguments):
        """Runs a short corvane command to its end."""
        return self.run(namespace, [corvane(), *arguments], timeout=30, check=False,
                        env=self.environment())


class LabTest(unittest.TestCase):
    """The usual bench: the server's card, set to the server address, cabled to one client."""

    def setUp(self):
        self.bench = Lab()
        self.addCleanup(self.bench.close)
        self.server_ns = self.bench.namespace("server")
        self.client_ns = self.bench.namespace("client")
        self.bench.plug_server_card(self.server_ns, self.client_ns)


def saved_document(path):
    """The lease file at `path` as JSON."""
    with open(path) as document:
        return json.load(document)


def with_base_config(arguments):
    base = []
    for flag, value in zip(BASE_CONFIG[::2], BASE_CONFIG[1::2]):
        if flag not in arguments:
            base += [flag, value]
    return base + list(arguments)


class Server:
    """`corvane serve` in a namespace, with its output collected line by line."""

    def __init__(self, lab, namespace, arguments=(), lease_file=None, base=True, wrapper=()):
        """With `base` off, the arguments alone say where to serve and what (e.g. --config).
        `wrapper` is a command that runs corvane in turn, such as nsenter; it must exec it so
        that the process's PID stays corvane's."""
        self.lab = lab
        self.lease_file = lease_file or lab.path("leases.json")
        self.log_dir = lab.path("logs")
        where = ["--interface", SERVER_CARD, *with_base_config(arguments)] if base else arguments
        command = [*wrapper, corvane(), "serve", "--virtual", "--lease-file", self.lease_file,
                   "--log-dir", self.log_dir, *where]
        lab.servers.append(self)
        self.lines = []
        self.errors = []
        self.changed = threading.Condition()
        self.process = lab.spawn(namespace, command, stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE, text=True, env=lab.environment())
        self.readers = [threading.Thread(target=self._collect, args=(stream, into), daemon=True)
                        for stream, into in ((self.process.stdout, self.lines),
                                             (self.process.stderr, self.errors))]
        for reader in self.readers:
            reader.start()

    def _collect(self, stream, into):
        for line in stream:
            with self.changed:
                into.append(line.rstrip("\n"))
                self.changed.notify_all()
        with self.changed:
            self.changed.notify_all()

    def output(self):
        with self.changed:
            return "\n".join(self.lines + ["-- stderr --"] + self.errors)

    def wait_for(self, pattern, timeout=15, after=0):
        """The first output line from index `after` on that matches; fails with the output."""
        expression = re.compile(pattern)
        deadline = time.monotonic() + timeout
        with self.changed:
            while True:
                for index in range(after, len(self.lines)):
                    if expression.search(self.lines[index]):
                        return index, self.lines[index]
                left = deadline - time.monotonic()
                if left <= 0 or (self.process.poll() is not None and
                                 not any(reader.is_alive() for reader in self.readers)):
                    break
                self.changed.wait(min(left, 0.5))
        raise AssertionError(f"no line matching {pattern!r} within {timeout} s:\n{self.output()}")

    def has_line(self, pattern, after=0):
        expression = re.compile(pattern)
        with self.changed:
            return any(expression.search(line) for line in self.lines[after:])

    def started(self):
        self.wait_for(r"  START ")
        return self

    def started_json(self):
        self.wait_for(r'"event":"started"')
        return self

    def stop(self, sig=signal.SIGTERM, timeout=15):
        status = self.lab.stop(self.process, sig, timeout)
        for reader in self.readers:
            reader.join(5)
        self.lab.close_pipes(self.process)
        return status


UDHCPC_SCRIPT = """#!/bin/sh
# Records what the client was told, then configures the address like a real device would.
env > "{folder}/$1.$$"
mv "{folder}/$1.$$" "{folder}/$1"
case "$1" in
deconfig) ip -4 address flush dev "$interface"; ip link set "$interface" up ;;
bound|renew) ip -4 address replace "$ip/$mask" dev "$interface" ;;
esac
exit 0
"""

DHCLIENT_SCRIPT = """#!/bin/sh
env > "{folder}/$reason.$$"
mv "{folder}/$reason.$$" "{folder}/$reason"
case "$reason" in
BOUND|RENEW|REBIND|REBOOT)
    ip -4 address replace "$new_ip_address/$new_subnet_mask" dev "$interface" ;;
esac
exit 0
"""


def read_environment(path):
    values = {}
    with open(path) as dump:
        for line in dump:
            key, _, value = line.rstrip("\n").partition("=")
            values[key] = value
    return values


class Client:
    """A folder for one DHCP client's script, its dumps and its files."""

    def __init__(self, lab, name, script):
        self.folder = lab.path(name)
        os.makedirs(self.folder, exist_ok=True)
        self.script = os.path.join(self.folder, "script")
        with open(self.script, "w") as out:
            out.write(script.format(folder=self.folder))
        os.chmod(self.script, 0o755)

    def dump(self, event):
        path = os.path.join(self.folder, event)
        return read_environment(path) if os.path.exists(path) else None

    def wait_dump(self, event, timeout=20):
        return wait_until(lambda: self.dump(event), timeout, message=f"the client's {event}")


def udhcpc(lab, namespace, name="udhcpc", arguments=(), once=True):
    """busybox udhcpc. With `once` it quits after the lease or a few tries; otherwise it
    stays and renews."""
    client = Client(lab, name, UDHCPC_SCRIPT)
    command = ["busybox", "udhcpc", "-f", "-i", CLIENT_CARD, "-s", client.script, "-t", "5", "-T", "2",
               *arguments]
    if once:
        client.result = lab.run(namespace, command + ["-q", "-n"], timeout=30, check=False)
    else:
        client.process = lab.spawn(namespace, command, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
    return client


def dhclient(lab, namespace, config=None):
    """ISC dhclient in the foreground with its own lease and PID files, and the text of its
    configuration file when given; it stays."""
    client = Client(lab, "dhclient", DHCLIENT_SCRIPT)
    command = ["dhclient", "-d", "-4", "-1", "-lf", os.path.join(client.folder, "leases"),
               "-pf", os.path.join(client.folder, "dhclient.pid"), "-sf", client.script,
               CLIENT_CARD]
    if config is not None:
        with open(os.path.join(client.folder, "dhclient.conf"), "w") as out:
            out.write(config)
        command[1:1] = ["-cf", os.path.join(client.folder, "dhclient.conf")]
    client.process = lab.spawn(namespace, command, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    return client
