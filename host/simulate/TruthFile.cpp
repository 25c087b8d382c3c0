#include "host/simulate/TruthFile.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/support/HostError.h"
#include "host/support/IndexOf.h"
#include "host/support/Json.h"
#include "host/support/JsonField.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

constexpr const char* kSchema = "qzstress-truth-1";

/// `value` rounded to 1 / perUnit: digits without meaning would fill the file.
double Rounded(double value, double perUnit) { return std::round(value * perUnit) / perUnit; }

Json RecordJson(const SourceInfo& info) {
    return {{"name", info.name},           {"leads", info.leads},
            {"sampling_rate_hz", info.fs}, {"uv_per_unit", info.uVpb},
            {"frames", info.frames},       {"length_s", static_cast<double>(info.frames) / info.fs}};
}

Json SimulationJson(const SimulatedTestOptions& options) {
    Json leadOff = Json::array();
    for (const SimulatedLeadOff& off : options.leadOff)
        leadOff.push_back({{"lead", off.lead},
                           {"start_s", off.startSeconds},
                           {"length_s", off.seconds},
                           {"rails", off.rails}});
    return {{"protocol", NameOf(options.protocol)},
            {"seed", options.seed},
            {"mains_hz", options.mainsHz},
            {"mains_uv", options.mainsUv},
            {"muscle_uv", options.muscleUv},
            {"wander_uv", options.wanderUv},
            {"motion_uv", options.motionUv},
            {"ectopy_s", options.ectopySeconds},
            {"st_depression_uv", options.stDepressionUv},
            {"lead_off", leadOff}};
}

Json StagesJson(const std::vector<Stage>& stages) {
    Json all = Json::array();
    for (const Stage& stage : stages)
        all.push_back({{"start_s", stage.startSeconds},
                       {"power_w", stage.watts ? Json(*stage.watts) : Json()},
                       {"name", stage.name},
                       {"speed_kmh", Value(stage.speedKmh)},
                       {"grade_percent", Value(stage.gradePercent)}});
    return all;
}

Json BeatJson(const SimulatedBeat& beat, int fs) {
    return {{"sample", beat.r},           {"time_s", static_cast<double>(beat.r) / fs},
            {"rr_ms", beat.rrMs},         {"type", beat.type == SimulatedBeatType::Sinus ? "N" : "V"},
            {"q_onset_ms", beat.onsetMs}, {"j_ms", beat.jMs}};
}

Json RowJson(const SimulatedTest& test, double seconds, int postJms) {
    constexpr double kRateParts = 1000, kLevelParts = 100, kSlopeParts = 1e5;
    std::vector<double> levels, slopes;
    for (std::size_t lead = 0; lead < test.Info().leads.size(); ++lead) {
        levels.push_back(Rounded(test.TrueSTuV(lead, seconds, postJms), kLevelParts));
        slopes.push_back(Rounded(test.TrueSTslope(lead, seconds, postJms), kSlopeParts));
    }
    return {{"time_s", seconds},
            {"heart_rate_per_min", Rounded(test.TrueHeartRate(seconds), kRateParts)},
            {"level_uv", levels},
            {"slope_uv_per_ms", slopes}};
}

// Bounds beyond any valid truth.
constexpr double kMostSeconds = 1e8, kMostUv = 1e7;
constexpr long long kMostFrames = 1LL << 48;

SimulatedBeat TakeBeat(const JsonField& field) {
    constexpr double kMostMs = 1e6;
    SimulatedBeat beat;
    beat.r = field["sample"].Whole(0LL, kMostFrames);
    beat.rrMs = field["rr_ms"].Number(0, kMostSeconds * kMsPerSecond);
    beat.onsetMs = field["q_onset_ms"].Number(-kMostMs, kMostMs);
    beat.jMs = field["j_ms"].Number(-kMostMs, kMostMs);
    const std::string type = field["type"].Text();
    if (type != "N" && type != "V")
        field["type"].Fail("expected N or V, found \"" + type.substr(0, 20) + "\"");
    beat.type = type == "N" ? SimulatedBeatType::Sinus : SimulatedBeatType::Ectopic;
    return beat;
}

