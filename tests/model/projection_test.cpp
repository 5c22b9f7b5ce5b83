#include "model/projection.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace {

std::uint32_t bits_of(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

struct DegToRadCase {
    float degrees;
    std::uint32_t expected_bits;
};

void PrintTo(const DegToRadCase& c, std::ostream* os) {
    *os << c.degrees << " degrees";
}

class DegToRad : public ::testing::TestWithParam<DegToRadCase> {};

TEST_P(DegToRad, ReturnsExactBitPattern) {
    EXPECT_EQ(bits_of(_deg_to_rad(GetParam().degrees)), GetParam().expected_bits);
}

INSTANTIATE_TEST_SUITE_P(
    Angles, DegToRad,
    ::testing::Values(DegToRadCase{360.0f, 0x40C90FDBu},  // correctly rounded 2 pi
                      DegToRadCase{180.0f, 0x40490FDBu},  // correctly rounded pi
                      DegToRadCase{90.0f, 0x3FC90FDBu},
                      // deg * (pi / 180) would give ...39 and (deg / 180) * pi ...3B.
                      DegToRadCase{27.0f, 0x3EF1463Au}, DegToRadCase{0.0f, 0x00000000u},
                      DegToRadCase{-180.0f, 0xC0490FDBu}));

TEST(DegToRadSpecial, NinetyIsProductThenQuotient) {
    EXPECT_EQ(bits_of(_deg_to_rad(90.0f)), bits_of((3.1415927f * 90.0f) / 180.0f));
}

TEST(DegToRadSpecial, NanStaysNan) {
    EXPECT_TRUE(std::isnan(_deg_to_rad(std::numeric_limits<float>::quiet_NaN())));
}

struct Geometry {
    int srcW;
    int dstWidth;
    int dstHeight;
    int srcWidth;
    int srcHeight;
    float fovH;
    float fovV;
};

int source_height(const Geometry& g) {
    return _calc_src_size_perspective(g.srcW, g.dstWidth, g.dstHeight, g.srcWidth, g.srcHeight,
                                      g.fovH, g.fovV);
}

struct WorkedCase {
    const char* name;
    Geometry geometry;
    int expected;
};

void PrintTo(const WorkedCase& c, std::ostream* os) {
    *os << c.name;
}

class PerspectiveWorkedValues : public ::testing::TestWithParam<WorkedCase> {};

TEST_P(PerspectiveWorkedValues, MatchesHandComputedHeight) {
    EXPECT_EQ(source_height(GetParam().geometry), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, PerspectiveWorkedValues,
    ::testing::Values(
        WorkedCase{"QuarterOf360Into1080p", {960, 1920, 1080, 3840, 1920, 360, 180}, 626},
        WorkedCase{"SixthOf360Into720p", {640, 1280, 720, 3840, 1920, 360, 180}, 384},
        WorkedCase{"PartialFov", {1000, 1920, 1080, 4000, 2000, 200, 100}, 588},
        // Raw height 577.1 rounds to the odd 577; the low bit is cleared.
        WorkedCase{"OddRoundingCleared", {901, 1920, 1080, 3840, 1920, 360, 180}, 576},
        // Half of a 360-degree source lands on the tangent's pole; in single
        // precision the tangent is a large negative number.
        WorkedCase{"PoleIsNegative", {1920, 1920, 1080, 3840, 1920, 360, 180}, -1920},
        WorkedCase{"ZeroSpan", {0, 1920, 1080, 3840, 1920, 360, 180}, 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(PerspectiveGeometry, HeightsAreAlwaysEven) {
    for (int srcW = 1; srcW < 3840; srcW += 7) {
        const int height = source_height({srcW, 1920, 1080, 3840, 1920, 360, 180});
        EXPECT_EQ(height % 2, 0) << "srcW " << srcW;
    }
}

// An independent double-precision evaluation of the rectilinear geometry; the
// single-precision result may differ by rounding and the cleared low bit.
TEST(PerspectiveGeometry, AgreesWithDoublePrecisionGeometryBelowThePole) {
    const double pi = 3.14159265358979323846;
    for (int srcW = 50; srcW <= 1800; srcW += 50) {
        const double half_h = srcW * 2.0 * pi / (2.0 * 3840.0);
        const double half_v = std::atan(std::tan(half_h) * 720.0 / 1280.0);
        const double expected = 2.0 * 1920.0 * half_v / pi;
        EXPECT_NEAR(source_height({srcW, 1280, 720, 3840, 1920, 360, 180}), expected, 2.0)
            << "srcW " << srcW;
    }
}

TEST(PerspectiveGeometry, TallerOutputNeedsTallerSource) {
    const int wide = source_height({960, 1920, 1080, 3840, 1920, 360, 180});
    const int square = source_height({960, 1080, 1080, 3840, 1920, 360, 180});
    EXPECT_GT(square, wide);
}

struct DegenerateCase {
    const char* name;
    Geometry geometry;
};

void PrintTo(const DegenerateCase& c, std::ostream* os) {
    *os << c.name;
}

class PerspectiveDegenerate : public ::testing::TestWithParam<DegenerateCase> {};

TEST_P(PerspectiveDegenerate, ReturnsCallersFallback) {
    const Geometry& g = GetParam().geometry;
    EXPECT_EQ(_calc_src_size_perspective(g.srcW, g.dstWidth, g.dstHeight, g.srcWidth, g.srcHeight,
                                         g.fovH, g.fovV, 1234),
              1234);
}

TEST_P(PerspectiveDegenerate, SevenArgumentFormReturnsZero) {
    EXPECT_EQ(source_height(GetParam().geometry), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, PerspectiveDegenerate,
    ::testing::Values(
        DegenerateCase{"ZeroSourceWidth", {960, 1920, 1080, 0, 1920, 360, 180}},
        DegenerateCase{"ZeroSourceWidthAndSpan", {0, 1920, 1080, 0, 1920, 360, 180}},
        DegenerateCase{"ZeroOutputWidth", {960, 0, 1080, 3840, 1920, 360, 180}},
        DegenerateCase{"ZeroOutputSize", {960, 0, 0, 3840, 1920, 360, 180}},
        DegenerateCase{"ZeroVerticalFov", {960, 1920, 1080, 3840, 1920, 360, 0}},
        DegenerateCase{"NanHorizontalFov",
                       {960, 1920, 1080, 3840, 1920, std::numeric_limits<float>::quiet_NaN(), 180}},
        // About 5.7e10 pixels: finite but beyond int.
        DegenerateCase{"BeyondIntRange", {960, 1920, 1080, 3840, 1000000000, 360, 1}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
