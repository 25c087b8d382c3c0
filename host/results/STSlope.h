// STSlope: the shape of an ST segment as its slope tells it, for figures and words.
#pragma once

#include "session/SessionTypes.h"

/// As qz::STMeasure::shape has it; Unknown of NaN.
constexpr qz::STShape ShapeOfSlope(double slopeUvPerMs) {
    if (slopeUvPerMs >= qz::kHorizontalUvPerMs) return qz::STShape::Upsloping;
    if (slopeUvPerMs <= -qz::kHorizontalUvPerMs) return qz::STShape::Downsloping;
    return slopeUvPerMs == slopeUvPerMs ? qz::STShape::Horizontal : qz::STShape::Unknown;
}
/// "horizontal"; empty of Unknown.
constexpr const char* NameShape(qz::STShape shape) {
    switch (shape) {
        case qz::STShape::Unknown: break;
        case qz::STShape::Upsloping: return "upsloping";
        case qz::STShape::Horizontal: return "horizontal";
        case qz::STShape::Downsloping: return "downsloping";
    }
    return "";
}
