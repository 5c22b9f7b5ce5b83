#include "tools/console/camera_state.h"

namespace osconsole {

namespace {

// A document fetch takes about a second, a health query much less: one not
// ended within this has lost its answer.
constexpr auto kAnswerLimit = std::chrono::seconds(20);

std::string text_member(const nlohmann::json& doc, const char* key) {
    const auto found = doc.find(key);
    return found != doc.end() && found->is_string() ? found->get<std::string>() : "";
}

bool recent(const std::optional<Clock::time_point>& started, Clock::time_point now) {
    return started && now - *started < kAnswerLimit;
}

}  // namespace

Moment Moment::now() {
    return {Clock::now(), std::chrono::duration_cast<std::chrono::milliseconds>(
                              std::chrono::system_clock::now().time_since_epoch())
                              .count()};
}

std::shared_ptr<const ParamsDocument> ParamsDocument::parse(std::string text) {
    auto document = std::make_shared<ParamsDocument>();
    document->parsed = nlohmann::json::parse(text, nullptr, false);
    if (!document->parsed.is_object()) return nullptr;
    document->text = std::move(text);
    document->name = text_member(document->parsed, "camera_name");
    document->ast1220_version = text_member(document->parsed, "ast1220_ver");
    document->ast1230_version = text_member(document->parsed, "ast1230_ver");
    const auto mode = document->parsed.find("mode");
    if (mode != document->parsed.end() && mode->is_number_integer())
        document->mode = mode->get<int>();
    return document;
}

FollowUps& FollowUps::operator|=(const FollowUps& o) {
    refetch |= o.refetch;
    report |= o.report;
    roi |= o.roi;
    versions |= o.versions;
    return *this;
}

bool fetching(const CameraState& camera, Clock::time_point now) {
    return recent(camera.fetch_started, now);
}

bool polling(const CameraState& camera, Clock::time_point now) {
    return recent(camera.poll_started, now);
}

}  // namespace osconsole
