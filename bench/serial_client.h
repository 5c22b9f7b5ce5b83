// The serial baseline's HTTP client: one libcurl easy handle, one request at
// a time.
#pragma once

#include <curl/curl.h>

#include <string>

#include "sim/request_log.h"

namespace bench {

class SerialClient {
public:
    SerialClient();
    ~SerialClient();
    SerialClient(const SerialClient&) = delete;
    SerialClient& operator=(const SerialClient&) = delete;

    // One request, waiting for its whole answer; false on any failure.
    bool send(const std::string& ip, int port, const oscsim::LoggedRequest& r);

private:
    CURL* curl_ = nullptr;
    curl_slist* headers_ = nullptr;
};

}  // namespace bench
