#include "host/BeatLearner.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <utility>

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
constexpr double kLeadPeer = 0.5;          // two beats in one lead, which may be noisy
constexpr double kUsableLead = 0.7;        // a beat against the average, in a lead with something to say
constexpr double kNoisy = 2.5;             // of the median deviation from the average
constexpr std::size_t kFewestOfFound = 3;  // with fewer than a third of the beats alike it is no ECG
constexpr int kComparedHz = 250;           // beats are compared at about this rate
constexpr double kHalvesAgree = 0.95;      // correlation of two averages of half the beats each

// Of two kinds of beats the premature one has intervals ahead that are shorter by this factor, and is ectopic
// even where it is up to twice as frequent as the other.
constexpr double kPremature = 0.87;
constexpr std::size_t kMostPerNormalBeat = 2;

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

double UpperMedian(std::vector<double> values) {
    if (values.empty()) return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Takes off the mean and divides by the root of the energy, so that the correlation of two such rows is the
// sum of their products; a flat row becomes 0.
void Normalize(std::vector<double>& row) {
    const double mean = std::accumulate(row.begin(), row.end(), 0.0) / static_cast<double>(row.size());
    double energy = 0;
    for (double& value : row) {
        value -= mean;
        energy += value * value;
    }
    const double scale = energy > 0 ? 1 / std::sqrt(energy) : 0;
    for (double& value : row) value *= scale;
}

double Product(const std::vector<double>& a, const std::vector<double>& b) {
    return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

double Correlation(std::vector<double> a, std::vector<double> b) {
    Normalize(a);
    Normalize(b);
    return Product(a, b);
}

// The median correlation over the leads that the shapes have, the better of the middle two: one bad lead of
// two does not spoil it.
double Likeness(const std::vector<std::vector<double>>& a, const std::vector<std::vector<double>>& b) {
    std::vector<double> perLead;
    for (std::size_t c = 0; c < a.size(); ++c) {
        if (!a[c].empty()) perLead.push_back(Product(a[c], b[c]));
    }
    return UpperMedian(std::move(perLead));
}

// The beat that most others are like, nothing where they are fewer than an average needs; `shapes` are of the
// beats at these positions. Of two kinds of beats it is of the one that is not premature.
std::optional<std::size_t> FindTypical(const std::vector<int>& beats,
                                       const std::vector<std::vector<std::vector<double>>>& shapes) {
    std::vector<std::vector<std::size_t>> peers(beats.size());  // of each beat, itself among them
    for (std::size_t a = 0; a < beats.size(); ++a) {
        for (std::size_t b = 0; b <= a; ++b) {
            if (Likeness(shapes[a], shapes[b]) < kPeer) continue;
            peers[a].push_back(b);
            if (a != b) peers[b].push_back(a);
        }
    }
    std::vector<bool> isTaken(beats.size());
    const auto withMostPeers = [&]() -> std::optional<std::size_t> {
        std::optional<std::size_t> best;
        std::size_t most = BeatLearner::kFewestBeats - 1;
        for (std::size_t i = 0; i < beats.size(); ++i) {
            if (isTaken[i] || peers[i].size() <= most) continue;
            best = i;
            most = peers[i].size();
        }
        return best;
    };
    const auto intervalAhead = [&](std::size_t typical) {
        std::vector<double> intervals;
        for (const std::size_t i : peers[typical]) {
            if (i > 0) intervals.push_back(beats[i] - beats[i - 1]);
        }
        return UpperMedian(std::move(intervals));
    };
    const std::optional<std::size_t> typical = withMostPeers();
    if (!typical) return std::nullopt;
    for (const std::size_t i : peers[*typical]) isTaken[i] = true;
    const std::optional<std::size_t> other = withMostPeers();
    const bool bPremature = other && kMostPerNormalBeat * peers[*other].size() >= peers[*typical].size() &&
                            intervalAhead(*typical) < kPremature * intervalAhead(*other);
    return bPremature ? other : typical;
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
        const auto rank = [](const LearnedBeat& beat) { return std::pair{beat.confident, beat.beatsUsed}; };
        if (other && (!best || rank(*other) > rank(*best))) best = other;
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
                                                  std::vector<bool> trusted) const {
    const auto enough = [](const Positions& beats) { return static_cast<int>(beats.size()) >= kFewestBeats; };
    if (!enough(detections)) return std::nullopt;

    const Positions all = SteepestPlaces(frames, detections, trusted);
    Positions beats = KeepCleanBeats(frames, all, trusted);
    if (!enough(beats)) return std::nullopt;
    KeepPerLead(frames, beats, trusted);
    if (std::count(trusted.begin(), trusted.end(), true) == 0) return std::nullopt;
    beats = KeepQuiet(frames, beats, trusted);
    if (!enough(beats) || beats.size() * kFewestOfFound < all.size()) return std::nullopt;

    LearnedBeat learned;
    learned.fromSeconds = static_cast<double>(frames.size()) / static_cast<double>(m_chn) / m_fs;
    const std::vector<Positions> beatsOfLead = KeepPerLead(frames, beats, learned.usable);
    if (std::count(learned.usable.begin(), learned.usable.end(), true) == 0) return std::nullopt;
    const int before = Samples(kBeforeMs);
    const int after =
        std::min(Samples(kAfterMs), static_cast<int>(MedianInterval(all)) + Samples(kPastNextBeatMs));
    const Window window{before, before + after};
    Beat average;
    for (std::size_t c = 0; c < m_chn; ++c) {
        average.push_back(AverageLead(frames, c, beatsOfLead[c], window));
        std::vector<short>& row = learned.rows.emplace_back();
        for (const double value : average[c]) row.push_back(static_cast<short>(std::lround(value)));
    }
    learned.length = static_cast<short>(window.length);
    learned.posR = static_cast<short>(before);
    learned.beatsFound = static_cast<int>(all.size());
    learned.beatsUsed = static_cast<int>(beats.size());
    std::vector<double> likeness;
    for (const int beat : beats) {
        std::vector<double> perLead;
        for (std::size_t c = 0; c < m_chn; ++c) {
            if (learned.usable[c])
                perLead.push_back(Correlation(CutLead(frames, c, beat, window), average[c]));
        }
        likeness.push_back(UpperMedian(std::move(perLead)));
    }
    learned.likeness = UpperMedian(std::move(likeness));
    const bool bStandsOut = Delineate(learned, average);
    const int qrs = learned.posJ - learned.posQ;
    if (qrs < Samples(kNarrowestQrsMs) || qrs > Samples(kWidestQrsMs)) return std::nullopt;
    learned.confident = bStandsOut && learned.beatsUsed >= kConfidentBeats &&
                        HalvesAgree(frames, beatsOfLead, learned.usable, window);
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

// What is like the typical beat, once aligned with it, is clean; this is repeated with the average of the
// clean beats.
BeatLearner::Positions BeatLearner::KeepCleanBeats(const std::vector<short>& frames, const Positions& beats,
                                                   const std::vector<bool>& trusted) const {
    std::vector<Beat> shapes;
    for (const int beat : beats) shapes.push_back(Shape(frames, beat, trusted));
    const std::optional<std::size_t> typical = FindTypical(beats, shapes);
    if (!typical) return {};

    Beat model = shapes[*typical];
    Positions clean;
    for (int pass = 0; pass < 2; ++pass) {
        clean.clear();
        for (const int beat : beats) {
            double bestLikeness = 0;
            int bestPlace = beat;
            for (int lag = -Samples(kAlignMs); lag <= Samples(kAlignMs); ++lag) {
                const double likeness = Likeness(model, Shape(frames, beat + lag, trusted));
                if (likeness > bestLikeness) {
                    bestLikeness = likeness;
                    bestPlace = beat + lag;
                }
            }
            const bool bAnother = clean.empty() || bestPlace > clean.back();  // not one beat found twice
            if (bAnother && bestLikeness >= kAlike) clean.push_back(bestPlace);
        }
        if (static_cast<int>(clean.size()) < kFewestBeats) return {};
        for (std::size_t c = 0; c < m_chn; ++c) {
            if (!trusted[c]) continue;
            model[c] = AverageLead(frames, c, clean, QrsWindow());
            Normalize(model[c]);
        }
    }
    return clean;
}

// The beats that each lead shows: while an electrode is off there are none in its lead. The lead's typical
// beat is the one that most others are like; those like its average count. Where they are fewer than a third,
// the lead is not usable, and all beats are given.
std::vector<BeatLearner::Positions> BeatLearner::KeepPerLead(const std::vector<short>& frames,
                                                             const Positions& beats,
                                                             std::vector<bool>& usable) const {
    usable.assign(m_chn, false);
    std::vector<Positions> beatsOfLead(m_chn, beats);
    for (std::size_t c = 0; c < m_chn; ++c) {
        std::vector<std::vector<double>> cuts;
        for (const int beat : beats) Normalize(cuts.emplace_back(CutLead(frames, c, beat, QrsWindow())));
        const auto alike = [&](const std::vector<double>& model, double threshold) {
            Positions found;
            for (std::size_t b = 0; b < beats.size(); ++b) {
                if (Product(cuts[b], model) >= threshold) found.push_back(beats[b]);
            }
            return found;
        };
        Positions group;
        for (const std::vector<double>& cut : cuts) {
            Positions peers = alike(cut, kLeadPeer);
            if (peers.size() > group.size()) group = std::move(peers);
        }
        if (group.empty()) continue;
        std::vector<double> model = AverageLead(frames, c, group, QrsWindow());
        Normalize(model);
        Positions shown = alike(model, kUsableLead);
        if (static_cast<int>(shown.size()) < kFewestBeats || shown.size() * kFewestOfFound < beats.size())
            continue;
        usable[c] = true;
        beatsOfLead[c] = std::move(shown);
    }
    return beatsOfLead;
}

// Leaves out the beats that deviate from the average much more than the usual beat does, on most leads: those
// with noise, and those beside an early beat, whose P or T wave is where the others have none.
BeatLearner::Positions BeatLearner::KeepQuiet(const std::vector<short>& frames, const Positions& beats,
                                              const std::vector<bool>& trusted) const {
    const Window window{Samples(kBeforeMs), Samples(kBeforeMs) + Samples(kAfterMs),
                        std::max(1, m_fs / kComparedHz)};
    std::vector<std::vector<double>> deviations(beats.size());  // [beat][usable lead], standard deviation
    for (std::size_t c = 0; c < m_chn; ++c) {
        if (!trusted[c]) continue;
        const std::vector<double> average = AverageLead(frames, c, beats, window);
        for (std::size_t b = 0; b < beats.size(); ++b) {
            const std::vector<double> cut = CutLead(frames, c, beats[b], window);
            double sum = 0, squares = 0;
            for (std::size_t i = 0; i < cut.size(); ++i) {
                const double difference = cut[i] - average[i];
                sum += difference;
                squares += difference * difference;
            }
            const double mean = sum / static_cast<double>(cut.size());
            deviations[b].push_back(
                std::sqrt(std::max(0.0, squares / static_cast<double>(cut.size()) - mean * mean)));
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

bool BeatLearner::HalvesAgree(const std::vector<short>& frames, const std::vector<Positions>& beats,
                              const std::vector<bool>& usable, const Window& window) const {
    std::vector<double> agreement;
    for (std::size_t c = 0; c < m_chn; ++c) {
        if (!usable[c]) continue;
        Positions halves[2];
        for (std::size_t b = 0; b < beats[c].size(); ++b) halves[b % 2].push_back(beats[c][b]);
        agreement.push_back(Correlation(AverageLead(frames, c, halves[0], window),
                                        AverageLead(frames, c, halves[1], window)));
    }
    return UpperMedian(std::move(agreement)) >= kHalvesAgree;
}

BeatLearner::Window BeatLearner::QrsWindow() const {
    const int before = Samples(kLikeBeforeMs);
    return {before, before + Samples(kLikeAfterMs), std::max(1, m_fs / kComparedHz)};
}

std::vector<double> BeatLearner::CutLead(const std::vector<short>& frames, std::size_t lead, int beat,
                                         const Window& window) const {
    std::vector<double> cut;
    cut.reserve(static_cast<std::size_t>(window.length / window.step) + 1);
    const int first = beat - window.before;
    for (int i = first; i < first + window.length; i += window.step)
        cut.push_back(frames[static_cast<std::size_t>(i) * m_chn + lead]);
    return cut;
}

// The QRS of a beat, normalized; leads that are not trusted are empty.
BeatLearner::Beat BeatLearner::Shape(const std::vector<short>& frames, int beat,
                                     const std::vector<bool>& trusted) const {
    Beat shape(m_chn);
    for (std::size_t c = 0; c < m_chn; ++c) {
        if (!trusted[c]) continue;
        shape[c] = CutLead(frames, c, beat, QrsWindow());
        Normalize(shape[c]);
    }
    return shape;
}

// Each beat is first moved to the mean level of all, so that drift from beat to beat does not sort the beats
// at one sample differently from the next.
std::vector<double> BeatLearner::AverageLead(const std::vector<short>& frames, std::size_t lead,
                                             const Positions& beats, const Window& window) const {
    std::vector<std::vector<double>> cuts;
    double level = 0;  // mean over the beats
    for (const int beat : beats) {
        std::vector<double>& cut = cuts.emplace_back(CutLead(frames, lead, beat, window));
        const double levelOfBeat = UpperMedian(cut);
        for (double& value : cut) value -= levelOfBeat;
        level += levelOfBeat / static_cast<double>(beats.size());
    }
    const std::size_t tail = beats.size() / 4;  // left out at each end
    std::vector<double> values(beats.size()), average;
    for (std::size_t i = 0; i < cuts.front().size(); ++i) {
        for (std::size_t b = 0; b < cuts.size(); ++b) values[b] = cuts[b][i];
        const auto first = values.begin() + static_cast<std::ptrdiff_t>(tail);
        const auto last = values.end() - static_cast<std::ptrdiff_t>(tail);
        std::nth_element(values.begin(), first, values.end());
        std::nth_element(first, last - 1, values.end());
        average.push_back(level + std::accumulate(first, last, 0.0) / static_cast<double>(last - first));
    }
    return average;
}

// False where the signal does not come to rest before or after the QRS: Q or J is then a guess.
bool BeatLearner::Delineate(LearnedBeat& beat, const Beat& average) const {
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
    bool bRests = true;
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
        bRests = false;
        return outermost + step * Samples(kWidestMs);
    };
    int first = searchFrom;
    while (at(first) < kInsideQrs * peak) ++first;
    int last = searchTo;
    while (at(last) < kInsideQrs * peak) --last;
    // The slope at a place looks `half` ahead and back and so is quiet `half` outside of the wave, whose end
    // this is. Its beginning is softer than the end, and readers put the onset about as much earlier.
    beat.posQ = static_cast<short>(restFrom(first, -1));
    beat.posJ = static_cast<short>(restFrom(last, +1) - half);
    return bRests;
}
