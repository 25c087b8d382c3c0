// Stages: every stage of the library as something that takes frames, and its literal form where there is one:
// the single-lead classes lead by lead, and for the matcher the correlations written as their definition
// reads.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bench/Signal.h"

/// Takes a frame, which it may change.
using Step = std::function<void(short*)>;

struct BenchStage {
    std::string name;  // one word
    std::string text;
    Step (*make)(Signal&);
    Step (*literal)(Signal&);  // null: there is none
};

/// The steps of one stage end with those of the next: the flat functions have one object per process.
const std::vector<BenchStage>& Stages();
