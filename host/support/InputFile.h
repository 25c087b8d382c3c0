// InputFile: the one gate through which the program opens what it reads.
//
// A name may come from a stranger, by way of a header, a list or an archive. Only regular files are opened: a
// pipe would be waited for without end. The file that was checked is the file that is read. Of a recording
// that the user names himself, `OfUser` also takes a pipe.
#pragma once

#include <cstddef>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "host/support/FileHandle.h"

class InputFile {
public:
    /// Throws HostError where it cannot be opened or is no regular file.
    explicit InputFile(const std::string& path);
    /// `name` in `folder` (empty: the present one). Throws HostError as above, and where links lead out of
    /// the folder.
    InputFile(const std::string& folder, const std::string& name);

    /// The same for what the user names on the command line: "-", the standard input, and a pipe are read to
    /// their ends first, into a file without a name.
    static InputFile OfUser(const std::string& path);

    const std::string& Path() const { return m_path; }
    long long Bytes() const { return m_bytes; }
    /// A stream from the first byte on; it outlives this object.
    std::ifstream Stream() const { return std::ifstream(m_handle.Name(), std::ios::binary); }
    /// Name for libraries that open files themselves; valid while this object lives.
    std::string OpenName() const { return m_handle.Name(); }

private:
    friend class Spool;
    InputFile(std::string path, FileHandle handle, long long bytes)
        : m_path(std::move(path)), m_handle(std::move(handle)), m_bytes(bytes) {}

    std::string m_path;
    FileHandle m_handle;
    long long m_bytes = 0;
};

/// True for "-", the standard input, and for the name of a pipe.
bool IsPipe(const std::string& path);
/// Opens it for reading; waits for whoever writes to it. Throws HostError.
FileHandle OpenPipe(const std::string& path);

/// Bytes that are made here and then read like a file: they lie in a file without a name.
class Spool {
public:
    /// `path` is what messages name. Throws HostError where there is no room for temporary files.
    explicit Spool(std::string path);
    void Put(const char* bytes, std::size_t count);
    InputFile Finish() &&;

private:
    std::string m_path;
    FileHandle m_handle;
    long long m_bytes = 0;
};

/// Bytes that the latest read or getline took from the stream.
inline std::size_t BytesRead(const std::istream& stream) { return static_cast<std::size_t>(stream.gcount()); }

/// Sixteen digits that tell the contents of files, in this order, from other contents (FNV-1a, 64 bits).
/// Throws HostError as InputFile.
std::string ContentMark(const std::vector<std::string>& paths);

/// Longest text that is read at once, bytes: headers, lists of records, tables of stages.
inline constexpr long long kMostTextBytes = 4 << 20;

/// Reads a whole text. "-" and "/dev/stdin" are the standard input; everything else goes through InputFile.
/// Throws HostError for a text longer than `mostBytes`, before reading it, and for a text with zero bytes in
/// it.
std::string ReadText(const std::string& path, long long mostBytes = kMostTextBytes);
