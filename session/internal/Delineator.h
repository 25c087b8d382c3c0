// Delineator: onset and end of the QRS of an averaged beat, over all of its leads.
//
//   all leads  -> spatial velocity -> the QRS, from its first to its last fast place
//   each lead  -> outward from its own fast places to where its slope has come to rest -> its onset and end
//   the beat   -> onset: that of the earliest lead; of three or more at most 24 ms before the next one's
//                 end:   that of the latest lead, at most 12 ms after the next one's; of two between them
//
// Spatial velocity is the length of the vector of all leads' slopes. The search outward from the steepest
// place to a fraction of its slope follows Laguna, Jane, Caminal, "Automatic detection of wave boundaries in
// multilead ECG signals", Comput Biomed Res 1994; 27: 45-60, who also take lead by lead and let no single
// lead decide. Fast places further apart than 40 ms belong to different waves, so that a tall P wave is not
// taken for the QRS. Leads whose slope is under a fifth of the steepest lead's are left out: their ends
// are noise, or slopes of ST. A lead that never comes to rest decides nothing unless no lead does.
//
// A slope looks 6 ms ahead and back, and the low-pass softens the first bend: where the slope exceeds its
// threshold, readers have seen the onset some milliseconds before: so many at every recording, lead and rate.
// The end they see where the slope is at rest.
//
// Rows of any rate are measured on a grid of 1 ms, between samples on straight lines.
// Cost: some 5000 steps per lead. Allocates in the constructor. One object belongs to one thread.
#pragma once

#include <cstddef>
#include <vector>

namespace qz {

/// In milliseconds from the first sample of the rows.
struct Delineation {
    double qMs = 0, jMs = 0;  // onset of the QRS, and its end
    /// At least half of the leads that count come to rest before the QRS and as many after it: otherwise
    /// onset or end is a guess.
    bool isSure = false;
};

class Delineator {
public:
    /// Room for chn leads.
    explicit Delineator(std::size_t chn);

    /// `rows`: one per lead, one level per sample, alike in length; hz: samples per second; `counts`: the
    /// leads that are to be looked at, one at least; rMs: a place in the QRS, within 80 ms of its steepest.
    template <typename Sample>
    Delineation Find(const std::vector<std::vector<Sample>>& rows, double hz, const std::vector<bool>& counts,
                     double rMs);

private:
    // The grid begins this long before R.
    static constexpr int kGridBeforeMs = 250, kGridMs = 600;

    /// The first and the last of some places of the grid.
    struct Places {
        int first = 0, last = 0;
    };
    /// Where a search outward has ended.
    struct Rest {
        int place = 0;
        bool isReached = false;
    };
    template <typename Sample>
    void TakeSlopes(const std::vector<Sample>& row, double hz, double rMs, double* slopes);
    static Places FastPlaces(const double* slopes, Places within);
    static Rest RestFrom(const double* slopes, int outermost, int step, double peak);
    Delineation Conclude(const std::vector<bool>& counts, double rMs);

    std::vector<double> m_level;         // of one lead on the grid
    std::vector<double> m_slopes;        // [lead][place]
    std::vector<double> m_velocity;      // spatial
    std::vector<Rest> m_onsets, m_ends;  // of the leads that count
};

}  // namespace qz
