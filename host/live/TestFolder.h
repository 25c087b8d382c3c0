// TestFolder: a test on disk as it is taken, every sample and every event from the moment it comes.
//
//   test.hea       WFDB header: rate, leads and scale from the start, the length when the test has ended
//   test.dat       its samples, format 16, appended; kMissing where the source gave none
//   journal.jsonl  a line of JSON for each event and command, appended
//
// What is appended is handed to the system at once and written through to the disk twice a second: the end
// of this process, however sudden, loses nothing of it, that of the machine less than a second. Where the
// disk is full, what comes waits in memory until there is room; beyond kMostWaitingBytes its place is kept
// and filled with kMissing, so that the time of what follows is right. That the folder is still where it was
// is looked after twice a second, too.
#pragma once

#include <atomic>
#include <condition_variable>
#include <ctime>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/live/KeptSignal.h"
#include "host/live/LiveSource.h"
#include "host/record/WfdbSink.h"
#include "host/support/FileHandle.h"

/// A file that is appended to.
class AppendedFile {
public:
    /// Opens the file, or creates it. Throws HostError.
    explicit AppendedFile(const std::string& path);
    void Put(std::string_view bytes) { m_waiting += bytes; }
    /// Hands over what waits, as far as there is room.
    void Flush();
    std::size_t WaitingBytes() const { return m_waiting.size(); }
    /// Why something waits; empty if nothing does.
    const std::string& Trouble() const { return m_trouble; }
    /// False once its path leads to another file or to none. Any thread.
    bool IsUnderItsName() const;
    int Value() const { return m_file.Value(); }

private:
    std::string m_path;
    FileHandle m_file;
    std::string m_waiting, m_trouble;
};

class TestFolder {
public:
    static constexpr std::size_t kMostWaitingBytes = 8 << 20;

    /// Begins a test: creates the folder; `firstLine` begins the journal. Throws HostError where there is
    /// something in it already.
    TestFolder(const std::string& folder, const SourceInfo& info, const std::string& firstLine);
    /// Goes on with a test that was left, of which the journal's first line tells `info`. A frame or a line
    /// that was cut off by the end is dropped. Throws HostError where another process has the folder.
    TestFolder(const std::string& folder, const SourceInfo& info);
    ~TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    const std::string& Name() const { return m_folder; }
    /// Name of the record, for readers.
    std::string Record() const { return m_folder + "/test"; }
    /// What is kept.
    const KeptSignal& Signal() const { return m_signal; }
    /// Of a test that goes on: from its latest sample on, by the clock on the wall; 0 without a sample, or
    /// where it lies in the future.
    double SecondsSinceLast() const;
    /// Gives the kept frames, in order and in pieces. Called before the first Append, and once.
    void Replay(const std::function<void(const short*, std::size_t)>& take);

    void Append(const short* frames, std::size_t count);
    /// A line of the journal, without its end.
    void Note(const std::string& line);
    /// Why something is not on the disk, for people; empty if all is.
    std::string Trouble() const;
    /// The test has ended: the header tells its length, and `remarks`. Throws WriteError.
    void Finish(const std::vector<std::string>& remarks);

private:
    void Lock();
    void Put(const short* frames, std::size_t count);
    void WriteHeader(const WfdbTotals& totals);
    void WriteThrough();

    std::string m_folder;
    SourceInfo m_info;
    WfdbTotals m_totals;  // of all frames that were put
    AppendedFile m_journal, m_samples;
    KeptSignal m_signal;
    timespec m_lastWritten{};  // sample of the test that goes on
    long long m_unkept = 0;    // frames beyond what may wait
    std::atomic<int> m_syncError = 0;
    std::atomic<bool> m_isAway = false;  // the files are not under their names
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_isEnding = false;  // under m_mutex
    std::thread m_writeThrough;
};

/// The lines of a test's journal; one that was cut off is left out. Throws HostError.
std::vector<std::string> ReadJournal(const std::string& folder);
