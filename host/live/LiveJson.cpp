#include "host/live/LiveJson.h"

#include <algorithm>
#include <array>
#include <bit>
#include <string_view>
#include <utility>

#include "host/support/JsonField.h"

using live::Alarm;
using live::Command;
using live::Event;

namespace {

constexpr int kDeepest = 4;                // brackets within brackets of what strangers send
constexpr std::size_t kLongestText = 200;  // bytes of a note

template <typename Kind>
struct KindName {
    Kind kind;
    const char* name;
};
constexpr std::array<KindName<Command::Kind>, 14> kCommands{{{Command::Kind::Start, "start"},
                                                             {Command::Kind::Next, "next"},
                                                             {Command::Kind::Recovery, "recovery"},
                                                             {Command::Kind::End, "end"},
                                                             {Command::Kind::Pressure, "pressure"},
                                                             {Command::Kind::Exertion, "exertion"},
                                                             {Command::Kind::Symptom, "symptom"},
                                                             {Command::Kind::Mark, "mark"},
                                                             {Command::Kind::Reference, "reference"},
                                                             {Command::Kind::QPoint, "q-point"},
                                                             {Command::Kind::JPoint, "j-point"},
                                                             {Command::Kind::STPoint, "st-point"},
                                                             {Command::Kind::Limits, "limits"},
                                                             {Command::Kind::Acknowledge, "acknowledge"}}};
constexpr std::array<KindName<Event::Kind>, 11> kEvents{{{Event::Kind::Gap, "gap"},
                                                         {Event::Kind::LeadOff, "lead-off"},
                                                         {Event::Kind::LeadOn, "lead-on"},
                                                         {Event::Kind::Learned, "learned"},
                                                         {Event::Kind::NotLearned, "not-learned"},
                                                         {Event::Kind::Stage, "stage"},
                                                         {Event::Kind::Run, "run"},
                                                         {Event::Kind::Source, "source"},
                                                         {Event::Kind::Kept, "kept"},
                                                         {Event::Kind::Done, "note"},
                                                         {Event::Kind::Ended, "ended"}}};

template <typename Names, typename Kind>
const char* NameOf(const Names& names, Kind kind) {
    return std::find_if(names.begin(), names.end(), [&](const auto& one) { return one.kind == kind; })->name;
}

/// Nothing but JSON that is not deeply nested; null where it is not.
Json ParseStrangers(std::string_view text) {
    int deepest = 0;
    Json parsed = Json::parse(
        text,
        [&](int depth, Json::parse_event_t, Json&) {
            deepest = std::max(deepest, depth);
            return depth <= kDeepest;
        },
        false);
    return parsed.is_discarded() || deepest > kDeepest ? Json() : parsed;
}

JsonField Field(const std::string& file, const Json& value) { return {file, "", value}; }

SourceInfo InfoOf(const JsonField& field) {
    constexpr std::size_t kMostLeads = 64;
    SourceInfo info;
    info.name = "test";
    info.fs = field["fs"].Whole(100, 2000);
    info.leads = field["leads"].Each([](const JsonField& lead) { return lead.Text(); });
    info.uVpb = field["uVpb"].Number(0, 1e6);
    if (info.uVpb == 0) field["uVpb"].Fail("expected microvolts above 0");
    if (info.leads.empty() || info.leads.size() > kMostLeads) field["leads"].Fail("expected 1 to 64 leads");
    for (const std::string& lead : info.leads)
        if (lead.empty() || lead.size() > 40) field["leads"].Fail("expected names of 1 to 40 bytes");
    MakeUnique(info.leads);
    return info;
}

}  // namespace

SourceInfo ParseDeviceLine(const std::string& line) {
    static const std::string kDevice = "device";
    const Json parsed = ParseStrangers(line);
    return InfoOf(Field(kDevice, parsed));
}

std::string JournalHead(const SourceInfo& info, const GivenOptions& options) {
    Json head{{"schema", "qzstress-journal-1"},
              {"fs", info.fs},
              {"leads", info.leads},
              {"uVpb", info.uVpb},
              {"started", info.started},
              {"options", Json::object()}};
    for (const auto& [name, value] : options) head["options"][name] = value;
    return head.dump();
}

