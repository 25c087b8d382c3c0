#include "host/live/MonitorCommand.h"

#include <algorithm>
#include <ctime>
#include <exception>
#include <filesystem>
#include <future>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "host/cli/ExitCodes.h"
#include "host/live/LiveJson.h"
#include "host/live/LiveSource.h"
#include "host/live/LiveTest.h"
#include "host/live/PageFeed.h"
#include "host/live/TestFolder.h"
#include "host/live/TestResults.h"
#include "host/record/Patient.h"
#include "host/record/WfdbHeader.h"
#include "host/support/HostError.h"
#include "host/support/InputFile.h"
#include "host/support/Interrupt.h"
#include "host/support/PendingFile.h"
#include "host/support/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::milliseconds kWait{20};  // for the source; commands are heard this late
constexpr double kLongestGapSeconds = 3600;     // over which a test goes on

/// The time on the wall as strftime has it.
std::string Now(const char* format) {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    char text[32];
    return {text, std::strftime(text, sizeof text, format, &parts)};
}

/// The options of an analysis and the protocol, which a test that goes on keeps.
GivenOptions KeptOptions(const MonitorOptions& options) {
    GivenOptions kept = options.given;
    if (!options.protocol.empty()) kept.emplace_back("--protocol", options.protocol);
    return kept;
}

std::string Words(const GivenOptions& options) {
    std::string words;
    for (const auto& [name, value] : options)
        words += (words.empty() ? "" : " ") + name + (value == "true" ? "" : "=" + value);
    return words.empty() ? "no options" : words;
}

void CheckSameSignal(const std::string& name, const SourceInfo& source, const SourceInfo& kept) {
    if (source.fs != kept.fs || source.leads != kept.leads || source.uVpb != kept.uVpb)
        throw HostError(name, "gives other signals than the test: " + std::to_string(source.leads.size()) +
                                  " leads at " + std::to_string(source.fs) + " Hz, not " +
                                  std::to_string(kept.leads.size()) + " leads at " + std::to_string(kept.fs) +
                                  " Hz, or other names or another scale");
}

class MonitorRun {
public:
    explicit MonitorRun(const MonitorOptions& options) : m_options(options), m_folderName(options.folder) {
        if (m_options.isResumed)
            GoOn();
        else
            Begin();
        if (m_options.hasPage) ServePage();
    }

    int Run() {
        std::cout << "The test is kept in " << OneLine(m_folderName) << "; an interrupt ends it.\n";
        if (m_pages) std::cout << "Page: " << m_pages->Url() << "\n";
        std::cout << std::flush;
        std::vector<short> frames;
        bool isThere = true;
        while (isThere && !m_isEnded && !Interrupt::IsAsked()) {
            frames.clear();
            isThere = ReadSource(frames);
            const std::size_t count = frames.size() / m_test->Info().leads.size();
            m_folder->Append(frames.data(), count);
            m_test->Take(frames.data(), count);
            if (m_pages) m_pages->ShowSignal(frames.data(), count);
            Listen();
            TellOfSource();
            TellOfDisk();
            Note();
            if (m_pages) m_pages->Show(m_source->Status(), m_trouble);
        }
        int code = End();
        while (m_pages && !Interrupt::IsAsked()) {
            std::this_thread::sleep_for(kWait);
            Listen();
            if (IsRoomAgain()) code = Conclude();
            m_pages->Show(m_source->Status(), m_trouble);
        }
        return m_hasSourceFailed ? kExitFailed : code;
    }

private:
    void Begin() {
        m_source = OpenLive(m_options.source, m_options.reading, m_options.speed);
        SourceInfo info = m_source->Info();
        info.name = "test";
        info.started = Now("%Y-%m-%d %H:%M:%S");
        info.storedHz = 0;
        if (m_folderName.empty()) m_folderName = Now("qzstress-%Y%m%d-%H%M%S");
        std::optional<std::string> patient;
        if (!m_options.patientFile.empty()) {
            info.patient = Complete(info.patient, ReadPatient(m_options.patientFile));
            patient = ReadText(m_options.patientFile);
        }
        m_test.emplace(info, m_options.analysis, m_options.protocol);
        m_folder.emplace(m_folderName, info, JournalHead(info, KeptOptions(m_options)));
        if (patient) {
            PendingFile file(m_folderName + "/patient.json");
            file.Stream() << *patient;
            file.Commit();
        }
    }

