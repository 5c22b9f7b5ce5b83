#!/usr/bin/python3
"""Debian's Prometheus watching two osc-console instances, as the shipped example does.

Console A watches three simulated cameras, console B four (the fourth in a
simulator of its own, so that it can stop answering alone). Prometheus runs
on loopback with docs/prometheus/prometheus.yml, changed only where a test
must: a 1 s scrape and evaluation interval, the consoles' ports, and the
shipped alert rules with their `for:` shortened. Through Prometheus's HTTP
API: all seven cameras up, each with its failed firmware updates at 0 (which
FirmwareUpdateFailed needs); camera 4 stopped, its osc_camera_up 0 and
CameraDown firing for it alone; camera 4 resumed, the alert resolved. First,
a live console's /metrics passes `promtool check metrics`.

usage: fleet_test.py --console BIN --sim BIN --prometheus BIN --promtool BIN
"""

import argparse
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import urllib.parse
import urllib.request

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "tools", "console", "tests"))
import processes  # noqa: E402
from processes import start  # noqa: E402

DOCS = os.path.join(os.path.dirname(__file__), "..", "..", "docs", "prometheus")
FOR_IN_TEST = "3s"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def replaced(text, pattern, replacement):
    """The example with one change; fails when the example no longer has what it changes."""
    changed, count = re.subn(pattern, replacement, text, flags=re.MULTILINE)
    if count == 0:
        sys.exit(f"the shipped file no longer matches {pattern!r}")
    return changed


def write_configuration(folder, consoles):
    with open(os.path.join(DOCS, "alerts.yml")) as rules:
        text = replaced(rules.read(), r"^(\s+for:) \S+$", rf"\1 {FOR_IN_TEST}")
    with open(os.path.join(folder, "alerts.yml"), "w") as out:
        out.write(text)
    with open(os.path.join(DOCS, "prometheus.yml")) as example:
        text = example.read()
    text = replaced(text, r"^(\s+(scrape|evaluation)_interval:) 15s$", r"\1 1s")
    text = replaced(text, r"^(\s+- )127\.0\.0\.1:8088$", rf"\g<1>{consoles[0]}")
    text = replaced(text, r"^(\s+- )127\.0\.0\.1:8089$", rf"\g<1>{consoles[1]}")
    path = os.path.join(folder, "prometheus.yml")
    with open(path, "w") as out:
        out.write(text)
    return path


def get(address, path):
    with urllib.request.urlopen(f"http://{address}{path}", timeout=5) as answer:
        return answer.headers.get("Content-Type"), answer.read().decode()


def query(prometheus, expression):
    _, body = get(prometheus, "/api/v1/query?query=" + urllib.parse.quote(expression))
    return json.loads(body)["data"]["result"]


def firing(prometheus, alert):
    _, body = get(prometheus, "/api/v1/alerts")
    return [a["labels"] for a in json.loads(body)["data"]["alerts"]
            if a["labels"]["alertname"] == alert and a["state"] == "firing"]


def wait_until(what, condition, seconds=30):
    value = processes.wait_until(what, condition, seconds)
    print(f"ok: {what}", flush=True)
    return value


def check_exposition(console, promtool):
    content_type, text = get(console, "/metrics")
    assert content_type == "text/plain; version=0.0.4; charset=utf-8", content_type
    lint = subprocess.run([promtool, "check", "metrics"], input=text, text=True,
                          capture_output=True)
    if lint.returncode != 0:
        sys.exit(f"promtool check metrics:\n{lint.stdout}{lint.stderr}\n{text}")
    print(f"ok: promtool check metrics passes on a live console ({len(text)} bytes)")


def main():
    parser = argparse.ArgumentParser()
    for flag in ("--console", "--sim", "--prometheus", "--promtool"):
        parser.add_argument(flag, required=True)
    args = parser.parse_args()

    scratch = tempfile.mkdtemp(prefix="prometheus-test-")
    processes = []
    try:
        def simulator(cameras):
            process, found = start([args.sim, "--cameras", str(cameras), "--port", "0"],
                                   rf"camera 127\.0\.0\.{cameras}:(\d+)")
            processes.append(process)
            return process, found.group(1)

        _, port_a = simulator(3)
        _, port_b = simulator(3)
        sim_c, port_c = simulator(4)  # only its camera 4 is watched
        fleets = [[f"127.0.0.{i}:{port_a}" for i in (1, 2, 3)],
                  [f"127.0.0.{i}:{port_b}" for i in (1, 2, 3)] + [f"127.0.0.4:{port_c}"]]
        consoles = []
        for cameras in fleets:
            process, found = start([args.console, "--listen", "127.0.0.1:0", "--poll-ms", "500",
                                    "--cameras", ",".join(cameras)],
                                   r"open http://(127\.0\.0\.1:\d+)/")
            processes.append(process)
            consoles.append(found.group(1))
        wait_until("console B sees its four cameras answer", lambda: all(
            f'osc_camera_up{{camera="{c}"}} 1' in get(consoles[1], "/metrics")[1]
            for c in fleets[1]))
        check_exposition(consoles[1], args.promtool)

        prometheus = f"127.0.0.1:{free_port()}"
        processes.append(subprocess.Popen(
            [args.prometheus, f"--config.file={write_configuration(scratch, consoles)}",
             f"--storage.tsdb.path={scratch}/data", f"--web.listen-address={prometheus}"],
            stdout=subprocess.DEVNULL, stderr=open(os.path.join(scratch, "prometheus.log"), "w")))
        wait_until("sum(osc_camera_up) is 7 over both consoles",
                   lambda: query(prometheus, "sum(osc_camera_up) == 7"), 60)
        # FirmwareUpdateFailed needs the failed series from 0, before any update.
        wait_until("every camera's failed firmware updates at 0", lambda: query(
            prometheus, 'count(osc_camera_firmware_updates_total{result="failed"} == 0) == 7'))

        stopped = f"127.0.0.4:{port_c}"
        sim_c.send_signal(signal.SIGSTOP)
        wait_until(f"osc_camera_up of {stopped} is 0", lambda: query(
            prometheus, f'osc_camera_up{{camera="{stopped}"}} == 0'))
        alerts = wait_until("CameraDown fires", lambda: firing(prometheus, "CameraDown"))
        assert [a["camera"] for a in alerts] == [stopped], alerts
        assert alerts[0]["instance"] == consoles[1], alerts

        sim_c.send_signal(signal.SIGCONT)
        wait_until(f"osc_camera_up of {stopped} is 1 again", lambda: query(
            prometheus, f'osc_camera_up{{camera="{stopped}"}} == 1'))
        wait_until("CameraDown resolves", lambda: not firing(prometheus, "CameraDown"))
    except BaseException:
        log = os.path.join(scratch, "prometheus.log")
        if os.path.exists(log):
            print(open(log).read()[-3000:], file=sys.stderr)
        raise
    finally:
        for process in processes:
            process.send_signal(signal.SIGCONT)
            process.terminate()
            process.wait(timeout=30)
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    main()
