// PendingFile: a file that appears under its name only when it is complete.
#pragma once

#include <fstream>
#include <set>
#include <string>

/// Writes beside the final name ("NAME.part"); Commit closes, checks and renames. Without Commit nothing is
/// left behind, and a file that had the name before stays as it was. A link is followed; what is no file,
/// such as a pipe or /dev/stdout, is written straight to.
class PendingFile {
public:
    /// Throws HostError, naming the file, where it cannot be created or is pending already.
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

    /// The files, by their canonical names, that are pending in this process: for those who must not lose
    /// one.
    static const std::set<std::string>& Targets() { return MutableTargets(); }

private:
    static std::set<std::string>& MutableTargets();

    std::string m_path;                // as it was given
    std::string m_target, m_partPath;  // the same where it is written straight to
    std::ofstream m_stream;
    bool m_bCommitted = false;
};
