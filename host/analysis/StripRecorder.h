// StripRecorder: keeps short stretches of a running analysis, as recorded and as conditioned, in step.
//
// Memory: kStripSeconds of signal per strip, however long the recording is.
#pragma once

#include <vector>

#include "host/record/FrameSource.h"
#include "host/results/StressResult.h"

class StripRecorder {
public:
    static constexpr double kStripSeconds = 2.5;  // the width of a strip on paper

    /// `starts` in seconds from the first frame; strips that begin after the end of the recording are left
    /// out.
    StripRecorder(const SourceInfo& info, std::vector<double> starts);
    /// Takes the next frame of the source, in its units.
    void TakeRaw(const short* frame);
    /// Takes the conditioned frame, in microvolts, that shows frame `shown` of the source; in order, from 0
    /// on.
    void TakeClean(const short* uV, long long shown);

    /// The strips that have begun, in order of time; called once, after the last frame. A strip that the end
    /// of the recording cuts is shorter.
    std::vector<Strip> Finish();

private:
    using Rows = std::vector<std::vector<float>>;
    /// One kind of signal: the strips from `open` on are not complete.
    struct Kind {
        Rows Strip::*rows;
        std::size_t open = 0;
    };

    bool IsWanted(const Kind& kind, long long frame) const {
        return kind.open < m_strips.size() && frame >= m_starts[kind.open];
    }
    void Keep(Kind& kind, long long frame);

    double m_uVpb;
    std::size_t m_length;             // of a strip, samples
    std::vector<long long> m_starts;  // frames, ascending
    std::vector<Strip> m_strips;
    Kind m_raw{&Strip::rawUv};
    Kind m_clean{&Strip::cleanUv};
    std::vector<short> m_first;  // frame of the recording
    std::vector<float> m_uV;     // the frame that is being kept
    long long m_rawFrames = 0;
};
