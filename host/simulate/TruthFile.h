// TruthFile: the truth of a simulated test as a JSON file: what an analysis of its recording should find.
//
// Schema "qzstress-truth-1": facts of the recording, the options of the simulation, the stages, every beat
// (times of Q and J from its R) and, at regular times, the heart rate that the course asks for and the ST
// level and slope of a sinus beat in each lead.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/results/Exercise.h"
#include "host/results/Truth.h"
#include "host/simulate/SimulatedTest.h"
#include "host/support/PendingFile.h"

struct TruthOptions {
    int postJms = qz::kUsualPostJms;  // ST is taken this long after J + 6 ms, above 0
    double everySeconds = 1;          // from one row of the course to the next
};

/// Writes the truth of a test that has been read to its end. The caller commits.
void WriteTruth(PendingFile& file, const SimulatedTest& test, const TruthOptions& options = {});

/// A truth file as it was read, with leads in the order of the file. Values between two rows of the course
/// lie on a straight line; before the first and after the last row they are constant.
struct RecordedTruth {
    struct Row {
        double seconds = 0, bpm = 0;
        std::vector<double> levelUv, slopeUvPerMs;  // per lead
    };

    std::string file;  // for messages
    int fs = 0;        // of the recording
    double seconds = 0;
    int postJms = 0;  // ST was taken this long after J + 6 ms
    std::vector<std::string> leads;
    std::vector<Stage> stages;
    std::vector<SimulatedBeat> beats;  // ascending
    std::vector<Row> course;           // at least one, ascending

    double Bpm(double atSeconds) const;
    double LevelUv(std::size_t lead, double atSeconds) const;
    double SlopeUvPerMs(std::size_t lead, double atSeconds) const;
    /// The truth for a recording with these leads, matched by name, case ignored. Throws HostError if the
    /// file lacks one of them. It knows ST at its own point alone, J + 6 ms + postJms. The result refers to
    /// this object.
    Truth For(const SourceInfo& info) const;
};

/// The truth of a test that has been read to its end. ST slopes are those from J to the point that is asked
/// for, of the engine from J + 6 ms. The result refers to the test.
Truth TruthOf(const SimulatedTest& test, const STPointRule& point);

/// Throws HostError for a file that is no such truth, naming what was expected where.
RecordedTruth ReadTruth(const std::string& path);
