// Digests of data that may arrive in pieces, as lower-case hex (OpenSSL).
#pragma once

#include <cstddef>
#include <string>

struct evp_md_ctx_st;

namespace oscsim {

class ContentDigest {
public:
    enum class Kind { Md5, Sha256 };

    explicit ContentDigest(Kind kind);
    ~ContentDigest();
    ContentDigest(const ContentDigest&) = delete;
    ContentDigest& operator=(const ContentDigest&) = delete;

    void add(const char* data, std::size_t size);
    // The digest of everything added; the digest starts over afterwards.
    std::string hex();

    static std::string of(Kind kind, const std::string& data);

private:
    Kind kind_;
    evp_md_ctx_st* context_;
};

}  // namespace oscsim
