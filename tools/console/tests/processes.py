"""Starting the console and the simulator from a test, reading what they print, waiting for them."""

import re
import subprocess
import sys
import threading
import time


def start(command, pattern, timeout=15, env=None):
    """Starts a program and waits for a line of its output matching pattern;
    the rest of its output is read on (a full pipe would stop it) into the
    process's `lines`, with the lines before."""
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
            process.lines = lines
            threading.Thread(target=lambda: [lines.append(rest) for rest in process.stdout],
                             daemon=True).start()
            return process, found
    process.kill()
    sys.exit(f"{command[0]} did not start:\n{''.join(lines)}")


def wait_until(what, condition, seconds=20):
    """The first true value of condition(), tried every 0.1 s (a program it
    cannot reach yet, OSError, counts as false); ends the run with `what`
    when none comes within `seconds`."""
    deadline = time.monotonic() + seconds
    while True:
        try:
            value = condition()
        except OSError:
            value = None
        if value:
            return value
        if time.monotonic() > deadline:
            sys.exit(f"not within {seconds} s: {what}")
        time.sleep(0.1)
