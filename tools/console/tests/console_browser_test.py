#!/usr/bin/python3
"""osc-console in headless Chromium against six simulated cameras.

The console listens on 0.0.0.0 (so it asks for its token) and the browser
reaches it through 127.0.0.1; all traffic stays on loopback. Cameras 1-4 run
in one simulator; camera 5 in another, so that it can stop answering on its
own; camera 6 in a third one started with a fault flag (every request answered
with HTTP 500), so it never answers. The reboot of camera 2 starts early: the
handler rests 40 s after a reboot, and the other checks run meanwhile.

usage: console_browser_test.py --console BIN --sim BIN [--screenshot PNG]
"""

import argparse
import json
import os
import re
import shutil
import signal
import sys
import tempfile
import time
import urllib.error
import urllib.request

from processes import chromium, start, stop_all
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select, WebDriverWait

POLL_MS = 1000
MAX_UPLOAD_MB = 1
# The handler's 40 s pause after a reboot, its 5 s answer gate and a poll.
REBOOT_BACK_S = 70
# A poll, the client's 4 s request limit and the handler's answer gate.
NO_ANSWER_S = 15
# What "copy settings" carries, as the simulated camera names it.
PICTURE_OPTIONS = {"contrast": "_contrast", "saturation": "_saturation",
                   "sharpness": "_sharpness", "awb": "_awb", "antiflicker": "_antiflicker",
                   "brightness": "_brightness"}
CAMERA_1_VALUES = {"contrast": 64, "saturation": 37, "sharpness": 58, "awb": 4200,
                   "antiflicker": 2}


class Check:
    """Prints each check as it passes; the first failure ends the run."""

    def __init__(self):
        self.started = time.monotonic()

    def ok(self, what):
        print(f"ok {time.monotonic() - self.started:5.1f} s  {what}", flush=True)


def http(url, method="GET", body=None, headers=None):
    """(status, JSON answer) of a request; HTTP errors are answers too."""
    data = json.dumps(body).encode() if body is not None else None
    request = urllib.request.Request(url, data=data, method=method, headers=dict(
        {"Content-Type": "application/json"}, **(headers or {})))
    try:
        with urllib.request.urlopen(request, timeout=5) as response:
            return response.status, json.load(response)
    except urllib.error.HTTPError as error:
        return error.code, None


def camera_options(address, *names):
    """What the simulated camera itself holds, asked over its own API."""
    _, answer = http(f"http://{address}/osc/commands/execute", "POST",
                     {"name": "camera.getOptions", "parameters": {"optionNames": list(names)}})
    return answer["results"]["options"]


class Page:
    def __init__(self, driver, console, token):
        self.driver = driver
        self.console = console
        self.token = token

    def api(self, path, method="GET", body=None):
        return http(f"http://{self.console}{path}", method, body, {"X-Console-Token": self.token})

    def wait(self, what, condition, timeout=20):
        return WebDriverWait(self.driver, timeout, poll_frequency=0.1).until(
            lambda _: condition(), message=what)

    def find(self, css):
        return self.driver.find_element(By.CSS_SELECTOR, css)

    def camera(self, ip):
        return self.find(f'.camera[data-ip="{ip}"]')

    def field(self, ip, name):
        return self.camera(ip).find_element(By.CSS_SELECTOR, f'[data-field="{name}"]')

    def order(self):
        return self.js("return [...document.querySelectorAll('#fleet .camera')]"
                       ".filter(e => !e.hidden).map(e => e.dataset.ip)")

    def select(self, *ips):
        self.find("#select-none").click()
        for ip in ips:
            self.camera(ip).click()

    def open_detail(self, ip):
        self.camera(ip).find_element(By.CSS_SELECTOR, ".name").click()
        self.wait(f"detail of {ip}", lambda: ip in self.find("#detail-title").text)

    def close_detail(self):
        self.find("#detail-close").click()

    def press(self, action):
        self.find(f'#detail button[data-action="{action}"]').click()

    def type_into(self, css, value):
        element = self.find(css)
        element.clear()
        element.send_keys(str(value))

    def run_states(self):
        return self.js("return Object.fromEntries([...document.querySelectorAll("
                       "'#run-cameras li')].map(li => [li.dataset.ip, li.dataset.state]))")

    def js(self, script, *args):
        return self.driver.execute_script(script, *args)


