#include "host/support/PendingFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

namespace fs = std::filesystem;

namespace {

// Waits 5 s at most for the lock, which another run holds for a few renamings.
constexpr int kLockAttempts = 200;
constexpr std::chrono::milliseconds kLockWait{25};

/// Opens the folder and locks it against other runs; without a lock if it is held too long or the file system
/// has none.
FileHandle LockedFolder(const std::string& folder) {
    FileHandle handle(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (int i = 0; i < kLockAttempts && flock(handle.Value(), LOCK_EX | LOCK_NB) != 0; ++i) {
        if (errno != EWOULDBLOCK && errno != EINTR) break;
        std::this_thread::sleep_for(kLockWait);
    }
    return handle;
}

/// Gives the file the owner and the rights of the file that it replaces. If the group cannot be kept, the
/// group gets no rights: it would be another group.
bool TakeRights(int handle, const std::string& replaced) {
    struct stat before {};
    if (stat(replaced.c_str(), &before) != 0) return true;
    mode_t rights = before.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    constexpr uid_t kAsItIs = static_cast<uid_t>(-1);
    if (fchown(handle, before.st_uid, before.st_gid) != 0 && fchown(handle, kAsItIs, before.st_gid) != 0)
        rights &= ~static_cast<mode_t>(S_IRWXG);
    return fchmod(handle, rights) == 0;
}

/// True for what the shell has opened for the program: it must not be replaced, even if it is a file.
bool IsOpenAlready(const std::string& path) {
    const std::string name = fs::absolute(path).lexically_normal().string();
    return name == "/dev/stdout" || name == "/dev/stderr" || name.starts_with("/dev/fd/") ||
           name.starts_with("/proc/");
}

}  // namespace

PendingFile::PendingFile(std::string path) : m_path(std::move(path)) {
    if (m_path == "-") {
        if (!Targets().insert(m_path).second) throw HostError(m_path, "two outputs have this name");
        m_target = m_path;
        m_openName = "/dev/stdout";
        m_stream.open(m_openName, std::ios::binary | std::ios::app);
        return;
    }
    // A folder of this name would only refuse the renaming at the end, after all the work.
    std::error_code unknown;
    const fs::file_status before = fs::status(m_path, unknown);
    if (fs::is_directory(before))
        throw HostError(m_path, "expected the name of a file to write, found a folder");
    const bool isFile = (!fs::exists(before) || fs::is_regular_file(before)) && !IsOpenAlready(m_path);
    m_target = m_openName = m_path;
    if (isFile) {
        m_target = CanonicalName(m_path);
        if (Targets().count(m_target) > 0) throw HostError(m_path, "two outputs have this name");
        CreateTemporary();
        Targets().insert(m_target);
    }
    errno = 0;
    m_stream.open(m_openName, std::ios::binary | std::ios::app);
    if (m_stream) return;
    const std::string reason = std::strerror(errno);
    Discard();
    throw WriteError(m_path, "cannot be created: " + reason);
}

PendingFile::~PendingFile() { Discard(); }

void PendingFile::Discard() {
    if (!m_temporary.IsOpen() && m_target != "-") return;
    Targets().erase(m_target);
    if (!m_temporaryPath.empty()) unlink(m_temporaryPath.c_str());
}

void PendingFile::CreateTemporary() {
    std::string name = TargetFolder() + "/.qzstress-XXXXXX";
    m_temporary = FileHandle(mkostemp(name.data(), O_CLOEXEC));  // exclusively, rights 0600
    if (!m_temporary.IsOpen())
        throw WriteError(m_path, std::string("cannot be created: ") + std::strerror(errno));
    m_temporaryPath = std::move(name);
    m_openName = m_temporary.Name();
}

void PendingFile::RefuseOverwriting(const std::vector<std::string>& files) {
    for (const std::string& path : files)
        if (Targets().count(CanonicalName(path)) > 0)
            throw HostError(path, "is read from, and cannot be written to as well");
}

void PendingFile::RefuseReplacing(const std::string& path, std::string_view beginning) {
    std::error_code unknown;
    if (!fs::is_regular_file(path, unknown) || IsOpenAlready(path) || fs::is_empty(path, unknown)) return;
    std::string found(beginning.size(), '\0');
    std::ifstream(path, std::ios::binary).read(found.data(), std::ssize(found));
    if (beginning.empty() || found != beginning)
        throw HostError(path, std::string("is there already") +
                                  (beginning.empty() ? "" : ", and is no earlier result of this kind") +
                                  ": --force replaces it");
}

std::string PendingFile::CanonicalName(const std::string& path) {
    if (path.empty()) return path;
    std::error_code unknown;
    const fs::path absolute = fs::absolute(path), name = fs::weakly_canonical(absolute, unknown);
    return (unknown ? absolute : name).string();
}

std::string PendingFile::TargetFolder() const { return fs::path(m_target).parent_path().string(); }

std::set<std::string>& PendingFile::Targets() {
    static std::set<std::string> targets;
    return targets;
}

void PendingFile::Check() const {
    if (m_stream) return;
    // The stream does not keep the reason, but one more byte is refused for the same.
    std::filebuf& direct = *m_stream.rdbuf();
    const bool isRefused =
        m_temporary.IsOpen() ? pwrite(m_temporary.Value(), "", 1, lseek(m_temporary.Value(), 0, SEEK_END)) < 0
                             : direct.sputc('\n') == std::filebuf::traits_type::eof() || direct.pubsync() < 0;
    const std::string reason = !isRefused       ? "is the disk full?"
                               : errno == EPIPE ? "nobody reads it any more"
                                                : std::strerror(errno);
    throw WriteError(m_path, "cannot be written to its end: " + reason);
}

void PendingFile::CloseStream() {
    if (m_stream.is_open()) {
        m_stream.flush();
        Check();
        m_stream.close();
    }
    Check();
}

void PendingFile::Complete() {
    CloseStream();
    if (!m_temporary.IsOpen()) return;
    if (!TakeRights(m_temporary.Value(), m_target))
        throw WriteError(m_path,
                         std::string("cannot get the rights of the file before: ") + std::strerror(errno));
    if (fsync(m_temporary.Value()) != 0)
        throw WriteError(m_path, std::string("cannot be written to its end: ") + std::strerror(errno));
}

void PendingFile::Rename() {
    if (m_temporaryPath.empty()) return;
    std::error_code error;
    fs::rename(m_temporaryPath, m_target, error);
    if (error) throw WriteError(m_path, "cannot get its final name: " + error.message());
    m_temporaryPath.clear();
}

void PendingFile::CommitAll(const std::vector<PendingFile*>& files) {
    const std::vector<WriteError> errors = CommitGroups({files});
    if (!errors.empty()) throw WriteError(errors.front());
}

std::vector<WriteError> PendingFile::CommitGroups(const std::vector<std::vector<PendingFile*>>& groups) {
    std::vector<WriteError> errors;
    std::vector<const std::vector<PendingFile*>*> complete;
    std::set<std::string> folders;  // sorted: two runs never wait for each other
    for (const std::vector<PendingFile*>& group : groups) {
        try {
            for (PendingFile* file : group) file->Complete();
            complete.push_back(&group);
            for (PendingFile* file : group)
                if (file->m_temporary.IsOpen()) folders.insert(file->TargetFolder());
        } catch (const WriteError& error) {
            errors.push_back(error);
        }
    }
    std::vector<FileHandle> locked;
    for (const std::string& folder : folders) locked.push_back(LockedFolder(folder));
    for (const std::vector<PendingFile*>* group : complete) {
        try {
            for (PendingFile* file : *group) file->Rename();
        } catch (const WriteError& error) {
            errors.push_back(error);
        }
    }
    // Brings the names to the disk too; a file system that cannot promise that is no reason to fail.
    for (const FileHandle& folder : locked) fsync(folder.Value());
    return errors;
}
