// FuzzFile: the bytes that libFuzzer makes up, as files, because the readers open their recordings by name.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "host/record/FrameSource.h"

/// Where the files go: into memory where the machine has such a folder, as a disk would be too slow.
class FuzzFolder {
public:
    FuzzFolder() { std::filesystem::create_directories(m_path); }
    ~FuzzFolder() { std::filesystem::remove_all(m_path); }
    FuzzFolder(const FuzzFolder&) = delete;
    FuzzFolder& operator=(const FuzzFolder&) = delete;
    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path =
        std::filesystem::path(std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp") /
        ("qz_fuzz_" + std::to_string(getpid()));
};

/// Written anew for every input.
inline std::string WriteFuzzFile(const std::string& name, std::string_view bytes) {
    static const FuzzFolder folder;
    std::string path = (folder.Path() / name).string();
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return path;
}

inline std::string_view AsText(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Reads as a program would. A gap may be announced as long as a year: such a one is left early.
inline void ReadThrough(FrameSource& source) {
    constexpr int kMostFrames = 10000;
    std::vector<short> frame(source.Info().leads.size());
    for (int i = 0; i < kMostFrames && source.Read(frame.data()); ++i) continue;
    source.Warnings();
    source.Describe();
}
