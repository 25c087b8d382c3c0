#include "host/record/OpenRecord.h"

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <utility>

#include "host/record/Calibration.h"
#include "host/record/CsvRecord.h"
#include "host/record/EdfRecord.h"
#include "host/record/RawRecord.h"
#include "host/record/ResampledRecord.h"
#include "host/record/WfdbSegments.h"
#include "host/support/HostError.h"
#include "host/support/IndexOf.h"
#include "host/support/InputFile.h"
#include "host/support/Text.h"

namespace fs = std::filesystem;

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

enum class Format { Wfdb, Edf, Csv };

Format FormatOf(const std::string& path) {
    const std::string extension = fs::path(path).extension().string();
    const auto isOneOf = [&](std::initializer_list<const char*> known) {
        return std::any_of(known.begin(), known.end(),
                           [&](const char* one) { return EqualIgnoringCase(extension, one); });
    };
    if (isOneOf({".edf", ".bdf"})) return Format::Edf;
    if (isOneOf({".csv", ".tsv", ".txt"}) || IsPipe(path)) return Format::Csv;
    return Format::Wfdb;
}

/// The one record in a folder.
std::string RecordIn(const std::string& folder) {
    std::vector<std::string> records;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const fs::path& path = entry.path();
        const bool isText = EqualIgnoringCase(path.extension().string(), ".txt");
        if (entry.is_regular_file() && !isText &&
            (path.extension() == ".hea" || FormatOf(path.string()) != Format::Wfdb))
            records.push_back(path.string());
    }
    std::sort(records.begin(), records.end());
    if (records.empty())
        throw HostError(folder, "is a folder without recordings (.hea, .edf, .bdf, .csv, .tsv)");
    if (records.size() > 1)
        throw HostError(folder, "is a folder with " + std::to_string(records.size()) +
                                    " recordings: give one, as " + records.front() +
                                    ", or all to qzstress batch");
    return records.front();
}

/// The header of a WFDB record; `path` may also be one of its other files.
std::string FindHeader(const std::string& path) {
    std::string header = WfdbHeaderPath(path);
    std::error_code unknown;
    if (fs::exists(header, unknown) || !fs::is_regular_file(path, unknown)) return header;
    std::string beside = fs::path(path).replace_extension(".hea").string();
    if (fs::exists(beside, unknown)) return beside;
    throw HostError(path,
                    "is no recording by its name: expected .hea, .edf, .bdf, .csv, .tsv or .txt, or a file "
                    "beside its header " +
                        beside + ", which is not there; --raw reads frames without one");
}

std::unique_ptr<FrameSource> OpenByName(const std::string& path, const RecordOptions& options) {
    if (options.raw) return std::make_unique<RawRecord>(path, *options.raw);
    std::error_code unknown;
    if (fs::is_directory(path, unknown) && !fs::exists(WfdbHeaderPath(path), unknown))
        return OpenByName(RecordIn(path), options);
    const Format format = FormatOf(path);
    if (format == Format::Csv) return std::make_unique<CsvRecord>(path, options);
    for (const auto& [value, name] : {std::pair{options.fs, "--fs"}, {options.uVpb, "--uv-per-bit"}})
        if (value > 0)
            throw HostError(path, std::string(name) + " is for CSV: " +
                                      (format == Format::Edf ? "EDF" : "a WFDB header") + " tells it");
    if (format == Format::Edf) return std::make_unique<EdfRecord>(path);
    const std::string headerPath = FindHeader(path);
    WfdbHeader header = ReadWfdbHeader(headerPath);
    if (!header.segments.empty()) return std::make_unique<WfdbSegments>(headerPath, std::move(header));
    return std::make_unique<WfdbRecord>(headerPath);
}

}  // namespace

std::unique_ptr<FrameSource> OpenRecord(const std::string& path, const RecordOptions& options) {
    std::unique_ptr<FrameSource> source = OpenByName(path, options);
    if (source->Info().storedHz > 0) source = std::make_unique<ResampledRecord>(std::move(source));
    if (options.leads.empty()) return source;
    return std::make_unique<LeadSelection>(std::move(source), path, options.leads);
}
