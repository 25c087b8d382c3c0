// ReportDrawing: an analysis as a report for a reader of stress tests, on A4 pages in landscape.
//
//   1        who was tested, results in short, heart rate over the stages, room for a conclusion
//   then     the test stage by stage, trends, and ST level over time, one plot per lead on one scale
//   then     averaged beat of each lead at first, at its largest ST change, and latest, on ECG paper
//   then     averaged beats of all leads by stages on ECG paper
//   then     strips as recorded and as conditioned on ECG paper
//   last     tables of ST per lead, how the figures came about, notes
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
