#include "sim/reply.h"

namespace oscsim {

Reply Reply::done(const std::string& name, nlohmann::json results) {
    nlohmann::json doc = {{"name", name}, {"state", "done"}};
    if (!results.is_null()) doc["results"] = std::move(results);
    return document(doc);
}

Reply Reply::error(int status, const std::string& name, const std::string& code,
                   const std::string& message) {
    Reply r = document(
        {{"name", name}, {"state", "error"}, {"error", {{"code", code}, {"message", message}}}});
    r.status = status;
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
