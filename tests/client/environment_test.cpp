// Settings read from the environment: numbers are clamped to their range, and
// text that is not a whole number leaves the default.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>

#include "client/client_options.h"

namespace osctest {
namespace {

using oscclient::ClientOptions;

struct EnvCase {
    const char* name;
    const char* variable;
    const char* value;
    long expected;
};

void PrintTo(const EnvCase& c, std::ostream* os) {
    *os << c.name;
}

long read_back(const ClientOptions& o, const std::string& variable) {
    if (variable == "OSC_REQUEST_TIMEOUT_MS") return static_cast<long>(o.request_timeout.count());
    if (variable == "OSC_CONNECT_TIMEOUT_MS") return static_cast<long>(o.connect_timeout.count());
    if (variable == "OSC_IO_THREADS") return static_cast<long>(o.io_threads);
    return static_cast<long>(o.browse_window.count());
}

class Environment : public ::testing::TestWithParam<EnvCase> {
protected:
    void TearDown() override { unsetenv(GetParam().variable); }
};

TEST_P(Environment, ReadsClampsOrKeepsTheDefault) {
    setenv(GetParam().variable, GetParam().value, 1);
    EXPECT_EQ(read_back(ClientOptions::from_environment(), GetParam().variable),
              GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Variables, Environment,
    ::testing::Values(EnvCase{"RequestTimeout", "OSC_REQUEST_TIMEOUT_MS", "750", 750},
                      EnvCase{"RequestTimeoutTooShort", "OSC_REQUEST_TIMEOUT_MS", "1", 50},
                      EnvCase{"RequestTimeoutNotANumber", "OSC_REQUEST_TIMEOUT_MS", "2s", 4000},
                      EnvCase{"RequestTimeoutEmpty", "OSC_REQUEST_TIMEOUT_MS", "", 4000},
                      EnvCase{"ConnectTimeout", "OSC_CONNECT_TIMEOUT_MS", "200", 200},
                      EnvCase{"ConnectTimeoutTooLong", "OSC_CONNECT_TIMEOUT_MS", "99999999", 60000},
                      EnvCase{"IoThreadsTooMany", "OSC_IO_THREADS", "64", 16},
                      EnvCase{"IoThreadsNegative", "OSC_IO_THREADS", "-3", 1},
                      EnvCase{"BrowseWindow", "OSC_DISCOVERY_SECONDS", "9", 9}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace osctest
