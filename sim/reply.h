// What a command handler answers: one document, or a text stream whose lines
// are sent over time (firmware updates).
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "sim/camera_state.h"

namespace oscsim {

// The error codes the camera answers with; each has one HTTP status
// (reply.cpp).
enum class ErrorCode {
    UnknownCommand,
    DisabledCommand,
    MissingParameter,
    InvalidParameterName,
    InvalidParameterValue,
    ServerError,
    Unauthorized,  // HTTP Digest challenge, not an OSC code
};

struct StreamLine {
    std::chrono::milliseconds delay{0};        // wait before the line is sent
    std::string text;                          // sent with a trailing '\n'
    std::function<void(CameraState&)> effect;  // applied when the line is sent
};

struct Reply {
    int status = 200;
    std::string body;
    std::string content_type = "application/json;charset=utf-8";
    bool is_json = true;  // fault switches that rewrite JSON leave other bodies alone
    std::vector<StreamLine> stream;
    bool reboot_after = false;
    int move_http_port = 0;  // nonzero: the camera listens there once answered

    static Reply done(const std::string& name, nlohmann::json results = nullptr);
    // {"name": name, "state": "error", "error": {"code": ..., "message": ...}}
    // with the code's HTTP status.
    static Reply error(const std::string& name, ErrorCode code, const std::string& message);
    static Reply document(const nlohmann::json& doc);
    static Reply text(std::string body);
};

}  // namespace oscsim
