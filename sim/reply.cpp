#include "sim/reply.h"

namespace oscsim {

namespace {

struct CodeAnswer {
    const char* code;
    int http_status;
};

// OSC answers every error it defines with 400 Bad Request, and server-side
// failures with a 5xx status.
CodeAnswer answer_for(ErrorCode code) {
    switch (code) {
        case ErrorCode::UnknownCommand:
            return {"unknownCommand", 400};
        case ErrorCode::DisabledCommand:
            return {"disabledCommand", 400};
        case ErrorCode::MissingParameter:
            return {"missingParameter", 400};
        case ErrorCode::InvalidParameterName:
            return {"invalidParameterName", 400};
        case ErrorCode::InvalidParameterValue:
            return {"invalidParameterValue", 400};
        case ErrorCode::ServerError:
            return {"serverError", 500};
        case ErrorCode::Unauthorized:
            return {"unauthorized", 401};
    }
    return {"serverError", 500};
}

}  // namespace

Reply Reply::done(const std::string& name, nlohmann::json results) {
    nlohmann::json doc = {{"name", name}, {"state", "done"}};
    if (!results.is_null()) doc["results"] = std::move(results);
    return document(doc);
}

Reply Reply::error(const std::string& name, ErrorCode code, const std::string& message) {
    const CodeAnswer answer = answer_for(code);
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
