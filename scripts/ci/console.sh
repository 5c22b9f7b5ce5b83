# shellcheck shell=bash
# CI stage "console": osc-console as a program, over HTTPS with tokens and its
# audit log, and driven in headless Chromium (Debian's chromium,
# chromium-driver and python3-selenium) as operator and as viewer, against
# simulated cameras, on the release tree. The page's screenshot is left in
# <build>/console/console.png (the README's picture comes from
# tools/console/tests/fleet_picture.py). Then Debian's prometheus watching two
# consoles with the shipped configuration and alert rules (the documented way
# to watch more than 99 cameras). The API's own tests run with the others in
# the sanitizer stages.
stage_console() {
    local dir="${BUILD_ROOT}/release"
    cmake --build "${dir}" --parallel "${JOBS}" --target osc-console osc-camera-sim Vesk_OSC
    mkdir -p "${BUILD_ROOT}/console"
    local programs=(--console "${dir}/tools/console/osc-console" --sim "${dir}/sim/osc-camera-sim")
    local tests="${REPO_ROOT}/tools/console/tests"
    /usr/bin/python3 "${tests}/console_program_test.py" "${programs[@]}"
    /usr/bin/python3 "${tests}/console_access_test.py" "${programs[@]}"
    /usr/bin/python3 "${tests}/console_browser_test.py" "${programs[@]}" \
        --screenshot "${BUILD_ROOT}/console/console.png"
    /usr/bin/python3 "${tests}/console_viewer_test.py" "${programs[@]}"
    /usr/bin/python3 "${REPO_ROOT}/tests/prometheus/fleet_test.py" "${programs[@]}" \
        --prometheus "$(command -v prometheus)" --promtool "$(command -v promtool)"
}
