#include "tools/console/fleet_view.h"

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

}  // namespace

json card_json(const CameraCopy& copy) {
    const CameraState& c = copy.state;
    json reboot = json::array();
    for (const RebootStep& step : c.reboot.steps)
        reboot.push_back({{"state", phase_text(step.phase)}, {"at", step.at}});
    json log = json::array();
    for (const LogEntry& entry : c.log) log.push_back({{"line", entry.line}, {"at", entry.at}});
    json mode = c.health ? json(c.health->mode) : json();
    json versions = nullptr;
    if (c.params) {
        versions = {{"ast1220", c.params->ast1220_version}, {"ast1230", c.params->ast1230_version}};
        if (mode.is_null() && c.params->mode) mode = *c.params->mode;
    }
    return {{"ip", c.address.ip},
            {"port", c.address.port},
            {"seq", copy.seq},
            {"changed_at", copy.changed_at},
            {"name", c.params ? c.params->name : ""},
            {"link", link_text(c.link)},
            {"link_reason", c.link_reason},
            {"link_since", c.link_since},
            {"health", health_json(c.health)},
            {"mode", mode},
            {"versions", versions},
            {"has_params", c.params != nullptr},
            {"reboot", reboot},
            {"update", update_json(c.update)},
            {"screenshot", c.screenshot_version},
            {"results", results_json(c.results)},
            {"log", log}};
}

json cards_json(const std::vector<CameraCopy>& cameras) {
    json list = json::array();
    for (const CameraCopy& camera : cameras) list.push_back(card_json(camera));
    return list;
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
