#include "sim/reply.h"

#include <iterator>

namespace oscsim {

namespace {

struct CodeAnswer {
    const char* code;
    int http_status;
};

// In the order of ErrorCode. OSC answers every error it defines with 400 Bad
// Request, and server-side failures with a 5xx status.
constexpr CodeAnswer kAnswers[] = {
    {"unknownCommand", 400},       {"disabledCommand", 400},       {"missingParameter", 400},
    {"invalidParameterName", 400}, {"invalidParameterValue", 400}, {"serverError", 500},
    {"unauthorized", 401},
};
static_assert(std::size(kAnswers) == static_cast<std::size_t>(ErrorCode::Unauthorized) + 1);

}  // namespace

Reply Reply::done(const std::string& name, nlohmann::json results) {
    nlohmann::json doc = {{"name", name}, {"state", "done"}};
    if (!results.is_null()) doc["results"] = std::move(results);
    return document(doc);
}

Reply Reply::error(const std::string& name, ErrorCode code, const std::string& message) {
    const CodeAnswer& answer = kAnswers[static_cast<std::size_t>(code)];
    Reply r = document({{"name", name},
                        {"state", "error"},
                        {"error", {{"code", answer.code}, {"message", message}}}});
    r.status = answer.http_status;
    return r;
}

Reply Reply::document(const nlohmann::json& doc) {
    Reply r;
    r.body = doc.dump();
    return r;
}

Reply Reply::text(std::string body) {
    Reply r;
    r.body = std::move(body);
    r.content_type = "text/plain";
    r.is_json = false;
    return r;
}

}  // namespace oscsim