JournalStart ParseJournalHead(const std::string& folder, const std::string& line) {
    const std::string file = folder + "/journal.jsonl";
    const Json parsed = ParseStrangers(line);
    const JsonField field = Field(file, parsed);
    if (!parsed.is_object() || parsed.value("schema", Json()) != "qzstress-journal-1")
        field.Fail("is no journal of a test");
    JournalStart start{InfoOf(field), {}};
    start.info.started = field["started"].Text();
    for (const std::string& name : field["options"].Keys())
        start.options.emplace_back(name, field["options"][name.c_str()].Text());
    return start;
}

std::string JournalLine(const Event& event) {
    Json line{{"s", event.seconds}, {"event", NameOf(kEvents, event.kind)}};
    if (!event.lead.empty()) line["lead"] = event.lead;
    if (!event.text.empty()) line["text"] = event.text;
    if (!std::isnan(event.value)) line["value"] = event.value;
    return line.dump();
}

std::string JournalLine(const Command& command, long long frames) {
    Json line{{"frames", frames}, {"do", NameOf(kCommands, command.kind)}};
    if (!command.text.empty()) line["text"] = command.text;
    if (!std::isnan(command.value)) line["value"] = command.value;
    if (!std::isnan(command.other)) line["other"] = command.other;
    if (!std::isnan(command.stUv)) line["st_uv"] = command.stUv;
    return line.dump();
}

namespace {

/// A command of an object with "do"; nothing where it is none.
std::optional<Command> CommandOf(const Json& object) {
    if (!object.is_object()) return {};
    const auto verb = object.find("do");
    if (verb == object.end() || !verb->is_string()) return {};
    const std::string& name = verb->get_ref<const std::string&>();
    const auto found =
        std::find_if(kCommands.begin(), kCommands.end(), [&](const auto& one) { return name == one.name; });
    if (found == kCommands.end()) return {};
    Command command{found->kind};
    if (const auto text = object.find("text"); text != object.end() && text->is_string()) {
        command.text = OneLine(text->get_ref<const std::string&>());
        if (command.text.size() > kLongestText) return {};
    }
    for (const auto& [key, number] :
         {std::pair{"value", &Command::value}, {"other", &Command::other}, {"st_uv", &Command::stUv}})
        if (const auto value = object.find(key); value != object.end() && value->is_number())
            command.*number = value->get<double>();
    return command;
}

}  // namespace

std::vector<JournalCommand> ParseJournalCommands(const std::string& folder,
                                                 const std::vector<std::string>& lines) {
    const std::string file = folder + "/journal.jsonl";
    std::vector<JournalCommand> commands;
    for (const std::string& line : lines) {
        const Json parsed = ParseStrangers(line);
        if (!parsed.is_object()) Field(file, parsed).Fail("holds a line that is no JSON");
        if (!parsed.contains("do")) continue;
        const std::optional<Command> command = CommandOf(parsed);
        if (!command) Field(file, parsed).Fail("holds an unknown command");
        commands.push_back({*command, Field(file, parsed)["frames"].Whole(0LL, 1LL << 50)});
    }
    return commands;
}

namespace {

constexpr std::array<KindName<Alarm::Kind>, 7> kAlarms{{{Alarm::Kind::RateHigh, "rate-high"},
                                                        {Alarm::Kind::RateLow, "rate-low"},
                                                        {Alarm::Kind::STChange, "st"},
                                                        {Alarm::Kind::LeadOff, "lead-off"},
                                                        {Alarm::Kind::VentricularRun, "run"},
                                                        {Alarm::Kind::NoSignal, "no-signal"},
                                                        {Alarm::Kind::NotKept, "not-kept"}}};

/// Rounded to so many decimals: pages do not show more.
Json Rounded(double value, double perUnit) {
    return std::isnan(value) ? Json() : Json(std::round(value * perUnit) / perUnit);
}
Json WholeUv(const std::vector<std::vector<float>>& rows) {
    Json all = Json::array();
    for (const std::vector<float>& row : rows) {
        Json values = Json::array();
        for (const float uV : row) values.push_back(std::lround(uV));
        all.push_back(std::move(values));
    }
    return all;
}

void PutBytes(std::string& out, const void* value, std::size_t bytes) {
    out.append(static_cast<const char*>(value), bytes);
}

}  // namespace

std::string HelloMessage(const SourceInfo& info, const std::string& protocol, bool isView) {
    return Json{{"type", "hello"},
                {"fs", info.fs},
                {"leads", info.leads},
                {"uVpb", info.uVpb},
                {"started", info.started},
                {"protocol", protocol},
                {"view", isView},
                {"whole_s", isView ? info.SecondsOf(info.frames) : 0},
                {"program", "qzstress " QZSTRESS_VERSION}}
        .dump();
}

