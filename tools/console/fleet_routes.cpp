#include "tools/console/fleet_routes.h"

#include <algorithm>
#include <sstream>

#include "tools/console/console_http.h"
#include "tools/console/fleet_plans.h"
#include "tools/console/fleet_view.h"

namespace osconsole {

namespace {

using nlohmann::json;

// Actions that go to many cameras at once; firmware goes through a rollout.
bool bulk_action(const std::string& action) {
    return action != "firmware" && action != "roi";
}

// The "cameras" member: addresses, each once, in the given order.
std::optional<std::vector<std::string>> camera_list(const json& body) {
    const auto list = body.find("cameras");
    if (list == body.end() || !list->is_array()) return std::nullopt;
    std::vector<std::string> cameras;
    for (const json& ip : *list) {
        if (!ip.is_string()) return std::nullopt;
        if (std::find(cameras.begin(), cameras.end(), ip) == cameras.end())
            cameras.push_back(ip.get<std::string>());
    }
    return cameras;
}

std::vector<std::string> comma_list(const std::string& text) {
    std::vector<std::string> items;
    std::istringstream in(text);
    for (std::string item; std::getline(in, item, ',');)
        if (!item.empty() && std::find(items.begin(), items.end(), item) == items.end())
            items.push_back(item);
    return items;
}

constexpr const char* kBulkPath = "/api/bulk";
constexpr const char* kCopyPath = "/api/copy";
constexpr const char* kStopPath = "/api/rollout/stop";

struct FleetAction {
    const char* path;
    const char* action;
};
constexpr FleetAction kFleetActions[] = {{kBulkPath, "bulk"},
                                         {kCopyPath, "copy"},
                                         {kRolloutPath, "rollout"},
                                         {kStopPath, "rollout-stop"}};

void answer_run(httplib::Response& res, const BulkRun& run) {
    send_json(res, 202, run_json(run));
}

struct Routes {
    FleetStore& store;
    const AccessPolicy& policy;
    FleetOperations& operations;

    // A fleet action refused as a whole, audited as one camera's would be.
    void refuse(const httplib::Request& req, httplib::Response& res, int status,
                const std::string& message) {
        const json body = json::parse(req.body, nullptr, false);
        const ActionRecord record{req.remote_addr, actor_of(policy, req).role, "",
                                  fleet_action_of(req.path), body.is_discarded() ? json() : body};
        operations.audit().refused(record, status, message);
        send_error(res, status, message);
    }

    // {"action": "brightness", "value": 60, "cameras": ["127.0.0.1", ...]}
    void bulk(const httplib::Request& req, httplib::Response& res) {
        const json body = json::parse(req.body, nullptr, false);
        const auto cameras = body.is_object() ? camera_list(body) : std::nullopt;
        if (!cameras) return refuse(req, res, 400, "a bulk action needs \"cameras\": [addresses]");
        if (cameras->empty()) return refuse(req, res, 400, "select at least one camera");
        const std::string action = body.value("action", "");
        if (action.empty() || !bulk_action(action))
            return refuse(req, res, 400,
                          "a bulk action needs an \"action\" other than firmware and roi");
        auto request = parse_action(action, body);
        if (const auto* refusal = std::get_if<ActionOutcome>(&request))
            return refuse(req, res, refusal->status, refusal->message);
        const ActionRequest& step = std::get<ActionRequest>(request);
        const int* value = std::get_if<int>(&step.params);
        std::string title = action + (value ? " " + std::to_string(*value) : "");
        const Actor actor = actor_of(policy, req);
        answer_run(res, operations.runs().start(
                            std::move(title),
                            plan_for(store, operations.audit(), *cameras, {step}, actor), actor));
    }

