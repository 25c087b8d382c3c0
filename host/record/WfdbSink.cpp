#include "host/record/WfdbSink.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "host/record/StartTime.h"
#include "host/support/HostError.h"
#include "host/support/Units.h"

namespace {

/// The shortest digits that read back as `value`.
std::string ShortestDigits(double value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

/// End of a record line, " hh:mm:ss[ dd/mm/yyyy]"; empty if the start is not known.
std::string StartFields(const std::string& started) {
    const std::optional<StartTime> start = ParseStartTime(started);
    if (!start) return {};
    const auto two = [](int value) { return std::string(value < 10 ? "0" : "") + std::to_string(value); };
    std::string fields = " " + two(start->hour) + ":" + two(start->minute) + ":" + two(start->second);
    if (start->hasDate)
        fields += " " + two(start->day) + "/" + two(start->month) + "/" + std::to_string(start->year);
    return fields;
}

}  // namespace

WfdbSink::WfdbSink(const std::string& base, const SourceInfo& info)
    : m_name(std::filesystem::path(base).filename().string()),
      m_info(info),
      m_header(base + ".hea"),
      m_samples(base + ".dat"),
      m_bytes(2 * info.leads.size()),
      m_totals(info.leads.size()) {
    const auto breaksWord = [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == 0x7F; };
    if (m_name.empty() || m_name.front() == '#' || std::any_of(m_name.begin(), m_name.end(), breaksWord))
        throw HostError(base + ".hea", "expected a record name without blanks, found \"" + m_name + "\"");
}

void WfdbTotals::Add(const short* frame) {
    if (frames++ == 0) initial.assign(frame, frame + sum.size());
    for (std::size_t lead = 0; lead < sum.size(); ++lead)
        sum[lead] = static_cast<std::uint16_t>(sum[lead] + static_cast<std::uint16_t>(frame[lead]));  // wraps
}

void WriteWfdbHeader(std::ostream& out, const std::string& name, const SourceInfo& info,
                     const WfdbTotals& totals) {
    out << name << " " << std::to_string(totals.sum.size()) << " " << std::to_string(info.fs) << " "
        << std::to_string(totals.frames) << StartFields(info.started) << "\n";
    for (std::size_t lead = 0; lead < totals.sum.size(); ++lead) {
        // 16 bits of resolution, ADC zero 0; the checksum is written signed, the last 0 is the block size.
        const int initial = totals.initial.empty() ? 0 : totals.initial[lead];
        out << name << ".dat 16 " << ShortestDigits(kUvPerMv / info.uVpb) << "(0)/mV 16 0 "
            << std::to_string(initial) << " " << std::to_string(static_cast<std::int16_t>(totals.sum[lead]))
            << " 0 " << OneLine(info.leads[lead]) << "\n";
    }
    for (const std::string& line : PatientRemarks(info.patient)) out << "# " << OneLine(line) << "\n";
    for (const std::string& remark : info.remarks) out << "# " << OneLine(remark) << "\n";
}

void WfdbSink::Write(const short* frame) {
    m_totals.Add(frame);
    for (std::size_t lead = 0; lead < m_totals.sum.size(); ++lead) {
        const auto bits = static_cast<std::uint16_t>(frame[lead]);
        m_bytes[2 * lead] = static_cast<char>(bits & 0xFF);
        m_bytes[2 * lead + 1] = static_cast<char>(bits >> 8);
    }
    m_samples.Stream().write(m_bytes.data(), std::ssize(m_bytes));
    m_samples.Check();
}

std::vector<PendingFile*> WfdbSink::Finish() {
    WriteWfdbHeader(m_header.Stream(), m_name, m_info, m_totals);
    // The header makes the record: when it appears, the samples are there.
    return {&m_samples, &m_header};
}
