// Who asks the console to act on a camera: every action carries it, so that
// the rules (and the audit) know the role and where the request came from.
#pragma once

#include <string>

namespace osconsole {

enum class Role { Operator, Viewer };

struct Actor {
    Role role = Role::Operator;
    std::string remote;  // the peer's address as the server saw it
};

}  // namespace osconsole
