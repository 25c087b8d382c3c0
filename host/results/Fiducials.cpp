#include "host/results/Fiducials.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "host/results/BeatScores.h"
#include "host/results/Summaries.h"
#include "host/support/Units.h"

namespace {

constexpr double kOneBeatSeconds = 0.15;        // peaks of one beat in several leads are closer than this
constexpr std::size_t kEnoughForAnOutlier = 3;  // marks of which one may be disregarded

// The value that none but one comes before; the first of few.
template <typename Before>
double AllButOne(std::vector<double> values, Before before) {
    std::erase_if(values, [](double value) { return std::isnan(value); });
    if (values.empty()) return kNothing;
    std::sort(values.begin(), values.end(), before);
    return values[values.size() >= kEnoughForAnOutlier ? 1 : 0];
}

OffsetSize SizeOfOffsets(const std::vector<double>& offsetsMs) {
    OffsetSize size{0, kNothing, kNothing};
    double sum = 0, squares = 0;
    for (const double offset : offsetsMs) {
        sum += offset;
        ++size.count;
    }
    if (size.count > 0) size.meanMs = sum / size.count;
    for (const double offset : offsetsMs) squares += (offset - size.meanMs) * (offset - size.meanMs);
    if (size.count > 1) size.sdMs = std::sqrt(squares / (size.count - 1));
    return size;
}

}  // namespace

std::vector<QrsMark> QrsMarksFrom(const std::vector<Annotation>& annotations, double annotationHz) {
    std::vector<QrsMark> marks;
    const auto secondsOf = [&](std::size_t i, int code) {
        const bool isThere = i < annotations.size() && annotations[i].code == code;
        return isThere ? static_cast<double>(annotations[i].sample) / annotationHz : kNothing;
    };
    for (std::size_t i = 0; i < annotations.size(); ++i)
        if (IsBeat(annotations[i].code))
            marks.push_back({secondsOf(i, annotations[i].code), secondsOf(i - 1, kWaveStart),
                             secondsOf(i + 1, kWaveEnd)});
    return marks;
}

std::vector<QrsMark> CombineLeads(const std::vector<std::vector<QrsMark>>& leads) {
    std::vector<QrsMark> all, combined;
    for (const std::vector<QrsMark>& lead : leads) all.insert(all.end(), lead.begin(), lead.end());
    std::sort(all.begin(), all.end(),
              [](const QrsMark& a, const QrsMark& b) { return a.seconds < b.seconds; });
    for (auto mark = all.begin(); mark != all.end();) {
        std::vector<double> peaks, onsets, ends;
        for (const double first = mark->seconds; mark != all.end() && mark->seconds - first < kOneBeatSeconds;
             ++mark) {
            peaks.push_back(mark->seconds);
            onsets.push_back(mark->onset);
            ends.push_back(mark->end);
        }
        if (2 * peaks.size() >= leads.size())
            combined.push_back({Median(std::move(peaks)), AllButOne(std::move(onsets), std::less<>()),
                                AllButOne(std::move(ends), std::greater<>())});
    }
    return combined;
}

FiducialScore ScoreFiducials(const StressResult& result, const std::vector<QrsMark>& marks) {
    std::vector<double> onsets, ends;
    for (const BeatPair& pair : PairBeats(TimesOf(result.beats), TimesOf(marks))) {
        const QrsMark& mark = marks[pair.reference];
        const STReading& beat = result.beats[pair.found];
        onsets.push_back((beat.seconds - mark.onset) * kMsPerSecond + beat.qMs);
        ends.push_back((beat.seconds - mark.end) * kMsPerSecond + beat.jMs);
    }
    for (std::vector<double>* offsets : {&onsets, &ends})
        std::erase_if(*offsets, [](double offset) { return std::isnan(offset); });
    return {marks.size(), SizeOfOffsets(onsets), SizeOfOffsets(ends)};
}
