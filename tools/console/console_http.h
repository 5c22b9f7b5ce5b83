// What every route of the console answers with, and who asks.
#pragma once

#include <string>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "tools/console/access_policy.h"
#include "tools/console/actor.h"

namespace osconsole {

void send_json(httplib::Response& res, int status, const nlohmann::json& body);
void send_error(httplib::Response& res, int status, const std::string& message);
RequestFacts facts_of(const httplib::Request& req);
// The actor behind a request, its role as the access policy gives it.
Actor actor_of(const AccessPolicy& policy, const httplib::Request& req);

}  // namespace osconsole
