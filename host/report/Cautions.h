// Cautions: what a reader should know before reading the figures of a test, in plain words.
#pragma once

#include <string>
#include <vector>

#include "host/report/Findings.h"

/// Sentences, the most important first: an analysis that ended early or measured nothing, a reference that is
/// not at rest, mains that were left in, leads that are missing or were off, and when else there was no ST.
/// Empty if there is nothing of the kind.
std::vector<std::string> ListCautions(const Findings& findings);
