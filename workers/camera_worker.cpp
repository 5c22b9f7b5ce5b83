// One worker per camera: sends the camera's queued commands one at a time and
// paces it (one request in flight, passes 100 ms apart, pauses after commands
// that make the camera restart something).
#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>
#include <thread>
#include <utility>

#include "IVeskOSCTexts.h"
#include "facade/oscapi_handler.h"
#include "workers/command_translation.h"

namespace {
using Clock = std::chrono::steady_clock;
}

void OSCAPIHANDLER::_camera_worker_thread(std::string ip, int slot) {
    m_workerRunning[slot] = true;
    std::optional<Clock::time_point> last_send;
    int idle_passes = 0;
    const std::string thread_prefix = osc_texts::kLogThread + std::to_string(slot) + " " + ip;

    while (!m_workerStop[slot]) {
        // The queue lock is held only to look at and change the queue: the
        // log line and the client call run without it, so that a host
        // callback they lead to may queue a command for this camera.
        std::optional<QueuedCommand> command;
        bool skipped = false;
        {
            std::lock_guard<std::mutex> lock(m_cmdMutex[slot]);
            auto& queue = m_cmdQueue[slot];
            const bool answer_overdue = last_send && Clock::now() - *last_send >= m_timings.gate;
            if (!queue.empty() && (m_cmdReady[slot] || answer_overdue)) {
                if (m_skipAll[slot]) {
                    queue.clear();
                    m_skipAll[slot] = false;
                    skipped = true;
                } else {
                    command = queue.front();
                    // Closed before the call: an answer may arrive before the
                    // client call returns, and must not be lost.
                    m_cmdReady[slot] = false;
                }
            }
        }
        if (skipped) {
            _put_log(thread_prefix + osc_texts::kLogSkipAll);
            continue;  // next pass at once, without pauses
        }
        PauseAfter pause = PauseAfter::None;
        if (command) {
            _put_log(thread_prefix + osc_texts::kLogSendCommand + command->name +
                     osc_texts::kLogSendPort + std::to_string(command->port));
            pause = _send_front_command(ip, slot, *command);
            {
                // Only this worker takes from the queue, so its front is
                // still the command just sent.
                std::lock_guard<std::mutex> lock(m_cmdMutex[slot]);
                m_cmdQueue[slot].pop_front();
            }
            last_send = Clock::now();
        }
        if (pause == PauseAfter::Reboot) {
            _pause("reboot", slot, ip, m_timings.reboot_pause);
            // The rebooting camera will not answer; release ourselves.
            m_cmdReady[slot] = true;
        }
        if (pause == PauseAfter::Ports) _pause("settingports", slot, ip, m_timings.ports_pause);
        if (pause == PauseAfter::Syslog) _pause("settingsyslog", slot, ip, m_timings.syslog_pause);
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
    std::unique_lock<std::mutex> lock(m_cmdMutex[slot]);
    idle_passes = m_cmdQueue[slot].empty() ? idle_passes + 1 : 0;
    if (idle_passes > kBusyPasses) {
        while (!m_workerStop[slot] && m_cmdQueue[slot].empty()) {
            m_cmdWake[slot].wait_for(lock, kIdleRecheckPasses * m_timings.pass);
        }
        if (!m_cmdQueue[slot].empty()) idle_passes = 0;
    }
    // The rest of the pass; a stop request ends it early.
    const auto passes = (Clock::now() - since) / m_timings.pass + 1;
    m_cmdWake[slot].wait_until(lock, since + passes * m_timings.pass,
                               [&] { return m_workerStop[slot].load(); });
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

PauseAfter OSCAPIHANDLER::_send_front_command(const std::string& ip, int slot,
                                              const QueuedCommand& command) {
    CameraEntryPtr camera = _find_camera(ip);
    if (!camera || !m_pOscAPI) return PauseAfter::None;
    try {
        return send_queued_command(command.name,
                                   SendContext{*m_pOscAPI, ip.c_str(), command.port, *camera});
    } catch (const std::exception& e) {
        _put_log(osc_texts::kLogThread + std::to_string(slot) + " " + ip + " " + command.name +
                 " not sent: " + e.what());
    }
    return PauseAfter::None;
}

// A pause holds the camera's next command for its whole length; only a stop
// request (removal, Destroy) ends it early, so that neither waits it out.
void OSCAPIHANDLER::_pause(const char* what, int slot, const std::string& ip,
                           std::chrono::milliseconds duration) {
    std::printf("Thread %d(%s) %s sleep.\n", slot, ip.c_str(), what);
    std::fflush(stdout);
    {
        const Clock::time_point until = Clock::now() + duration;
        std::unique_lock<std::mutex> lock(m_cmdMutex[slot]);
        m_cmdWake[slot].wait_until(lock, until, [&] { return m_workerStop[slot].load(); });
    }
    std::printf("Thread %d(%s) %s awaked.\n", slot, ip.c_str(), what);
    std::fflush(stdout);
}
