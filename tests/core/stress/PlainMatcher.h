// PlainMatcher.h: the matcher written for obviousness, the yardstick of the stress tests.
//
// Every lead remembers all of its samples, and a correlation or a beat is computed from that history when it
// is asked for. No rings, no running sums; time counts up from the last template. Slow, and a different way
// to the same bits. It starts from the template and the positions that the engine kept, and measures nothing.
#pragma once
#include <cstddef>
#include <numeric>
#include <optional>
#include <vector>

struct PlainLead {
    int window = 0;
    std::vector<int> history;   // every sample since creation
    std::vector<short> beat;    // the template
    std::vector<short> recent;  // as many of the latest samples, oldest first; before them the template
    std::vector<double> steps;  // first differences of the template over the window, less their mean
    int windowStart = 0;
    std::size_t sinceTemplate = 0;
    std::optional<long> firstFull;  // the sample that filled the ring for the first time

    int Step(int i) const {
        if (i < 1 || i >= static_cast<int>(beat.size())) return 0;
        return beat[static_cast<std::size_t>(i)] - beat[static_cast<std::size_t>(i - 1)];
    }
    int Past(long n) const { return n < 0 ? 0 : history[static_cast<std::size_t>(n)]; }

    void TakeTemplate(const std::vector<short>& samples, int posR) {
        beat = recent = samples;
        windowStart = posR - window / 2;
        sinceTemplate = 0;
        Reference();
    }
    void Reference() {
        steps.clear();
        for (int k = 0; k < window; ++k) steps.push_back(Step(windowStart + k));
        const double mean = std::accumulate(steps.begin(), steps.end(), 0.0) / window;
        for (double& step : steps) step -= mean;
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
        long n = now - window;
        for (const double a : steps) {
            ++n;
            const double b = static_cast<double>(Past(n) - Past(n - 1)) - mean;
            saa += a * a;
            sbb += b * b;
            sab += a * b;
        }
        return (sab * sab) / (saa * sbb);
    }
};

struct PlainMatcher {
    PlainMatcher(int rate, std::size_t chn) : fs(rate), leads(chn), rxy(chn, 0.0) {
        for (auto& lead : leads) lead.window = fs * 280 / 1000;
    }
    short Leads() const { return static_cast<short>(leads.size()); }
    int fs;
    std::vector<PlainLead> leads;
    std::vector<double> rxy;
    int length = 0, r = 0, q = 0, j = 0, waitLength = 0;
    long now = 0, peakAt = 0;  // frames since the template
    bool inPeak = false, completing = false;
    double peak = 0, exitThreshold = 0.85;
    int folds = 0, shifts = 0;

    void TakeTemplate(const short* const* templ, int len, int posR, int posQ, int posJ) {
        length = len, r = posR, q = posQ, j = posJ;
        for (std::size_t c = 0; c < leads.size(); ++c)
            leads[c].TakeTemplate({templ[c], templ[c] + length}, r);
        now = peakAt = 0;
        peak = 0;
        waitLength = length - r - leads.front().window / 2;
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
        if (majority && (!inPeak || sum / count > peak)) {
            if (!inPeak) exitThreshold = count * 0.85 / chn;
            inPeak = true;
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
            for (int i = q + 1; i <= top; ++i)
                if (lead.Step(i) > lead.Step(steepest)) steepest = i;
        const int shift = steepest - r;
        shifts += shift != 0;
        for (auto& lead : leads) {
            const auto before = lead.beat;
            for (int i = 0; i < length; ++i) {
                const int from = i + shift;
                if (from >= 0 && from < length)
                    lead.beat[static_cast<std::size_t>(i)] = before[static_cast<std::size_t>(from)];
            }
            lead.Reference();
        }
    }
};
