// KeptSignal: the frames of a test or of a recording where they lie on the disk, with their overview.
//
// The thread that keeps frames adds them; any thread reads stretches and bounds meanwhile.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <mutex>
#include <vector>

#include "host/live/SignalOverview.h"

class KeptSignal {
public:
    /// Frames lie in the open `file` from `byteOffset` on, one sample of each lead after the other, 16 bits,
    /// low byte first; kMissing where there is none. The file stays that of its owner, who keeps it open.
    KeptSignal(const SourceInfo& info, int file, long long byteOffset = 0);

    /// The next frames, which lie in the file or are about to.
    void Add(const short* frames, std::size_t count);
    /// Those that were added.
    long long Frames() const { return m_frames; }
    /// Writes frames of the file from `first` on into `samples`, up to `count` of them; returns how many.
    std::size_t Read(long long first, std::size_t count, short* samples) const;
    /// The same as a vector.
    std::vector<short> Read(long long first, std::size_t count) const;
    /// Of the frames that were added, as SignalOverview has it.
    SignalOverview::Columns Cover(long long first, long long frames, std::size_t columns) const;

private:
    std::size_t m_chn;
    int m_file;
    off_t m_byteOffset;
    std::atomic<long long> m_frames = 0;
    mutable std::mutex m_mutex;
    SignalOverview m_overview;  // under m_mutex
};
