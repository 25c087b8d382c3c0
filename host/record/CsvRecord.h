// CsvRecord: a recording as text, a header line with the names of the leads and a line per frame.
//
//   time_s,I (mV),II [uV],V5
//   0.000,0.12,118,241
//
// The separator is the first of tab, semicolon and comma that the header line has outside quotes; with a tab
// or a semicolon, numbers may have a decimal comma. A line that begins with "#" is a comment: above the
// header line one tells the rate ("# sampling_rate_hz: 500"), one the start ("# started: 2021-02-28
// 23:59:58"), and the others are remarks. Of equal names all but the first get a number. A unit stands in
// round or square brackets behind the name; columns without one hold units of RecordOptions::uVpb, and those
// in another unit than a voltage are left out with a warning. A first column named "time", "seconds" or
// "sample" is no lead; times, in seconds unless the name says "ms", tell the rate where neither options nor a
// comment do. An empty cell, "nan", "na" and "null" hold the value before, at the start the first there is,
// with a warning: where that is long, the lead is off.
//
// UTF-8, or UTF-16 that begins with a byte order mark. The file is read twice, first for its length, its
// range and its faults. One scale for all leads: uVpb where no column has a unit, else the finest of 1, 2, 5,
// 10, 20 and 50 uV that fits. Holds one line.
#pragma once

#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "host/record/Calibration.h"
#include "host/record/FrameSource.h"
#include "host/record/RecordOptions.h"

/// What a comment begins with that tells the rate or the start.
inline constexpr std::string_view kCsvRateFact = "sampling_rate_hz: ", kCsvStartFact = "started: ";

class CsvRecord : public FrameSource {
public:
    /// Throws HostError, naming the line, for anything but numbers in as many columns as the header has.
    CsvRecord(const std::string& path, const RecordOptions& options);

    const SourceInfo& Info() const override { return m_info; }
    bool Read(short* frame) override;
    std::vector<std::string> Warnings() const override;
    std::vector<std::string> Describe() const override;
    std::vector<std::string> Files() const override { return {m_path}; }

private:
    struct Column {
        bool isLead = true;
        double uvPerUnit = 0;
        double latest = 0;      // value that a cell without one holds, in units of the column
        bool isKnown = false;   // a value has been read
        long long missing = 0;  // cells without one
    };

    bool ReadLine();
    void ReadHeader(const RecordOptions& options);
    void TakeComment();
    bool TakeValue(Column& column, std::string_view field, double& value) const;
    bool TakeTimeColumn(const std::string& name, std::string_view unit);
    void Survey(const RecordOptions& options);
    bool ReadValues();
    void CheckTime();
    [[noreturn]] void Fail(const std::string& message) const;

    std::string m_path;
    std::ifstream m_file;
    std::string m_buffer;     // for the longest line there may be
    std::string_view m_line;  // in m_buffer
    long long m_lineNumber = 0;
    char m_separator = ',';
    std::vector<Column> m_columns;
    std::vector<double> m_values;  // of the latest line, a column each
    double m_secondsPerTime = 0;   // of the first column's numbers; 0 where they are no times
    double m_firstTime = 0;
    double m_toldFs = 0;                  // by a comment; 0 where none does
    std::vector<std::string> m_warnings;  // known when the record is opened
    std::vector<SampleScaler> m_scalers;  // one per lead
    long long m_framesRead = 0;
    long long m_lineOutOfPace = 0;  // the first whose time is not its frame's; 0: none
    SourceInfo m_info;
};
