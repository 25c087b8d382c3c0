// PendingFile: a file that appears under its name only when it is complete.
//
//   created   ".qzstress-XXXXXX" in the folder of the name: no other run has it, its owner alone reads it
//   Commit    the rights of the file that is replaced, all bytes on the disk, then the name
//
// Of two runs that write to one name each result is whole, and the later one stays. Without Commit nothing is
// left behind, and a file that had the name before stays as it was. A name that is a link to a file stands
// for that file: it is replaced and the link stays. A pipe, "-" for the standard output, and a file that
// the shell has opened (/dev/stdout) are written directly.
#pragma once

#include <fstream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/support/FileHandle.h"
#include "host/support/HostError.h"

/// The system refuses to create or to write a file. Other outputs of the run are not concerned.
class WriteError : public HostError {
public:
    using HostError::HostError;
};

class PendingFile {
public:
    /// Throws WriteError where it cannot be created, HostError where it is pending already or a folder.
    explicit PendingFile(std::string path);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    /// The final name as it was given, for messages.
    const std::string& Path() const { return m_path; }
    std::ostream& Stream() { return m_stream; }
    /// Throws WriteError if something could not be written so far. Long outputs call this now and then, so
    /// that a full disk ends them early.
    void Check() const;
    /// Name to write to for libraries that open files themselves. Call CloseStream before.
    const std::string& OpenName() const { return m_openName; }
    /// Closes the stream, to which nothing may be written any more. Throws like Check.
    void CloseStream();
    /// Gives the file its name. Throws WriteError if anything could not be written.
    void Commit() { CommitAll({this}); }
    /// Commits files that belong together, in this order. All are complete before the first gets its name,
    /// and no other run names files in these folders meanwhile: files of two runs do not mix. Throws like
    /// Commit.
    static void CommitAll(const std::vector<PendingFile*>& files);
    /// Commits groups of such files. A group that fails gets no names and costs the others nothing; returns
    /// why, an error for each of these.
    [[nodiscard]] static std::vector<WriteError> CommitGroups(
        const std::vector<std::vector<PendingFile*>>& groups);

    /// Throws HostError if there is a file of this name that holds something and does not begin with
    /// `beginning`, by which a result is known to be one of the same kind; without one it must not be there.
    static void RefuseReplacing(const std::string& path, std::string_view beginning = {});

    /// Throws HostError if one of these inputs is also an output of this process: it would be lost.
    static void RefuseOverwriting(const std::vector<std::string>& files);

private:
    static std::string CanonicalName(const std::string& path);
    std::string TargetFolder() const;
    void CreateTemporary();
    void Discard();
    void Complete();
    void Rename();
    /// The files that are pending in this process.
    static std::set<std::string>& Targets();

    std::string m_path;           // as it was given
    std::string m_target;         // the file of that name, links followed
    std::string m_temporaryPath;  // empty for a pipe or an open file, and after Commit
    FileHandle m_temporary;
    std::string m_openName;
    std::ofstream m_stream;
};
