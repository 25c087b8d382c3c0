#include "host/record/CsvRecord.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <utility>

#include "host/record/StartTime.h"
#include "host/support/HostError.h"
#include "host/support/InputFile.h"
#include "host/support/Text.h"

namespace {

constexpr std::size_t kLongestLine = 1 << 16;  // bytes
constexpr std::size_t kMostColumns = 257;
constexpr double kRateTolerance =
    1e-3;  // largest distance of the rate in the times from a whole number, as a part of it

std::string_view TrimmedCell(std::string_view text) { return Trimmed(text, " \"\r"); }

/// True if the whole of `text` is a number, with or without a plus; puts it into `value`.
bool ParseCell(std::string_view text, double& value, bool mayHaveComma = false) {
    if (mayHaveComma && text.find(',') != std::string_view::npos) {
        std::string withPoint(text);
        withPoint[text.find(',')] = '.';
        return ParseCell(withPoint, value);
    }
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && stop == text.data() + text.size() && std::isfinite(value);
}

/// True for a cell in which no value was measured.
bool IsMissing(std::string_view text) {
    for (const char* word : {"", "nan", "na", "null"})
        if (EqualIgnoringCase(std::string(text), word)) return true;
    return false;
}

/// The text in UTF-8, whichever of its encodings a byte order mark tells.
InputFile OpenText(const std::string& path) {
    InputFile file = InputFile::OfUser(path);
    std::ifstream stream = file.Stream();
    std::string block(1 << 16, '\0');
    stream.read(block.data(), 2);
    const bool isWide =
        BytesRead(stream) == 2 && (block.starts_with("\xFF\xFE") || block.starts_with("\xFE\xFF"));
    if (!isWide) return file;
    const std::unique_ptr<void, int (*)(iconv_t)> converter(
        iconv_open("UTF-8", block[0] == '\xFF' ? "UTF-16LE" : "UTF-16BE"), iconv_close);
    Spool spool(path);
    std::string converted(4 * block.size(), '\0');
    std::size_t kept = 0;  // bytes of a character whose rest is to come
    while (stream) {
        stream.read(block.data() + kept, std::ssize(block) - static_cast<std::streamsize>(kept));
        std::size_t left = kept + BytesRead(stream), room = converted.size();
        char *in = block.data(), *out = converted.data();
        if (iconv(converter.get(), &in, &left, &out, &room) == std::size_t(-1) && errno != EINVAL)
            throw HostError(path, "expected UTF-16, as its byte order mark says, found what is none");
        spool.Put(converted.data(), converted.size() - room);
        std::copy_n(in, left, block.data());
        kept = left;
    }
    if (kept > 0) throw HostError(path, "expected UTF-16, found half a character at the end");
    return std::move(spool).Finish();
}

/// Cuts the unit in brackets off the end of a name and returns it; empty if there is none.
std::string_view TakeUnit(std::string_view& name) {
    const bool isRound = name.ends_with(')'), isSquare = name.ends_with(']');
    const std::size_t open = name.rfind(isRound ? '(' : '[');
    if ((!isRound && !isSquare) || open == std::string_view::npos) return {};
    const std::string_view unit = TrimmedCell(name.substr(open + 1, name.size() - open - 2));
    name = TrimmedCell(name.substr(0, open));
    return unit;
}

/// Where `separator` first stands outside quotes; npos if it stands nowhere.
std::size_t FindSeparator(std::string_view text, char separator) {
    bool isQuoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') isQuoted = !isQuoted;
        if (text[i] == separator && !isQuoted) return i;
    }
    return std::string_view::npos;
}

}  // namespace

CsvRecord::CsvRecord(const std::string& path, const RecordOptions& options)
    : m_path(path), m_file(OpenText(path).Stream()), m_buffer(kLongestLine + 2, '\0') {
    m_info.name = path == "-" ? "stdin" : OneLine(std::filesystem::path(path).stem().string());
    ReadHeader(options);
    const std::streampos firstFrame = m_file.tellg();
    const long long headerLine = m_lineNumber;
    Survey(options);
    m_scalers.assign(m_info.leads.size(), SampleScaler(m_info.uVpb));
    m_file.clear();
    m_file.seekg(firstFrame);
    m_lineNumber = headerLine;
    for (Column& column : m_columns) column.missing = 0;
}

void CsvRecord::Fail(const std::string& message) const {
    throw HostError(m_path, "line " + std::to_string(m_lineNumber) + ": " + message);
}

