#include "tools/console/access_policy.h"

#include <random>
#include <stdexcept>

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

std::string bearer_token(const std::string& authorization) {
    static const std::string kScheme = "Bearer ";
    return authorization.compare(0, kScheme.size(), kScheme) == 0
               ? authorization.substr(kScheme.size())
               : "";
}

// "host", "host:port", "[v6]" or "[v6]:port" without the port.
std::string without_port(const std::string& host) {
    if (!host.empty() && host.front() == '[') return host.substr(0, host.find(']') + 1);
    return host.substr(0, host.rfind(':'));
}

bool is_action(const std::string& method) {
    return method != "GET" && method != "HEAD";
}

}  // namespace

bool is_loopback_host(const std::string& host) {
    return host == "localhost" || host == "[::1]" || host == "::1" || host.rfind("127.", 0) == 0;
}

const char* role_name(Role role) {
    return role == Role::Operator ? "operator" : "viewer";
}

AccessPolicy::AccessPolicy(AccessSettings settings) : tls_(settings.tls) {
    const bool given = settings.operator_token || settings.viewer_token;
    if (!given && is_loopback_host(settings.listen_host)) return;
    operator_token_ = settings.operator_token.value_or(random_token());
    viewer_token_ = settings.viewer_token.value_or(random_token());
    if (operator_token_ == viewer_token_)
        throw std::invalid_argument("the operator and viewer tokens must differ");
}

bool AccessPolicy::carries(const RequestFacts& r, const std::string& token) const {
    // Every place is compared, so that timing does not tell where a token was.
    const bool header = same_text(r.token_header, token);
    const bool bearer = same_text(bearer_token(r.authorization), token);
    const bool cookie = same_text(cookie_value(r.cookie, kTokenCookie), token);
    const bool query = same_text(r.query_token, token);
    return header || bearer || cookie || query;
}

Admission AccessPolicy::check(const RequestFacts& r) const {
    Role role = Role::Operator;
    if (needs_token()) {
        const bool operator_ = carries(r, operator_token_);
        const bool viewer = carries(r, viewer_token_);
        // The same answer whichever token was wrong: it tells nothing about the roles.
        if (!operator_ && !viewer)
            return {std::nullopt,
                    Denial{401,
                           "this console needs an access token: open the address it printed "
                           "at start, or send the X-Console-Token header"}};
        role = operator_ ? Role::Operator : Role::Viewer;
    } else if (!is_loopback_host(without_port(r.host))) {
        return {std::nullopt,
                Denial{403, "the console answers only to a loopback Host on this address"}};
    }
    if (is_action(r.method)) {
        if (role == Role::Viewer)
            return {role, Denial{403,
                                 "the viewer token may only look; acting on cameras needs the "
                                 "operator token"}};
        const std::string own_origin = (tls_ ? "https://" : "http://") + r.host;
        const bool foreign_origin = !r.origin.empty() && r.origin != own_origin;
        const bool foreign_site =
            !r.fetch_site.empty() && r.fetch_site != "same-origin" && r.fetch_site != "none";
        if (foreign_origin || foreign_site)
            return {role, Denial{403, "cross-origin requests may not act on cameras"}};
    }
    return {role, std::nullopt};
}

}  // namespace osconsole
