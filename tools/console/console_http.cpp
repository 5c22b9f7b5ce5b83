#include "tools/console/console_http.h"

#include "tools/console/fleet_view.h"

namespace osconsole {

void send_json(httplib::Response& res, int status, const nlohmann::json& body) {
    res.status = status;
    res.set_header("Cache-Control", "no-store");
    res.set_content(dump(body), "application/json");
}

void send_error(httplib::Response& res, int status, const std::string& message) {
    send_json(res, status, {{"error", message}});
}

RequestFacts facts_of(const httplib::Request& req) {
    return {req.method,
            req.get_header_value("Host"),
            req.get_header_value("Origin"),
            req.get_header_value("Sec-Fetch-Site"),
            req.get_header_value(AccessPolicy::kTokenHeader),
            req.get_header_value("Authorization"),
            req.get_header_value("Cookie"),
            req.get_param_value("token")};
}

// A request without a valid token reaches no route that asks.
Actor actor_of(const AccessPolicy& policy, const httplib::Request& req) {
    return {policy.check(facts_of(req)).role.value_or(Role::Viewer), req.remote_addr};
}

}  // namespace osconsole
