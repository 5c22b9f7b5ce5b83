#!/usr/bin/python3
"""osc-console's /metrics over 99 simulated cameras: time to make the answer, and its size.

Starts osc-camera-sim --cameras 99 and osc-console on loopback (default
pacing) and waits until every camera answers. Then, twice, it uses the
cameras through the console's API and scrapes /metrics --scrapes times, 100 ms
apart: first after brightness, contrast and mode changed on every camera (a
day's use), then after every other setting, a stream start, a screenshot and
a parameter refresh too (every operation the console offers but reboot and
firmware, so osc_camera_commands_total holds about all it can). For each
scrape: the time the console took to make the answer (its Server-Timing
header: from the copy of the cameras' state to the finished text), the round
trip over loopback, the answer's size, and its size gzip-compressed as
Prometheus asks for it (Accept-Encoding: gzip). Prints a markdown table.
Traffic stays on 127.0.0.0/8.

usage: bench/console_metrics.py --build build/release [--scrapes 300]
"""

import argparse
import json
import os
import re
import statistics
import sys
import time
import urllib.error
import urllib.request

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tools", "console", "tests"))
from processes import start, wait_until  # noqa: E402

CAMERAS = 99


def call(console, path, body=None, headers=None):
    request = urllib.request.Request(f"http://{console}{path}", method="GET" if body is None else "POST",
                                     data=None if body is None else json.dumps(body).encode(),
                                     headers=dict({"Content-Type": "application/json"},
                                                  **(headers or {})))
    with urllib.request.urlopen(request, timeout=10) as response:
        return response.headers, response.read()


def summary(values, unit, scale=1.0):
    values = sorted(v * scale for v in values)
    p99 = values[min(len(values) - 1, int(len(values) * 0.99))]
    return (f"{statistics.median(values):.2f} {unit} (p99 {p99:.2f}, max {values[-1]:.2f})")


def act(console, cameras, action, body):
    for camera in cameras:
        ip = camera.split(":")[0]
        for _ in range(100):  # 409 while the camera reports its mode or its document
            try:
                call(console, f"/api/cameras/{ip}/actions/{action}", body)
                break
            except urllib.error.HTTPError as error:
                if error.code != 409:
                    raise
                time.sleep(0.1)


def setting_value(setting, document):
    """The lowest value the camera takes, or 1 where it states no range."""
    if "range" in setting:
        return setting["range"][0]
    return document.get(setting.get("min_member"), 1)


def measure(console, scrapes, what):
    render, round_trip, size = [], [], []
    for _ in range(scrapes):
        started = time.perf_counter()
        headers, body = call(console, "/metrics")
        round_trip.append(time.perf_counter() - started)
        render.append(float(re.search(r"dur=([\d.]+)", headers["Server-Timing"]).group(1)))
        size.append(len(body))
        time.sleep(0.1)
    headers, packed = call(console, "/metrics", headers={"Accept-Encoding": "gzip"})
    assert headers["Content-Encoding"] == "gzip", headers
    samples = sum(1 for line in body.decode().splitlines() if not line.startswith("#"))
    print(f"| {what}: time to make the answer, in the console | {summary(render, 'ms')} |")
    print(f"| {what}: round trip over loopback | {summary(round_trip, 'ms', 1000)} |")
    print(f"| {what}: answer size, {samples} samples | {size[-1] / 1000:.1f} KB, "
          f"gzip {len(packed) / 1000:.1f} KB |", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", required=True, help="build tree with osc-console and the simulator")
    parser.add_argument("--scrapes", type=int, default=300)
    args = parser.parse_args()

    sim, found = start([f"{args.build}/sim/osc-camera-sim", "--cameras", str(CAMERAS),
                        "--port", "0"], rf"camera 127\.0\.0\.{CAMERAS}:(\d+)")
    cameras = [f"127.0.0.{i}:{found.group(1)}" for i in range(1, CAMERAS + 1)]
    console_process, opened = start([f"{args.build}/tools/console/osc-console", "--listen",
                                     "127.0.0.1:0", "--cameras", ",".join(cameras)],
                                    r"open http://(127\.0\.0\.1:\d+)/")
    console = opened.group(1)
    try:
        wait_until("every camera answers with its document", lambda: all(
            card["link"] == "online" and card["has_params"]
            for card in json.loads(call(console, "/api/cameras")[1])), 60)
        print(f"| Figure ({CAMERAS} cameras, {args.scrapes} scrapes each) | Median (p99, max) |")
        print("|---|---|")
        for action, value in (("brightness", 40), ("contrast", 50), ("mode", 2)):
            act(console, cameras, action, {"value": value})
        time.sleep(5)
        measure(console, args.scrapes, "a day's use")

        document = json.loads(call(console, "/api/cameras/127.0.0.1/params")[1])
        for setting in json.loads(call(console, "/api/settings")[1]):
            act(console, cameras, setting["name"], {"value": setting_value(setting, document)})
        for action in ("stream", "screenshot", "refresh"):
            act(console, cameras, action, {})
        time.sleep(10)
        measure(console, args.scrapes, "every operation")
    finally:
        for process in (console_process, sim):
            process.terminate()
            process.wait(timeout=60)


if __name__ == "__main__":
    main()
