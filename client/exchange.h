// Performs one queued request against its camera and delivers the answer.
#pragma once

#include "client/camera_link.h"
#include "client/client_options.h"
#include "client/request.h"

namespace oscclient {

void run_request(CameraLink& link, int port, const Request& request, const ClientOptions& options,
                 const Deliver& deliver);

}  // namespace oscclient
