// CZatTemplRxy: one lead of the template matcher: its beat template, a sliding correlation of the incoming
// signal with it, and the ST measurements on it.
//
// The template exists twice: the matching template, which CZatMatch averages new beats into and hands to the
// host, and the measurement copy, which the correlation and the measurements read.
//
//   template  |------|==========R==========|--------------|   index 0 .. Length() - 1
//               Q ...^ window: m_winLen first differences, centred on R     ... J ... ST point
//
// rxy is the squared correlation coefficient of the last m_winLen first differences of the signal with those
// of the template, in [0, 1] and blind to polarity:
//
//   rxy = Sab^2 / (Saa Sbb)    a: template differences less their mean, b: incoming differences less theirs
//
// What lies outside the template contributes nothing: a difference is 0, a sample is left out of the zero
// level, a point to measure gives 0.
//
// Cost of rxy: two multiplications and three additions per window sample; of EstimateRxy an eighth of that.
// Create and InitTempl allocate, the rest does not. One object belongs to one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/Export.h"
#include "core/stress/CorrelationScreen.h"
#include "core/stress/TemplGeometry.h"

class QZ_API CZatTemplRxy {
public:
    static constexpr short kDefaultPostJms = TemplGeometry::kDefaultPostJms;

    /// No rate, no template: every answer is 0.
    CZatTemplRxy() = default;
    /// As Create.
    CZatTemplRxy(short fs, double uVpb, short winMs) { Create(fs, uVpb, winMs); }
    virtual ~CZatTemplRxy() = default;
    CZatTemplRxy(const CZatTemplRxy&) = delete;
    CZatTemplRxy& operator=(const CZatTemplRxy&) = delete;

    /// fs in samples per second, uVpb in microvolts per unit, winMs the correlation window in milliseconds.
    /// Clears the correlation; a template that is there stays. With the window as it was its differences stay
    /// too, with a mean of 0 until Average; with another one rxy is NaN until the template is handed in
    /// again. A window that does not fit into 16 bits of samples wraps, and fails as an allocation
    /// (std::bad_alloc) where that is negative. After a failure there is no window: rxy is 0 until the next
    /// Create. Returns 0.
    short Create(short fs, double uVpb, short winMs);
    /// Back to the state of a fresh object: what it still holds is released. Returns 0.
    short Init();
    /// Releases the buffers of the correlation: rxy answers 0 until the next Create.
    void Delete();
    /// Releases the template: rxy and the measurements answer 0 until the next InitTempl.
    void DeleteTempl();

    /// Takes a beat of len samples (copied) with the fiducial point posR, posQ and posJ as indices into it,
    /// the ST point postJms after J, and the widths of the zero level and of the J offset in samples.
    /// Measures the zero level, the correlation reference and the reference ST and J levels. The incoming
    /// differences and their sum go on as they are; before the ring has filled, the count of samples starts
    /// anew. Returns the matching template, owned here, valid until an InitTempl with another length; it may
    /// be what is handed in. A null templ: null, and nothing changes; a negative len counts as 0. Allocates
    /// only where the length changes; where memory runs out (std::bad_alloc) nothing has changed.
    short* InitTempl(const short* templ, short len, short posR, short posQ, short posJ, short postJms,
                     short zeroWidth, short jOffset);
    /// The same, with all of it in one record.
    short* TakeTempl(const short* templ, const TemplGeometry& geometry);
    /// Replaces the measurement copy by len() samples; nothing is recomputed.
    void SetMeasurementCopy(const short* samples);
    /// Takes the matching template over into the measurement copy and renews the zero level and the
    /// correlation reference.
    void AdoptTempl();
    /// Renews the zero level from the measurement copy and returns it, in sample units.
    double ZeroV();
    /// Renews the correlation reference from the measurement copy. Returns the window length in samples.
    double Average();
    /// Takes the next sample of the signal.
    /// Deliberate: until a template's length of samples has been taken since Create no difference leaves the
    /// running sum, so that the mean of the incoming differences stays off by a constant afterwards.
    void Take(short sample);
    /// Take of `count` leads, each its sample out of `samples`.
    static void Take(CZatTemplRxy* const* leads, std::size_t count, const short* samples);
    /// The squared correlation of the window that the last sample ends; 0 until a template's length of
    /// samples has been taken since Create; NaN where the signal or the template is zero throughout, and tiny
    /// where it is constant.
    double rxy() const;
    /// Takes a sample and returns the squared correlation.
    double rxy(short sample);
    /// rxy of `count` leads, bit for bit, written in lead order. It is the faster form: the sums of one lead
    /// wait for each other, those of different leads do not.
    static void rxy(const CZatTemplRxy* const* leads, std::size_t count, double* correlations);
    /// rxy() to within CorrelationScreen::kMargin; 0 where that is NaN. The estimate is NaN where only rxy()
    /// can tell.
    double EstimateRxy() const;

