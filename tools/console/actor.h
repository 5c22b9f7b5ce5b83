// Who asks the console for something: the role its token gives it, and the
// address it came from (for the audit log).
#pragma once

#include <string>

namespace osconsole {

enum class Role { Operator, Viewer };

struct Actor {
    Role role;
    std::string remote;
};

}  // namespace osconsole
