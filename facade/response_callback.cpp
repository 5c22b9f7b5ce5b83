#include "facade/response_callback.h"

#include <exception>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "IVeskOSC_Tendra.h"
#include "facade/oscapi_handler.h"

namespace {
// Callbacks hold the lock shared while they run; Unreg takes it exclusively.
std::shared_mutex g_handler_mutex;
OSCAPIHANDLER* m_pHandler = nullptr;

template <class Fn>
void deliver(const char* what, Fn&& fn) noexcept {
    std::shared_lock<std::shared_mutex> lock(g_handler_mutex);
    if (m_pHandler == nullptr) return;
    // Nothing may unwind into the client library's thread.
    try {
        fn(*m_pHandler);
    } catch (const std::exception& e) {
        try {
            m_pHandler->_put_log(std::string(what) + " failed: " + e.what());
        } catch (...) {
        }
    } catch (...) {
        try {
            m_pHandler->_put_log(std::string(what) + " failed");
        } catch (...) {
        }
    }
}
}  // namespace

void ResponseCallback::Reg(IVeskOSC_Tendra* client, OSCAPIHANDLER* handler) {
    if (client == nullptr) return;
    {
        std::unique_lock<std::shared_mutex> lock(g_handler_mutex);
        m_pHandler = handler;
    }
    client->SetOscCallback(&ResponseCallback::OscAPICB);
    client->SetMdnsCallback(&ResponseCallback::MDNSCB);
}

void ResponseCallback::Unreg(IVeskOSC_Tendra* client) {
    if (client == nullptr) return;
    client->SetOscCallback(nullptr);
    client->SetMdnsCallback(nullptr);
    std::unique_lock<std::shared_mutex> lock(g_handler_mutex);
    m_pHandler = nullptr;
}

void ResponseCallback::OscAPICB(const char* response, const char* ip, int status) {
    deliver("OscAPICB",
            [&](OSCAPIHANDLER& handler) { handler._on_receive_osccallback(response, ip, status); });
}

void ResponseCallback::MDNSCB(const char** entries, int count) {
    deliver("MDNSCB",
            [&](OSCAPIHANDLER& handler) { handler._on_receive_mdns_result(entries, count); });
}
