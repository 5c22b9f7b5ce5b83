#!/usr/bin/python3
"""osc-console as started from a shell: cameras come from --cameras, and from
discovery only with --discover.

Two consoles start at once beside one simulated camera that static discovery
lists; once the one with --discover shows the camera, the other, given as
long again, must still show none.

usage: console_program_test.py --console BIN --sim BIN
"""

import argparse
import json
import os
import sys
import time
import urllib.request

from processes import start


def cameras(address):
    with urllib.request.urlopen(address + "api/cameras", timeout=5) as answer:
        return [card["ip"] for card in json.load(answer)]


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
        deadline = began + 20
        while cameras(discovering_found.group(1)) != ["127.0.0.1"]:
            if time.monotonic() > deadline:
                sys.exit("--discover: the listed camera never appeared")
            time.sleep(0.1)
        time.sleep(time.monotonic() - began)
        shown = cameras(plain_found.group(1))
        if shown:
            sys.exit(f"without --discover the console shows {shown}")
        print("ok: the camera discovery lists appears only with --discover")
    finally:
        for process in (plain, discovering, sim):
            process.terminate()
            process.wait(timeout=60)


if __name__ == "__main__":
    main()
