#!/usr/bin/python3
"""Makes the README's picture of osc-console: the fleet view of 40 simulated
cameras in headless Chromium at 1600x1000, with what an operator meets: two
cameras not answering, a failed update, a reboot not back yet, and a rollout
to eight selected cameras under way.

usage: fleet_picture.py --console BIN --sim BIN --out docs/console.png
"""

import argparse
import os
import signal
import tempfile
import time

from processes import chromium, start, stop_all
from selenium.webdriver.common.by import By

CAMERAS = 40
ROLLOUT = range(20, 28)


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
            slow = ["--port", "0", "--update-step-ms", "1500", "--reboot-ms", "600000"]
            # Cameras 1-2 stop answering later, 3 fails its updates, 4-40 are well.
            sims = [(CAMERAS, slow), (2, ["--port", "0"]), (3, ["--port", "0", "--fail-update", "hw"])]
            ports = []
            for count, flags in sims:
                sim, found = start([args.sim, "--cameras", str(count)] + flags,
                                   rf"camera 127\.0\.0\.{count}:(\d+)")
                processes.append(sim)
                ports.append(found.group(1))
            addresses = [f"127.0.0.{i}:{ports[1]}" for i in (1, 2)]
            addresses += [f"127.0.0.3:{ports[2]}"]
            addresses += [f"127.0.0.{i}:{ports[0]}" for i in range(4, CAMERAS + 1)]
            console, opened = start(
                [args.console, "--listen", "127.0.0.1:0", "--rollout-parallel", "3",
                 "--cameras", ",".join(addresses)], r"open (http://(127\.0\.0\.1:\d+)/)",
                env=dict(os.environ, TMPDIR=scratch))
            processes.append(console)
            driver = chromium(f"{scratch}/profile", 1600, 1000)
            driver.get(opened.group(1))
            time.sleep(4)
            click = lambda css: driver.execute_script(
                "arguments[0].click()", driver.find_element(By.CSS_SELECTOR, css))
            click("#select-all")
            driver.execute_script("document.getElementById('bulk-action').value = 'screenshot';"
                                  "document.getElementById('bulk-action')"
                                  ".dispatchEvent(new Event('change'));")
            click("#bulk-apply")
            time.sleep(3)
            click('[data-close="run-panel"]')
            # A failed update on camera 3, a reboot on camera 9.
            click("#select-none")
            click('.camera[data-ip="127.0.0.3"] .address')
            click("#rollout-open")
            image = os.path.join(scratch, "update.img")
            with open(image, "wb") as out:
                out.write(os.urandom(1 << 20))
            driver.find_element(By.ID, "fw-1220").send_keys(image)
            click("#rollout-start")
            time.sleep(3)
            click(".camera[data-ip=\"127.0.0.9\"] .name")
            click('#detail button[data-action="reboot"]')
            click('#detail button[data-action="reboot"]')
            time.sleep(1)
            click("#detail-close")
            os.kill(processes[1].pid, signal.SIGSTOP)
            click("#select-none")
            for i in ROLLOUT:
                click(f'.camera[data-ip="127.0.0.{i}"] .address')
            driver.find_element(By.ID, "fw-1220").send_keys(image)
            click("#rollout-start")
            time.sleep(18)
            driver.save_screenshot(args.out)
            print(f"wrote {args.out}")
        finally:
            if driver:
                driver.quit()
            stop_all(processes)


if __name__ == "__main__":
    main()
