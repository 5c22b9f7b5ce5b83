# CI stage "soak": the short soaks (30 s each) in the AddressSanitizer tree
# that stage "asan" built: thread counts constant, no leak at exit, the fleet
# still answering at the end. ASan's allocator keeps freed memory and
# per-thread caches (182 threads in the simulated soak: +85 MiB in 30 s), so
# the RSS bound here only catches runaway growth; scripts/soak measures memory
# in a plain build.

stage_soak() {
    local dir="${BUILD_ROOT}/asan"
    local run=(env OSC_SOAK_SECONDS="${OSC_CI_SOAK_SECONDS:-30}" OSC_SOAK_MAX_GROWTH_KIB=262144
        ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:quarantine_size_mb=16
        UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1)
    "${run[@]}" "${dir}/tests/stress/stress_tests" --gtest_filter='Soak.*'
    "${run[@]}" "${dir}/tests/e2e/e2e_tests" --gtest_filter='SimulatedSoak.*'
}
