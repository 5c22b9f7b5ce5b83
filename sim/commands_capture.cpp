// Captures and the status of a capture in progress.
#include <chrono>

#include "sim/commands.h"

namespace oscsim {

using nlohmann::json;

namespace {

const char* const kCapture = "camera.startCapture";

std::string picture_url(const CommandContext& ctx, const std::string& id) {
    return "http://" + ctx.host + ":" + std::to_string(ctx.port) + "/tmp/capture" + id + ".jpeg";
}

// The id as the camera handed it out (a text), or the same as a number.
std::optional<std::string> id_text(const json& id) {
    if (id.is_string()) return id.get<std::string>();
    if (id.is_number_integer()) return std::to_string(id.get<long long>());
    return std::nullopt;
}

}  // namespace

Reply start_capture(CommandContext& ctx, const json&) {
    const int number = ctx.state.next_capture_id++;
    const std::string id = std::to_string(number);
    ctx.state.captures[id] = Capture{std::chrono::steady_clock::now(), kCapture};
    // Like a camera's storage, the pictures kept are the latest few.
    ctx.state.captures.erase(std::to_string(number - kKeptCaptures));
    if (ctx.state.capture_time.count() == 0)
        return Reply::done(kCapture, {{"fileUrl", picture_url(ctx, id)}});
    return Reply::document({{"name", kCapture},
                            {"state", "inProgress"},
                            {"id", id},
                            {"progress", {{"completion", 0.0}}}});
}

Reply command_status(CommandContext& ctx, const json& body) {
    if (auto refused = refuse_members(body, kStatusName, {"id"})) return *refused;
    if (!body.contains("id"))
        return Reply::error(kStatusName, ErrorCode::MissingParameter, "id is missing");
    const auto id = id_text(body["id"]);
    if (!id)
        return Reply::error(kStatusName, ErrorCode::InvalidParameterValue,
                            "id is not a command id");
    const auto it = ctx.state.captures.find(*id);
    if (it == ctx.state.captures.end())
        return Reply::error(kStatusName, ErrorCode::InvalidParameterValue,
                            "unknown command id " + *id);
    const std::string& name = it->second.command;
    const auto elapsed = std::chrono::steady_clock::now() - it->second.started;
    if (elapsed < ctx.state.capture_time) {
        const double completion = std::chrono::duration<double>(elapsed) /
                                  std::chrono::duration<double>(ctx.state.capture_time);
        return Reply::document({{"name", name},
                                {"state", "inProgress"},
                                {"id", *id},
                                {"progress", {{"completion", completion}}}});
    }
    return Reply::document({{"name", name},
                            {"state", "done"},
                            {"id", *id},
                            {"results", {{"fileUrl", picture_url(ctx, *id)}}}});
}

}  // namespace oscsim
