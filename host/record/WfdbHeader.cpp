#include "host/record/WfdbHeader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <string_view>
#include <utility>

#include "host/record/Calibration.h"
#include "host/record/StartTime.h"
#include "host/support/HostError.h"
#include "host/support/InputFile.h"
#include "host/support/Text.h"

namespace {

constexpr double kDefaultUvPerUnit = 5;  // 200 ADC units per millivolt, as the WFDB library assumes
constexpr unsigned kMaxSignals = 256;
constexpr unsigned kMaxSegments = 100000;
constexpr unsigned kMaxSkewFrames = 10000;
constexpr unsigned kMaxSamplesPerFrame = 2000;
// Most frames of a segment: half a year at 2000 Hz. The sum over all segments then fits into 63 bits.
constexpr long long kMaxFrames = 40'000'000'000;
constexpr int kMaxResolutionBits = 32;
constexpr long long kMaxCount = std::numeric_limits<long long>::max();
constexpr const char* kBlanks = " \t\r";  // '\r' ends the lines of some headers
constexpr WfdbFormat kFormats[] = {{8, 16, 1, 1},   {16, 16, 2, 1},  {24, 24, 3, 1},  {32, 32, 4, 1},
                                   {61, 16, 2, 1},  {80, 8, 1, 1},   {160, 16, 2, 1}, {212, 12, 3, 2},
                                   {310, 10, 4, 3}, {311, 10, 4, 3}, {508, 8},        {516, 16},
                                   {524, 24}};

/// Walks through one header line from left to right. Every refusal names the file and the line.
class LineParser {
public:
    /// `line` begins and ends with other than a blank; its text outlives the parser.
    LineParser(const std::string& file, int lineNumber, std::string_view line)
        : m_file(file), m_lineNumber(lineNumber), m_rest(line) {}

    [[noreturn]] void Fail(const std::string& message) const {
        throw HostError(m_file, "line " + std::to_string(m_lineNumber) + ": " + message);
    }

    /// Moves on to the next field; false at the end of the line.
    bool NextField() {
        m_field = m_rest.substr(0, m_rest.find_first_of(kBlanks));
        m_rest.remove_prefix(m_field.size());
        m_rest.remove_prefix(std::min(m_rest.find_first_not_of(kBlanks), m_rest.size()));
        m_left = m_field;
        return !m_field.empty();
    }
    void NeedField(const char* what) {
        if (!NextField()) Fail(std::string("expected ") + what + ", found the end of the line");
    }
    std::string_view Field() const { return m_field; }
    /// What follows the current field, without the blanks between.
    std::string_view Rest() const { return m_rest; }

    /// What is left of the current field after the parts taken from its front.
    std::string_view Left() const { return m_left; }
    void TakeText(std::size_t length) { m_left.remove_prefix(length); }
    bool TakeMark(char mark) {
        if (!m_left.starts_with(mark)) return false;
        m_left.remove_prefix(1);
        return true;
    }
    void NeedMark(char mark, const char* what) {
        if (!TakeMark(mark)) FailOn(what);
    }
    double TakeNumber(const char* what) {
        const auto value = Take<double>(what);
        if (!std::isfinite(value)) FailOn(what);
        return value;
    }
    template <typename Integer = int>
    Integer TakeInteger(const char* what, Integer lowest = std::numeric_limits<Integer>::min(),
                        Integer highest = std::numeric_limits<Integer>::max()) {
        const auto value = Take<long long>(what);
        if (value < 0 && lowest >= 0) Fail(std::string(what) + " is negative: " + std::to_string(value));
        if (value < lowest || value > highest) {
            Fail(std::string(what) + ": expected " + std::to_string(lowest) + " to " +
                 std::to_string(highest) + ", found " + std::to_string(value));
        }
        return static_cast<Integer>(value);
    }
    /// An integer that is the whole of the current field.
    template <typename Integer = int>
    Integer WholeInteger(const char* what, Integer lowest = std::numeric_limits<Integer>::min(),
                         Integer highest = std::numeric_limits<Integer>::max()) {
        const Integer value = TakeInteger<Integer>(what, lowest, highest);
        EndField(what);
        return value;
    }
    /// The current field must have been taken entirely.
    void EndField(const char* what) const {
        if (!m_left.empty()) FailOn(what);
    }

private:
    template <typename Number>
    Number Take(const char* what) {
        Number value = 0;
        const auto [end, error] = std::from_chars(m_left.data(), m_left.data() + m_left.size(), value);
        if (error != std::errc()) FailOn(what);
        m_left.remove_prefix(static_cast<std::size_t>(end - m_left.data()));
        return value;
    }
    [[noreturn]] void FailOn(const char* what) const {
        Fail(std::string("malformed ") + what + ": " + Quote(m_field));
    }

