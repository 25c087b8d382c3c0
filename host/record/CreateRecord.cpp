#include "host/record/CreateRecord.h"

#include <cmath>
#include <filesystem>

#include "host/record/CsvSink.h"
#include "host/record/EdfSink.h"
#include "host/record/WfdbSink.h"
#include "host/support/HostError.h"

namespace {

/// The end of the file's name from the last dot on, in lower case, whatever the locale.
std::string Extension(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    for (char& c : extension)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return extension;
}

}  // namespace

RecordFormat RecordFormatOf(const std::string& path) {
    if (path == "-") throw HostError(path, "expected the name of a file to write");
    const std::string extension = Extension(path);
    if (extension == ".bdf") throw HostError(path, "expected .edf, .csv or a WFDB name: BDF is not written");
    if (extension == ".edf") return RecordFormat::Edf;
    return extension == ".csv" ? RecordFormat::Csv : RecordFormat::Wfdb;
}

std::string RecordBase(const std::string& path) {
    const std::string extension = Extension(path);
    const bool tellsFormat = extension == ".edf" || extension == ".csv" || extension == ".hea";
    return path.substr(0, path.size() - (tellsFormat ? extension.size() : 0));
}

std::vector<std::string> RecordFiles(const std::string& path) {
    if (RecordFormatOf(path) != RecordFormat::Wfdb) return {path};
    return {RecordBase(path) + ".hea", RecordBase(path) + ".dat"};
}

std::unique_ptr<FrameSink> CreateRecord(const std::string& path, const SourceInfo& info) {
    if (info.leads.empty()) throw HostError(path, "expected at least one lead to write, found none");
    if (info.fs < 1) throw HostError(path, "expected at least one sample per second to write");
    if (!std::isnormal(info.uVpb) || info.uVpb < 0)
        throw HostError(path, "expected a scale above zero microvolts per unit to write");
    switch (RecordFormatOf(path)) {
        case RecordFormat::Edf: return std::make_unique<EdfSink>(path, info);
        case RecordFormat::Csv: return std::make_unique<CsvSink>(path, info);
        case RecordFormat::Wfdb: break;
    }
    return std::make_unique<WfdbSink>(RecordBase(path), info);
}
