// BeatFinder: finds the beats of a signal on all of its leads at once, and needs none of them in particular.
//
//   frame -> some 250 per second -> per lead: band of the QRS, 5 to 20 Hz, and its envelope; slope, 8 to 40
//   Hz
//         -> fused over the leads, each in units of its own beats: a usual beat is about 1
//         -> the highest place within 0.2 s to both sides is a candidate, judged 0.3 s after it
//         -> against a threshold between noise and beats; no T wave; after a long pause, searched back
//
// What a lead weighs follows from how far its beats stand out from what lies between them, and from how calm
// it is: a lead that is flat, noisy, or has T waves as high as its QRS hardly counts, so that it does not
// spoil what a better one tells. A lead that has lost its beats for 1.5 s counts for nothing while another
// shows them. What is usual is the median of the last eight beats. Where the fused
// envelope does not come to rest, candidates that come early, or are unlike the beats before on all leads,
// have to stand out more. An early one of which leads of some weight show nothing is a spike of the others.
//
// Thresholds between running levels of signal and noise, the search back and the slope against T waves follow
// Pan, Tompkins, "A real-time QRS detection algorithm", IEEE Trans Biomed Eng 1985; 32: 230-236.
//
// A beat is known 0.6 s after it as a rule, and up to 2.3 s after it where it was searched back; those of the
// first four seconds are known once these have passed, 4.3 s after the start. Allocates in the constructor.
// One object belongs to one thread.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "core/FloatingPoint.h"
#include "session/internal/FilterTaps.h"

namespace qz {

class BeatFinder {
public:
    static constexpr double kUsualRrSeconds = 0.8;  // until beats are known

    /// fs: samples per second, 100 to 10000; chn: leads, 1 or more; uVpb: microvolts per unit of the frames,
    /// above 0; more than 1e9 count as 1e9.
    BeatFinder(int fs, std::size_t chn, double uVpb);

    /// Takes the next frame, as recorded. Returns the beats that have become known, in order of time, each as
    /// the number of the frame in the middle of its QRS; valid until the next call.
    const std::vector<long long>& Take(const short* frame);
    /// The signal stands still on all leads: it is missing, and tells nothing of what a usual beat is.
    void BeginGap() { m_isGap = true; }
    /// It is there again with the next frame, which takes the level over at which it was `held`, so that the
    /// step between them is no beat. The search for weak beats after a pause begins anew.
    void EndGap(const short* held, const short* next);
    /// There are no more frames: the beats that are still to be told.
    const std::vector<long long>& Finish();

    /// A lead that is off or disturbed, from now on or no longer. It has no voice and teaches nothing, unless
    /// all are: what it has shown in the last 0.6 s does not count either.
    void Disturb(std::size_t lead, bool isDisturbed);

    /// True once a beat has been found.
    bool HasBeats() const { return m_lastBeat >= 0; }
    /// How well the lead shows beats, from 0 to 1: the worst of how far they stand out from what lies between
    /// them, of how calm it is, and of how like each other they are. What fuses the leads is made of the
    /// same.
    double Quality(std::size_t lead) const;
    /// Per lead whether it counts for at least a twentieth of what the best one does. Allocates.
    std::vector<bool> ClearLeads() const;

    /// The signal as it is looked at, for those who look at the beats found: places, some 250 per second, are
    /// `FramesPerPlace` frames each. Leads are in uV, less the first frame.
    int FramesPerPlace() const { return m_step; }
    double PlacesPerSecond() const { return m_rate; }
    std::size_t Leads() const { return m_chn; }
    /// Places taken so far, those that repeat the last frame after the end among them.
    long long Taken() const { return m_taken; }
    const float* Signal(long long place) const { return m_signal.Row(place); }
    /// Places that are kept.
    long long Kept() const { return m_signal.Places(); }
    /// What the lead counts for, 0 and more.
    double Weight(std::size_t lead) const { return m_leads[lead].weight; }
    /// The level below which the fused envelope is for two fifths of the latest 1.5 s, in usual beats: noise.
    double Floor() const { return m_fusedFloor; }

private:
    static constexpr std::size_t kMemory = 8;  // beats
    // The latest values.
    class Latest {
    public:
        void Fill(double value) {
            m_values.fill(value);
            m_median = value;
        }
        void Add(double value);
        double Median() const { return m_median; }
        /// The newest but `back`.
        double Newest(std::size_t back) const {
            return m_values[(m_next + 2 * kMemory - 1 - back) % kMemory];
        }

    private:
        std::array<double, kMemory> m_values{};
        std::size_t m_next = 0;
        double m_median = 0;
    };
    // One row of samples per place, the newest ones. Rows that have not been written hold 0, those ahead of
    // place 0 among them.
    class Ring {
    public:
        Ring(long long places, std::size_t width)
            : m_places(places), m_width(width), m_values(static_cast<std::size_t>(places) * width) {}
        /// The place after the newest one, for writing, or one that is kept.
        float* Row(long long place) {
            if (place - m_lap == m_places) m_lap = place;
            return &m_values[Slot(place) * m_width];
        }
        const float* Row(long long place) const { return &m_values[Slot(place) * m_width]; }
        /// `count` rows one after the other; in `room`, where the end of the ring lies between them.
        const float* Rows(long long first, std::size_t count, std::vector<float>& room) const;
        long long Places() const { return m_places; }

