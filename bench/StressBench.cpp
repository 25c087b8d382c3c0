// Time per frame of every stage and of the whole chain: 12 leads of the simulated exercise test at rest, at
// 250, 500 and 1000 samples per second. Each benchmark's time is that of one frame.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <vector>

#include "api/qzDfs.h"
#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "bench/LiteralCorrelator.h"
#include "core/stress/CZatTemplRxy.h"
#include "host/simulate/SimulatedTest.h"

namespace {

constexpr short kLeads = SimulatedTest::kLeads;
constexpr int kSeconds = 30;
constexpr short kPostJms = 60;
constexpr short kWindowMs = 280;
constexpr int kBeforeRms = 320, kAfterRms = 480;

/// A stretch of the simulated test, and the third beat cut out of it as a template.
struct Recording {
    short fs = 0;
    std::vector<short> frames;                       // interleaved
    std::array<std::vector<short>, kLeads> beat;     // one row per lead
    std::array<short*, kLeads> rows = {};            // into beat
    short length = 0, posQ = 0, posR = 0, posJ = 0;  // samples of the beat

    std::size_t Count() const { return frames.size() / kLeads; }
};

Recording Record(int fs) {
    SimulatedTestOptions options;
    options.fs = fs;
    options.seconds = 900;
    SimulatedTest source(options);
    Recording recording;
    recording.fs = static_cast<short>(fs);
    recording.frames.resize(static_cast<std::size_t>(fs) * kSeconds * kLeads);
    for (std::size_t i = 0; i < recording.Count(); ++i) source.Read(&recording.frames[i * kLeads]);

    const SimulatedBeat& beat = source.Beats()[2];
    const auto samples = [fs](double ms) { return static_cast<short>(ms * fs / 1000); };
    recording.length = samples(kBeforeRms + kAfterRms);
    recording.posR = samples(kBeforeRms);
    recording.posQ = samples(kBeforeRms + beat.onsetMs);
    recording.posJ = samples(kBeforeRms + beat.jMs);
    const auto start = static_cast<std::size_t>(beat.r - recording.posR);
    for (std::size_t lead = 0; lead < kLeads; ++lead) {
        for (std::size_t i = 0; i < static_cast<std::size_t>(recording.length); ++i)
            recording.beat[lead].push_back(recording.frames[(start + i) * kLeads + lead]);
        recording.rows[lead] = recording.beat[lead].data();
    }
    return recording;
}

/// The recording at fs, made once.
Recording& RecordingAt(int fs) {
    static std::map<int, std::unique_ptr<Recording>> recordings;
    std::unique_ptr<Recording>& recording = recordings[fs];
    if (!recording) {
        recording = std::make_unique<Recording>(Record(fs));
        for (std::size_t lead = 0; lead < kLeads; ++lead)
            recording->rows[lead] = recording->beat[lead].data();
    }
    return *recording;
}

/// Feeds the recording round and round, one copied frame per iteration.
template <typename Work>
void PerFrame(benchmark::State& state, Work work) {
    const Recording& recording = RecordingAt(static_cast<int>(state.range(0)));
    std::array<short, kLeads> frame;
    std::size_t i = 0;
    for (auto _ : state) {
        std::copy_n(&recording.frames[i * kLeads], kLeads, frame.begin());
        work(frame.data());
        benchmark::DoNotOptimize(frame);
        if (++i == recording.Count()) i = 0;
    }
}

void Filters(benchmark::State& state, short lowpassHz, short mainsHz, short smooth) {
    qzFilters_create(static_cast<short>(state.range(0)), kLeads, lowpassHz, mainsHz, smooth);
    PerFrame(state, qzFilters_filters);
    qzFilters_destroy();
}

void Doubler(benchmark::State& state) {
    qzDfs_create(kLeads, 1.0);
    PerFrame(state, [](short* frame) { benchmark::DoNotOptimize(qzDfs_getData(frame)); });
    qzDfs_destroy();
}

void StartEngine(Recording& recording) {
    qzStressECGLib_create(recording.fs, kLeads, 1.0);
    short length = recording.length;
    qzStressECGLib_InitTempl(recording.rows.data(), length, recording.posQ, recording.posJ, kPostJms);
}

void ThreeLeadRate(benchmark::State& state) {
    qzStressECGLib_create(static_cast<short>(state.range(0)), kLeads, 1.0);
    PerFrame(state, [](const short* frame) {
        benchmark::DoNotOptimize(qzStressECGLib_MeanRRms(frame[0], frame[1], frame[6]));
    });
    qzStressECGLib_destroy();
}

void MultiLeadRate(benchmark::State& state) {
    qzStressECGLib_InitMultiMeanRRms(static_cast<short>(state.range(0)), kLeads, 50, 1.0);
    PerFrame(state, [](short* frame) { benchmark::DoNotOptimize(qzStressECGLib_MultiMeanRRms(frame)); });
}

void Match(benchmark::State& state) {
    StartEngine(RecordingAt(static_cast<int>(state.range(0))));
    PerFrame(state, [](short* frame) { benchmark::DoNotOptimize(qzStressECGLib_match(frame)); });
    qzStressECGLib_destroy();
}

/// What a monitor runs: filters, heart rate, matching and the ST values of every matched beat.
void WholeChain(benchmark::State& state) {
    StartEngine(RecordingAt(static_cast<int>(state.range(0))));
    qzFilters_create(static_cast<short>(state.range(0)), kLeads, 40, 50, 1);
    qzStressECGLib_InitMultiMeanRRms(static_cast<short>(state.range(0)), kLeads, 50, 1.0);
    PerFrame(state, [](short* frame) {
        qzFilters_filters(frame);
        benchmark::DoNotOptimize(qzStressECGLib_MultiMeanRRms(frame));
        if (qzStressECGLib_match(frame) == nullptr) return;
        benchmark::DoNotOptimize(qzStressECGLib_uvSTvalue());
        benchmark::DoNotOptimize(qzStressECGLib_STslope());
    });
    qzFilters_destroy();
    qzStressECGLib_destroy();
}

/// The correlation of 12 leads with their template, in the library's form.
void Correlator(benchmark::State& state) {
    Recording& recording = RecordingAt(static_cast<int>(state.range(0)));
    std::array<CZatTemplRxy, kLeads> correlators;
    for (std::size_t lead = 0; lead < kLeads; ++lead) {
        correlators[lead].Create(recording.fs, 1.0, kWindowMs);
        correlators[lead].InitTempl(recording.rows[lead], recording.length, recording.posR, recording.posQ,
                                    recording.posJ, kPostJms, 0, 0);
    }
    std::array<CZatTemplRxy*, kLeads> leads;
    std::transform(correlators.begin(), correlators.end(), leads.begin(), [](CZatTemplRxy& c) { return &c; });
    std::array<double, kLeads> correlations;
    PerFrame(state, [&](const short* frame) {
        CZatTemplRxy::rxy(leads.data(), leads.size(), frame, correlations.data());
        benchmark::DoNotOptimize(correlations);
    });
}

/// The same in the literal form.
void CorrelatorLiteral(benchmark::State& state) {
    const Recording& recording = RecordingAt(static_cast<int>(state.range(0)));
    const int window = kWindowMs * recording.fs / 1000;
    const auto start = static_cast<std::size_t>(recording.posR - window / 2);
    std::vector<LiteralCorrelator> correlators;
    for (const std::vector<short>& row : recording.beat) {
        std::vector<double> diffs;
        for (std::size_t i = start; i < start + static_cast<std::size_t>(window); ++i)
            diffs.push_back(row[i] - row[i - 1]);
        correlators.emplace_back(diffs, recording.length);
    }
    PerFrame(state, [&correlators](const short* frame) {
        for (LiteralCorrelator& correlator : correlators)
            benchmark::DoNotOptimize(correlator.Correlate(*frame++));
    });
}

void AtEveryRate(benchmark::internal::Benchmark* bench) {
    bench->ArgName("fs")->Arg(250)->Arg(500)->Arg(1000);
}

}  // namespace

BENCHMARK_CAPTURE(Filters, Lowpass40Hz, 40, 0, 0)->Apply(AtEveryRate);
BENCHMARK_CAPTURE(Filters, Comb50Hz, 0, 50, 0)->Apply(AtEveryRate);
BENCHMARK_CAPTURE(Filters, Comb60Hz, 0, 60, 0)->Apply(AtEveryRate);
BENCHMARK_CAPTURE(Filters, Smoother1, 0, 0, 1)->Apply(AtEveryRate);
BENCHMARK_CAPTURE(Filters, Smoother2, 0, 0, 2)->Apply(AtEveryRate);
BENCHMARK(Doubler)->Apply(AtEveryRate);
BENCHMARK(ThreeLeadRate)->Apply(AtEveryRate);
BENCHMARK(MultiLeadRate)->Apply(AtEveryRate);
BENCHMARK(Match)->Apply(AtEveryRate);
BENCHMARK(WholeChain)->Apply(AtEveryRate);
BENCHMARK(Correlator)->Apply(AtEveryRate);
BENCHMARK(CorrelatorLiteral)->Apply(AtEveryRate);
