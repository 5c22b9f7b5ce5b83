#!/usr/bin/python3
"""osc-console over 99 simulated cameras: page load, event stream under a burst, idle CPU.

Starts osc-camera-sim --cameras 99 and osc-console on loopback, then
  1. page load in headless Chromium: navigation to the 99th card drawn, and to
     every card filled (name and versions), over --runs fresh loads;
  2. a burst: brightness changed on all 99 cameras at once through the console's
     API; time until every card shows the result, the largest delay from a
     change in the console to the page drawing it, and whether the page and a
     deliberately slow event reader end on the console's latest state;
  3. idle: the console's CPU time over --idle-seconds with the page open and
     the fleet polled as usual, and its resident memory.
Prints a markdown table. Traffic stays on 127.0.0.0/8.

usage: bench/console_load.py --build build/release [--runs 5] [--idle-seconds 60]
"""

import argparse
import concurrent.futures
import json
import os
import re
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tools", "console", "tests"))
from processes import start  # noqa: E402
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support.ui import WebDriverWait

CAMERAS = 99
CHROMIUM_FLAGS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
    "--window-size=1600,1000",
]


def api(console, path, body=None):
    request = urllib.request.Request(f"http://{console}{path}", method="POST" if body else "GET",
                                     data=json.dumps(body).encode() if body else None,
                                     headers={"Content-Type": "application/json"})
    with urllib.request.urlopen(request, timeout=10) as response:
        return json.load(response)


def cpu_seconds(pid):
    with open(f"/proc/{pid}/stat") as stat:
        fields = stat.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def rss_mib(pid):
    with open(f"/proc/{pid}/status") as status:
        for line in status:
            if line.startswith("VmRSS:"):
                return int(line.split()[1]) / 1024
    return 0.0


class SlowReader(threading.Thread):
    """Reads the event stream 2 KiB at a time, 20 times a second (40 KiB/s),
    with a small receive buffer, as a browser whose page is too busy to read."""

    def __init__(self, console):
        super().__init__(daemon=True)
        host, port = console.split(":")
        self.sock = socket.socket()
        self.sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 16 * 1024)
        self.sock.connect((host, int(port)))
        self.sock.sendall(f"GET /api/events HTTP/1.1\r\nHost: {console}\r\n\r\n".encode())
        self.latest = {}  # ip -> seq of the last card event read
        self.stop = False

    def run(self):
        pending = b""
        while not self.stop:
            chunk = self.sock.recv(2048)
            if not chunk:
                return
            pending += chunk
            for card in re.findall(rb"event: card\ndata: (\{.*?\})\n", pending):
                data = json.loads(card)
                self.latest[data["ip"]] = data["seq"]
            pending = pending[pending.rfind(b"\n\n") + 2:] if b"\n\n" in pending else pending
            time.sleep(0.05)


def idle_row(pid, seconds, what):
    """The console's CPU while the fleet is only polled for health."""
    before = cpu_seconds(pid)
    time.sleep(seconds)
    used = cpu_seconds(pid) - before
    return (f"idle, {what}, {seconds} s: console CPU of one core", f"{100 * used / seconds:.2f} %",
            "", "")


def summary(values):
    return statistics.median(values), min(values), max(values)


def wait_js(driver, script, timeout):
    return WebDriverWait(driver, timeout, poll_frequency=0.02).until(
        lambda d: d.execute_script(script))


