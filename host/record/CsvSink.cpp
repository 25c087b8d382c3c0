#include "host/record/CsvSink.h"

#include <algorithm>
#include <charconv>

#include "host/support/HostError.h"
#include "host/support/Text.h"

namespace {

constexpr double kFinestUVpb = 1e-6;
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
    : m_chn(info.leads.size()), m_uVpb(info.uVpb), m_decimals(DecimalsOf(info.uVpb)), m_file(path) {
    if (m_uVpb < kFinestUVpb) throw HostError(path, "expected a scale of at least 1e-6 uV per unit for CSV");
    for (const std::string& lead : info.leads) {
        if (!m_line.empty()) m_line += ',';
        m_line += ColumnName(lead);
    }
    m_file.Stream() << m_line << "\n";
}

void CsvSink::Write(const short* frame) {
    m_line.clear();
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        char text[kLongestValue];
        const auto end = std::to_chars(text, text + sizeof text, frame[lead] * m_uVpb,
                                       std::chars_format::fixed, m_decimals)
                             .ptr;
        m_line.append(text, end);
        m_line += lead + 1 < m_chn ? ',' : '\n';
    }
    m_file.Stream() << m_line;
    m_file.Check();
}
