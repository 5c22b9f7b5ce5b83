// The camera's HTTP endpoints, and the fault switches applied to every answer.
#include <memory>

#include "sim/camera_sim_impl.h"
#include "sim/commands.h"

namespace oscsim {

using nlohmann::json;

namespace {

// Every number becomes its text: a camera whose answers are wrongly typed.
json stringify_numbers(const json& value) {
    if (value.is_number()) return value.dump();
    if (value.is_object() || value.is_array()) {
        json out = value;
        for (auto& element : out) element = stringify_numbers(element);
        return out;
    }
    return value;
}

void send_stream(CameraSim::Impl& impl, Reply reply, httplib::Response& res, unsigned generation) {
    auto lines = std::make_shared<std::vector<StreamLine>>(std::move(reply.stream));
    auto next = std::make_shared<std::size_t>(0);
    res.status = reply.status;
    res.set_chunked_content_provider(
        reply.content_type,
        [&impl, lines, next, generation](std::size_t, httplib::DataSink& sink) {
            if (*next == lines->size()) {
                sink.done();
                return true;
            }
            StreamLine& line = (*lines)[(*next)++];
            if (!impl.pause(line.delay, generation)) return false;
            if (line.effect) {
                std::lock_guard<std::mutex> lock(impl.state_mutex);
                line.effect(impl.state);
            }
            const std::string text = line.text + "\n";
            return sink.write(text.data(), text.size());
        },
        [&impl](bool) {
            // Finished or cut off: either way the script no longer runs.
            std::lock_guard<std::mutex> lock(impl.state_mutex);
            impl.state.updating = false;
        });
}

LoggedRequest logged(const httplib::Request& req, const std::string& command,
                     const std::string& body) {
    return {req.method, req.path, command, body, req.remote_port, false};
}

// Half of the answer, then the rest only once the stall switch is cleared.
void send_stalled(CameraSim::Impl& impl, const Reply& reply, httplib::Response& res,
                  unsigned generation) {
    auto body = std::make_shared<std::string>(reply.body);
    auto sent = std::make_shared<bool>(false);
    res.status = reply.status;
    res.set_chunked_content_provider(
        reply.content_type, [&impl, body, sent, generation](std::size_t, httplib::DataSink& sink) {
            const std::size_t half = body->size() / 2;
            if (!*sent) {
                *sent = true;
                return sink.write(body->data(), half);
            }
            if (!impl.hold_stalled(generation)) return false;
            sink.write(body->data() + half, body->size() - half);
            sink.done();
            return true;
        });
}

}  // namespace

void CameraSim::Impl::install_routes(httplib::Server& server) {
    if (auth.enabled()) {
        server.set_pre_routing_handler([this](const httplib::Request& req, httplib::Response& res) {
            if (auth.accepts(req.method, req.target, req.get_header_value("Authorization")))
                return httplib::Server::HandlerResponse::Unhandled;
            LoggedRequest entry = logged(req, "", "");
            entry.challenged = true;
            log.add(entry);
            const Reply refused = Reply::error(401, "", "unauthorized", "authentication required");
            res.status = refused.status;
            res.set_header("WWW-Authenticate", auth.challenge());
            res.set_content(refused.body, refused.content_type);
            return httplib::Server::HandlerResponse::Handled;
        });
    }
    // Runs one request: log, faults, the handler under the state lock, then
    // the answer (document or stream).
    auto serve = [this](httplib::Response& res, LoggedRequest entry,
                        const std::function<Reply(CommandContext&)>& handler) {
        const unsigned gen = current_generation();
        log.add(entry);
        Faults f;
        std::function<void(const LoggedRequest&)> watch;
        {
            std::lock_guard<std::mutex> lock(state_mutex);
            f = faults;
            watch = observer;
        }
        if (watch) watch(entry);
        if (f.latency_ms > 0 && !pause(std::chrono::milliseconds(f.latency_ms), gen)) return;
        if (f.never_answer && !hold(gen)) return;
        if (f.server_error) {
            const Reply busy = Reply::error(500, entry.command, "serverError", "internal error");
            res.status = busy.status;
            res.set_content(busy.body, busy.content_type);
            return;
        }
        if (f.drop || !serving) {
            res.set_chunked_content_provider("application/json",
                                             [](std::size_t, httplib::DataSink&) { return false; });
            return;
        }
        Reply reply;
        {
            std::lock_guard<std::mutex> lock(state_mutex);
            CommandContext ctx{state, config, faults, config.host, port};
            reply = handler(ctx);
        }
        if (reply.reboot_after) schedule_reboot();
        if (reply.move_http_port != 0) schedule_port_move(reply.move_http_port);
        if (!reply.stream.empty()) {
            send_stream(*this, std::move(reply), res, gen);
            return;
        }
        if (reply.is_json && f.wrong_type)
            reply.body = stringify_numbers(json::parse(reply.body)).dump();
        if (reply.is_json && f.malformed) reply.body = reply.body.substr(0, reply.body.size() / 2);
        if (f.stall) {
            send_stalled(*this, reply, res, gen);
            return;
        }
        res.status = reply.status;
        res.set_content(reply.body, reply.content_type);
    };

    server.Get("/osc/info", [serve](const httplib::Request& req, httplib::Response& res) {
        serve(res, logged(req, "", ""), [](CommandContext& ctx) { return device_info(ctx); });
    });
    server.Post("/osc/state", [serve](const httplib::Request& req, httplib::Response& res) {
        serve(res, logged(req, "", req.body),
              [](CommandContext& ctx) { return camera_state(ctx); });
    });
    server.Post("/osc/commands/status",
                [serve](const httplib::Request& req, httplib::Response& res) {
                    const json body = json::parse(req.body, nullptr, false);
                    serve(res, logged(req, "", req.body),
                          [&body](CommandContext& ctx) { return command_status(ctx, body); });
                });
    server.Post(
        "/osc/commands/execute", [serve](const httplib::Request& req, httplib::Response& res) {
            if (req.is_multipart_form_data()) {
                const auto file = req.get_file_value("file");
                const std::string command = req.get_file_value("name").content;
                serve(res, logged(req, command, file.filename), [&](CommandContext& ctx) {
                    if (command != "camera._uploadFile" || file.filename.empty())
                        return Reply::error(400, command, "missingParameter",
                                            "a file upload needs name and file");
                    return upload_file(ctx, file.filename, file.content.size());
                });
                return;
            }
            const json body = json::parse(req.body, nullptr, false);
            const std::string name =
                body.is_object() && body.contains("name") && body["name"].is_string()
                    ? body["name"].get<std::string>()
                    : "";
            serve(res, logged(req, name, req.body), [&](CommandContext& ctx) {
                if (!body.is_object())
                    return Reply::error(400, name, "invalidParameterValue",
                                        "the body is not a JSON object");
                const CommandHandler* handler = find_command(name);
                if (!handler)
                    return Reply::error(400, name, "unknownCommand", "unknown command " + name);
                const json parameters = body.value("parameters", json::object());
                return (*handler)(ctx, parameters);
            });
        });
    // The simulator keeps no picture history: a capture and the preview's
    // still both show the camera as its settings are now.
    auto send_picture = [this](httplib::Response& res) {
        PictureSettings settings;
        {
            std::lock_guard<std::mutex> lock(state_mutex);
            settings = picture_settings(state.options);
        }
        res.set_content(picture.jpeg(settings), "image/jpeg");
    };
    server.Get(R"(/tmp/capture(\d+)\.jpeg)",
               [this, send_picture](const httplib::Request& req, httplib::Response& res) {
                   log.add(logged(req, "", ""));
                   {
                       std::lock_guard<std::mutex> lock(state_mutex);
                       if (state.captures.count(req.matches[1]) == 0) {
                           res.status = 404;
                           return;
                       }
                   }
                   send_picture(res);
               });
    // A still of the live preview (the real stream is RTSP), while it runs.
    server.Get("/live/preview.jpeg",
               [this, send_picture](const httplib::Request& req, httplib::Response& res) {
                   log.add(logged(req, "", ""));
                   {
                       std::lock_guard<std::mutex> lock(state_mutex);
                       if (!state.streaming) {
                           res.status = 404;
                           return;
                       }
                   }
                   send_picture(res);
               });
}

}  // namespace oscsim
