#include "host/record/CsvSink.h"

#include <algorithm>
#include <charconv>

#include "host/record/CsvRecord.h"
#include "host/support/HostError.h"
#include "host/support/Text.h"

namespace {

constexpr double kFinestCsvUVpb = 1e-6;
constexpr int kMostDecimals = 9;  // a thousandth of the finest scale
// Characters of one value: the sign, 309 digits of the largest double, the point, the decimals.
constexpr std::size_t kLongestValue = 1 + 309 + 1 + kMostDecimals;

/// Decimals of the shortest text that reads back as the scale.
int DecimalsOf(double uVpb) {
    char text[1100];  // the longest double in plain digits takes 1077
    const std::string digits(text,
                             std::to_chars(text, text + sizeof text, uVpb, std::chars_format::fixed).ptr);
    const std::size_t point = digits.find('.');
    if (point == std::string::npos) return 0;
    return std::min(static_cast<int>(digits.size() - point - 1), kMostDecimals);
}

/// Blanks for separators and quotes, which would end the name early.
std::string ColumnName(const std::string& lead) {
    std::string name = OneLine(lead);
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == ',' || c == ';' || c == '"'; }, ' ');
    return CsvField(name + " (uV)");
}

}  // namespace

CsvSink::CsvSink(const std::string& path, const SourceInfo& info)
    : m_chn(info.leads.size()),
      m_fs(info.fs),
      m_uVpb(info.uVpb),
      m_decimals(DecimalsOf(info.uVpb)),
      m_file(path) {
    if (m_uVpb < kFinestCsvUVpb)
        throw HostError(path, "expected a scale of at least 1e-6 uV per unit for CSV");
    std::ostream& out = m_file.Stream();
    out << "# " << kCsvRateFact << std::to_string(info.fs) << "\n";
    if (!info.started.empty()) out << "# " << kCsvStartFact << info.started << "\n";
    for (const std::string& remark : info.remarks) out << "# " << OneLine(remark) << "\n";
    out << "time_s";
    for (const std::string& lead : info.leads) out << ',' << ColumnName(lead);
    out << "\n";
}

void CsvSink::PutNumber(double value, int decimals, char behind) {
    char text[kLongestValue];
    m_line.append(text,
                  std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals).ptr);
    m_line += behind;
}

void CsvSink::Write(const short* frame) {
    m_line.clear();
    // Whole milliseconds where the rate has them, else microseconds.
    PutNumber(static_cast<double>(m_frames++) / m_fs, 1000 % m_fs == 0 ? 3 : 6, ',');
    for (std::size_t lead = 0; lead < m_chn; ++lead)
        PutNumber(frame[lead] * m_uVpb, m_decimals, lead + 1 < m_chn ? ',' : '\n');
    m_file.Stream() << m_line;
    m_file.Check();
}
