// RecordOptions: what a reader is told of a recording beside its name.
#pragma once

#include <optional>
#include <string>
#include <vector>

/// Frames without a header: 16-bit samples, low byte first, one of each lead in turn.
struct RawLayout {
    double fs = 0;  // samples per second and lead
    std::vector<std::string> leads;
    double uVpb = 0;  // microvolts per unit
};

struct RecordOptions {
    std::vector<std::string> leads;  // names to keep, in this order, case ignored; empty keeps all
    double fs = 0;                   // samples per second, for CSV, which does not tell; 0 where not given
    double uVpb = 0;                 // microvolts per unit of CSV columns without a unit; 0 where not given
    std::optional<RawLayout> raw = {};  // whatever the name says, frames of this layout are read
};
