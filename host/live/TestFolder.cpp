#include "host/live/TestFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "host/support/HostError.h"
#include "host/support/InputFile.h"
#include "host/support/PendingFile.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::milliseconds kWriteThroughEvery{500};
constexpr long long kMostJournalBytes = 256 << 20;
constexpr std::size_t kFramesPerPiece = 4096;  // of a replay

std::string JournalPath(const std::string& folder) { return folder + "/journal.jsonl"; }
std::string SamplesPath(const std::string& folder) { return folder + "/test.dat"; }

const std::string& CreateFolder(const std::string& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) throw HostError(folder, "cannot be created: " + error.message());
    if (!fs::is_empty(folder, error) || error)
        throw HostError(folder, "holds something already: a new folder is expected, or --resume");
    return folder;
}

short SampleAt(const char* bytes) {
    return static_cast<short>(static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[0]) |
                                                         static_cast<unsigned char>(bytes[1]) << 8));
}

/// Cuts a file back to `bytes`.
void Cut(int file, const std::string& path, long long bytes) {
    if (ftruncate(file, bytes) != 0)
        throw HostError(path, std::string("cannot be cut: ") + std::strerror(errno));
}

}  // namespace

AppendedFile::AppendedFile(const std::string& path)
    : m_path(path),
      m_file(open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR)) {
    if (!m_file.IsOpen()) throw HostError(path, std::string("cannot be written: ") + std::strerror(errno));
}

void AppendedFile::Flush() {
    std::size_t written = 0;
    m_trouble.clear();
    while (written < m_waiting.size()) {
        const ssize_t count = write(m_file.Value(), m_waiting.data() + written, m_waiting.size() - written);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            m_trouble = OneLine(m_path + ": " + std::strerror(errno));
            break;
        }
        written += static_cast<std::size_t>(count);
    }
    m_waiting.erase(0, written);
}

bool AppendedFile::IsUnderItsName() const {
    struct stat named {};
    struct stat opened {};
    return stat(m_path.c_str(), &named) == 0 && fstat(m_file.Value(), &opened) == 0 &&
           named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

TestFolder::TestFolder(const std::string& folder, const SourceInfo& info, const std::string& firstLine)
    : m_folder(CreateFolder(folder)),
      m_info(info),
      m_totals(info.leads.size()),
      m_journal(JournalPath(folder)),
      m_samples(SamplesPath(folder)),
      m_signal(info, m_samples.Value()) {
    Lock();
    Note(firstLine);
    WriteHeader(m_totals);
    m_writeThrough = std::thread([this] { WriteThrough(); });
}

TestFolder::TestFolder(const std::string& folder, const SourceInfo& info)
    : m_folder(folder),
      m_info(info),
      m_totals(info.leads.size()),
      m_journal(JournalPath(folder)),
      m_samples(SamplesPath(folder)),
      m_signal(info, m_samples.Value()) {
    Lock();
    struct stat facts {};
    if (fstat(m_samples.Value(), &facts) == 0 && facts.st_size > 0) m_lastWritten = facts.st_mtim;
    const std::string text = ReadText(JournalPath(folder), kMostJournalBytes);
    Cut(m_journal.Value(), JournalPath(folder), static_cast<long long>(text.rfind('\n')) + 1);
    const auto frameBytes = static_cast<std::uintmax_t>(2 * info.leads.size());
    const std::uintmax_t bytes = fs::file_size(SamplesPath(folder));
    // A test that had ended has its length in the header.
    WriteHeader(m_totals);
    if (bytes % frameBytes != 0)
        Cut(m_samples.Value(), SamplesPath(folder), static_cast<long long>(bytes - bytes % frameBytes));
    m_writeThrough = std::thread([this] { WriteThrough(); });
}

TestFolder::~TestFolder() {
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
    }
    m_wake.notify_all();
    if (m_writeThrough.joinable()) m_writeThrough.join();
}

/// Of two processes that write into one folder, the second is refused. The system frees it with the process.
void TestFolder::Lock() {
    if (flock(m_journal.Value(), LOCK_EX | LOCK_NB) != 0)
        throw HostError(m_folder, "is being written by another process");
}

