#!/usr/bin/python3
"""osc-console over 99 simulated cameras: page load, bulk actions, idle CPU, rollouts.

Starts osc-camera-sim --cameras 99 and osc-console on loopback, then
  1. page load in headless Chromium (1600x1000): navigation to the 99th row
     drawn, and to every row filled (name, state and both module versions),
     over --runs fresh loads;
  2. bulk brightness from the page: one camera selected, then all 99; the time
     from pressing Apply to the run panel showing every selected camera done,
     over --runs tries each; and a burst through the API (16 requests in
     parallel): the largest delay from a change in the console to the page
     drawing it, whether the page and a deliberately slow event reader end on
     the console's latest state;
  3. idle: the console's CPU time over --idle-seconds without a page and with
     the page open, the fleet polled as usual, and its resident memory;
  4. firmware rollouts of one --image-mb image to all 99 cameras, uploaded from
     the page, with --rollout-parallel 8 and 99 (a console each): wall time
     from pressing the button to the rollout's end, and the console's peak
     resident memory above its resident memory before the upload.
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
import sys
import tempfile
import threading
import time
import urllib.request

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tools", "console", "tests"))
from processes import chromium, start, stop_all  # noqa: E402
from selenium.webdriver.common.by import By  # noqa: E402
from selenium.webdriver.support.ui import WebDriverWait  # noqa: E402

CAMERAS = 99


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


def memory_kib(pid, field):
    with open(f"/proc/{pid}/status") as status:
        for line in status:
            if line.startswith(field + ":"):
                return int(line.split()[1])
    return 0


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
        self.latest = {}  # ip -> document version of the last row event read
        self.stop = False

    def run(self):
        pending = b""
        while not self.stop:
            chunk = self.sock.recv(2048)
            if not chunk:
                return
            pending += chunk
            for row in re.findall(rb"event: row\ndata: (\{.*?\})\n", pending):
                data = json.loads(row)
                self.latest[data["ip"]] = data["params"]
            pending = pending[pending.rfind(b"\n\n") + 2:] if b"\n\n" in pending else pending
            time.sleep(0.05)


def summary(values):
    return statistics.median(values), min(values), max(values)


def timed_row(what, values, unit="ms", digits=0):
    return (what,) + tuple(f"{v:.{digits}f} {unit}" for v in summary(values))


def wait_js(driver, script, timeout):
    return WebDriverWait(driver, timeout, poll_frequency=0.02).until(
        lambda d: d.execute_script(script))


def start_console(args, cameras, extra):
    return start([f"{args.build}/tools/console/osc-console", "--listen", "127.0.0.1:0",
                  "--cameras", cameras] + extra, r"open (http://(127\.0\.0\.1:\d+)/)",
                 env=dict(os.environ, TMPDIR=args.scratch))


def all_online(console):
    started = time.monotonic()
    while not all(c["has_params"] and c["state"] == "answering"
                  for c in api(console, "/api/cameras")):
        time.sleep(0.1)
    return time.monotonic() - started


def idle_row(pid, seconds, what):
    """The console's CPU while the fleet is only polled for health."""
    before = cpu_seconds(pid)
    time.sleep(seconds)
    used = cpu_seconds(pid) - before
    return (f"idle, {what}, {seconds} s: console CPU of one core", f"{100 * used / seconds:.2f} %",
            "", "")


def page_loads(driver, url, runs):
    drawn, filled, loaded = [], [], []
    for _ in range(runs):
        driver.get("about:blank")
        driver.get(url)
        wait_js(driver, f"return document.querySelectorAll('#fleet .camera').length === {CAMERAS}",
                10)
        drawn.append(driver.execute_script("return window.consoleStats.lastRowCreatedAt"))
        filled.append(wait_js(driver, """
            const rows = [...document.querySelectorAll('#fleet .camera')];
            const done = rows.every(c => c.dataset.state === 'answering' &&
                c.querySelector('[data-field="ast1230"]').textContent !== '–');
            return done && performance.now();""", 10))
        loaded.append(driver.execute_script(
            "return performance.getEntriesByType('navigation')[0].loadEventEnd"))
    return [timed_row("page load: navigation to the load event", loaded),
            timed_row("page load: navigation to the 99th row drawn", drawn),
            timed_row("page load: navigation to every row filled", filled)]