/// False at the end of the file.
bool CsvRecord::ReadLine() {
    m_file.getline(m_buffer.data(), std::ssize(m_buffer));
    std::size_t length = BytesRead(m_file);
    ++m_lineNumber;
    if (m_file.bad()) Fail("cannot be read");
    if (m_file.fail() && length == 0) return false;
    if (m_file.fail()) Fail("expected a line of at most " + std::to_string(kLongestLine) + " bytes");
    if (!m_file.eof()) --length;  // the line feed is counted and not kept
    m_line = std::string_view(m_buffer.data(), length);
    return true;
}

bool CsvRecord::TakeTimeColumn(const std::string& name, std::string_view unit) {
    const std::string kind = name.substr(0, name.find_first_of(" _"));
    const bool isTime = EqualIgnoringCase(kind, "time") || EqualIgnoringCase(kind, "seconds");
    if (!isTime && !EqualIgnoringCase(kind, "sample")) return false;
    const bool isMilliseconds = unit == "ms" || name.ends_with("_ms");
    if (isTime) m_secondsPerTime = isMilliseconds ? 1e-3 : 1.0;
    return true;
}

void CsvRecord::TakeComment() {
    const std::string_view text = TrimmedCell(m_line.substr(1));
    double fs = 0;
    if (text.starts_with(kCsvRateFact) && ParseCell(TrimmedCell(text.substr(kCsvRateFact.size())), fs)) {
        m_toldFs = fs;
    } else if (text.starts_with(kCsvStartFact) &&
               ParseStartTime(std::string(text.substr(kCsvStartFact.size())))) {
        m_info.started = text.substr(kCsvStartFact.size());
    } else if (!text.empty()) {
        m_info.remarks.push_back(OneLine(text));
    }
}

void CsvRecord::ReadHeader(const RecordOptions& options) {
    while (true) {
        if (!ReadLine()) Fail("expected a header line with the names of the leads, found the end");
        constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
        if (m_line.starts_with(kByteOrderMark)) m_line.remove_prefix(kByteOrderMark.size());
        if (!m_line.starts_with('#')) break;
        TakeComment();
    }
    for (const char separator : {',', ';', '\t'})
        if (FindSeparator(m_line, separator) != std::string_view::npos) m_separator = separator;
    bool hasUnits = false, withNames = false;
    std::string_view rest = m_line;
    while (true) {
        const std::size_t end = FindSeparator(rest, m_separator);
        std::string_view name = TrimmedCell(rest.substr(0, end));
        const std::string_view unit = TakeUnit(name);
        // CsvField puts an apostrophe in front of a formula.
        if (name.size() > 1 && name[0] == '\'' && kFormulaStarts.find(name[1]) != std::string_view::npos)
            name.remove_prefix(1);
        const std::string lead = OneLine(std::string(name));
        double number = 0;
        withNames |= !lead.empty() && !ParseCell(lead, number);
        if (m_columns.empty() && TakeTimeColumn(lead, unit)) {
            m_columns.push_back({.isLead = false});
        } else {
            const double uvPerUnit = unit.empty() ? options.uVpb : MicrovoltsPer(unit);
            if (lead.empty())
                Fail("column " + std::to_string(m_columns.size() + 1) +
                     ": expected the name of a lead, found none");
            if (uvPerUnit == 0 && unit.empty())
                Fail("column " + Quote(lead) +
                     ": expected a unit, as in \"I (mV)\", or --uv-per-bit, found neither");
            const bool isLead = uvPerUnit != 0;
            hasUnits |= isLead && !unit.empty();
            m_columns.push_back({.isLead = isLead, .uvPerUnit = uvPerUnit});
            if (isLead)
                m_info.leads.push_back(lead);
            else
                m_warnings.push_back(Quote(lead) + " left out: its unit " + Quote(unit) +
                                     " is not a voltage");
        }
        if (m_columns.size() > kMostColumns)
            Fail("expected at most " + std::to_string(kMostColumns) + " columns, found more");
        if (end == std::string_view::npos) break;
        rest.remove_prefix(end + 1);
    }
    if (m_info.leads.empty()) Fail("expected a lead in a unit of voltage, found none");
    if (!withNames) Fail("expected the names of the leads, found numbers: a header line has to be put above");
    MakeUnique(m_info.leads);
    m_info.uVpb = hasUnits ? 0 : options.uVpb;
    m_values.resize(m_columns.size());
}

