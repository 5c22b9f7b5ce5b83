// Shared pieces of the client tests: a recorder behind the plain C callbacks,
// and a fixture with one simulated camera and one client on loopback.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "client/osc_client.h"
#include "sim/camera_sim.h"
#include "support/json_members.h"

namespace osctest {

using namespace std::chrono_literals;

struct Answer {
    std::string text;
    std::string ip;
    int status;
    nlohmann::json doc() const { return nlohmann::json::parse(text, nullptr, false); }
};

// The callbacks carry no user pointer, so one recorder serves every test.
class Recorder {
public:
    static Recorder& get();
    void reset();
    void add(Answer answer);
    void add_entries(const char** entries, int count);
    // Waits (up to `limit`) until `count` answers have arrived; returns them.
    std::vector<Answer> wait_answers(std::size_t count, std::chrono::milliseconds limit = 8s);
    std::vector<std::string> wait_entries(std::size_t count, std::chrono::milliseconds limit = 8s);

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Answer> answers_;
    std::vector<std::string> entries_;
};

void record_answer(const char* text, const char* ip, int status);

// Short timeouts: every failure still arrives within a test's patience.
oscclient::ClientOptions test_options();

class ClientTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Starts a camera on 127.0.0.<n> with a free port.
    std::unique_ptr<oscsim::CameraSim> start_camera(oscsim::SimConfig config = {});
    void make_client(oscclient::ClientOptions options = test_options());
    // The one answer to a single request.
    Answer one_answer();

    const char* ip() const { return sim->host().c_str(); }
    int port() const { return sim->port(); }

    std::unique_ptr<oscsim::CameraSim> sim;
    std::unique_ptr<oscclient::OscClient> client;
};

}  // namespace osctest
