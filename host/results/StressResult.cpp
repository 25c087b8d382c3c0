#include "host/results/StressResult.h"

#include "host/support/Text.h"

std::string DescribeLearning(const StressResult& result) {
    const LearnedBeat& learned = result.learned;
    return std::to_string(learned.beatsUsed) + " of " + std::to_string(learned.beatsFound) + " beats in " +
           Number(learned.fromSeconds, 0) + " s" +
           (learned.record == result.source.name ? "" : " of " + learned.record);
}