    // {"from": "127.0.0.1", "cameras": [...]}
    void copy(const httplib::Request& req, httplib::Response& res) {
        const json body = json::parse(req.body, nullptr, false);
        auto cameras = body.is_object() ? camera_list(body) : std::nullopt;
        const std::string from = body.is_object() ? body.value("from", "") : "";
        if (!cameras || from.empty())
            return refuse(req, res, 400, "a copy needs \"from\" and \"cameras\"");
        cameras->erase(std::remove(cameras->begin(), cameras->end(), from), cameras->end());
        if (cameras->empty()) return refuse(req, res, 400, "select the cameras to copy to");
        if (!store.address_of(from)) return refuse(req, res, 404, "no camera " + from);
        const auto source = store.params(from);
        if (!source) return refuse(req, res, 409, "the settings of " + from + " are not known yet");
        const Actor actor = actor_of(policy, req);
        answer_run(res, operations.runs().start("copy settings from " + from,
                                                plan_for(store, operations.audit(), *cameras,
                                                         copy_steps(*source), actor),
                                                actor));
    }

    // Multipart: the files (FirmwareUpload's parts) and "cameras", comma-separated.
    void rollout(const httplib::Request& req, httplib::Response& res,
                 const httplib::ContentReader& reader) {
        if (!req.is_multipart_form_data())
            return refuse(req, res, 415, "a rollout takes its files as multipart/form-data");
        auto upload = std::make_unique<FirmwareUpload>(operations.max_upload_bytes());
        reader(
            [&](const httplib::MultipartFormData& part) {
                return upload->begin_part(part.name, part.filename);
            },
            [&](const char* data, std::size_t size) { return upload->write(data, size); });
        upload->finish();
        if (const auto& problem = upload->problem())
            return refuse(req, res, problem->status, problem->message);
        const auto cameras = comma_list(upload->field(FirmwareUpload::kCamerasPart));
        if (const auto refusal =
                operations.rollout().start(std::move(upload), cameras, actor_of(policy, req)))
            return refuse(req, res, refusal->status, refusal->message);
        std::uint64_t seen = 0;
        send_json(res, 202, rollout_json(*operations.rollout().changed_since(seen)));
    }

    void rollout_state(httplib::Response& res) {
        const RolloutLimits& limits = operations.rollout().limits();
        std::uint64_t seen = 0;
        const auto rollout = operations.rollout().changed_since(seen);
        send_json(res, 200,
                  {{"parallel", limits.parallel},
                   {"stop_after", limits.stop_after},
                   {"max_upload_bytes", operations.max_upload_bytes()},
                   {"rollout", rollout ? rollout_json(*rollout) : json()}});
    }
};

}  // namespace

const char* fleet_action_of(const std::string& path) {
    for (const FleetAction& route : kFleetActions)
        if (path == route.path) return route.action;
    return nullptr;
}

void install_fleet_routes(httplib::Server& server, FleetStore& store, const AccessPolicy& policy,
                          FleetOperations& operations) {
    auto routes = std::make_shared<Routes>(Routes{store, policy, operations});
    server.Get(R"(/api/cameras/([^/]+))",
               [&store](const httplib::Request& req, httplib::Response& res) {
                   const auto camera = store.camera(req.matches[1]);
                   if (!camera) return send_error(res, 404, "no camera " + req.matches[1].str());
                   send_json(res, 200, detail_json(*camera, Moment::now().wall));
               });
    server.Get(R"(/api/cameras/([^/]+)/thumbnail\.jpeg)",
               [&store](const httplib::Request& req, httplib::Response& res) {
                   const auto picture = store.thumbnail(req.matches[1]);
                   if (!picture) return send_error(res, 404, "no picture of this camera");
                   res.set_header("Cache-Control", "max-age=3600");
                   res.set_content(*picture, "image/jpeg");
               });
    server.Post(kBulkPath, [routes](const httplib::Request& req, httplib::Response& res) {
        routes->bulk(req, res);
    });
    server.Post(kCopyPath, [routes](const httplib::Request& req, httplib::Response& res) {
        routes->copy(req, res);
    });
    server.Post(kRolloutPath, [routes](const httplib::Request& req, httplib::Response& res,
                                       const httplib::ContentReader& reader) {
        routes->rollout(req, res, reader);
    });
    server.Post(kStopPath, [routes](const httplib::Request&, httplib::Response& res) {
        routes->operations.rollout().stop();
        routes->rollout_state(res);
    });
    server.Get(kRolloutPath, [routes](const httplib::Request&, httplib::Response& res) {
        routes->rollout_state(res);
    });
}

}  // namespace osconsole
