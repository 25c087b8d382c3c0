#include "host/support/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "host/support/HostError.h"

namespace fs = std::filesystem;

InputFile::InputFile(const std::string& path)
    : m_path(path), m_handle(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {
    if (!m_handle.IsOpen()) throw HostError(path, std::string("cannot be opened: ") + std::strerror(errno));
    struct stat about {};
    if (fstat(m_handle.Value(), &about) != 0 || !S_ISREG(about.st_mode))
        throw HostError(path, std::string("expected a file, found a ") +
                                  (S_ISDIR(about.st_mode) ? "folder" : "pipe or a device"));
    m_bytes = about.st_size;
}

InputFile::InputFile(const std::string& folder, const std::string& name)
    : InputFile((fs::path(folder) / name).string()) {
    std::error_code unknown;
    const fs::path inside = fs::canonical(folder.empty() ? "." : folder, unknown);
    const fs::path found = fs::read_symlink(OpenName(), unknown).lexically_relative(inside);
    if (unknown || found.empty() || *found.begin() == "..")
        throw HostError(m_path, "expected a file in the folder of the header, found a link out of it");
}

InputFile InputFile::OfUser(const std::string& path) {
    if (!IsPipe(path)) return InputFile(path);
    const FileHandle from = OpenPipe(path);
    Spool spool(path);
    std::string block(1 << 16, '\0');
    while (true) {
        const ssize_t count = read(from.Value(), block.data(), block.size());
        if (count < 0)
            throw HostError(path, std::string("cannot be read to its end: ") + std::strerror(errno));
        if (count == 0) return std::move(spool).Finish();
        spool.Put(block.data(), static_cast<std::size_t>(count));
    }
}

bool IsPipe(const std::string& path) {
    std::error_code unknown;
    return path == "-" || fs::is_fifo(path, unknown);
}

FileHandle OpenPipe(const std::string& path) {
    FileHandle handle(path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
    if (!handle.IsOpen()) throw HostError(path, std::string("cannot be opened: ") + std::strerror(errno));
    return handle;
}

Spool::Spool(std::string path) : m_path(std::move(path)) {
    std::string name = (fs::temp_directory_path() / "qzstress-XXXXXX").string();
    m_handle = FileHandle(mkostemp(name.data(), O_CLOEXEC));
    if (!m_handle.IsOpen())
        throw HostError(name, std::string("a temporary file cannot be created: ") + std::strerror(errno));
    unlink(name.c_str());
}

void Spool::Put(const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = write(m_handle.Value(), bytes, count);
        if (written < 0)
            throw HostError(m_path,
                            std::string("cannot be kept in a temporary file: ") + std::strerror(errno));
        bytes += written;
        count -= static_cast<std::size_t>(written);
        m_bytes += written;
    }
}

InputFile Spool::Finish() && { return {std::move(m_path), std::move(m_handle), m_bytes}; }

std::string ContentMark(const std::vector<std::string>& paths) {
    std::uint64_t mark = 0xcbf29ce484222325;
    for (const std::string& path : paths) {
        std::ifstream file = InputFile(path).Stream();
        for (char byte = 0; file.get(byte);) mark = (mark ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
    }
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(mark));
    return digits.data();
}

std::string ReadText(const std::string& path, long long mostBytes) {
    const auto refuse = [&](const std::string& found) {
        throw HostError(path,
                        "expected a text of at most " + std::to_string(mostBytes) + " bytes, found " + found);
    };
    std::ifstream stream;
    if (path == "/dev/stdin" || path == "-") {
        stream.open("/dev/stdin", std::ios::binary);
    } else {
        const InputFile file(path);
        if (file.Bytes() > mostBytes) refuse(std::to_string(file.Bytes()));
        stream = file.Stream();
    }
    std::string text;
    char block[4096];
    do {
        stream.read(block, sizeof block);
        text.append(block, BytesRead(stream));
        if (std::ssize(text) > mostBytes) refuse("more");
    } while (stream);
    if (stream.bad()) throw HostError(path, "cannot be read to its end");
    if (text.find('\0') != std::string::npos) refuse("a zero byte");
    return text;
}
