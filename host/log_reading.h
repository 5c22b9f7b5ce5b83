// The one place that reads the handler's log lines. The handler logs each
// answer's camera ("response_ip: IP") and then, on the same thread, either
// the answer ("response: TEXT") or the client library's failure document
// ("OscApi Error: DOCUMENT") just before it reports the failure through a
// callback; "response from IP not handled[: WHAT]" when it could not use an
// answer; "Thread SLOT IPsend command NAME port PORT" when a worker sends.
// Lines are matched in exactly these forms, never searched for addresses.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "events.h"

namespace oschost {

// "OscApi Error: {...}" as a failure; nothing for other lines or a document
// that is not a JSON object.
std::optional<RequestFailure> logged_failure(std::string_view line);
// "Thread SLOT IPsend command NAME port PORT".
std::optional<RequestSent> logged_send(std::string_view line);
// "response from IP not handled" or "response from IP not handled: WHAT".
std::optional<AnswerUnusable> logged_unusable_answer(std::string_view line);

class LogReader {
public:
    // The events one log line stands for; the LogLine itself comes last.
    std::vector<Event> read(std::string_view line);
    // The failure this thread's current answer from `ip` carried, for the
    // callback that reports it (the handler calls it on the same thread).
    std::optional<RequestFailure> failure_for(const std::string& ip) const;

private:
    std::string last_sent(const std::string& ip) const;

    // Guards last_sent_; held for a lookup or an insert only.
    mutable std::mutex mutex_;
    // The command each camera's worker sent last: the one its answers belong to.
    std::unordered_map<std::string, std::string> last_sent_;
};

}  // namespace oschost
