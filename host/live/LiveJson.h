// LiveJson: a running test in JSON, as devices begin, as journals keep it and as pages are told of it.
//
// docs/monitor.md describes each of these. Times are seconds, levels microvolts; null is not known.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/live/LiveSource.h"
#include "host/live/LiveState.h"
#include "host/record/FrameSource.h"
#include "host/results/StressResult.h"

/// A device's first line: {"fs": 500, "leads": ["I", "II"], "uVpb": 2.5}. Throws HostError, naming what was
/// expected.
SourceInfo ParseDeviceLine(const std::string& line);

/// The first line of a journal: what the test is made of. Options as the command line gave them.
std::string JournalHead(const SourceInfo& info, const GivenOptions& options);
struct JournalStart {
    SourceInfo info;
    GivenOptions options;
};
/// Throws HostError for a line that is none.
JournalStart ParseJournalHead(const std::string& folder, const std::string& line);

std::string JournalLine(const live::Event& event);
/// The command was done after so many frames.
std::string JournalLine(const live::Command& command, long long frames);
struct JournalCommand {
    live::Command command;
    long long frames = 0;
};
/// The commands among the lines of a journal. Throws HostError for a line that cannot be read.
std::vector<JournalCommand> ParseJournalCommands(const std::string& folder,
                                                 const std::vector<std::string>& lines);

/// What a page is told when it comes: the signal, the protocol, whether a finished recording is viewed, and
/// how long that is as far as it tells.
std::string HelloMessage(const SourceInfo& info, const std::string& protocol, bool isView);
std::string StateMessage(const live::State& state, const LiveStatus& source, const std::string& trouble,
                         double keptSeconds);
std::string BeatsMessage(const live::Beats& beats, int fs);
/// A page that has others forgets them where `isWhole`.
std::string EventsMessage(const std::vector<live::Event>& events, bool isWhole);
/// Beats as they are found, or with the number of a request those of the stretch that it asks for.
std::string BeatMarksMessage(const std::vector<live::BeatMark>& marks, std::uint32_t request = 0);
/// A page of a strip lies under /results/`file`; or `why` there is none.
std::string StripMessage(const std::string& file, const std::string& why);
std::string FindsMessage(const live::Finds& finds);
/// Rows from `first` on; a page that has others forgets them where `isWhole`.
std::string TrendMessage(const std::vector<live::TrendRow>& rows, std::size_t first, bool isWhole);
/// Files of results, as the page may ask for them.
std::string ResultsMessage(const std::vector<std::string>& names, const std::string& why);
/// An answer to a command: false where it was not done.
std::string DoneMessage(const std::string& name, bool isDone);

/// A stretch of signal in one binary message, low byte first: kind (1 as it comes, 2 as asked for), 0, leads
/// in 16 bits; the number of the request in 32; the first frame and the time on the wall at which the last
/// one came, ms from 1970 on, as doubles; frames per value and number of values, 32 bits each; then the
/// samples, all leads of a value after each other. With more than one frame per value it is the lowest sample
/// of these frames, and the highest follows as a value of its own. kMissing is missing.
struct SignalHead {
    int kind = 1;
    std::uint32_t request = 0;
    double firstFrame = 0, wallMs = 0;
    std::uint32_t framesPerValue = 1;
};
std::string SignalMessage(const SignalHead& head, std::size_t leads, const short* samples,
                          std::size_t values);

/// What a page asks for: the frames; or the stretch in so many columns, of whatever length.
struct SignalRequest {
    std::uint32_t number = 0;
    long long fromFrame = 0, frames = 0;
    int columns = 0;  // 0: the frames
};
struct PageRequest {
    std::optional<live::Command> command;
    std::string name;  // of the command
    std::optional<SignalRequest> signal;
    std::optional<double> stripSeconds;  // the middle of a strip that is to be drawn
    std::string language;                // of its texts
    std::optional<double> ping;
};
/// Empty of all where the text is no request.
PageRequest ParsePageRequest(const std::string& text);
/// Answers a ping.
std::string PongMessage(double ping, double wallMs);
