#include "session/internal/BeatFinder.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "core/Arithmetic.h"
#include "core/filters/DirectForm1.h"
#include "session/internal/FilterTaps.h"
#include "session/internal/OfRank.h"

namespace qz {

namespace {

constexpr int kPlacesPerSecond = 250;  // at least, where there are so many frames

// What is kept. The slowest beats that are told apart are so far from each other; a beat is classed 6.5 s
// after it at the most, at the end of a recording of 4 s; and the first beats are found after 4 s.
constexpr double kEnvelopeSeconds = 8, kSignalSeconds = 7, kBandSeconds = 4.5;
constexpr double kEnergySeconds = 0.5;
constexpr std::size_t kMostBeats = 64;  // that become known at once, in the first seconds
constexpr double kMostUvPerUnit = 1e9;  // so that energies are within the range of float

// Filters, all without distortion of phase. 20 Hz keeps muscle noise out where it is as large as the beats.
constexpr double kBandLowHz = 5, kBandHighHz = 20, kBandHalfSeconds = 0.2;
constexpr double kSlopeLowHz = 8, kSlopeHighHz = 40, kSlopeHalfSeconds = 0.1;
constexpr double kMeanHalfSeconds = 0.04;
constexpr double kBandMiddle =
    70;  // rad/s: in the middle of the band, slope divided by it is as large as signal

// Places.
constexpr double kStartSeconds = 4;
constexpr double kStartWindowSeconds = 1.5, kStartHopSeconds = 0.5;  // each window has a beat above 40/min
constexpr double kNearSeconds = 0.2;                                 // no two beats are nearer
constexpr double kJudgedAfterSeconds = 0.3;
constexpr double kBeatHalfSeconds = 0.08, kSlopeNearSeconds = 0.06;  // where a beat is measured
constexpr double kBesideBeatSeconds = 0.14;  // what is between beats begins after this
constexpr double kShapeHalfSeconds = 0.08, kShapeShiftSeconds = 0.02;
constexpr double kSoonSeconds = 0.36;  // after a beat: its T wave, or an early beat
constexpr double kLongestRrSeconds = 2.5;
constexpr int kFarthestFirst = 1 << 20;  // units: what gaps add up to leaves a float its digits

// Floors.
constexpr double kFloorSeconds = 1.5, kFloorEverySeconds = 0.1, kFloorStepSeconds = 0.02;
constexpr double kFloorPart = 0.4;

// Weights.
constexpr double kLeastUv = 4;
constexpr double kFirstNoise = 0.3;  // of a beat, until it is known
constexpr double kMostOut = 6;       // how far a beat stands out counts up to this
constexpr double kLeastOut = 0.15;   // and from this on
constexpr double kCalmFloor = 0.12;  // of a beat
constexpr double kLeastCalm = 0.03;
constexpr double kClear = 0.05;            // of the best lead's weight
constexpr double kMostOfLead = 3;          // beats that one lead can show at once
constexpr double kTakenBackSeconds = 0.6;  // a disturbance is known 0.4 s after it begins
constexpr double kChange = 1.5;            // three beats in a row that differ so much are the new usual ones

constexpr double kSilent = 0.25;  // of a beat: below this for 1.5 s a lead shows none, while another
constexpr double kSpeaks = 0.6;   // shows this

// Threshold.
constexpr double kLowestCandidate = 0.12;
constexpr double kAboveNoise = 0.3;  // of the way from noise to beats
constexpr double kLateFall = 0.4;    // of the threshold, from one interval after a beat to one and a half
constexpr double kNoiseShare = 1.0 / 8;
constexpr double kTWaveHeight = 0.6, kTWaveSlope = 0.55;    // soon after a beat: what is below is its T wave
constexpr double kTWaveEnd = 0.4, kBehindTWaveSlope = 0.3;  // s at 60/min, with the root of the interval

// Caution in noise.
constexpr double kNoisyFloor = 0.16, kNoisyFloorWidth = 0.1;
constexpr double kAlike = 0.85, kAlikeWidth = 0.5;
constexpr double kEarly = 0.85, kEarlyWidth = 0.4;  // intervals
constexpr double kCautionSpreads = 2;
constexpr double kLeastAlike = 0.3;  // to count for the shape
constexpr double kShapeShare = 1.0 / 8;

// Spikes of some leads: early, and nothing in leads that weigh so much of all.
constexpr double kNothing = 0.1, kSilentPart = 0.4;
constexpr double kClearWeight = 9;  // beats stand out three times from what lies between them

// Quality: between these figures of a lead it goes from 0 to 1.
constexpr double kGoodDistance = 0.7;                 // of a beat from what lies between them; from 0 on
constexpr double kRestless = 0.5;                     // floor as a part of a beat; down to kCalmFloor
constexpr double kUnlike = 0.5, kGoodLikeness = 0.9;  // of its beats
constexpr double kLikenessShare = 1.0 / 4;

// Search back and pauses.
constexpr double kPause = 1.5, kCalmPause = 1.3;  // intervals without a beat
constexpr double kCalmFused = 0.08;               // floor below which the shorter pause is enough
constexpr double kSearchedSeconds = 1.75, kBeforeNextSeconds = 0.3;
constexpr double kSearchedHeight = 0.15, kSearchedPart = 0.5, kSearchedSlope = 0.25;
constexpr double kAsleepSeconds = 1.6, kAsleepRrs = 1.6, kAsleepAgainSeconds = 0.8, kAwakeningSeconds = 2,
                 kAsleepSlope = 0.7;
constexpr double kPeakOverFloor = 3;  // a signal that does not stand out from its floor has no beats

std::vector<float> MeanTaps(long long half) {
    std::vector<double> taps;
    for (long long i = -half; i <= half; ++i)
        taps.push_back(
            0.5 + 0.5 * std::cos(DirectForm1::kPi * static_cast<double>(i) / static_cast<double>(half + 1)));
    const double sum = std::accumulate(taps.begin(), taps.end(), 0.0);
    std::vector<float> rounded;
    for (const double tap : taps) rounded.push_back(static_cast<float>(tap / sum));
    return rounded;
}

}  // namespace

void BeatFinder::Latest::Add(double value) {
    m_values[m_next] = value;
    m_next = (m_next + 1) % kMemory;
    std::array<double, kMemory> sorted = m_values;
    std::sort(sorted.begin(), sorted.end());
    m_median = (sorted[kMemory / 2 - 1] + sorted[kMemory / 2]) / 2;
}

const float* BeatFinder::Ring::Rows(long long first, std::size_t count, std::vector<float>& room) const {
    const std::size_t slot = Slot(first), toEnd = static_cast<std::size_t>(m_places) - slot;
    if (count <= toEnd) return &m_values[slot * m_width];
    const auto rest = std::copy_n(&m_values[slot * m_width], toEnd * m_width, room.begin());
    std::copy_n(m_values.begin(), (count - toEnd) * m_width, rest);
    return room.data();
}

void BeatFinder::Filter::Next(const Ring& from, float* filtered) {
    const float* const rows = from.Rows(m_place - Half(), m_taps.size(), m_room);
    const std::size_t late = kTogether - 1, early = m_taps.size() - late;  // taps
    const auto turn = static_cast<std::size_t>(m_place++) % kTogether;
    if (turn == 0) {
        std::fill(m_sums.begin(), m_sums.end(), 0.0F);
        AddProducts(m_taps.data(), early, rows, m_chn, kTogether * m_chn, m_sums.data());
    }
    float* const own = &m_sums[turn * m_chn];
    AddProducts(&m_taps[early], late, rows + early * m_chn, m_chn, m_chn, own);
    std::copy_n(own, m_chn, filtered);
}

BeatFinder::BeatFinder(int fs, std::size_t chn, double uVpb)
    : m_chn(chn),
      m_step(std::max(1, fs / kPlacesPerSecond)),
      m_rate(static_cast<double>(fs) / m_step),
      m_uVpb(std::min(uVpb, kMostUvPerUnit)),
      m_first(chn),
      m_sum(chn),
      m_bandFilter(BandPassTaps(kBandLowHz, kBandHighHz, m_rate, Places(kBandHalfSeconds)), chn),
      m_slopeFilter(BandPassTaps(kSlopeLowHz, kSlopeHighHz, m_rate, Places(kSlopeHalfSeconds)), chn),
      m_meanFilter(MeanTaps(Places(kMeanHalfSeconds)), chn),
      m_signal(Places(kSignalSeconds), chn),
      m_band(Places(kBandSeconds), chn),
      m_energy(Places(kEnergySeconds), chn),
      m_envelope(Places(kEnvelopeSeconds), chn),
      m_slope(Places(kBandSeconds), chn),
      m_fused(Places(kEnvelopeSeconds), 1),
      m_leads(chn),
      m_shape(static_cast<std::size_t>(2 * Places(kShapeHalfSeconds) + 1) * chn),
      m_products(3 * chn),
      m_likeness(chn) {
    m_rrs.Fill(kUsualRrSeconds * m_rate);
    m_rejected.reserve(kMostBeats);
    m_beats.reserve(kMostBeats);
    const auto looks = static_cast<std::size_t>(Places(kFloorSeconds) / FloorStep()) + 1;
    m_latest.resize((looks + kRankAtOnce - 1) / kRankAtOnce * kRankAtOnce * (chn + 1));
}

const std::vector<long long>& BeatFinder::Take(const short* frame) {
    m_beats.clear();
    if (m_frames == 0) std::copy_n(frame, m_chn, m_first.begin());
    for (std::size_t c = 0; c < m_chn; ++c) m_sum[c] += frame[c] - m_first[c];
    ++m_frames;
    if (++m_summed == m_step) TakePlace();
    return m_beats;
}

void BeatFinder::EndGap(const short* held, const short* next) {
    for (std::size_t c = 0; c < m_chn; ++c)
        m_first[c] = std::clamp(m_first[c] + next[c] - held[c], -kFarthestFirst, kFarthestFirst);
    m_isGap = false;
    m_gapEnd = m_taken;
}

// The last place is repeated until everything has been judged; what would lie after the end is left out.
const std::vector<long long>& BeatFinder::Finish() {
    m_beats.clear();
    const long long held = m_bandFilter.Half() + m_meanFilter.Half() + 1 + Places(kAwakeningSeconds);
    for (long long i = 0; i < held && m_taken > 0; ++i) {
        const float* last = m_signal.Row(m_taken - 1);
        for (std::size_t c = 0; c < m_chn; ++c) m_sum[c] = static_cast<double>(last[c]) / m_uVpb * m_step;
        TakePlace();
    }
    if (!m_isStarted && m_taken > 0) Start();
    while (!m_beats.empty() && m_beats.back() >= m_frames) m_beats.pop_back();
    return m_beats;
}

std::vector<bool> BeatFinder::ClearLeads() const {
    double best = 0;
    for (const Lead& lead : m_leads) best = std::max(best, lead.weight);
    std::vector<bool> clear;
    for (const Lead& lead : m_leads) clear.push_back(lead.weight > 0 && lead.weight >= kClear * best);
    return clear;
}

void BeatFinder::TakePlace() {
    float* signal = m_signal.Row(m_taken);
    for (std::size_t c = 0; c < m_chn; ++c) signal[c] = static_cast<float>(m_sum[c] * m_uVpb / m_step);
    std::fill(m_sum.begin(), m_sum.end(), 0.0);
    m_summed = 0;
    ++m_taken;
    const long long centre = m_taken - 1 - m_bandFilter.Half();
    if (centre < 0) return;
    m_bandFilter.Next(m_signal, m_band.Row(centre));
    float* const slope = m_slope.Row(centre);
    m_slopeFilter.Next(m_signal, slope);
    for (std::size_t c = 0; c < m_chn; ++c) slope[c] = std::abs(slope[c]);
    TakeEnvelope(centre - 1);
}

// Signal and slope, a quarter of a period apart, make an envelope without ripple.
void BeatFinder::TakeEnvelope(long long centre) {
    if (centre < 1) return;
    const float *before = m_band.Row(centre - 1), *at = m_band.Row(centre), *after = m_band.Row(centre + 1);
    float* energy = m_energy.Row(centre);
    for (std::size_t c = 0; c < m_chn; ++c) {
        const double band = static_cast<double>(at[c]);
        const double slope =
            (static_cast<double>(after[c]) - static_cast<double>(before[c])) * m_rate / 2 / kBandMiddle;
        energy[c] = static_cast<float>(band * band + slope * slope);
    }
    const long long place = centre - m_meanFilter.Half();
    if (place < 0) return;
    float* const envelope = m_envelope.Row(place);
    m_meanFilter.Next(m_energy, envelope);
    for (std::size_t c = 0; c < m_chn; ++c) envelope[c] = std::sqrt(envelope[c]);
    m_ready = place + 1;
    if (m_isStarted)
        Step(place);
    else if (m_ready >= Places(kStartSeconds))
        Start();
}

// The largest value of a lead from a place to before another.
double BeatFinder::Largest(const Ring& ring, std::size_t lead, long long from, long long to) const {
    float largest = 0;
    for (long long n = std::max({from, 0LL, m_ready - ring.Places()}); n < std::min(to, m_ready); ++n)
        largest = std::max(largest, ring.Row(n)[lead]);
    return static_cast<double>(largest);
}

// The usual beat of a lead is at first the median of the largest values in stretches that have a beat each.
// Then the first seconds are looked at as all others will be.
void BeatFinder::Start() {
    m_isStarted = true;
    const long long length = Places(kStartWindowSeconds);
    for (std::size_t c = 0; c < m_chn; ++c) {
        std::array<double, 8> sizes{}, slopes{};
        std::size_t windows = 0;
        for (long long from = 0; windows < sizes.size() && (from == 0 || from + length <= m_ready);
             from += Places(kStartHopSeconds)) {
            sizes[windows] = Largest(m_envelope, c, from, from + length);
            slopes[windows++] = Largest(m_slope, c, from, from + length);
        }
        std::sort(sizes.begin(), sizes.begin() + static_cast<std::ptrdiff_t>(windows));
        std::sort(slopes.begin(), slopes.begin() + static_cast<std::ptrdiff_t>(windows));
        Lead& lead = m_leads[c];
        lead.size = sizes[(windows - 1) / 2];
        lead.slope = slopes[(windows - 1) / 2];
        lead.noise = kFirstNoise * lead.size;
        lead.sizes.Fill(lead.size);
        lead.slopes.Fill(lead.slope);
        lead.between.Fill(lead.noise);
    }
    const long long ready = m_ready;
    MeasureFloors(std::min(ready, Places(kFloorSeconds)));
    for (long long place = 0; place < ready; ++place) Step(place);
}

void BeatFinder::Step(long long place) {
    if (place % std::max(1LL, Places(kFloorEverySeconds)) == 0 && place >= Places(kFloorSeconds))
        MeasureFloors(place);
    Fuse(place);
    const long long judged = place - Places(kJudgedAfterSeconds);
    if (judged < 0) return;
    if (IsCandidate(judged)) Judge({judged, Fused(judged)});
    SearchBack(place);
    Awaken(place);
}

long long BeatFinder::FloorStep() const { return std::max(1LL, Places(kFloorStepSeconds)); }

// A level that the signal is below of for two fifths of the time: between beats, it is noise.
void BeatFinder::MeasureFloors(long long end) {
    const long long begin = std::max(0LL, end - Places(kFloorSeconds));
    const std::size_t room = m_latest.size() / (m_chn + 1);  // of a lead; the last ones are the fused
    std::size_t count = 0;
    for (long long n = begin; n < end; n += FloorStep(), ++count) {
        const float* envelope = m_envelope.Row(n);
        for (std::size_t c = 0; c < m_chn; ++c) m_latest[c * room + count] = envelope[c];
        m_latest[m_chn * room + count] = *m_fused.Row(n);
    }
    if (count == 0) return;
    const auto floorOf = [&](std::size_t c, double last) {
        return static_cast<double>(OfRank(&m_latest[c * room], count,
                                          static_cast<std::size_t>(static_cast<double>(count) * kFloorPart),
                                          static_cast<float>(last)));
    };
    for (std::size_t c = 0; c < m_chn; ++c) {
        const float* const latest = &m_latest[c * room];
        m_leads[c].peak = static_cast<double>(*std::max_element(latest, latest + count));
        m_leads[c].floor = floorOf(c, m_leads[c].floor);
        m_leads[c].isSilent = false;
        Weigh(m_leads[c]);
    }
    m_fusedFloor = floorOf(m_chn, m_fusedFloor);
    if (m_hasShape) LookForSilence();
}

// A lead whose beats have vanished, while a clear one goes on to show them, would hold that one down. In a
// pause no lead shows any.
void BeatFinder::LookForSilence() {
    double best = 0;
    for (const Lead& lead : m_leads)
        if (lead.peak >= kSpeaks * lead.size) best = std::max(best, lead.weight);
    for (Lead& lead : m_leads) {
        lead.isSilent = best > 0 && lead.peak < kSilent * lead.size && best >= kClear * lead.weight;
        if (lead.isSilent) lead.weight = 0;
    }
}

void BeatFinder::Weigh(Lead& lead) const {
    lead.weight = 0;
    if (lead.isSilent) return;
    if (lead.size < kLeastUv || !HasVoice(lead)) return;
    const double out = std::min(
        kMostOut, std::max(lead.size - lead.noise, kLeastOut * lead.noise) / (lead.noise + 0.02 * lead.size));
    const double calm = std::clamp(kCalmFloor * lead.size / std::max(lead.floor, 1e-6), kLeastCalm, 1.0);
    lead.weight = out * out * calm * calm * calm;
}

void BeatFinder::Fuse(long long place) {
    const float* envelope = m_envelope.Row(place);
    double sum = 0, weights = 0;
    for (std::size_t c = 0; c < m_chn; ++c) {
        const Lead& lead = m_leads[c];
        if (lead.weight <= 0) continue;
        sum += lead.weight * std::min(static_cast<double>(envelope[c]) / lead.size, kMostOfLead);
        weights += lead.weight;
    }
    *m_fused.Row(place) = weights > 0 ? static_cast<float>(sum / weights) : 0.0F;
}

void BeatFinder::Disturb(std::size_t lead, bool isDisturbed) {
    m_leads[lead].isDisturbed = isDisturbed;
    m_areAllDisturbed =
        std::all_of(m_leads.begin(), m_leads.end(), [](const Lead& one) { return one.isDisturbed; });
    if (!m_isStarted) return;
    for (Lead& one : m_leads) Weigh(one);
    if (!isDisturbed) return;
    for (long long n = std::max(0LL, m_ready - Places(kTakenBackSeconds)); n < m_ready; ++n) Fuse(n);
}

bool BeatFinder::IsCandidate(long long place) const {
    const double height = Fused(place);
    if (height <= kLowestCandidate || height <= Fused(place + 1)) return false;
    const long long near = Places(kNearSeconds);
    for (long long n = std::max(0LL, place - near); n <= place + near; ++n)
        if (Fused(n) > height) return false;
    return true;
}

void BeatFinder::Judge(const Candidate& candidate) {
    if (m_lastBeat >= 0 && candidate.place - m_lastBeat < Places(kNearSeconds)) return;
    if (candidate.height >= Threshold(candidate.place) + Caution(candidate.place) && !IsTWave(candidate) &&
        !IsSpike(candidate.place))
        return Accept(candidate.place);
    const double height = std::min(candidate.height, 1.0);
    m_noiseSpread += kNoiseShare * (std::abs(height - m_noisePeak) - m_noiseSpread);
    m_noisePeak += kNoiseShare * (height - m_noisePeak);
    const long long oldest = candidate.place - Places(kSearchedSeconds + kJudgedAfterSeconds);
    m_rejected.erase(m_rejected.begin(),
                     std::find_if(m_rejected.begin(), m_rejected.end(),
                                  [oldest](const Candidate& old) { return old.place >= oldest; }));
    m_rejected.push_back(candidate);
}

double BeatFinder::Threshold(long long place) const {
    const double threshold = m_noisePeak + kAboveNoise * (1 - m_noisePeak);
    if (m_lastBeat < 0) return threshold;
    const double late = (static_cast<double>(PlacesWithout(place)) / m_rrs.Median() - 1) / (kPause - 1);
    return threshold * (1 - kLateFall * std::clamp(late, 0.0, 1.0));
}

// What a candidate has to stand out above the threshold.
double BeatFinder::Caution(long long place) {
    const double noisy = std::clamp((m_fusedFloor - kNoisyFloor) / kNoisyFloorWidth, 0.0, 1.0);
    if (!m_hasShape || m_lastBeat < 0 || noisy <= 0) return 0;
    const double unlike = std::clamp((kAlike - Compare(place).likeness) / kAlikeWidth, 0.0, 1.0);
    const double intervals = static_cast<double>(place - m_lastBeat) / m_rrs.Median();
    const double early = std::clamp((kEarly - intervals) / kEarlyWidth, 0.0, 1.0);
    return noisy * m_noiseSpread * kCautionSpreads * (unlike + early);
}

bool BeatFinder::IsTWave(const Candidate& candidate) const {
    if (m_lastBeat < 0 || candidate.place - m_lastBeat > Places(kSoonSeconds)) return false;
    const double after = static_cast<double>(candidate.place - m_lastBeat) / m_rate;
    const double end = kTWaveEnd * std::sqrt(m_rrs.Median() / m_rate);
    return candidate.height < kTWaveHeight ||
           Slope(candidate.place) < (after > end ? kBehindTWaveSlope : kTWaveSlope) * m_lastSlope;
}

// A beat shows in all leads that are clear, though not in each as a usual one does; what an electrode does
// shows in its own leads.
bool BeatFinder::IsSpike(long long place) const {
    if (m_lastBeat < 0 || static_cast<double>(place - m_lastBeat) >= kEarly * m_rrs.Median()) return false;
    double silent = 0, weights = 0;
    for (std::size_t c = 0; c < m_chn; ++c) {
        const Lead& lead = m_leads[c];
        weights += lead.weight;
        if (lead.weight > kClearWeight &&
            static_cast<double>(m_envelope.Row(place)[c]) < kNothing * lead.size)
            silent += lead.weight;
    }
    return silent > kSilentPart * weights;
}

// The slope around a place in units of the leads' beats.
double BeatFinder::Slope(long long place) const {
    double sum = 0, weights = 0;
    const long long near = Places(kSlopeNearSeconds);
    for (std::size_t c = 0; c < m_chn; ++c) {
        const Lead& lead = m_leads[c];
        if (lead.weight <= 0 || lead.slope <= 0) continue;
        sum += lead.weight *
               std::min(kMostOfLead, Largest(m_slope, c, place - near, place + near + 1) / lead.slope);
        weights += lead.weight;
    }
    return weights > 0 ? sum / weights : 0;
}

// After a pause the highest candidate that was rejected is a beat, unless it is next to what may be one.
void BeatFinder::SearchBack(long long now) {
    const long long judged = now - Places(kJudgedAfterSeconds);
    const double pause = (m_fusedFloor < kCalmFused ? kCalmPause : kPause) * m_rrs.Median();
    if (m_lastBeat < 0 || static_cast<double>(PlacesWithout(judged)) < pause) return;
    long long next = judged;
    while (next < now && Fused(next) <= Threshold(next)) ++next;
    Candidate best;
    for (const Candidate& candidate : m_rejected) {
        if (candidate.place - m_lastBeat >= Places(kSoonSeconds) &&
            judged - candidate.place < Places(kSearchedSeconds) &&
            next - candidate.place >= Places(kBeforeNextSeconds) && candidate.height > best.height)
            best = candidate;
    }
    if (best.height >= std::max(kSearchedHeight, kSearchedPart * Threshold(best.place)) &&
        Slope(best.place) > kSearchedSlope)
        Accept(best.place);
}

// After a long silence the usual beat of each lead moves towards what there has been since.
void BeatFinder::Awaken(long long now) {
    const double wait = m_lastAwakening > m_lastBeat ? static_cast<double>(Places(kAsleepAgainSeconds))
                                                     : std::max(static_cast<double>(Places(kAsleepSeconds)),
                                                                kAsleepRrs * m_rrs.Median());
    if (m_isGap || static_cast<double>(std::min(PlacesWithout(now), now - m_lastAwakening)) < wait) return;
    m_lastAwakening = now;
    for (std::size_t c = 0; c < m_chn; ++c) {
        Lead& lead = m_leads[c];
        const double largest = Largest(m_envelope, c, now - Places(kAwakeningSeconds), now);
        if (largest < kPeakOverFloor * lead.floor) continue;
        lead.size = std::max(lead.size / 2, largest);
        lead.noise = std::min(lead.noise, lead.size / 2);
        lead.slope *= kAsleepSlope;
        lead.sizes.Fill(lead.size);
        lead.between.Fill(lead.noise);
        Weigh(lead);
    }
}

void BeatFinder::Accept(long long place) {
    LearnLeads(place);
    LearnShape(place);
    if (m_lastBeat >= m_gapEnd)
        m_rrs.Add(static_cast<double>(std::min(place - m_lastBeat, Places(kLongestRrSeconds))));
    m_lastBeat = place;
    m_lastSlope = Slope(place);
    m_rejected.erase(std::remove_if(m_rejected.begin(), m_rejected.end(),
                                    [place](const Candidate& candidate) { return candidate.place <= place; }),
                     m_rejected.end());
    m_beats.push_back(place * m_step + m_step / 2);
}

void BeatFinder::LearnLeads(long long place) {
    const long long half = Places(kBeatHalfSeconds), near = Places(kSlopeNearSeconds);
    const long long beside = Places(kBesideBeatSeconds);
    for (std::size_t c = 0; c < m_chn; ++c) {
        Lead& lead = m_leads[c];
        if (!HasVoice(lead)) continue;
        lead.sizes.Add(Largest(m_envelope, c, place - half, place + half + 1));
        lead.slopes.Add(Largest(m_slope, c, place - near, place + near + 1));
        if (m_lastBeat >= 0) lead.between.Add(Largest(m_envelope, c, m_lastBeat + beside, place - beside));
        std::array<double, 3> three{lead.sizes.Newest(0), lead.sizes.Newest(1), lead.sizes.Newest(2)};
        std::sort(three.begin(), three.end());
        lead.size = lead.sizes.Median();
        if (three.front() > kChange * lead.size || kChange * three.back() < lead.size) lead.size = three[1];
        lead.noise = lead.between.Median();
        lead.slope = lead.slopes.Median();
        Weigh(lead);
    }
}

void BeatFinder::LearnShape(long long place) {
    Fit fit;
    if (m_hasShape) {
        fit = Compare(place);
        MeasureLikeness(place + fit.shift);
        for (std::size_t c = 0; c < m_chn; ++c)
            m_leads[c].likeness += kLikenessShare * (m_likeness[c] - m_leads[c].likeness);
        if (fit.likeness < kLeastAlike) return;
    }
    const double share = m_hasShape ? kShapeShare : 1;
    const long long half = Places(kShapeHalfSeconds);
    auto shape = m_shape.begin();
    for (long long k = -half; k <= half; ++k) {
        const float* band = m_band.Row(place + fit.shift + k);
        for (std::size_t c = 0; c < m_chn; ++c, ++shape)
            *shape += share * (static_cast<double>(band[c]) - *shape);
    }
    m_hasShape = true;
}

// The best mean correlation of the leads with the shape, a little to the left or right.
BeatFinder::Fit BeatFinder::Compare(long long place) {
    Fit best;
    const long long most = Places(kShapeShiftSeconds);
    for (long long shift = -most; shift <= most; ++shift) {
        MeasureLikeness(place + shift);
        double sum = 0, weights = 0;
        for (std::size_t c = 0; c < m_chn; ++c) {
            if (m_leads[c].weight <= 0) continue;
            sum += m_leads[c].weight * m_likeness[c];
            weights += m_leads[c].weight;
        }
        if (weights > 0 && sum / weights > best.likeness) best = {sum / weights, shift};
    }
    return best;
}

// The correlation of each lead with its shape; 0 where either is flat. Leads go side by side.
void BeatFinder::MeasureLikeness(long long place) {
    const long long half = Places(kShapeHalfSeconds);
    std::fill(m_products.begin(), m_products.end(), 0.0);
    double* __restrict const xy = m_products.data();
    double* __restrict const xx = xy + m_chn;
    double* __restrict const yy = xx + m_chn;
    const double* y = m_shape.data();
    for (long long k = -half; k <= half; ++k, y += m_chn) {
        const float* const band = m_band.Row(place + k);
        for (std::size_t c = 0; c < m_chn; ++c) {
            const double x = static_cast<double>(band[c]);
            xy[c] += x * y[c];
            xx[c] += x * x;
            yy[c] += y[c] * y[c];
        }
    }
    for (std::size_t c = 0; c < m_chn; ++c)
        m_likeness[c] = xx[c] > 0 && yy[c] > 0 ? xy[c] / std::sqrt(xx[c] * yy[c]) : 0;
}

double BeatFinder::Quality(std::size_t index) const {
    const Lead& lead = m_leads[index];
    if (lead.size < kLeastUv) return 0;
    const double standsOut = (1 - lead.noise / lead.size) / kGoodDistance;
    const double calm = (kRestless - lead.floor / lead.size) / (kRestless - kCalmFloor);
    const double alike = (lead.likeness - kUnlike) / (kGoodLikeness - kUnlike);
    return std::clamp(std::min({standsOut, calm, alike}), 0.0, 1.0);
}

}  // namespace qz
