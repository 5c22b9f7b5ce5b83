// What a scripted camera answers in the stress tests: a few realistic
// documents and failures, picked from the command line the handler sent.
#pragma once

#include <array>
#include <functional>
#include <string>

#include "support/client_double.h"

namespace stress {

struct CannedAnswer {
    const char* text;
    int status;
};

inline constexpr std::array<CannedAnswer, 6> kCannedAnswers = {{
    {R"({})", 0},
    {R"({"name":"camera.setOptions","state":"done"})", 0},
    {R"({"model":"M3VX27164","serialNumber":"SN-1","firmwareVersion":"1.2.3"})", 0},
    {R"({"name":"camera.getOptions","state":"done","results":{"options":{"_contrast":3,"_contrastSupport":{"min":0,"max":10}}}})",
     0},
    {R"({"func":"SetBrightness","name":"camera.setOptions","reason":"busy"})", 1},
    {R"(not json at all)", 0},
}};

// Answers every call for a camera with one of the canned answers.
inline void answer_with_canned(const std::string& line, const std::string& ip,
                               ClientDouble& client) {
    if (ip.empty()) return;
    const CannedAnswer& answer =
        kCannedAnswers[std::hash<std::string>{}(line) % kCannedAnswers.size()];
    client.respond(answer.text, ip, answer.status);
}

}  // namespace stress
