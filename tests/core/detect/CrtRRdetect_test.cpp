#include "core/detect/CrtRRdetect.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tests/support/Signals.h"

using Curve = std::vector<int>;

struct ReportedBeat {
    std::size_t at;  // index of the sample
    int rr;
};

static std::vector<ReportedBeat> Detect(int fs, const Curve& curve) {
    CrtRRdetect detector(fs, 0);
    std::vector<ReportedBeat> beats;
    for (std::size_t i = 0; i < curve.size(); ++i)
        if (const int rr = detector.RRdetect(curve[i])) beats.push_back({i, rr});
    return beats;
}

/// A curve in words: levels and for how many samples each.
using Runs = std::vector<std::pair<int, int>>;
static Curve CurveOf(const Runs& runs) {
    Curve curve;
    for (const auto& [level, count] : runs) curve.insert(curve.end(), static_cast<std::size_t>(count), level);
    return curve;
}

static Curve operator+(Curve left, const Curve& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

TEST(CrtRRdetect, KeepsEveryLimitToTheSampleAt500Hz) {
    // Two seconds with a top of 300 leave a threshold of 100 and the detector searching from sample 1001 on.
    const auto learned = [](const Runs& after, int topAt = 601) {
        return CurveOf({{0, topAt - 1}, {300, 1}, {0, 1001 - topAt}}) + CurveOf(after);
    };
    const auto probed = [](int level) { return Runs{{level, 1}, {0, 199}, {level, 1}}; };
    const Curve endsInside = CurveOf({{0, 1000}, {300, 1}});
    // Four beats whose refractory spans run from `bottom` up to `top`; the fifth renews, the probe is the
    // sixth.
    const auto renewed = [&learned](int bottom, int top, int topAt, int probe) {
        Curve curve = learned({});
        for (int beat = 0; beat < 4; ++beat)
            curve = curve + CurveOf({{150, 1}, {bottom, topAt - 1}, {top, 1}, {bottom, 200}});
        return curve + CurveOf({{150, 1}, {0, 200}, {probe, 1}});
    };
    // Once more renewed, from spans between 0 and 330; the last probe is the eleventh beat.
    Curve twice = renewed(30, 630, 41, 300);
    for (int beat = 0; beat < 4; ++beat) twice = twice + CurveOf({{0, 40}, {330, 1}, {0, 200}, {300, 1}});
    Curve high = CurveOf({{0, 600}, {120000, 1}, {35000, 400}});  // a threshold of 40000, then five beats
    for (int beat = 0; beat < 5; ++beat)
        high = high + CurveOf({{120000, 1}, {35000, 40}, {95000, 1}, {35000, 57}});
    const Runs lost{{500, 1}, {60, 30}};  // after it, a relearn finds a threshold of 20
    const struct {
        const char* what;
        Curve curve;
        std::size_t beats;
        int lastRR;
    } cases[] = {
        {"a top in the first half second is blanked", learned(probed(300), 250), 0, 0},
        {"a top after it is learned", learned(probed(100), 251), 1, 200},
        {"the threshold is a third of it", learned(probed(99), 251), 0, 0},
        {"the pass lasts 1001 samples", learned(probed(100), 1000), 1, 200},
        {"inside a complex it waits 51 samples", endsInside + CurveOf({{0, 50}}) + CurveOf(probed(100)), 0,
         0},
        {"and no longer", endsInside + CurveOf({{0, 51}}) + CurveOf(probed(100)), 1, 200},
        {"but while it stays up", endsInside + CurveOf({{100, 2000}, {99, 1}}) + CurveOf(probed(100)), 1,
         200},
        {"intervals from the second beat on",
         learned({{500, 1}, {0, 399}, {500, 1}, {0, 122}, {500, 1}, {0, 1499}, {500, 1}}), 3, 1500},
        {"refractory for 98 samples", learned({{500, 1}, {0, 97}, {500, 1}, {0, 300}}), 0, 0},
        {"and no longer", learned({{500, 1}, {0, 98}, {500, 1}, {0, 300}}), 1, 99},
        {"but while it stays up", learned({{500, 700}, {99, 1}, {500, 1}}), 1, 701},
        {"the fifth beat renews: 30 + 600 / 3", renewed(30, 630, 41, 230), 5, 201},
        {"and no less", renewed(30, 630, 41, 229), 4, 242},
        {"a spread of 3 leaves the threshold", renewed(96, 99, 41, 99), 4, 242},
        {"at 100", renewed(96, 99, 41, 100), 5, 201},
        {"a spread of 4 does not", renewed(90, 94, 41, 91), 5, 201},
        {"and sets 91", renewed(90, 94, 41, 90), 4, 242},
        {"every renewal from its own beats: 330 / 3", twice + CurveOf({{0, 200}, {110, 1}}), 10, 201},
        {"the sample that ends the refractory state counts", renewed(30, 90, 98, 50), 5, 201},
        {"the next does not", renewed(30, 90, 99, 50), 4, 300},
        {"a beat at 1501 samples is one", learned({{500, 1}, {0, 1500}, {500, 1}}), 1, 1501},
        {"the sample of the relearn is blind", learned(lost) + CurveOf({{0, 1471}, {500, 1}}), 0, 0},
        {"intervals count from the relearn", learned(lost) + CurveOf({{0, 1472}, {20, 1}}), 1, 1},
        {"whose threshold is 20", learned(lost) + CurveOf({{0, 1472}, {19, 1}}), 0, 0},
        // Silence from the end of learning: the relearn fails, the pass after it is blanked for 249 samples.
        {"blanked", learned({{0, 1502 + 248}, {300, 1}, {0, 752}}) + CurveOf(probed(100)), 0, 0},
        {"after a wait too",
         endsInside + CurveOf({{0, 1502 + 248}, {300, 1}, {0, 752}}) + CurveOf(probed(100)), 0, 0},
        {"not blanked", learned({{0, 1502 + 249}, {300, 1}, {0, 751}}) + CurveOf(probed(100)), 1, 200},
        {"the minimum of a pass that fails stays",
         CurveOf({{2, 1001}, {30, 600}, {300, 1}, {30, 400}}) + CurveOf(probed(100)), 1, 200},
        {"no minimum above 32767: 32767 + 62233 / 3", high + CurveOf({{53511, 1}}), 5, 99},
        {"a plateau of 1500 samples", learned({{500, 1}, {300, 1499}, {0, 1}, {110, 2}}), 1, 1501},
        {"a longer one wins over its end", learned({{500, 1}, {300, 1500}, {0, 1}, {110, 2}}), 1, 1},
    };
    for (const auto& [what, curve, count, lastRR] : cases) {
        const auto beats = Detect(500, curve);
        EXPECT_EQ(beats.size(), count) << what;
        EXPECT_EQ(beats.empty() ? 0 : beats.back().rr, lastRR) << what;
    }
}

TEST(CrtRRdetect, NeverFindsABeatInSilenceOrBelowTenSamplesPerSecond) {
    CrtRRdetect silent(500, 50);
    for (int i = 0; i < 20000; ++i) ASSERT_EQ(silent.QRSdetect(0, 0, 0), 0);
    for (const int fs : {9, 1, 0, -500}) {
        CrtRRdetect slow(fs, 50);
        for (const short x : RandomSamples(3, 5000, 32768))
            ASSERT_EQ(slow.QRSdetect(x) + slow.QRSdetect(x, -x, 5), 0);
    }
}
