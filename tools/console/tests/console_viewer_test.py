#!/usr/bin/python3
"""osc-console's page opened with the viewer token, in headless Chromium: read-only.

The console listens on 0.0.0.0 (so it makes up both tokens) over one
simulated camera; the browser opens the viewer's printed address through
127.0.0.1. The page shows the camera; an action sent anyway from the page's
own context (a fetch POST with the page's cookie) is answered 403 and the
camera's brightness stays as it was; and, as the page learns its role from
GET /api/session, every control that would act is disabled.

usage: console_viewer_test.py --console BIN --sim BIN
"""

import argparse
import shutil
import tempfile

from console_browser_test import CHROMIUM_FLAGS, Page, camera_options, chromedriver
from processes import start
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

# Everything on the page that acts on a camera: action buttons and their inputs.
CONTROLS = "[data-action], #detail input, #detail select, #detail textarea"

POST_FROM_PAGE = """
const done = arguments[arguments.length - 1];
fetch('/api/cameras/127.0.0.1/actions/brightness', {
  method: 'POST', headers: {'Content-Type': 'application/json'}, body: '{"value": 3}'})
  .then(async (response) => done([response.status, await response.text()]))
  .catch((error) => done([0, String(error)]));
"""


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--console", required=True)
    parser.add_argument("--sim", required=True)
    args = parser.parse_args()

    scratch = tempfile.mkdtemp(prefix="console-viewer-")
    processes = []
    driver = None
    try:
        sim, camera = start([args.sim, "--port", "0"], r"^camera (127\.0\.0\.1:\d+)")
        processes.append(sim)
        console, viewer = start([args.console, "--listen", "0.0.0.0:0", "--cameras",
                                 camera.group(1)],
                                r"viewer token \w+ .*open (http://127\.0\.0\.1:\d+/\?token=\w+)")
        processes.append(console)
        before = camera_options(camera.group(1), "_brightness")["_brightness"]

        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium") or "/usr/bin/chromium"
        for flag in CHROMIUM_FLAGS + [f"--user-data-dir={scratch}/profile"]:
            options.add_argument(flag)
        driver = webdriver.Chrome(service=Service(chromedriver()), options=options)
        page = Page(driver)
        driver.get(viewer.group(1))
        page.wait("the camera's card online",
                  lambda: page.card_field("127.0.0.1", "link").text == "online")
        page.open_detail("127.0.0.1")
        print("ok: the viewer sees the camera")

        status, body = driver.execute_async_script(POST_FROM_PAGE)
        assert status == 403 and "viewer" in body, (status, body)
        after = camera_options(camera.group(1), "_brightness")["_brightness"]
        assert after == before, f"brightness {before} became {after}"
        print("ok: an action from the viewer's page is refused and reaches no camera")

        # The page asks GET /api/session for its role, then disables what acts.
        page.wait("controls on the page", lambda: driver.find_elements(By.CSS_SELECTOR, CONTROLS))
        page.wait("every control disabled", lambda: not [
            c for c in driver.find_elements(By.CSS_SELECTOR, CONTROLS) if c.is_enabled()], 10)
        print("ok: every control on the viewer's page is disabled")
    finally:
        if driver:
            driver.quit()
        for process in processes:
            process.kill()
            process.wait()
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    main()
