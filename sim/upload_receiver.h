// A multipart file upload read as it arrives: the command part is kept, the
// file only as its name, size and SHA-256, so that no image ever sits in
// memory however many cameras receive one at once.
#pragma once

#include <cstddef>
#include <string>

#include "sim/camera_state.h"
#include "sim/content_digest.h"

namespace oscsim {

class UploadReceiver {
public:
    // A part starts: "name" carries the command, "file" the file.
    void begin_part(const std::string& name, const std::string& filename);
    void add(const char* data, std::size_t size);

    const std::string& command() const { return command_; }
    // The file's name on the camera; empty when no file part came.
    const std::string& stored_name() const { return stored_name_; }
    StoredFile file();

private:
    enum class Part { Command, File, Other };
    Part part_ = Part::Other;
    std::string command_;
    std::string stored_name_;
    std::size_t size_ = 0;
    ContentDigest digest_{ContentDigest::Kind::Sha256};
};

}  // namespace oscsim
