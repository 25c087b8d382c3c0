// ReportDrawing: an analysis as a report for a reader of stress tests, on pages of A4 or Letter.
//
//   1        who was tested, what to know before reading, results, heart rate, room for a conclusion
//   then     tables of stages and of ST; trends of heart rate and of every lead
//   then     averaged beats of all leads by stages, and of each lead the reference and its largest change
//   then     strips of ten seconds
//   last     warnings, and how the figures came about
//
// The name's ending chooses the kind, whichever way it is written:
//   .pdf   vector pages; printed at 100 %, a millimetre of ECG paper is a millimetre
//   .png   the pages below each other in one picture of 150 dots per inch
//   .html  one file without references to others: the pages as inline SVG, all tables as text below them
#pragma once

#include <string>
#include <string_view>

#include "host/report/ReportData.h"
#include "host/support/PendingFile.h"

/// The ending of `path` decides; another than the three above throws HostError. Callers that compute for long
/// ask first.
void CheckReportName(const std::string& path);

/// The caller commits. Throws HostError where the kind is unknown or the file cannot be written.
/// What a report of this name begins with, by its ending. Throws HostError as CheckReportName.
std::string_view ReportBeginning(const std::string& path);
void WriteReport(PendingFile& file, const ReportData& data);