    /// The zero level, which all levels are measured against, in uV.
    short ZeroUv() const;
    /// ST level in uV against the zero level, ms after the J point (negative: the stored post-J time);
    /// 0 where Q is below 1. As all uV results truncated toward zero and wrapped to 16 bits.
    short uvSTvalue(short ms) const;
    /// Level of the J point in uV against the zero level; 0 where Q is below 1.
    short JuV() const;
    /// Mean slope in uV per ms from the J point to the ST point ms later (negative: the stored post-J time);
    /// 0 where J is below 1. With 0 ms it is NaN.
    /// Deliberate: the guard is J here and Q for the levels.
    float STslope(short ms) const;
    /// R amplitude in uV: the largest sample from Q up to J, at least 0, less the zero level.
    short RuV() const;
    /// ST and J level of the template as it was handed to InitTempl, uV: the reference of the changes.
    short ReferenceSTuV() const { return m_STuv0; }
    short ReferenceJuV() const { return m_JuV0; }
    /// Milliseconds from the J point to the ST point.
    void SetPostJms(short ms) { m_geometry.postJms = ms; }
    /// Moves the measuring positions; zero level and correlation window stay where they are.
    void SetPos(short posR, short posQ, short posJ);
    void SetPos(short posQ, short posJ);

    /// The matching template, len() samples, owned here; null while there is none.
    short* Templ() { return m_templ.empty() ? nullptr : m_templ.data(); }
    int Length() const { return m_geometry.length; }
    int WindowLength() const { return m_winLen; }
    /// The ring of the last Length() samples: where the next one goes (the oldest one stands there), and the
    /// slots themselves.
    int RingPos() const { return m_ringPos; }
    const short* Ring() const { return m_ring.data(); }

private:
    static constexpr std::size_t kSideBySide = 4;  // leads whose sums fit into the registers together

    void Store(short sample);
    template <std::size_t N>
    static void Correlate(const CZatTemplRxy* const* leads, double* correlations);
    void Centre(double mean);
    /// True once a template's length of samples has been taken since Create, while there is a window.
    bool IsReady() const { return m_bFull && m_winLen != 0 && Length() != 0; }
    /// The sum that the mean of the incoming differences is taken from.
    std::int64_t RunningSum() const { return m_diffSum + m_sumOffset; }
    bool IsInside(int index) const { return index >= 0 && index < Length(); }
    short LevelUv(int index) const;
    int STPoint(int ms) const;

    short m_STuv0 = 0;  // uV, reference ST level
    short m_JuV0 = 0;   // uV, reference J level
    short m_fs = 0;     // samples per second
    int m_winLen = 0;   // correlation window, samples
    // Of this lead: a host may move one alone, among those that CZatMatch::SetTempl hands out.
    TemplGeometry m_geometry;
    short m_zero = 0;   // zero (isoelectric) level, sample units
    double m_uVpb = 0;  // microvolts per unit

    std::vector<short> m_templ;  // matching template
    std::vector<short> m_meas;   // measurement copy
    std::vector<short> m_ring;   // the last Length() samples of the signal
    int m_ringPos = 0;           // slot of m_ring that is written next
    bool m_bFull = false;        // m_ring has filled once
    short m_prev = 0;            // the sample before

    int m_winStart = 0;             // template index of the first window sample
    std::vector<int> m_templDiff;   // template differences over the window
    std::vector<double> m_centred;  // a: the same less their mean
    double m_dSaa = 0;              // sum of a^2
    // The last m_winLen incoming differences, each written twice, m_winLen slots apart, so that the window
    // is one run of memory wherever it begins.
    std::vector<double> m_diffRing;
    int m_diffPos = 0;             // slot that is written next; the oldest difference stands there
    int m_diffSum = 0;             // of the differences in the window
    std::int64_t m_sumOffset = 0;  // what the running sum has besides, see Take
    CorrelationScreen m_screen;    // of the same differences
};
