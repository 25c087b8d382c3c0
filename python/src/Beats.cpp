#include "python/src/Beats.h"

#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

nb::dict BeatToDict(const qz::LearnedBeat& beat) {
    const std::size_t leads = beat.rows.size(), length = leads == 0 ? 0 : beat.rows.front().size();
    std::vector<std::int16_t> samples;
    for (const std::vector<short>& row : beat.rows) samples.insert(samples.end(), row.begin(), row.end());
    nb::dict dict;
    dict["rows"] = ToArray(std::move(samples), {leads, length});
    dict["pos_r"] = beat.posR;
    dict["pos_q"] = beat.posQ;
    dict["pos_j"] = beat.posJ;
    dict["record"] = beat.record;
    dict["from_s"] = beat.fromSeconds;
    dict["beats_found"] = beat.beatsFound;
    dict["beats_used"] = beat.beatsUsed;
    dict["likeness"] = beat.likeness;
    dict["usable"] = nb::cast(beat.usable);
    dict["confident"] = beat.confident;
    return dict;
}

qz::LearnedBeat BeatFromDict(const nb::dict& from) {
    const auto rows = nb::cast<Frames>(from["rows"]);
    qz::LearnedBeat beat;
    for (std::size_t lead = 0; lead < rows.shape(0); ++lead) {
        const std::int16_t* const row = rows.data() + lead * rows.shape(1);
        beat.rows.emplace_back(row, row + rows.shape(1));
    }
    if (rows.shape(1) > std::numeric_limits<short>::max())
        throw std::invalid_argument("an averaged beat of " + std::to_string(rows.shape(1)) +
                                    " samples is too long");
    beat.length = static_cast<short>(rows.shape(1));
    beat.posR = nb::cast<short>(from["pos_r"]);
    beat.posQ = nb::cast<short>(from["pos_q"]);
    beat.posJ = nb::cast<short>(from["pos_j"]);
    beat.record = nb::cast<std::string>(from["record"]);
    beat.fromSeconds = nb::cast<double>(from["from_s"]);
    beat.beatsFound = nb::cast<int>(from["beats_found"]);
    beat.beatsUsed = nb::cast<int>(from["beats_used"]);
    beat.likeness = nb::cast<double>(from["likeness"]);
    beat.usable = nb::cast<std::vector<bool>>(from["usable"]);
    beat.confident = nb::cast<bool>(from["confident"]);
    return beat;
}
