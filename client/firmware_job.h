// Firmware updates: upload the files, start the camera's update script and
// relay its output lines until the last one.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "client/camera_dispatcher.h"
#include "client/client_options.h"

namespace oscclient {

struct FirmwareUpload {
    std::string path;         // local file
    std::string stored_name;  // name on the camera
};

struct FirmwarePlan {
    std::string func;  // camera-side name in failure documents
    std::vector<FirmwareUpload> uploads;
    nlohmann::json update;  // parameters of camera._update
};

FirmwarePlan plan_1220(const std::string& image);
// `model` is the module part number, e.g. "Q07261".
FirmwarePlan plan_1230(const std::string& func, const std::string& model,
                       const std::vector<std::string>& files);
FirmwarePlan plan_all(const std::string& image, const std::vector<std::string>& files);

// Uploads the files one after the other, then runs the update and relays
// its lines; each step starts from the answer to the one before.
CameraDispatcher::Job firmware_job(int port, FirmwarePlan plan, const ClientOptions& options,
                                   Deliver deliver);

}  // namespace oscclient