Stage TakeStage(const JsonField& field) {
    Stage stage{field["start_s"].Number(0, kMostSeconds), {}, field["name"].Text()};
    constexpr double kMostWatts = 1e5, kMostKmh = 100, kMostPercent = 100;
    const auto take = [&](const char* key, double highest, std::optional<double>& value) {
        const std::vector<std::string> keys = field.Keys();
        if (std::find(keys.begin(), keys.end(), key) != keys.end() && !field[key].IsNull())
            value = field[key].Number(0, highest);
    };
    take("power_w", kMostWatts, stage.watts);
    take("speed_kmh", kMostKmh, stage.speedKmh);
    take("grade_percent", kMostPercent, stage.gradePercent);
    return stage;
}

RecordedTruth::Row TakeRow(const JsonField& field, std::size_t leads) {
    constexpr double kMostBpm = 1000;
    const auto values = [&](const char* key) {
        std::vector<double> all =
            field[key].Each([](const JsonField& f) { return f.Number(-kMostUv, kMostUv); });
        if (all.size() != leads)
            field[key].Fail("expected " + std::to_string(leads) + " values, one per lead, found " +
                            std::to_string(all.size()));
        return all;
    };
    return {field["time_s"].Number(0, kMostSeconds), field["heart_rate_per_min"].Number(0, kMostBpm),
            values("level_uv"), values("slope_uv_per_ms")};
}

/// Fails at the first element that is not later than the one before.
template <typename Element, typename Time>
void NeedAscending(const JsonField& field, const std::vector<Element>& elements, Time time) {
    for (std::size_t i = 1; i < elements.size(); ++i)
        if (time(elements[i]) <= time(elements[i - 1]))
            field.Fail("expected ascending times, which element " + std::to_string(i) + " breaks");
}

/// `value` at a time, on the straight line between the rows before and after it.
template <typename Value>
double Interpolate(const std::vector<RecordedTruth::Row>& rows, double seconds, Value value) {
    const auto after =
        std::upper_bound(rows.begin(), rows.end(), seconds,
                         [](double s, const RecordedTruth::Row& row) { return s < row.seconds; });
    if (after == rows.begin()) return value(rows.front());
    if (after == rows.end()) return value(rows.back());
    const auto before = after - 1;
    const double part = (seconds - before->seconds) / (after->seconds - before->seconds);
    return value(*before) + part * (value(*after) - value(*before));
}

std::vector<MarkedBeat> MarkedBeats(const std::vector<SimulatedBeat>& beats, int fs) {
    std::vector<MarkedBeat> marked;
    for (const SimulatedBeat& beat : beats)
        marked.push_back({static_cast<double>(beat.r) / fs,
                          beat.type == SimulatedBeatType::Sinus ? kNormalBeat : kVentricularBeat});
    return marked;
}

}  // namespace

void WriteTruth(PendingFile& file, const SimulatedTest& test, const TruthOptions& options) {
    std::ostream& out = file.Stream();
    const SourceInfo& info = test.Info();
    const Json head = {{"schema", kSchema},
                       {"record", RecordJson(info)},
                       {"simulation", SimulationJson(test.Options())},
                       {"stages", StagesJson(test.Stages())},
                       {"st_measured_ms_after_j", kSTOffsetMs + options.postJms}};
    std::string text = head.dump(1);
    text.resize(text.rfind('\n'));
    out << text << ",\n \"beats\": [";
    // Rows are written one by one: those of a day would fill 100 MB of memory.
    const char* separator = "\n  ";
    for (const SimulatedBeat& beat : test.Beats()) {
        out << separator << BeatJson(beat, info.fs).dump();
        separator = ",\n  ";
    }
    out << "\n ],\n \"course\": [";
    separator = "\n  ";
    const double length = static_cast<double>(info.frames) / info.fs;
    for (long long row = 0; static_cast<double>(row) * options.everySeconds <= length; ++row) {
        out << separator
            << RowJson(test, static_cast<double>(row) * options.everySeconds, options.postJms).dump();
        separator = ",\n  ";
    }
    out << "\n ]\n}\n";
}

