#include "sim/digest_auth.h"

#include "sim/content_digest.h"

#include <map>
#include <random>

namespace oscsim {

namespace {

std::string md5_hex(const std::string& text) {
    return ContentDigest::of(ContentDigest::Kind::Md5, text);
}

// The name=value and name="value" pairs after "Digest ".
std::map<std::string, std::string> parameters(const std::string& header) {
    std::map<std::string, std::string> out;
    std::size_t i = header.find(' ');
    while (i != std::string::npos && i < header.size()) {
        while (i < header.size() && (header[i] == ' ' || header[i] == ',')) ++i;
        const std::size_t eq = header.find('=', i);
        if (eq == std::string::npos) break;
        const std::string name = header.substr(i, eq - i);
        std::string value;
        std::size_t end;
        if (eq + 1 < header.size() && header[eq + 1] == '"') {
            end = header.find('"', eq + 2);
            if (end == std::string::npos) break;
            value = header.substr(eq + 2, end - eq - 2);
            ++end;
        } else {
            end = header.find(',', eq + 1);
            value = header.substr(eq + 1, end == std::string::npos ? end : end - eq - 1);
        }
        out[name] = value;
        i = end;
    }
    return out;
}

}  // namespace

DigestAuth::DigestAuth(std::string user, std::string password)
    : user_(std::move(user)), password_(std::move(password)) {
    std::random_device random;
    nonce_ = md5_hex(std::to_string(random()) + std::to_string(random()));
}

std::string DigestAuth::challenge() const {
    return "Digest realm=\"" + realm_ + "\", qop=\"auth\", algorithm=MD5, nonce=\"" + nonce_ + "\"";
}

bool DigestAuth::accepts(const std::string& method, const std::string& path,
                         const std::string& authorization) const {
    if (authorization.rfind("Digest ", 0) != 0) return false;
    auto p = parameters(authorization);
    if (p["username"] != user_ || p["realm"] != realm_ || p["nonce"] != nonce_ ||
        p["qop"] != "auth" || p["uri"] != path)
        return false;
    const std::string ha1 = md5_hex(user_ + ":" + realm_ + ":" + password_);
    const std::string ha2 = md5_hex(method + ":" + p["uri"]);
    return p["response"] ==
           md5_hex(ha1 + ":" + nonce_ + ":" + p["nc"] + ":" + p["cnonce"] + ":auth:" + ha2);
}

}  // namespace oscsim