double TestFolder::SecondsSinceLast() const {
    if (m_lastWritten.tv_sec == 0) return 0;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    // A clock that was set back meanwhile tells nothing.
    return std::max(0.0, static_cast<double>(now.tv_sec - m_lastWritten.tv_sec) +
                             static_cast<double>(now.tv_nsec - m_lastWritten.tv_nsec) * 1e-9);
}

void TestFolder::Replay(const std::function<void(const short*, std::size_t)>& take) {
    const std::size_t chn = m_info.leads.size();
    std::vector<short> frames(kFramesPerPiece * chn);
    std::vector<char> bytes(2 * frames.size());
    std::ifstream file = InputFile(SamplesPath(m_folder)).Stream();
    while (file.read(bytes.data(), std::ssize(bytes)) || file.gcount() > 0) {
        const std::size_t count = BytesRead(file) / (2 * chn);
        for (std::size_t i = 0; i < count * chn; ++i) frames[i] = SampleAt(&bytes[2 * i]);
        for (std::size_t i = 0; i < count; ++i) m_totals.Add(&frames[i * chn]);
        m_signal.Add(frames.data(), count);
        take(frames.data(), count);
    }
}

void TestFolder::Put(const short* frames, std::size_t count) {
    static_assert(std::endian::native == std::endian::little);  // samples lie in memory as in the file
    const std::size_t chn = m_info.leads.size();
    for (std::size_t i = 0; i < count; ++i) m_totals.Add(frames + i * chn);
    m_signal.Add(frames, count);
    m_samples.Put({reinterpret_cast<const char*>(frames), count * chn * sizeof *frames});
}

void TestFolder::Append(const short* frames, std::size_t count) {
    const auto hasRoom = [this] { return m_samples.WaitingBytes() < kMostWaitingBytes; };
    if (!hasRoom()) m_samples.Flush();
    const std::vector<short> missing(m_info.leads.size(), kMissing);
    for (; m_unkept > 0 && hasRoom(); --m_unkept) Put(missing.data(), 1);
    if (m_samples.WaitingBytes() == 0 && m_unkept == 0) {
        Put(frames, count);
        count = 0;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (m_unkept > 0 || !hasRoom())
            ++m_unkept;
        else
            Put(frames + i * m_info.leads.size(), 1);
    }
    m_samples.Flush();
    if (m_journal.WaitingBytes() > 0) m_journal.Flush();
}

void TestFolder::Note(const std::string& line) {
    if (m_journal.WaitingBytes() > kMostWaitingBytes) return;
    m_journal.Put(line);
    m_journal.Put("\n");
    m_journal.Flush();
}

std::string TestFolder::Trouble() const {
    if (!m_samples.Trouble().empty()) return m_samples.Trouble();
    if (!m_journal.Trouble().empty()) return m_journal.Trouble();
    if (m_isAway) return OneLine(m_folder + ": the test is not found there any more: deleted or moved?");
    const int error = m_syncError;
    return error == 0 ? "" : OneLine(m_folder + ": " + std::strerror(error));
}

void TestFolder::WriteHeader(const WfdbTotals& totals) {
    PendingFile header(Record() + ".hea");
    WriteWfdbHeader(header.Stream(), "test", m_info, totals);
    header.Commit();
}

void TestFolder::Finish(const std::vector<std::string>& remarks) {
    m_samples.Flush();
    m_journal.Flush();
    if (!Trouble().empty()) throw WriteError(m_folder, "is not whole: " + Trouble());
    m_info.remarks.insert(m_info.remarks.end(), remarks.begin(), remarks.end());
    WriteHeader(m_totals);
}

/// In a thread of its own: a disk that takes its time holds nothing up.
void TestFolder::WriteThrough() {
    std::unique_lock lock(m_mutex);
    while (!m_isEnding) {
        m_wake.wait_for(lock, kWriteThroughEvery, [this] { return m_isEnding; });
        lock.unlock();
        for (const int file : {m_samples.Value(), m_journal.Value()})
            if (fdatasync(file) != 0) m_syncError = errno;
        m_isAway = !m_samples.IsUnderItsName() || !m_journal.IsUnderItsName();
        lock.lock();
    }
}

std::vector<std::string> ReadJournal(const std::string& folder) {
    const std::string text = ReadText(JournalPath(folder), kMostJournalBytes);
    std::vector<std::string> lines;
    for (std::size_t begin = 0, end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1)
        lines.push_back(text.substr(begin, end - begin));
    return lines;
}