    std::string m_file;
    int m_lineNumber = 0;
    std::string_view m_rest;   // of the line
    std::string_view m_field;  // the current one
    std::string_view m_left;   // of m_field
};

/// "9:5:30.25 14/3/1995" as "1995-03-14 09:05:30", without the date where there is none. Empty where the
/// clock or the calendar has no such moment: analysis does not depend on it.
std::string Moment(const std::string& time, const std::string& date) {
    unsigned hour = 0, minute = 0, second = 0, day = 0, month = 0, year = 0;
    if (std::sscanf(time.c_str(), "%2u:%2u:%2u", &hour, &minute, &second) != 3) return "";
    char text[64];
    std::snprintf(text, sizeof text, "%02u:%02u:%02u", hour, minute, second);
    const std::string clock = text;
    const bool hasDate = std::sscanf(date.c_str(), "%2u/%2u/%4u", &day, &month, &year) == 3;
    std::snprintf(text, sizeof text, "%04u-%02u-%02u ", year, month, day);
    const std::string moment = hasDate ? text + clock : clock;
    return ParseStartTime(moment) ? moment : "";
}

/// name[/segments] signals [fs[/counter[(base)]] [frames [time [date]]]].
WfdbHeader ParseRecordLine(LineParser& line) {
    WfdbHeader header;
    line.NeedField("the record name");
    header.name = line.Field().substr(0, line.Field().find('/'));
    if (header.name.size() < line.Field().size()) {
        line.TakeText(header.name.size() + 1);
        header.segments.resize(line.WholeInteger("number of segments", 1U, kMaxSegments));
    }
    line.NeedField("the number of signals");
    header.announcedSignals = line.WholeInteger("number of signals", 0U, kMaxSignals);
    if (header.announcedSignals == 0) line.Fail("expected at least one signal, found zero signals");
    if (!line.NextField()) return header;
    header.fs = line.TakeNumber("sampling rate");
    if (line.TakeMark('/')) {
        line.TakeNumber("counter frequency");
        if (line.TakeMark('(')) {
            line.TakeNumber("base counter value");
            line.NeedMark(')', "base counter value");
        }
    }
    line.EndField("sampling rate");
    if (!line.NextField()) return header;
    header.announcedFrames = line.WholeInteger("number of samples", 0LL, kMaxFrames);
    if (!line.NextField()) return header;
    const std::string time(line.Field());
    header.started = Moment(time, line.NextField() ? std::string(line.Field()) : "");
    return header;
}

/// Signal files and segments are part of their record: the name may lead below the header's directory, never
/// out of it.
std::string CheckedFileName(const LineParser& line) {
    const std::filesystem::path path(line.Field());
    if (path.has_root_path() || std::find(path.begin(), path.end(), "..") != path.end()) {
        line.Fail("expected a file in the directory of the header, found " + Quote(line.Field()));
    }
    return std::string(line.Field());
}

WfdbFormat TakeFormat(LineParser& line, WfdbHeaderKind kind) {
    const int code = line.TakeInteger("format");
    if (code == 0 && kind == WfdbHeaderKind::Layout) return {};
    for (const WfdbFormat& format : kFormats) {
        if (format.code == code) return format;
    }
    line.Fail("unknown format " + std::to_string(code) +
              ": expected 8, 16, 24, 32, 61, 80, 160, 212, 310, 311, 508, 516 or 524");
}

/// gain[(baseline)][/units]. The baseline is empty where the header leaves it to the ADC zero.
std::optional<int> ParseGain(LineParser& line, WfdbSignal& signal) {
    std::optional<int> baseline;
    const double gain = line.TakeNumber("gain");
    if (line.TakeMark('(')) {
        baseline = line.TakeInteger("baseline");
        line.NeedMark(')', "baseline");
    }
    if (line.TakeMark('/')) {
        signal.units = line.Left();
    } else {
        line.EndField("gain");
    }
    const double uvPerPhysicalUnit = MicrovoltsPer(signal.units);
    signal.isEcg = uvPerPhysicalUnit != 0;
    if (!signal.isEcg) return baseline;
    signal.isCalibrated = gain != 0;
    if (!signal.isCalibrated) return baseline;
    signal.uvPerUnit = uvPerPhysicalUnit / gain;
    if (!std::isnormal(signal.uvPerUnit)) line.Fail("absurd gain: " + Quote(line.Field()));
    return baseline;
}

/// Takes the optional fields of a signal line, each of which needs the one before it. Returns the baseline as
/// ParseGain does.
std::optional<int> ParseCalibration(LineParser& line, WfdbSignal& signal) {
    if (!line.NextField()) return {};
    const std::optional<int> baseline = ParseGain(line, signal);
    if (!line.NextField()) return baseline;
    signal.resolutionBits = line.WholeInteger("ADC resolution", 0, kMaxResolutionBits);
    if (!line.NextField()) return baseline;
    signal.adcZero = signal.initial = line.WholeInteger("ADC zero");
    if (!line.NextField()) return baseline;
    signal.initial = line.WholeInteger("initial value");
    if (!line.NextField()) return baseline;
    // Some programs write the checksum signed, others unsigned: the 16 bits are the same.
    signal.checksum = static_cast<std::uint16_t>(line.WholeInteger("checksum", INT16_MIN, UINT16_MAX));
    if (!line.NextField()) return baseline;
    line.WholeInteger("block size");
    if (!line.Rest().empty()) signal.name = OneLine(std::string(line.Rest()));
    return baseline;
}

/// file format[xN][:skew][+offset] [gain [resolution [zero [initial [checksum [block [description]]]]]]].
WfdbSignal ParseSignalLine(LineParser& line, WfdbHeaderKind kind, const std::string& defaultName) {
    WfdbSignal signal;
    signal.name = defaultName;
    signal.uvPerUnit = kDefaultUvPerUnit;
    line.NeedField("the signal file name");
    signal.fileName = CheckedFileName(line);
    line.NeedField("the format");
    signal.format = TakeFormat(line, kind);
    if (line.TakeMark('x'))
        signal.samplesPerFrame = line.TakeInteger("samples per frame", 1U, kMaxSamplesPerFrame);
    if (line.TakeMark(':')) signal.skew = line.TakeInteger("skew", 0U, kMaxSkewFrames);
    if (line.TakeMark('+')) signal.byteOffset = line.TakeInteger("byte offset", 0LL, kMaxCount);
    line.EndField("format");
    signal.baseline = ParseCalibration(line, signal).value_or(signal.adcZero);
    return signal;
}

/// name frames
WfdbSegment ParseSegmentLine(LineParser& line) {
    WfdbSegment segment;
    line.NeedField("the segment's name");
    segment.name = CheckedFileName(line);
    line.NeedField("the segment's length");
    segment.frames = line.WholeInteger("length of the segment", 0LL, kMaxFrames);
    return segment;
}

/// Signals of one file stand together, in the order in which their samples alternate in it.
void CheckGrouping(const LineParser& line, const std::vector<WfdbSignal>& before, const WfdbSignal& signal) {
    const auto isOfTheSameFile = [&](const WfdbSignal& other) { return other.fileName == signal.fileName; };
    if (std::none_of(before.begin(), before.end(), isOfTheSameFile)) return;
    const WfdbSignal& last = before.back();
    if (!isOfTheSameFile(last) || last.format.code != signal.format.code ||
        last.byteOffset != signal.byteOffset) {
        line.Fail("expected the signals of " + Quote(signal.fileName) +
                  " one after another, with one format and byte offset");
    }
}

void MakeNamesUnique(std::vector<WfdbSignal>& signals) {
    std::vector<std::string> names;
    for (const WfdbSignal& signal : signals) names.push_back(signal.name);
    MakeUnique(names);
    for (std::size_t i = 0; i < signals.size(); ++i) signals[i].name = names[i];
}

}  // namespace

