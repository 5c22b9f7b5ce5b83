// What every route of the console answers with, and who asks.
#pragma once

#include <string>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "tools/console/actor.h"

namespace osconsole {

void send_json(httplib::Response& res, int status, const nlohmann::json& body);
void send_error(httplib::Response& res, int status, const std::string& message);
// The actor behind a request. Every request that reaches a route has passed
// the access policy, which lets only operators act.
Actor actor_of(const httplib::Request& req);

}  // namespace osconsole
