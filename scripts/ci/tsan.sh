# CI stage "tsan": every test (handler, client library, simulator, end to end,
# stress) under ThreadSanitizer; any report fails the stage. The only
# suppressions (tsan.supp) are for libraries not built with ThreadSanitizer.

stage_tsan() {
    local dir="${BUILD_ROOT}/tsan"
    CC=clang-14 CXX=clang++-14 cmake -S "${REPO_ROOT}" -B "${dir}" -G Ninja \
        -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOSC_SANITIZE=thread \
        -DOSC_BUILD_TOOLS=OFF
    cmake --build "${dir}" --parallel "${JOBS}"
    # Newer kernels randomise mmap beyond what clang-14's TSan maps; running
    # without address randomisation avoids its "unexpected memory mapping".
    local launcher=()
    if command -v setarch >/dev/null && setarch "$(uname -m)" -R true 2>/dev/null; then
        launcher=(setarch "$(uname -m)" -R)
    fi
    TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 suppressions=${REPO_ROOT}/scripts/ci/tsan.supp" \
        "${launcher[@]}" ctest --test-dir "${dir}" --output-on-failure --no-tests=error \
        -j "${JOBS}"
}