std::string StateMessage(const live::State& state, const LiveStatus& source, const std::string& trouble,
                         double keptSeconds) {
    Json leads = Json::array();
    for (const live::LeadState& lead : state.leads)
        leads.push_back({{"st", Rounded(lead.levelUv, 1)},
                         {"slope", Rounded(lead.slopeUvPerMs, 100)},
                         {"j", Rounded(lead.jUv, 1)},
                         {"change", Rounded(lead.changeUv, 1)},
                         {"quality", Rounded(lead.quality, 100)},
                         {"off", lead.isOff},
                         {"disturbed", lead.isDisturbed}});
    Json stages = Json::array();
    for (const Stage& stage : state.stages)
        stages.push_back({{"s", stage.startSeconds}, {"name", stage.name}, {"power", DescribePower(stage)}});
    Json alarms = Json::array();
    for (const Alarm& alarm : state.alarms)
        alarms.push_back({{"number", alarm.number},
                          {"kind", NameOf(kAlarms, alarm.kind)},
                          {"lead", alarm.lead},
                          {"value", Rounded(alarm.value, 1)},
                          {"s", alarm.seconds},
                          {"active", alarm.isActive},
                          {"acknowledged", alarm.isAcknowledged}});
    Json pressures = Json::array();
    for (const BloodPressure& reading : state.pressures)
        pressures.push_back({{"s", reading.seconds},
                             {"systolic", Value(reading.systolic)},
                             {"diastolic", Value(reading.diastolic)},
                             {"exertion", Value(reading.exertion)}});
    const auto hand = [](const std::optional<double>& ms) { return ms ? Json(*ms) : Json(); };
    return Json{{"type", "state"},
                {"s", state.seconds},
                {"bpm", Rounded(state.bpm, 1)},
                {"st_point_ms", Rounded(state.stPointMs, 1)},
                {"by_hand", {hand(state.byHand.qMs), hand(state.byHand.jMs), hand(state.byHand.stMs)}},
                {"leads", std::move(leads)},
                {"beats", state.beats},
                {"supraventricular", state.supraventricular},
                {"ventricular", state.ventricular},
                {"paced", state.paced},
                {"unclassified", state.unclassified},
                {"runs", state.runs},
                {"stages", std::move(stages)},
                {"next_stage_s", Value(state.nextStageSeconds)},
                {"work", state.isWork},
                {"recovery", state.isRecovery},
                {"reference", state.reference.toSeconds > state.reference.fromSeconds
                                  ? Json{state.reference.fromSeconds, state.reference.toSeconds}
                                  : Json()},
                {"gap_s", state.gapSeconds},
                {"gaps", state.gaps},
                {"gaps_s", state.gapsSeconds},
                {"alarms", std::move(alarms)},
                {"limits", {state.limits.highestBpm, state.limits.lowestBpm, state.limits.stUv}},
                {"learned", state.isLearned},
                {"not_learned", state.notLearned},
                {"pressures", std::move(pressures)},
                {"ended", state.hasEnded},
                {"delay_ms", state.delayMs},
                {"conditioning", state.conditioning},
                {"source", {{"there", source.isThere}, {"what", source.what}, {"hz", source.measuredHz}}},
                {"trouble", trouble},
                {"kept_s", keptSeconds}}
        .dump();
}

std::string BeatsMessage(const live::Beats& beats, int fs) {
    const BeatPositionsMs& at = beats.positions;
    return Json{{"type", "beats"},
                {"fs", fs},
                {"uV", WholeUv(beats.uV)},
                {"reference", WholeUv(beats.referenceUv)},
                {"q_ms", at.q},
                {"r_ms", at.r},
                {"j_ms", at.j},
                {"st_ms", Value(beats.stMs)}}
        .dump();
}

std::string EventsMessage(const std::vector<Event>& events, bool isWhole) {
    Json all = Json::array();
    for (const Event& event : events)
        all.push_back({{"s", event.seconds},
                       {"event", NameOf(kEvents, event.kind)},
                       {"lead", event.lead},
                       {"text", event.text},
                       {"value", Value(event.value)}});
    return Json{{"type", "events"}, {"whole", isWhole}, {"events", std::move(all)}}.dump();
}

