// Annotations: marks on the samples of a recording, in WFDB annotation files (the MIT format).
//
// The layout is described in annot(5) of the WFDB Applications Guide.
#pragma once

#include <string>
#include <vector>

#include "host/support/PendingFile.h"

struct Annotation {
    long long sample = 0;  // steps from the start of the recording, by default frames of its header
    int code = 0;          // as the WFDB library numbers them: 1 is a normal beat, 5 a ventricular one
    std::string text;      // what is written beside it, often empty
    // What some databases say besides, -128..127; how the noise and the waves are numbered is up to them.
    int subtype = 0, channel = 0, number = 0;

    bool operator==(const Annotation&) const = default;
};

constexpr int kNormalBeat = 1, kVentricularBeat = 5;  // codes
constexpr int kFibrillationStart = 32, kFibrillationEnd = 33;

/// Whether the code marks a QRS complex.
bool IsBeat(int code);
/// The one or two letters of a code as WFDB prints it ("N", "V", "+"); "?" for codes without.
std::string Mnemonic(int code);

/// In how many steps a second `sample` counts: what a note at the start says ("## time resolution: 1000"),
/// else `otherwise`. In order of `sample`.
double StepsPerSecond(const std::vector<Annotation>& annotations, double otherwise);

/// In order of `sample`. A text loses the zero byte with which some files end it. Throws HostError for a file
/// that is damaged, naming the position.
std::vector<Annotation> ReadAnnotations(const std::string& path);
/// In order of `sample`. The caller commits. Throws HostError for an annotation that the format cannot hold.
void WriteAnnotations(PendingFile& file, const std::vector<Annotation>& annotations);
