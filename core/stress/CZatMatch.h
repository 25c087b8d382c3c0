// CZatMatch: multi-lead beat-template matching, the heart of the engine.
//
// It owns one CZatTemplRxy per lead and a beat template that all leads share in length and positions. match
// is fed one frame per sampling instant:
//
//   Searching   --- more than half of the leads correlate at 0.85 or better --->  In peak
//   In peak     --- majority lost, or mean correlation below the exit threshold ->  Completing
//   Completing  --- the rest of the beat has arrived: folded into the template -->  Searching
//
// The peak is where the mean correlation of the leads at or above 0.85 was best. Folding is
// new = (beat + 9 old) / 10, sample by sample, after which the template is shifted so that its fiducial point
// (the steepest upstroke before the QRS maximum) lies at R again.
//
// Locking: with bMutex, every public method waits for whoever holds Mutex() and then goes on without holding
// it. Exempt are the constructors, Init, the pure conversions (STHRindex, Samples2ms, ms2Samples), Templ,
// TemplLength, Geometry and Mutex itself; Create and the destructor wait where they release leads. So holding
// the mutex delays the calls that begin meanwhile; one that is already under way is not waited for. Otherwise
// one object belongs to one thread.
//
// A lead index outside the leads measures 0. Create and InitTempl allocate, the rest does not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "core/Export.h"
#include "core/stress/CZatTemplRxy.h"
#include "core/stress/TemplGeometry.h"

/// What STvalues measures on one lead.
struct STrecord {
    short RuV;               // R amplitude, uV
    short JuV;               // J amplitude, uV
    short STuV;              // ST level, uV
    std::uint16_t reserved;  // the low 14 bits are 0, the top 2 are never written
    float STslope;           // uV per ms
    float STHRindex;         // ST level divided by the heart rate, uV per (beats/min)
};
static_assert(sizeof(STrecord) == 16 && offsetof(STrecord, STuV) == 4 && offsetof(STrecord, reserved) == 6 &&
              offsetof(STrecord, STslope) == 8 && offsetof(STrecord, STHRindex) == 12);

class QZ_API CZatMatch {
public:
    /// The correlation window that the flat engine and the sessions use.
    static constexpr short kUsualWindowMs = 280;

    /// No leads; every answer is 0 or null.
    CZatMatch() = default;
    /// As Create.
    CZatMatch(short fs, short chn, double uVpb, bool bMutex, short winMs);
    virtual ~CZatMatch();
    CZatMatch(const CZatMatch&) = delete;
    CZatMatch& operator=(const CZatMatch&) = delete;

    /// fs in samples per second, chn leads, uVpb in microvolts per unit, bMutex whether to use the mutex,
    /// winMs the correlation window in milliseconds. Releases what there was and builds the leads anew,
    /// without a template. A negative chn, and a window whose samples wrap at 16 bits to a negative number,
    /// fail as an allocation (std::bad_alloc). After a failure there are no leads.
    void Create(short fs, short chn, double uVpb, bool bMutex, short winMs);
    /// Back to the state of a fresh object: what it still holds is released, without waiting for the mutex.
    /// Returns 0.
    short Init();
    /// Releases the leads and their templates: the measurements answer 0, match null.
    void Delete();

    /// Takes a first averaged beat: templ is one pointer per lead, each to len samples (copied). posQ and
    /// posJ are the Q onset and the J point as indices into it; posR a place to start the search for R from,
    /// where 0 < posR < len, else the middle between Q and J is.
    ///   R      the highest sample between Q and J, then the steepest upstroke up to there, over all leads
    ///   length cut to 800 ms at the most, R at 40 % of it where there is room
    ///   Q      moved 12 ms earlier: there the zero level is measured
    /// len, posR, posQ and posJ are written back as kept. Returns the template array: one pointer per lead,
    /// each to len samples, owned here; the array lives until Create or Delete, the samples until an
    /// InitTempl with another length. templ may be made of its rows, in any order. A null templ or lead:
    /// null, and nothing changes. A negative len counts as 0. Where memory runs out (std::bad_alloc) there is
    /// no template afterwards.
    /// Deliberate: a peak that is running goes on; its beat is folded into the new template.
    short** InitTempl(short** templ, short& len, short& posR, short& posQ, short& posJ, short postJms);
    /// The template array, null before Create; without the lock.
    short** Templ() const { return m_pTempl.get(); }
    /// Samples per lead of the template; -1 while there is none; without the lock.
    short TemplLength() const { return m_bTempl ? m_geometry.length : short{-1}; }
    /// Where the template has its points, as kept. From Create on it tells jOffset, zeroWidth (by which
    /// InitTempl moves Q) and ZeroShare() of the rate. Without the lock.
    const TemplGeometry& Geometry() const { return m_geometry; }
    /// Overwrites the measurement copies of the first 12 leads, of those that there are, with templ's samples
    /// (the template's length each). Matching templates, zero levels and the correlation stay. A null templ
    /// or lead is left out, and a lead that has been given a template of another length. Returns the leads.
    /// Deliberate: 12 leads whatever their number.
    CZatTemplRxy** SetTempl(short** templ);
    /// Renews the zero level of every lead from its measurement copy.
    void ZeroV();

