# CI stage "fuzz": builds the fuzz targets alone (no tests or simulator),
# replays every kept input of fuzz/corpus/ and fuzzes each target briefly.
#
# The fuzzing time per target is OSC_CI_FUZZ_SECONDS (default 25 s: five
# targets then cost about 2 minutes, which keeps the whole CI run within its
# 30-minute budget on 2 cores; longer runs belong to scripts/fuzz --minutes N).

stage_fuzz() {
    OSC_FUZZ_BUILD="${BUILD_ROOT}/fuzz" OSC_JOBS="${JOBS}" \
        "${REPO_ROOT}/scripts/fuzz" --seconds "${OSC_CI_FUZZ_SECONDS:-25}"
}
