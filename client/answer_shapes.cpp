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

// The first answer of a capture hands its id over as an integer, where the
// handler reads one, and the client remembers it as the camera gave it. A
// capture done at once has no id to ask about.
bool capture_started(json& doc, CameraLink& link) {
    if (!doc.contains("id")) {
        link.last_capture_id = "";
        return doc.contains("state") && doc["state"] == "done";
    }
    json& id = doc["id"];
    if (id.is_number_integer()) {
        link.last_capture_id = id;
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

// The camera's words in an OSC error document: its message, else its code.
std::optional<std::string> camera_words(const json& doc) {
    if (!doc.is_object() || !doc.contains("error") || !doc["error"].is_object())
        return std::nullopt;
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

std::optional<Refusal> camera_refusal(const HttpResult& result) {
    const auto words = camera_words(json::parse(result.body, nullptr, false));
    const std::string status = http_status(result.status);
    if (result.status >= 500)
        return Refusal{kRequestException, words ? status + ": " + *words : status};
    if (words) return Refusal{*words, ""};
    if (result.status >= 400) return Refusal{status, ""};
    return std::nullopt;
}

std::pair<std::string, int> shape_answer(const Request& r, const HttpResult& result,
                                         CameraLink& link) {
    if (!result.transport_ok) return fail(r, kRequestException, result.cause);
    // Not a transport failure: the camera stays in use, the next request
    // may carry the right credentials.
    if (result.status == 401) return fail(r, kAuthenticationFailed, kAuthenticationCause);
    if (const auto refusal = camera_refusal(result))
        return fail(r, refusal->reason, refusal->cause);
    json doc = json::parse(result.body, nullptr, false);
    if (!doc.is_object()) return fail(r, "Invalid answer");
    if (r.shape == Shape::AsSent) return {result.body, 0};
    if (!reshape(r, doc, link)) return fail(r, "Invalid answer");
    return {doc.dump(), 0};
}

}  // namespace oscclient
