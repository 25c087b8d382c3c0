// Protocols: the named courses of exercise tests, and the work that their stages ask for.
//
// Metabolic equivalents (METs) are those of the equations of the American College of Sports Medicine
// (Guidelines for Exercise Testing and Prescription, 10th edition, 2018), with 1 MET = 3.5 ml oxygen a minute
// and kilogram:
//
//   walking   VO2 = 0.1 v + 1.8 v g + 3.5      v in m/min, g the grade as a fraction
//   running   VO2 = 0.2 v + 0.9 v g + 3.5      from 8 km/h (5 mph) up
//   cycling   VO2 = 10.8 P / m + 7             P in watts, m the weight in kg
//
// They hold for a steady state, which a short or a last stage does not reach: the figure is then too high.
#pragma once

#include <optional>
#include <string>
#include <vector>

/// One stage of a test, from its start to that of the next.
struct Stage {
    double startSeconds = 0;
    std::optional<double> watts;  // 0 at rest; empty if not known, as on a treadmill
    std::string name;
    std::optional<double> speedKmh = {}, gradePercent = {};  // of a treadmill; empty if not known
};

/// Speed and grade of a treadmill.
struct BeltStage {
    double speedKmh = 0, gradePercent = 0;
};

/// A protocol whose stages have fixed lengths; the last one goes on.
struct ProtocolPlan {
    const char* name;
    double stageSeconds;
    int stages;
    double wattsPerStage;             // added by each stage; 0 if the power is not known
    const char* title = nullptr;      // before the number of a stage on a treadmill
    const BeltStage* belt = nullptr;  // of each stage; null for a bicycle
};
/// Stage number `stage` of the plan, from 0 on, with its name.
Stage StageOf(const ProtocolPlan& plan, int stage, double startSeconds);

/// Treadmill: "bruce", "modified-bruce" (stages of 3 minutes), "naughton" (2 minutes), "balke" (1 minute).
/// Bicycle: "bicycle" and "who25" (the scheme of the WHO: 25 W more every 2 minutes), "who50" (50 W more
/// every 3 minutes, in German sports medicine the BAL scheme), "ramp" (10 W more every minute).
const std::vector<std::string>& ProtocolNames();
/// The plan of one of ProtocolNames.
const ProtocolPlan& FindProtocol(const std::string& name);
/// Rest up to `startSeconds`, the stages of the protocol, and recovery from `endSeconds` on, infinity for
/// never. The last stage goes on beyond the protocol's end.
std::vector<Stage> ProtocolStages(const std::string& name, double startSeconds, double endSeconds);

/// True unless the power is known to be 0.
bool IsWork(const Stage& stage);
/// METs of a stage of work; NaN for rest and where speed and grade, or power and weight, are not known.
double MetsOf(const Stage& stage, std::optional<double> weightKg);
/// "2.7 km/h, 10 %" or "50 W"; empty where there is none or where the name says it.
std::string DescribePower(const Stage& stage);
