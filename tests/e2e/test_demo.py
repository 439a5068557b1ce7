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
    def test_the_demo_shows_the_exchange_and_removes_everything_after_ctrl_c(self):
        before = set(demo_leftovers(0)[1])
        demo = subprocess.Popen([lab.corvane(), "demo"], stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True)
        # Whatever happens, the demo is ended within this bound.
        watchdog = threading.Timer(60, demo.kill)
        watchdog.start()
        try:
            lines = []
            for line in demo.stdout:
                lines.append(line)
                if "  ONLINE " in line:
                    demo.send_signal(signal.SIGINT)
                    break
            output, errors = demo.communicate(timeout=30)
            output = "".join(lines) + output
        finally:
            watchdog.cancel()
            if demo.poll() is None:
                demo.kill()
                demo.wait(5)
        namespaces, folders = demo_leftovers(demo.pid)
        self.assertEqual(demo.returncode, 0, output + errors)
        position = 0
        for expected in EXCHANGE:
            found = re.compile(expected, re.M).search(output, position)
            self.assertIsNotNone(found, f"{expected!r} missing in order:\n{output}")
            position = found.end()
        self.assertIn("The device 02:c0:4a:0d:e0:01 got 192.168.77.100.", output)
        self.assertTrue(output.rstrip().endswith(CLEANED), output)
        self.assertEqual(namespaces, [])
        self.assertEqual(set(folders) - before, set())

if __name__ == "__main__":
    lab.main()