    private:
        std::size_t Slot(long long place) const {
            const long long slot = place - m_lap;
            return static_cast<std::size_t>(slot < 0 ? slot + m_places : slot);
        }
        long long m_places;
        std::size_t m_width;
        long long m_lap = 0;  // place of the first row
        std::vector<float> m_values;
    };
    // A symmetric filter of odd length for the places of a ring, one after the other from 0 on. Four of them
    // share the work, as their sums do not wait for each other: the first one adds up for all four what is
    // there already, and each adds the rest when it comes.
    class Filter {
    public:
        Filter(std::vector<float> taps, std::size_t chn)
            : m_taps(std::move(taps)), m_chn(chn), m_room(m_taps.size() * chn), m_sums(kTogether * chn) {}
        /// Places from its middle to its ends.
        long long Half() const { return qz::Half(m_taps); }
        /// Writes what it makes of all leads at the next place, around which the ring has so many.
        void Next(const Ring& from, float* filtered);

    private:
        static constexpr std::size_t kTogether = 4;

        std::vector<float> m_taps;
        std::size_t m_chn;
        long long m_place = 0;      // the next one
        std::vector<float> m_room;  // of Rows
        std::vector<float> m_sums;  // of four places, [place][lead]
    };
    struct Lead {
        // Of the last beats: envelope at the beat, its largest value since the beat before, slope at the
        // beat.
        Latest sizes, between, slopes;
        double size = 0, noise = 0, slope = 0;  // what is usual of these
        double floor = 0, peak = 0;             // of the envelope in the latest 1.5 s
        double weight = 0;
        bool isDisturbed = false;
        bool isSilent = false;  // it has lost its beats, and another one has not
        double likeness = 1;    // of its latest beats with their running mean, -1 to 1
    };
    struct Candidate {
        long long place = 0;
        double height = 0;  // of the fused envelope
    };

    void TakePlace();
    void TakeEnvelope(long long centre);
    void Start();
    void Step(long long place);
    void MeasureFloors(long long end);
    void LookForSilence();
    long long FloorStep() const;  // places
    void Weigh(Lead& lead) const;
    bool HasVoice(const Lead& lead) const { return !lead.isDisturbed || m_areAllDisturbed; }
    void Fuse(long long place);
    bool IsCandidate(long long place) const;
    void Judge(const Candidate& candidate);
    void SearchBack(long long now);
    void Awaken(long long now);
    void Accept(long long place);
    void LearnLeads(long long place);
    void LearnShape(long long place);
    double Threshold(long long place) const;
    // Places without a beat up to this one, those of gaps not counted.
    long long PlacesWithout(long long place) const { return place - std::max(m_lastBeat, m_gapEnd); }
    double Caution(long long place);
    bool IsTWave(const Candidate& candidate) const;
    bool IsSpike(long long place) const;
    double Slope(long long place) const;
    struct Fit {
        double likeness = -1;
        long long shift = 0;
    };
    Fit Compare(long long place);
    void MeasureLikeness(long long place);
    double Largest(const Ring& ring, std::size_t lead, long long from, long long to) const;
    double Fused(long long place) const { return static_cast<double>(*m_fused.Row(place)); }
    // To the nearest place; of no negative time.
    long long Places(double seconds) const { return std::llround(seconds * m_rate); }

    std::size_t m_chn;
    int m_step;     // frames to a place: their mean is looked at
    double m_rate;  // places per second
    double m_uVpb;
    long long m_frames = 0;
    std::vector<int> m_first;   // frame, taken off all with the steps at the ends of gaps
    std::vector<double> m_sum;  // of the frames to the next place
    int m_summed = 0;

    Filter m_bandFilter, m_slopeFilter, m_meanFilter;
    Ring m_signal, m_band, m_energy, m_envelope, m_slope;  // per lead
    Ring m_fused;
    long long m_taken = 0;  // places with a signal
    long long m_ready = 0;  // places with an envelope

    bool m_isStarted = false, m_areAllDisturbed = false, m_hasShape = false, m_isGap = false;
    std::vector<Lead> m_leads;
    Latest m_rrs;                       // places
    double m_fusedFloor = 0;            // of the fused envelope
    double m_noisePeak = 0;             // running mean of rejected candidates
    double m_noiseSpread = 0;           // running mean of how far they are from it
    std::vector<Candidate> m_rejected;  // that can still be searched back
    std::vector<double> m_shape;        // running mean of the beats' bands, [place][lead]
    // Of all leads, by MeasureLikeness: signal by shape, signal and shape squared; correlation.
    std::vector<double> m_products, m_likeness;
    long long m_lastBeat = -1;
    long long m_gapEnd = 0;  // place
    double m_lastSlope = 0;
    long long m_lastAwakening = 0;
    std::vector<long long> m_beats;  // told last
    std::vector<float> m_latest;     // [lead][place], and the fused: what floors are measured in
};

}  // namespace qz
