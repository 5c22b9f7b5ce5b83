// The answers our client library hands to the handler for one forced
// settings refresh and one setter, recorded from a simulated camera.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace bench {

// {"refresh": [{"command", "answer"}...], "setter": {"command", "answer"}}.
// Loads and destroys a handler over the client library in client_dir.
nlohmann::json capture_answers(const std::string& client_dir);

}  // namespace bench
