// During a firmware update the client library forwards the camera's update
// script output and upload confirmations as plain texts, not JSON documents.
#include <algorithm>
#include <iterator>
#include <string_view>

#include "IVeskOSCTexts.h"
#include "responses/json_read.h"
#include "responses/parsers.h"

namespace responses {
namespace {

using std::string_view;

struct StepFailure {
    string_view found;
    const char* message;
};

// Several may match one line; all are reported, in this order.
constexpr StepFailure kStepFailures[] = {
    {"not found", "File not found error."},
    {"Old Version of HW", "HW version too old."},
    {"Wrong camera ast1235 module detected, expected Q07261.",
     "ast1235 module mismatched, expected Q07261."},
    {"Wrong camera ast1235 module detected, expected Q04932 or Q04937.",
     "ast1235 module mismatched, expected Q04932 or Q04937."},
    {"Upload Failed", "File upload failed."},
};

struct UploadConfirmation {
    string_view text;
    bool firmware_image;
};

// Not valid JSON (the file name is unquoted), so compared byte for byte.
constexpr UploadConfirmation kUploadConfirmations[] = {
    {R"({"name": "camera.uploadfile","func": "UploadFile","results": {"options": {"uploadfile": update.img}},"state": "done"})",
     true},
    {R"({"name": "camera.uploadfile","func": "UploadFile","results": {"options": {"uploadfile": ast_update_1230_7261.sh}},"state": "done"})",
     false},
    {R"({"name": "camera.uploadfile","func": "UploadFile","results": {"options": {"uploadfile": ast_update_1230_6127.sh}},"state": "done"})",
     false},
    {R"({"name": "camera.uploadfile","func": "UploadFile","results": {"options": {"uploadfile": ast_update_1230_4932.sh}},"state": "done"})",
     false},
    {R"({"name": "camera.uploadfile","func": "UploadFile","results": {"options": {"uploadfile": ast_update.sh}},"state": "done"})",
     false},
};

constexpr int kUpdateDone = 100;

void report_update_message(ResponseSink& sink, const std::string& text, std::size_t) {
    sink.progress(text, 0);
}

void report_step_failures(ResponseSink& sink, const std::string& text, std::size_t) {
    for (const auto& failure : kStepFailures) {
        if (text.find(failure.found) != std::string::npos) {
            sink.result("UpdateFirmwareAll", false, failure.message);
        }
    }
}

bool is_update_status_document(const json& doc) {
    const std::string* name = find_string(doc, "name");
    if (name == nullptr || *name != "camera.getOptions") return false;
    const json* results = find_member(doc, "results");
    if (results == nullptr || !results->is_object()) return false;
    const json* options = find_member(*results, "options");
    return options != nullptr && options->is_object() && options->contains("_updateStatus");
}

void read_updating_line(ResponseSink& sink, const std::string& text, std::size_t marker_at) {
    // Both spellings of the marker are 13 characters, followed by one separator.
    const std::size_t tail_at = marker_at + string_view("[FW updating]").size() + 1;
    if (text.size() <= tail_at) return;
    const std::string tail = text.substr(tail_at);
    sink.log(tail);
    if (tail.find("_updateStatus") == std::string::npos) return;
    const json doc = json::parse(tail);
    if (!is_update_status_document(doc)) return;
    report_update_status(sink, doc.at("results").at("options").at("_updateStatus"), true);
}

void finish_update(ResponseSink& sink, const std::string& text, std::size_t) {
    sink.update([](CAM_PARAM& camera) { camera.update_progress = kUpdateDone; });
    sink.progress(text, kUpdateDone);
}

void confirm_upload(ResponseSink& sink, const std::string& text, std::size_t) {
    const auto confirmation =
        std::find_if(std::begin(kUploadConfirmations), std::end(kUploadConfirmations),
                     [&text](const UploadConfirmation& c) { return c.text == text; });
    if (confirmation != std::end(kUploadConfirmations)) {
        sink.upload_confirmed(confirmation->firmware_image);
    }
}

struct FirmwareRule {
    string_view marker;
    void (*handle)(ResponseSink&, const std::string& text, std::size_t marker_at);
};

// The first rule whose marker occurs anywhere in the text handles it.
// clang-format off
constexpr FirmwareRule kFirmwareRules[] = {
    {"[Fw Update Msg]", report_update_message},
    {"[FW update next]", report_step_failures},
    {"[FW updating]", read_updating_line},
    {"[FW Updating]", read_updating_line},
    {osc_texts::kFirmwareUpdateEnd, finish_update},
    {R"({"name": "camera.uploadfile")", confirm_upload},
};
// clang-format on

}  // namespace

bool read_firmware_text(ResponseSink& sink, const std::string& text) {
    for (const auto& rule : kFirmwareRules) {
        const auto marker_at = text.find(rule.marker);
        if (marker_at != std::string::npos) {
            rule.handle(sink, text, marker_at);
            return true;
        }
    }
    return false;
}

void report_update_status(ResponseSink& sink, const json& status, bool store_progress) {
    const int progress = read_int(status.at("progress"));
    if (store_progress) {
        sink.update([progress](CAM_PARAM& camera) { camera.update_progress = progress; });
    }
    std::string target;
    if (const json* value = find_member(status, "target")) {
        if (value->is_number_integer()) {
            target = value->dump();
        } else if (value->is_string()) {
            target = read_string(*value);
        }
    }
    sink.progress(target + " : " + read_string(status.at("description")), progress);
}

}  // namespace responses
