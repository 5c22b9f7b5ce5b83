#include "sim/test_picture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include <turbojpeg.h>

#include "sim/bitmap_font.h"

namespace oscsim {

namespace {

constexpr double kPi = 3.14159265358979323846;

int column_of(int longitude) {
    return longitude * kPictureWidth / 360;
}

int row_of(int colatitude) {
    return colatitude * kPictureHeight / 180;
}
constexpr int kJpegQuality = 85;

struct Rgb {
    double r, g, b;
};

Rgb mix(const Rgb& a, const Rgb& b, double t) {
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

unsigned char to_byte(double v) {
    return static_cast<unsigned char>(std::lround(std::clamp(v, 0.0, 255.0)));
}

// Packed RGB, the layout the encoder takes.
class Canvas {
public:
    Canvas() : bytes_(static_cast<std::size_t>(kPictureWidth) * kPictureHeight * 3) {}

    Rgb get(int x, int y) const {
        const unsigned char* p = &bytes_[offset(x, y)];
        return {static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2])};
    }

    void set(int x, int y, const Rgb& c) {
        unsigned char* p = &bytes_[offset(x, y)];
        p[0] = to_byte(c.r);
        p[1] = to_byte(c.g);
        p[2] = to_byte(c.b);
    }

    void blend_rect(int x0, int y0, int w, int h, const Rgb& colour, double alpha) {
        for (int y = std::max(0, y0); y < std::min(kPictureHeight, y0 + h); ++y)
            for (int x = std::max(0, x0); x < std::min(kPictureWidth, x0 + w); ++x)
                set(x, y, mix(get(x, y), colour, alpha));
    }

    static int text_width(const std::string& text, int scale) {
        return static_cast<int>(text.size()) * (kGlyphWidth + 1) * scale - scale;
    }

    void text(int x, int y, int scale, const std::string& text, const Rgb& colour) {
        for (const char c : text) {
            const auto& rows = glyph(c);
            for (int row = 0; row < kGlyphHeight; ++row)
                for (int col = 0; col < kGlyphWidth; ++col)
                    if (rows[row] & (0x10 >> col))
                        blend_rect(x + col * scale, y + row * scale, scale, scale, colour, 1.0);
            x += (kGlyphWidth + 1) * scale;
        }
    }

    // A label on a light plate, centred on (cx, y).
    void label(int cx, int y, int scale, const std::string& text) {
        const int w = text_width(text, scale);
        blend_rect(cx - w / 2 - scale * 2, y - scale * 2, w + scale * 4, (kGlyphHeight + 4) * scale,
                   {250, 250, 250}, 0.75);
        this->text(cx - w / 2, y, scale, text, {20, 20, 30});
    }

    std::vector<unsigned char>& bytes() { return bytes_; }

private:
    static std::size_t offset(int x, int y) {
        return (static_cast<std::size_t>(y) * kPictureWidth + x) * 3;
    }

