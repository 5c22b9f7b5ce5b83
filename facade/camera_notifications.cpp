// The two documents that report a camera's record to the host.
#include "facade/oscapi_handler.h"
#include "model/parameter_report.h"
#include "model/roi_report.h"

void OSCAPIHANDLER::_notify_camera_parameters(const char* ip) {
    const std::string key(ip);
    CAM_PARAM snapshot;
    if (CameraEntryPtr camera = _find_camera(key)) snapshot = camera->snapshot();
    // "got_param" comes from the live entry, which this lookup creates when the
    // camera is unknown; the entry gets its worker on the next command.
    const bool got_param =
        _find_or_insert_camera(key)->read([](const CAM_PARAM& r) { return r.got_param; });
    CameraParamCallback callback = m_cbCameraParam.load();
    if (callback == nullptr) return;
    const std::string document = model::parameter_document(snapshot, got_param);
    callback(ip, document.c_str());
}

void OSCAPIHANDLER::_notify_camera_rois(const char* ip) {
    CAM_PARAM snapshot;
    if (CameraEntryPtr camera = _find_camera(ip)) snapshot = camera->snapshot();
    CommandResultCallback callback = m_cbCommandResult.load();
    if (callback == nullptr) return;
    const std::string document = model::roi_document(snapshot);
    callback(ip, "GetROI", true, document.c_str());
}
