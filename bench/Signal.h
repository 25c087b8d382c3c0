// Signal: what the benchmarks feed, ten seconds of the simulated exercise test, at rest, where beats
// match.
#pragma once

#include <cstddef>
#include <vector>

/// Frames of any number of leads, the twelve of the test over and over, and a beat cut out as a template.
struct Signal {
    short fs = 0;                                    // samples per second
    short leads = 0;                                 // samples of a frame
    std::vector<short> frames;                       // one after the other
    std::vector<std::vector<short>> beat;            // one row per lead
    std::vector<short*> rows;                        // into beat
    short length = 0, posQ = 0, posR = 0, posJ = 0;  // samples of the beat

    std::size_t Count() const { return frames.size() / static_cast<std::size_t>(leads); }
    const short* Frame(std::size_t i) const { return &frames[i % Count() * static_cast<std::size_t>(leads)]; }
};

Signal MakeSignal(int fs, int leads);
