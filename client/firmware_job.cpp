#include "client/firmware_job.h"

#include <fstream>
#include <memory>

#include "client/answer_shapes.h"
#include "client/exchange.h"

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

namespace {

class FirmwareRun : public std::enable_shared_from_this<FirmwareRun> {
public:
    FirmwareRun(CameraLink& link, TransferLoop& loop, int port, FirmwarePlan plan,
                const ClientOptions& options, Deliver deliver, CameraDispatcher::Finished finished)
        : link_(link),
          loop_(loop),
          url_(base_url(link.ip, port) + "/osc/commands/execute"),
          plan_(std::move(plan)),
          options_(options),
          deliver_(std::move(deliver)),
          finished_(std::move(finished)) {}

    void start() {
        // Every file is checked before the first byte goes out, so that a
        // missing file never leaves half a package on the camera.
        for (const FirmwareUpload& u : plan_.uploads) {
            if (!readable(u.path)) return fail(kUpload, "File not found: " + u.path);
        }
        upload_next();
    }

private:
    void upload_next() {
        if (next_upload_ == plan_.uploads.size()) return start_update();
        const FirmwareUpload& u = plan_.uploads[next_upload_++];
        HttpCall call;
        call.method = HttpCall::Method::PostFile;
        call.url = url_;
        call.body = kUpload;
        call.file_path = u.path;
        call.stored_name = u.stored_name;
        call.limits = {options_.connect_timeout, options_.upload_timeout, 1024,
                       options_.upload_stall};
        send_to_camera(link_, loop_, std::move(call),
                       [self = shared_from_this()](const HttpResult& r) { self->uploaded(r); });
    }

    void uploaded(const HttpResult& r) {
        if (!r.transport_ok) return fail(kUpload, kRequestException, r.cause);
        if (const auto refusal = camera_refusal(r))
            return fail(kUpload, refusal->reason, refusal->cause);
        if (r.status != 200) return fail(kUpload, "HTTP " + std::to_string(r.status));
        // The confirmation is not JSON; the handler matches it byte for byte.
        std::string text = r.body;
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        deliver_(text, link_.ip, 0);
        upload_next();
    }

    void start_update() {
        HttpCall call;
        call.method = HttpCall::Method::PostJson;
        call.url = url_;
        call.body = nlohmann::json{{"name", kUpdate}, {"parameters", plan_.update}}.dump();
        call.limits = {options_.connect_timeout, options_.update_timeout, 1, options_.update_stall};
        // The lines arrive on the loop thread while the answer streams in.
        std::weak_ptr<FirmwareRun> weak = weak_from_this();
        call.on_line = [weak](const std::string& line) {
            if (auto self = weak.lock()) self->relay(line);
        };
        send_to_camera(link_, loop_, std::move(call),
                       [self = shared_from_this()](const HttpResult& r) { self->updated(r); });
    }

    void relay(const std::string& line) {
        if (line.empty()) return;
        if (line.find(osc_texts::kFirmwareUpdateEnd) != std::string::npos ||
            line.find("[FW update next]") != std::string::npos)
            last_line_seen_ = true;
        deliver_(line, link_.ip, 0);
    }

    void updated(const HttpResult& r) {
        // A stream cut off after its last line has told everything.
        if ((!r.transport_ok || r.status >= 500) && last_line_seen_) return end();
        if (!r.transport_ok) return fail(kUpdate, kRequestException, r.cause);
        if (const auto refusal = camera_refusal(r))
            return fail(kUpdate, refusal->reason, refusal->cause);
        if (r.status != 200) return fail(kUpdate, "HTTP " + std::to_string(r.status));
        if (!last_line_seen_)
            return fail(kUpdate, kRequestException, "the update ended without its last line");
        end();
    }

    void fail(const char* name, const std::string& reason, const std::string& cause = "") {
        deliver_(failure_document(name, plan_.func, reason, cause), link_.ip, 1);
        end();
    }

    void end() { finished_(); }

    CameraLink& link_;
    TransferLoop& loop_;
    const std::string url_;
    const FirmwarePlan plan_;
    const ClientOptions& options_;
    const Deliver deliver_;
    const CameraDispatcher::Finished finished_;
    std::size_t next_upload_ = 0;
    bool last_line_seen_ = false;
};

}  // namespace

CameraDispatcher::Job firmware_job(int port, FirmwarePlan plan, const ClientOptions& options,
                                   Deliver deliver) {
    return [port, plan = std::move(plan), &options, deliver = std::move(deliver)](
               CameraLink& link, TransferLoop& loop,
               const CameraDispatcher::Finished& finished) mutable {
        std::make_shared<FirmwareRun>(link, loop, port, std::move(plan), options,
                                      std::move(deliver), finished)
            ->start();
    };
}

}  // namespace oscclient