# Presses Apply and notes when the run panel shows every selected camera done.
BULK_SCRIPT = """
const [count, value] = arguments;
window.benchDone = null;
const list = document.getElementById('run-cameras');
const observer = new MutationObserver(() => {
  if (list.querySelectorAll('li[data-state="done"]').length >= count) {
    window.benchDone = performance.now();
    observer.disconnect();
  }
});
observer.observe(list, {childList: true, subtree: true});
document.getElementById('bulk-action').value = 'brightness';
document.getElementById('bulk-action').dispatchEvent(new Event('change'));
document.getElementById('bulk-value').value = value;
window.benchStart = performance.now();
document.getElementById('bulk-apply').click();
"""


def bulk_from_page(driver, runs):
    """Brightness on one camera, then on all 99, from the page."""
    times = {1: [], CAMERAS: []}
    for attempt in range(runs):
        for count in (1, CAMERAS):
            driver.find_element(By.ID, "select-none").click()
            if count == 1:
                ip = f"127.0.0.{1 + (attempt * 17) % CAMERAS}"
                # The run panel may cover the camera: a click in the page itself.
                driver.execute_script("arguments[0].click()", driver.find_element(
                    By.CSS_SELECTOR, f'.camera[data-ip="{ip}"] .address'))
            else:
                driver.find_element(By.ID, "select-all").click()
            time.sleep(1)  # the follow-up documents of the last run settle
            driver.execute_script(BULK_SCRIPT, count, 30 + attempt * 7 + count % 2)
            wait_js(driver, "return window.benchDone !== null", 30)
            times[count].append(driver.execute_script("return window.benchDone - window.benchStart"))
    one, every = statistics.median(times[1]), statistics.median(times[CAMERAS])
    return [timed_row("bulk brightness from the page, 1 camera: Apply to its result shown",
                      times[1]),
            timed_row("bulk brightness from the page, 99 cameras: Apply to the last result shown",
                      times[CAMERAS]),
            ("bulk brightness: 99 cameras over 1 camera (medians)", f"{every / one:.2f}", "", "")]


def burst(driver, console):
    """Brightness on all 99 at once through the API; the page and a slow reader keep up."""
    rows = []
    slow = SlowReader(console)
    slow.start()
    time.sleep(1)
    driver.execute_script("window.consoleStats.maxLagMs = 0; window.consoleStats.events = 0")
    with concurrent.futures.ThreadPoolExecutor(16) as pool:
        answers = list(pool.map(
            lambda i: api(console, f"/api/cameras/127.0.0.{i}/actions/brightness",
                          {"value": 40 + i % 50}), range(1, CAMERAS + 1)))
    assert all("queued" in a for a in answers), answers
    time.sleep(3)  # the follow-up documents settle
    stats = driver.execute_script("return window.consoleStats")
    rows.append(("API burst: largest delay, change in the console to the page drawing it",
                 f"{stats['maxLagMs']} ms", "", ""))
    # Rows come only when what the page shows changes (log lines and polls
    # bring none): the burst's follow-up documents are what must arrive.
    latest = {c["ip"]: c["params"] for c in api(console, "/api/cameras")}
    time.sleep(0.5)  # one batch (150 ms) and its drawing; polls go on meanwhile
    page = driver.execute_script(
        "return Object.fromEntries([...cameras].map(([ip, c]) => [ip, c.row.params]))")
    behind = [ip for ip, seq in latest.items() if page.get(ip, 0) < seq]
    rows.append(("API burst: rows on the page older than the console's state 0.5 s before",
                 str(len(behind)), "", ""))
    caught_up = time.monotonic()
    deadline = caught_up + 30
    while time.monotonic() < deadline and any(
            slow.latest.get(ip, 0) < seq for ip, seq in latest.items()):
        time.sleep(0.1)
    slow_behind = [ip for ip, seq in latest.items() if slow.latest.get(ip, 0) < seq]
    rows.append(("slow reader (40 KiB/s): rows still older than that state after 30 s",
                 f"{len(slow_behind)} (all newer after {time.monotonic() - caught_up:.1f} s)",
                 "", ""))
    slow.stop = True
    return rows


