// One Init/Destroy of the handler, with every callback turned into a typed
// event for the subscribers. The handler keeps one instance per process and
// its callbacks carry no context, so there is at most one session at a time.
#pragma once

#include <functional>
#include <string>

#include "events.h"

namespace oschost {

// Runs on the thread of the callback (a client-library, worker or calling
// thread), which holds no lock of the host layer meanwhile. It may call any
// exported operation but Destroy. An exception it throws is reported on
// stderr and goes no further.
using Subscriber = std::function<void(const Event&)>;

class Session {
public:
    // Loads the client library from `client_dir` (Init). With `echo_log`,
    // every log line of the handler is also written to stderr.
    explicit Session(const std::string& client_dir, bool echo_log = false);
    // Destroy: once it returns, no subscriber runs again.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Subscribers see every event from then on, in the order of their subscription.
    void subscribe(Subscriber subscriber);
};

}  // namespace oschost
