# CI stage "soak": the short soaks (30 s each) in the AddressSanitizer tree
# that stage "asan" built: thread counts constant, no leak at exit, the fleet
# still answering at the end, and in the simulated soak the heap in use flat
# (ASan counts it exactly, so a retention of a hundred bytes an operation
# fails within the 30 s). ASan's allocator keeps freed memory in its
# quarantine, so the RSS bound here only catches runaway growth; scripts/soak
# measures RSS in a plain build.

stage_soak() {
    local dir="${BUILD_ROOT}/asan"
    local run=(env OSC_SOAK_SECONDS="${OSC_CI_SOAK_SECONDS:-30}" OSC_SOAK_MAX_GROWTH_KIB=262144
        ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:quarantine_size_mb=16
        UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1)
    "${run[@]}" "${dir}/tests/stress/stress_tests" --gtest_filter='Soak.*'
    "${run[@]}" "${dir}/tests/e2e/e2e_tests" --gtest_filter='SimulatedSoak.*'
}
