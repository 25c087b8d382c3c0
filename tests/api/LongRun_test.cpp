// Two hours of a three-lead exercise test through filter chain, matcher and both heart rates, under a
// checker.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "tests/support/Beats.h"

namespace {

constexpr short kFs = 250, kLeads = 3;
constexpr double kUvPerUnit = 2.5;

/// A stream that is made as it is read: the rate climbs from 60 to 150 per minute and back every 20 minutes;
/// noise and drift lie on top. One beat of every lead is drawn once and laid down at every interval.
class ExerciseStream {
public:
    ExerciseStream() : m_shape(MakeTemplate(kFs, kLeads, kFs * 7 / 10, kFs * 28 / 100)), m_random(2024) {}
    double Rate() const {
        return 105.0 - 45.0 * std::cos(6.283185307 * static_cast<double>(m_now) / (kFs * 1200.0));
    }
    void Next(short* frame) {
        const auto length = static_cast<long>(m_shape.Rows().front().size());
        if (m_now == m_nextBeat) {
            m_lastBeat = m_now;
            m_nextBeat = m_now + std::max(static_cast<long>(kFs * 60.0 / Rate()), 100L);
        }
        // A beat that comes before the last one has died away cuts off its flat end.
        const long into = m_now - m_lastBeat;
        const auto drift =
            static_cast<int>(300 * std::sin(6.283185307 * 0.15 * static_cast<double>(m_now) / kFs));
        for (std::size_t lead = 0; lead < kLeads; ++lead) {
            const int beat = into < length ? m_shape[lead][static_cast<std::size_t>(into)] : 0;
            frame[lead] = Wrapped(beat + drift + static_cast<int>(m_random() % 13) - 6);
        }
        ++m_now;
    }

private:
    TemplateRows m_shape;
    std::mt19937 m_random;
    long m_now = 0, m_nextBeat = 0, m_lastBeat = -100000;
};

struct Findings {
    std::vector<double> answers;  // of the first ten minutes
    long folds = 0, beats = 0, votes = 0;
};

/// Runs the stream for so many minutes and checks what must hold at every frame.
Findings RunFor(long minutes) {
    Findings found;
    ExerciseStream stream;
    qzFilters_create(kFs, kLeads, 40, 50, 0);
    qzStressECGLib_create(kFs, kLeads, kUvPerUnit);
    qzStressECGLib_InitMultiMeanRRms(kFs, kLeads, 0, kUvPerUnit);
    auto first = MakeTemplate(kFs, kLeads, kFs * 8 / 10, kFs * 32 / 100);
    short len = kFs * 8 / 10, startR = 0, startQ = 0, startJ = 0, startMs = 0;
    short** const templ = qzStressECGLib_InitTempl(first.Pointers(), len, kFs * 27 / 100, kFs * 37 / 100, 60);
    qzStressECGLib_GetPos(startR, startQ, startJ, startMs);
    for (long i = 0; i < minutes * 60 * kFs && !testing::Test::HasFailure(); ++i) {
        short frame[kLeads];
        stream.Next(frame);
        qzFilters_filters(frame);
        const short three = qzStressECGLib_MeanRRms(frame[0], frame[1], frame[2]);
        const short many = qzStressECGLib_MultiMeanHR(frame);
        short** folded = qzStressECGLib_match(frame);
        const auto answer = [&found, i](auto... values) {
            if (i < 600L * kFs) (found.answers.push_back(static_cast<double>(values)), ...);
        };
        answer(three, many);
        if (folded != nullptr) {
            EXPECT_EQ(folded, templ);
            ++found.folds;
            short r = 0, q = 0, j = 0, ms = 0;
            EXPECT_EQ(qzStressECGLib_GetPos(r, q, j, ms), len);
            EXPECT_TRUE(r == startR && q == startQ && j == startJ && ms == startMs) << "frame " << i;
            const short* levels = qzStressECGLib_uvSTvalue();
            const float* slopes = qzStressECGLib_STslope();
            const STresult* results = qzStressECGLib_STresults(600);
            for (std::size_t lead = 0; lead < kLeads; ++lead) {
                // The beat never changes: R stays within 30 % of its height, ST within 150 uV of the first.
                const double height = std::abs(LeadGain(lead)) * 900 * kUvPerUnit;
                EXPECT_LT(std::abs(results[lead].deltaSTuV), 150 + height * 0.1) << "frame " << i;
                EXPECT_LT(results[lead].RuV, height * 1.3) << "frame " << i;
                EXPECT_TRUE(LeadGain(lead) < 0 || results[lead].RuV > height * 0.5) << "frame " << i;
                EXPECT_LT(std::abs(levels[lead]), height * 0.3) << "frame " << i;
                EXPECT_LT(std::abs(slopes[lead]), 10.0f) << "frame " << i;
                answer(levels[lead], slopes[lead], results[lead].RuV, results[lead].deltaJuV,
                       results[lead].STHRindex);
            }
        }
        // Ten seconds in, detection has learned; the answers lag the rate by up to six beats and the filters.
        if (i > 10L * kFs) {
            EXPECT_TRUE(three == -1 || std::abs(60000.0 / three - stream.Rate()) < 6.0)
                << three << ", frame " << i;
            EXPECT_TRUE(many == -1 || std::abs(many - stream.Rate()) < 6.0) << many << ", frame " << i;
        }
        found.beats += three > 0;
        found.votes += many > 0;
    }
    qzFilters_destroy();
    qzStressECGLib_destroy();
    return found;
}

}  // namespace

TEST(LongRun, StaysPlausibleForTwoHoursAndRepeatsItself) {
    // The average of the many-lead path lives as long as the process: a minute of beats brings each run to
    // the same start.
    RunFor(1);
    const Findings twoHours = RunFor(120);
    RunFor(1);
    const Findings again = RunFor(10);
    ExpectSame(twoHours.answers, again.answers);
    const double beats = 105.0 * 120;  // the mean rate over whole cycles
    EXPECT_NEAR(static_cast<double>(twoHours.folds), beats, beats * 0.02);
    EXPECT_NEAR(static_cast<double>(twoHours.beats), beats, beats * 0.02);
    EXPECT_NEAR(static_cast<double>(twoHours.votes), beats, beats * 0.02);
}
