// FileHandle: an open file or folder of the system, closed with the object.
#pragma once

#include <unistd.h>

#include <string>
#include <utility>

class FileHandle {
public:
    FileHandle() = default;
    /// Takes what `open` returned; a value below 0 is no file.
    explicit FileHandle(int value) : m_value(value) {}
    ~FileHandle() {
        if (m_value >= 0) close(m_value);
    }
    FileHandle(FileHandle&& other) noexcept : m_value(std::exchange(other.m_value, -1)) {}
    FileHandle& operator=(FileHandle&& other) noexcept {
        std::swap(m_value, other.m_value);
        return *this;
    }

    bool IsOpen() const { return m_value >= 0; }
    int Value() const { return m_value; }
    /// A name under which streams and libraries open this very file again, even if its own name now belongs
    /// to another file. Valid while the object lives.
    std::string Name() const { return "/proc/self/fd/" + std::to_string(m_value); }

private:
    int m_value = -1;
};
