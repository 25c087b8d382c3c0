// WfdbHeader: the text header (.hea) of a recording in the WFDB layout, checked line by line.
//
// The layout is described in header(5) of the WFDB Applications Guide. Every refusal is a HostError that
// names file and line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/record/Patient.h"

/// A signal file's way of storing samples. The lowest value of its width marks a sample that is not valid,
/// but for format 8, which stores differences. Code 0, without samples, stands only in a layout. The files of
/// formats 508, 516 and 524 are FLAC streams: their groups have no size.
struct WfdbFormat {
    int code = 0;          // as the header names it
    int bits = 0;          // of one sample
    int groupBytes = 0;    // samples are stored in groups of so many bytes,
    int groupSamples = 1;  // which hold so many samples
    bool IsDifference() const { return code == 8; }
    bool IsFlac() const { return code > 500; }
    long long Lowest() const { return bits > 0 ? -(1LL << (bits - 1)) : 0; }
};

struct WfdbSignal {
    std::string fileName;
    WfdbFormat format;
    unsigned samplesPerFrame = 1;
    unsigned skew = 0;          // frames that precede frame 0
    long long byteOffset = 0;   // of the first sample in the file
    bool isEcg = true;          // measured in a unit of voltage, as one that names no unit is
    bool isCalibrated = false;  // without a gain, 200 ADC units per millivolt are assumed
    double uvPerUnit = 0;       // microvolts per ADC unit
    int baseline = 0;           // ADC value of 0 microvolts
    int resolutionBits = 0;     // 0: not known
    int initial = 0;            // value that the differences of format 8 begin from
    int adcZero = 0;            // ADC value in the middle of its range
    std::optional<std::uint16_t> checksum;
    std::string units = "mV";
    std::string name;  // no other signal of the record has it
};

/// A record of its own that is a part of another.
struct WfdbSegment {
    std::string name;      // "~" is a gap
    long long frames = 0;  // of one or more samples, as in the segment's header
};

struct WfdbHeader {
    std::string name;
    double fs = 250;  // frames per second
    std::size_t announcedSignals = 0;
    long long announcedFrames = 0;      // 0: not announced
    std::string started;                // as SourceInfo has it
    Patient patient;                    // as comments tell of it
    std::vector<std::string> remarks;   // the other comments, one line each
    std::vector<WfdbSignal> signals;    // none where there are segments
    std::vector<WfdbSegment> segments;  // none in a record of one piece
};

/// The path of a record's header: `record` with or without ".hea".
std::string WfdbHeaderPath(const std::string& record);
/// A layout is the header that a record of segments begins with: it names the signals of the segments behind
/// it and has no samples itself.
enum class WfdbHeaderKind { Record, Layout };
WfdbHeader ReadWfdbHeader(const std::string& path, WfdbHeaderKind kind = WfdbHeaderKind::Record);
