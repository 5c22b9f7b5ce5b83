#!/usr/bin/python3
"""osc-console in headless Chromium against three simulated cameras.

The console listens on 0.0.0.0 (so it asks for its token) and the browser
reaches it through 127.0.0.1; all traffic stays on loopback. Cameras 1 and 2
run in one simulator, camera 3 in another, so that camera 3 can stop
answering on its own. The reboot of camera 2 starts first: the handler rests
40 s after a reboot, and the other checks run meanwhile.

usage: console_browser_test.py --console BIN --sim BIN [--screenshot PNG]
"""

import argparse
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request

from processes import start
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select, WebDriverWait

CHROMIUM_FLAGS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
    "--window-size=1920,1160",
]
POLL_MS = 1000
# The handler's 40 s pause after a reboot, its 5 s answer gate and a poll.
REBOOT_BACK_S = 70
# A poll, the client's 4 s request limit and the handler's answer gate.
NO_ANSWER_S = 15


class Check:
    """Prints each check as it passes; the first failure ends the run."""

    def __init__(self):
        self.started = time.monotonic()

    def ok(self, what):
        print(f"ok {time.monotonic() - self.started:5.1f} s  {what}", flush=True)


def camera_request(address, method, path, body=None):
    data = json.dumps(body).encode() if body is not None else None
    request = urllib.request.Request(f"http://{address}{path}", data=data, method=method,
                                     headers={"Content-Type": "application/json"})
    with urllib.request.urlopen(request, timeout=5) as response:
        return json.load(response)


def camera_options(address, *names):
    """What the simulated camera itself holds, asked over its own API."""
    answer = camera_request(address, "POST", "/osc/commands/execute",
                            {"name": "camera.getOptions",
                             "parameters": {"optionNames": list(names)}})
    return answer["results"]["options"]


def console_status(console, method, path, headers, body=None):
    request = urllib.request.Request(f"http://{console}{path}", method=method, headers=headers,
                                     data=json.dumps(body).encode() if body else None)
    try:
        with urllib.request.urlopen(request, timeout=5) as response:
            return response.status
    except urllib.error.HTTPError as error:
        return error.code


class Page:
    def __init__(self, driver):
        self.driver = driver

    def wait(self, what, condition, timeout=20):
        return WebDriverWait(self.driver, timeout, poll_frequency=0.1).until(
            lambda _: condition(), message=what)

    def card(self, ip):
        return self.driver.find_element(By.CSS_SELECTOR, f'.card[data-ip="{ip}"]')

    def card_field(self, ip, name):
        return self.card(ip).find_element(By.CSS_SELECTOR, f'[data-field="{name}"]')

    def open_detail(self, ip):
        self.driver.execute_script("arguments[0].click()", self.card(ip))
        self.wait(f"detail of {ip}", lambda: ip in self.driver.find_element(
            By.ID, "detail-title").text)

    def press(self, action):
        self.driver.find_element(By.CSS_SELECTOR, f'button[data-action="{action}"]').click()

    def type_into(self, element_id, value):
        field = self.driver.find_element(By.ID, element_id)
        field.clear()
        field.send_keys(str(value))

    def js(self, script, *args):
        return self.driver.execute_script(script, *args)


def check_cards(page, cameras, check):
    """Each card shows what its simulated camera holds."""
    for ip, address in cameras.items():
        options = camera_options(address, "_cameraName")
        info = camera_request(address, "GET", "/osc/info")
        expected = {"name": options["_cameraName"], "address": address,
                    "ast1220": info["firmwareVersion"], "link": "online"}
        for field, value in expected.items():
            page.wait(f"{ip} {field} {value}", lambda: page.card_field(ip, field).text == value)
    check.ok("cards show the names, addresses and versions the simulators hold")


