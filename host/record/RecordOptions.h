// RecordOptions: what a reader is told of a recording beside its name.
#pragma once

#include <string>
#include <vector>

struct RecordOptions {
    std::vector<std::string> leads;  // names to keep, in this order, case ignored; empty keeps all
    double fs = 0;                   // samples per second, for CSV, which does not tell; 0 where not given
    double uVpb = 0;                 // microvolts per unit of CSV columns without a unit; 0 where not given
};
