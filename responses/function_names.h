// The camera reports a command by its own function name ("func"); the host
// knows the exported function it called. These map one to the other.
#pragma once

#include <string_view>

namespace responses {

// For failure documents. Unknown names map to "".
const char* failure_function_name(std::string_view func);

// For "camera.setOptions" acknowledgements; fewer rows than the failure
// table, so e.g. "GetImrxMode" is acknowledged under "". Unknown names map to "".
const char* acknowledged_function_name(std::string_view func);

}  // namespace responses
