// The camera's option set: defaults, the read-only members and the rules that
// decide whether a setOptions value is accepted.
#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace oscsim {

nlohmann::json default_options(int http_port, const std::string& camera_name);

// Applies one option to the set. Returns an error message when the option is
// unknown, read only or has a value the camera rejects; the set is then
// unchanged.
std::optional<std::string> apply_option(nlohmann::json& options, const std::string& key,
                                        const nlohmann::json& value);

// "qp(<min>,<max>);rc(<bit/s>,<gop>)" as the encoder reports it.
std::string encoder_settings(int bitrate_kbps, int gop);

}  // namespace oscsim
