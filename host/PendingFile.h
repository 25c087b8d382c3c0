// PendingFile: a file that appears under its name only when it is complete.
#pragma once

#include <fstream>
#include <string>

/// Writes beside the final name ("NAME.part"); Commit closes, checks and renames. Without Commit nothing is
/// left behind, and a file that had the name before stays as it was.
class PendingFile {
public:
    /// Throws HostError, naming the file, where it cannot be created.
    explicit PendingFile(std::string path);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    std::ostream& Stream() { return m_stream; }
    /// Throws HostError where something could not be written so far: long outputs ask now and then, so that
    /// a full disk ends them early.
    void Check() const;
    /// For libraries that open files themselves: the name to write to. Call CloseStream before.
    const std::string& PartPath() const { return m_partPath; }
    /// Throws as Check does; no more is to be written to the stream.
    void CloseStream();
    /// Throws HostError where anything could not be written.
    void Commit();

private:
    std::string m_path, m_partPath;
    std::ofstream m_stream;
    bool m_bCommitted = false;
};
