// FrameRing: the latest frames of a signal, by their numbers.
// Allocates in the constructor. One object belongs to one thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace qz {

class FrameRing {
public:
    /// Room for `frames` frames of chn samples.
    FrameRing(std::size_t chn, std::size_t frames) : m_chn(chn), m_room(frames), m_samples(chn * frames) {}
    /// Takes frame End(), and forgets the oldest where there is no room.
    void Push(const short* frame) {
        std::copy_n(frame, m_chn, m_samples.begin() + static_cast<std::ptrdiff_t>(Slot(m_end)));
        ++m_end;
    }
    /// The number after that of the newest frame, and the number of the oldest one.
    long long End() const { return m_end; }
    long long Begin() const { return std::max(0LL, m_end - static_cast<long long>(m_room)); }
    /// Frame n, from Begin() to before End(); valid until the next Push.
    const short* Frame(long long n) const { return m_samples.data() + Slot(n); }
    /// Frames `from` to before `to`, interleaved. Allocates.
    std::vector<short> Copy(long long from, long long to) const {
        std::vector<short> frames;
        frames.reserve(static_cast<std::size_t>(to - from) * m_chn);
        for (long long n = from; n < to; ++n) frames.insert(frames.end(), Frame(n), Frame(n) + m_chn);
        return frames;
    }

private:
    std::size_t Slot(long long n) const { return static_cast<std::size_t>(n) % m_room * m_chn; }

    std::size_t m_chn, m_room;
    std::vector<short> m_samples;
    long long m_end = 0;
};

}  // namespace qz
