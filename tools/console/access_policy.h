// Who may use the console. On a loopback address anyone on this machine may;
// the Host header must name a loopback address, so that a web page whose
// name has been pointed at 127.0.0.1 cannot read the console. On any other
// address every request must carry the token printed at start (header
// X-Console-Token or cookie console_token). Actions must come from the
// console's own page: a cross-origin request is refused wherever it listens.
#pragma once

#include <optional>
#include <string>

namespace osconsole {

// The parts of a request the policy reads.
struct RequestFacts {
    std::string method;
    std::string host;          // Host header
    std::string origin;        // Origin header, empty when absent
    std::string fetch_site;    // Sec-Fetch-Site header, empty when absent
    std::string token_header;  // X-Console-Token
    std::string cookie;        // Cookie header
    std::string query_token;   // ?token= on the page's address
};

struct Denial {
    int status;
    std::string message;
};

class AccessPolicy {
public:
    // `listen_host` is the address the console binds.
    explicit AccessPolicy(const std::string& listen_host);

    bool needs_token() const { return !token_.empty(); }
    const std::string& token() const { return token_; }

    std::optional<Denial> check(const RequestFacts& request) const;

    static constexpr const char* kTokenHeader = "X-Console-Token";
    static constexpr const char* kTokenCookie = "console_token";

private:
    bool token_matches(const RequestFacts& request) const;

    std::string token_;
};

bool is_loopback_host(const std::string& host);

}  // namespace osconsole
