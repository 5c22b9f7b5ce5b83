#include "log_reading.h"

#include <charconv>

#include <nlohmann/json.hpp>

namespace oschost {

namespace {

using namespace osc_texts;

bool starts_with(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

// A whole run of decimal digits as a number.
std::optional<int> number(std::string_view digits) {
    int value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (digits.empty() || error != std::errc() || end != digits.data() + digits.size())
        return std::nullopt;
    return value;
}

// "Thread SLOT IP" followed by `what`: the IP, or nothing.
std::optional<std::string_view> worker_line(std::string_view line, std::string_view what,
                                            std::string_view& rest) {
    if (!starts_with(line, kLogThread)) return std::nullopt;
    line.remove_prefix(std::string_view(kLogThread).size());
    const auto blank = line.find(' ');
    if (blank == std::string_view::npos || !number(line.substr(0, blank))) return std::nullopt;
    line.remove_prefix(blank + 1);
    const auto at = line.find(what);
    if (at == std::string_view::npos || at == 0) return std::nullopt;
    rest = line.substr(at + what.size());
    return line.substr(0, at);
}

std::string text_member(const nlohmann::json& doc, const char* key) {
    const auto found = doc.find(key);
    return found != doc.end() && found->is_string() ? found->get<std::string>() : "";
}

// What the thread that logged "response_ip: IP" is handling now.
struct AnswerContext {
    const LogReader* reader = nullptr;
    std::string ip;
    std::string request;
    std::optional<RequestFailure> failure;
};
thread_local AnswerContext t_answer;

}  // namespace

std::optional<RequestFailure> logged_failure(std::string_view line) {
    if (!starts_with(line, kLogFailure)) return std::nullopt;
    line.remove_prefix(std::string_view(kLogFailure).size());
    const auto doc = nlohmann::json::parse(line, nullptr, false);
    if (!doc.is_object()) return std::nullopt;
    RequestFailure failure{text_member(doc, "func"), text_member(doc, "reason"),
                           text_member(doc, "cause")};
    if (failure.request.empty()) failure.request = text_member(doc, "name");
    return failure;
}

std::optional<RequestSent> logged_send(std::string_view line) {
    std::string_view rest;
    const auto ip = worker_line(line, kLogSendCommand, rest);
    if (!ip) return std::nullopt;
    const auto port_at = rest.rfind(kLogSendPort);
    if (port_at == std::string_view::npos || port_at == 0) return std::nullopt;
    const auto port = number(rest.substr(port_at + std::string_view(kLogSendPort).size()));
    if (!port) return std::nullopt;
    return RequestSent{std::string(*ip), std::string(rest.substr(0, port_at)), *port};
}

std::optional<AnswerUnusable> logged_unusable_answer(std::string_view line) {
    if (!starts_with(line, kLogNotHandledPrefix)) return std::nullopt;
    line.remove_prefix(std::string_view(kLogNotHandledPrefix).size());
    const auto at = line.find(kLogNotHandled);
    if (at == std::string_view::npos) return std::nullopt;
    std::string_view what = line.substr(at + std::string_view(kLogNotHandled).size());
    if (!what.empty() && !starts_with(what, ": ")) return std::nullopt;
    if (!what.empty()) what.remove_prefix(2);
    return AnswerUnusable{std::string(line.substr(0, at)), "", std::string(what)};
}

std::vector<Event> LogReader::read(std::string_view line) {
    std::vector<Event> events;
    std::string ip;
    if (starts_with(line, kLogAnswerFrom)) {
        ip = line.substr(std::string_view(kLogAnswerFrom).size());
        t_answer = {this, ip, last_sent(ip), std::nullopt};
    } else if (starts_with(line, kLogFailure)) {
        if (t_answer.reader == this) {
            ip = t_answer.ip;
            t_answer.failure = logged_failure(line);
            if (t_answer.failure && t_answer.failure->request.empty())
                t_answer.failure->request = t_answer.request;
        }
    } else if (starts_with(line, kLogAnswerText)) {
        if (t_answer.reader == this) {
            ip = t_answer.ip;
            events.push_back(RequestAnswered{ip, t_answer.request});
        }
    } else if (auto unusable = logged_unusable_answer(line)) {
        ip = unusable->ip;
        unusable->request =
            t_answer.reader == this && t_answer.ip == ip ? t_answer.request : last_sent(ip);
        events.push_back(std::move(*unusable));
    } else if (auto sent = logged_send(line)) {
        ip = sent->ip;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            last_sent_[ip] = sent->command;
        }
        events.push_back(std::move(*sent));
    } else {
        std::string_view rest;
        if (const auto dropping = worker_line(line, kLogSkipAll, rest); dropping && rest.empty())
            ip = *dropping;
    }
    events.push_back(LogLine{std::move(ip), std::string(line)});
    return events;
}

std::optional<RequestFailure> LogReader::failure_for(const std::string& ip) const {
    if (t_answer.reader != this || t_answer.ip != ip) return std::nullopt;
    return t_answer.failure;
}

std::string LogReader::last_sent(const std::string& ip) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = last_sent_.find(ip);
    return found == last_sent_.end() ? "" : found->second;
}

}  // namespace oschost