    std::vector<unsigned char> bytes_;
};

// Sky above the horizon, ground below, tinted by longitude so that every
// region of the panorama has a colour of its own.
Rgb scene(int x, int y) {
    const double longitude = (x + 0.5) / kPictureWidth * 2 * kPi;
    const double latitude = 0.5 - (y + 0.5) / kPictureHeight;  // +0.5 zenith .. -0.5 nadir
    const Rgb base = latitude > 0 ? mix({205, 222, 235}, {60, 110, 190}, latitude * 2)
                                  : mix({160, 150, 115}, {60, 75, 45}, -latitude * 2);
    constexpr double kTint = 28;
    return {base.r + kTint * std::cos(longitude),
            base.g + kTint * std::cos(longitude - 2 * kPi / 3),
            base.b + kTint * std::cos(longitude + 2 * kPi / 3)};
}

void draw_grid(Canvas& canvas) {
    const Rgb minor{70, 70, 70}, major{25, 25, 25}, equator{200, 30, 30};
    for (int degrees = 0; degrees < 360; degrees += 10) {
        const bool is_major = degrees % 30 == 0;
        canvas.blend_rect(column_of(degrees) - (is_major ? 1 : 0), 0, is_major ? 3 : 1,
                          kPictureHeight, is_major ? major : minor, is_major ? 0.9 : 0.5);
    }
    for (int degrees = 10; degrees < 180; degrees += 10) {
        const bool is_major = degrees % 30 == 0;
        const bool is_equator = degrees == 90;
        canvas.blend_rect(0, row_of(degrees) - (is_major ? 1 : 0), kPictureWidth, is_major ? 3 : 1,
                          is_equator ? equator : (is_major ? major : minor), is_major ? 0.9 : 0.5);
    }
    for (int degrees = 0; degrees < 360; degrees += 30)
        canvas.text(column_of(degrees) + 6, kPictureHeight / 2 + 8, 3, std::to_string(degrees),
                    {15, 15, 15});
    for (const int latitude : {60, 30, -30, -60})
        canvas.text(6, row_of(90 - latitude) + 8, 3, std::to_string(latitude), {15, 15, 15});
}

// 0..1 across the advertised range, 0.5 where the range has no width.
double normalised(int value, int min, int max) {
    if (max <= min) return 0.5;
    return std::clamp(static_cast<double>(value - min) / (max - min), 0.0, 1.0);
}

// The middle of the range leaves the picture as it is.
void apply_brightness_contrast(Canvas& canvas, const PictureSettings& s) {
    const double offset =
        (normalised(s.brightness, s.brightness_min, s.brightness_max) - 0.5) * 200;
    const double gain =
        std::pow(2.0, (normalised(s.contrast, s.contrast_min, s.contrast_max) - 0.5) * 3);
    unsigned char table[256];
    for (int v = 0; v < 256; ++v) table[v] = to_byte((v - 128) * gain + 128 + offset);
    for (unsigned char& byte : canvas.bytes()) byte = table[byte];
}

std::string encode_jpeg(const std::vector<unsigned char>& rgb) {
    const std::unique_ptr<void, int (*)(tjhandle)> encoder(tjInitCompress(), tjDestroy);
    if (!encoder) return {};
    unsigned char* out = nullptr;
    unsigned long size = 0;
    const int failed = tjCompress2(encoder.get(), rgb.data(), kPictureWidth, 0, kPictureHeight,
                                   TJPF_RGB, &out, &size, TJSAMP_420, kJpegQuality, TJFLAG_FASTDCT);
    std::string jpeg;
    if (failed == 0) jpeg.assign(reinterpret_cast<const char*>(out), size);
    tjFree(out);
    return jpeg;
}

int int_option(const nlohmann::json& options, const char* key, const char* member, int fallback) {
    const auto found = options.find(key);
    if (found == options.end()) return fallback;
    const nlohmann::json& value = member ? found->value(member, nlohmann::json()) : *found;
    return value.is_number_integer() ? value.get<int>() : fallback;
}

}  // namespace

bool PictureSettings::operator==(const PictureSettings& o) const {
    return camera_name == o.camera_name && brightness == o.brightness &&
           brightness_min == o.brightness_min && brightness_max == o.brightness_max &&
           contrast == o.contrast && contrast_min == o.contrast_min &&
           contrast_max == o.contrast_max;
}

PictureSettings picture_settings(const nlohmann::json& options) {
    PictureSettings s;
    const auto name = options.find("_cameraName");
    if (name != options.end() && name->is_string()) s.camera_name = name->get<std::string>();
    s.brightness = int_option(options, "_brightness", nullptr, s.brightness);
    s.brightness_min = int_option(options, "_brightnessSupport", "min", s.brightness_min);
    s.brightness_max = int_option(options, "_brightnessSupport", "max", s.brightness_max);
    s.contrast = int_option(options, "_contrast", nullptr, s.contrast);
    s.contrast_min = int_option(options, "_contrastSupport", "min", s.contrast_min);
    s.contrast_max = int_option(options, "_contrastSupport", "max", s.contrast_max);
    return s;
}

std::string render_test_picture(const PictureSettings& settings) {
    Canvas canvas;
    for (int y = 0; y < kPictureHeight; ++y)
        for (int x = 0; x < kPictureWidth; ++x) canvas.set(x, y, scene(x, y));
    draw_grid(canvas);
    const std::string values = "BRIGHTNESS " + std::to_string(settings.brightness) + "  CONTRAST " +
                               std::to_string(settings.contrast);
    // Once in each half, so that a region over either half shows whose picture it is.
    for (const int centre : {kPictureWidth / 4, kPictureWidth * 3 / 4}) {
        canvas.label(centre, kPictureHeight / 2 - 200, 12, settings.camera_name);
        canvas.label(centre, kPictureHeight / 2 - 80, 4, values);
    }
    apply_brightness_contrast(canvas, settings);
    return encode_jpeg(canvas.bytes());
}

std::string PictureCache::jpeg(const PictureSettings& settings) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!settings_ || !(*settings_ == settings)) {
        jpeg_ = render_test_picture(settings);
        settings_ = settings;
    }
    return jpeg_;
}

}  // namespace oscsim
