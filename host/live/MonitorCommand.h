// MonitorCommand: qzstress monitor, a live test from its source to its results.
#pragma once

#include <string>

#include "host/analysis/StressAnalysis.h"
#include "host/live/LiveServer.h"
#include "host/record/RecordOptions.h"

struct MonitorOptions {
    std::string source;  // as OpenLive has it
    RecordOptions reading;
    double speed = 1;    // of a recording, times the pace of the patient
    std::string folder;  // that keeps the test; empty: one named after the time
    bool isResumed = false;
    StressOptions analysis;
    std::string protocol;     // of the stages; empty: by hand
    std::string patientFile;  // empty for none
    bool hasPage = true;
    ServerOptions server;
    GivenOptions given;  // those of the analysis as the command line gave them
};

struct ViewOptions {
    std::string record;  // a recording, or the folder of a test
    RecordOptions reading;
    StressOptions analysis;
    ServerOptions server;
};
/// Shows a finished recording in the page of a live test, until it is interrupted. Returns the exit code.
/// Throws HostError where it cannot be read.
[[nodiscard]] int RunView(const ViewOptions& options);

/// With a page it stays, once the test has ended, until it is interrupted. Returns the exit code, that of a
/// failure also where the source could not be read to its end. Throws HostError where the test cannot begin.
[[nodiscard]] int RunMonitor(const MonitorOptions& options);
