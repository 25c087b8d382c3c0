#include "session/internal/BeatLearner.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <utility>

#include "core/FloatingPoint.h"
#include "session/internal/BeatFinder.h"
#include "session/internal/Units.h"

namespace qz {

namespace {

// Place.
constexpr int kFoundNearMs = 80;     // of the steepest place
constexpr int kPlacingSlopeMs = 10;  // span of the slope that places a beat

// Likeness: correlation of the QRS and the start of ST.
constexpr int kLikeBeforeMs = 100;         // of the steepest place
constexpr int kLikeAfterMs = 140;          // of it
constexpr int kAlignMs = 40;               // a beat's position moves at most this far
constexpr double kCleanAlike = 0.9;        // a clean beat against the average
constexpr double kPeer = 0.85;             // two beats before they are aligned
constexpr double kLeadPeer = 0.5;          // two beats in one lead, which may be noisy
constexpr double kUsableLead = 0.7;        // a beat against the average, in a lead with something to say
constexpr double kNoisy = 2.5;             // of the median deviation from the average
constexpr std::size_t kFewestOfFound = 3;  // with fewer than a third of the beats alike it is no ECG
constexpr int kComparedHz = 250;           // beats are compared at about this rate
constexpr double kMatching = 0.9;          // part of its beats that a lead matches, of that of the best one
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

double UpperMedian(std::vector<double> values) {
    if (values.empty()) return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Takes off the straight line that fits best, so that beats on a wandering baseline are alike, and divides by
// the root of the energy, so that the correlation of two such rows is the sum of their products; a flat row
// becomes 0.
void Normalize(std::vector<double>& row) {
    const auto count = static_cast<double>(row.size());
    const double mean = std::accumulate(row.begin(), row.end(), 0.0) / count;
    double slope = 0, at = (1 - count) / 2;
    for (const double value : row) slope += at++ * value;
    slope *= 12 / (count * (count * count - 1));
    double energy = 0;
    at = (1 - count) / 2;
    for (double& value : row) {
        value -= mean + slope * at++;
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

double MedianInterval(const std::vector<int>& positions) {
    std::vector<double> intervals;
    for (std::size_t i = 1; i < positions.size(); ++i) intervals.push_back(positions[i] - positions[i - 1]);
    return UpperMedian(std::move(intervals));
}

}  // namespace

void BeatLearner::Begin(std::vector<short> frames, std::vector<int> beats, std::vector<bool> clear) {
    m_frames = std::move(frames);
    m_found = std::move(beats);
    m_trusted = std::move(clear);
    m_scale.assign(m_chn, 0);
    m_all.clear();
    m_shapes.clear();
    m_result.reset();
    m_piece = 0;
    m_stage = Stage::Scale;
    if (static_cast<int>(m_found.size()) < kFewestBeats) Cancel();
}

std::optional<LearnedBeat> BeatLearner::Learn(std::vector<short> frames) {
    BeatFinder finder(m_fs, m_chn, kConditionedUvPerUnit);
    std::vector<int> beats;
    const auto keep = [&](const std::vector<long long>& found) {
        for (const long long frame : found) beats.push_back(static_cast<int>(frame));
    };
    for (std::size_t at = 0; at < frames.size(); at += m_chn) keep(finder.Take(&frames[at]));
    keep(finder.Finish());
    Begin(std::move(frames), std::move(beats), finder.ClearLeads());
    while (Work()) {
    }
    return m_result;
}

bool BeatLearner::Work() {
    switch (m_stage) {
        case Stage::Scale:
            ScaleLead(m_piece);
            Advance(m_chn, Stage::Place);
            break;
        case Stage::Place:
            PlaceBeat(m_found[m_piece]);
            Advance(m_found.size(), Stage::Shape);
            break;
        case Stage::Shape:
            if (m_piece < m_all.size()) m_shapes.push_back(Shape(m_all[m_piece]));
            Advance(m_all.size(), Stage::Compare);
            break;
        case Stage::Compare: CompareBeat(m_piece); break;
        case Stage::Align:
            AlignBeat(m_all[m_piece]);
            if (++m_piece == m_all.size()) EndAlignment();
            break;
        case Stage::Trust:
            JudgeLead(m_piece, m_trusted);
            Advance(m_chn, Stage::Quiet);
            break;
        case Stage::Quiet:
            if (m_piece < m_chn) MeasureLead(m_piece);
            if (++m_piece > m_chn) KeepQuiet();
            break;
        case Stage::Show:
            JudgeLead(m_piece, m_learned.usable);
            Advance(m_chn, Stage::Average);
            break;
        case Stage::Average:
            if (m_piece == 0) PrepareAverage();
            if (m_stage != Stage::Average) break;
            m_average.push_back(AverageLead(m_piece, m_beatsOfLead[m_piece], m_window));
            Advance(m_chn, Stage::Liken);
            break;
        case Stage::Liken:
            LikenBeat(m_beats[m_piece]);
            Advance(m_beats.size(), Stage::Conclude);
            break;
        case Stage::Conclude: Conclude(); break;
        case Stage::Match: MatchSecond(); break;
        case Stage::Done: return false;
    }
    return m_stage != Stage::Done;
}

void BeatLearner::Advance(std::size_t count, Stage next) {
    if (++m_piece < count) return;
    m_piece = 0;
    m_stage = next;
}

void BeatLearner::End(std::optional<LearnedBeat> learned) {
    m_result = std::move(learned);
    Cancel();
}

void BeatLearner::Cancel() {
    m_stage = Stage::Done;
    const auto release = [](auto&... values) { (std::decay_t<decltype(values)>().swap(values), ...); };
    release(m_frames, m_shapes, m_peers, m_model, m_deviations, m_beatsOfLead, m_average);
}

int BeatLearner::Slope(int frame, std::size_t lead) const {
    const auto at = static_cast<std::size_t>(frame) * m_chn + lead;
    const auto span = static_cast<std::size_t>(std::max(1, Samples(kPlacingSlopeMs)));
    return std::abs(m_frames[at] - m_frames[at - span * m_chn]);
}

void BeatLearner::ScaleLead(std::size_t lead) {
    const int span = std::max(1, Samples(kPlacingSlopeMs));
    double squares = 0;
    for (int i = span; i < FrameCount(); ++i) squares += static_cast<double>(Slope(i, lead)) * Slope(i, lead);
    m_scale[lead] = std::sqrt(squares / std::max(1, FrameCount() - span));
}

// The steepest place near where a beat was found, the leads' slopes counted in units of their own effective
// slope, so that a large lead does not outvote the rest. Beats whose row or whose search would leave the
// stretch are left out.
void BeatLearner::PlaceBeat(int found) {
    const int span = std::max(1, Samples(kPlacingSlopeMs));
    const int margin = Samples(kAlignMs);
    // The slope at a place is that of the span up to it.
    const int from = std::max(found - Samples(kFoundNearMs) + span / 2, span);
    const int to = std::min(found + Samples(kFoundNearMs) + span / 2, FrameCount() - 1);
    double steepest = 0;
    int place = from;
    for (int i = from; i <= to; ++i) {
        double sum = 0;
        for (std::size_t c = 0; c < m_chn; ++c) {
            if (m_trusted[c] && m_scale[c] > 0) sum += Slope(i, c) / m_scale[c];
        }
        if (sum > steepest) {
            steepest = sum;
            place = i;
        }
    }
    place -= span / 2;  // the middle of the slope
    const bool inside =
        place - Samples(kBeforeMs) - margin >= 0 && place + Samples(kAfterMs) + margin <= FrameCount();
    if (inside && (m_all.empty() || place > m_all.back())) m_all.push_back(place);
}

// Compares beat `beat` with those before it.
void BeatLearner::CompareBeat(std::size_t beat) {
    if (beat == 0) m_peers.assign(m_all.size(), {});
    for (std::size_t b = 0; beat < m_all.size() && b <= beat; ++b) {
        if (Likeness(m_shapes[beat], m_shapes[b]) < kPeer) continue;
        m_peers[beat].push_back(b);
        if (beat != b) m_peers[b].push_back(beat);
    }
    if (++m_piece < m_all.size()) return;
    const std::optional<std::size_t> typical = FindTypical();
    if (!typical) return End(std::nullopt);
    m_model = m_shapes[*typical];
    m_clean.clear();
    m_pass = 0;
    m_piece = 0;
    m_stage = Stage::Align;
}

// The beat that most others are like, nothing where they are fewer than an average needs. Of two kinds of
// beats it is of the one that is not premature.
std::optional<std::size_t> BeatLearner::FindTypical() const {
    std::vector<bool> isTaken(m_all.size());
    const auto withMostPeers = [&]() -> std::optional<std::size_t> {
        std::optional<std::size_t> best;
        std::size_t most = kFewestBeats - 1;
        for (std::size_t i = 0; i < m_all.size(); ++i) {
            if (isTaken[i] || m_peers[i].size() <= most) continue;
            best = i;
            most = m_peers[i].size();
        }
        return best;
    };
    const auto intervalAhead = [&](std::size_t typical) {
        std::vector<double> intervals;
        for (const std::size_t i : m_peers[typical]) {
            if (i > 0) intervals.push_back(m_all[i] - m_all[i - 1]);
        }
        return UpperMedian(std::move(intervals));
    };
    const std::optional<std::size_t> typical = withMostPeers();
    if (!typical) return std::nullopt;
    for (const std::size_t i : m_peers[*typical]) isTaken[i] = true;
    const std::optional<std::size_t> other = withMostPeers();
    const bool isPremature = other &&
                             kMostPerNormalBeat * m_peers[*other].size() >= m_peers[*typical].size() &&
                             intervalAhead(*typical) < kPremature * intervalAhead(*other);
    return isPremature ? other : typical;
}

// Beats that are like the typical beat, once aligned with it, are clean; a second pass repeats this with the
// average of the clean beats.
void BeatLearner::AlignBeat(int beat) {
    double bestLikeness = 0;
    int bestPlace = beat;
    for (int lag = -Samples(kAlignMs); lag <= Samples(kAlignMs); ++lag) {
        const double likeness = Likeness(m_model, Shape(beat + lag));
        if (likeness > bestLikeness) {
            bestLikeness = likeness;
            bestPlace = beat + lag;
        }
    }
    const bool isAnother = m_clean.empty() || bestPlace > m_clean.back();  // not one beat found twice
    if (isAnother && bestLikeness >= kCleanAlike) m_clean.push_back(bestPlace);
}

void BeatLearner::EndAlignment() {
    m_piece = 0;
    if (static_cast<int>(m_clean.size()) < kFewestBeats) return End(std::nullopt);
    if (++m_pass == 2) {
        m_beats = m_clean;
        m_stage = Stage::Trust;
        return;
    }
    for (std::size_t c = 0; c < m_chn; ++c) {
        if (!m_trusted[c]) continue;
        m_model[c] = AverageLead(c, m_clean, QrsWindow());
        Normalize(m_model[c]);
    }
    m_clean.clear();
}

// The beats that each lead shows: while an electrode is off there are none in its lead. The lead's typical
// beat is the one that most others are like; those like its average count. Where they are fewer than a third,
// the lead is not usable, and all beats are given.
void BeatLearner::JudgeLead(std::size_t lead, std::vector<bool>& usable) {
    if (lead == 0) {
        usable.assign(m_chn, false);
        m_beatsOfLead.assign(m_chn, m_beats);
    }
    std::vector<std::vector<double>> cuts;
    for (const int beat : m_beats) Normalize(cuts.emplace_back(CutLead(lead, beat, QrsWindow())));
    const auto alike = [&](const std::vector<double>& model, double threshold) {
        Positions found;
        for (std::size_t b = 0; b < m_beats.size(); ++b) {
            if (Product(cuts[b], model) >= threshold) found.push_back(m_beats[b]);
        }
        return found;
    };
    Positions group;
    for (const std::vector<double>& cut : cuts) {
        Positions peers = alike(cut, kLeadPeer);
        if (peers.size() > group.size()) group = std::move(peers);
    }
    if (group.empty()) return;
    std::vector<double> model = AverageLead(lead, group, QrsWindow());
    Normalize(model);
    Positions shown = alike(model, kUsableLead);
    if (static_cast<int>(shown.size()) < kFewestBeats || shown.size() * kFewestOfFound < m_beats.size())
        return;
    usable[lead] = true;
    m_beatsOfLead[lead] = std::move(shown);
}

BeatLearner::Window BeatLearner::QuietWindow() const {
    const int before = Samples(kBeforeMs);
    return {before, before + Samples(kAfterMs), std::max(1, m_fs / kComparedHz)};
}

void BeatLearner::MeasureLead(std::size_t lead) {
    if (lead == 0) m_deviations.assign(m_beats.size(), {});
    if (!m_trusted[lead]) return;
    const std::vector<double> average = AverageLead(lead, m_beats, QuietWindow());
    for (std::size_t b = 0; b < m_beats.size(); ++b) {
        const std::vector<double> cut = CutLead(lead, m_beats[b], QuietWindow());
        double sum = 0, squares = 0;
        for (std::size_t i = 0; i < cut.size(); ++i) {
            const double difference = cut[i] - average[i];
            sum += difference;
            squares += difference * difference;
        }
        const double mean = sum / static_cast<double>(cut.size());
        m_deviations[b].push_back(
            std::sqrt(std::max(0.0, squares / static_cast<double>(cut.size()) - mean * mean)));
    }
}

// Leaves out the beats that deviate from the average much more than the usual beat does, on most leads: those
// with noise, and those beside an early beat, whose P or T wave is where the others have none.
void BeatLearner::KeepQuiet() {
    if (std::count(m_trusted.begin(), m_trusted.end(), true) == 0) return End(std::nullopt);
    std::vector<double> usual;
    for (std::size_t lead = 0; lead < m_deviations.front().size(); ++lead) {
        std::vector<double> perBeat;
        for (const auto& ofBeat : m_deviations) perBeat.push_back(ofBeat[lead]);
        usual.push_back(UpperMedian(std::move(perBeat)));
    }
    Positions kept;
    for (std::size_t b = 0; b < m_beats.size(); ++b) {
        std::size_t noisyLeads = 0;
        for (std::size_t lead = 0; lead < usual.size(); ++lead) {
            if (m_deviations[b][lead] > kNoisy * usual[lead]) ++noisyLeads;
        }
        if (2 * noisyLeads <= usual.size()) kept.push_back(m_beats[b]);
    }
    m_beats = std::move(kept);
    if (static_cast<int>(m_beats.size()) < kFewestBeats || m_beats.size() * kFewestOfFound < m_all.size())
        return End(std::nullopt);
    m_learned = {};
    m_stage = Stage::Show;
    m_piece = 0;
}

void BeatLearner::PrepareAverage() {
    if (std::count(m_learned.usable.begin(), m_learned.usable.end(), true) == 0) return End(std::nullopt);
    const int before = Samples(kBeforeMs);
    const int after =
        std::min(Samples(kAfterMs), static_cast<int>(MedianInterval(m_all)) + Samples(kPastNextBeatMs));
    m_window = {before, before + after};
    m_average.clear();
    m_likeness.clear();
}

void BeatLearner::LikenBeat(int beat) {
    std::vector<double> perLead;
    for (std::size_t c = 0; c < m_chn; ++c) {
        if (m_learned.usable[c]) perLead.push_back(Correlation(CutLead(c, beat, m_window), m_average[c]));
    }
    m_likeness.push_back(UpperMedian(std::move(perLead)));
}

void BeatLearner::Conclude() {
    for (const std::vector<double>& average : m_average) {
        std::vector<short>& row = m_learned.rows.emplace_back();
        for (const double value : average) row.push_back(static_cast<short>(std::lround(value)));
    }
    m_learned.fromSeconds = static_cast<double>(FrameCount()) / m_fs;
    m_learned.length = static_cast<short>(m_window.length);
    m_learned.posR = static_cast<short>(m_window.before);
    m_learned.beatsFound = static_cast<int>(m_all.size());
    m_learned.beatsUsed = static_cast<int>(m_beats.size());
    m_learned.likeness = UpperMedian(std::move(m_likeness));
    const bool standsOut = Delineate();
    const int qrs = m_learned.posJ - m_learned.posQ;
    if (qrs < Samples(kNarrowestQrsMs) || qrs > Samples(kWidestQrsMs)) return End(std::nullopt);
    m_learned.confident = standsOut && m_learned.beatsUsed >= kConfidentBeats && HalvesAgree();
    m_matches.assign(m_chn, 0);
    m_matcher.reset();
    m_stage = Stage::Match;
    m_piece = 0;
}

// Piece by piece through the stretch for one lead after the other; those that are not usable anyway are left
// out.
void BeatLearner::MatchSecond() {
    while (m_piece < m_chn && !m_learned.usable[m_piece]) ++m_piece;
    if (m_piece >= m_chn || !TemplateFollower::Reaches(m_learned, m_fs, kEarliestPostJms))
        return KeepMatchingLeads();
    if (!m_matcher) {
        m_matcher.emplace(m_fs, std::vector{m_piece}, kEarliestPostJms);
        m_matcher->Start(m_learned);
        m_matchedFrames = 0;
    }
    BeatEvent event;
    event.levelUv.resize(m_chn);
    event.slopeUvPerMs.resize(m_chn);
    event.jUv.resize(m_chn);
    for (const int end = std::min(m_matchedFrames + m_fs, FrameCount()); m_matchedFrames < end;
         ++m_matchedFrames)
        m_matches[m_piece] +=
            m_matcher->Match(&m_frames[static_cast<std::size_t>(m_matchedFrames) * m_chn], event);
    if (m_matchedFrames < FrameCount()) return;
    m_matcher.reset();
    ++m_piece;
}

// The matching of all usable leads goes by majority: one that matches less often would cost the others beats.
void BeatLearner::KeepMatchingLeads() {
    const auto part = [&](std::size_t lead) {
        return std::min(1.0, m_matches[lead] / static_cast<double>(m_beatsOfLead[lead].size()));
    };
    double most = 0;
    for (std::size_t c = 0; c < m_chn; ++c) most = std::max(most, part(c));
    for (std::size_t c = 0; c < m_chn; ++c)
        m_learned.usable[c] = m_learned.usable[c] && part(c) >= kMatching * most;
    End(std::move(m_learned));
}

bool BeatLearner::HalvesAgree() const {
    std::vector<double> agreement;
    for (std::size_t c = 0; c < m_chn; ++c) {
        if (!m_learned.usable[c]) continue;
        Positions halves[2];
        for (std::size_t b = 0; b < m_beatsOfLead[c].size(); ++b)
            halves[b % 2].push_back(m_beatsOfLead[c][b]);
        agreement.push_back(
            Correlation(AverageLead(c, halves[0], m_window), AverageLead(c, halves[1], m_window)));
    }
    return UpperMedian(std::move(agreement)) >= kHalvesAgree;
}

BeatLearner::Window BeatLearner::QrsWindow() const {
    const int before = Samples(kLikeBeforeMs);
    return {before, before + Samples(kLikeAfterMs), std::max(1, m_fs / kComparedHz)};
}

std::vector<double> BeatLearner::CutLead(std::size_t lead, int beat, const Window& window) const {
    std::vector<double> cut;
    cut.reserve(static_cast<std::size_t>(window.length / window.step) + 1);
    const int first = beat - window.before;
    for (int i = first; i < first + window.length; i += window.step)
        cut.push_back(m_frames[static_cast<std::size_t>(i) * m_chn + lead]);
    return cut;
}

// The QRS of a beat, normalized; leads that are not trusted are empty.
BeatLearner::Beat BeatLearner::Shape(int beat) const {
    Beat shape(m_chn);
    for (std::size_t c = 0; c < m_chn; ++c) {
        if (!m_trusted[c]) continue;
        shape[c] = CutLead(c, beat, QrsWindow());
        Normalize(shape[c]);
    }
    return shape;
}

// Each beat is first moved to the mean level of all, so that drift from beat to beat does not sort the beats
// at one sample differently from the next.
std::vector<double> BeatLearner::AverageLead(std::size_t lead, const Positions& beats,
                                             const Window& window) const {
    std::vector<std::vector<double>> cuts;
    double level = 0;  // mean over the beats
    for (const int beat : beats) {
        std::vector<double>& cut = cuts.emplace_back(CutLead(lead, beat, window));
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

// False if the signal does not come to rest before or after the QRS: Q or J is then a guess.
bool BeatLearner::Delineate() {
    const double msPerSample = kMsPerSecond / m_fs;
    const Delineation at = m_delineator.Find(m_average, m_fs, m_learned.usable, m_learned.posR * msPerSample);
    const auto sample = [&](double ms) {
        return static_cast<short>(std::clamp<long>(std::lround(ms / msPerSample), 0, m_learned.length - 1));
    };
    m_learned.posQ = sample(at.qMs);
    m_learned.posJ = sample(at.jMs);
    return at.isSure;
}

}  // namespace qz
