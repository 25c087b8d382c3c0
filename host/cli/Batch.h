// Batch: many records, one process per core, one result file per record and one table of all.
//
// Every record is analysed by its own process (`qzstress analyze RECORD --json ...`), so that a record that
// brings its process down does not harm the others. A record whose result is there already is not analysed
// again, if the same version made it with the same options, and its report is there too: a batch that was
// stopped goes on where it was. A result that was interrupted does not count as one. A foreign file in the
// place of a result is left alone, and the record counts as failed.
//
// A process that takes longer than it may is asked to end (SIGTERM), and ten seconds later ended (SIGKILL);
// its record counts as failed. An interrupt ends the running analyses and starts no more; the table of what
// is complete is written.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/results/StressResult.h"

struct BatchOptions {
    std::string input;             // a folder with records, or a list: one path a line, '#' comments
    std::string outFolder;         // receives NAME.json of every record, and results.csv
    unsigned jobs = 0;             // processes at once; 0 is one per core
    double timeoutSeconds = 3600;  // longest time for a record; 0: no limit
    std::string reports;           // ending of the reports beside the results; empty: none
    bool quiet = false;            // no progress bar
    GivenOptions study;            // of every analysis
    GivenOptions told;             // the same as results tell them
    bool keep = false;             // results of other options or another version count too
};

/// Prints failed records, one line each, however the batch ends. Returns how many there were. Throws
/// HostError where the batch itself cannot be done.
[[nodiscard]] std::size_t RunBatch(const BatchOptions& options);

/// The records of a folder and of those in it, sorted: WFDB headers that are no segment of another record,
/// EDF, BDF and CSV files.
std::vector<std::string> FindRecords(const std::string& folder);
