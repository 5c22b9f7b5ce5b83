#include "sim/upload_receiver.h"

#include <algorithm>

namespace oscsim {

namespace {

// Longer command parts are cut: no command name is anywhere near as long.
constexpr std::size_t kMaxCommand = 256;

}  // namespace

void UploadReceiver::begin_part(const std::string& name, const std::string& filename) {
    part_ = Part::Other;
    if (name == "name") {
        part_ = Part::Command;
    } else if (name == "file" && stored_name_.empty() && !filename.empty()) {
        part_ = Part::File;
        stored_name_ = filename;
    }
}

void UploadReceiver::add(const char* data, std::size_t size) {
    if (part_ == Part::Command && command_.size() < kMaxCommand) {
        command_.append(data, std::min(size, kMaxCommand - command_.size()));
    } else if (part_ == Part::File) {
        size_ += size;
        digest_.add(data, size);
    }
}

StoredFile UploadReceiver::file() {
    return {size_, digest_.hex()};
}

}  // namespace oscsim