std::string StripMessage(const std::string& file, const std::string& why) {
    return Json{{"type", "strip"}, {"file", file}, {"why", OneLine(why)}}.dump();
}

std::string BeatMarksMessage(const std::vector<live::BeatMark>& marks, std::uint32_t request) {
    Json all = Json::array();
    for (const live::BeatMark& mark : marks) all.push_back({mark.seconds, LetterOf(mark.beatClass)});
    return Json{{"type", "marks"}, {"request", request}, {"marks", std::move(all)}}.dump();
}

std::string FindsMessage(const live::Finds& finds) {
    Json gaps = Json::array();
    for (const Span& gap : finds.gaps) gaps.push_back({gap.fromSeconds, gap.toSeconds});
    return Json{{"type", "finds"},
                {"ventricular", finds.ventricular},
                {"gaps", std::move(gaps)},
                {"largest_uv", Rounded(finds.largestUv, 1)},
                {"largest_s", Value(finds.largestSeconds)},
                {"largest_lead", finds.largestLead}}
        .dump();
}

std::string TrendMessage(const std::vector<live::TrendRow>& rows, std::size_t first, bool isWhole) {
    Json all = Json::array();
    for (std::size_t i = first; i < rows.size(); ++i) {
        Json row{rows[i].seconds, Rounded(rows[i].bpm, 1)};
        for (const float uV : rows[i].levelUv) row.push_back(Rounded(uV, 1));
        all.push_back(std::move(row));
    }
    return Json{{"type", "trend"}, {"whole", isWhole}, {"rows", std::move(all)}}.dump();
}

std::string ResultsMessage(const std::vector<std::string>& names, const std::string& why) {
    return Json{{"type", "results"}, {"files", names}, {"why", OneLine(why)}}.dump();
}

std::string DoneMessage(const std::string& name, bool isDone) {
    return Json{{"type", "done"}, {"do", name}, {"ok", isDone}}.dump();
}

std::string PongMessage(double ping, double wallMs) {
    return Json{{"type", "pong"}, {"ping", ping}, {"wall_ms", wallMs}}.dump();
}

std::string SignalMessage(const SignalHead& head, std::size_t leads, const short* samples,
                          std::size_t values) {
    static_assert(std::endian::native == std::endian::little);  // fields are copied as they lie in memory
    std::string out;
    const std::size_t count = values * leads;
    out.reserve(32 + 2 * count);
    const auto kind = static_cast<std::uint16_t>(head.kind);
    const auto chn = static_cast<std::uint16_t>(leads);
    const auto number = static_cast<std::uint32_t>(values);
    PutBytes(out, &kind, 2);
    PutBytes(out, &chn, 2);
    PutBytes(out, &head.request, 4);
    PutBytes(out, &head.firstFrame, 8);
    PutBytes(out, &head.wallMs, 8);
    PutBytes(out, &head.framesPerValue, 4);
    PutBytes(out, &number, 4);
    PutBytes(out, samples, 2 * count);
    return out;
}

PageRequest ParsePageRequest(const std::string& text) {
    constexpr long long kMostFrames = 1 << 16, kMostTestFrames = 1LL << 40;
    constexpr int kMostColumns = 1 << 12;
    PageRequest request;
    const Json parsed = ParseStrangers(text);
    if (!parsed.is_object()) return request;
    if (parsed.contains("ping")) {
        if (parsed["ping"].is_number()) request.ping = parsed["ping"].get<double>();
    } else if (parsed.contains("strip")) {
        if (parsed["strip"].is_number()) request.stripSeconds = parsed["strip"].get<double>();
        const auto language = parsed.find("language");
        if (language != parsed.end() && language->is_string())
            request.language = language->get<std::string>();
    } else if (parsed.contains("signal")) {
        static const std::string kPage = "page";
        try {
            const JsonField field(kPage, "", parsed);
            SignalRequest signal;
            signal.number = field["signal"].Whole(0U, 0xFFFFFFFFU);
            signal.fromFrame = field["from"].Whole(0LL, 1LL << 50);
            if (parsed.contains("columns")) signal.columns = field["columns"].Whole(1, kMostColumns);
            signal.frames = field["frames"].Whole(1LL, signal.columns > 0 ? kMostTestFrames : kMostFrames);
            request.signal = signal;
        } catch (const HostError&) {
            return {};
        }
    } else if ((request.command = CommandOf(parsed))) {
        request.name = parsed["do"].get<std::string>();
    }
    return request;
}
