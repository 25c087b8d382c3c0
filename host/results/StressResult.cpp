#include "host/results/StressResult.h"

#include <cmath>

#include "host/support/Text.h"

std::string STPointRule::Describe() const {
    const std::string usual = "J + " + Number(UsualMs(), 0) + " ms";
    return postJms ? usual
                   : usual + " (J + " + std::to_string(qz::kFastSTPointMs) + " ms above " +
                         Number(rateLimitBpm, 0) + "/min)";
}

std::string DescribeLearning(const StressResult& result) {
    const LearnedBeat& learned = result.learned;
    return std::to_string(learned.beatsUsed) + " of " + std::to_string(learned.beatsFound) + " beats in " +
           Number(learned.fromSeconds, 0) + " s" +
           (learned.record == result.source.name ? "" : " of " + learned.record);
}

std::vector<Annotation> BeatAnnotations(const StressResult& result, double perSecond) {
    std::vector<Annotation> annotations;
    for (const double seconds : result.beatsFound)
        annotations.push_back({std::llround(seconds * perSecond), kNormalBeat, ""});
    return annotations;
}