def rollout(driver, url, pid, image, parallel):
    """One image to every camera from the page; wall time and peak memory growth."""
    driver.get(url)
    wait_js(driver, f"return [...document.querySelectorAll('#fleet .camera')]"
                    f".filter(c => c.dataset.state === 'answering').length === {CAMERAS}", 30)
    driver.find_element(By.ID, "select-all").click()
    driver.find_element(By.ID, "rollout-open").click()
    wait_js(driver, "return document.getElementById('rollout-rule').textContent !== ''", 10)
    driver.find_element(By.ID, "fw-1220").send_keys(image)
    with open(f"/proc/{pid}/clear_refs", "w") as refs:
        refs.write("5")  # VmHWM starts again from the resident memory now
    before = memory_kib(pid, "VmRSS")
    started = time.monotonic()
    driver.find_element(By.ID, "rollout-start").click()
    wait_js(driver, "return document.getElementById('rollout-status').textContent"
                    ".includes('ended')", 600)
    wall = time.monotonic() - started
    status = driver.find_element(By.ID, "rollout-status").text
    failures = driver.execute_script(
        "return [...document.querySelectorAll('#rollout-cameras li[data-step=\"failed\"]')]"
        ".map(li => li.dataset.ip + ': ' + li.dataset.message)")
    growth = (memory_kib(pid, "VmHWM") - before) / 1024
    return [(f"rollout of a {os.path.getsize(image) >> 20} MiB image to 99 cameras, "
             f"--rollout-parallel {parallel}: wall time", f"{wall:.1f} s",
             status.split(" · ended")[0], "; ".join(failures)),
            (f"rollout, --rollout-parallel {parallel}: console peak RSS above its RSS before",
             f"{growth:.1f} MiB", "", "")]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default="build/release")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--idle-seconds", type=int, default=60)
    parser.add_argument("--image-mb", type=int, default=32)
    args = parser.parse_args()

    processes = []
    args.scratch = tempfile.mkdtemp(prefix="console-bench-")
    rows = []
    driver = None
    try:
        sim, found = start([f"{args.build}/sim/osc-camera-sim", "--cameras", str(CAMERAS),
                            "--port", "0"], rf"camera 127\.0\.0\.{CAMERAS}:(\d+)")
        processes.append(sim)
        port = found.group(1)
        cameras = ",".join(f"127.0.0.{i}:{port}" for i in range(1, CAMERAS + 1))
        upload_flags = ["--max-upload-mb", str(args.image_mb + 1)]
        console_process, opened = start_console(
            args, cameras, upload_flags + ["--rollout-parallel", "8"])
        processes.append(console_process)
        url, console = opened.groups()
        rows.append(("start: every camera answering with its parameter document",
                     f"{all_online(console):.1f} s", "", ""))
        rows.append(idle_row(console_process.pid, args.idle_seconds, "no page open"))

        driver = chromium(f"{args.scratch}/profile", 1600, 1000)
        rows += page_loads(driver, url, args.runs)
        rows += bulk_from_page(driver, args.runs)
        rows += burst(driver, console)
        driver.get(url)
        time.sleep(5)
        rows.append(idle_row(console_process.pid, args.idle_seconds, "page open"))
        rows.append(("console resident memory (VmRSS) after the idle minute",
                     f"{memory_kib(console_process.pid, 'VmRSS') / 1024:.1f} MiB", "", ""))

        image = os.path.join(args.scratch, "update.img")
        with open(image, "wb") as out:
            out.write(os.urandom(args.image_mb << 20))
        rows += rollout(driver, url, console_process.pid, image, 8)
        console_process.terminate()
        console_process.wait()
        processes.remove(console_process)
        console_process, opened = start_console(
            args, cameras, upload_flags + ["--rollout-parallel", str(CAMERAS)])
        processes.append(console_process)
        url, console = opened.groups()
        all_online(console)
        rows += rollout(driver, url, console_process.pid, image, CAMERAS)
        leftovers = [n for n in os.listdir(args.scratch) if n.startswith("osc-console-")]
        rows.append(("uploads left in the console's temporary directory", str(len(leftovers)),
                     "", ""))
    finally:
        if driver:
            driver.quit()
        stop_all(processes)
        shutil.rmtree(args.scratch, ignore_errors=True)

    print("| Figure | Median (or value) | Min | Max |")
    print("|---|---|---|---|")
    for row in rows:
        print("| " + " | ".join(row) + " |")


if __name__ == "__main__":
    main()
