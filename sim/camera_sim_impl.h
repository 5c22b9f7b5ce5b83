// Internals of CameraSim shared by its lifecycle code and its HTTP routes.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include <httplib.h>

#include "sim/camera_sim.h"
#include "sim/digest_auth.h"
#include "sim/reply.h"
#include "sim/test_picture.h"

namespace oscsim {

struct CommandContext;

// A reply as one whole answer: status, content type, body.
void write_reply(httplib::Response& res, const Reply& reply);

class CameraSim::Impl {
public:
    explicit Impl(SimConfig cfg) : config(std::move(cfg)), auth(config.user, config.password) {}

    // Listens when the camera should be up (started, not refusing, not
    // rebooting) and stops listening otherwise.
    void reconcile();
    // Asks the supervisor to reboot the camera; never blocks, so that request
    // handlers can call it while the server is being stopped.
    void schedule_reboot();
    // Asks the supervisor to move the HTTP server to another port, after the
    // answer that changed it has gone out.
    void schedule_port_move(int new_port);
    void supervise();
    void install_routes(httplib::Server& server);
    void install_pictures(httplib::Server& server);
    // Logs a request as it arrives and shows it to the observer.
    void record(const LoggedRequest& entry);
    // Runs one request: record, faults, the handler under the state lock,
    // then the answer (document or stream).
    void serve(httplib::Response& res, const LoggedRequest& entry,
               const std::function<Reply(CommandContext&)>& handler);
    void install_fault_control(httplib::Server& server);
    // Switches the faults that answers read; listening is left to reconcile().
    void apply_faults(const Faults& switched);

    // Waits up to `duration`; false when the wait was cut short because the
    // server stops listening (requests then end without an answer).
    bool pause(std::chrono::milliseconds duration, unsigned generation);
    // Holds a request while the "never answer" switch is on.
    bool hold(unsigned generation);
    // Holds the rest of an answer while the "stall" switch is on.
    bool hold_stalled(unsigned generation);
    unsigned current_generation() const { return generation.load(); }

    SimConfig config;
    const DigestAuth auth;
    std::atomic<int> port{0};

    mutable std::mutex state_mutex;  // state, faults and the observer
    CameraState state;
    Faults faults;
    std::function<void(const LoggedRequest&)> observer;
    RequestLog log;
    PictureCache picture;

    std::mutex life_mutex;  // started, rebooting, server, listener
    bool started = false;
    bool rebooting = false;
    std::unique_ptr<httplib::Server> server;
    std::thread listener;
    std::thread supervisor;  // reboots; owned by start() and stop()

    // Waiting requests watch these; generation changes whenever the server
    // stops listening.
    std::mutex wait_mutex;
    std::condition_variable wait_cv;
    std::atomic<unsigned> generation{0};
    std::atomic<bool> never_answer{false};
    std::atomic<bool> stalled{false};
    std::atomic<bool> stopping{false};
    // False from the moment the server starts to stop: requests still read on
    // open connections then get no answer, like a camera going down.
    std::atomic<bool> serving{false};
    bool reboot_requested = false;  // guarded by wait_mutex
    int requested_port = 0;         // guarded by wait_mutex; 0: no move asked

private:
    bool should_listen() const;
    void move_port(int new_port);
    bool listen_locked();
    void unlisten_locked();
};

}  // namespace oscsim