RecordedTruth ReadTruth(const std::string& path) {
    constexpr int kMostFs = 1000000, kMostPostJms = 1000;
    constexpr long long kMostBytes = 64 << 20;  // a day of twelve leads has 40 MB
    constexpr int kMostParts = 10'000'000;      // twice what that day has
    const Json json = ParseJsonFile(path, "a truth", kMostBytes, kMostParts);
    const JsonField all(path, "", json);
    if (all["schema"].Text() != kSchema) all["schema"].Fail("expected \"" + std::string(kSchema) + "\"");
    RecordedTruth truth;
    truth.file = path;
    truth.fs = all["record"]["sampling_rate_hz"].Whole(1, kMostFs);
    truth.seconds = all["record"]["length_s"].Number(0, kMostSeconds);
    truth.leads = all["record"]["leads"].Each([](const JsonField& field) { return field.Text(); });
    truth.postJms =
        all["st_measured_ms_after_j"].Whole(kSTOffsetMs, kSTOffsetMs + kMostPostJms) - kSTOffsetMs;
    truth.stages = all["stages"].Each(TakeStage);
    truth.beats = all["beats"].Each(TakeBeat);
    const std::size_t leads = truth.leads.size();
    truth.course = all["course"].Each([leads](const JsonField& field) { return TakeRow(field, leads); });
    if (truth.course.empty()) all["course"].Fail("expected at least one row");
    NeedAscending(all["beats"], truth.beats, [](const SimulatedBeat& beat) { return beat.r; });
    NeedAscending(all["course"], truth.course, [](const RecordedTruth::Row& row) { return row.seconds; });
    return truth;
}

double RecordedTruth::Bpm(double atSeconds) const {
    return Interpolate(course, atSeconds, [](const Row& row) { return row.bpm; });
}

double RecordedTruth::LevelUv(std::size_t lead, double atSeconds) const {
    return Interpolate(course, atSeconds, [lead](const Row& row) { return row.levelUv[lead]; });
}

double RecordedTruth::SlopeUvPerMs(std::size_t lead, double atSeconds) const {
    return Interpolate(course, atSeconds, [lead](const Row& row) { return row.slopeUvPerMs[lead]; });
}

Truth RecordedTruth::For(const SourceInfo& info) const {
    std::vector<std::size_t> known;  // lead of the truth for each of the recording
    for (const std::string& lead : info.leads) {
        const auto found = std::find_if(leads.begin(), leads.end(), [&](const std::string& name) {
            return EqualIgnoringCase(name, lead);
        });
        if (found == leads.end()) throw HostError(file, "expected the lead " + lead + " of " + info.name);
        known.push_back(IndexOf(leads, found));
    }
    return {MarkedBeats(beats, fs),
            {},
            [this](double at) { return Bpm(at); },
            [this, known](std::size_t lead, double at, double) { return LevelUv(known[lead], at); },
            [this, known](std::size_t lead, double at, double) { return SlopeUvPerMs(known[lead], at); }};
}

Truth TruthOf(const SimulatedTest& test, const STPointRule& point) {
    const double fromMs = point.postJms ? kSTOffsetMs : 0;
    return {MarkedBeats(test.Beats(), test.Info().fs),
            {},
            [&test](double at) { return test.TrueHeartRate(at); },
            [&test](std::size_t lead, double at, double pointMs) {
                return test.TrueSTuV(lead, at, pointMs - kSTOffsetMs);
            },
            [&test, fromMs](std::size_t lead, double at, double pointMs) {
                const auto levelUv = [&](double ms) { return test.TrueSTuV(lead, at, ms - kSTOffsetMs); };
                return (levelUv(pointMs) - levelUv(fromMs)) / (pointMs - fromMs);
            }};
}