def check_rows(page, cameras, check):
    """Each row shows what its simulated camera holds; the faulty one comes first."""
    for ip, address in list(cameras.items())[:5]:
        info = http(f"http://{address}/osc/info")[1]
        expected = {"name": camera_options(address, "_cameraName")["_cameraName"],
                    "address": address, "ast1220": info["firmwareVersion"], "state": "answering"}
        for field, value in expected.items():
            page.wait(f"{ip} {field} {value}", lambda: page.field(ip, field).text == value)
    page.wait("camera 6 not answering",
              lambda: page.field("127.0.0.6", "state").text == "not answering")
    page.wait("camera 6 first", lambda: page.order()[0] == "127.0.0.6")
    page.find('[data-filter="attention"]').click()
    page.wait("only camera 6 needs attention", lambda: page.order() == ["127.0.0.6"])
    page.find('[data-filter=""]').click()
    check.ok("rows show names, addresses and versions; the faulty camera comes first")


def check_bulk_brightness(page, cameras, check):
    page.find("#select-all").click()
    Select(page.find("#bulk-action")).select_by_value("brightness")
    page.type_into("#bulk-value", 42)
    page.find("#bulk-apply").click()
    expected = {ip: "done" for ip in list(cameras)[:5]}
    expected["127.0.0.6"] = "failed"
    page.wait("every camera's result", lambda: page.run_states() == expected)
    failure = page.find('#run-cameras li[data-ip="127.0.0.6"]').text
    assert "127.0.0.6" in failure and "not known yet" in failure, failure
    for address in list(cameras.values())[:5]:
        assert camera_options(address, "_brightness")["_brightness"] == 42, address
    check.ok("brightness on all reaches every answering camera; the faulty one's failure shows")


def check_copy(page, cameras, check):
    for name, value in CAMERA_1_VALUES.items():
        page.api(f"/api/cameras/127.0.0.1/actions/{name}", "POST", {"value": value})
    values = dict(CAMERA_1_VALUES, brightness=42)
    page.open_detail("127.0.0.1")
    page.wait("camera 1's own values", lambda: all(
        page.find(f"#current-{name}").text == str(value) for name, value in values.items()))
    page.close_detail()
    page.select("127.0.0.2")
    ActionChains(page.driver).key_down(Keys.SHIFT).click(page.camera("127.0.0.3")).key_up(
        Keys.SHIFT).perform()
    page.open_detail("127.0.0.1")
    page.find("#copy-settings").click()
    page.wait("the copy done", lambda: page.run_states() == {
        "127.0.0.2": "done", "127.0.0.3": "done"})
    page.close_detail()
    for ip in ("127.0.0.2", "127.0.0.3"):
        held = camera_options(cameras[ip], *PICTURE_OPTIONS.values())
        assert all(held[PICTURE_OPTIONS[n]] == v for n, v in values.items()), (ip, held)
        page.open_detail(ip)
        page.wait(f"camera 1's values on {ip}", lambda: all(
            page.find(f"#current-{name}").text == str(value) for name, value in values.items()))
        page.close_detail()
    check.ok("settings copied from camera 1 show on cameras 2 and 3")


def reboot_steps(page, ip):
    return [step["state"] for step in page.api(f"/api/cameras/{ip}")[1]["reboot_steps"]]


def check_brightness(page, address, check):
    page.open_detail("127.0.0.1")
    page.wait("brightness control", lambda: page.driver.find_elements(By.ID, "set-brightness"))
    page.type_into("#set-brightness", 73)
    page.find('#settings button[data-action="brightness"]').click()
    page.wait("the camera holds brightness 73",
              lambda: camera_options(address, "_brightness")["_brightness"] == 73)
    page.wait("a parameter document with brightness 73",
              lambda: page.find("#current-brightness").text == "73")
    page.wait("the result listed as ok",
              lambda: "SetBrightness ok" in page.find("#detail-results").text)
    check.ok("brightness set in the detail view reaches the camera and its next document")


