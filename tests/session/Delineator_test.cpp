#include "session/internal/Delineator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

using namespace qz;

namespace {

constexpr double kRMs = 300;

// A QRS that rises and falls evenly between two times from R, with even slopes about it, and a P wave.
struct BuiltLead {
    double onsetMs = -40, endMs = 40;
    double uV = 1000;
    double pEndMs = -120, pUv = 100;
    double driftUvPerMs = 0;
};

Delineation Find(const std::vector<BuiltLead>& leads, double hz = 1000) {
    std::vector<std::vector<double>> rows;
    for (const BuiltLead& lead : leads) {
        const auto wave = [](double ms, double from, double to, double uV) {
            return uV * std::max(0.0, 1 - std::abs(2 * ms - from - to) / (to - from));
        };
        std::vector<double>& row = rows.emplace_back();
        for (int i = 0; i < 0.72 * hz; ++i) {
            const double ms = i * 1000 / hz - kRMs;
            row.push_back(wave(ms, lead.onsetMs, lead.endMs, lead.uV) +
                          wave(ms, lead.pEndMs - 20, lead.pEndMs, lead.pUv) + lead.driftUvPerMs * ms);
        }
    }
    return Delineator(leads.size()).Find(rows, hz, std::vector<bool>(leads.size(), true), kRMs);
}

TEST(Delineator, TakesTheEarliestOnsetAndTheLatestEndButNoSingleLeadOfMany) {
    const BuiltLead lead, early{-70}, late{-40, 70};
    const Delineation one = Find({lead});
    EXPECT_TRUE(one.isSure);
    EXPECT_NEAR(one.qMs - kRMs, -52.5, 1);
    EXPECT_NEAR(one.jMs - kRMs, 46, 1);
    struct Case {
        std::vector<BuiltLead> leads;
        double qMs, jMs;  // from those of one lead
    };
    for (const Case& c : {Case{{lead, early}, -30, 0},
                          {{lead, lead, early}, -24, 0},
                          {{lead, early, early}, -30, 0},
                          {{lead, late}, 0, 15},
                          {{lead, lead, late}, 0, 12},
                          {{lead, late, late}, 0, 30},
                          {{lead, {-70, 70, 315}}, 0, 0},      // slopes of 0.18 of the other lead's
                          {{lead, {-70, 70, 385}}, -30, 15}})  // and of 0.22
    {
        const Delineation found = Find(c.leads);
        EXPECT_NEAR(found.qMs - one.qMs, c.qMs, 1.5);
        EXPECT_NEAR(found.jMs - one.jMs, c.jMs, 1.5);
    }
}

TEST(Delineator, LeavesOutATallPWaveThatIs40MsAhead) {
    EXPECT_NEAR(Find({{-40, 40, 1000, -94, 300}}).qMs - kRMs, -52.5, 1);
    EXPECT_LT(Find({{-40, 40, 1000, -84, 300}}).qMs - kRMs, -100) << "slopes 38 ms apart";
}

TEST(Delineator, IsTheSameAtEveryRate) {
    for (const double hz : {200.0, 250.0, 360.0, 2000.0}) {
        EXPECT_NEAR(Find({{}}, hz).qMs - kRMs, -52.5, 3) << hz;
        EXPECT_NEAR(Find({{}}, hz).jMs - kRMs, 46, 3) << hz;
    }
}

TEST(Delineator, IsNotSureWhereTheSlopeDoesNotComeToRest) {
    // The slope of the QRS is 25 uV/ms.
    for (const auto& [slope, isSure] : {std::pair{4.0, true}, {8.0, false}})
        EXPECT_EQ(Find({{-40, 40, 1000, -120, 100, slope}}).isSure, isSure) << slope;
}

}  // namespace
