#include "host/results/Protocols.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "host/results/Summaries.h"
#include "host/support/Text.h"

namespace {

// Bruce, Blackmon, Jones, Strait, Pediatrics 1963; 32: 742-756.
constexpr std::array kBruce{BeltStage{2.7, 10}, BeltStage{4.0, 12}, BeltStage{5.5, 14}, BeltStage{6.8, 16},
                            BeltStage{8.0, 18}, BeltStage{8.9, 20}, BeltStage{9.7, 22}};
// Two stages easier than the first of Bruce before it (Sheffield, in: Chung, Exercise Electrocardiography,
// 1979).
constexpr std::array kModifiedBruce{BeltStage{2.7, 0},  BeltStage{2.7, 5},  BeltStage{2.7, 10},
                                    BeltStage{4.0, 12}, BeltStage{5.5, 14}, BeltStage{6.8, 16},
                                    BeltStage{8.0, 18}, BeltStage{8.9, 20}, BeltStage{9.7, 22}};
// 1 mph, then 2 mph at grades that add 0.96 MET each (Naughton, Haider, in: Exercise Testing and Exercise
// Training in Coronary Heart Disease, 1973), in the stages of 2 minutes of the modified protocol; those of
// the first one are of 3 minutes.
constexpr std::array kNaughton{BeltStage{1.6, 0},   BeltStage{3.2, 0},    BeltStage{3.2, 3.5},
                               BeltStage{3.2, 7},   BeltStage{3.2, 10.5}, BeltStage{3.2, 14},
                               BeltStage{3.2, 17.5}};
// 3.3 mph: level, 2 %, and 1 % more each minute up to 25 % (Balke, Ware, US Armed Forces Med J 1959; 10:
// 675-688).
constexpr std::array<BeltStage, 25> kBalke = [] {
    std::array<BeltStage, 25> stages{};
    for (std::size_t i = 0; i < stages.size(); ++i)
        stages[i] = {5.3, i == 0 ? 0.0 : static_cast<double>(i) + 1};
    return stages;
}();

constexpr std::array kProtocols{
    ProtocolPlan{"bruce", 180, kBruce.size(), 0, "Bruce", kBruce.data()},
    ProtocolPlan{"modified-bruce", 180, kModifiedBruce.size(), 0, "Modified Bruce", kModifiedBruce.data()},
    ProtocolPlan{"naughton", 120, kNaughton.size(), 0, "Naughton", kNaughton.data()},
    ProtocolPlan{"balke", 60, kBalke.size(), 0, "Balke", kBalke.data()},
    ProtocolPlan{"bicycle", 120, 16, 25},
    ProtocolPlan{"who25", 120, 16, 25},
    ProtocolPlan{"who50", 180, 8, 50},
    ProtocolPlan{"ramp", 60, 40, 10}};

constexpr double kSlowestRunKmh = 8;
constexpr double kMPerMinInKmh = 1000.0 / 60;
constexpr double kMlPerMet = 3.5;

}  // namespace

Stage StageOf(const ProtocolPlan& plan, int stage, double startSeconds) {
    if (plan.belt != nullptr)
        return {startSeconds,
                {},
                plan.title + std::string(" ") + std::to_string(stage + 1),
                plan.belt[stage].speedKmh,
                plan.belt[stage].gradePercent};
    const double watts = (stage + 1) * plan.wattsPerStage;
    return {startSeconds, watts, Number(watts, 0) + " W"};
}

const std::vector<std::string>& ProtocolNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const ProtocolPlan& protocol : kProtocols) all.emplace_back(protocol.name);
        return all;
    }();
    return names;
}

const ProtocolPlan& FindProtocol(const std::string& name) {
    return *std::find_if(kProtocols.begin(), kProtocols.end(),
                         [&](const ProtocolPlan& known) { return name == known.name; });
}

std::vector<Stage> ProtocolStages(const std::string& name, double startSeconds, double endSeconds) {
    const ProtocolPlan& plan = FindProtocol(name);
    std::vector<Stage> stages;
    if (startSeconds > 0) stages.push_back({0, 0, "rest"});
    for (int i = 0; i < plan.stages; ++i) {
        const double start = startSeconds + i * plan.stageSeconds;
        if (start < endSeconds) stages.push_back(StageOf(plan, i, start));
    }
    if (std::isfinite(endSeconds)) stages.push_back({endSeconds, 0, "recovery"});
    return stages;
}

bool IsWork(const Stage& stage) { return !stage.watts || *stage.watts > 0; }

double MetsOf(const Stage& stage, std::optional<double> weightKg) {
    if (!IsWork(stage)) return kNothing;
    if (stage.speedKmh && stage.gradePercent) {
        const double v = *stage.speedKmh * kMPerMinInKmh, g = *stage.gradePercent / 100;
        const bool isRun = *stage.speedKmh >= kSlowestRunKmh;
        return ((isRun ? 0.2 * v + 0.9 * v * g : 0.1 * v + 1.8 * v * g) + kMlPerMet) / kMlPerMet;
    }
    if (!stage.watts || !weightKg) return kNothing;
    return (10.8 * *stage.watts / *weightKg + 2 * kMlPerMet) / kMlPerMet;
}

std::string DescribePower(const Stage& stage) {
    if (!IsWork(stage)) return "";
    std::string power;
    if (stage.speedKmh) power = Number(*stage.speedKmh, 1) + " km/h";
    if (stage.gradePercent)
        power += (power.empty() ? "" : ", ") +
                 Number(*stage.gradePercent, *stage.gradePercent == std::floor(*stage.gradePercent) ? 0 : 1) +
                 " %";
    if (stage.watts) power += (power.empty() ? "" : ", ") + Number(*stage.watts, 0) + " W";
    return power == stage.name ? "" : power;
}
