// Who may use the console, and as what. On a loopback address without tokens
// anyone on this machine may do everything; the Host header must name a
// loopback address, so that a web page whose name has been pointed at
// 127.0.0.1 cannot read the console. On any other address, or once tokens
// are given, every request carries one of two tokens (header X-Console-Token,
// Authorization: Bearer, cookie console_token, or ?token= on the page's
// address): the operator's may do everything, the viewer's may only look
// (GET and HEAD). Actions must come from the console's own page: a
// cross-origin request is refused wherever it listens.
#pragma once

#include <optional>
#include <string>

#include "tools/console/actor.h"

namespace osconsole {

// The parts of a request the policy reads.
struct RequestFacts {
    std::string method;
    std::string host;           // Host header
    std::string origin;         // Origin header, empty when absent
    std::string fetch_site;     // Sec-Fetch-Site header, empty when absent
    std::string token_header;   // X-Console-Token
    std::string authorization;  // Authorization header
    std::string cookie;         // Cookie header
    std::string query_token;    // ?token= on the page's address
};

struct Denial {
    int status;
    std::string message;
};

// A request's role, or why it is refused (with its role when it has one).
struct Admission {
    std::optional<Role> role;
    std::optional<Denial> denial;
};

struct AccessSettings {
    std::string listen_host;  // the address the console binds
    bool tls = false;
    // Read from files; a token that is needed and not given is made up.
    std::optional<std::string> operator_token;
    std::optional<std::string> viewer_token;
};

class AccessPolicy {
public:
    explicit AccessPolicy(AccessSettings settings);
    explicit AccessPolicy(const std::string& listen_host)
        : AccessPolicy(AccessSettings{listen_host, false, std::nullopt, std::nullopt}) {}

    bool needs_token() const { return !operator_token_.empty(); }
    const std::string& token(Role role) const {
        return role == Role::Operator ? operator_token_ : viewer_token_;
    }
    bool tls() const { return tls_; }

    Admission check(const RequestFacts& request) const;

    static constexpr const char* kTokenHeader = "X-Console-Token";
    static constexpr const char* kTokenCookie = "console_token";

private:
    bool carries(const RequestFacts& request, const std::string& token) const;

    std::string operator_token_;
    std::string viewer_token_;
    bool tls_;
};

bool is_loopback_host(const std::string& host);
const char* role_name(Role role);

}  // namespace osconsole
