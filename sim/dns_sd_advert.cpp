#include "sim/dns_sd_advert.h"

#include <arpa/inet.h>
#include <dns_sd.h>
#include <net/if.h>
#include <sys/select.h>

#include <chrono>

namespace oscsim {

namespace {

void DNSSD_API on_registered(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType error, const char*,
                             const char*, const char*, void* context) {
    *static_cast<DNSServiceErrorType*>(context) = error;
}

}  // namespace

DnsSdAdvert::~DnsSdAdvert() {
    stop();
}

bool DnsSdAdvert::start(const std::string& instance_name, int port, const std::string& model) {
    stop();
    // The camera lives on loopback: announcing it anywhere else would point
    // other machines at an address they cannot reach.
    const uint32_t loopback = if_nametoindex("lo");
    if (loopback == 0) return false;
    TXTRecordRef txt;
    TXTRecordCreate(&txt, 0, nullptr);
    TXTRecordSetValue(&txt, "model", static_cast<uint8_t>(model.size()), model.data());
    // Results are only processed inside this function, so a local outcome
    // is a safe callback context.
    DNSServiceErrorType outcome = kDNSServiceErr_Unknown;
    DNSServiceRef ref = nullptr;
    const DNSServiceErrorType error =
        DNSServiceRegister(&ref, 0, loopback, instance_name.c_str(), "_osc._tcp", nullptr, nullptr,
                           htons(static_cast<uint16_t>(port)), TXTRecordGetLength(&txt),
                           TXTRecordGetBytesPtr(&txt), on_registered, &outcome);
    TXTRecordDeallocate(&txt);
    if (error != kDNSServiceErr_NoError) return false;
    service_ = ref;

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (outcome == kDNSServiceErr_Unknown && std::chrono::steady_clock::now() < deadline) {
        const int fd = DNSServiceRefSockFD(ref);
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        timeval tick{0, 100000};
        if (select(fd + 1, &readable, nullptr, nullptr, &tick) > 0) DNSServiceProcessResult(ref);
    }
    if (outcome != kDNSServiceErr_NoError) {
        stop();
        return false;
    }
    return true;
}

void DnsSdAdvert::stop() {
    if (service_) DNSServiceRefDeallocate(static_cast<DNSServiceRef>(service_));
    service_ = nullptr;
}

}  // namespace oscsim