def chromedriver():
    """Debian's chromium-driver; without it Selenium would try to download one."""
    return shutil.which("chromedriver") or sys.exit("no chromedriver: install chromium-driver")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default="build/release")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--idle-seconds", type=int, default=60)
    args = parser.parse_args()

    processes = []
    scratch = tempfile.mkdtemp(prefix="console-bench-")
    rows = []
    try:
        sim, found = start([f"{args.build}/sim/osc-camera-sim", "--cameras", str(CAMERAS),
                            "--port", "0"], rf"camera 127\.0\.0\.{CAMERAS}:(\d+)")
        processes.append(sim)
        port = found.group(1)
        cameras = ",".join(f"127.0.0.{i}:{port}" for i in range(1, CAMERAS + 1))
        console_process, opened = start(
            [f"{args.build}/tools/console/osc-console", "--listen", "127.0.0.1:0",
             "--cameras", cameras], r"open (http://(127\.0\.0\.1:\d+)/)")
        processes.append(console_process)
        url, console = opened.groups()
        started = time.monotonic()
        while not all(c["has_params"] and c["link"] == "online" for c in api(console, "/api/cameras")):
            time.sleep(0.1)
        rows.append(("start: every card online with its parameter document",
                      f"{time.monotonic() - started:.1f} s", "", ""))
        rows.append(idle_row(console_process.pid, args.idle_seconds, "no page open"))

        options = webdriver.ChromeOptions()
        for flag in CHROMIUM_FLAGS + [f"--user-data-dir={scratch}/profile"]:
            options.add_argument(flag)
        driver = webdriver.Chrome(service=Service(chromedriver()), options=options)

        drawn, filled, loaded = [], [], []
        for _ in range(args.runs):
            driver.get("about:blank")
            driver.get(url)
            wait_js(driver, f"return document.querySelectorAll('.card').length === {CAMERAS}", 10)
            drawn.append(driver.execute_script("return window.consoleStats.lastCardCreatedAt"))
            filled.append(wait_js(driver, """
                const cards = [...document.querySelectorAll('.card')];
                const done = cards.every(c =>
                    c.querySelector('[data-field="ast1230"]').textContent !== '–');
                return done && performance.now();""", 10))
            loaded.append(driver.execute_script(
                "return performance.getEntriesByType('navigation')[0].loadEventEnd"))
        for what, values in (("page load: navigation to the load event", loaded),
                             ("page load: navigation to the 99th card drawn", drawn),
                             ("page load: navigation to every card filled", filled)):
            rows.append((what,) + tuple(f"{v:.0f} ms" for v in summary(values)))

        # The burst: every camera changes at once.
        slow = SlowReader(console)
        slow.start()
        time.sleep(1)
        driver.execute_script("window.consoleStats.maxLagMs = 0; window.consoleStats.events = 0")
        burst_start = time.time() * 1000
        with concurrent.futures.ThreadPoolExecutor(16) as pool:
            answers = list(pool.map(
                lambda i: api(console, f"/api/cameras/127.0.0.{i}/actions/brightness",
                              {"value": 40 + i % 50}), range(1, CAMERAS + 1)))
        assert all("queued" in a for a in answers), answers
        shown = wait_js(driver, f"""
            return [...document.querySelectorAll('.card .results li')]
                .filter(li => li.textContent.includes('SetBrightness ok')).length >= {CAMERAS}
                && Date.now();""", 30)
        rows.append(("burst: 99 brightness changes, first request to every card showing its result",
                     f"{shown - burst_start:.0f} ms", "", ""))
        stats = driver.execute_script("return window.consoleStats")
        rows.append(("burst: largest delay, change in the console to the page drawing it",
                     f"{stats['maxLagMs']} ms", "", ""))
        rows.append(("burst: card events the page received", str(stats["events"]), "", ""))
        time.sleep(3)  # the follow-up documents settle
        latest = {c["ip"]: c["seq"] for c in api(console, "/api/cameras")}
        time.sleep(0.5)  # one batch (100 ms) and its drawing; polls go on meanwhile
        page = driver.execute_script(
            "return Object.fromEntries([...document.querySelectorAll('.card')]"
            ".map(c => [c.dataset.ip, Number(c.dataset.seq)]))")
        behind = [ip for ip, seq in latest.items() if page.get(ip, 0) < seq]
        rows.append(("burst: cards on the page older than the console's state 0.5 s before",
                     str(len(behind)), "", ""))
        caught_up = time.monotonic()
        deadline = caught_up + 30
        while time.monotonic() < deadline and any(
                slow.latest.get(ip, 0) < seq for ip, seq in latest.items()):
            time.sleep(0.1)
        slow_behind = [ip for ip, seq in latest.items() if slow.latest.get(ip, 0) < seq]
        rows.append(("slow reader (40 KiB/s): cards still older than that state after 30 s",
                     str(len(slow_behind)), "", ""))
        rows.append(("slow reader: time until it held every camera's state of that moment or newer",
                     f"{time.monotonic() - caught_up:.1f} s", "", ""))
        slow.stop = True

        rows.append(idle_row(console_process.pid, args.idle_seconds, "page open"))
        rows.append(("console resident memory (VmRSS) at the end",
                     f"{rss_mib(console_process.pid):.1f} MiB", "", ""))
        driver.quit()
    finally:
        for process in processes:
            process.kill()
            process.wait()
        shutil.rmtree(scratch, ignore_errors=True)

    print("| Figure | Median (or value) | Min | Max |")
    print("|---|---|---|---|")
    for row in rows:
        print("| " + " | ".join(row) + " |")


if __name__ == "__main__":
    main()