    /// Takes a frame of one sample per lead. Returns the template array on the call that folded a beat into
    /// it, else null. Null frame or no template: null, and nothing changes. While a host has given a lead a
    /// template of another length than the others' no beat is folded in.
    short** match(const short* frame);
    /// True if the next call of match folds a beat in, with the frame that it is given as its last one.
    bool IsFoldDue() const;
    /// How lead ch takes part in the folds to come: its template counts `weight` times the new beat, 9 from
    /// Create on; with 0 the beat takes its place, with kLeaveOut it stays as it is. A lead outside the leads
    /// is left out of account.
    void SetOldWeight(short ch, short weight);
    static constexpr short kLeaveOut = -1;
    /// The correlation part of match alone: takes a frame and returns the correlation of every lead, owned
    /// here, valid until the next call of rxy or match. Null frame: null.
    double* rxy(const short* frame);

    /// Sets the time from the J point to the ST point, milliseconds. Returns the number of leads.
    short SetPostJms(short ms);
    /// Writes the positions (template indices, Q as stored) and the post-J time. Returns the template length.
    short GetPos(short& posR, short& posQ, short& posJ, short& postJms);
    /// Moves Q and J (and R) as given, without the 12 ms shift; zero levels and correlation window stay where
    /// they are. Returns the number of leads.
    short SetPos(short posQ, short posJ);
    short SetPos(short posR, short posQ, short posJ);

    /// Measurements of lead ch, see CZatTemplRxy; ms after the J point, negative for the post-J time.
    float STslope(short ch, short ms);
    short uvSTvalue(short ch, short ms);
    short JuV(short ch);
    short RuV(short ch);
    short ZeroUv(short ch);
    /// Changes against the template handed to InitTempl, uV, wrapped to 16 bits.
    short uvDeltaSTvalue(short ch, short ms);
    short JuVDelta(short ch);
    /// ST level uv (uV) divided by the heart rate (beats/min) that belongs to the RR interval rrMs.
    float STHRindex(float uv, short rrMs) const;
    /// Time conversions at the engine's rate, truncated toward zero; Samples2ms is 0 at a rate of 0. Products
    /// wrap.
    long Samples2ms(long n) const;
    long ms2Samples(long ms) const;
    /// Measures every lead at the post-J time; rrMs is the RR interval for the ST/HR index. Returns one
    /// record per lead, owned here, rewritten by every call; null before Create.
    STrecord* STvalues(short rrMs);
    /// The records as STvalues left them.
    STrecord* GetSTvalues();

    /// The mutex of the barrier.
    std::mutex& Mutex() { return m_mutex; }

private:
    struct Vote {
        int leads = 0;   // at or above the threshold
        double sum = 0;  // of their correlations
    };

    void Barrier();
    void Release();
    std::size_t Leads() const { return static_cast<std::size_t>(m_chn); }
    CZatTemplRxy* Lead(short ch) const;
    int Passed(int pos) const;
    bool HasOneLength() const;
    bool MixesLeads(const short* const* templ) const;
    int FindQrsMaximum(const short* const* templ, int len, int posR, int posQ, int posJ) const;
    int FindSteepestUpstroke(const short* const* templ, int len, int posMax, int posQ) const;
    void Correlate();
    Vote CountMatches();
    bool SearchPeak(const Vote& vote, int pos);
    void FollowPeak(const Vote& vote, int pos);
    void FoldBeat(int pos);
    int AverageBeat(int pos);
    void Realign(int shift);

    bool m_bInPeak = false;             // a correlation peak is running
    bool m_bMatched = false;            // the peak has ended; the rest of the beat is to come
    double m_dExitThr = kRxyThreshold;  // mean correlation below which a running peak ends
    double m_dPeakRxy = 0;              // best mean correlation of the running peak
    int m_peakPos = 0;                  // ring position of that
    int m_waitLen = 0;                  // samples from there until the whole beat is in the ring
    bool m_bMutex = false;              // use the barrier
    std::mutex m_mutex;
    short m_fs = 0;            // samples per second
    short m_winLen = 0;        // compared by Create, never set
    short m_chn = 0;           // leads
    bool m_bTempl = false;     // a template has been handed in, if only one without samples
    TemplGeometry m_geometry;  // of the template; InitTempl hands it to the leads

    // One element per lead; empty or null before Create.
    std::vector<std::unique_ptr<CZatTemplRxy>> m_leads;
    std::vector<CZatTemplRxy*> m_pTemplRxy;  // the same, as views
    std::vector<short> m_oldWeights;         // of the template against 1 of the new beat
    std::unique_ptr<short*[]>
        m_pTempl;  // each lead's matching template, owned by the lead; null before InitTempl
    std::unique_ptr<double[]> m_pRxy;  // each lead's last correlation
    std::unique_ptr<STrecord[]> m_pSTvalues;

    static constexpr double kRxyThreshold = 0.85;
};
