// The camera's HTTP endpoints. Whatever a request looks like, the answer is
// the endpoint's own or an OSC error document: no path, method or body gets
// an empty answer or library text.
#include "sim/camera_sim_impl.h"
#include "sim/commands.h"
#include "sim/upload_receiver.h"

namespace oscsim {

using nlohmann::json;

namespace {

using httplib::Request;
using httplib::Response;

LoggedRequest logged(const Request& req, const std::string& command, const std::string& body) {
    return {req.method, req.path, command, body, req.remote_port, false};
}

// An empty body is an empty parameter set; anything else must be JSON.
json parse_body(const std::string& body) {
    return body.empty() ? json::object() : json::parse(body, nullptr, false);
}

std::string command_name(const json& body) {
    return body.is_object() && body.contains("name") && body["name"].is_string()
               ? body["name"].get<std::string>()
               : "";
}

// httplib's own refusals carry no body: a request it could not read.
Reply unreadable(const Request& req, int status) {
    return Reply::error(
        req.path, ErrorCode::InvalidParameterValue,
        status == 413 || status == 414 ? "the request is too large" : "the request cannot be read");
}

}  // namespace

void CameraSim::Impl::install_routes(httplib::Server& server) {
    server.set_pre_routing_handler([this](const Request& req, Response& res) {
        // Without a length or chunks a request's body is empty (HTTP/1.1);
        // httplib would wait for the connection to close. The body is read
        // only after this handler, and the request is httplib's own object.
        if (!req.has_header("Content-Length") && !req.has_header("Transfer-Encoding"))
            const_cast<Request&>(req).set_header("Content-Length", "0");
        if (!auth.enabled() ||
            auth.accepts(req.method, req.target, req.get_header_value("Authorization")))
            return httplib::Server::HandlerResponse::Unhandled;
        LoggedRequest entry = logged(req, "", "");
        entry.challenged = true;
        record(entry);
        write_reply(res, Reply::error("", ErrorCode::Unauthorized, "authentication required"));
        res.set_header("WWW-Authenticate", auth.challenge());
        return httplib::Server::HandlerResponse::Handled;
    });
    // Every answer of ours has a content type; one without is httplib's.
    server.set_error_handler(
        httplib::Server::HandlerWithResponse([this](const Request& req, Response& res) {
            if (res.has_header("Content-Type")) return httplib::Server::HandlerResponse::Unhandled;
            record(logged(req, "", req.body));
            write_reply(res, unreadable(req, res.status));
            return httplib::Server::HandlerResponse::Handled;
        }));
    // The last resort; handlers catch their own exceptions. Its text never
    // leaves the camera (httplib would put it in a header).
    server.set_exception_handler([](const Request& req, Response& res, std::exception_ptr) {
        write_reply(res, Reply::error(req.path, ErrorCode::ServerError,
                                      "the camera could not carry out the request"));
    });

    server.Get("/osc/info", [this](const Request& req, Response& res) {
        serve(res, logged(req, "", ""), [](CommandContext& ctx) { return device_info(ctx); });
    });
    auto post_json = [this, &server](const char* path,
                                     Reply (*command)(CommandContext&, const json&)) {
        server.Post(path, [this, command](const Request& req, Response& res) {
            const json body = parse_body(req.body);
            serve(res, logged(req, "", req.body),
                  [&body, command](CommandContext& ctx) { return command(ctx, body); });
        });
    };
    post_json("/osc/state", camera_state);
    post_json("/osc/checkForUpdates", check_for_updates);
    post_json("/osc/commands/status", command_status);
    // Read as it arrives: an upload is kept only as its size and digest.
    server.Post("/osc/commands/execute", [this](const Request& req, Response& res,
                                                const httplib::ContentReader& read) {
        if (req.is_multipart_form_data()) {
            UploadReceiver upload;
            const bool complete = read(
                [&upload](const httplib::MultipartFormData& part) {
                    upload.begin_part(part.name, part.filename);
                    return true;
                },
                [&upload](const char* data, std::size_t size) {
                    upload.add(data, size);
                    return true;
                });
            const std::string command = upload.command();
            serve(res, logged(req, command, upload.stored_name()), [&](CommandContext& ctx) {
                if (command != "camera._uploadFile" || upload.stored_name().empty())
                    return Reply::error(command, ErrorCode::MissingParameter,
                                        "a file upload needs name and file");
                if (!complete)
                    return Reply::error(command, ErrorCode::InvalidParameterValue,
                                        "the upload ended early");
                return upload_file(ctx, upload.stored_name(), upload.file());
            });
            return;
        }
        std::string text;
        const bool complete = read([&text](const char* data, std::size_t size) {
            text.append(data, size);
            return true;
        });
        const json body = parse_body(text);
        serve(res, logged(req, command_name(body), text), [&](CommandContext& ctx) {
            return complete ? execute_command(ctx, body) : unreadable(req, 400);
        });
    });
    install_pictures(server);
    // Anything else is a request for something this camera does not have.
    const httplib::Server::Handler unknown = [this](const Request& req, Response& res) {
        serve(res, logged(req, "", req.body), [&req](CommandContext&) {
            return Reply::error(req.path, ErrorCode::UnknownCommand,
                                "no " + req.method + " " + req.path + " on this camera");
        });
    };
    server.Get(".*", unknown);
    server.Post(".*", unknown);
    server.Put(".*", unknown);
    server.Patch(".*", unknown);
    server.Delete(".*", unknown);
    server.Options(".*", unknown);
}

// The simulator keeps no picture history: a capture and the preview's still
// both show the camera as its settings are now.
void CameraSim::Impl::install_pictures(httplib::Server& server) {
    // `check` says why there is no picture, or nothing when there is one.
    auto send_picture = [this](
                            const Request& req, Response& res,
                            const std::function<std::optional<Reply>(const CameraState&)>& check) {
        record(logged(req, "", ""));
        PictureSettings settings;
        {
            std::lock_guard<std::mutex> lock(state_mutex);
            if (auto refused = check(state)) return write_reply(res, *refused);
            settings = picture_settings(state.options);
        }
        res.set_content(picture.jpeg(settings), "image/jpeg");
    };
    server.Get(R"(/tmp/capture(\d+)\.jpeg)", [send_picture](const Request& req, Response& res) {
        send_picture(req, res, [&req](const CameraState& s) -> std::optional<Reply> {
            if (s.captures.count(req.matches[1]) != 0) return std::nullopt;
            return Reply::error(req.path, ErrorCode::InvalidParameterValue, "no such capture");
        });
    });
    // A still of the live preview (the real stream is RTSP), while it runs.
    server.Get("/live/preview.jpeg", [send_picture](const Request& req, Response& res) {
        send_picture(req, res, [&req](const CameraState& s) -> std::optional<Reply> {
            if (s.streaming) return std::nullopt;
            return Reply::error(req.path, ErrorCode::DisabledCommand,
                                "the live preview is not running");
        });
    });
}

}  // namespace oscsim