std::string WfdbHeaderPath(const std::string& record) {
    return record.ends_with(".hea") ? record : record + ".hea";
}

WfdbHeader ReadWfdbHeader(const std::string& path, WfdbHeaderKind kind) {
    const std::string text = ReadText(path);
    std::optional<WfdbHeader> header;
    std::vector<std::string> remarks;
    std::size_t found = 0;  // lines of signals or segments
    int lineNumber = 1;
    for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end + 1, ++lineNumber) {
        end = std::min(text.find('\n', begin), text.size());
        const std::string_view content = Trimmed(std::string_view(text.data() + begin, end - begin), kBlanks);
        if (content.starts_with('#') && content.size() > 1)
            remarks.push_back(OneLine(std::string(Trimmed(content.substr(1), kBlanks))));
        if (content.empty() || content.front() == '#') continue;
        LineParser line(path, lineNumber, content);
        if (!header) {
            header = ParseRecordLine(line);
        } else if (found < header->segments.size()) {
            header->segments[found++] = ParseSegmentLine(line);
        } else if (header->segments.empty() && found < header->announcedSignals) {
            WfdbSignal signal = ParseSignalLine(line, kind, "signal " + std::to_string(++found));
            CheckGrouping(line, header->signals, signal);
            header->signals.push_back(std::move(signal));
        } else {
            line.Fail("expected the end after " + std::to_string(found) +
                      (header->segments.empty() ? " signals" : " segments") + ", found " + Quote(content));
        }
    }
    const LineParser end(path, lineNumber, {});
    if (!header) end.Fail("expected the record line, found the end");
    const bool isWhole = header->segments.empty();
    if (const std::size_t wanted = isWhole ? header->announcedSignals : header->segments.size();
        found < wanted) {
        end.Fail("expected " + std::to_string(wanted) + (isWhole ? " signals" : " segments") +
                 ", found the end after " + std::to_string(found));
    }
    MakeNamesUnique(header->signals);
    TakePatient(remarks, header->patient);
    header->remarks = std::move(remarks);
    return *std::move(header);
}
