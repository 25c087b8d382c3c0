#include "host/results/StressResult.h"

#include <cmath>

#include "host/support/Text.h"

std::string STPointRule::Describe() const {
    const std::string usual = "J + " + Number(UsualMs(), 0) + " ms";
    std::string hand;
    const auto add = [&](const std::string& name) {
        hand += (hand.empty() ? "; set by hand: " : ", ") + name;
    };
    if (byHand.qMs) add("Q " + Number(-*byHand.qMs, 0) + " ms before R");
    if (byHand.jMs) add("J " + Number(*byHand.jMs, 0) + " ms after R");
    if (byHand.stMs) add("ST");
    return IsFixed() ? usual + hand
                     : usual + " (J + " + std::to_string(qz::kFastSTPointMs) + " ms above " +
                           Number(rateLimitBpm, 0) + "/min)" + hand;
}

static int CodeOf(qz::BeatClass beatClass) {
    switch (beatClass) {
        case qz::BeatClass::Normal: return kNormalBeat;
        case qz::BeatClass::Supraventricular: return kSupraventricularBeat;
        case qz::BeatClass::Ventricular: return kVentricularBeat;
        case qz::BeatClass::Paced: return kPacedBeat;
        case qz::BeatClass::Unclassified: break;
    }
    return kUnclassifiedBeat;
}

std::string DescribeLearning(const StressResult& result) {
    const LearnedBeat& learned = result.learned;
    return std::to_string(learned.beatsUsed) + " of " + std::to_string(learned.beatsFound) + " beats in " +
           Number(learned.fromSeconds, 0) + " s" +
           (learned.record == result.source.name ? "" : " of " + learned.record);
}
const char* LetterOf(qz::BeatClass beatClass) {
    switch (beatClass) {
        case qz::BeatClass::Normal: return "N";
        case qz::BeatClass::Supraventricular: return "S";
        case qz::BeatClass::Ventricular: return "V";
        case qz::BeatClass::Paced: return "/";
        case qz::BeatClass::Unclassified: break;
    }
    return "Q";
}

std::vector<Annotation> BeatAnnotations(const StressResult& result, double perSecond) {
    std::vector<Annotation> annotations;
    for (const FoundBeat& beat : result.beatsFound)
        annotations.push_back({std::llround(beat.seconds * perSecond), CodeOf(beat.beatClass), ""});
    return annotations;
}
