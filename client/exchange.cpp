#include "client/exchange.h"

#include "client/answer_shapes.h"

namespace oscclient {

void run_request(CameraLink& link, int port, const Request& request, const ClientOptions& options,
                 const Deliver& deliver) {
    const Limits limits{options.connect_timeout, options.request_timeout, 0,
                        std::chrono::seconds(0)};
    const std::string url = base_url(link.ip, port) + request.path;
    HttpResult result;
    if (request.get) {
        result = link.http.get(url, limits);
    } else if (request.shape == Shape::CaptureStatus) {
        result =
            link.http.post_json(url, nlohmann::json{{"id", link.last_capture_id}}.dump(), limits);
    } else {
        result = link.http.post_json(url, request.body.dump(), limits);
    }
    const auto [text, status] = shape_answer(request, result, link);
    deliver(text, link.ip, status);
}

}  // namespace oscclient
