#include "client/exchange.h"

#include "client/answer_shapes.h"

namespace oscclient {

namespace {

HttpCall request_call(const CameraLink& link, int port, const Request& request,
                      const ClientOptions& options) {
    HttpCall call;
    call.url = base_url(link.ip, port) + request.path;
    call.limits = {options.connect_timeout, options.request_timeout, 0, std::chrono::seconds(0)};
    if (request.get) return call;
    call.method = HttpCall::Method::PostJson;
    // The status query names the camera's latest capture, known only now.
    call.body = request.shape == Shape::CaptureStatus
                    ? nlohmann::json{{"id", link.last_capture_id}}.dump()
                    : request.body.dump();
    return call;
}

}  // namespace

void send_to_camera(CameraLink& link, TransferLoop& loop, HttpCall call, TransferLoop::Done done) {
    call.authenticate = link.asks_for_credentials;
    if (call.authenticate) return loop.start(std::move(call), std::move(done));
    HttpCall again = call;
    loop.start(std::move(call), [&link, &loop, again = std::move(again),
                                 done = std::move(done)](HttpResult result) mutable {
        if (!result.transport_ok || result.status != 401 || !loop.has_credentials())
            return done(std::move(result));
        link.asks_for_credentials = true;
        again.authenticate = true;
        loop.start(std::move(again), std::move(done));
    });
}

CameraDispatcher::Job request_job(int port, Request request, const ClientOptions& options,
                                  Deliver deliver) {
    return [port, request = std::move(request), &options, deliver = std::move(deliver)](
               CameraLink& link, TransferLoop& loop,
               const CameraDispatcher::Finished& finished) mutable {
        HttpCall call = request_call(link, port, request, options);
        // A job runs once: what the answer needs moves into its handler.
        send_to_camera(
            link, loop, std::move(call),
            [&link, request = std::move(request), deliver = std::move(deliver),
             finished](const HttpResult& result) {
                std::pair<std::string, int> answer;
                try {
                    answer = shape_answer(request, result, link);
                } catch (const std::exception&) {
                    answer = {failure_document(request.name, request.func, "Invalid answer"), 1};
                }
                deliver(answer.first, link.ip, answer.second);
                finished();
            });
    };
}

}  // namespace oscclient