    /// Where the page cannot be served no test has begun: its folder is free for the next attempt.
    void ServePage() {
        try {
            m_pages.emplace(m_options.server, *m_test, m_folder->Signal(), m_folderName, m_options.protocol);
        } catch (const HostError&) {
            std::error_code ignored;
            if (!m_options.isResumed) {
                for (const char* name : {"/journal.jsonl", "/test.hea", "/test.dat", "/patient.json", ""})
                    fs::remove(m_folderName + name, ignored);
            }
            throw;
        }
        m_pages->ShowEvents(m_replayed);
    }

    /// Takes what was kept again, and puts the time since then as a gap behind it.
    void GoOn() {
        if (m_folderName.empty()) throw HostError("--resume", "expected --out with the folder of the test");
        const std::vector<std::string> lines = ReadJournal(m_folderName);
        if (lines.empty()) throw HostError(m_folderName, "holds no test that has begun");
        JournalStart start = ParseJournalHead(m_folderName, lines.front());
        if (start.options != KeptOptions(m_options))
            throw HostError(m_folderName, "was begun with " + Words(start.options) +
                                              ": the same are expected, not " +
                                              Words(KeptOptions(m_options)));
        // What the source told of the patient stands in the header, and what --patient told.
        if (const std::string header = WfdbHeaderPath(m_folderName + "/test"); fs::exists(header)) {
            WfdbHeader kept = ReadWfdbHeader(header);
            start.info.patient = std::move(kept.patient);
            start.info.remarks = std::move(kept.remarks);
        }
        const std::vector<JournalCommand> commands =
            ParseJournalCommands(m_folderName, {lines.begin() + 1, lines.end()});
        const auto isEnd = [](const JournalCommand& one) {
            return one.command.kind == live::Command::Kind::End;
        };
        if (std::any_of(commands.begin(), commands.end(), isEnd))
            throw HostError(m_folderName, "holds a test that has ended");
        m_folder.emplace(m_folderName, start.info);
        if (m_folder->SecondsSinceLast() > kLongestGapSeconds)
            throw HostError(m_folderName, "was left more than an hour ago: begin another test");
        m_test.emplace(start.info, m_options.analysis, m_options.protocol);
        Replay(commands);
        // An event that the end has cut off is told now.
        const std::set<std::string> told(lines.begin(), lines.end());
        for (const live::Event& event : m_replayed)
            if (const std::string line = JournalLine(event); !told.contains(line)) m_folder->Note(line);
        m_source = OpenLive(m_options.source, m_options.reading, m_options.speed);
        CheckSameSignal(m_options.source, m_source->Info(), start.info);
        m_source->GoOn(m_folder->Signal().Frames(), m_folder->SecondsSinceLast());
    }

    void Replay(const std::vector<JournalCommand>& commands) {
        auto next = commands.begin();
        const auto doDue = [&] {
            for (; next != commands.end() && next->frames <= m_test->State().frames; ++next)
                m_test->Do(next->command);
        };
        const std::size_t chn = m_test->Info().leads.size();
        m_folder->Replay([&](const short* frames, std::size_t count) {
            while (count > 0) {
                doDue();
                const long long upTo = next == commands.end()
                                           ? m_test->State().frames + static_cast<long long>(count)
                                           : next->frames;
                const auto part = static_cast<std::size_t>(
                    std::min(static_cast<long long>(count), upTo - m_test->State().frames));
                m_test->Take(frames, part);
                frames += part * chn;
                count -= part;
            }
        });
        doDue();
        for (; next != commands.end(); ++next) m_test->Do(next->command);  // their samples are lost
        m_replayed = m_test->TakeEvents();
    }

    /// As LiveSource has it; a source that cannot be read on has ended, and why is told.
    bool ReadSource(std::vector<short>& frames) {
        try {
            return m_source->Read(frames, kWait);
        } catch (const HostError& error) {
            m_hasSourceFailed = true;
            std::cerr << "qzstress: " << error.what() << std::endl;
            Tell(live::Event::Kind::Source, error.what());
            return false;
        }
    }

    /// What the pages ask for.
    void Listen() {
        if (!m_pages) return;
        for (const PageFeed::Asked& asked : m_pages->Listen()) {
            const bool isEnd = asked.command.kind == live::Command::Kind::End;
            const bool isDone = m_test->Do(asked.command);
            if (isDone && !isEnd) m_folder->Note(JournalLine(asked.command, m_test->State().frames));
            m_isEnded = m_isEnded || (isDone && isEnd);
            m_pages->Answer(asked, isDone);
        }
    }

