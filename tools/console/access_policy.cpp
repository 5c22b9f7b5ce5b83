#include "tools/console/access_policy.h"

#include <random>

namespace osconsole {

namespace {

std::string random_token() {
    std::random_device entropy;
    static const char kHex[] = "0123456789abcdef";
    std::string token;
    for (int i = 0; i < 32; ++i) token += kHex[entropy() % 16];
    return token;
}

// Compares without stopping at the first difference, so that timing tells
// nothing about how much of a guess was right.
bool same_text(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    unsigned char diff = 0;
    for (std::size_t i = 0; i < a.size(); ++i) diff |= a[i] ^ b[i];
    return diff == 0;
}

std::string cookie_value(const std::string& cookies, const std::string& name) {
    std::size_t at = 0;
    while (at < cookies.size()) {
        const std::size_t end = std::min(cookies.find(';', at), cookies.size());
        std::string pair = cookies.substr(at, end - at);
        pair.erase(0, pair.find_first_not_of(' '));
        if (pair.compare(0, name.size() + 1, name + "=") == 0) return pair.substr(name.size() + 1);
        at = end + 1;
    }
    return "";
}

// "host", "host:port", "[v6]" or "[v6]:port" without the port.
std::string without_port(const std::string& host) {
    if (!host.empty() && host.front() == '[') return host.substr(0, host.find(']') + 1);
    return host.substr(0, host.rfind(':'));
}

}  // namespace

bool is_loopback_host(const std::string& host) {
    return host == "localhost" || host == "[::1]" || host == "::1" || host.rfind("127.", 0) == 0;
}

AccessPolicy::AccessPolicy(const std::string& listen_host) {
    if (!is_loopback_host(listen_host)) token_ = random_token();
}

bool AccessPolicy::token_matches(const RequestFacts& r) const {
    return same_text(r.token_header, token_) ||
           same_text(cookie_value(r.cookie, kTokenCookie), token_) ||
           same_text(r.query_token, token_);
}

std::optional<Denial> AccessPolicy::check(const RequestFacts& r) const {
    if (needs_token()) {
        if (!token_matches(r))
            return Denial{401,
                          "this console needs the access token it printed at start: open "
                          "the address it printed, or send the X-Console-Token header"};
    } else if (!is_loopback_host(without_port(r.host))) {
        return Denial{403, "the console answers only to a loopback Host on this address"};
    }
    if (r.method != "GET" && r.method != "HEAD") {
        const bool foreign_origin = !r.origin.empty() && r.origin != "http://" + r.host;
        const bool foreign_site =
            !r.fetch_site.empty() && r.fetch_site != "same-origin" && r.fetch_site != "none";
        if (foreign_origin || foreign_site)
            return Denial{403, "cross-origin requests may not act on cameras"};
    }
    return std::nullopt;
}

}  // namespace osconsole
