#include "serial_client.h"

namespace bench {

namespace {

size_t collect(char* data, size_t size, size_t count, void* out) {
    static_cast<std::string*>(out)->append(data, size * count);
    return size * count;
}

}  // namespace

SerialClient::SerialClient() {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    curl_ = curl_easy_init();
    headers_ = curl_slist_append(headers_, "Content-Type: application/json;charset=utf-8");
    headers_ = curl_slist_append(headers_, "Accept: application/json");
    headers_ = curl_slist_append(headers_, "Expect:");
}

SerialClient::~SerialClient() {
    curl_slist_free_all(headers_);
    curl_easy_cleanup(curl_);
}

bool SerialClient::send(const std::string& ip, int port, const oscsim::LoggedRequest& r) {
    const std::string url = "http://" + ip + ":" + std::to_string(port) + r.path;
    std::string answer;
    curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl_, CURLOPT_TIMEOUT_MS, 10000L);
    curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, &collect);
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &answer);
    if (r.method == "GET") {
        curl_easy_setopt(curl_, CURLOPT_HTTPGET, 1L);
    } else {
        curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE, static_cast<long>(r.body.size()));
        curl_easy_setopt(curl_, CURLOPT_COPYPOSTFIELDS, r.body.c_str());
    }
    long status = 0;
    const CURLcode code = curl_easy_perform(curl_);
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &status);
    return code == CURLE_OK && status == 200;
}

}  // namespace bench
