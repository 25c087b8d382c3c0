#include "host/PendingFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "host/HostError.h"

PendingFile::PendingFile(std::string path) : m_path(std::move(path)), m_partPath(m_path + ".part") {
    // A folder of that name would let everything be written and refuse the renaming at the end.
    std::error_code unknown;
    if (std::filesystem::is_directory(m_path, unknown))
        throw HostError(m_path, "expected the name of a file to write, found a folder");
    errno = 0;
    m_stream.open(m_partPath, std::ios::binary | std::ios::trunc);
    if (!m_stream) throw HostError(m_path, std::string("cannot be created: ") + std::strerror(errno));
}

PendingFile::~PendingFile() {
    if (m_bCommitted) return;
    m_stream.close();
    std::error_code alreadyGone;
    std::filesystem::remove(m_partPath, alreadyGone);
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
    std::filesystem::rename(m_partPath, m_path, error);
    if (error) throw HostError(m_path, "cannot get its final name: " + error.message());
    m_bCommitted = true;
}
