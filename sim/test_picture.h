// The camera's picture: an equirectangular test pattern with a grid every 10
// and 30 degrees, the camera's name and its brightness and contrast applied,
// so that regions of interest drawn over it can be checked by eye.
#pragma once

#include <mutex>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace oscsim {

constexpr int kPictureWidth = 1920;  // 360 degrees
constexpr int kPictureHeight = 960;  // 180 degrees

struct PictureSettings {
    std::string camera_name;
    int brightness = 50, brightness_min = 0, brightness_max = 100;
    int contrast = 50, contrast_min = 0, contrast_max = 100;

    bool operator==(const PictureSettings& other) const;
};

// What the picture shows of the camera's option set.
PictureSettings picture_settings(const nlohmann::json& options);

// The JPEG file; empty when the encoder fails.
std::string render_test_picture(const PictureSettings& settings);

// Keeps the last picture: rendering and encoding take tens of milliseconds,
// so a picture is made again only when the settings have changed.
class PictureCache {
public:
    std::string jpeg(const PictureSettings& settings);

private:
    std::mutex mutex_;
    std::optional<PictureSettings> settings_;
    std::string jpeg_;
};

}  // namespace oscsim
