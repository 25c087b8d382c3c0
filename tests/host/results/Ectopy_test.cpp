#include "host/results/Ectopy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

// A beat a second by its letter; ' ' is a pause of 1.5 s.
StressResult ResultOf(const std::string& letters) {
    StressResult result;
    double seconds = 0;
    for (const char letter : letters) {
        seconds += letter == ' ' ? 1.5 : 1;
        if (letter == ' ') continue;
        const auto at = std::string("NSVQ/").find(letter);
        result.beatsFound.push_back({seconds, static_cast<qz::BeatClass>(at)});
    }
    result.seconds = seconds + 1;
    return result;
}

}  // namespace

TEST(Ectopy, CountsClassesCoupletsAndRunsOfAllAndOfEachStage) {
    StressResult result = ResultOf("NNVNVVNSQVVV/VV VVVVVV");
    result.beatsFound.back().seconds -= 0.75;  // the last run is the fastest
    const std::vector<Stage> stages{{0, 0.0, "rest"}, {10.5, {}, ""}};
    const std::vector<BeatCounts> counts = CountBeats(result, stages);
    ASSERT_EQ(counts.size(), 3U);
    const BeatCounts &all = counts[0], &rest = counts[1], &second = counts[2];
    EXPECT_TRUE(all.beats == 21 && all.ventricular == 14 && all.supraventricular == 1 &&
                all.unclassified == 1 && all.paced == 1);
    EXPECT_TRUE(all.couplets == 2 && all.runs == 2 && all.longestRun == 6);
    EXPECT_NEAR(all.fastestRunBpm, 5 * 60 / 4.25, 1e-9);
    EXPECT_EQ(all.fastestRunSeconds, 17.5);
    EXPECT_NEAR(all.VentricularPercent(), 1400 / 21.0, 1e-9);
    // The run from 10 s on begins in the first stage; two of its beats lie in the second.
    EXPECT_TRUE(rest.stretch == "rest" && rest.beats == 10 && rest.runs == 1 && rest.couplets == 1);
    EXPECT_TRUE(second.stretch == "2" && second.ventricular == 10 && second.runs == 1 &&
                second.couplets == 1);
    EXPECT_EQ(rest.fastestRunBpm, 60);
}

TEST(Ectopy, KnowsNoPercentagesAndRatesWithoutBeats) {
    const BeatCounts counts = CountBeats(ResultOf(""), {}).front();
    EXPECT_TRUE(std::isnan(counts.VentricularPercent()) && std::isnan(counts.fastestRunBpm));
}

TEST(Ectopy, AnnotationsCarryTheCodesOfTheClasses) {
    std::string letters;
    for (const Annotation& annotation : BeatAnnotations(ResultOf("NSVQ/"), 250))
        letters += Mnemonic(annotation.code);
    EXPECT_EQ(letters, "NSVQ/");
}
