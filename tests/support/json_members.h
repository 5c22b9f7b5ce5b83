// Comparing a JSON answer with only the members a check cares about.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace osctest {

// Whether `actual` holds every member of `expected`, recursively; arrays and
// values compare whole.
inline ::testing::AssertionResult has_members(const nlohmann::json& actual,
                                              const nlohmann::json& expected) {
    if (!expected.is_object()) {
        if (actual == expected) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << actual.dump() << " != " << expected.dump();
    }
    for (const auto& [key, value] : expected.items()) {
        if (!actual.is_object() || !actual.contains(key))
            return ::testing::AssertionFailure() << "no \"" << key << "\" in " << actual.dump();
        if (auto inner = has_members(actual[key], value); !inner) return inner << " at " << key;
    }
    return ::testing::AssertionSuccess();
}

}  // namespace osctest
