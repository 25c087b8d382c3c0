// qz_bench COUNTS [SIGNAL]: prints what the stages cost in time, in the Markdown of docs/performance.md.
// COUNTS holds "stage instructions" per line (scripts/bench makes it). The signal at 500 Hz is written to
// SIGNAL, 16-bit samples of 12 leads, for the other libraries.
#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "api/qzStressECGLib.h"
#include "bench/Stages.h"
#include "session/StressSession.h"

namespace {

constexpr int kFs = 500, kLeads = 12;
constexpr int kRates[] = {250, 500, 1000};
constexpr int kLeadCounts[] = {1, 2, 3, 8, 12, 16, 64};
constexpr std::size_t kWarmUpSamples = 24000;  // of all leads
constexpr std::size_t kSamplesPerRun = 24000;  // likewise
constexpr int kRuns = 15;
constexpr std::size_t kSessions = 100;
// Frames: 40 s, of which the last session sees the second half, and the last 5 s of them.
constexpr std::size_t kRounds = 20000, kLiveRounds = 2500;

double Nanoseconds(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return 1e9 * static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec);
}
/// Of the processor's time for this program: others add nothing to it but what they take of the caches.
double Busy() { return Nanoseconds(CLOCK_THREAD_CPUTIME_ID); }

/// Nanoseconds per sample and lead: the least of some runs, as other programs only add to it.
double Time(const Step& step, const Signal& signal) {
    const auto leads = static_cast<std::size_t>(signal.leads);
    std::vector<short> frame(leads);
    std::size_t at = 0;
    const auto run = [&](std::size_t frames) {
        for (const std::size_t end = at + frames; at < end; ++at) {
            std::copy_n(signal.Frame(at), leads, frame.begin());
            step(frame.data());
        }
    };
    run(kWarmUpSamples / leads);
    const std::size_t frames = kSamplesPerRun / leads;
    double least = std::numeric_limits<double>::max();
    for (int i = 0; i < kRuns; ++i) {
        const double start = Busy();
        run(frames);
        least = std::min(least, (Busy() - start) / static_cast<double>(frames * leads));
    }
    return least;
}

void PrintStages(const std::map<std::string, std::string>& counts) {
    Signal signal = MakeSignal(kFs, kLeads);
    std::puts(
        "| 12 leads, 500 Hz | instructions | on silence | ns | times real time | literal form, ns | ratio |");
    std::puts("|---|---|---|---|---|---|---|");
    for (const BenchStage& stage : Stages()) {
        const double ns = Time(stage.make(signal), signal);
        const double literal = stage.literal == nullptr ? 0 : Time(stage.literal(signal), signal);
        const auto count = [&counts](const std::string& name) {
            const auto found = counts.find(name);
            return found == counts.end() ? std::string("-") : found->second;
        };
        std::printf("| %s | %s | %s | %.1f | %.0f | ", stage.text.c_str(), count(stage.name).c_str(),
                    count(stage.name + "-silent").c_str(), ns, 1e9 / (ns * kLeads * kFs));
        literal > 0 ? std::printf("%.1f | %.1f |\n", literal, literal / ns) : std::printf("- | - |\n");
    }
}

void PrintLeads() {
    std::printf("\n| ns per sample and lead | Hz |");
    for (const int leads : kLeadCounts) std::printf(" %d |", leads);
    std::printf("\n|---|---|");
    for (std::size_t i = 0; i < std::size(kLeadCounts); ++i) std::printf("---|");
    std::vector<Signal> signals;
    for (const int fs : kRates)
        for (const int leads : kLeadCounts) signals.push_back(MakeSignal(fs, leads));
    for (const BenchStage& stage : Stages()) {
        auto signal = signals.begin();
        for (const int fs : kRates) {
            std::printf("\n| %s | %d |", stage.text.c_str(), fs);
            for (std::size_t i = 0; i < std::size(kLeadCounts); ++i, ++signal)
                std::printf(" %.1f |", Time(stage.make(*signal), *signal));
        }
    }
    std::puts("");
}