def check_brightness(page, address, check):
    page.open_detail("127.0.0.1")
    page.wait("brightness control", lambda: page.driver.find_elements(By.ID, "set-brightness"))
    page.type_into("set-brightness", 73)
    page.driver.find_element(By.CSS_SELECTOR, '#settings button[data-action="brightness"]').click()
    page.wait("the camera holds brightness 73",
              lambda: camera_options(address, "_brightness")["_brightness"] == 73)
    page.wait("a parameter document with brightness 73",
              lambda: page.driver.find_element(By.ID, "current-brightness").text == "73")
    check.ok("brightness set on the page reaches the camera and its next parameter document")


def check_firmware(page, files, check):
    for element_id, path in files.items():
        page.type_into(element_id, path)
    page.press("firmware")
    update = lambda: page.card_field("127.0.0.1", "update")
    page.wait("an update in progress", lambda: update().get_attribute("data-state") == "active")
    page.wait("the update done", lambda: update().get_attribute("data-state") == "done", 60)
    value = page.js("return arguments[0].querySelector('progress').value", update())
    assert value == 100, f"progress bar at {value} when done"
    check.ok("a firmware update shows its progress bar reaching done")


def check_screenshot(page, check):
    """Mode 2 brings an ROI layout; the screenshot shows it over the picture."""
    Select(page.driver.find_element(By.ID, "set-mode")).select_by_value("2")
    page.driver.find_element(By.CSS_SELECTOR, '.row button[data-action="mode"]').click()
    page.wait("ROI regions drawn",
              lambda: len(page.driver.find_elements(By.CSS_SELECTOR, "#roi-overlay rect")) >= 2)
    page.press("screenshot")
    page.wait("the screenshot loaded", lambda: page.js(
        "const img = document.getElementById('picture-img');"
        "return !img.hidden && img.complete && img.naturalWidth === 1920;"), 30)
    check.ok("the screenshot shows with the ROI layout over it")


def reboot_steps(page, ip):
    return re.findall(r"(requested|restarting|back|failed) \d", page.card_field(ip, "reboot").text)


def check_no_answer(page, sim, check):
    os.kill(sim.pid, signal.SIGSTOP)
    page.wait("camera 3 not answering",
              lambda: page.card_field("127.0.0.3", "link").text == "not answering", NO_ANSWER_S)
    check.ok("a camera that stops answering is shown as such")


def check_token(console, token, camera, check):
    token_header = {"X-Console-Token": token, "Content-Type": "application/json"}
    foreign = dict(token_header, Origin="http://127.0.0.9:9")
    path = "/api/cameras/127.0.0.1/actions/brightness"
    cases = [  # headers, expected status
        ({"Content-Type": "application/json"}, 401),
        (foreign, 403),
    ]
    for headers, status in cases:
        got = console_status(console, "POST", path, headers, {"value": 10})
        assert got == status, f"{headers}: {got}, expected {status}"
    assert console_status(console, "GET", "/api/cameras", {}) == 401
    # Still 73: neither request reached the camera.
    assert camera_options(camera, "_brightness")["_brightness"] == 73
    check.ok("an action without the token, or from another origin, is refused")


def report_failure(driver, console, token):
    """What the console knew and what the page said, for the failure's reader."""
    if console:
        request = urllib.request.Request(f"http://{console}/api/cameras",
                                         headers={"X-Console-Token": token})
        try:
            with urllib.request.urlopen(request, timeout=5) as response:
                cards = json.load(response)
        except OSError as error:
            cards = []
            print(f"the console did not answer: {error}", file=sys.stderr)
        for card in cards:
            print(f"{card['ip']}: {card['link']}, reboot {card['reboot']}, "
                  f"update {card['update']}, results {card['results'][-5:]}", file=sys.stderr)
    if driver:
        print("page status:", driver.find_element(By.ID, "action-status").text, file=sys.stderr)
        for entry in driver.get_log("browser"):
            print("browser:", entry["message"], file=sys.stderr)


