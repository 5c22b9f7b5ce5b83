// HTTP Digest authentication as an authenticating camera asks for it
// (MD5, qop "auth"): a challenge for every request without valid credentials.
#pragma once

#include <string>

namespace oscsim {

class DigestAuth {
public:
    DigestAuth(std::string user, std::string password);

    bool enabled() const { return !user_.empty(); }
    // The WWW-Authenticate value of a 401 answer.
    std::string challenge() const;
    // Whether an Authorization header answers our challenge with the right
    // password for this request.
    bool accepts(const std::string& method, const std::string& path,
                 const std::string& authorization) const;

private:
    std::string user_;
    std::string password_;
    std::string realm_ = "OSC camera";
    std::string nonce_;
};

}  // namespace oscsim
