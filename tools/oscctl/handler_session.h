// One Init/Destroy of the handler with every callback routed into an EventLog.
#pragma once

#include <string>

#include "tools/oscctl/event_log.h"

namespace oscctl {

class HandlerSession {
public:
    // `verbose` passes the handler's log lines to stderr; otherwise they are
    // dropped (they would go to standard output).
    HandlerSession(const std::string& client_dir, bool verbose);
    ~HandlerSession();
    HandlerSession(const HandlerSession&) = delete;
    HandlerSession& operator=(const HandlerSession&) = delete;

    EventLog& events() { return events_; }

private:
    EventLog events_;
};

}  // namespace oscctl