def check_screenshot(page, check):
    """Mode 2 brings an ROI layout; the screenshot shows it over the picture."""
    Select(page.find("#set-mode")).select_by_value("2")
    page.find('.row button[data-action="mode"]').click()
    page.wait("ROI regions drawn",
              lambda: len(page.driver.find_elements(By.CSS_SELECTOR, "#roi-overlay rect")) >= 2)
    page.press("screenshot")
    page.wait("the screenshot loaded", lambda: page.js(
        "const img = document.getElementById('picture-img');"
        "return !img.hidden && img.complete && img.naturalWidth === 1920;"), 30)
    page.close_detail()
    page.wait("its thumbnail in the fleet view", lambda: page.js(
        "const img = document.querySelector('.camera[data-ip=\"127.0.0.1\"] .thumb');"
        "return !img.hidden && img.complete && img.naturalWidth === 240;"), 30)
    check.ok("the screenshot shows with the ROI layout over it, and as the row's thumbnail")


def write_files(folder, sizes):
    paths = {}
    for element_id, (name, size) in sizes.items():
        paths[element_id] = os.path.join(folder, name)
        with open(paths[element_id], "wb") as out:
            out.write(b"\0" * size)
    return paths


def upload(page, paths):
    page.js("document.getElementById('rollout-form').reset()")
    for element_id, path in paths.items():
        page.find(f"#{element_id}").send_keys(path)
    page.find("#rollout-start").click()


def stored_uploads(tmp):
    return [name for name in os.listdir(tmp) if name.startswith("osc-console-")]


def check_rollout(page, folder, tmp, check):
    page.select("127.0.0.1", "127.0.0.3", "127.0.0.4")
    page.find("#rollout-open").click()
    page.wait("the stop rule shown", lambda: "at most 2 at a time" in page.find("#rollout-rule").text)
    # The most cameras running at once, as the page showed them.
    page.js("window.mostRunning = 0; new MutationObserver(() => { window.mostRunning = Math.max("
            "window.mostRunning, document.querySelectorAll("
            "'#rollout-cameras li[data-step=\"running\"]').length); })"
            ".observe(document.getElementById('rollout-cameras'), {childList: true});")
    upload(page, write_files(folder, {
        "fw-1220": ("update.img", 4096), "fw-1230-script": ("ast_update_1230_7261.sh", 64),
        "fw-1230-2": ("ast1230_app.bin", 4096), "fw-1230-3": ("ast1230_rootfs.bin", 4096)}))
    page.wait("the rollout ended", lambda: "ended" in page.find("#rollout-status").text, 60)
    steps = page.js("return [...document.querySelectorAll('#rollout-cameras li')]"
                    ".map(li => [li.dataset.ip, li.dataset.step, li.querySelector('progress').value])")
    assert steps == [[ip, "done", 100] for ip in ("127.0.0.1", "127.0.0.3", "127.0.0.4")], steps
    assert page.js("return window.mostRunning") == 2, page.js("return window.mostRunning")
    assert not stored_uploads(tmp), stored_uploads(tmp)
    check.ok("a rollout uploaded from the page updates 3 cameras, 2 at a time, every bar done")

    upload(page, write_files(folder, {"fw-1220": ("big.img", MAX_UPLOAD_MB * 1024 * 1024 + 1)}))
    page.wait("the upload refused", lambda: page.find("#rollout-status").get_attribute(
        "data-code") == "413")
    assert not stored_uploads(tmp), stored_uploads(tmp)
    page.find('[data-close="rollout-panel"]').click()
    check.ok("an upload one byte over the limit is refused with 413 and nothing is kept")


def check_no_answer(page, sim, check):
    os.kill(sim.pid, signal.SIGSTOP)
    page.wait("camera 5 not answering",
              lambda: page.field("127.0.0.5", "state").text == "not answering", NO_ANSWER_S)
    page.wait("camera 5 among the first", lambda: "127.0.0.5" in page.order()[:2])
    check.ok("a camera that stops answering is shown as such, among the first")


