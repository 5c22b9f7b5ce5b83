# shellcheck shell=bash
# Stage "demo": the scripted oscctl tour against the release tree that the
# release stage has just built.
stage_demo() {
    OSC_BUILD_ROOT="${BUILD_ROOT}" "${REPO_ROOT}/scripts/demo" --no-build
}