    /// What happened goes into the journal, and stages into their file.
    void Note() {
        bool isCourseNew = false;
        const std::vector<live::Event> events = m_test->TakeEvents();
        if (m_pages) m_pages->ShowEvents(events);
        for (const live::Event& event : events) {
            m_folder->Note(JournalLine(event));
            isCourseNew = isCourseNew || event.kind == live::Event::Kind::Stage ||
                          event.kind == live::Event::Kind::Done;
        }
        if (!m_pages) m_test->TakeBeatMarks();
        if (isCourseNew) KeepCourse();
    }

    void KeepCourse() {
        try {
            WriteCourse(m_folderName, m_test->State());
        } catch (const WriteError&) {
            // The journal has it too, and the alarm of the disk is on.
        }
    }

    void TellOfSource() {
        const LiveStatus status = m_source->Status();
        if (std::exchange(m_said, status.what) == status.what || status.what.empty()) return;
        Tell(live::Event::Kind::Source, status.what);
    }

    /// An event outside the signal.
    void Tell(live::Event::Kind kind, const std::string& text) {
        const live::Event event{kind, m_test->State().seconds, {}, text};
        m_folder->Note(JournalLine(event));
        if (m_pages) m_pages->ShowEvents({event});
    }

    void TellOfDisk() {
        const std::string trouble = m_folder->Trouble();
        m_test->SetAlarm(live::Alarm::Kind::NotKept, !trouble.empty());
        if (std::exchange(m_trouble, trouble) == trouble) return;
        if (!trouble.empty()) std::cerr << "qzstress: " << trouble << std::endl;
        Tell(live::Event::Kind::Kept, trouble);
    }

    /// Writes the results; returns why there are none.
    std::string Analyze() {
        fs::create_directories(m_folderName + "/results");
        // Pages are served meanwhile: the analysis of a long test takes its time.
        std::future<int> code = std::async(std::launch::async, RunProgram,
                                           AnalysisWords(m_folderName, m_test->State(), m_options.given));
        while (code.wait_for(kWait) != std::future_status::ready) {
            Listen();
            if (m_pages) m_pages->Show(m_source->Status(), m_trouble);
        }
        return code.get() == 0 ? "" : "the analysis failed";
    }

    /// The test has ended while the disk was full: true once it has taken all that waited.
    bool IsRoomAgain() {
        if (m_trouble.empty()) return false;
        m_folder->Append(nullptr, 0);
        TellOfDisk();
        return m_trouble.empty();
    }

    int End() {
        const live::Command end{live::Command::Kind::End, m_test->State().endedBecause};
        m_folder->Note(JournalLine(end, m_test->State().frames));
        m_test->Finish();
        Note();
        if (m_pages) m_pages->Show(m_source->Status(), m_trouble, true);
        return Conclude();
    }

    /// Completes the recording and makes the results. Returns the exit code.
    int Conclude() {
        std::string why;
        try {
            m_folder->Finish(m_test->State().marks);
            KeepCourse();
            why = m_test->State().frames > 0 ? Analyze() : "there has been no signal";
        } catch (const std::exception& error) {
            why = error.what();
        }
        if (why.empty())
            std::cout << "Results: " << OneLine(m_folderName) << "/results" << std::endl;
        else
            std::cerr << "qzstress: no results: " << OneLine(why) << std::endl;
        if (m_pages) m_pages->ShowResults(why.empty() ? kResultFiles : std::vector<std::string>{}, why);
        return why.empty() ? 0 : kExitFailed;
    }

    Interrupt m_interrupt;
    const MonitorOptions& m_options;
    std::string m_folderName;
    std::unique_ptr<LiveSource> m_source;
    std::optional<TestFolder> m_folder;
    std::optional<LiveTest> m_test;
    std::vector<live::Event> m_replayed;
    std::string m_said, m_trouble;  // latest of the source and of the disk
    bool m_isEnded = false;         // by a page
    bool m_hasSourceFailed = false;
    std::optional<PageFeed> m_pages;
};

}  // namespace

int RunMonitor(const MonitorOptions& options) { return MonitorRun(options).Run(); }
