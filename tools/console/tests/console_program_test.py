#!/usr/bin/python3
"""osc-console as started from a shell: cameras come from --cameras, and from
discovery only with --discover; it ends at once on SIGTERM, also while the
handler rests after a camera's reboot.

Two consoles start at once beside one simulated camera that static discovery
lists; once the one with --discover shows the camera, the other, given as
long again, must still show none. Then the camera reboots and the console with
it is stopped.

usage: console_program_test.py --console BIN --sim BIN
"""

import argparse
import json
import os
import sys
import time
import urllib.request

from processes import start


def cards(address):
    with urllib.request.urlopen(address + "api/cameras", timeout=5) as answer:
        return json.load(answer)


def cameras(address):
    return [card["ip"] for card in cards(address)]


def wait_until(what, condition, seconds=20):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            sys.exit(what)
        time.sleep(0.1)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--console", required=True)
    parser.add_argument("--sim", required=True)
    args = parser.parse_args()

    sim, found = start([args.sim, "--port", "0"], r"^camera (127\.0\.0\.1:\d+)")
    env = dict(os.environ, OSC_DISCOVERY="static", OSC_STATIC_CAMERAS=found.group(1))
    console = [args.console, "--listen", "127.0.0.1:0"]
    address = r"open (http://127\.0\.0\.1:\d+/)"
    plain, plain_found = start(console, address, env=env)
    began = time.monotonic()
    discovering, discovering_found = start(console + ["--discover"], address, env=env)
    try:
        wait_until("--discover: the listed camera never appeared",
                   lambda: cameras(discovering_found.group(1)) == ["127.0.0.1"])
        time.sleep(time.monotonic() - began)
        shown = cameras(plain_found.group(1))
        if shown:
            sys.exit(f"without --discover the console shows {shown}")
        print("ok: the camera discovery lists appears only with --discover")

        # The handler rests 40 s after a reboot; the console does not wait for it.
        console = discovering_found.group(1)
        reboot = urllib.request.Request(console + "api/cameras/127.0.0.1/actions/reboot",
                                        data=b"{}", method="POST",
                                        headers={"Content-Type": "application/json"})
        urllib.request.urlopen(reboot, timeout=5).close()
        wait_until("the reboot was never accepted", lambda: any(
            step["state"] == "restarting" for step in cards(console)[0]["reboot_steps"]))
        stopped = time.monotonic()
        discovering.terminate()
        discovering.wait(timeout=30)
        if time.monotonic() - stopped > 5:
            sys.exit(f"the console took {time.monotonic() - stopped:.1f} s to end after a reboot")
        print("ok: the console ends at once while the handler rests after a reboot")
    finally:
        for process in (plain, discovering, sim):
            process.terminate()
            process.wait(timeout=60)


if __name__ == "__main__":
    main()
