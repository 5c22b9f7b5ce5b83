// What the console knows about every camera: the latest state fed by the
// handler's callbacks, a bounded history per camera, and a change sequence
// that lets each event stream send only what changed since it last looked.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace osconsole {

using Clock = std::chrono::steady_clock;

// Text of a failed request that never reached the camera (refused, timed out).
inline constexpr const char* kNoAnswerReason = "Request exception";

struct CameraKey {
    std::string ip;
    int port = 8080;
};

// What the console should ask the handler for next about one camera.
struct FollowUps {
    // The camera's whole parameter document, from the camera.
    bool refetch = false;
    // The document as the handler holds it (GetCameraParams): after a change
    // the camera accepted. Fetching from the camera instead could overtake a
    // change the user queues meanwhile: a setter sends the value the
    // handler's record holds when its turn comes, and a fetched document
    // overwrites that record.
    bool report = false;
    // The ROI layout, which the handler drops in mode 1 and does not fetch
    // again when the mode changes.
    bool roi = false;
    // The module versions, after a firmware update.
    bool versions = false;
};

// What the poller needs to know to pace one camera.
struct PollView {
    CameraKey key;
    std::uint64_t answers = 0;  // grows with every answer from the camera
    FollowUps follow_ups;
    bool fetching = false;
};

// An integer range the camera advertises in its parameter document.
struct Range {
    int min = 0;
    int max = 0;
};

// One stream's position in the change sequence.
struct StreamCursor {
    std::uint64_t seen = 0;
};

class FleetState {
public:
    static constexpr std::size_t kHistory = 20;    // results and log lines kept per camera
    static constexpr std::size_t kFleetLog = 100;  // log lines that name no camera

    FleetState();
    ~FleetState();
    FleetState(const FleetState&) = delete;
    FleetState& operator=(const FleetState&) = delete;

    // False when the camera is known already or the fleet is full.
    bool add_camera(const CameraKey& key);
    std::optional<int> port_of(const std::string& ip) const;
    std::size_t size() const;

    // Callbacks of the handler.
    void on_params(const std::string& ip, const std::string& json);
    void on_result(const std::string& ip, const std::string& command, bool ok,
                   const std::string& message);
    void on_health(const std::string& ip, bool process_ok, float cpu, float memory, bool in_preview,
                   int mode);
    void on_upload_confirmed(const std::string& ip, bool firmware_image);
    void on_update_progress(const std::string& ip, const std::string& text, int value);
    void on_reboot_state(const std::string& ip, bool accepted);
    void on_log(const std::string& line);

    // What the console itself started or saw go wrong on its side.
    void note_failure(const std::string& ip, const std::string& command,
                      const std::string& message);
    void reboot_requested(const std::string& ip);
    void update_started(const std::string& ip);
    void set_screenshot(const std::string& ip, std::string jpeg);
    std::shared_ptr<const std::string> screenshot(const std::string& ip) const;

    // The range "<name>_min".."<name>_max" of the camera's parameter document;
    // nothing before the document has arrived or when it has no such range.
    std::optional<Range> advertised_range(const std::string& ip, const std::string& name) const;
    bool has_params(const std::string& ip) const;
    // A whole parameter document is on its way from the camera. Its answers
    // overwrite the handler's record, from which a queued setter takes its
    // value when sent: a change made meanwhile could be lost.
    void fetch_started(const std::string& ip);
    bool fetching(const std::string& ip) const;
    // A health query is on its way; its answer overwrites the mode the same way.
    void poll_started(const std::string& ip);
    bool polling(const std::string& ip) const;
    // Whether a camera is inside the handler's pause after a reboot.
    bool any_reboot_pending() const;

    std::vector<PollView> poll_views();  // clears the follow-ups it reports

    nlohmann::json cards() const;
    std::string params_text(const std::string& ip) const;

    // Server-sent events for everything that changed after the cursor; moves
    // the cursor. Each camera appears once, with its latest state.
    std::string events_since(StreamCursor& cursor) const;
    // Waits until something changes after the cursor, the timeout passes or
    // the state is closed; returns false once closed.
    bool wait_for_change(const StreamCursor& cursor, std::chrono::milliseconds timeout) const;
    void close();

private:
    struct Camera;
    Camera* find(const std::string& ip);
    const Camera* find(const std::string& ip) const;
    void touch(Camera& camera);
    void answered(Camera& camera);
    static void record_result(Camera& camera, const std::string& command, bool ok,
                              const std::string& message);
    static nlohmann::json card(const Camera& camera);

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::unique_ptr<Camera>> cameras_;
    std::deque<std::pair<std::uint64_t, std::string>> fleet_log_;
    std::uint64_t seq_ = 0;
    bool closed_ = false;
};

}  // namespace osconsole
