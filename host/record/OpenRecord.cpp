#include "host/record/OpenRecord.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "host/record/Calibration.h"
#include "host/record/CsvRecord.h"
#include "host/record/EdfRecord.h"
#include "host/record/WfdbSegments.h"
#include "host/support/HostError.h"
#include "host/support/IndexOf.h"
#include "host/support/Text.h"

namespace {

/// Chosen leads of a source, in the order in which they were named.
class LeadSelection : public FrameSource {
public:
    LeadSelection(std::unique_ptr<FrameSource> source, const std::string& path,
                  const std::vector<std::string>& names)
        : m_source(std::move(source)), m_info(m_source->Info()), m_all(m_info.leads.size()) {
        m_info.leads.clear();
        for (const std::string& name : names) Select(path, name);
    }

    const SourceInfo& Info() const override { return m_info; }
    bool Read(short* frame) override {
        if (!m_source->Read(m_all.data())) return false;
        for (const std::size_t lead : m_selected) *frame++ = m_all[lead];
        return true;
    }
    std::vector<std::string> Warnings() const override { return m_source->Warnings(); }
    std::vector<std::string> Describe() const override { return m_source->Describe(); }
    std::vector<std::string> Files() const override { return m_source->Files(); }

private:
    void Select(const std::string& path, const std::string& name) {
        const std::vector<std::string>& there = m_source->Info().leads;
        const auto found = std::find_if(there.begin(), there.end(), [&](const std::string& lead) {
            return EqualIgnoringCase(lead, name);
        });
        std::string list;
        for (const std::string& lead : there) list += " " + lead;
        if (found == there.end())
            throw HostError(path, "lead " + Quote(name) + " is not one of its leads:" + list);
        const auto lead = IndexOf(there, found);
        if (std::find(m_selected.begin(), m_selected.end(), lead) != m_selected.end())
            throw HostError(path, "lead " + Quote(name) + " is asked for twice, of its leads:" + list);
        m_selected.push_back(lead);
        m_info.leads.push_back(*found);
    }

    std::unique_ptr<FrameSource> m_source;
    SourceInfo m_info;
    std::vector<short> m_all;  // a frame of the source
    std::vector<std::size_t> m_selected;
};

std::unique_ptr<FrameSource> OpenByName(const std::string& path, const RecordOptions& options) {
    const std::string extension = std::filesystem::path(path).extension().string();
    if (EqualIgnoringCase(extension, ".edf") || EqualIgnoringCase(extension, ".bdf"))
        return std::make_unique<EdfRecord>(path);
    if (EqualIgnoringCase(extension, ".csv")) return std::make_unique<CsvRecord>(path, options);
    const std::string headerPath = WfdbHeaderPath(path);
    WfdbHeader header = ReadWfdbHeader(headerPath);
    if (!header.segments.empty()) return std::make_unique<WfdbSegments>(headerPath, std::move(header));
    return std::make_unique<WfdbRecord>(path);
}

}  // namespace

std::unique_ptr<FrameSource> OpenRecord(const std::string& path, const RecordOptions& options) {
    std::unique_ptr<FrameSource> source = OpenByName(path, options);
    if (options.leads.empty()) return source;
    return std::make_unique<LeadSelection>(std::move(source), path, options.leads);
}
