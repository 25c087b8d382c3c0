#include "host/BeatLearner.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "core/detect/CrtRRdetect.h"

namespace {

// Detection.
constexpr int kRunInMs = 4000;       // played to the detectors first, so that they know the first beat
constexpr int kGroupMs = 160;        // detections of different leads this close are of one beat
constexpr int kDetectorLagMs = 200;  // the detectors answer at most this long after the steepest place
constexpr int kDetectorLeadMs = 60;  // and at most this long before it
constexpr int kSlopeMs = 10;         // span of the slope that places a beat

// Likeness: correlation of the QRS and the start of ST.
constexpr int kLikeBeforeMs = 100;         // of the steepest place
constexpr int kLikeAfterMs = 140;          // of it
constexpr int kAlignMs = 40;               // a beat's position moves at most this far
constexpr double kAlike = 0.9;             // a clean beat against the average
constexpr double kPeer = 0.85;             // two beats before they are aligned
constexpr double kUsableLead = 0.7;        // median over the beats of a lead with something to say
constexpr double kNoisy = 2.5;             // of the median deviation from the average
constexpr std::size_t kFewestOfFound = 3;  // with fewer than a third of the beats alike it is no ECG
constexpr double kConfidentLikeness = 0.9;

// The row: P wave to T wave. The engine folds a beat in when the row's end has come and misses the next beat
// if that is then past; with 420 ms this is right up to 200 beats per minute and more.
constexpr int kBeforeMs = 300;
constexpr int kAfterMs = 420;
constexpr int kPastNextBeatMs = 50;  // the row of a fast rhythm ends this long after the next beat

// Delineation.
constexpr int kVelocityMs = 4;           // half-width of the slope
constexpr int kQrsSearchBeforeMs = 100;  // of the steepest place
constexpr int kQrsSearchAfterMs = 140;   // of it
constexpr double kInsideQrs = 0.25;      // of the peak velocity: faster than any P or T wave
constexpr double kOutsideQrs = 0.03;     // of the peak velocity, above the quiet level
constexpr int kQuietFromMs = 10;         // the quiet level is looked for from here
constexpr int kQuietToMs = 90;           // to here, outward of the QRS
constexpr int kQuietWidthMs = 20;        // as the calmest stretch of this width
constexpr int kRestMs = 8;               // the velocity has to stay low for this long
constexpr int kWidestMs = 60;            // from kInsideQrs outward
constexpr int kNarrowestQrsMs = 40;
constexpr int kWidestQrsMs = 200;

double UpperMedian(std::vector<double> values) {
    if (values.empty()) return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Correlation coefficient; 0 where one of them is flat.
double Correlation(const std::vector<double>& a, const std::vector<double>& b) {
    const double n = static_cast<double>(a.size());
    const double meanA = std::accumulate(a.begin(), a.end(), 0.0) / n;
    const double meanB = std::accumulate(b.begin(), b.end(), 0.0) / n;
    double aa = 0, bb = 0, ab = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        aa += (a[i] - meanA) * (a[i] - meanA);
        bb += (b[i] - meanB) * (b[i] - meanB);
        ab += (a[i] - meanA) * (b[i] - meanB);
    }
    return aa > 0 && bb > 0 ? ab / std::sqrt(aa * bb) : 0;
}

// The median over the trusted leads, the better of the middle two: one bad lead of two does not spoil it.
double Likeness(const std::vector<std::vector<double>>& a, const std::vector<std::vector<double>>& b,
                const std::vector<bool>& trusted) {
    std::vector<double> perLead;
    for (std::size_t c = 0; c < a.size(); ++c) {
        if (trusted[c]) perLead.push_back(Correlation(a[c], b[c]));
    }
    return UpperMedian(std::move(perLead));
}

double MedianInterval(const std::vector<int>& positions) {
    std::vector<double> intervals;
    for (std::size_t i = 1; i < positions.size(); ++i) intervals.push_back(positions[i] - positions[i - 1]);
    return UpperMedian(std::move(intervals));
}

}  // namespace

BeatLearner::BeatLearner(int fs, int chn) : m_fs(fs), m_chn(static_cast<std::size_t>(chn)) {}

std::optional<LearnedBeat> BeatLearner::Learn(const std::vector<short>& frames) const {
    const std::vector<Positions> detections = DetectPerLead(frames);
    std::vector<bool> active(m_chn);
    for (std::size_t c = 0; c < m_chn; ++c) active[c] = detections[c].size() >= 2;

    std::optional<LearnedBeat> best = LearnFrom(frames, Vote(detections), active);
    if (best && best->confident) return best;
    for (std::size_t c = 0; c < m_chn; ++c) {
        std::vector<bool> alone(m_chn);
        alone[c] = active[c];
        const std::optional<LearnedBeat> other = LearnFrom(frames, detections[c], alone);
        if (other && (!best || other->beatsUsed > best->beatsUsed)) best = other;
    }
    return best;
}

