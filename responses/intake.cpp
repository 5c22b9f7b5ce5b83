// Every answer of the client library enters here, on its thread: logged,
// failures reported, results parsed, and, last, the camera's worker released
// to send its next command.
#include <exception>
#include <string>

#include <nlohmann/json.hpp>

#include "facade/oscapi_handler.h"
#include "responses/function_names.h"
#include "responses/handler_response_sink.h"
#include "responses/parse_answer.h"

using osc_texts::kRequestException;

void OSCAPIHANDLER::_on_receive_osccallback(const char* response, const char* ip, int error) {
    if (ip == nullptr) {
        _put_log("response without camera ip dropped");
        return;
    }
    const std::string ip_copy(ip);
    const char* text = response != nullptr ? response : "";
    int slot = -1;
    try {
        _put_log(osc_texts::kLogAnswerFrom + ip_copy);
        _ensure_camera_entry_exits(ip, kDefaultHttpPort);
        CameraEntryPtr camera = _find_camera(ip_copy);
        if (camera) slot = camera->read([](const CAM_PARAM& r) { return r.slot_index; });
        if (slot >= 0 && m_workerRunning[slot]) {
            if (error != 0) {
                _handle_failed_request(text, ip_copy, *camera, slot);
            } else {
                _put_log(osc_texts::kLogAnswerText + std::string(text));
                _parse_osc_response(text, ip, ip_copy);
            }
        }
    } catch (const std::exception& e) {
        _put_log(osc_texts::kLogNotHandledPrefix + ip_copy + osc_texts::kLogNotHandled + ": " +
                 e.what());
    } catch (...) {
        _put_log(osc_texts::kLogNotHandledPrefix + ip_copy + osc_texts::kLogNotHandled);
    }
    // Always last: the next command goes out only after this answer is done.
    if (slot >= 0) m_cmdReady[slot] = true;
}

void OSCAPIHANDLER::_handle_failed_request(const char* response, const std::string& ip,
                                           CameraEntry& camera, int slot) {
    _put_log(osc_texts::kLogFailure + std::string(response));
    const nlohmann::json failure = nlohmann::json::parse(response);
    if (!failure.is_object()) return;

    const auto name = failure.find("name");
    if (name != failure.end() && name->is_string()) {
        const RebootStateCallback reboot_state = m_cbRebootState.load();
        const CommandResultCallback result = m_cbCommandResult.load();
        if (*name == "reboot" && reboot_state != nullptr) {
            reboot_state(ip.c_str(), false);
        } else if (*name == "camera._getLivePreview" && result != nullptr) {
            result(ip.c_str(), "StartStreaming", false, "Failed");
        }
    }

    const auto func = failure.find("func");
    if (func != failure.end() && func->is_string()) {
        const std::string reason = failure.at("reason").get<std::string>();
        const char* function =
            responses::failure_function_name(func->get_ref<const std::string&>());
        if (CommandResultCallback result = m_cbCommandResult.load()) {
            result(ip.c_str(), function, false, reason.c_str());
        }
        // The camera could not be reached: drop what is queued for it.
        if (reason == kRequestException) {
            m_skipAll[slot] = true;
            camera.update([](CAM_PARAM& r) { r.got_param = false; });
        }
    }
}

void OSCAPIHANDLER::_parse_osc_response(const char* response, const char* ip, std::string ip_copy) {
    (void)ip;  // the copy keys the camera map; both name the same camera
    CameraEntryPtr camera = _find_camera(ip_copy);
    if (!camera) return;
    const int slot = camera->read([](const CAM_PARAM& r) { return r.slot_index; });
    HandlerResponseSink sink(*this, std::move(ip_copy), std::move(camera), slot);
    responses::parse_answer(sink, response);
}
