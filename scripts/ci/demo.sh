# shellcheck shell=bash
# Stage "demo": the scripted oscctl tour against the release tree that the
# release stage has just built, then its installation.
stage_demo() {
    OSC_BUILD_ROOT="${BUILD_ROOT}" "${REPO_ROOT}/scripts/demo" --no-build
    # The install rules, the completions and the README's host example, run
    # against the installed simulator.
    cmake -DBUILD_DIR="${BUILD_ROOT}/release" -DSOURCE_DIR="${REPO_ROOT}" \
        -DSCRATCH_DIR="${BUILD_ROOT}/install-check" -DGENERATOR=Ninja \
        -P "${REPO_ROOT}/tools/tests/install_check.cmake"
}