std::vector<BeatLearner::Positions> BeatLearner::DetectPerLead(const std::vector<short>& frames) const {
    const int count = static_cast<int>(frames.size() / m_chn);
    const int runIn = std::min(count, Samples(kRunInMs));
    std::vector<Positions> detections(m_chn);
    for (std::size_t c = 0; c < m_chn; ++c) {
        CrtRRdetect detector(m_fs, 0);  // the signal is free of mains
        const auto sample = [&](int i) { return frames[static_cast<std::size_t>(i) * m_chn + c]; };
        for (int i = 0; i < runIn; ++i) detector.QRSdetect(sample(i));
        for (int i = 0; i < count; ++i) {
            if (detector.QRSdetect(sample(i)) > 0) detections[c].push_back(i);
        }
    }
    return detections;
}

// A beat is where a majority of the leads that detect anything agree; its time is their median.
BeatLearner::Positions BeatLearner::Vote(const std::vector<Positions>& detections) const {
    std::vector<int> all;
    std::size_t voters = 0;
    for (const Positions& lead : detections) {
        if (lead.size() < 2) continue;
        ++voters;
        all.insert(all.end(), lead.begin(), lead.end());
    }
    std::sort(all.begin(), all.end());
    Positions beats;
    for (std::size_t first = 0; first < all.size();) {
        std::size_t next = first + 1;
        while (next < all.size() && all[next] - all[first] < Samples(kGroupMs)) ++next;
        if (next - first > voters / 2) beats.push_back(all[first + (next - first) / 2]);
        first = next;
    }
    return beats;
}

std::optional<LearnedBeat> BeatLearner::LearnFrom(const std::vector<short>& frames,
                                                  const Positions& detections,
                                                  const std::vector<bool>& trusted) const {
    const auto enough = [](const Positions& beats) { return static_cast<int>(beats.size()) >= kFewestBeats; };
    if (!enough(detections)) return std::nullopt;

    const Positions all = SteepestPlaces(frames, detections, trusted);
    std::vector<bool> usable = trusted;
    Positions beats = KeepCleanBeats(frames, all, usable);
    if (!enough(beats) || std::count(usable.begin(), usable.end(), true) == 0) return std::nullopt;
    beats = KeepQuiet(frames, beats, usable);
    if (!enough(beats) || beats.size() * kFewestOfFound < all.size()) return std::nullopt;

    const int before = Samples(kBeforeMs);
    const int after =
        std::min(Samples(kAfterMs), static_cast<int>(MedianInterval(all)) + Samples(kPastNextBeatMs));
    const Beat average = Average(frames, beats, before, before + after);

    LearnedBeat learned;
    learned.length = static_cast<short>(before + after);
    learned.posR = static_cast<short>(before);
    for (const std::vector<double>& lead : average) {
        std::vector<short>& row = learned.rows.emplace_back();
        for (const double value : lead) row.push_back(static_cast<short>(std::lround(value)));
    }
    learned.beatsFound = static_cast<int>(all.size());
    learned.beatsUsed = static_cast<int>(beats.size());
    learned.usable = usable;
    std::vector<double> likeness;
    for (const int position : beats)
        likeness.push_back(Likeness(Cut(frames, position - before, before + after), average, usable));
    learned.likeness = UpperMedian(std::move(likeness));
    Delineate(learned, average);
    const int qrs = learned.posJ - learned.posQ;
    if (qrs < Samples(kNarrowestQrsMs) || qrs > Samples(kWidestQrsMs)) return std::nullopt;
    learned.confident = learned.beatsUsed >= kConfidentBeats && learned.likeness >= kConfidentLikeness;
    return learned;
}

