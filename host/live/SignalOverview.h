// SignalOverview: the lowest and the highest sample of each lead over a whole test, in bounded memory.
//
// Columns are kFinestSeconds long at first; whenever there are kMostColumns, two become one. A day has
// columns of 2 s. Memory: 4 bytes a column and lead, 3 MB for twelve leads at the most.
#pragma once

#include <cstddef>
#include <vector>

#include "host/live/LiveSource.h"

class SignalOverview {
public:
    static constexpr double kFinestSeconds = 0.25;
    static constexpr std::size_t kMostColumns = 1 << 16;

    explicit SignalOverview(const SourceInfo& info);
    /// The next frames of the test.
    void Add(const short* frames, std::size_t count);

    /// A stretch of the test in columns of `framesPerColumn`, from frame `first` on.
    struct Columns {
        long long first = 0;
        long long framesPerColumn = 1;
        std::vector<short>
            samples;  // of all leads the lowest, then the highest; kMissing where there is none
    };
    /// Covers the stretch with at most `columns` columns and one more, 1 at the least; empty where the test
    /// has nothing there.
    Columns Cover(long long first, long long frames, std::size_t columns) const;

private:
    void WidenLast(const short* frames, std::size_t count);
    void Halve();

    std::size_t m_chn;
    std::size_t m_framesPerColumn;
    std::size_t m_inColumn = 0;              // frames in the last column
    std::vector<short> m_bounds;             // [column][lowest, highest][lead]
    std::vector<short> m_lowest, m_highest;  // of WidenLast
};
