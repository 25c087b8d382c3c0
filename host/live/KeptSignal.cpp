#include "host/live/KeptSignal.h"

#include <unistd.h>

#include <bit>

KeptSignal::KeptSignal(const SourceInfo& info, int file, long long byteOffset)
    : m_chn(info.leads.size()), m_file(file), m_byteOffset(byteOffset), m_overview(info) {}

void KeptSignal::Add(const short* frames, std::size_t count) {
    {
        const std::lock_guard lock(m_mutex);
        m_overview.Add(frames, count);
    }
    m_frames += static_cast<long long>(count);
}

std::size_t KeptSignal::Read(long long first, std::size_t count, short* samples) const {
    static_assert(std::endian::native == std::endian::little);  // samples lie in memory as in the file
    const std::size_t frameBytes = m_chn * sizeof *samples;
    const ssize_t got = pread(m_file, samples, frameBytes * count,
                              m_byteOffset + static_cast<off_t>(first) * static_cast<off_t>(frameBytes));
    return got > 0 ? static_cast<std::size_t>(got) / frameBytes : 0;
}

std::vector<short> KeptSignal::Read(long long first, std::size_t count) const {
    std::vector<short> samples(m_chn * count);
    samples.resize(m_chn * Read(first, count, samples.data()));
    return samples;
}

SignalOverview::Columns KeptSignal::Cover(long long first, long long frames, std::size_t columns) const {
    const std::lock_guard lock(m_mutex);
    return m_overview.Cover(first, frames, columns);
}