def write_firmware(folder):
    files = {"fw-1220": "update.img", "fw-1230-1": "ast_update_1230_7261.sh",
             "fw-1230-2": "ast1230_app.bin", "fw-1230-3": "ast1230_rootfs.bin"}
    paths = {}
    for element_id, name in files.items():
        paths[element_id] = os.path.join(folder, name)
        with open(paths[element_id], "wb") as out:
            out.write(b"\0" * 4096)
    return paths


def chromedriver():
    """Debian's chromium-driver; without it Selenium would try to download one."""
    return shutil.which("chromedriver") or sys.exit("no chromedriver: install chromium-driver")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--console", required=True)
    parser.add_argument("--sim", required=True)
    parser.add_argument("--screenshot", help="where to write a PNG of the console")
    args = parser.parse_args()

    scratch = tempfile.mkdtemp(prefix="console-test-")
    processes = []
    driver = None
    console = token = None
    check = Check()
    try:
        sim_flags = ["--port", "0", "--reboot-ms", "1000", "--update-step-ms", "40"]
        # Simulator b serves 127.0.0.1..3; the console uses only its camera 3.
        sim_a, port_a = start([args.sim, "--cameras", "2"] + sim_flags, r"camera 127\.0\.0\.1:(\d+)")
        processes.append(sim_a)
        sim_b, port_b = start([args.sim, "--cameras", "3"] + sim_flags, r"camera 127\.0\.0\.3:(\d+)")
        processes.append(sim_b)
        cameras = {"127.0.0.1": f"127.0.0.1:{port_a.group(1)}",
                   "127.0.0.2": f"127.0.0.2:{port_a.group(1)}",
                   "127.0.0.3": f"127.0.0.3:{port_b.group(1)}"}
        console_process, opened = start(
            [args.console, "--listen", "0.0.0.0:0", "--poll-ms", str(POLL_MS),
             "--cameras", ",".join(cameras.values())],
            r"open (http://(127\.0\.0\.1:\d+)/\?token=(\w+))")
        processes.append(console_process)
        url, console, token = opened.groups()

        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium") or "/usr/bin/chromium"
        for flag in CHROMIUM_FLAGS + [f"--user-data-dir={scratch}/profile"]:
            options.add_argument(flag)
        driver = webdriver.Chrome(service=Service(chromedriver()), options=options)
        page = Page(driver)
        driver.get(url)
        assert "token" not in driver.current_url, "the token stays in the address bar"

        check_cards(page, cameras, check)
        page.open_detail("127.0.0.2")
        page.press("reboot")
        page.press("reboot")  # confirmed
        page.wait("camera 2 restarting", lambda: "restarting" in reboot_steps(page, "127.0.0.2"))
        check.ok("a reboot shows requested, then restarting")
        check_brightness(page, cameras["127.0.0.1"], check)
        check_firmware(page, write_firmware(scratch), check)
        check_screenshot(page, check)
        check_no_answer(page, sim_b, check)
        check_token(console, token, cameras["127.0.0.1"], check)
        if args.screenshot:
            driver.save_screenshot(args.screenshot)
        page.wait("camera 2 back", lambda: "back" in reboot_steps(page, "127.0.0.2"),
                  REBOOT_BACK_S)
        steps = reboot_steps(page, "127.0.0.2")
        assert steps == ["requested", "restarting", "back"], steps
        check.ok("the reboot ends with the camera back: " + " → ".join(steps))
        # A clean end: under AddressSanitizer this is also the leak check.
        console_process.terminate()
        assert console_process.wait(timeout=30) == 0, "the console did not end cleanly"
        check.ok("the console ends cleanly on SIGTERM")
    except Exception:
        report_failure(driver, console, token)
        raise
    finally:
        if driver:
            driver.quit()
        for process in processes:
            process.send_signal(signal.SIGCONT)
            process.kill()
            process.wait()
        shutil.rmtree(scratch, ignore_errors=True)
    print(f"console browser test passed in {time.monotonic() - check.started:.0f} s")


if __name__ == "__main__":
    main()
