// PlainMatcher.h: the matcher written for obviousness, the yardstick of the stress tests.
//
// Nothing is carried along: every lead remembers all of its samples, and a correlation, a beat or a level is
// computed from that history when it is asked for. No rings, no running sums; time counts up from the last
// template. Slow, and a different way to the same bits.
#pragma once
#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

#include "tests/support/Signals.h"

struct PlainLead {
    int fs = 0, window = 0;
    double uVpb = 0;
    int q = 0, j = 0, r = 0, postJms = 60, zeroWidth = 0, jOffset = 0;
    short zero = 0, firstSt = 0, firstJ = 0;
    std::vector<int> history;     // every sample since creation
    std::vector<short> recent;    // the latest length values, oldest first: the template, then samples
    std::vector<short> beat;      // the template that is averaged
    std::vector<short> measured;  // the copy that is measured
    std::vector<double> steps;    // first differences of the template over the window
    double stepMean = 0;
    int windowStart = 0;
    std::size_t sinceTemplate = 0;
    std::optional<long> firstFull;  // the sample that filled the ring for the first time

    static int Step(const std::vector<short>& v, long i) {
        if (i < 1 || i >= static_cast<long>(v.size())) return 0;
        return v[static_cast<std::size_t>(i)] - v[static_cast<std::size_t>(i - 1)];
    }
    int Past(long n) const { return n < 0 ? 0 : history[static_cast<std::size_t>(n)]; }
    std::optional<int> Measured(long i) const {
        if (i < 0 || i >= static_cast<long>(measured.size())) return std::nullopt;
        return measured[static_cast<std::size_t>(i)];
    }

    void TakeTemplate(const std::vector<short>& row, int posR, int posQ, int posJ, int ms, int zeroSamples,
                      int jSamples) {
        r = posR, q = posQ, j = posJ, postJms = ms, zeroWidth = zeroSamples, jOffset = jSamples;
        beat = measured = recent = row;
        windowStart = r - window / 2;
        sinceTemplate = 0;
        Reference();
        firstSt = St(-1);
        firstJ = J();
    }
    void Zero() {
        int sum = 0;
        for (int i = q - zeroWidth / 4; i < q + zeroWidth / 4; ++i) sum += Measured(i).value_or(0);
        zero = zeroWidth < 2 ? short{0} : static_cast<short>(static_cast<short>(sum) / (zeroWidth / 2));
    }
    void Reference() {
        Zero();
        steps.clear();
        int sum = 0;
        for (int k = 0; k < window; ++k) {
            steps.push_back(Step(measured, windowStart + k));
            sum += Step(measured, windowStart + k);
        }
        stepMean = static_cast<double>(sum) / window;
    }

    double Correlate(short sample) {
        history.push_back(sample);
        recent.erase(recent.begin());
        recent.push_back(sample);
        const auto now = static_cast<long>(history.size()) - 1;
        if (++sinceTemplate == beat.size() && !firstFull) firstFull = now;
        if (!firstFull) return 0;
        // What the ring never dropped before it was full stays in the sum: the level one window before that
        // moment.
        const int sum = Past(now) - Past(now - window) + Past(*firstFull - window);
        const double mean = static_cast<double>(sum) / window;
        double saa = 0, sbb = 0, sab = 0;
        for (int k = 0; k < window; ++k) {
            const long n = now - window + 1 + k;
            const double a = steps[static_cast<std::size_t>(k)] - stepMean;
            const double b = static_cast<double>(Past(n) - Past(n - 1)) - mean;
            saa += a * a;
            sbb += b * b;
            sab += a * b;
        }
        return (sab * sab) / (saa * sbb);
    }

    short Uv(int units) const { return Wrapped(Truncated(units * uVpb)); }
    short Level(long i) const {
        const auto value = Measured(i);
        return q < 1 || !value ? short{0} : Uv(*value - zero);
    }
    long StPoint(int ms) const {
        return static_cast<long>(j) + jOffset + fs * (ms < 0 ? postJms : ms) / 1000;
    }
    short J() const { return Level(j + jOffset); }
    short St(int ms) const { return Level(StPoint(ms)); }
    float Slope(int ms) const {
        const auto from = Measured(j + jOffset), to = Measured(StPoint(ms));
        if (j < 1 || !from || !to) return 0;
        return static_cast<float>(static_cast<double>(*to - *from) * uVpb / (ms < 0 ? postJms : ms));
    }
    short R() const {
        int top = 0;
        for (int i = q; i < j; ++i) top = std::max(top, Measured(i).value_or(0));
        return Uv(top - zero);
    }
};

