"""corvane demo shows a whole exchange and leaves nothing behind, however it ends."""

import glob
import os
import re
import signal
import subprocess
import tempfile
import threading
import unittest

import lab

EXCHANGE = (r"  START +demo-server server 192\.168\.77\.1/24 ", r"  RX DISCOVER +02:c0:4a:0d:e0:01 ",
            r"  TX OFFER +192\.168\.77\.100 -> ", r"  RX REQUEST +02:c0:4a:0d:e0:01 ",
            r"  LEASE +bound 192\.168\.77\.100 02:c0:4a:0d:e0:01", r"  TX ACK +192\.168\.77\.100 ",
            r"  ONLINE +192\.168\.77\.100 02:c0:4a:0d:e0:01 ", r"  STOP +server stopped$")
CLEANED = "The demo removed its namespaces, its virtual cable and its files."


def demo_leftovers(pid):
    names = subprocess.run(["ip", "netns", "list"], capture_output=True, text=True).stdout
    namespaces = [line.split()[0] for line in names.splitlines()
                  if line.startswith(f"corvane-demo-{pid}-")]
    folders = glob.glob(os.path.join(tempfile.gettempdir(), "corvane-demo-*"))
    return namespaces, folders


class DemoRunsAndCleansUp(unittest.TestCase):
    def run_demo(self, arguments, stop_after_online):
        before = set(demo_leftovers(0)[1])
        demo = subprocess.Popen([lab.corvane(), "demo", *arguments], stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True)
        # Whatever happens, the demo is ended within this bound.
        watchdog = threading.Timer(60, demo.kill)
        watchdog.start()
        try:
            if stop_after_online:
                lines = []
                for line in demo.stdout:
                    lines.append(line)
                    if "  ONLINE " in line:
                        demo.send_signal(signal.SIGINT)
                        break
                output, errors = demo.communicate(timeout=30)
                output = "".join(lines) + output
            else:
                output, errors = demo.communicate(timeout=60)
        finally:
            watchdog.cancel()
            if demo.poll() is None:
                demo.kill()
                demo.wait(5)
        namespaces, folders = demo_leftovers(demo.pid)
        return demo.returncode, output, errors, namespaces, set(folders) - before

    def test_the_demo_shows_the_exchange_and_removes_everything(self):
        for name, arguments, interrupt in (("--seconds elapses", ["--seconds", "13"], False),
                                           ("Ctrl-C", [], True)):
            with self.subTest(ended_by=name):
                status, output, errors, namespaces, folders = self.run_demo(arguments, interrupt)
                self.assertEqual(status, 0, output + errors)
                position = 0
                for expected in EXCHANGE:
                    found = re.compile(expected, re.M).search(output, position)
                    self.assertIsNotNone(found, f"{expected!r} missing in order:\n{output}")
                    position = found.end()
                self.assertIn("The device 02:c0:4a:0d:e0:01 got 192.168.77.100.", output)
                self.assertTrue(output.rstrip().endswith(CLEANED), output)
                self.assertEqual(namespaces, [])
                self.assertEqual(folders, set())

    def test_the_demo_refuses_bad_seconds_and_a_user_without_root(self):
        as_nobody = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
        for name, prefix, arguments, status, text in (
                ("zero seconds", [], ["--seconds", "0"], 2,
                 "--seconds: give a whole number of seconds"),
                ("not root", as_nobody, ["--seconds", "5"], 1, "Run it with sudo: sudo corvane demo")):
            with self.subTest(case=name):
                result = subprocess.run([*prefix, lab.corvane(), "demo", *arguments],
                                        capture_output=True, text=True, timeout=10)
                self.assertEqual(result.returncode, status, result.stdout + result.stderr)
                self.assertIn(text, result.stderr)
                self.assertNotIn("START", result.stdout)


if __name__ == "__main__":
    lab.main()
