// One worker per camera: sends the camera's queued commands one at a time and
// paces it (one request in flight, passes 100 ms apart, pauses after commands
// that make the camera restart something).
#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>
#include <thread>
#include <utility>

#include "facade/oscapi_handler.h"
#include "workers/command_translation.h"

namespace {
using Clock = std::chrono::steady_clock;
}

void OSCAPIHANDLER::_camera_worker_thread(std::string ip, int slot) {
    m_workerRunning[slot] = true;
    std::optional<Clock::time_point> last_send;
    int idle_passes = 0;
    const std::string thread_prefix = "Thread " + std::to_string(slot) + " " + ip;

    while (!m_workerStop[slot]) {
        bool reboot_pause = false;
        bool port_pause = false;
        bool syslog_pause = false;
        {
            std::unique_lock<std::mutex> lock(m_cmdMutex[slot]);
            auto& queue = m_cmdQueue[slot];
            const bool answer_overdue = last_send && Clock::now() - *last_send >= m_timings.gate;
            const bool gate_open = !queue.empty() && (m_cmdReady[slot] || answer_overdue);
            if (gate_open) {
                const QueuedCommand command = queue.front();
                if (m_skipAll[slot]) {
                    _put_log(thread_prefix + "skip all commands.");
                    queue.clear();
                    m_skipAll[slot] = false;
                    continue;  // next pass at once, without pauses
                }
                _put_log(thread_prefix + "send command " + command.name + " port " +
                         std::to_string(command.port));
                // Closed before the call: an answer may arrive before the
                // client call returns, and must not be lost.
                m_cmdReady[slot] = false;
                _send_front_command(ip, slot, command, reboot_pause, port_pause, syslog_pause);
                queue.pop_front();
                last_send = Clock::now();
            }
        }
        if (reboot_pause) {
            _pause("reboot", slot, ip, m_timings.reboot_pause);
            // The rebooting camera will not answer; release ourselves.
            m_cmdReady[slot] = true;
        }
        if (port_pause) _pause("settingports", slot, ip, m_timings.ports_pause);
        if (syslog_pause) _pause("settingsyslog", slot, ip, m_timings.syslog_pause);
        _wait_for_next_pass(slot, idle_passes);
    }

    {
        std::lock_guard<std::mutex> lock(m_cmdMutex[slot]);
        m_cmdQueue[slot].clear();
    }
    m_skipAll[slot] = false;
    m_workerRunning[slot] = false;
}

// The next pass starts one pass after this one, as a plain sleep would have
// it. A worker whose queue stayed empty for kBusyPasses passes blocks until a
// command or a stop request wakes it instead of waking every pass (99 idle
// cameras cost 1-2 % of a core that way), then still starts on the pass grid.
// Commands queued without the wake-up are seen at the latest after
// kIdleRecheckPasses passes.
void OSCAPIHANDLER::_wait_for_next_pass(int slot, int& idle_passes) {
    constexpr int kBusyPasses = 10;
    constexpr int kIdleRecheckPasses = 20;
    const Clock::time_point since = Clock::now();
    {
        std::unique_lock<std::mutex> lock(m_cmdMutex[slot]);
        idle_passes = m_cmdQueue[slot].empty() ? idle_passes + 1 : 0;
        if (idle_passes > kBusyPasses) {
            while (!m_workerStop[slot] && m_cmdQueue[slot].empty()) {
                m_cmdWake[slot].wait_for(lock, kIdleRecheckPasses * m_timings.pass);
            }
            if (!m_cmdQueue[slot].empty()) idle_passes = 0;
        }
    }
    const auto passes = (Clock::now() - since) / m_timings.pass + 1;
    std::this_thread::sleep_until(since + passes * m_timings.pass);
}

void OSCAPIHANDLER::_push_command(int slot, QueuedCommand command) {
    m_cmdQueue[slot].push_back(std::move(command));
    m_cmdWake[slot].notify_one();
}

void OSCAPIHANDLER::_request_worker_stop(int slot) {
    m_workerStop[slot] = true;
    // Under the queue lock, so that a worker about to block sees the flag.
    std::lock_guard<std::mutex> lock(m_cmdMutex[slot]);
    m_cmdWake[slot].notify_one();
}

void OSCAPIHANDLER::_send_front_command(const std::string& ip, int slot,
                                        const QueuedCommand& command, bool& reboot_pause,
                                        bool& port_pause, bool& syslog_pause) {
    CameraEntryPtr camera = _find_camera(ip);
    if (!camera || !m_pOscAPI) return;
    PauseAfter pause = PauseAfter::None;
    try {
        pause = send_queued_command(command.name,
                                    SendContext{*m_pOscAPI, ip.c_str(), command.port, *camera});
    } catch (const std::exception& e) {
        _put_log("Thread " + std::to_string(slot) + " " + ip + " " + command.name +
                 " not sent: " + e.what());
    }
    reboot_pause = pause == PauseAfter::Reboot;
    port_pause = pause == PauseAfter::Ports;
    syslog_pause = pause == PauseAfter::Syslog;
}

void OSCAPIHANDLER::_pause(const char* what, int slot, const std::string& ip,
                           std::chrono::milliseconds duration) {
    std::printf("Thread %d(%s) %s sleep.\n", slot, ip.c_str(), what);
    std::fflush(stdout);
    std::this_thread::sleep_for(duration);
    std::printf("Thread %d(%s) %s awaked.\n", slot, ip.c_str(), what);
    std::fflush(stdout);
}