/// Reads the whole file once for its length, its range and its faults, then begins anew.
void CsvRecord::Survey(const RecordOptions& options) {
    double lowestUv = std::numeric_limits<double>::max(), highestUv = std::numeric_limits<double>::lowest();
    double lastTime = 0;
    while (ReadValues()) {
        lastTime = m_values.front() * m_secondsPerTime;
        if (m_info.frames++ == 0) m_firstTime = lastTime;
        for (std::size_t i = 0; i < m_columns.size(); ++i) {
            if (!m_columns[i].isLead) continue;
            const double uV = m_values[i] * m_columns[i].uvPerUnit;
            lowestUv = std::min(lowestUv, uV);
            highestUv = std::max(highestUv, uV);
        }
    }
    if (m_info.frames == 0)
        throw HostError(m_path, "expected a line of samples after the header, found none");
    if (m_info.uVpb == 0) m_info.uVpb = FinestScale({lowestUv, highestUv});
    double fs = options.fs > 0 ? options.fs : m_toldFs;
    if (fs == 0 && m_secondsPerTime > 0 && lastTime > m_firstTime) {
        fs = static_cast<double>(m_info.frames - 1) / (lastTime - m_firstTime);
        if (std::abs(fs - std::round(fs)) < kRateTolerance * fs) fs = std::round(fs);
    }
    if (fs == 0) throw HostError(m_path, "expected --fs or a first column of rising times, found neither");
    SetRate(m_info, fs, m_path);
}

/// The value of a cell of a lead, or in one without a value the one held; false for other text.
bool CsvRecord::TakeValue(Column& column, std::string_view field, double& value) const {
    if (!IsMissing(field)) {
        if (!ParseCell(field, value, m_separator != ',')) return false;
        // The survey keeps the first value of all, which is held until the reading comes to it.
        const bool isSurvey = m_scalers.empty();
        if (!std::exchange(column.isKnown, true) || !isSurvey) column.latest = value;
        return true;
    }
    ++column.missing;
    value = column.latest;
    return true;
}

/// The next line that is neither empty nor a comment; false at the end.
bool CsvRecord::ReadValues() {
    do {
        if (!ReadLine()) return false;
    } while (TrimmedCell(m_line).empty() || m_line.starts_with('#'));
    std::string_view rest = m_line;
    for (std::size_t i = 0; i < m_values.size(); ++i) {
        const std::size_t end = rest.find(m_separator);
        if ((end == std::string_view::npos) != (i + 1 == m_values.size()))
            Fail("expected " + std::to_string(m_values.size()) + " columns as in the header, found " +
                 std::to_string(std::count(m_line.begin(), m_line.end(), m_separator) + 1));
        const std::string_view field = TrimmedCell(rest.substr(0, end));
        const bool isTime = i == 0 && m_secondsPerTime > 0;
        const bool isRight = isTime                ? ParseCell(field, m_values[i], m_separator != ',')
                             : m_columns[i].isLead ? TakeValue(m_columns[i], field, m_values[i])
                                                   : true;
        if (!isRight) Fail("column " + std::to_string(i + 1) + ": expected a number, found " + Quote(field));
        if (end != std::string_view::npos) rest.remove_prefix(end + 1);
    }
    return true;
}

/// A gap in the times would pass unnoticed: frames are taken as if they followed each other at one rate.
void CsvRecord::CheckTime() {
    if (m_secondsPerTime == 0 || m_lineOutOfPace > 0) return;
    const double seconds = m_values.front() * m_secondsPerTime - m_firstTime;
    const double fs = m_info.storedHz > 0 ? m_info.storedHz : m_info.fs;
    const double framesOff = seconds * fs - static_cast<double>(m_framesRead);
    if (std::abs(framesOff) > 1) m_lineOutOfPace = m_lineNumber;
}

bool CsvRecord::Read(short* frame) {
    if (m_framesRead == m_info.frames || !ReadValues()) return false;
    CheckTime();
    ++m_framesRead;
    std::size_t lead = 0;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        if (!m_columns[i].isLead) continue;
        frame[lead] = m_scalers[lead](m_values[i] * m_columns[i].uvPerUnit);
        ++lead;
    }
    return true;
}

std::vector<std::string> CsvRecord::Warnings() const {
    std::vector<std::string> warnings = m_warnings;
    if (m_lineOutOfPace > 0)
        warnings.push_back("line " + std::to_string(m_lineOutOfPace) + ": its time is not that of frame " +
                           "after frame at " +
                           (m_info.storedHz > 0 ? Number(m_info.storedHz, 3) : std::to_string(m_info.fs)) +
                           " Hz, times are not used");
    std::size_t lead = 0;
    for (const Column& column : m_columns) {
        if (!column.isLead) continue;
        const auto warn = [&](long long count, const char* what) {
            if (count > 0)
                warnings.push_back(Quote(m_info.leads[lead]) + ": " + std::to_string(count) + what);
        };
        warn(column.missing, " cells without a value, value before held");
        warn(m_scalers[lead].Clipped(), " samples clipped at 16 bits");
        ++lead;
    }
    return warnings;
}

std::vector<std::string> CsvRecord::Describe() const {
    return {"format: CSV, " + std::to_string(m_columns.size()) + " columns"};
}
