#include "client_harness.h"

namespace osctest {

Recorder& Recorder::get() {
    static Recorder recorder;
    return recorder;
}

void Recorder::reset() {
    std::lock_guard<std::mutex> lock(mutex_);
    answers_.clear();
    entries_.clear();
}

void Recorder::add(Answer answer) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        answers_.push_back(std::move(answer));
    }
    changed_.notify_all();
}

void Recorder::add_entries(const char** entries, int count) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (int i = 0; i < count; ++i) entries_.emplace_back(entries[i]);
    }
    changed_.notify_all();
}

std::vector<Answer> Recorder::wait_answers(std::size_t count, std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, limit, [&] { return answers_.size() >= count; });
    return answers_;
}

std::vector<std::string> Recorder::wait_entries(std::size_t count,
                                                std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, limit, [&] { return entries_.size() >= count; });
    return entries_;
}

void record_answer(const char* text, const char* ip, int status) {
    Recorder::get().add({text, ip, status});
}

oscclient::ClientOptions test_options() {
    oscclient::ClientOptions o;
    o.connect_timeout = 500ms;
    o.request_timeout = 1500ms;
    o.update_stall = std::chrono::seconds(5);
    o.dns_sd = false;
    return o;
}

void ClientTest::SetUp() {
    Recorder::get().reset();
    oscsim::SimConfig config;
    config.reboot_downtime = 300ms;
    config.update_step = 5ms;
    config.capture_time = 100ms;
    sim = start_camera(config);
    make_client();
}

void ClientTest::TearDown() {
    // The client first: it closes its connections, so the camera stops at once.
    client.reset();
    if (sim) sim->stop();
}

std::unique_ptr<oscsim::CameraSim> ClientTest::start_camera(oscsim::SimConfig config) {
    auto camera = std::make_unique<oscsim::CameraSim>(config);
    EXPECT_TRUE(camera->start()) << "cannot bind " << config.host;
    return camera;
}

void ClientTest::make_client(oscclient::ClientOptions options) {
    client.reset();
    client = std::make_unique<oscclient::OscClient>(std::move(options));
    client->SetOscCallback(record_answer);
    client->SetMdnsCallback(
        [](const char** entries, int count) { Recorder::get().add_entries(entries, count); });
}

Answer ClientTest::one_answer() {
    auto answers = Recorder::get().wait_answers(1);
    EXPECT_EQ(answers.size(), 1u);
    if (answers.empty()) return {"", "", -1};
    return answers.front();
}

}  // namespace osctest
