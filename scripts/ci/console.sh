# shellcheck shell=bash
# CI stage "console": osc-console driven in headless Chromium (Debian's
# chromium, chromium-driver and python3-selenium) against three simulated
# cameras, on the release tree. The page's screenshot is left in
# <build>/console/console.png (the README's picture comes from
# tools/console/tests/fleet_picture.py).
stage_console() {
    local dir="${BUILD_ROOT}/release"
    cmake --build "${dir}" --parallel "${JOBS}" --target osc-console osc-camera-sim Vesk_OSC
    mkdir -p "${BUILD_ROOT}/console"
    /usr/bin/python3 "${REPO_ROOT}/tools/console/tests/console_browser_test.py" \
        --console "${dir}/tools/console/osc-console" --sim "${dir}/sim/osc-camera-sim" \
        --screenshot "${BUILD_ROOT}/console/console.png"
}
