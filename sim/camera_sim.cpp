#include "sim/camera_sim.h"

#include "sim/camera_sim_impl.h"

#include <utility>

namespace oscsim {

namespace {
constexpr std::size_t kRequestsPerConnection = 1000000;
constexpr std::size_t kServerThreads = 4;
}  // namespace

bool CameraSim::Impl::listen_locked() {
    if (server) return true;
    auto s = std::make_unique<httplib::Server>();
    // Before the routes, whose catch-all would answer its path.
    if (config.fault_control) install_fault_control(*s);
    install_routes(*s);
    // Without it every answer on a reused connection waits for the
    // client's delayed ACK.
    s->set_tcp_nodelay(true);
    // A client keeps one connection per camera for as long as it likes; the
    // timeout stays short so that stopping does not wait long for it.
    s->set_keep_alive_max_count(kRequestsPerConnection);
    s->set_keep_alive_timeout(config.keep_alive.count());
    // Each open connection holds a server thread; a client uses one.
    s->new_task_queue = [] { return new httplib::ThreadPool(kServerThreads); };
    if (port == 0) {
        const int p = s->bind_to_any_port(config.host);
        if (p <= 0) return false;
        port = p;
    } else if (!s->bind_to_port(config.host, port)) {
        return false;
    }
    server = std::move(s);
    serving = true;
    listener = std::thread([srv = server.get()] { srv->listen_after_bind(); });
    // httplib's stop() is a no-op until the accept loop runs; wait for it so
    // that a stop right after a start cannot be lost.
    while (!server->is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return true;
}

void CameraSim::Impl::unlisten_locked() {
    if (!server) return;
    serving = false;
    {
        std::lock_guard<std::mutex> lock(wait_mutex);
        ++generation;
    }
    wait_cv.notify_all();
    server->stop();
    listener.join();
    server.reset();
}

bool CameraSim::Impl::should_listen() const {
    std::lock_guard<std::mutex> lock(state_mutex);
    return started && !rebooting && !faults.refuse;
}

void CameraSim::Impl::reconcile() {
    if (should_listen()) {
        listen_locked();
    } else {
        unlisten_locked();
    }
}

void CameraSim::Impl::schedule_port_move(int new_port) {
    {
        std::lock_guard<std::mutex> lock(wait_mutex);
        requested_port = new_port;
    }
    wait_cv.notify_all();
}

void CameraSim::Impl::move_port(int new_port) {
    std::lock_guard<std::mutex> lock(life_mutex);
    const int old_port = port;
    unlisten_locked();
    port = new_port;
    reconcile();
    // A port that cannot be bound leaves the camera where it was.
    if (!server && should_listen()) {
        port = old_port;
        reconcile();
    }
}

void CameraSim::Impl::schedule_reboot() {
    // Going down starts now: requests that arrive before the server stops
    // get no answer.
    serving = false;
    {
        std::lock_guard<std::mutex> lock(wait_mutex);
        reboot_requested = true;
    }
    wait_cv.notify_all();
}

void CameraSim::Impl::supervise() {
    for (;;) {
        int move_to = 0;
        {
            std::unique_lock<std::mutex> lock(wait_mutex);
            wait_cv.wait(lock,
                         [this] { return stopping || reboot_requested || requested_port != 0; });
            if (stopping) return;
            move_to = std::exchange(requested_port, 0);
            if (move_to == 0) reboot_requested = false;
        }
        if (move_to != 0) {
            move_port(move_to);
            continue;
        }
        {
            std::lock_guard<std::mutex> lock(life_mutex);
            rebooting = true;
            reconcile();
        }
        {
            std::unique_lock<std::mutex> lock(wait_mutex);
            if (wait_cv.wait_for(lock, config.reboot_downtime, [this] { return stopping.load(); }))
                return;
        }
        {
            std::lock_guard<std::mutex> lock(state_mutex);
            state.reboot();
        }
        std::lock_guard<std::mutex> lock(life_mutex);
        rebooting = false;
        reconcile();
    }
}

bool CameraSim::Impl::pause(std::chrono::milliseconds duration, unsigned gen) {
    std::unique_lock<std::mutex> lock(wait_mutex);
    return !wait_cv.wait_for(lock, duration, [&] { return stopping || generation != gen; });
}

bool CameraSim::Impl::hold(unsigned gen) {
    std::unique_lock<std::mutex> lock(wait_mutex);
    wait_cv.wait(lock, [&] { return stopping || generation != gen || !never_answer; });
    return !stopping && generation == gen;
}

bool CameraSim::Impl::hold_stalled(unsigned gen) {
    std::unique_lock<std::mutex> lock(wait_mutex);
    wait_cv.wait(lock, [&] { return stopping || generation != gen || !stalled; });
    return !stopping && generation == gen;
}

CameraSim::CameraSim(SimConfig config) : impl_(std::make_unique<Impl>(std::move(config))) {
    impl_->port = impl_->config.port;
}

CameraSim::~CameraSim() {
    stop();
}

bool CameraSim::start() {
    std::lock_guard<std::mutex> lock(impl_->life_mutex);
    if (impl_->started) return true;
    {
        std::lock_guard<std::mutex> l(impl_->wait_mutex);
        impl_->stopping = false;
        impl_->reboot_requested = false;
        impl_->requested_port = 0;
    }
    {
        std::lock_guard<std::mutex> l(impl_->state_mutex);
        impl_->state = CameraState::from_config(impl_->config, impl_->port);
    }
    impl_->started = true;
    impl_->reconcile();
    if (!impl_->server) {  // also when started with the refuse switch on
        impl_->started = false;
        return false;
    }
    {
        // The HTTP port is known only once bound.
        std::lock_guard<std::mutex> l(impl_->state_mutex);
        impl_->state.options["_servicePort"]["http"] = impl_->port.load();
        impl_->state.saved_options = impl_->state.options;
    }
    impl_->supervisor = std::thread([impl = impl_.get()] { impl->supervise(); });
    return true;
}

void CameraSim::stop() {
    {
        std::lock_guard<std::mutex> lock(impl_->wait_mutex);
        impl_->stopping = true;
    }
    impl_->wait_cv.notify_all();
    if (impl_->supervisor.joinable()) impl_->supervisor.join();
    std::lock_guard<std::mutex> lock(impl_->life_mutex);
    impl_->started = false;
    impl_->rebooting = false;
    impl_->reconcile();
}

const std::string& CameraSim::host() const {
    return impl_->config.host;
}

int CameraSim::port() const {
    return impl_->port;
}

void CameraSim::power_cycle() {
    impl_->schedule_reboot();
}

bool CameraSim::listening() const {
    std::lock_guard<std::mutex> lock(impl_->life_mutex);
    return impl_->server != nullptr;
}

void CameraSim::Impl::apply_faults(const Faults& switched) {
    {
        std::lock_guard<std::mutex> lock(state_mutex);
        faults = switched;
    }
    {
        std::lock_guard<std::mutex> lock(wait_mutex);
        never_answer = switched.never_answer;
        stalled = switched.stall;
    }
    wait_cv.notify_all();
}

void CameraSim::set_faults(const Faults& faults) {
    impl_->apply_faults(faults);
    std::lock_guard<std::mutex> lock(impl_->life_mutex);
    impl_->reconcile();
}

Faults CameraSim::faults() const {
    std::lock_guard<std::mutex> lock(impl_->state_mutex);
    return impl_->faults;
}

std::vector<LoggedRequest> CameraSim::requests() const {
    return impl_->log.entries();
}

void CameraSim::clear_requests() {
    impl_->log.clear();
}

void CameraSim::on_request(std::function<void(const LoggedRequest&)> observer) {
    std::lock_guard<std::mutex> lock(impl_->state_mutex);
    impl_->observer = std::move(observer);
}

nlohmann::json CameraSim::snapshot() const {
    std::lock_guard<std::mutex> lock(impl_->state_mutex);
    return impl_->state.snapshot();
}

void CameraSim::update_state(const std::function<void(CameraState&)>& change) {
    std::lock_guard<std::mutex> lock(impl_->state_mutex);
    change(impl_->state);
}

}  // namespace oscsim
