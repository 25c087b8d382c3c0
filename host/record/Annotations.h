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
    // Further marks of some databases, -128..127; each database numbers noise and waves in its own way.
    int subtype = 0, channel = 0, number = 0;

    bool operator==(const Annotation&) const = default;
};

constexpr int kNormalBeat = 1, kVentricularBeat = 5, kSupraventricularBeat = 9, kPacedBeat = 12,
              kUnclassifiedBeat = 13;
constexpr int kSTChange = 18;  // its text tells of which kind
constexpr int kFibrillationStart = 32, kFibrillationEnd = 33;
constexpr int kWaveStart = 39, kWaveEnd = 40;

/// True if the code marks a QRS complex.
bool IsBeat(int code);
/// The one or two letters of a code as WFDB prints it ("N", "V", "+"); "?" for codes without.
std::string Mnemonic(int code);

/// Steps of `sample` per second: as a note at the start gives them ("## time resolution: 1000"), otherwise
/// `otherwise`. The annotations are in order of `sample`.
double StepsPerSecond(const std::vector<Annotation>& annotations, double otherwise);

/// In order of `sample`. A text loses the zero byte with which some files end it. Throws HostError for a file
/// that is damaged, naming the position.
std::vector<Annotation> ReadAnnotations(const std::string& path);
/// In order of `sample`. The caller commits. Throws HostError for an annotation that the format cannot hold.
void WriteAnnotations(PendingFile& file, const std::vector<Annotation>& annotations);
