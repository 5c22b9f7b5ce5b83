#include "answer_capture.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "IVeskOSCHandlerInst.h"
#include "sim/camera_sim.h"

namespace bench {
namespace {

using namespace std::chrono_literals;

// The worker logs each command it sends and the intake each answer's text;
// one command is in flight at a time, so the two lists pair up in order.
std::mutex g_mutex;
std::vector<std::string> g_sent;
std::vector<std::string> g_answers;
std::atomic<int> g_documents{0};

void record_log(const char* line) {
    static const std::string kSend = "send command ";
    static const std::string kAnswer = "response: ";
    const std::string text(line);
    std::lock_guard<std::mutex> lock(g_mutex);
    if (const auto at = text.find(kSend); at != std::string::npos) {
        const std::string rest = text.substr(at + kSend.size());
        g_sent.push_back(rest.substr(0, rest.find(" port ")));
    } else if (text.rfind(kAnswer, 0) == 0) {
        g_answers.push_back(text.substr(kAnswer.size()));
    }
}

void count_document(const char*, const char*) {
    ++g_documents;
}

std::size_t answers_so_far() {
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_answers.size();
}

bool wait_until(const std::function<bool()>& pred) {
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (!pred()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

}  // namespace

nlohmann::json capture_answers(const std::string& client_dir) {
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        g_sent.clear();
        g_answers.clear();
    }
    g_documents = 0;
    oscsim::SimConfig config;
    config.host = "127.0.0.1";
    oscsim::CameraSim camera(config);
    if (!camera.start()) throw std::runtime_error("cannot start the simulated camera");
    if (Init(client_dir.c_str()) == nullptr) throw std::runtime_error("Init failed");
    SetDataCallback(nullptr, count_document, nullptr, nullptr);
    SetLogCallback(record_log);
    GetCameraSettings("127.0.0.1", camera.port(), true);
    // The refresh ends with StartStreaming, after the parameter document.
    const bool refreshed = wait_until([] { return g_documents > 0; }) && wait_until([] {
                               std::lock_guard<std::mutex> lock(g_mutex);
                               return !g_sent.empty() && g_sent.back() == "StartStreaming" &&
                                      g_answers.size() == g_sent.size();
                           });
    const std::size_t refresh_commands = answers_so_far();
    SetBrightness("127.0.0.1", camera.port(), 40);
    const bool set = wait_until([&] { return answers_so_far() > refresh_commands; });
    Destroy();
    camera.stop();
    if (!refreshed || !set) throw std::runtime_error("the simulated camera did not answer");
    std::lock_guard<std::mutex> lock(g_mutex);
    nlohmann::json refresh = nlohmann::json::array();
    for (std::size_t i = 0; i < refresh_commands; ++i) {
        refresh.push_back({{"command", g_sent.at(i)}, {"answer", g_answers.at(i)}});
    }
    return {
        {"refresh", refresh},
        {"setter",
         {{"command", g_sent.at(refresh_commands)}, {"answer", g_answers.at(refresh_commands)}}}};
}

}  // namespace bench
