// The answer parsers straight, without a handler, and the parameter and ROI
// documents built from whatever record they leave behind. The fastest target.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

#include "model/parameter_report.h"
#include "model/roi_report.h"
#include "responses/parse_answer.h"
#include "responses/response_sink.h"

namespace {

// Keeps the record and builds the reports when asked, as the handler does.
class RecordSink final : public ResponseSink {
public:
    CAM_PARAM camera;
    bool rois_requested = false;

    const std::string& ip() const override { return ip_; }
    void update(const RecordEdit& edit) override { edit(camera); }
    void queue(const char*, const RecordEdit& edit) override {
        if (edit) edit(camera);
    }
    bool has_result_callback() const override { return true; }
    void result(const char*, bool, const std::string&) override {}
    void health(bool, float, float, bool, int) override {}
    void reboot_state(bool) override {}
    void upload_confirmed(bool) override {}
    void progress(const std::string&, int) override {}
    void notify_parameters() override {
        parameter_bytes += model::parameter_document(camera, true).size();
    }
    void notify_rois() override { roi_bytes += model::roi_document(camera).size(); }
    bool roi_requested() const override { return rois_requested; }
    void log(const std::string&) override {}

    std::size_t parameter_bytes = 0;
    std::size_t roi_bytes = 0;

private:
    std::string ip_ = "10.3.0.1";
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    RecordSink sink;
    sink.rois_requested = (data[0] & 1) != 0;
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    try {
        responses::parse_answer(sink, text);
    } catch (const std::exception&) {
        // Malformed answers throw by design; the intake logs them.
    }
    // Reports from whatever was stored, even after a failed parse.
    try {
        sink.notify_parameters();
        sink.notify_rois();
    } catch (const std::exception&) {
        // parameter_document may legitimately reject text the camera sent
        // that is not valid UTF-8; the handler logs that.
    }
    return 0;
}
