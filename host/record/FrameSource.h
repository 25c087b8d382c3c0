// FrameSource: a recording (or a simulation) as the library wants it, one frame of 16-bit samples at a time.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/record/Patient.h"
#include "host/support/InputFile.h"

/// What somebody has written at a moment of the recording.
struct Note {
    double seconds = 0;
    std::string text;
};

/// Facts that hold for a whole recording.
struct SourceInfo {
    std::string name;                  // record name, for messages and headings
    int fs = 0;                        // samples per second and lead
    double uVpb = 0;                   // microvolts per unit, the same for every lead
    std::vector<std::string> leads;    // lead names in frame order, no two alike
    long long frames = 0;              // frames announced; 0 where the source does not know
    std::string started;               // first frame, "YYYY-MM-DD hh:mm:ss" or "hh:mm:ss", empty if unknown
    std::vector<std::string> remarks;  // what else the file says of patient and recording, one line each
    double storedHz = 0;               // rate of the frames in the file, if OpenRecord changes it; else 0
    unsigned framesPerMark = 1;        // frames that an annotation of the recording counts as one
    Patient patient = {};
    std::vector<Note> notes = {};  // that the file itself holds, in order of time

    double SecondsOf(long long frameCount) const { return static_cast<double>(frameCount) / fs; }
    /// Steps per second in which the annotations of the recording count.
    double AnnotationHz() const { return (storedHz > 0 ? storedHz : fs) / framesPerMark; }
};

/// Frames as they lie in a file: one sample of each lead after the other, 16 bits, low byte first, on the
/// scale of the source; -32768 is a sample that is missing, in whose place a source may give the one before.
struct StoredFrames {
    InputFile file;
    long long byteOffset = 0;
    long long frames = 0;
};

/// Reads forward only. One object belongs to one thread.
class FrameSource {
public:
    virtual ~FrameSource() = default;
    virtual const SourceInfo& Info() const = 0;
    /// Fills `frame` with one sample per lead, Info().leads.size() in all. False at the end of the source:
    /// `frame` is then unspecified.
    [[nodiscard]] virtual bool Read(short* frame) = 0;
    /// Faults of the data found so far (an early end, samples clipped), one line each; empty if all is well.
    /// Complete once Read has returned false.
    virtual std::vector<std::string> Warnings() const { return {}; }
    /// How the file holds its signals (format, gains, units, signals left out), one line each, for people.
    virtual std::vector<std::string> Describe() const { return {}; }
    /// The files that are read.
    virtual std::vector<std::string> Files() const { return {}; }
    /// All frames of the source, where one file holds them as they are given; empty if they have to be read.
    virtual std::optional<StoredFrames> Stored() const { return {}; }
};
