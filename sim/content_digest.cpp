#include "sim/content_digest.h"

#include <openssl/evp.h>

#include <cstdio>

namespace oscsim {

namespace {

const EVP_MD* algorithm(ContentDigest::Kind kind) {
    return kind == ContentDigest::Kind::Md5 ? EVP_md5() : EVP_sha256();
}

}  // namespace

ContentDigest::ContentDigest(Kind kind) : kind_(kind), context_(EVP_MD_CTX_new()) {
    EVP_DigestInit_ex(context_, algorithm(kind_), nullptr);
}

ContentDigest::~ContentDigest() {
    EVP_MD_CTX_free(context_);
}

void ContentDigest::add(const char* data, std::size_t size) {
    EVP_DigestUpdate(context_, data, size);
}

std::string ContentDigest::hex() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(context_, digest, &length);
    EVP_DigestInit_ex(context_, algorithm(kind_), nullptr);
    std::string text;
    char byte[3];
    for (unsigned int i = 0; i < length; ++i) {
        std::snprintf(byte, sizeof byte, "%02x", digest[i]);
        text += byte;
    }
    return text;
}

std::string ContentDigest::of(Kind kind, const std::string& data) {
    ContentDigest digest(kind);
    digest.add(data.data(), data.size());
    return digest.hex();
}

}  // namespace oscsim
