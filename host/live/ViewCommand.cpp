// qzstress view: a finished recording in the page of a live test.
//
// The frames are copied into a folder of their own first, so that every place can be shown; then they are
// analysed as those of a live test, with the commands that were given in it where the recording is one.

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <thread>

#include "host/live/LiveJson.h"
#include "host/live/LiveTest.h"
#include "host/live/MonitorCommand.h"
#include "host/live/PageFeed.h"
#include "host/live/TestFolder.h"
#include "host/record/OpenRecord.h"
#include "host/support/HostError.h"
#include "host/support/Interrupt.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kFramesAtOnce = 2048;  // between two looks at what pages ask for
constexpr std::chrono::milliseconds kIdle{20};

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
        if (fs::exists(options.record + "/journal.jsonl")) {
            const std::vector<std::string> lines = ReadJournal(options.record);
            if (lines.empty()) throw HostError(options.record, "holds no test that has begun");
            const JournalStart start = ParseJournalHead(options.record, lines.front());
            m_commands = ParseJournalCommands(options.record, {lines.begin() + 1, lines.end()});
            for (const auto& [name, value] : start.options)
                if (name == "--protocol") protocol = value;
            RecordOptions raw;  // with samples that are missing told as such
            raw.raw = RawLayout{static_cast<double>(start.info.fs), start.info.leads, start.info.uVpb};
            m_source = OpenRecord(options.record + "/test.dat", raw);
        } else {
            m_source = OpenRecord(options.record, options.reading);
        }
        m_folder.emplace(m_temporary.Path(), m_source->Info(), JournalHead(m_source->Info(), {}));
        m_test.emplace(m_source->Info(), options.analysis, protocol);
        m_pages.emplace(options.server, *m_test, *m_folder, protocol, true);
    }

    int Run() {
        std::cout << "An interrupt ends the program.\nPage: " << m_pages->Url() << std::endl;
        Copy();
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
    void Copy() {
        const std::size_t chn = m_source->Info().leads.size();
        std::vector<short> frames(kFramesAtOnce * chn);
        for (bool isThere = true; isThere && !Interrupt::IsAsked();) {
            std::size_t count = 0;
            while (count < kFramesAtOnce && (isThere = m_source->Read(frames.data() + count * chn))) ++count;
            m_folder->Append(frames.data(), count);
            if (!m_folder->Trouble().empty()) throw HostError(m_temporary.Path(), m_folder->Trouble());
            Serve();
        }
    }

    void Analyse() {
        auto next = m_commands.begin();
        while (m_test->State().frames < m_folder->Frames() && !Interrupt::IsAsked()) {
            const long long at = m_test->State().frames;
            for (; next != m_commands.end() && next->frames <= at; ++next) m_test->Do(next->command);
            std::size_t count = kFramesAtOnce;
            if (next != m_commands.end())
                count = std::min(count, static_cast<std::size_t>(next->frames - at));
            const std::vector<short> frames = m_folder->Read(at, count);
            m_test->Take(frames.data(), frames.size() / m_test->Info().leads.size());
            m_pages->ShowEvents(m_test->TakeEvents());
            Serve();
        }
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
    std::optional<TestFolder> m_folder;
    std::optional<LiveTest> m_test;
    std::optional<PageFeed> m_pages;
};

}  // namespace

int RunView(const ViewOptions& options) { return ViewRun(options).Run(); }
