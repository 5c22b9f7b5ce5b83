"""Starting the console and the simulator from a test and reading what they print."""

import re
import subprocess
import sys
import threading
import time


def start(command, pattern, timeout=15, env=None):
    """Starts a program and waits for a line of its output matching pattern;
    the rest of its output is read on (a full pipe would stop it)."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               text=True, env=env)
    deadline = time.monotonic() + timeout
    lines = []
    while time.monotonic() < deadline:
        line = process.stdout.readline()
        if not line:
            break
        lines.append(line)
        found = re.search(pattern, line)
        if found:
            threading.Thread(target=lambda: [None for _ in process.stdout], daemon=True).start()
            return process, found
    process.kill()
    sys.exit(f"{command[0]} did not start:\n{''.join(lines)}")
