#include "host/PendingFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "host/HostError.h"

PendingFile::PendingFile(std::string path) : m_path(std::move(path)) {
    // A folder of that name would let everything be written and refuse the renaming at the end.
    std::error_code unknown;
    const std::filesystem::file_status before = std::filesystem::status(m_path, unknown);
    if (std::filesystem::is_directory(before))
        throw HostError(m_path, "expected the name of a file to write, found a folder");
    const bool isFile = !std::filesystem::exists(before) || std::filesystem::is_regular_file(before);
    m_target = isFile ? CanonicalName(m_path) : m_path;
    m_partPath = isFile ? m_target + ".part" : m_target;
    if (isFile && (Targets().count(m_target) > 0 || Targets().count(m_partPath) > 0))
        throw HostError(m_path, "two outputs have this name");
    if (isFile) Targets().insert({m_target, m_partPath});
    errno = 0;
    m_stream.open(m_partPath, std::ios::binary | std::ios::trunc);
    if (m_stream) return;
    const std::string reason = std::strerror(errno);
    if (isFile) Forget();
    throw HostError(m_path, "cannot be created: " + reason);
}

PendingFile::~PendingFile() {
    if (m_partPath == m_target) return;
    Forget();
    if (m_bCommitted) return;
    m_stream.close();
    std::error_code alreadyGone;
    std::filesystem::remove(m_partPath, alreadyGone);
}

void PendingFile::Forget() const {
    Targets().erase(m_target);
    Targets().erase(m_partPath);
}

void PendingFile::Spare(const std::vector<std::string>& files) {
    for (const std::string& path : files)
        if (Targets().count(CanonicalName(path)) > 0)
            throw HostError(path, "is read from, and cannot be written to as well");
}

std::string PendingFile::CanonicalName(const std::string& path) {
    std::error_code unknown;
    const std::string name = std::filesystem::weakly_canonical(path, unknown).string();
    return name.empty() ? path : name;
}

std::set<std::string>& PendingFile::Targets() {
    static std::set<std::string> targets;
    return targets;
}

void PendingFile::Check() const {
    if (!m_stream) throw HostError(m_path, "cannot be written to its end: is the disk full?");
}

void PendingFile::CloseStream() {
    if (m_stream.is_open()) m_stream.close();
    Check();
}

void PendingFile::Commit() {
    CloseStream();
    std::error_code error;
    if (m_partPath != m_target) std::filesystem::rename(m_partPath, m_target, error);
    if (error) throw HostError(m_path, "cannot get its final name: " + error.message());
    m_bCommitted = true;
}
