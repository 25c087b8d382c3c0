#include "host/results/Accuracy.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/results/Summaries.h"
#include "host/support/Text.h"
#include "host/support/TextTable.h"

static ErrorSize SizeOf(std::vector<double> errors) {
    std::erase_if(errors, [](double error) { return std::isnan(error); });
    for (double& error : errors) error = std::abs(error);
    ErrorSize size{Median(errors), kNothing};
    if (!errors.empty()) size.maximum = *std::max_element(errors.begin(), errors.end());
    return size;
}

Accuracy CompareWithTruth(const StressResult& result, const Truth& truth) {
    Accuracy accuracy;
    std::vector<double> errors;
    for (const RateReading& rate : result.rates) errors.push_back(rate.bpm - truth.BpmAt(rate.seconds));
    accuracy.bpm = SizeOf(std::move(errors));
    if (!truth.levelUv) return accuracy;
    for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
        std::vector<double> levelErrors, slopeErrors;
        for (const STReading& beat : result.beats) {
            levelErrors.push_back(beat.levelUv[lead] - truth.levelUv(lead, beat.seconds, beat.stPointMs));
            slopeErrors.push_back(beat.slopeUvPerMs[lead] -
                                  truth.slopeUvPerMs(lead, beat.seconds, beat.stPointMs));
        }
        accuracy.levelUv.push_back(SizeOf(std::move(levelErrors)));
        accuracy.slopeUvPerMs.push_back(SizeOf(std::move(slopeErrors)));
    }
    return accuracy;
}

void PrintAccuracy(std::ostream& out, const std::vector<std::string>& leads, const Accuracy& accuracy) {
    out << "  heart rate: error median " << Number(accuracy.bpm.median, 2) << " beats/min, largest "
        << Number(accuracy.bpm.maximum, 2) << " beats/min\n";
    if (accuracy.levelUv.empty()) return;
    out << Cell("lead", kTimeWidth) << Cell("ST level", kFigureWidth) << Cell("ST level", kFigureWidth)
        << Cell("ST slope", kFigureWidth) << Cell("ST slope", kFigureWidth) << "\n"
        << Cell("", kTimeWidth) << Cell("median uV", kFigureWidth) << Cell("largest uV", kFigureWidth)
        << Cell("med. uV/ms", kFigureWidth) << Cell("larg. uV/ms", kFigureWidth) << "\n";
    for (std::size_t lead = 0; lead < accuracy.levelUv.size(); ++lead) {
        out << NameCell(leads[lead], kTimeWidth)
            << Cell(Number(accuracy.levelUv[lead].median, 1), kFigureWidth)
            << Cell(Number(accuracy.levelUv[lead].maximum, 1), kFigureWidth)
            << Cell(Number(accuracy.slopeUvPerMs[lead].median, 3), kFigureWidth)
            << Cell(Number(accuracy.slopeUvPerMs[lead].maximum, 3), kFigureWidth) << "\n";
    }
}
