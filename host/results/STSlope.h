// STSlope: the class of an ST segment's slope.
#pragma once

enum class STSlope { Upsloping, Horizontal, Downsloping };

/// A segment is horizontal while it rises or falls by less than 0.3 mm over the 60 ms from J + 6 ms to the ST
/// point, which is about what an eye tells on paper.
constexpr double kHorizontalUvPerMs = 0.5;
/// NaN is horizontal.
constexpr STSlope ClassifySTSlope(double slopeUvPerMs) {
    if (slopeUvPerMs >= kHorizontalUvPerMs) return STSlope::Upsloping;
    return slopeUvPerMs <= -kHorizontalUvPerMs ? STSlope::Downsloping : STSlope::Horizontal;
}
constexpr const char* NameSTSlope(STSlope slope) {
    switch (slope) {
        case STSlope::Upsloping: return "upsloping";
        case STSlope::Horizontal: return "horizontal";
        case STSlope::Downsloping: return "downsloping";
    }
    return "";
}
