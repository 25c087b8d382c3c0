// Frames.h: what tests do with whole recordings.
#pragma once

#include <vector>

#include "host/record/FrameSource.h"

using Frames = std::vector<std::vector<int>>;  // [frame][lead]

inline Frames ReadAll(FrameSource& source) {
    Frames all;
    std::vector<short> frame(source.Info().leads.size());
    while (source.Read(frame.data())) all.emplace_back(frame.begin(), frame.end());
    return all;
}
