// FrameRing: the latest frames of a signal, by their numbers.
//
// They lie in blocks of 512 frames. Memory grows block by block until as many frames have come as are kept;
// from then on the oldest block is used again. Without memory for another one that is done before.
// One object belongs to one thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace qz {

class FrameRing {
public:
    /// Keeps `frames` frames of chn samples.
    FrameRing(std::size_t chn, long long frames) : m_chn(chn), m_kept(frames) {
        while (m_mask * kBlock < static_cast<std::size_t>(frames) + 2 * kBlock) m_mask = 2 * m_mask + 1;
        m_blocks.resize(m_mask + 1);
        BlockOf(0) = std::make_unique<short[]>(kBlock * m_chn);
    }
    /// Keeps so many from now on, at the most those of the constructor.
    void Keep(long long frames) { m_kept = frames; }
    /// Takes frame End().
    void Push(const short* frame) {
        if (BlockOf(m_end) == nullptr) AddBlock();
        std::copy_n(frame, m_chn, At(m_end));
        ++m_end;
    }
    /// The number after that of the newest frame, and the number of the oldest one.
    long long End() const { return m_end; }
    long long Begin() const { return std::max(m_first, m_end - m_kept); }
    /// Frame n, before End(), or the oldest one if that is newer; valid until the next Push.
    const short* Frame(long long n) const { return At(std::max(n, m_first)); }
    /// Frames `from` to before `to`, interleaved. Allocates.
    std::vector<short> Copy(long long from, long long to) const {
        std::vector<short> frames;
        frames.reserve(static_cast<std::size_t>(to - from) * m_chn);
        for (long long n = from; n < to; ++n) frames.insert(frames.end(), Frame(n), Frame(n) + m_chn);
        return frames;
    }

private:
    static constexpr std::size_t kBlock = 512;
    using Block = std::unique_ptr<short[]>;

    Block& BlockOf(long long n) { return m_blocks[static_cast<std::size_t>(n) / kBlock & m_mask]; }
    short* At(long long n) const {
        const auto number = static_cast<std::size_t>(n);
        return &m_blocks[number / kBlock & m_mask][number % kBlock * m_chn];
    }
    void AddBlock() {
        Block block;
        const auto takeOldest = [&] {
            block = std::move(BlockOf(m_first));
            m_first += static_cast<long long>(kBlock);
        };
        while (m_first + static_cast<long long>(kBlock) <= m_end - m_kept) takeOldest();
        if (block == nullptr) block.reset(new (std::nothrow) short[kBlock * m_chn]);
        if (block == nullptr) takeOldest();
        BlockOf(m_end) = std::move(block);
    }

    std::size_t m_chn;
    long long m_kept;
    std::size_t m_mask = 0;
    std::vector<Block> m_blocks;  // in a ring; empty ones are to come
    long long m_first = 0;        // frame of the oldest block
    long long m_end = 0;
};

}  // namespace qz
