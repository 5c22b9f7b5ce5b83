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

from console_browser_test import Page, camera_options
from processes import chromium, start, stop_all
from selenium.webdriver.common.by import By

# Everything on the page that acts on a camera: the detail view's buttons and
# inputs, the selection's and the bulk actions' controls, the rollout's files.
CONTROLS = ("[data-acts], [data-action], #detail input, #detail select, .toolbar input, "
            ".toolbar select, #rollout-panel input, #rollout-panel button:not(.close)")

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
                                r"viewer token (\w+) .*open (http://(127\.0\.0\.1:\d+)/\?token=\w+)")
        processes.append(console)
        before = camera_options(camera.group(1), "_brightness")["_brightness"]

        driver = chromium(f"{scratch}/profile", 1600, 1000)
        page = Page(driver, viewer.group(3), viewer.group(1))
        driver.get(viewer.group(2))
        page.wait("the camera answering",
                  lambda: page.field("127.0.0.1", "state").text == "answering")
        page.camera("127.0.0.1").click()
        assert page.find("#selection-count").text == "0 selected", "a viewer selected a camera"
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
        stop_all(processes)
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    main()
