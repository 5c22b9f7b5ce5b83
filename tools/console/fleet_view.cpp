#include "tools/console/fleet_view.h"

#include <cmath>

#include "host/settings_table.h"

namespace osconsole {

using nlohmann::json;

namespace {

const char* link_text(Link link) {
    switch (link) {
        case Link::Online:
            return "online";
        case Link::NotAnswering:
            return "not answering";
        case Link::Unknown:
            break;
    }
    return "unknown";
}

const char* phase_text(RebootPhase phase) {
    switch (phase) {
        case RebootPhase::Requested:
            return "requested";
        case RebootPhase::Restarting:
            return "restarting";
        case RebootPhase::Back:
            return "back";
        case RebootPhase::Failed:
            return "failed";
        case RebootPhase::None:
            break;
    }
    return "";
}

json update_json(const FirmwareUpdate& u) {
    if (u.stage == UpdateStage::None) return nullptr;
    return {{"text", u.text},
            {"value", u.percent},
            {"active", u.stage == UpdateStage::Queued || u.stage == UpdateStage::Running},
            {"done", u.stage == UpdateStage::Done},
            {"failed", u.stage == UpdateStage::Failed}};
}

json health_json(const std::optional<Health>& h) {
    if (!h) return nullptr;
    return {{"process_ok", h->process_ok}, {"cpu", h->cpu_usage}, {"memory", h->memory_usage},
            {"in_preview", h->in_preview}, {"mode", h->mode},     {"at", h->at}};
}

json results_json(const std::deque<ResultEntry>& results) {
    json list = json::array();
    for (const ResultEntry& r : results) {
        json entry{{"command", r.command}, {"ok", r.ok}, {"message", r.message}, {"at", r.at}};
        if (!r.request.empty()) entry["request"] = r.request;
        if (!r.cause.empty()) entry["cause"] = r.cause;
        list.push_back(std::move(entry));
    }
    return list;
}

const char* step_text(StepState state) {
    static const char* const kTexts[] = {"pending", "waiting", "done", "failed"};
    return kTexts[static_cast<int>(state)];
}

const char* rollout_step_text(RolloutStep step) {
    static const char* const kTexts[] = {"waiting", "running", "done", "failed", "not started"};
    return kTexts[static_cast<int>(step)];
}

// The newest failure the camera reported, whatever became of it since.
json last_failure_json(const std::deque<ResultEntry>& results) {
    for (auto r = results.rbegin(); r != results.rend(); ++r)
        if (!r->ok)
            return {{"command", r->command.empty() ? r->request : r->command},
                    {"message", r->message},
                    {"at", r->at}};
    return nullptr;
}

// Every result the camera has had: the detail view fetches its list again
// when this grows.
std::uint64_t results_count(const CameraState& c) {
    std::uint64_t total = 0;
    for (const auto& [command, tally] : c.commands) total += tally.ok + tally.failed;
    return total;
}

}  // namespace

json row_json(const CameraCopy& copy, WallMs now) {
    const CameraState& c = copy.state;
    const CameraStatus status = camera_status(c, now);
    json mode = c.health ? json(c.health->mode) : json();
    json versions = nullptr;
    if (c.params) {
        versions = {{"ast1220", c.params->ast1220_version}, {"ast1230", c.params->ast1230_version}};
        if (mode.is_null() && c.params->mode) mode = *c.params->mode;
    }
    json reboot = nullptr;
    if (!c.reboot.steps.empty())
        reboot = {{"state", phase_text(c.reboot.phase)}, {"at", c.reboot.steps.back().at}};
    return {{"ip", c.address.ip},
            {"port", c.address.port},
            {"seq", copy.seq},
            {"changed_at", copy.changed_at},
            {"name", c.params ? c.params->name : ""},
            {"model", c.params ? c.params->parsed.value("model", "") : ""},
            {"state", state_text(status.state)},
            {"concern", concern_text(status.concern)},
            {"attention", status.reason},
            {"link", link_text(c.link)},
            {"link_reason", c.link_reason},
            {"health", health_json(c.health)},
            {"mode", mode},
            {"versions", versions},
            {"params", copy.params_seq},
            {"reboot", reboot},
            {"update", update_json(c.update)},
            {"last_failure", last_failure_json(c.results)},
            {"result_count", results_count(c)},
            {"screenshot", c.screenshot_version},
            {"thumbnail", c.thumbnail != nullptr}};
}

json shown_of_row(json row) {
    row.erase("seq");
    row.erase("changed_at");
    json& health = row["health"];
    if (health.is_object()) {
        health.erase("at");
        for (const char* percent : {"cpu", "memory"})
            health[percent] = std::lround(health[percent].get<double>());
    }
    return row;
}

json detail_json(const CameraCopy& copy, WallMs now) {
    const CameraState& c = copy.state;
    json detail = row_json(copy, now);
    json reboot = json::array();
    for (const RebootStep& step : c.reboot.steps)
        reboot.push_back({{"state", phase_text(step.phase)}, {"at", step.at}});
    json log = json::array();
    for (const LogEntry& entry : c.log) log.push_back({{"line", entry.line}, {"at", entry.at}});
    detail["reboot_steps"] = std::move(reboot);
    detail["results"] = results_json(c.results);
    detail["log"] = std::move(log);
    detail["has_params"] = c.params != nullptr;
    return detail;
}

json details_json(const std::vector<CameraCopy>& cameras, WallMs now) {
    json list = json::array();
    for (const CameraCopy& camera : cameras) list.push_back(detail_json(camera, now));
    return list;
}

json summary_json(const FleetSummary& summary) {
    json counts = json::object();
    for (std::size_t i = 0; i < kFleetStates; ++i)
        counts[state_text(static_cast<FleetState>(i))] = summary.counts[i];
    return {{"counts", counts}, {"attention", summary.attention}, {"order", summary.order}};
}

json run_json(const BulkRun& run) {
    const RunCounts counts = count(run);
    json cameras = json::array();
    for (const RunCamera& camera : run.cameras) {
        const StepState state = outcome_of(camera);
        std::string message;
        int done = 0;
        for (const RunStep& step : camera.steps) {
            done += step.state == StepState::Done;
            const bool telling = step.state == StepState::Failed ||
                                 (step.state == StepState::Waiting && state != StepState::Failed);
            if (telling && message.empty())
                message =
                    (camera.steps.size() > 1 ? step.request.action + ": " : "") + step.message;
        }
        cameras.push_back({{"ip", camera.ip},
                           {"state", step_text(state)},
                           {"message", message},
                           {"done", done},
                           {"steps", camera.steps.size()}});
    }
    return {
        {"id", run.id},
        {"title", run.title},
        {"started", run.started},
        {"counts", {{"pending", counts.pending}, {"done", counts.done}, {"failed", counts.failed}}},
        {"cameras", cameras}};
}

json rollout_json(const RolloutView& r) {
    json counts = json::object();
    json cameras = json::array();
    for (const char* step : {"waiting", "running", "done", "failed", "not started"})
        counts[step] = 0;
    for (const RolloutCamera& camera : r.cameras) {
        const char* step = rollout_step_text(camera.step);
        counts[step] = counts[step].get<int>() + 1;
        cameras.push_back({{"ip", camera.ip}, {"step", step}, {"message", camera.message}});
    }
    return {{"active", r.active},
            {"parallel", r.limits.parallel},
            {"stop_after", r.limits.stop_after},
            {"stop_reason", r.stop_reason},
            {"files", r.files},
            {"started", r.started},
            {"ended", r.ended},
            {"counts", counts},
            {"cameras", cameras}};
}

json settings_json() {
    json list = json::array();
    for (const oschost::Setting& s : oschost::settings()) {
        json row{{"name", s.name}, {"label", s.label}, {"unit", s.unit}, {"member", s.member}};
        if (s.advertised()) {
            row["min_member"] = s.min_member;
            row["max_member"] = s.max_member;
        }
        if (s.fixed) row["range"] = {s.fixed->min, s.fixed->max};
        list.push_back(std::move(row));
    }
    return list;
}

std::string dump(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace osconsole