/// Every call of match over ten seconds, five times; of each call the least is taken, so that what other
/// programs take is left out.
void PrintLatency() {
    Signal signal = MakeSignal(kFs, kLeads);
    std::vector<double> calls(signal.Count(), std::numeric_limits<double>::max());
    for (int run = 0; run < 5; ++run) {
        qzStressECGLib_create(signal.fs, signal.leads, 1.0);
        short length = signal.length;
        qzStressECGLib_InitTempl(signal.rows.data(), length, signal.posQ, signal.posJ, 60);
        std::vector<short> frame(kLeads);
        for (std::size_t i = 0; i < calls.size(); ++i) {
            std::copy_n(signal.Frame(i), kLeads, frame.begin());
            const double start = Nanoseconds(CLOCK_MONOTONIC);
            qzStressECGLib_match(frame.data());
            calls[i] = std::min(calls[i], Nanoseconds(CLOCK_MONOTONIC) - start);
        }
    }
    qzStressECGLib_destroy();
    std::puts("\n| one call of qzStressECGLib_match, 12 leads | calls |\n|---|---|");
    for (int low = 0, high = 125; high <= 64000; low = high, high *= 2) {
        const auto count = std::count_if(calls.begin(), calls.end(),
                                         [low, high](double ns) { return ns >= low && ns < high; });
        if (count > 0) std::printf("| below %.3g us | %td |\n", high / 1000.0, count);
    }
    const auto longest = std::max_element(calls.begin(), calls.end()) - calls.begin();
    std::sort(calls.begin(), calls.end());
    std::printf(
        "| median, 99th percentile, longest | %.2f us, %.2f us, %.2f us (frame %td after InitTempl) |\n",
        calls[calls.size() / 2] / 1000, calls[calls.size() * 99 / 100] / 1000, calls.back() / 1000, longest);
}

/// Many sessions round robin, one frame each, begun at different times within the first half. Frames come
/// every 2 ms; a round begins when its frames are there and the round before has ended.
void PrintSessions() {
    const Signal signal = MakeSignal(kFs, kLeads);
    qz::SessionOptions options;
    options.fs = kFs;
    for (int lead = 0; lead < kLeads; ++lead) options.leads.push_back(std::to_string(lead));
    qz::SessionObserver observer;
    std::vector<std::unique_ptr<qz::StressSession>> sessions;
    const auto memory = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
    const auto before = memory();
    for (std::size_t i = 0; i < kSessions; ++i)
        sessions.push_back(std::make_unique<qz::StressSession>(options, observer));
    const auto kibPerSession = [&] { return static_cast<double>(memory() - before) / 1024 / kSessions; };
    const double fresh = kibPerSession();

    constexpr double kPeriodNs = 1e9 / kFs;
    double live = 0, end = 0, longestGap = 0;
    for (std::size_t round = 0; round < kRounds; ++round) {
        const double start = Busy();
        for (std::size_t i = 0; i < kSessions; ++i) {
            const std::size_t begin = i * kRounds / 2 / kSessions;
            if (round >= begin) sessions[i]->Push(signal.Frame(round - begin), 1);
        }
        const double took = Busy() - start;
        if (round >= kRounds - kLiveRounds) live += took;
        const double ended = std::max(static_cast<double>(round) * kPeriodNs, end) + took;
        if (round > 0) longestGap = std::max(longestGap, ended - end);
        end = ended;
    }
    const double perFrame = live / static_cast<double>(kLiveRounds * kSessions);
    std::puts("\n| sessions of 12 leads, 500 Hz | |\n|---|---|");
    std::printf("| one frame of one session that has learned | %.2f us |\n", perFrame / 1000);
    std::printf("| live sessions that one core holds | %.0f |\n", kPeriodNs / perFrame);
    std::printf("| longest gap between two frames of any of %zu, some of them learning | %.1f ms |\n",
                kSessions, longestGap / 1e6);
    std::printf("| memory of a session: fresh, with up to %.0f s of signal | %.0f KiB, %.0f KiB |\n",
                static_cast<double>(kRounds) / kFs, fresh, kibPerSession());
}

std::string ProcessorName() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);)
        if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
    return "unknown processor";
}

}  // namespace

int main(int argc, char** argv) {
    std::map<std::string, std::string> counts;
    if (argc > 1) {
        std::ifstream file(argv[1]);
        for (std::string name, count; file >> name >> count;) counts[name] = count;
    }
    if (argc > 2) {
        const Signal signal = MakeSignal(kFs, kLeads);
        std::ofstream(argv[2], std::ios::binary)
            .write(reinterpret_cast<const char*>(signal.frames.data()),
                   static_cast<std::streamsize>(signal.frames.size() * sizeof(short)));
    }
    std::printf("%s, one core, g++ %d.%d -O3\n\n", ProcessorName().c_str(), __GNUC__, __GNUC_MINOR__);
    PrintStages(counts);
    PrintLatency();
    PrintSessions();
    PrintLeads();
}
