#include "client/answer_shapes.h"

#include <nlohmann/json.hpp>

namespace oscclient {

using nlohmann::json;

namespace {

std::pair<std::string, int> fail(const Request& r, const std::string& reason,
                                 const std::string& cause = "") {
    return {failure_document(r.name, r.func, reason, cause), 1};
}

std::string http_status(long status) {
    return "HTTP " + std::to_string(status);
}

// The id arrives as a text (OSC); the handler reads an integer here.
bool capture_started(json& doc, CameraLink& link) {
    if (!doc.contains("id")) return false;
    json& id = doc["id"];
    if (id.is_number_integer()) {
        link.last_capture_id = std::to_string(id.get<long long>());
        return true;
    }
    if (!id.is_string()) return false;
    const std::string text = id.get<std::string>();
    try {
        std::size_t used = 0;
        const long long n = std::stoll(text, &used);
        if (used != text.size()) return false;
        link.last_capture_id = text;
        id = n;
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

bool module_versions(json& doc) {
    const json* lines = nullptr;
    if (doc.contains("results") && doc["results"].is_object() &&
        doc["results"].contains("response"))
        lines = &doc["results"]["response"];
    if (!lines || !lines->is_array() || lines->empty() || !(*lines)[0].is_string()) return false;
    json versions = {{"AST1220", (*lines)[0]}};
    if (lines->size() > 1 && (*lines)[1].is_string()) versions["AST1235"] = (*lines)[1];
    doc = {{"name", "camera.getOptions"},
           {"state", "done"},
           {"results", {{"options", {{"_imrxVersion", versions}}}}}};
    return true;
}

// Reshapes a parsed answer in place; false when it lacks what the shape needs.
bool reshape(const Request& r, json& doc, CameraLink& link) {
    switch (r.shape) {
        case Shape::AsSent:
            return true;
        case Shape::WithFunc:
            doc["func"] = r.func;
            return true;
        case Shape::NamedState:
            doc["name"] = "state";
            return true;
        case Shape::NamedReboot:
            doc["name"] = "reboot";
            return true;
        case Shape::ModuleVersions:
            return module_versions(doc);
        case Shape::CaptureStarted:
            doc["func"] = r.func;
            return capture_started(doc, link);
        case Shape::CaptureStatus:
            doc["func"] = r.func;
            if (doc.contains("id") && doc["id"].is_number_integer())
                doc["id"] = std::to_string(doc["id"].get<long long>());
            return true;
    }
    return false;
}

std::string error_message(const json& doc) {
    const json& e = doc["error"];
    if (e.contains("message") && e["message"].is_string()) return e["message"];
    if (e.contains("code") && e["code"].is_string()) return e["code"];
    return "camera error";
}

}  // namespace

std::string failure_document(const std::string& name, const std::string& func,
                             const std::string& reason, const std::string& cause) {
    json doc{{"name", name}, {"func", func}, {"reason", reason}};
    if (!cause.empty()) doc["cause"] = cause;
    return doc.dump();
}

std::pair<std::string, int> shape_answer(const Request& r, const HttpResult& result,
                                         CameraLink& link) {
    if (!result.transport_ok) return fail(r, kRequestException, result.cause);
    if (result.status >= 500) return fail(r, kRequestException, http_status(result.status));
    // Not a transport failure: the camera stays in use, the next request
    // may carry the right credentials.
    if (result.status == 401) return fail(r, kAuthenticationFailed, kAuthenticationCause);
    json doc = json::parse(result.body, nullptr, false);
    if (doc.is_discarded() || !doc.is_object()) {
        if (result.status >= 400) return fail(r, http_status(result.status));
        return fail(r, "Invalid answer");
    }
    if (doc.contains("error") && doc["error"].is_object()) return fail(r, error_message(doc));
    if (result.status >= 400) return fail(r, http_status(result.status));
    if (r.shape == Shape::AsSent) return {result.body, 0};
    if (!reshape(r, doc, link)) return fail(r, "Invalid answer");
    return {doc.dump(), 0};
}

}  // namespace oscclient
