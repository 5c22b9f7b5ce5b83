#include "tools/console/thumbnail.h"

#include <turbojpeg.h>

#include <vector>

namespace osconsole {

namespace {

constexpr int kQuality = 75;

// One handle per call: the fetcher makes a thumbnail every few seconds at most.
struct Handle {
    tjhandle handle;
    explicit Handle(tjhandle h) : handle(h) {}
    ~Handle() {
        if (handle) tjDestroy(handle);
    }
};

}  // namespace

std::shared_ptr<const std::string> make_thumbnail(const std::string& jpeg) {
    const auto* data = reinterpret_cast<const unsigned char*>(jpeg.data());
    Handle decoder(tjInitDecompress());
    int width = 0, height = 0, subsampling = 0, colours = 0;
    if (!decoder.handle || tjDecompressHeader3(decoder.handle, data, jpeg.size(), &width, &height,
                                               &subsampling, &colours) != 0)
        return nullptr;
    // The largest scale that fits; the smallest the decoder has otherwise.
    int count = 0;
    const tjscalingfactor* factors = tjGetScalingFactors(&count);
    if (!factors || count <= 0) return nullptr;
    int fit = -1, smallest = 0;
    for (int i = 0; i < count; ++i) {
        const int w = TJSCALED(width, factors[i]);
        if (w <= kThumbnailWidth && (fit < 0 || w > TJSCALED(width, factors[fit]))) fit = i;
        if (w < TJSCALED(width, factors[smallest])) smallest = i;
    }
    const tjscalingfactor scale = factors[fit >= 0 ? fit : smallest];
    const int scaled_width = TJSCALED(width, scale), scaled_height = TJSCALED(height, scale);
    std::vector<unsigned char> pixels(static_cast<std::size_t>(scaled_width) * scaled_height * 3);
    if (tjDecompress2(decoder.handle, data, jpeg.size(), pixels.data(), scaled_width, 0,
                      scaled_height, TJPF_RGB, TJFLAG_FASTDCT) != 0)
        return nullptr;
    Handle encoder(tjInitCompress());
    unsigned char* out = nullptr;
    unsigned long size = 0;
    if (!encoder.handle ||
        tjCompress2(encoder.handle, pixels.data(), scaled_width, 0, scaled_height, TJPF_RGB, &out,
                    &size, TJSAMP_420, kQuality, TJFLAG_FASTDCT) != 0) {
        tjFree(out);
        return nullptr;
    }
    auto thumbnail = std::make_shared<const std::string>(reinterpret_cast<char*>(out), size);
    tjFree(out);
    return thumbnail;
}

}  // namespace osconsole