// The detectors answer late, and not equally late: the beat is at the steepest place just before, the leads'
// slopes counted in units of their own effective slope, so that a large lead does not outvote the rest.
// Beats whose row or whose search would leave the stretch are left out.
BeatLearner::Positions BeatLearner::SteepestPlaces(const std::vector<short>& frames,
                                                   const Positions& detections,
                                                   const std::vector<bool>& trusted) const {
    const int count = static_cast<int>(frames.size() / m_chn);
    const int span = std::max(1, Samples(kSlopeMs));
    const auto slope = [&](int i, std::size_t c) {
        const auto row = static_cast<std::size_t>(i) * m_chn + c;
        return std::abs(frames[row] - frames[row - static_cast<std::size_t>(span) * m_chn]);
    };
    std::vector<double> scale(m_chn);
    for (std::size_t c = 0; c < m_chn; ++c) {
        double squares = 0;
        for (int i = span; i < count; ++i) squares += static_cast<double>(slope(i, c)) * slope(i, c);
        scale[c] = std::sqrt(squares / std::max(1, count - span));
    }
    const int margin = Samples(kAlignMs);
    Positions places;
    for (const int detection : detections) {
        const int from = std::max(detection - Samples(kDetectorLagMs), span);
        const int to = std::min(detection + Samples(kDetectorLeadMs), count - 1);
        double steepest = 0;
        int place = from;
        for (int i = from; i <= to; ++i) {
            double sum = 0;
            for (std::size_t c = 0; c < m_chn; ++c) {
                if (trusted[c] && scale[c] > 0) sum += slope(i, c) / scale[c];
            }
            if (sum > steepest) {
                steepest = sum;
                place = i;
            }
        }
        place -= span / 2;  // the middle of the slope
        const bool inside =
            place - Samples(kBeforeMs) - margin >= 0 && place + Samples(kAfterMs) + margin <= count;
        if (inside && (places.empty() || place > places.back())) places.push_back(place);
    }
    return places;
}

// The typical beat is the one with the most peers. What is like it, once aligned with it, is clean; this is
// repeated with the average of the clean beats. Leaves in `trusted` the leads whose clean beats are alike.
BeatLearner::Positions BeatLearner::KeepCleanBeats(const std::vector<short>& frames, const Positions& beats,
                                                   std::vector<bool>& trusted) const {
    const int before = Samples(kLikeBeforeMs);
    const int length = before + Samples(kLikeAfterMs);
    std::vector<Beat> cuts;
    for (const int beat : beats) cuts.push_back(Cut(frames, beat - before, length));

    Beat typical;
    int mostPeers = 0;
    for (const Beat& candidate : cuts) {
        const auto peers = std::count_if(cuts.begin(), cuts.end(), [&](const Beat& other) {
            return Likeness(candidate, other, trusted) >= kPeer;
        });
        if (peers > mostPeers) {
            mostPeers = static_cast<int>(peers);
            typical = candidate;
        }
    }
    if (mostPeers < kFewestBeats) return {};

    Positions clean;
    for (int pass = 0; pass < 2; ++pass) {
        clean.clear();
        for (const int beat : beats) {
            double bestLikeness = 0;
            int bestPlace = beat;
            for (int lag = -Samples(kAlignMs); lag <= Samples(kAlignMs); ++lag) {
                const double likeness = Likeness(Cut(frames, beat + lag - before, length), typical, trusted);
                if (likeness > bestLikeness) {
                    bestLikeness = likeness;
                    bestPlace = beat + lag;
                }
            }
            const bool bAnother = clean.empty() || bestPlace > clean.back();  // not one beat found twice
            if (bAnother && bestLikeness >= kAlike) clean.push_back(bestPlace);
        }
        if (static_cast<int>(clean.size()) < kFewestBeats) return {};
        typical = Average(frames, clean, before, length);
    }
    for (std::size_t c = 0; c < m_chn; ++c) {
        std::vector<double> perBeat;
        for (const int beat : clean)
            perBeat.push_back(Correlation(Cut(frames, beat - before, length)[c], typical[c]));
        trusted[c] = UpperMedian(std::move(perBeat)) >= kUsableLead;
    }
    return clean;
}

// Leaves out the beats that deviate from the average much more than the usual beat does, on most leads: those
// with noise, and those beside an early beat, whose P or T wave is where the others have none.
BeatLearner::Positions BeatLearner::KeepQuiet(const std::vector<short>& frames, const Positions& beats,
                                              const std::vector<bool>& trusted) const {
    const int before = Samples(kBeforeMs);
    const int length = before + Samples(kAfterMs);
    const Beat average = Average(frames, beats, before, length);
    std::vector<std::vector<double>> deviations(beats.size());  // [beat][usable lead], standard deviation
    for (std::size_t b = 0; b < beats.size(); ++b) {
        const Beat cut = Cut(frames, beats[b] - before, length);
        for (std::size_t c = 0; c < m_chn; ++c) {
            if (!trusted[c]) continue;
            double sum = 0, squares = 0;
            for (std::size_t i = 0; i < cut[c].size(); ++i) {
                const double difference = cut[c][i] - average[c][i];
                sum += difference;
                squares += difference * difference;
            }
            const double mean = sum / length;
            deviations[b].push_back(std::sqrt(std::max(0.0, squares / length - mean * mean)));
        }
    }
    std::vector<double> usual;
    for (std::size_t lead = 0; lead < deviations.front().size(); ++lead) {
        std::vector<double> perBeat;
        for (const auto& ofBeat : deviations) perBeat.push_back(ofBeat[lead]);
        usual.push_back(UpperMedian(std::move(perBeat)));
    }
    Positions kept;
    for (std::size_t b = 0; b < beats.size(); ++b) {
        std::size_t noisyLeads = 0;
        for (std::size_t lead = 0; lead < usual.size(); ++lead) {
            if (deviations[b][lead] > kNoisy * usual[lead]) ++noisyLeads;
        }
        if (2 * noisyLeads <= usual.size()) kept.push_back(beats[b]);
    }
    return kept;
}

