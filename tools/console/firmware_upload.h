// A browser's firmware files, streamed from a multipart body into a private
// directory (made with mkdtemp, mode 0700) and stored once for every camera
// of a rollout. The console chooses the paths: a part's file name is only
// sanitised into the last component (an update script's name tells the
// camera which module it is for), never used as a path. Over the size limit
// nothing is kept. The directory goes with the object.
#pragma once

#include <cstdint>
#include <fstream>
#include <map>
#include <optional>
#include <string>

#include "tools/console/camera_actions.h"

namespace osconsole {

class FirmwareUpload {
public:
    // The form's parts: four files and the cameras, a comma-separated text.
    static constexpr const char* kImagePart = "ast1220";
    static constexpr const char* kScriptParts[] = {"ast1230_script", "ast1230_file2",
                                                   "ast1230_file3"};
    static constexpr const char* kCamerasPart = "cameras";

    explicit FirmwareUpload(std::uint64_t limit_bytes);
    ~FirmwareUpload();
    FirmwareUpload(const FirmwareUpload&) = delete;
    FirmwareUpload& operator=(const FirmwareUpload&) = delete;

    // The multipart reader's two callbacks. They keep reading to the end of
    // the body whatever happens, so that the refusal reaches the browser.
    bool begin_part(const std::string& name, const std::string& file_name);
    bool write(const char* data, std::size_t size);

    // After the body: closes the last file and checks the set.
    void finish();
    // Why the upload cannot be used (413 over the limit, 400 a part the form
    // does not have or an incomplete set, 500 the disk), or nothing.
    const std::optional<ActionOutcome>& problem() const { return problem_; }
    FirmwareFiles files() const;
    std::string field(const std::string& name) const;
    const std::string& directory() const { return directory_; }

private:
    void fail(int status, const std::string& message);
    void discard_files();

    const std::uint64_t limit_;
    std::string directory_;
    std::uint64_t stored_ = 0;
    std::map<std::string, std::string> paths_;   // part -> stored file
    std::map<std::string, std::string> fields_;  // text parts
    std::string part_;                           // the part being read
    std::ofstream file_;                         // open while a file part is read
    std::optional<ActionOutcome> problem_;
};

// The last component of `given`, with anything but letters, digits, '.', '-'
// and '_' replaced, no leading dot, at most 100 characters; `fallback` if
// nothing is left.
std::string safe_file_name(const std::string& given, const std::string& fallback);

}  // namespace osconsole