struct PlainMatcher {
    PlainMatcher(int rate, std::size_t chn, double uVpb) : fs(rate), leads(chn), rxy(chn, 0.0) {
        for (auto& lead : leads) lead.fs = fs, lead.uVpb = uVpb, lead.window = fs * 280 / 1000;
    }
    int fs;
    std::vector<PlainLead> leads;
    std::vector<double> rxy;
    int length = 0, r = 0, q = 0, j = 0, waitLength = 0;
    long now = 0, peakAt = 0;  // frames since the template
    bool inPeak = false, completing = false;
    double peak = 0, exitThreshold = 0.85;
    int folds = 0, shifts = 0;

    /// The first largest value of score(i), first <= i <= last, if it beats that of `start`; else `start`.
    template <typename Score>
    static int Best(int start, int first, int last, Score score) {
        int best = start;
        for (int i = last; i >= first; --i)
            if (score(i) > score(start) && (best == start || score(i) >= score(best))) best = i;
        return best;
    }

    void InitTempl(const std::vector<std::vector<short>>& rows, int posR, int posQ, int posJ, int ms) {
        const auto given = static_cast<int>(rows.front().size());
        const int kept = std::min(given, fs * 800 / 1000);
        int top = posR > 0 && posR < given ? posR : (posQ + posJ) / 2;
        for (const auto& row : rows)
            top = Best(top, std::max(posQ, 0), std::min(posJ, given) - 1,
                       [&row](int i) { return row[static_cast<std::size_t>(i)]; });
        int steepest = top;
        for (const auto& row : rows)
            steepest =
                Best(steepest, std::max(posQ + 1, 1), top, [&row](int i) { return PlainLead::Step(row, i); });
        const int start = given > kept ? std::clamp(steepest - 2 * kept / 5, 0, given - kept) : 0;
        r = steepest - start, q = posQ - start - fs * 12 / 1000, j = posJ - start, length = kept;
        for (std::size_t c = 0; c < leads.size(); ++c)
            leads[c].TakeTemplate({rows[c].begin() + start, rows[c].begin() + start + kept}, r, q, j, ms,
                                  fs * 12 / 1000, fs * 6 / 1000);
        now = peakAt = 0;
        peak = 0;
        waitLength = length - r - leads.front().window / 2;
    }
    void SetPos(int posR, int posQ, int posJ) {
        r = posR;
        SetPos(posQ, posJ);
    }
    void SetPos(int posQ, int posJ) {
        q = posQ, j = posJ;
        for (auto& lead : leads) lead.q = posQ, lead.j = posJ;
    }

    void Rxy(const short* frame) {
        ++now;
        for (std::size_t c = 0; c < leads.size(); ++c) rxy[c] = leads[c].Correlate(frame[c]);
    }
    /// True on the frame that folds a beat in.
    bool Match(const short* frame) {
        Rxy(frame);
        if (completing) {
            if ((now - peakAt) % length < waitLength) return false;
            Fold();
            completing = false;
            return true;
        }
        int count = 0;
        double sum = 0;
        for (const double value : rxy)
            if (value >= 0.85) ++count, sum += value;
        const auto chn = static_cast<int>(leads.size());
        const bool majority = count > chn / 2;
        if (!inPeak && majority) {
            inPeak = true;
            exitThreshold = count * 0.85 / chn;
            peak = sum / count;
            peakAt = now;
        } else if (inPeak && majority && sum / count > peak) {
            peak = sum / count;
            peakAt = now;
        } else if (inPeak && (!majority || sum / count < exitThreshold)) {
            inPeak = false;
            completing = true;
        }
        return false;
    }

    void Fold() {
        ++folds;
        int top = r;
        for (auto& lead : leads)
            for (int i = 0; i < length; ++i) {
                const auto at = static_cast<std::size_t>(i);
                lead.beat[at] = static_cast<short>((lead.recent[at] + 9 * lead.beat[at]) / 10);
                if (q < i && i < j && lead.beat[at] > lead.beat[static_cast<std::size_t>(top)]) top = i;
            }
        int steepest = top;
        for (const auto& lead : leads)
            steepest = Best(steepest, std::max(q + 1, 1), top,
                            [&lead](int i) { return PlainLead::Step(lead.beat, i); });
        const int shift = steepest - r;
        shifts += shift != 0;
        for (auto& lead : leads) {
            const auto before = lead.beat;
            for (int i = 0; i < length; ++i) {
                const int from = i + shift;
                if (from >= 0 && from < length)
                    lead.beat[static_cast<std::size_t>(i)] = before[static_cast<std::size_t>(from)];
            }
            lead.measured = lead.beat;
            lead.Reference();
        }
    }
};
