// PendingFile: a file that appears under its name only when it is complete.
#pragma once

#include <fstream>
#include <set>
#include <string>
#include <vector>

/// Writes beside the final name ("NAME.part"); Commit closes, checks and renames. Without Commit nothing is
/// left behind, and a file that had the name before stays as it was. A link to a file is followed; what is no
/// file, such as a pipe or /dev/stdout, is written straight to.
class PendingFile {
public:
    /// Throws HostError, naming the file, where it cannot be created or is pending already.
    explicit PendingFile(std::string path);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    /// The final name as it was given, for messages.
    const std::string& Path() const { return m_path; }
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

    /// Throws HostError where one of these, files that are read, is pending in this process: it would be
    /// lost.
    static void Spare(const std::vector<std::string>& files);

private:
    static std::string CanonicalName(const std::string& path);
    void Forget() const;
    /// The files that are pending in this process, under both of their names.
    static std::set<std::string>& Targets();

    std::string m_path;                // as it was given
    std::string m_target, m_partPath;  // the same where it is written straight to
    std::ofstream m_stream;
    bool m_bCommitted = false;
};
