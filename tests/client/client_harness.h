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
    static Recorder& get() {
        static Recorder recorder;
        return recorder;
    }
    void reset() {
        std::lock_guard<std::mutex> lock(mutex_);
        answers_.clear();
        entries_.clear();
    }
    void add(Answer answer) {
        std::lock_guard<std::mutex> lock(mutex_);
        answers_.push_back(std::move(answer));
        changed_.notify_all();
    }
    void add_entries(const char** entries, int count) {
        std::lock_guard<std::mutex> lock(mutex_);
        entries_.insert(entries_.end(), entries, entries + count);
        changed_.notify_all();
    }
    // Waits (up to `limit`) until `count` answers have arrived; returns them.
    std::vector<Answer> wait_answers(std::size_t count, std::chrono::milliseconds limit = 8s) {
        return wait(answers_, count, limit);
    }
    std::vector<std::string> wait_entries(std::size_t count, std::chrono::milliseconds limit = 8s) {
        return wait(entries_, count, limit);
    }

private:
    template <class T>
    std::vector<T> wait(const std::vector<T>& list, std::size_t count,
                        std::chrono::milliseconds limit) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, limit, [&] { return list.size() >= count; });
        return list;
    }
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Answer> answers_;
    std::vector<std::string> entries_;
};

inline void record_answer(const char* text, const char* ip, int status) {
    Recorder::get().add({text, ip, status});
}

// Short timeouts: every failure still arrives within a test's patience.
inline oscclient::ClientOptions test_options() {
    oscclient::ClientOptions o;
    o.connect_timeout = 500ms;
    o.request_timeout = 1500ms;
    o.update_stall = std::chrono::seconds(5);
    o.dns_sd = false;
    return o;
}

class ClientTest : public ::testing::Test {
protected:
    void SetUp() override {
        Recorder::get().reset();
        oscsim::SimConfig config;
        config.reboot_downtime = 300ms;
        config.update_step = 5ms;
        config.capture_time = 100ms;
        sim = start_camera(config);
        make_client();
    }
    void TearDown() override {
        // The client first: it closes its connections, so the camera stops at once.
        client.reset();
        if (sim) sim->stop();
    }

    // Starts a camera on config.host with a free port.
    std::unique_ptr<oscsim::CameraSim> start_camera(oscsim::SimConfig config = {}) {
        auto camera = std::make_unique<oscsim::CameraSim>(config);
        EXPECT_TRUE(camera->start()) << "cannot bind " << config.host;
        return camera;
    }
    void make_client(oscclient::ClientOptions options = test_options()) {
        client.reset();
        client = std::make_unique<oscclient::OscClient>(std::move(options));
        client->SetOscCallback(record_answer);
        client->SetMdnsCallback(
            [](const char** entries, int count) { Recorder::get().add_entries(entries, count); });
    }
    // The one answer to a single request.
    Answer one_answer() {
        auto answers = Recorder::get().wait_answers(1);
        EXPECT_EQ(answers.size(), 1u);
        if (answers.empty()) return {"", "", -1};
        return answers.front();
    }

    const char* ip() const { return sim->host().c_str(); }
    int port() const { return sim->port(); }

    std::unique_ptr<oscsim::CameraSim> sim;
    std::unique_ptr<oscclient::OscClient> client;
};

}  // namespace osctest