def check_token(page, camera, check):
    url = f"http://{page.console}/api/cameras/127.0.0.1/actions/brightness"
    cases = [  # headers, expected status
        ({}, 401),
        ({"X-Console-Token": page.token, "Origin": "http://127.0.0.9:9"}, 403),
    ]
    for headers, status in cases:
        got = http(url, "POST", {"value": 10}, headers)[0]
        assert got == status, f"{headers}: {got}, expected {status}"
    assert http(f"http://{page.console}/api/cameras")[0] == 401
    # Still 73: neither request reached the camera.
    assert camera_options(camera, "_brightness")["_brightness"] == 73
    check.ok("an action without the token, or from another origin, is refused")


def report_failure(driver, page):
    """What the console knew and what the page said, for the failure's reader."""
    if page:
        for row in page.api("/api/cameras")[1] or []:
            print(f"{row['ip']}: {row['state']} {row['attention']}, reboot {row['reboot_steps']}, "
                  f"update {row['update']}, results {row['results'][-4:]}", file=sys.stderr)
    if driver:
        for element_id in ("action-status", "toolbar-status", "run-cameras", "rollout-status"):
            print(f"{element_id}:", driver.find_element(By.ID, element_id).text, file=sys.stderr)
        for entry in driver.get_log("browser"):
            print("browser:", entry["message"], file=sys.stderr)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--console", required=True)
    parser.add_argument("--sim", required=True)
    parser.add_argument("--screenshot", help="where to write a PNG of the console")
    args = parser.parse_args()

    scratch = tempfile.mkdtemp(prefix="console-test-")
    tmp = os.path.join(scratch, "tmp")
    os.mkdir(tmp)
    processes = []
    driver = page = None
    check = Check()
    try:
        flags = ["--port", "0", "--reboot-ms", "1000", "--update-step-ms", "40"]
        # Simulators b and c serve more addresses; the console uses their last one.
        sims = []
        for count, extra in ((4, []), (5, []), (6, ["--server-error"])):
            sim, found = start([args.sim, "--cameras", str(count)] + flags + extra,
                               rf"camera 127\.0\.0\.{count}:(\d+)")
            processes.append(sim)
            sims.append((sim, found.group(1)))
        cameras = {f"127.0.0.{i}": f"127.0.0.{i}:{sims[0][1]}" for i in range(1, 5)}
        cameras["127.0.0.5"] = f"127.0.0.5:{sims[1][1]}"
        cameras["127.0.0.6"] = f"127.0.0.6:{sims[2][1]}"
        console_process, opened = start(
            [args.console, "--listen", "0.0.0.0:0", "--poll-ms", str(POLL_MS),
             "--picture-minutes", "0", "--rollout-parallel", "2",
             "--max-upload-mb", str(MAX_UPLOAD_MB), "--cameras", ",".join(cameras.values())],
            r"open (http://(127\.0\.0\.1:\d+)/\?token=(\w+))", env=dict(os.environ, TMPDIR=tmp))
        processes.append(console_process)
        url, console, token = opened.groups()

        driver = chromium(f"{scratch}/profile", 1600, 1000)
        page = Page(driver, console, token)
        driver.get(url)
        assert "token" not in driver.current_url, "the token stays in the address bar"

        check_rows(page, cameras, check)
        check_bulk_brightness(page, cameras, check)
        check_copy(page, cameras, check)
        page.open_detail("127.0.0.2")
        page.press("reboot")
        page.press("reboot")  # confirmed
        page.wait("camera 2 restarting", lambda: "restarting" in page.find("#detail-reboot").text)
        page.close_detail()
        page.wait("camera 2 rebooting", lambda: page.field("127.0.0.2", "state").text == "rebooting")
        check.ok("a reboot shows requested, then restarting")
        check_brightness(page, cameras["127.0.0.1"], check)
        check_screenshot(page, check)
        check_rollout(page, scratch, tmp, check)
        check_no_answer(page, sims[1][0], check)
        check_token(page, cameras["127.0.0.1"], check)
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
        report_failure(driver, page)
        raise
    finally:
        if driver:
            driver.quit()
        stop_all(processes)
        shutil.rmtree(scratch, ignore_errors=True)
    print(f"console browser test passed in {time.monotonic() - check.started:.0f} s")


if __name__ == "__main__":
    main()
