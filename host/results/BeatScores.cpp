#include "host/results/BeatScores.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "host/results/Summaries.h"
#include "host/support/Units.h"

namespace {

constexpr double kMatchSeconds = 0.15 + 1e-6;  // 150 ms as EC57 sets it, plus floating-point slack
constexpr double kPassingSeconds = 10;         // normal beats farther apart do not belong to one hole

double Part(std::ptrdiff_t part, std::ptrdiff_t rest) {
    return part + rest > 0 ? static_cast<double>(part) / static_cast<double>(part + rest) : kNothing;
}

// All that are near enough, the nearest first.
std::vector<BeatPair> PossiblePairs(const std::vector<double>& found, const std::vector<double>& reference) {
    std::vector<BeatPair> pairs;
    std::size_t first = 0;
    for (std::size_t f = 0; f < found.size(); ++f) {
        while (first < reference.size() && found[f] - reference[first] > kMatchSeconds) ++first;
        for (std::size_t r = first; r < reference.size() && reference[r] - found[f] <= kMatchSeconds; ++r)
            pairs.push_back({f, r, found[f] - reference[r]});
    }
    std::stable_sort(pairs.begin(), pairs.end(), [](const BeatPair& a, const BeatPair& b) {
        return std::abs(a.offset) < std::abs(b.offset);
    });
    return pairs;
}

// Beats that are paired, and those that are alone and count: what every score begins with.
struct Pairing {
    std::vector<BeatPair> pairs;             // that count
    std::vector<std::size_t> missed, extra;  // reference and found beats, as indices

    Pairing(const std::vector<double>& found, const std::vector<double>& reference,
            const std::vector<Span>& uncounted) {
        std::vector<bool> foundPaired(found.size()), referencePaired(reference.size());
        for (const BeatPair& pair : PairBeats(found, reference)) {
            foundPaired[pair.found] = referencePaired[pair.reference] = true;
            if (!LiesIn(uncounted, reference[pair.reference])) pairs.push_back(pair);
        }
        missed = Alone(reference, referencePaired, uncounted);
        extra = Alone(found, foundPaired, uncounted);
    }

private:
    static std::vector<std::size_t> Alone(const std::vector<double>& beats, const std::vector<bool>& paired,
                                          const std::vector<Span>& uncounted) {
        std::vector<std::size_t> alone;
        for (std::size_t i = 0; i < beats.size(); ++i)
            if (!paired[i] && !LiesIn(uncounted, beats[i])) alone.push_back(i);
        return alone;
    }
};

Hits ScoreClass(BeatClass wanted, const Pairing& pairing, const std::vector<MarkedBeat>& found,
                const std::vector<MarkedBeat>& reference) {
    Hits hits;
    const auto isWanted = [wanted](const MarkedBeat& beat) { return ClassOf(beat.code) == wanted; };
    for (const BeatPair& pair : pairing.pairs) {
        const BeatClass truth = ClassOf(reference[pair.reference].code);
        const bool isFound = isWanted(found[pair.found]);
        const bool isExcused =
            truth == BeatClass::Unknown || (truth == BeatClass::Fusion && wanted == BeatClass::Ventricular);
        if (truth == wanted)
            ++(isFound ? hits.right : hits.missed);
        else if (isFound && !isExcused)
            ++hits.extra;
    }
    for (const std::size_t beat : pairing.missed) hits.missed += isWanted(reference[beat]);
    for (const std::size_t beat : pairing.extra) hits.extra += isWanted(found[beat]);
    return hits;
}

}  // namespace

double Hits::Sensitivity() const { return ::Part(right, missed); }
double Hits::PositivePredictivity() const { return ::Part(right, extra); }
double FoldingScore::Part() const { return ::Part(folded, normal - folded); }

std::vector<BeatPair> PairBeats(const std::vector<double>& foundSeconds,
                                const std::vector<double>& referenceSeconds) {
    std::vector<bool> foundPaired(foundSeconds.size()), referencePaired(referenceSeconds.size());
    std::vector<BeatPair> pairs;
    for (const BeatPair& pair : PossiblePairs(foundSeconds, referenceSeconds)) {
        if (foundPaired[pair.found] || referencePaired[pair.reference]) continue;
        foundPaired[pair.found] = referencePaired[pair.reference] = true;
        pairs.push_back(pair);
    }
    return pairs;
}

BeatScore ScoreBeats(const std::vector<double>& foundSeconds, const std::vector<double>& referenceSeconds,
                     const std::vector<Span>& uncounted) {
    const Pairing pairing(foundSeconds, referenceSeconds, uncounted);
    std::vector<double> offsets;
    for (const BeatPair& pair : pairing.pairs) offsets.push_back(pair.offset * kMsPerSecond);
    return {{std::ssize(pairing.pairs), std::ssize(pairing.missed), std::ssize(pairing.extra)},
            Median(std::move(offsets))};
}

BeatClass ClassOf(int code) {
    const std::string letter = Mnemonic(code);
    const auto isOneOf = [&](std::string_view letters) { return letters.find(letter) != letters.npos; };
    if (isOneOf("NLRBejn")) return BeatClass::Normal;
    if (isOneOf("AaJS")) return BeatClass::Supraventricular;
    if (isOneOf("VEr")) return BeatClass::Ventricular;
    return letter == "F" ? BeatClass::Fusion : BeatClass::Unknown;
}

ClassScores ScoreClasses(const std::vector<MarkedBeat>& found, const std::vector<MarkedBeat>& reference,
                         const std::vector<Span>& uncounted) {
    const Pairing pairing(TimesOf(found), TimesOf(reference), uncounted);
    return {ScoreClass(BeatClass::Ventricular, pairing, found, reference),
            ScoreClass(BeatClass::Supraventricular, pairing, found, reference)};
}

FoldingScore ScoreFolding(const std::deque<STReading>& folded, const std::vector<MarkedBeat>& reference,
                          const std::vector<Span>& uncounted) {
    std::vector<double> normal;
    for (const MarkedBeat& beat : reference)
        if (ClassOf(beat.code) == BeatClass::Normal && !LiesIn(uncounted, beat.seconds))
            normal.push_back(beat.seconds);
    std::vector<bool> hasValue(normal.size());
    FoldingScore score{std::ssize(normal), 0, kNothing, kNothing};
    for (const BeatPair& pair : PairBeats(TimesOf(folded), normal)) {
        ++score.folded;
        const std::vector<float>& levels = folded[pair.found].levelUv;
        hasValue[pair.reference] =
            std::any_of(levels.begin(), levels.end(), [](float level) { return !std::isnan(level); });
    }
    std::size_t first = 0;  // of the present hole
    for (std::size_t beat = 0; beat < normal.size(); ++beat) {
        if (hasValue[beat]) {
            first = beat + 1;
            continue;
        }
        if (beat > first && normal[beat] - normal[beat - 1] > kPassingSeconds) first = beat;
        const double seconds = normal[beat] - normal[first];
        if (seconds <= score.holeSeconds) continue;
        score.holeSeconds = seconds;
        score.holeFromSeconds = normal[first];
    }
    return score;
}
