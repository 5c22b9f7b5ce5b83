// How one request is answered: recorded, the fault switches applied, the
// command run under the state lock, then its document or its line stream.
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

void write_reply(httplib::Response& res, const Reply& reply) {
    res.status = reply.status;
    res.set_content(reply.body, reply.content_type);
}

void CameraSim::Impl::record(const LoggedRequest& entry) {
    log.add(entry);
    std::function<void(const LoggedRequest&)> watch;
    {
        std::lock_guard<std::mutex> lock(state_mutex);
        watch = observer;
    }
    if (watch) watch(entry);
}

void CameraSim::Impl::serve(httplib::Response& res, const LoggedRequest& entry,
                            const std::function<Reply(CommandContext&)>& handler) {
    const unsigned gen = current_generation();
    record(entry);
    Faults f;
    {
        std::lock_guard<std::mutex> lock(state_mutex);
        f = faults;
    }
    if (f.latency_ms > 0 && !pause(std::chrono::milliseconds(f.latency_ms), gen)) return;
    if (f.never_answer && !hold(gen)) return;
    if (f.server_error)
        return write_reply(res,
                           Reply::error(entry.command, ErrorCode::ServerError, "internal error"));
    if (f.drop || !serving) {
        res.set_chunked_content_provider("application/json",
                                         [](std::size_t, httplib::DataSink&) { return false; });
        return;
    }
    Reply reply;
    {
        std::lock_guard<std::mutex> lock(state_mutex);
        CommandContext ctx{state, config, faults, config.host, port};
        try {
            reply = handler(ctx);
        } catch (const std::exception&) {
            // What went wrong stays inside: the answer names only the command.
            reply = Reply::error(entry.command, ErrorCode::ServerError,
                                 "the camera could not carry out the request");
        }
    }
    if (reply.reboot_after) schedule_reboot();
    if (reply.move_http_port != 0) schedule_port_move(reply.move_http_port);
    if (!reply.stream.empty()) return send_stream(*this, std::move(reply), res, gen);
    if (reply.is_json && f.wrong_type)
        reply.body = stringify_numbers(json::parse(reply.body)).dump();
    if (reply.is_json && f.malformed) reply.body = reply.body.substr(0, reply.body.size() / 2);
    if (f.stall) return send_stalled(*this, reply, res, gen);
    write_reply(res, reply);
}

}  // namespace oscsim
