#!/usr/bin/python3
"""osc-console left running: its memory and threads over hours of traffic.

Starts osc-camera-sim --cameras 99 --fault-control and osc-console over those
cameras (default health polling), keeps the page's event stream /api/events
open with a reader that reads as fast as the console writes, and drives random
actions through the console's API (settings within the advertised ranges,
mode, stream, screenshot, refresh, now and then a reboot) while the cameras'
faults rotate through the simulator's control route (malformed, wrongly typed,
server errors, healthy). Every sample period the actions pause for a few
seconds, then the console process's resident memory and thread count are
noted. Prints the samples as a markdown table and the slope of RSS over the
last three quarters of the run in KiB per hour; exits 1 when it is above
--max-slope. Traffic stays on 127.0.0.0/8.

usage: bench/console_soak.py --build build/release [--seconds 3600] [--rate 20]
"""

import argparse
import http.client
import json
import os
import random
import sys
import threading
import time
import urllib.error
import urllib.request

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tools", "console", "tests"))
from processes import start  # noqa: E402

CAMERAS = 99
RANGED = ("brightness", "contrast", "saturation", "sharpness", "awb", "autoawb")
FAULTS = ({"malformed": True}, {"wrong_type": True}, {"server_error": True}, {})


def request(host, path, body=None, method=None):
    """(status, body text) of one request; errors are answers too."""
    data = json.dumps(body).encode() if body is not None else None
    req = urllib.request.Request(f"http://{host}{path}", data=data,
                                 method=method or ("POST" if data else "GET"),
                                 headers={"Content-Type": "application/json"})
    try:
        with urllib.request.urlopen(req, timeout=10) as response:
            return response.status, response.read().decode(errors="replace")
    except urllib.error.HTTPError as error:
        return error.code, error.read().decode(errors="replace")
    except OSError as error:
        return 0, str(error)


def status_values(pid):
    """VmRSS, RssAnon (RSS without the libraries' file-backed pages; KiB) and Threads."""
    values = {}
    with open(f"/proc/{pid}/status") as status:
        for line in status:
            key, _, rest = line.partition(":")
            if key in ("VmRSS", "RssAnon", "Threads"):
                values[key] = int(rest.split()[0])
    return values["VmRSS"], values["RssAnon"], values["Threads"]


def slope_per_hour(samples, field="rss_kib"):
    """Least-squares slope of a field over the samples after the first quarter."""
    later = [s for s in samples if s["seconds"] >= samples[-1]["seconds"] / 4]
    if len(later) < 2:
        return 0.0, len(later)
    xs = [s["seconds"] / 3600 for s in later]
    ys = [s[field] for s in later]
    mx, my = sum(xs) / len(xs), sum(ys) / len(ys)
    spread = sum((x - mx) ** 2 for x in xs)
    slope = sum((x - mx) * (y - my) for x, y in zip(xs, ys)) / spread if spread else 0.0
    return slope, len(later)


class EventReader(threading.Thread):
    """The page's event stream, read as fast as it comes; only counted."""

    def __init__(self, console):
        super().__init__(daemon=True)
        host, port = console.split(":")
        self.connection = http.client.HTTPConnection(host, int(port), timeout=30)
        self.events = 0
        self.bytes = 0

    def run(self):
        self.connection.request("GET", "/api/events")
        response = self.connection.getresponse()
        while True:
            line = response.readline()
            if not line:
                return
            self.bytes += len(line)
            self.events += line.startswith(b"event:")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default="build/release")
    parser.add_argument("--seconds", type=int, default=3600)
    parser.add_argument("--sample-seconds", type=int, default=60)
    parser.add_argument("--rate", type=float, default=20, help="console actions a second")
    parser.add_argument("--max-slope", type=float, default=256, help="KiB per hour")
    args = parser.parse_args()

    processes = []
    try:
        sim, found = start([f"{args.build}/sim/osc-camera-sim", "--cameras", str(CAMERAS),
                            "--port", "0", "--fault-control"],
                           rf"camera 127\.0\.0\.{CAMERAS}:(\d+)")
        processes.append(sim)
        port = found.group(1)
        ips = [f"127.0.0.{i}" for i in range(1, CAMERAS + 1)]
        console_process, opened = start(
            [f"{args.build}/tools/console/osc-console", "--listen", "127.0.0.1:0",
             "--cameras", ",".join(f"{ip}:{port}" for ip in ips)],
            r"open http://(127\.0\.0\.1:\d+)/")
        processes.append(console_process)
        console = opened.group(1)
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            status, body = request(console, f"/api/cameras/{ips[0]}/params")
            if status == 200:
                break
            time.sleep(0.5)
        params = json.loads(body)
        ranges = {key: (params[f"{key}_min"], params[f"{key}_max"]) for key in RANGED}
        reader = EventReader(console)
        reader.start()

        rng = random.Random(99)
        statuses = {}
        actions = 0
        samples = []
        started = time.monotonic()
        while time.monotonic() - started < args.seconds:
            until = time.monotonic() + args.sample_seconds
            next_at = time.monotonic()
            while next_at < until:
                time.sleep(max(0.0, next_at - time.monotonic()))
                next_at += 1 / args.rate
                ip = rng.choice(ips)
                actions += 1
                if actions % 100 == 0:
                    request(f"{rng.choice(ips)}:{port}", "/sim/faults", rng.choice(FAULTS), "PUT")
                if actions % 500 == 0:
                    name, body = "reboot", {}
                elif rng.random() < 0.6:
                    name = rng.choice(RANGED)
                    body = {"value": rng.randint(*ranges[name])}
                else:
                    name = rng.choice(("mode", "stream", "screenshot", "refresh"))
                    body = {"value": rng.randint(0, 3)} if name == "mode" else {}
                status, _ = request(console, f"/api/cameras/{ip}/actions/{name}", body)
                statuses[status] = statuses.get(status, 0) + 1
                if actions % 50 == 0:
                    request(console, "/api/cameras")
            time.sleep(5)  # the last answers arrive; health polls go on
            rss, anon, threads = status_values(console_process.pid)
            samples.append({"seconds": time.monotonic() - started, "actions": actions,
                            "rss_kib": rss, "anon_kib": anon, "threads": threads,
                            "events": reader.events})
            print(f"sample {samples[-1]['seconds']:.0f} s: {actions} actions, RSS {rss} KiB "
                  f"(anonymous {anon}), {threads} threads, {reader.events} events read",
                  flush=True)
        stream_open = reader.is_alive()
    finally:
        for process in reversed(processes):
            process.kill()
            process.wait()

    print("\n| minute | console actions | events read | RSS (KiB) | anonymous RSS (KiB) | threads |")
    print("|---|---|---|---|---|---|")
    for s in samples:
        print(f"| {s['seconds'] / 60:.1f} | {s['actions']} | {s['events']} | {s['rss_kib']} "
              f"| {s['anon_kib']} | {s['threads']} |")
    slope, count = slope_per_hour(samples)
    anon_slope, _ = slope_per_hour(samples, "anon_kib")
    print(f"\nanswers of the console: {dict(sorted(statuses.items()))}")
    print(f"slope over the last three quarters ({count} samples): RSS {slope:+.0f} KiB/h, "
          f"anonymous RSS {anon_slope:+.0f} KiB/h")
    if not stream_open:
        sys.exit("the event stream ended before the run did")
    sys.exit(0 if slope <= args.max_slope else 1)


if __name__ == "__main__":
    main()
