// Exchanges with one camera: a single call, and one queued request as a
// dispatcher job (sent, the answer shaped and delivered).
#pragma once

#include "client/camera_dispatcher.h"
#include "client/client_options.h"
#include "client/request.h"

namespace oscclient {

// Starts the call on the loop; `done` gets its outcome. A camera that asks
// for credentials gets the call once more with them, and every later call
// carries them from the start.
void send_to_camera(CameraLink& link, TransferLoop& loop, HttpCall call, TransferLoop::Done done);

CameraDispatcher::Job request_job(int port, Request request, const ClientOptions& options,
                                  Deliver deliver);

}  // namespace oscclient
