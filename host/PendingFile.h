// PendingFile: a file that appears under its name only when it is complete.
#pragma once

#include <fstream>
#include <string>

/// Writes beside the final name ("NAME.part"); Commit closes, checks and renames. Without Commit nothing is
/// left behind.
class PendingFile {
public:
    /// Throws HostError, naming the file, where it cannot be created.
    explicit PendingFile(std::string path);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    std::ostream& Stream() { return m_stream; }
    /// For libraries that open files themselves: the name to write to. Call CloseStream before.
    const std::string& PartPath() const { return m_partPath; }
    void CloseStream();
    /// Throws HostError where anything could not be written.
    void Commit();

private:
    std::string m_path, m_partPath;
    std::ofstream m_stream;
    bool m_bCommitted = false;
};
