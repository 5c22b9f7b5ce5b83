#include "client/firmware_job.h"

#include <fstream>

#include "client/answer_shapes.h"

namespace oscclient {

namespace {

const char* const kUpload = "camera._uploadFile";
const char* const kUpdate = "camera._update";

std::string base_name(const std::string& path) {
    const auto slash = path.find_last_of("/\\");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

void add_files(FirmwarePlan& plan, const std::vector<std::string>& files) {
    for (const std::string& f : files) {
        if (!f.empty()) plan.uploads.push_back({f, base_name(f)});
    }
}

bool readable(const std::string& path) {
    return std::ifstream(path, std::ios::binary).good();
}

// The camera's error message, or the HTTP status when it sent none.
std::string camera_reason(const HttpResult& r) {
    const auto doc = nlohmann::json::parse(r.body, nullptr, false);
    if (doc.is_object() && doc.contains("error") && doc["error"].is_object() &&
        doc["error"].contains("message") && doc["error"]["message"].is_string())
        return doc["error"]["message"];
    return "HTTP " + std::to_string(r.status);
}

}  // namespace

FirmwarePlan plan_1220(const std::string& image) {
    FirmwarePlan p;
    p.func = "Update1220";
    p.uploads.push_back({image, "update.img"});
    p.update = {{"target", "1220"}};
    return p;
}

FirmwarePlan plan_1230(const std::string& func, const std::string& model,
                       const std::vector<std::string>& files) {
    FirmwarePlan p;
    p.func = func;
    add_files(p, files);
    p.update = {{"target", "1230"},
                {"model", model},
                {"script", "ast_update_1230_" + model.substr(model.size() - 4) + ".sh"}};
    return p;
}

FirmwarePlan plan_all(const std::string& image, const std::vector<std::string>& files) {
    FirmwarePlan p;
    p.func = "UpdateFWAll";
    p.uploads.push_back({image, "update.img"});
    add_files(p, files);
    p.update = {{"target", "all"}};
    return p;
}

void run_firmware(CameraLink& link, int port, const FirmwarePlan& plan,
                  const ClientOptions& options, const std::atomic<bool>& cancelled,
                  const Deliver& deliver) {
    auto fail = [&](const char* name, const std::string& reason) {
        deliver(failure_document(name, plan.func, reason), link.ip, 1);
    };
    // Every file is checked before the first byte goes out, so that a missing
    // file never leaves half a package on the camera.
    for (const FirmwareUpload& u : plan.uploads) {
        if (!readable(u.path)) return fail(kUpload, "File not found: " + u.path);
    }
    const std::string url = base_url(link.ip, port) + "/osc/commands/execute";
    const Limits upload{options.connect_timeout, options.upload_timeout, 1024,
                        options.upload_stall};
    for (const FirmwareUpload& u : plan.uploads) {
        if (cancelled) return fail(kUpload, kRequestException);
        const HttpResult r = link.http.post_file(url, kUpload, u.path, u.stored_name, upload);
        if (!r.transport_ok || r.status >= 500) return fail(kUpload, kRequestException);
        if (r.status != 200) return fail(kUpload, camera_reason(r));
        // The confirmation is not JSON; the handler matches it byte for byte.
        std::string text = r.body;
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        deliver(text, link.ip, 0);
    }
    if (cancelled) return fail(kUpdate, kRequestException);
    const Limits update{options.connect_timeout, options.update_timeout, 1, options.update_stall};
    bool finished = false;
    const nlohmann::json body = {{"name", kUpdate}, {"parameters", plan.update}};
    const HttpResult r =
        link.http.post_json_lines(url, body.dump(), update, [&](const std::string& line) {
            if (line.empty()) return;
            if (line.find("[FW update end]") != std::string::npos ||
                line.find("[FW update next]") != std::string::npos)
                finished = true;
            deliver(line, link.ip, 0);
        });
    if (!r.transport_ok || r.status >= 500) {
        if (!finished) fail(kUpdate, kRequestException);
        return;
    }
    if (r.status != 200) return fail(kUpdate, camera_reason(r));
    if (!finished) fail(kUpdate, kRequestException);
}

}  // namespace oscclient
