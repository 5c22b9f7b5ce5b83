# CI stage "fuzz": builds the fuzz targets alone (no tests or simulator),
# replays every kept input of fuzz/corpus/ and fuzzes each target briefly.
#
# The fuzzing time per target is OSC_CI_FUZZ_SECONDS (default 60 s: five
# targets then cost about 5 minutes, and the whole CI run stays near 20
# minutes on 2 cores; longer runs belong to scripts/fuzz --minutes N).

stage_fuzz() {
    OSC_FUZZ_BUILD="${BUILD_ROOT}/fuzz" OSC_JOBS="${JOBS}" \
        "${REPO_ROOT}/scripts/fuzz" --seconds "${OSC_CI_FUZZ_SECONDS:-60}"
}
