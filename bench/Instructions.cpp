// qz_instructions: runs every stage with 12 leads at 500 Hz under callgrind, on signal and on the silence
// after it, which makes one count of instructions per run. Without valgrind it counts nothing. See
// scripts/bench --gate.
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "bench/Stages.h"

static constexpr int kFs = 500, kLeads = 12;
static constexpr std::size_t kWarmUp = 1500, kCounted = 2000;  // frames
static constexpr std::size_t kDiesAway = 6000;  // frames of silence until the low-pass of 5 Hz is at 1e-300

int main() {
    Signal signal = MakeSignal(kFs, kLeads);
    std::vector<short> frame(kLeads);
    for (const BenchStage& stage : Stages()) {
        const Step step = stage.make(signal);
        const auto feed = [&](std::size_t from, std::size_t count, bool isSilent) {
            for (std::size_t i = from; i < from + count; ++i) {
                std::copy_n(signal.Frame(i), kLeads, frame.begin());
                if (isSilent) std::fill(frame.begin(), frame.end(), short{0});
                step(frame.data());
            }
        };
        const auto count = [&](const std::string& name, bool isSilent) {
            CALLGRIND_START_INSTRUMENTATION;
            CALLGRIND_ZERO_STATS;
            feed(kWarmUp, kCounted, isSilent);
            CALLGRIND_DUMP_STATS_AT(name.c_str());
            CALLGRIND_STOP_INSTRUMENTATION;
        };
        feed(0, kWarmUp, false);
        count(stage.name, false);
        feed(0, kDiesAway, true);
        count(stage.name + "-silent", true);
    }
}
