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

Actor actor_of(const httplib::Request& req) {
    return {Role::Operator, req.remote_addr};
}

}  // namespace osconsole