BeatLearner::Beat BeatLearner::Cut(const std::vector<short>& frames, int from, int length) const {
    Beat beat(m_chn, std::vector<double>(static_cast<std::size_t>(length)));
    for (std::size_t i = 0; i < static_cast<std::size_t>(length); ++i) {
        for (std::size_t c = 0; c < m_chn; ++c)
            beat[c][i] = frames[(static_cast<std::size_t>(from) + i) * m_chn + c];
    }
    return beat;
}

// Each beat is first moved to the mean level of all, so that drift from beat to beat does not sort the beats
// at one sample differently from the next.
BeatLearner::Beat BeatLearner::Average(const std::vector<short>& frames, const Positions& beats, int before,
                                       int length) const {
    std::vector<Beat> cuts;
    for (const int beat : beats) cuts.push_back(Cut(frames, beat - before, length));
    Beat average(m_chn, std::vector<double>(static_cast<std::size_t>(length)));
    const std::size_t tail = beats.size() / 4;  // left out at each end
    std::vector<double> values(beats.size());
    std::vector<double> levels(beats.size());
    for (std::size_t c = 0; c < m_chn; ++c) {
        for (std::size_t b = 0; b < cuts.size(); ++b) levels[b] = UpperMedian(cuts[b][c]);
        const double level =
            std::accumulate(levels.begin(), levels.end(), 0.0) / static_cast<double>(levels.size());
        for (std::size_t i = 0; i < static_cast<std::size_t>(length); ++i) {
            for (std::size_t b = 0; b < cuts.size(); ++b) values[b] = cuts[b][c][i] - levels[b];
            std::sort(values.begin(), values.end());
            const auto first = values.begin() + static_cast<std::ptrdiff_t>(tail);
            const auto last = values.end() - static_cast<std::ptrdiff_t>(tail);
            average[c][i] = level + std::accumulate(first, last, 0.0) / static_cast<double>(last - first);
        }
    }
    return average;
}

void BeatLearner::Delineate(LearnedBeat& beat, const Beat& average) const {
    const int half = std::max(1, Samples(kVelocityMs));
    const int length = beat.length;
    std::vector<double> velocity(static_cast<std::size_t>(length));
    for (int i = half; i < length - half; ++i) {
        double squares = 0;
        for (std::size_t c = 0; c < m_chn; ++c) {
            if (!beat.usable[c]) continue;
            const auto row = average[c].begin();
            const double slope = row[i + half] - row[i - half];
            squares += slope * slope;
        }
        velocity[static_cast<std::size_t>(i)] = std::sqrt(squares);
    }
    const auto at = [&](int i) {
        return velocity[static_cast<std::size_t>(std::clamp(i, half, length - 1 - half))];
    };

    const int searchFrom = beat.posR - Samples(kQrsSearchBeforeMs);
    const int searchTo = beat.posR + Samples(kQrsSearchAfterMs);
    double peak = 0;
    for (int i = searchFrom; i <= searchTo; ++i) peak = std::max(peak, at(i));

    // From the outermost fast place of the QRS outward to where the beat has come to rest; step is -1 or 1.
    const auto restFrom = [&](int outermost, int step) {
        const int width = std::max(1, Samples(kQuietWidthMs));
        double quiet = peak;
        for (int from = Samples(kQuietFromMs); from + width <= Samples(kQuietToMs); ++from) {
            double sum = 0;
            for (int i = 0; i < width; ++i) sum += at(outermost + step * (from + i));
            quiet = std::min(quiet, sum / width);
        }
        const double threshold = quiet + kOutsideQrs * peak;
        const int rest = std::max(1, Samples(kRestMs));
        int stillFor = 0;
        for (int i = 1; i <= Samples(kWidestMs); ++i) {
            stillFor = at(outermost + step * i) < threshold ? stillFor + 1 : 0;
            if (stillFor == rest) return outermost + step * (i - rest + 1);
        }
        return outermost + step * Samples(kWidestMs);
    };
    int first = searchFrom;
    while (at(first) < kInsideQrs * peak) ++first;
    int last = searchTo;
    while (at(last) < kInsideQrs * peak) --last;
    // The slope at a place looks `half` ahead and back: it is quiet `half` outside of the wave.
    beat.posQ = static_cast<short>(restFrom(first, -1) + half);
    beat.posJ = static_cast<short>(restFrom(last, +1) - half);
}
