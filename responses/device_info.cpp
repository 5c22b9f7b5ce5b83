// Identity members may ride on any document; a "serialNumber" marks the
// device information reply itself.
#include <algorithm>
#include <iterator>
#include <string_view>

#include "responses/json_read.h"
#include "responses/parsers.h"

namespace responses {
namespace {

struct IdentityMember {
    const char* key;
    std::string CAM_PARAM::*field;
};

// "manufaturer" is the firmware's own spelling.
constexpr IdentityMember kIdentityMembers[] = {
    {"manufaturer", &CAM_PARAM::manufacturer},
    {"_chipId", &CAM_PARAM::chipid},
    {"model", &CAM_PARAM::model},
};

struct OemVersionQuery {
    std::string_view model;
    const char* cmdline;
};

// Models whose OEM firmware version is only available from the command line.
constexpr OemVersionQuery kOemVersionQueries[] = {
    {"M3VX27164", "ast_param g version:ruvo:version"},
    {"R58Q306.00", "ast_param g version:all_firmware:version"},
};

void store_identity(ResponseSink& sink, const json& doc) {
    const std::string* values[std::size(kIdentityMembers)];
    bool any = false;
    for (std::size_t i = 0; i < std::size(kIdentityMembers); ++i) {
        values[i] = find_string(doc, kIdentityMembers[i].key);
        any = any || values[i] != nullptr;
    }
    if (!any) return;
    sink.update([&values](CAM_PARAM& camera) {
        for (std::size_t i = 0; i < std::size(kIdentityMembers); ++i) {
            if (values[i] != nullptr) camera.*kIdentityMembers[i].field = *values[i];
        }
    });
}

void ask_oem_version(ResponseSink& sink, const std::string& model) {
    const auto query =
        std::find_if(std::begin(kOemVersionQueries), std::end(kOemVersionQueries),
                     [&model](const OemVersionQuery& q) { return q.model == model; });
    if (query == std::end(kOemVersionQueries)) return;
    sink.queue("SendCmdLine", [&query](CAM_PARAM& camera) {
        camera.oem_version_pending = true;
        camera.cmdline = query->cmdline;
    });
}

}  // namespace

bool read_device_information(ResponseSink& sink, const json& doc) {
    store_identity(sink, doc);
    if (const std::string* model = find_string(doc, "model")) ask_oem_version(sink, *model);
    const std::string* serial = find_string(doc, "serialNumber");
    if (serial == nullptr) return false;
    sink.update([serial](CAM_PARAM& camera) { camera.serial = *serial; });
    return true;
}

}  // namespace responses
