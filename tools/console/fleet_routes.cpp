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

void answer_run(httplib::Response& res, const BulkRun& run) {
    send_json(res, 202, run_json(run));
}

struct Routes {
    FleetStore& store;
    FleetOperations& operations;

    // {"action": "brightness", "value": 60, "cameras": ["127.0.0.1", ...]}
    void bulk(const httplib::Request& req, httplib::Response& res) {
        const json body = json::parse(req.body, nullptr, false);
        const auto cameras = body.is_object() ? camera_list(body) : std::nullopt;
        if (!cameras) return send_error(res, 400, "a bulk action needs \"cameras\": [addresses]");
        if (cameras->empty()) return send_error(res, 400, "select at least one camera");
        const std::string action = body.value("action", "");
        if (action.empty() || !bulk_action(action))
            return send_error(res, 400,
                              "a bulk action needs an \"action\" other than firmware and roi");
        auto request = parse_action(action, body);
        if (const auto* refusal = std::get_if<ActionOutcome>(&request))
            return send_error(res, refusal->status, refusal->message);
        const ActionRequest& step = std::get<ActionRequest>(request);
        const int* value = std::get_if<int>(&step.params);
        std::string title = action + (value ? " " + std::to_string(*value) : "");
        const Actor actor = actor_of(req);
        answer_run(res, operations.runs().start(std::move(title),
                                                plan_for(store, *cameras, {step}, actor), actor));
    }

    // {"from": "127.0.0.1", "cameras": [...]}
    void copy(const httplib::Request& req, httplib::Response& res) {
        const json body = json::parse(req.body, nullptr, false);
        auto cameras = body.is_object() ? camera_list(body) : std::nullopt;
        const std::string from = body.is_object() ? body.value("from", "") : "";
        if (!cameras || from.empty())
            return send_error(res, 400, "a copy needs \"from\" and \"cameras\"");
        cameras->erase(std::remove(cameras->begin(), cameras->end(), from), cameras->end());
        if (cameras->empty()) return send_error(res, 400, "select the cameras to copy to");
        if (!store.address_of(from)) return send_error(res, 404, "no camera " + from);
        const auto source = store.params(from);
        if (!source) return send_error(res, 409, "the settings of " + from + " are not known yet");
        const Actor actor = actor_of(req);
        answer_run(res, operations.runs().start(
                            "copy settings from " + from,
                            plan_for(store, *cameras, copy_steps(*source), actor), actor));
    }

    // Multipart: the files (FirmwareUpload's parts) and "cameras", comma-separated.
    void rollout(const httplib::Request& req, httplib::Response& res,
                 const httplib::ContentReader& reader) {
        if (!req.is_multipart_form_data())
            return send_error(res, 415, "a rollout takes its files as multipart/form-data");
        auto upload = std::make_unique<FirmwareUpload>(operations.max_upload_bytes());
        reader(
            [&](const httplib::MultipartFormData& part) {
                return upload->begin_part(part.name, part.filename);
            },
            [&](const char* data, std::size_t size) { return upload->write(data, size); });
        upload->finish();
        if (const auto& problem = upload->problem())
            return send_error(res, problem->status, problem->message);
        const auto cameras = comma_list(upload->field(FirmwareUpload::kCamerasPart));
        if (const auto refusal =
                operations.rollout().start(std::move(upload), cameras, actor_of(req)))
            return send_error(res, refusal->status, refusal->message);
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

void install_fleet_routes(httplib::Server& server, FleetStore& store, FleetOperations& operations) {
    auto routes = std::make_shared<Routes>(Routes{store, operations});
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
    server.Post("/api/bulk", [routes](const httplib::Request& req, httplib::Response& res) {
        routes->bulk(req, res);
    });
    server.Post("/api/copy", [routes](const httplib::Request& req, httplib::Response& res) {
        routes->copy(req, res);
    });
    server.Post(kRolloutPath, [routes](const httplib::Request& req, httplib::Response& res,
                                       const httplib::ContentReader& reader) {
        routes->rollout(req, res, reader);
    });
    server.Post("/api/rollout/stop", [routes](const httplib::Request&, httplib::Response& res) {
        routes->operations.rollout().stop();
        routes->rollout_state(res);
    });
    server.Get(kRolloutPath, [routes](const httplib::Request&, httplib::Response& res) {
        routes->rollout_state(res);
    });
}

}  // namespace osconsole
