// The console's cameras and the one lock over them. The handler's events and
// the console's own inputs go through the reducers under that lock, which is
// held for nothing else but copying: the page's JSON is made from copies, so
// a slow browser never holds up a camera's answer.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/console/fleet_overview.h"
#include "tools/console/reducers.h"

namespace osconsole {

// What the poller needs to pace one camera.
struct PollView {
    oschost::CameraAddress address;
    std::uint64_t answers = 0;
    FollowUps follow_ups;
    bool fetching = false;
    // Answering, with its document, and neither updating nor rebooting: a
    // picture may be taken now without getting in the way.
    bool quiet = false;
    // A health query is out: neither answered nor failed.
    bool poll_open = false;
    bool silent = false;  // the camera has stopped answering
};

// What an action checks before it calls the handler.
struct ActionView {
    oschost::CameraAddress address;
    std::shared_ptr<const ParamsDocument> params;
    bool fetching = false;
    bool polling = false;
};

// A camera as it was at one change.
struct CameraCopy {
    CameraState state;
    std::uint64_t seq = 0;         // the change that made it so
    std::uint64_t params_seq = 0;  // the change that brought its parameter document
    WallMs changed_at = 0;         // of the last change the page shows
    bool params_changed = false;   // since the cursor the copy was made for
};

// Everything the page shows that changed after a cursor (log lines and the
// poller's own marks do not count); `seq` is the cursor to use next.
struct Changes {
    std::vector<CameraCopy> cameras;
    std::vector<std::string> fleet_log;  // log lines that name no camera of the console
    std::uint64_t seq = 0;
};

class FleetStore {
public:
    static constexpr std::size_t kFleetLog = 100;

    FleetStore() = default;
    FleetStore(const FleetStore&) = delete;
    FleetStore& operator=(const FleetStore&) = delete;

    // False when the camera is known already or the fleet is full.
    bool add_camera(const oschost::CameraAddress& address);
    std::size_t size() const;

    // A subscriber of the handler session. Events for cameras without a card
    // change nothing (the handler also reports on cameras others drive).
    void on_event(const oschost::Event& event);
    // What the console itself did for a camera.
    void apply(const std::string& ip, const Input& input);

    std::optional<ActionView> action_view(const std::string& ip) const;
    std::optional<oschost::CameraAddress> address_of(const std::string& ip) const;
    // Clears the follow-ups it reports.
    std::vector<PollView> poll_views();

    Changes changes_since(std::uint64_t seen) const;
    std::optional<CameraCopy> camera(const std::string& ip) const;
    // Every camera's status, without copying its state.
    std::vector<CameraOverview> overview(WallMs now) const;
    std::shared_ptr<const std::string> thumbnail(const std::string& ip) const;
    std::shared_ptr<const ParamsDocument> params(const std::string& ip) const;
    std::shared_ptr<const std::string> screenshot(const std::string& ip) const;
    // Until something the page shows changes after `seen`, the timeout passes
    // or the store closes; false once closed.
    bool wait_for_change(std::uint64_t seen, std::chrono::milliseconds timeout) const;
    // The last change the page shows.
    std::uint64_t shown_seq() const;
    // Something the event streams show beside the cameras changed (a bulk
    // run, a rollout): wakes them.
    void touch();
    void close();

private:
    struct Entry {
        CameraState state;
        std::uint64_t seq = 0;
        std::uint64_t shown_seq = 0;  // the last change the page shows
        std::uint64_t params_seq = 0;
        WallMs changed_at = 0;
    };
    static CameraCopy copy_of(const Entry& entry, std::uint64_t seen);
    Entry* find(const std::string& ip);
    const Entry* find(const std::string& ip) const;
    void apply_locked(Entry& entry, const Input& input, const Moment& now);

    // Guards everything below; held for a reducer or a copy, never longer.
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::unique_ptr<Entry>> cameras_;
    std::deque<std::pair<std::uint64_t, std::string>> fleet_log_;
    std::uint64_t seq_ = 0;
    // Event streams wait for this one: most changes are log lines and polls
    // that leave what the page shows as it was.
    std::uint64_t shown_seq_ = 0;
    bool closed_ = false;
};

}  // namespace osconsole
