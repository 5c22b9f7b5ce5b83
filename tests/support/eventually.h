// Polling for a condition that no event announces (a camera's state, a file).
#pragma once

#include <chrono>
#include <thread>

namespace osctest {

// True as soon as `condition` holds; false once `limit` has passed.
template <typename Condition>
bool eventually(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace osctest
