// Annotations: marks on the samples of a recording, in WFDB annotation files (the MIT format).
//
// The layout is described in annot(5) of the WFDB Applications Guide.
#pragma once

#include <string>
#include <vector>

struct Annotation {
    long long sample = 0;  // frames from the start of the recording
    int code = 0;          // as the WFDB library numbers them: 1 is a normal beat, 5 a ventricular one
    std::string text;      // what is written beside it, often empty
};

/// Whether the code marks a QRS complex.
bool IsBeat(int code);
/// The one or two letters of a code as WFDB prints it ("N", "V", "+"); "?" for codes without.
std::string Mnemonic(int code);

/// Throws HostError for a file that is damaged, naming the position.
std::vector<Annotation> ReadAnnotations(const std::string& path);
/// In order of `sample`. Appears under its name when complete.
void WriteAnnotations(const std::string& path, const std::vector<Annotation>& annotations);
