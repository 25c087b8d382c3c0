#include "bench/Signal.h"

#include <algorithm>

#include "host/simulate/SimulatedTest.h"

static constexpr double kTestSeconds = 900, kFromSeconds = 5, kSeconds = 10;
static constexpr int kBeforeRms = 320, kAfterRms = 480;

Signal MakeSignal(int fs, int leads) {
    SimulatedTestOptions options;
    options.fs = fs;
    options.seconds = kTestSeconds;
    SimulatedTest source(options);
    std::vector<short> frame(SimulatedTest::kLeads);
    Signal signal;
    signal.fs = static_cast<short>(fs);
    signal.leads = static_cast<short>(leads);
    const auto from = static_cast<long long>(kFromSeconds * fs),
               end = from + static_cast<long long>(kSeconds * fs);
    for (long long i = 0; i < end && source.Read(frame.data()); ++i)
        for (int lead = 0; i >= from && lead < leads; ++lead)
            signal.frames.push_back(frame[static_cast<std::size_t>(lead % SimulatedTest::kLeads)]);

    const auto samples = [fs](double ms) { return static_cast<short>(ms * fs / 1000); };
    const auto& beats = source.Beats();
    const auto beat = std::find_if(beats.begin(), beats.end(), [from, fs](const SimulatedBeat& any) {
        return any.r > from + fs && any.type == SimulatedBeatType::Sinus;
    });
    signal.length = samples(kBeforeRms + kAfterRms);
    signal.posR = samples(kBeforeRms);
    signal.posQ = samples(kBeforeRms + beat->onsetMs);
    signal.posJ = samples(kBeforeRms + beat->jMs);
    const auto start = static_cast<std::size_t>(beat->r - from - signal.posR);
    for (std::size_t lead = 0; lead < static_cast<std::size_t>(leads); ++lead) {
        std::vector<short> row;
        for (std::size_t i = start; i < start + static_cast<std::size_t>(signal.length); ++i)
            row.push_back(signal.Frame(i)[lead]);
        signal.beat.push_back(row);
    }
    for (std::vector<short>& row : signal.beat) signal.rows.push_back(row.data());
    return signal;
}
