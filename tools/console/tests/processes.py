"""Starting the console, the simulator and Chromium from a test, reading what
the programs print, waiting for them, and ending them."""

import re
import signal
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


def stop_all(processes):
    """Ends every process, also one stopped with SIGSTOP."""
    for process in processes:
        process.send_signal(signal.SIGCONT)
        process.kill()
        process.wait()


CHROMIUM_FLAGS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
]


def chromium(profile, width, height):
    """Debian's headless Chromium through its chromedriver (without it, Selenium
    would try to download one), with a fresh profile and a window of this size."""
    import shutil

    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service

    driver_path = shutil.which("chromedriver") or sys.exit(
        "no chromedriver: install chromium-driver")
    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which("chromium") or "/usr/bin/chromium"
    for flag in CHROMIUM_FLAGS + [f"--window-size={width},{height}",
                                  f"--user-data-dir={profile}"]:
        options.add_argument(flag)
    driver = webdriver.Chrome(service=Service(driver_path), options=options)
    # The page itself gets the whole size, whatever the window keeps for itself.
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
        "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
    return driver
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
