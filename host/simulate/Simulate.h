// Simulate: the simulated exercise test as files, for those who want to know what an analysis should find.
#pragma once

#include <string>
#include <vector>

#include "host/simulate/SimulatedTest.h"

/// Writes the recording under `out`, whose name decides the format as in CreateRecord, and beside it
/// BASE.atr, the beats as WFDB annotations (N and V at R), and BASE.truth.json (host/simulate/TruthFile.h).
/// All appear when all are complete. Files of these names that are there are replaced only with `force`.
/// Returns what is to be said of the signal, one line each. Throws HostError, and std::invalid_argument as
/// SimulatedTest does.
std::vector<std::string> Simulate(const std::string& out, const SimulatedTestOptions& options, bool force);
