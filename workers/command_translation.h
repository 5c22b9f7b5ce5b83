// The closed vocabulary of queued command names and the client request each
// one becomes, with its arguments read from the camera's record at send time.
#pragma once

#include <string_view>

#include "IVeskOSC_Tendra.h"
#include "workers/camera_entry.h"

// What the worker does after sending, so the camera can settle.
enum class PauseAfter { None, Reboot, Ports, Syslog };

struct SendContext {
    IVeskOSC_Tendra& client;
    const char* ip;
    int port;  // the port queued with the command
    CameraEntry& camera;
};

// Makes the one client call that `name` stands for. A name outside the
// vocabulary sends nothing.
PauseAfter send_queued_command(std::string_view name, const SendContext& context);
