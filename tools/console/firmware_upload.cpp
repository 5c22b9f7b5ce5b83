#include "tools/console/firmware_upload.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>

namespace osconsole {

namespace {

constexpr std::size_t kMaxField = 64 * 1024;
constexpr std::size_t kMaxName = 100;
// The client uploads the image under this name whatever the file is called.
constexpr const char* kImageName = "update.img";

bool is_script_part(const std::string& name) {
    return std::find(std::begin(FirmwareUpload::kScriptParts),
                     std::end(FirmwareUpload::kScriptParts),
                     name) != std::end(FirmwareUpload::kScriptParts);
}

}  // namespace

std::string safe_file_name(const std::string& given, const std::string& fallback) {
    std::string name = given.substr(given.find_last_of("/\\") + 1);
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '-' && c != '_')
            c = '_';
    name.erase(0, name.find_first_not_of('.'));
    name.resize(std::min(name.size(), kMaxName));
    return name.empty() ? fallback : name;
}

FirmwareUpload::FirmwareUpload(std::uint64_t limit_bytes) : limit_(limit_bytes) {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/osc-console-XXXXXX";
    if (mkdtemp(pattern.data()))
        directory_ = pattern;
    else
        fail(500, std::string("cannot make a directory for the upload: ") + std::strerror(errno));
}

FirmwareUpload::~FirmwareUpload() {
    file_.close();
    std::error_code error;
    if (!directory_.empty()) std::filesystem::remove_all(directory_, error);
}

void FirmwareUpload::fail(int status, const std::string& message) {
    if (!problem_) problem_ = ActionOutcome{status, message, ""};
    discard_files();
}

void FirmwareUpload::discard_files() {
    file_.close();
    std::error_code error;
    for (const auto& [part, path] : paths_)
        std::filesystem::remove_all(std::filesystem::path(path).parent_path(), error);
    paths_.clear();
}

bool FirmwareUpload::begin_part(const std::string& name, const std::string& file_name) {
    file_.close();
    part_ = name;
    if (problem_ || name == kCamerasPart) return true;
    const bool image = name == kImagePart;
    if (!image && !is_script_part(name)) {
        fail(400, "the upload has a part \"" + name + "\" that a rollout does not take");
        return true;
    }
    // A file input left empty still sends its part, without a name.
    if (file_name.empty()) {
        part_.clear();
        return true;
    }
    const std::string folder = directory_ + "/" + name;
    const std::string path = folder + "/" + (image ? kImageName : safe_file_name(file_name, name));
    if (paths_.count(name) || mkdir(folder.c_str(), 0700) != 0) {
        fail(400, "the upload holds " + name + " twice");
        return true;
    }
    file_.open(path, std::ios::binary | std::ios::trunc);
    if (!file_) fail(500, "cannot store " + name + " in " + directory_);
    paths_[name] = path;
    return true;
}

bool FirmwareUpload::write(const char* data, std::size_t size) {
    if (problem_ || part_.empty()) return true;
    if (!file_.is_open()) {
        std::string& text = fields_[part_];
        if (text.size() + size > kMaxField)
            fail(400, part_ + " is longer than " + std::to_string(kMaxField) + " bytes");
        else
            text.append(data, size);
        return true;
    }
    stored_ += size;
    if (stored_ > limit_) {
        fail(413, "the files are larger than this console takes (" +
                      std::to_string(limit_ / (1024 * 1024)) + " MiB, --max-upload-mb)");
        return true;
    }
    if (!file_.write(data, static_cast<std::streamsize>(size)))
        fail(500, "cannot store " + part_ + " in " + directory_ + " (disk full?)");
    return true;
}

void FirmwareUpload::finish() {
    if (file_.is_open()) {
        file_.close();
        if (file_.fail() && !problem_) fail(500, "cannot store " + part_ + " in " + directory_);
    }
    if (problem_) return;
    for (const auto& [part, path] : paths_) {
        std::error_code error;
        if (std::filesystem::file_size(path, error) == 0)
            return fail(400,
                        part + " " + std::filesystem::path(path).filename().string() + " is empty");
    }
    const auto scripts = std::count_if(paths_.begin(), paths_.end(),
                                       [](const auto& p) { return is_script_part(p.first); });
    if (scripts != 0 && scripts != 3)
        return fail(400, "the AST1230 update needs its script and both files");
    if (paths_.empty())
        return fail(400, "choose the AST1220 image and/or the AST1230 script and its two files");
}

FirmwareFiles FirmwareUpload::files() const {
    FirmwareFiles files;
    if (const auto image = paths_.find(kImagePart); image != paths_.end())
        files.ast1220 = image->second;
    for (const char* part : kScriptParts)
        if (const auto file = paths_.find(part); file != paths_.end())
            files.ast1230.push_back(file->second);
    return files;
}

std::string FirmwareUpload::field(const std::string& name) const {
    const auto found = fields_.find(name);
    return found == fields_.end() ? "" : found->second;
}

}  // namespace osconsole
