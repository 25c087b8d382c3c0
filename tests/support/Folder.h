// Folder.h: a folder of its own for each test, and what tests do with files in it.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "host/support/HostError.h"
#include "host/support/PendingFile.h"

/// Empty at first, gone with the object. The process number keeps apart tests that run at the same time.
class Folder {
public:
    Folder() { std::filesystem::create_directories(m_path); }
    ~Folder() { std::filesystem::remove_all(m_path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string Path(const std::string& name) const { return (m_path / name).string(); }
    std::string Bytes(const std::string& name) const {
        std::ifstream stream(Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    /// The path of the file written. An old one goes first: some file systems wait for the disk when a file
    /// is emptied and filled again.
    std::string Write(const std::string& name, const std::string& bytes) const {
        std::filesystem::remove(Path(name));
        std::ofstream(Path(name), std::ios::binary) << bytes;
        return Path(name);
    }
    std::set<std::string> Names() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_path))
            names.insert(entry.path().filename().string());
        return names;
    }

private:
    std::filesystem::path m_path =
        std::filesystem::path(testing::TempDir()) / ("qzstress_test_" + std::to_string(getpid()));
};

/// What `write` puts into a pending file appears under its name.
template <typename Write>
void WriteWhole(const std::string& path, Write write) {
    PendingFile file(path);
    write(file);
    file.Commit();
}

/// The message of the HostError that `action` ends with; empty where it ends well.
template <typename Action>
std::string RefusalOf(Action action) {
    try {
        action();
    } catch (const HostError& error) {
        return error.what();
    }
    return {};
}

/// While it lives no file of this process grows beyond so many bytes, as on a full disk.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) : m_signal(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_signal);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit m_before{};
    void (*m_signal)(int);
};
