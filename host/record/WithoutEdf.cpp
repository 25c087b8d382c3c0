// What stands for the readers and writers of EDF in a build without EDFlib: they refuse every file.
#include "host/record/EdfRecord.h"
#include "host/record/EdfSink.h"
#include "host/support/HostError.h"

namespace {

[[noreturn]] void Refuse(const std::string& path) {
    throw HostError(path,
                    "EDF and BDF are left out of this build: EDFlib (Debian: libedf-dev) was not there");
}

}  // namespace

struct EdfRecord::State {};

EdfRecord::EdfRecord(const std::string& path) { Refuse(path); }
EdfRecord::~EdfRecord() = default;
bool EdfRecord::Read(short*) { return false; }
std::vector<std::string> EdfRecord::Warnings() const { return {}; }
std::vector<std::string> EdfRecord::Describe() const { return {}; }
std::vector<std::string> EdfRecord::Files() const { return {}; }

EdfSink::EdfSink(const std::string& path, const SourceInfo&) : m_path(path), m_chn(0), m_fs(0), m_file(path) {
    Refuse(path);
}
EdfSink::Handle::~Handle() = default;
void EdfSink::Write(const short*) {}
std::vector<PendingFile*> EdfSink::Finish() { return {}; }
