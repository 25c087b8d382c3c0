// qzstress view: a finished recording in the page of a live test.
//
//   reading thread:  recording --> KeptSignal, with its overview
//   main thread:     pages are served; once all is read, the frames are analysed as those of a live test,
//                    with the commands that were given in it
//
// Where a file of the recording holds its frames as they are, they are read there; else they are copied into
// a temporary one first.

#include <fcntl.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <future>
#include <iostream>
#include <optional>
#include <thread>

#include "host/live/KeptSignal.h"
#include "host/live/LiveJson.h"
#include "host/live/LiveTest.h"
#include "host/live/MonitorCommand.h"
#include "host/live/PageFeed.h"
#include "host/live/TestFolder.h"
#include "host/record/OpenRecord.h"
#include "host/record/WfdbHeader.h"
#include "host/support/HostError.h"
#include "host/support/Interrupt.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kFramesAtOnce = 2048;      // analysed between two looks at what pages ask for
constexpr std::size_t kSamplesAtOnce = 1 << 17;  // read; they stay in the processor's cache
constexpr std::chrono::milliseconds kIdle{10};

/// A folder that is gone with the object.
class TemporaryFolder {
public:
    TemporaryFolder() : m_path((fs::temp_directory_path() / "qzstress-view-XXXXXX").string()) {
        if (mkdtemp(m_path.data()) == nullptr) throw HostError(m_path, "cannot be created");
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

class ViewRun {
public:
    explicit ViewRun(const ViewOptions& options) {
        std::string protocol;
        SourceInfo info;
        if (fs::exists(options.record + "/journal.jsonl")) {
            const std::vector<std::string> lines = ReadJournal(options.record);
            if (lines.empty()) throw HostError(options.record, "holds no test that has begun");
            const JournalStart start = ParseJournalHead(options.record, lines.front());
            m_commands = ParseJournalCommands(options.record, {lines.begin() + 1, lines.end()});
            for (const auto& [name, value] : start.options)
                if (name == "--protocol") protocol = value;
            RecordOptions raw;  // with samples that are missing told as such
            raw.raw = RawLayout{static_cast<double>(start.info.fs), start.info.leads, start.info.uVpb};
            raw.leads = options.reading.leads;
            m_source = OpenRecord(options.record + "/test.dat", raw);
            info = m_source->Info();
            info.started = start.info.started;
            info.remarks = ReadWfdbHeader(WfdbHeaderPath(options.record + "/test")).remarks;
        } else {
            m_source = OpenRecord(options.record, options.reading);
            info = m_source->Info();
        }
        m_test.emplace(info, options.analysis, protocol);
        if ((m_stored = m_source->Stored())) {
            m_file = FileHandle(open(m_stored->file.OpenName().c_str(), O_RDONLY | O_CLOEXEC));
            if (!m_file.IsOpen()) throw HostError(m_stored->file.Path(), "cannot be opened");
            posix_fadvise(m_file.Value(), 0, 0, POSIX_FADV_SEQUENTIAL);
            m_signal.emplace(m_source->Info(), m_file.Value(), m_stored->byteOffset);
        } else {
            m_copy.emplace(m_temporary.Path() + "/frames");
            m_signal.emplace(m_source->Info(), m_copy->Value());
        }
        m_pages.emplace(options.server, *m_test, *m_signal, m_temporary.Path(), protocol, true);
    }

    int Run() {
        std::cout << "An interrupt ends the program.\nPage: " << m_pages->Url() << std::endl;
        std::future<void> reading = std::async(std::launch::async, [this] { ReadAll(); });
        while (reading.wait_for(kIdle) != std::future_status::ready) Serve();
        reading.get();
        m_pages->Show({}, {}, true);
        Analyse();
        m_test->Finish();
        m_pages->ShowEvents(m_test->TakeEvents());
        while (!Interrupt::IsAsked()) {
            Serve();
            std::this_thread::sleep_for(kIdle);
        }
        return 0;
    }

private:
    void ReadAll() {
        const std::size_t chn = m_source->Info().leads.size();
        const std::size_t most = std::max<std::size_t>(1, kSamplesAtOnce / chn);
        std::vector<short> frames(most * chn);
        for (std::size_t count = most; count == most && !Interrupt::IsAsked();) {
            count = m_stored ? ReadStored(most, frames.data()) : Copy(most, frames.data());
            m_signal->Add(frames.data(), count);
        }
    }

    std::size_t ReadStored(std::size_t most, short* frames) {
        const long long left = m_stored->frames - m_signal->Frames();
        return m_signal->Read(m_signal->Frames(),
                              static_cast<std::size_t>(std::min(left, static_cast<long long>(most))), frames);
    }

    std::size_t Copy(std::size_t most, short* frames) {
        const std::size_t chn = m_source->Info().leads.size();
        std::size_t count = 0;
        while (count < most && m_source->Read(frames + count * chn)) ++count;
        m_copy->Put({reinterpret_cast<const char*>(frames), count * chn * sizeof *frames});
        m_copy->Flush();
        if (!m_copy->Trouble().empty()) throw HostError(m_temporary.Path(), m_copy->Trouble());
        return count;
    }

    void Analyse() {
        auto next = m_commands.begin();
        while (m_test->State().frames < m_signal->Frames() && !Interrupt::IsAsked()) {
            const long long at = m_test->State().frames;
            for (; next != m_commands.end() && next->frames <= at; ++next) m_test->Do(next->command);
            std::size_t count = kFramesAtOnce;
            if (next != m_commands.end())
                count = std::min(count, static_cast<std::size_t>(next->frames - at));
            const std::vector<short> frames = m_signal->Read(at, count);
            if (frames.empty()) throw HostError(m_source->Info().name, "cannot be read to its end");
            m_test->Take(frames.data(), frames.size() / m_test->Info().leads.size());
            m_pages->ShowEvents(m_test->TakeEvents());
            Serve();
        }
        for (; next != m_commands.end(); ++next) m_test->Do(next->command);
    }

    void Serve() {
        for (const PageFeed::Asked& asked : m_pages->Listen())
            m_pages->Answer(asked, m_test->Do(asked.command));
        m_pages->Show({}, {});
    }

    Interrupt m_interrupt;
    TemporaryFolder m_temporary;
    std::unique_ptr<FrameSource> m_source;
    std::vector<JournalCommand> m_commands;
    std::optional<StoredFrames> m_stored;
    FileHandle m_file;                   // of m_stored
    std::optional<AppendedFile> m_copy;  // where there is no m_stored
    std::optional<KeptSignal> m_signal;
    std::optional<LiveTest> m_test;
    std::optional<PageFeed> m_pages;
};

}  // namespace

int RunView(const ViewOptions& options) { return ViewRun(options).Run(); }
