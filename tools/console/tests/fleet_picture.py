#!/usr/bin/python3
"""Makes the README's picture of osc-console: the fleet view of 40 simulated
cameras in headless Chromium at 1600x1000, a few of them needing attention.

usage: fleet_picture.py --console BIN --sim BIN --out docs/console.png
"""

import argparse
import json
import os
import signal
import tempfile
import time
import urllib.request

from processes import chromium, start

CAMERAS = 40


def post(console, path, body):
    request = urllib.request.Request(f"http://{console}{path}", data=json.dumps(body).encode(),
                                     method="POST", headers={"Content-Type": "application/json"})
    with urllib.request.urlopen(request, timeout=10) as answer:
        return json.load(answer)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--console", required=True)
    parser.add_argument("--sim", required=True)
    parser.add_argument("--out", required=True)
    args = parser.parse_args()
    processes = []
    driver = None
    with tempfile.TemporaryDirectory(prefix="console-picture-") as scratch:
        try:
            flags = ["--port", "0", "--update-step-ms", "3000", "--reboot-ms", "600000"]
            sim, found = start([args.sim, "--cameras", str(CAMERAS)] + flags,
                               rf"camera 127\.0\.0\.{CAMERAS}:(\d+)")
            processes.append(sim)
            # Two more that stop answering, in a simulator of their own.
            lost, lost_found = start([args.sim, "--cameras", "2", "--port", "0"],
                                     r"camera 127\.0\.0\.2:(\d+)")
            processes.append(lost)
            addresses = [f"127.0.0.{i}:{found.group(1)}" for i in range(3, CAMERAS + 1)]
            addresses += [f"127.0.0.{i}:{lost_found.group(1)}" for i in (1, 2)]
            console_process, opened = start(
                [args.console, "--listen", "127.0.0.1:0", "--cameras", ",".join(addresses)],
                r"open (http://(127\.0\.0\.1:\d+)/)")
            processes.append(console_process)
            url, console = opened.groups()
            time.sleep(4)
            every = [f"127.0.0.{i}" for i in range(1, CAMERAS + 1)]
            post(console, "/api/bulk", {"action": "screenshot", "cameras": every})
            post(console, "/api/bulk", {"action": "brightness", "value": 250,
                                        "cameras": ["127.0.0.7"]})
            post(console, "/api/cameras/127.0.0.9/actions/reboot", {})
            time.sleep(6)
            os.kill(lost.pid, signal.SIGSTOP)
            driver = chromium(f"{scratch}/profile", 1600, 1000)
            driver.get(url)
            time.sleep(12)
            driver.save_screenshot(args.out)
            print(f"wrote {args.out}")
        finally:
            if driver:
                driver.quit()
            for process in processes:
                process.send_signal(signal.SIGCONT)
                process.kill()
                process.wait()


if __name__ == "__main__":
    main()
