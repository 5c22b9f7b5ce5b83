// A 5x7 pixel font for the labels of the simulator's test picture: capital
// letters, digits and a little punctuation (lower case is drawn as capitals).
#pragma once

#include <array>
#include <cstdint>

namespace oscsim {

constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;

// One row per element, the leftmost pixel in bit 4. Unknown characters get '?'.
const std::array<std::uint8_t, kGlyphHeight>& glyph(char c);

}  // namespace oscsim
