// Ten minutes of a simulated exercise test through a session: raw frames in, heart rates and ST values of
// every lead out. See ../README.md for the signal and for what is printed.
#include "session/StressSession.h"

#include <cstdio>

#include "../signal.h"

namespace {

class Printer : public qz::SessionObserver {
public:
    void OnInterval(const qz::IntervalEvent& interval) override {
        if (interval.bpm > 0) m_latestBpm = interval.bpm;
    }
    void OnBeat(const qz::BeatEvent& beat) override {
        if (++m_beats % kLinesEvery != 0) return;
        std::printf("%.0f %.9g %.9g", beat.seconds * int{kFs}, beat.bpm, m_latestBpm);
        for (const float uV : beat.levelUv) std::printf(" %.9g", static_cast<double>(uV));
        for (const float uVPerMs : beat.slopeUvPerMs) std::printf(" %.9g", static_cast<double>(uVPerMs));
        std::printf("\n");
    }

private:
    int m_beats = 0;
    double m_latestBpm = 0;  // of the intervals that are shown as a rate
};

}  // namespace

int main() {
    qz::SessionOptions options;
    options.fs = kFs;
    options.uVpb = kUVpb;
    options.leads.resize(kLeads);
    Printer printer;
    qz::StressSession session(options, printer);

    for (int i = 0; i < kFrames; ++i) {
        short frame[kLeads];
        NextFrame(frame);
        session.Push(frame, 1);
    }
    session.Finish();
}
