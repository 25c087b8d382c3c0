// Beats: averaged beats between C++ and the dictionaries of qzstress/session.py.
#pragma once

#include <limits>
#include <vector>

#include "python/src/Arrays.h"
#include "session/SessionTypes.h"

nb::dict BeatToDict(const qz::LearnedBeat& beat);
qz::LearnedBeat BeatFromDict(const nb::dict& from);

/// Rows of leads as an array (leads, samples); a row that is shorter is filled up with NaN.
inline nb::ndarray<nb::numpy, float> RowsToArray(const std::vector<std::vector<float>>& rows,
                                                 std::size_t leads) {
    std::size_t length = 0;
    for (const std::vector<float>& row : rows) length = std::max(length, row.size());
    std::vector<float> all(leads * length, std::numeric_limits<float>::quiet_NaN());
    for (std::size_t lead = 0; lead < rows.size(); ++lead)
        std::copy(rows[lead].begin(), rows[lead].end(),
                  all.begin() + static_cast<std::ptrdiff_t>(lead * length));
    return ToArray(std::move(all), {leads, length});
}
