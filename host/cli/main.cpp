// qzstress: analyses recorded or simulated exercise tests. Exit codes: 0, or one of ExitCodes.h.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/cli/Batch.h"
#include "host/cli/Commands.h"
#include "host/cli/ExitCodes.h"
#include "host/live/LiveJson.h"
#include "host/live/MonitorCommand.h"
#include "host/live/TestFolder.h"
#include "host/report/Language.h"
#include "host/simulate/Simulate.h"
#include "host/support/HostError.h"
#include "host/support/Interrupt.h"

namespace {

const std::map<std::string, SimulatedProtocol> kSimulatedProtocols{{"steps", SimulatedProtocol::Steps},
                                                                   {"bruce", SimulatedProtocol::Bruce},
                                                                   {"bicycle", SimulatedProtocol::Bicycle},
                                                                   {"ramp", SimulatedProtocol::Ramp}};
constexpr double kSlowest = 0.01, kFastest = 1000;  // times the pace of the patient

// Refuses a value that is not a finite number or not allowed, and says what was expected.
template <typename Allowed>
CLI::Validator Expect(const std::string& words, Allowed allowed) {
    return {[words, allowed](const std::string& text) {
                double value = 0;
                const bool isRight =
                    CLI::detail::lexical_cast(text, value) && std::isfinite(value) && allowed(value);
                return isRight ? std::string() : words + " is expected, not \"" + text + "\"";
            },
            ""};
}
// Rejects an empty name, so that an unset shell variable is an error.
const CLI::Validator kNamed{
    [](const std::string& name) { return std::string(name.empty() ? "a name is expected" : ""); }, ""};
const CLI::Validator kPositive = Expect("a number above 0", [](double value) { return value > 0; });
const CLI::Validator kSeed{
    [](const std::string& text) {
        std::uint64_t value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        const bool isRight = error == std::errc() && end == text.data() + text.size();
        return isRight ? std::string()
                       : "a whole number of 0 to 18446744073709551615 is expected, not \"" + text + "\"";
    },
    ""};
constexpr int kLowestCutoffHz = 10;  // a QRS is not left below it
const CLI::Validator kCutoff = Expect(
    "a whole number of Hz, 0 for none or " + std::to_string(kLowestCutoffHz) + " to 1000,", [](double value) {
        return value == std::floor(value) && (value == 0 || (value >= kLowestCutoffHz && value <= 1000));
    });
const CLI::Validator kNotNegative = Expect("a number of 0 or more", [](double value) { return value >= 0; });

// One comma-separated argument, as I,II,V5; later arguments are not swallowed.
template <typename Value>
CLI::Option* AddList(CLI::App& command, const char* name, std::vector<Value>& values, const char* text) {
    return command.add_option(name, values, text)->delimiter(',')->allow_extra_args(false);
}

CLI::Option* AddFile(CLI::App& command, const char* name, std::string& path, const char* text) {
    return command.add_option(name, path, text)->check(kNamed)->type_name("FILE");
}

// Reads FS,LEADS,UV, as 500,12,2.5 or 250,I+II+V5,5.
RawLayout ParseRaw(const std::string& text) {
    constexpr int kMostLeads = 64;
    RawLayout layout;
    std::istringstream parts(text);
    std::string leads;
    char comma = 0;
    if (!(parts >> layout.fs >> comma) || comma != ',' || !std::getline(parts, leads, ',') ||
        !(parts >> layout.uVpb) || !parts.eof() || !(layout.uVpb > 0) || !std::isfinite(layout.uVpb) ||
        leads.empty())
        throw CLI::ValidationError("--raw", "FS,LEADS,UV is expected, as 500,12,2.5, not \"" + text + "\"");
    int count = 0;
    if (CLI::detail::lexical_cast(leads, count)) {
        for (int lead = 1; lead <= std::min(count, kMostLeads + 1); ++lead)
            layout.leads.push_back("lead " + std::to_string(lead));
    } else {
        std::istringstream names(leads);
        for (std::string name; std::getline(names, name, '+');) layout.leads.push_back(OneLine(name));
    }
    if (layout.leads.empty() || layout.leads.size() > kMostLeads)
        throw CLI::ValidationError("--raw", "1 to 64 leads are expected, not \"" + leads + "\"");
    return layout;
}

void AddForce(CLI::App& command, bool& force) {
    command.add_flag("--force", force, "Replace files that are no earlier results of the same kind");
}

void AddReading(CLI::App& command, RecordOptions& options) {
    AddList(command, "--leads", options.leads, "Leads to use, in this order, as I,II,V5");
    CLI::Option* fs = command.add_option("--fs", options.fs, "Sampling rate of CSV, Hz")->check(kPositive);
    CLI::Option* uVpb =
        command.add_option("--uv-per-bit", options.uVpb, "Microvolts per unit of CSV columns without a unit")
            ->check(kPositive);
    command
        .add_option_function<std::string>(
            "--raw", [&options](const std::string& text) { options.raw = ParseRaw(text); },
            "FS,LEADS,UV: frames of 16 bits, low byte first; their rate, number or names (I+II+V5), and uV "
            "per unit")
        ->excludes(fs, uVpb)
        ->type_name("LAYOUT");
}

void AddAnalysis(CLI::App& command, StressOptions& options) {
    command
        .add_option_function<std::string>(
            "--mains",
            [&options](const std::string& mains) {
                options.measureMains = mains == "auto";
                if (!options.measureMains) options.conditioner.mainsHz = std::stoi(mains);
            },
            "Mains frequency in Hz, 0 for none; auto: that which the first 10 s show")
        ->check(CLI::IsMember({"auto", "0", "50", "60"}))
        ->default_str("auto");
    command
        .add_option_function<std::string>(
            "--paced",
            [&options](const std::string& paced) {
                options.isPaced.reset();
                if (paced != "auto") options.isPaced = paced == "yes";
            },
            "Whether a pacemaker makes the beats of a usual shape; auto: where the recording tells of one")
        ->check(CLI::IsMember({"auto", "yes", "no"}))
        ->default_str("auto");
    command.add_flag("--comb", options.conditioner.comb,
                     "Comb against 50 Hz instead of a notch: takes out harmonics too, and shifts ST");
    command
        .add_option("--lowpass", options.conditioner.lowpassHz, "Cutoff of the low-pass in Hz, 0 for none")
        ->check(kCutoff)
        ->capture_default_str();
    command.add_option("--smooth", options.conditioner.smooth, "Strength of the smoother, 0 for none")
        ->check(CLI::IsMember({0, 1, 2}))
        ->capture_default_str();
    auto* const postJ =
        command
            .add_option("--post-j", options.stPoint.postJms,
                        "The ST level is that of the engine so many ms after J + 6 ms, not at J + 80 ms")
            ->check(CLI::Range(qz::kEarliestPostJms, qz::kLatestPostJms));
    command
        .add_option("--st-rate-limit", options.stPoint.rateLimitBpm,
                    "Heart rate above which the ST level is that at J + 60 ms")
        ->check(kPositive)
        ->excludes(postJ)
        ->capture_default_str();
    qz::PointsByHand& byHand = options.stPoint.byHand;
    const auto within = [](int lowest, int highest) {
        return Expect("a number of " + std::to_string(lowest) + " to " + std::to_string(highest),
                      [=](double ms) { return ms >= lowest && ms <= highest; });
    };
    for (const auto& [name, point, range, text] :
         {std::tuple{"--q-point", &byHand.qMs, within(-200, -8), "Onset of the QRS, ms from R, set by hand"},
          {"--j-point", &byHand.jMs, within(8, 250), "End of the QRS, ms from R, set by hand"},
          {"--st-point", &byHand.stMs, within(10, 200), "Where the ST level is measured, ms after J"}})
        command.add_option(name, *point, text)->check(range)->excludes(postJ);
}

// Reads LEAD:START:SECONDS.
SimulatedLeadOff ParseLeadOff(const std::string& text) {
    SimulatedLeadOff off;
    std::istringstream parts(text);
    char colon = 0;
    if (!std::getline(parts, off.lead, ':') || !(parts >> off.startSeconds >> colon >> off.seconds) ||
        colon != ':' || !parts.eof())
        throw CLI::ValidationError("--lead-off", "LEAD:START:SECONDS is expected, not \"" + text + "\"");
    return off;
}

// Reads SECONDS-SECONDS.
Span ParseStretch(const std::string& option, const std::string& text) {
    Span span;
    std::istringstream parts(text);
    char dash = 0;
    if (!(parts >> span.fromSeconds >> dash >> span.toSeconds) || dash != '-' || !parts.eof() ||
        !(span.fromSeconds >= 0 && span.fromSeconds < span.toSeconds))
        throw CLI::ValidationError(option, "SECONDS-SECONDS is expected, as 10-70, not \"" + text + "\"");
    return span;
}

constexpr const char* kStudyGroup = "Analysis";

// The options of the analysis as they were given, values of a list with commas.
GivenOptions GivenStudy(const CLI::App& command) {
    GivenOptions given;
    for (const CLI::Option* option :
         command.get_options([](const CLI::Option* one) { return one->get_group() == kStudyGroup; })) {
        if (option->count() == 0) continue;
        std::string values;
        for (const std::string& value : option->results()) values += (values.empty() ? "" : ",") + value;
        given.emplace_back(option->get_name(), values);
    }
    return given;
}

// How many letters have to be changed, left out or added to make one word of the other.
std::size_t Distance(const std::string& from, const std::string& to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t before = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t changed = before + (from[i] == to[j] ? 0 : 1);
            before = row[j + 1];
            row[j + 1] = std::min({changed, before + 1, row[j] + 1});
        }
    }
    return row.back();
}

class Program {
public:
    Program() {
        m_app.require_subcommand(1);
        m_app.set_version_flag("--version", "qzstress " QZSTRESS_VERSION);
        m_app.set_help_all_flag("--help-all", "Help of every subcommand");
        AddAnalyze();
        AddSimulate();
        AddInfo();
        AddEvaluate();
        AddBatch();
        AddMonitor();
        AddView();
    }

    /// Parses the command line and does what it asks for. Returns the exit code.
    int Run(int argc, char** argv) {
        try {
            std::vector<char*> words(argv, argv + argc);
            CheckCommand(words);
            PrepareBatch(words);
            m_app.parse(static_cast<int>(words.size()), words.data());
        } catch (const CLI::ParseError& error) {
            if (error.get_exit_code() == 0) return m_app.exit(error);  // --help
            std::cerr << "qzstress: " << OneLine(error.what()) << "\n";
            return kExitUsage;
        }
        std::cout.flush();
        if (!std::cout) throw HostError("stdout", "the report could not be written");
        return m_exitCode;
    }

private:
    // A first word that is no command is told with what was probably meant.
    void CheckCommand(const std::vector<char*>& words) const {
        std::vector<std::string> commands;
        for (const CLI::App* command : m_app.get_subcommands({})) commands.push_back(command->get_name());
        std::string all;
        for (const std::string& command : commands) all += (all.empty() ? "" : ", ") + command;
        if (words.size() < 2)
            throw CLI::RequiredError("a command is expected: " + all + "; --help tells more",
                                     CLI::ExitCodes::RequiredError);
        const std::string word = words[1];
        if (word.starts_with('-') || std::find(commands.begin(), commands.end(), word) != commands.end())
            return;
        std::string meant;
        if (std::filesystem::exists(word) || std::filesystem::exists(word + ".hea")) {
            meant = "analyze " + word;
        } else {
            const auto isMeant = [&](const std::string& command) { return Distance(word, command) <= 2; };
            const auto near = std::find_if(commands.begin(), commands.end(), isMeant);
            if (near != commands.end()) meant = *near;
        }
        throw CLI::ValidationError(
            "\"" + word + "\" is no command",
            meant.empty() ? "expected " + all : "did you mean qzstress " + meant + "?");
    }

    // The options that decide what an analysis finds; results tell them.
    void AddStudy(CLI::App& command) {
        command.option_defaults()->group(kStudyGroup);
        AddReading(command, m_analyze.reading);
        AddAnalysis(command, m_analyze.analysis);
        AddFile(command, "--template-from", m_analyze.templateFrom,
                "Recording to learn the first averaged beat from");
        command
            .add_option_function<std::string>(
                "--reference",
                [this](const std::string& text) { m_analyze.reference = ParseStretch("--reference", text); },
                "SECONDS-SECONDS from which changes of ST count, instead of the rest before the exercise or, "
                "without stages, the first half minute of ST")
            ->type_name("SPAN");
        command.add_flag("--anonymous", m_analyze.anonymous, "Leave persons and remarks out of every output");
        AddExercise(command);
        command.option_defaults()->group("Options");
    }

    // How reports read, which results tell too; only where `report` asks for one.
    void AddReportStyle(CLI::App& command, CLI::Option* report) {
        command.option_defaults()->group(kStudyGroup);
        command.add_option("--language", m_analyze.language, "Language of the report")
            ->check(CLI::IsMember(LanguageCodes()))
            ->capture_default_str()
            ->needs(report);
        AddList(command, "--strips", m_analyze.stripSeconds,
                "Seconds from which the report shows strips of 10 s, besides those that tell most, as 10,300")
            ->check(kNotNegative)
            ->needs(report);
        command
            .add_option_function<std::string>(
                "--paper",
                [this](const std::string& name) {
                    m_analyze.paper = name == "letter" ? Paper::Letter : Paper::A4;
                },
                "Paper of the report")
            ->check(CLI::IsMember({"a4", "letter"}))
            ->default_str("a4")
            ->needs(report);
        command.option_defaults()->group("Options");
    }

    // Returns the option of the report.
    CLI::Option* AddOutputs(CLI::App& command) {
        CLI::Option* csv = AddFile(command, "--csv", m_analyze.csv, "Write the trends as CSV");
        command
            .add_option("--every", m_analyze.csvEverySeconds, "Seconds per row of --csv, 0 for every beat")
            ->check(kNotNegative)
            ->needs(csv)
            ->capture_default_str();
        AddFile(command, "--json", m_analyze.json, "Write everything as JSON");
        AddFile(command, "--wfdb-ann", m_analyze.annotations, "Write the beats as WFDB annotations");
        CLI::Option* exported = AddFile(command, "--export", m_analyze.exported,
                                        "Write the cleaned signal: .edf, .csv, or else WFDB");
        command.add_flag("--double", m_analyze.doubled, "Double the rate of the exported signal")
            ->needs(exported);
        return AddFile(command, "--report", m_analyze.report, "Draw the report: .html, .pdf or .png");
    }

    void AddExercise(CLI::App& command) {
        command.add_option("--angina", m_analyze.exercise.angina, "0 none, 1 not limiting, 2 limiting")
            ->check(CLI::Range(0, 2));
        command
            .add_option("--exercise-seconds", m_analyze.exercise.exerciseSeconds,
                        "Exercise time, instead of what the stages tell; ends a protocol")
            ->check(kNotNegative);
        auto* stages =
            AddFile(command, "--stages", m_analyze.stagesFile,
                    "File of stages (start, power and name a line), truth.json of a simulation, or WFDB "
                    "annotations; without it the notes of EDF+");
        CLI::Option* protocol = command.add_option("--protocol", m_analyze.protocol, "Named stages instead")
                                    ->check(CLI::IsMember(ProtocolNames()))
                                    ->excludes(stages);
        command
            .add_option("--exercise-start", m_analyze.exerciseStartSeconds,
                        "Second at which the protocol starts")
            ->check(kNotNegative)
            ->needs(protocol);
        command
            .add_option_function<std::string>(
                "--predicted",
                [this](const std::string& name) {
                    const auto& names = PredictedRateNames();
                    m_analyze.exercise.predicted = static_cast<PredictedRate>(
                        std::find(names.begin(), names.end(), name) - names.begin());
                },
                "Formula of the maximal heart rate of the age")
            ->check(CLI::IsMember(PredictedRateNames()))
            ->default_str("fox");
        AddList(command, "--stage-leads", m_analyze.exercise.stageLeads,
                "Leads in the table of stages, as V5,II; else the three whose ST changes most");
    }

    // What is told of one patient and one test.
    void AddPatient(CLI::App& command) {
        AddFile(command, "--patient", m_analyze.patientFile,
                "What is told of the patient, a JSON object; stronger than what the recording tells");
        AddFile(command, "--bp", m_analyze.pressuresFile,
                "Blood pressures: a table with time,systolic,diastolic,exertion");
        command.add_option("--ended", m_analyze.told.ended, "Why the test ended, a text for the report");
        command.add_option("--symptoms", m_analyze.told.symptoms,
                           "Symptoms in the test, a text for the report");
    }

    void AddAnalyze() {
        CLI::App& command = *m_app.add_subcommand("analyze", "Heart rate and ST of a recording");
        AddFile(command, "RECORD", m_analyze.record,
                "WFDB header, EDF, BDF or CSV file; without it a simulated test");
        AddStudy(command);
        AddPatient(command);
        AddReportStyle(command, AddOutputs(command));
        command
            .add_option("--realtime", m_realtime,
                        "Play at so many times the pace of the patient, 0.01 to 1000")
            ->expected(0, 1)
            ->default_str("1")
            ->check(kNamed);
        command.add_flag("--quiet", m_analyze.quiet, "No report on stdout, no progress bar");
        AddForce(command, m_analyze.force);
        command.footer(
            "Examples:\n"
            "  qzstress analyze --report report.html           the simulated test, with its report\n"
            "  qzstress analyze rec/s1 --csv s1.csv\n"
            "  qzstress analyze test.edf --stages stages.txt --angina 1 --report test.pdf\n"
            "  qzstress analyze test.csv --fs 500 --realtime 4");
        command.callback([this, &command] {
            TakeRealtime();
            for (const char* name : {"--fs", "--uv-per-bit", "--raw"})
                if (m_analyze.record.empty() && command.count(name) > 0)
                    throw CLI::ValidationError(name, "a RECORD is expected with it");
            m_analyze.given = GivenStudy(command);
            m_exitCode = Analyze(m_analyze);
        });
    }

    // Sorts out the word after --realtime, which is the speed or already the record.
    void TakeRealtime() {
        if (m_realtime.empty()) return;
        if (!CLI::detail::lexical_cast(m_realtime, m_analyze.realtime)) {
            if (!m_analyze.record.empty())
                throw CLI::ValidationError("--realtime", "a speed is expected, not \"" + m_realtime + "\"");
            m_analyze.record = m_realtime;
            m_analyze.realtime = 1;
        }
        if (!(m_analyze.realtime >= kSlowest && m_analyze.realtime <= kFastest))
            throw CLI::ValidationError("--realtime",
                                       "a speed of 0.01 to 1000 is expected, not " + m_realtime);
    }

    void AddInfo() {
        CLI::App& command = *m_app.add_subcommand("info", "What a recording holds");
        AddFile(command, "RECORD", m_info, "WFDB header, EDF, BDF or CSV file")->required();
        AddReading(command, m_infoReading);
        command.add_flag("--json", m_infoAsJson, "Print it as JSON");
        command.callback([this] { PrintInfo(m_info, m_infoReading, m_infoAsJson); });
    }

    void AddEvaluate() {
        CLI::App& command = *m_app.add_subcommand("evaluate", "Score the answers against a reference");
        AddFile(command, "RECORD", m_evaluate.record, "WFDB header, EDF, BDF or CSV file")->required();
        AddFile(command, "--ann", m_evaluate.reference,
                "WFDB annotations, or the truth.json of a simulation");
        AddList(command, "--fiducials", m_evaluate.fiducials,
                "WFDB annotations of QRS onsets and ends by hand; one file, or one for each lead")
            ->check(kNamed)
            ->type_name("FILE");
        command
            .add_option("--skip", m_evaluate.skipSeconds, "Seconds at the start that do not count; EC57: 300")
            ->check(kNotNegative)
            ->capture_default_str();
        AddFile(command, "--json", m_evaluate.json, "Write the scores as JSON");
        command.add_flag("--quiet", m_evaluate.quiet, "No table on stdout, no progress bar");
        AddForce(command, m_evaluate.force);
        AddReading(command, m_evaluate.reading);
        AddAnalysis(command, m_evaluate.analysis);
        command.footer("Example:\n  qzstress evaluate mitdb/100 --ann mitdb/100.atr --skip 300");
        command.callback([this] {
            if (m_evaluate.reference.empty() && m_evaluate.fiducials.empty())
                throw CLI::RequiredError("--ann or --fiducials");
            RunEvaluate(m_evaluate);
        });
    }

    void AddBatch() {
        CLI::App& command = *m_app.add_subcommand("batch", "Analyse many records, one process per core");
        command.add_option("INPUT", m_batch.input, "Folder with records, or a list of them")
            ->required()
            ->check(CLI::ExistingPath);
        AddFile(command, "--out", m_batch.outFolder, "Folder for the results")->required();
        command.add_option("--jobs", m_batch.jobs, "Processes at once, 0 for one per core")
            ->check(CLI::Range(0, 1024))
            ->capture_default_str();
        command
            .add_option("--timeout", m_batch.timeoutSeconds,
                        "Seconds after which a record is given up, 0 for never")
            ->check(kNotNegative)
            ->capture_default_str();
        command.add_flag("--keep", m_batch.keep,
                         "Keep results that were made with other options or by another version");
        CLI::Option* reports =
            command.add_option("--reports", m_batch.reports, "Draw a report beside each result")
                ->check(CLI::IsMember({"html", "pdf", "png"}));
        command.add_flag("--quiet", m_batch.quiet, "No progress bar");
        AddStudy(command);
        AddReportStyle(command, reports);
        command.footer(
            "Example:\n"
            "  qzstress batch records --out results --mains 60");
        command.callback([this, &command] {
            m_batch.study = m_analyze.given = GivenStudy(command);
            CheckStudy(m_analyze);
            m_batch.told = TellOptions(m_analyze, m_analyze.templateFrom, m_analyze.reading);
            if (RunBatch(m_batch) > 0) m_exitCode = kExitSomeFailed;
            if (Interrupt::IsAsked()) m_exitCode = kExitInterrupted;
        });
    }

    // Refuses options that name one output file: all records of a batch would write to it. The mark -- may
    // stand before the options of the analysis, which are those of the batch itself.
    static void PrepareBatch(std::vector<char*>& words) {
        if (words.size() < 2 || words[1] != std::string_view("batch")) return;
        const auto mark = std::find_if(words.begin(), words.end(),
                                       [](const char* word) { return std::string_view(word) == "--"; });
        if (mark != words.end()) words.erase(mark);
        for (const std::string argument : words)
            for (const char* output : {"--csv", "--json", "--wfdb-ann", "--export", "--report"})
                if (argument.substr(0, argument.find('=')) == output)
                    throw CLI::ValidationError(output, "names one file, and a batch has many records");
    }

    void AddSimulate() {
        CLI::App& command =
            *m_app.add_subcommand("simulate", "Write a simulated exercise test with its truth");
        AddFile(command, "OUT", m_simulateOut, "File to write: .edf, .csv, or else WFDB")->required();
        command.add_option("--protocol", m_simulatedProtocol, "Course of the test")
            ->check(CLI::IsMember(kSimulatedProtocols))
            ->capture_default_str();
        const auto number = [&](const char* name, double& value, const char* text) {
            command.add_option(name, value, text)->check(kNotNegative)->capture_default_str();
        };
        number("--seconds", m_simulate.seconds, "Length of the test");
        AddList(command, "--leads", m_simulate.leads, "Leads, as I,II,V5; all twelve where not given");
        command.add_option("--fs", m_simulate.fs, "Samples per second")->capture_default_str();
        number("--uv-per-bit", m_simulate.uVpb, "Microvolts per unit");
        command.add_option("--seed", m_simulate.seed, "Another seed gives other beats and noise")
            ->check(kSeed)
            ->capture_default_str();
        number("--mains", m_simulate.mainsHz, "Mains frequency, Hz");
        number("--mains-uv", m_simulate.mainsUv, "Mains noise, peak uV");
        number("--muscle-uv", m_simulate.muscleUv, "Muscle noise at peak exercise, rms uV");
        number("--wander-uv", m_simulate.wanderUv, "Baseline wander at peak exercise, rms uV");
        number("--motion-uv", m_simulate.motionUv, "Jumps of the baseline at peak exercise, rms uV");
        number("--st-uv", m_simulate.stDepressionUv, "ST depression in V5 at peak exercise, uV");
        number("--ectopy", m_simulate.ectopySeconds, "Mean seconds between ectopic beats, 0 for none");
        command.add_option("--lead-off", m_leadOff, "LEAD:START:SECONDS, a lead that is flat for a while")
            ->allow_extra_args(false);
        AddForce(command, m_simulateForce);
        command.footer(
            "Beside OUT are written its beats (.atr) and its truth (.truth.json). Examples:\n"
            "  qzstress simulate sim --protocol bicycle --seed 7\n"
            "  qzstress evaluate sim --ann sim.truth.json");
        command.callback([this] {
            m_simulate.protocol = kSimulatedProtocols.at(m_simulatedProtocol);
            for (const std::string& text : m_leadOff) m_simulate.leadOff.push_back(ParseLeadOff(text));
            try {
                for (const std::string& warning : Simulate(m_simulateOut, m_simulate, m_simulateForce))
                    std::cerr << "qzstress: " << OneLine(warning) << "\n";
            } catch (const std::invalid_argument& error) {
                throw CLI::ValidationError("simulate", error.what());
            }
        });
    }

    static void AddServer(CLI::App& command, ServerOptions& options) {
        command.add_option("--port", options.port, "Of the page, 0 for one that is free")
            ->capture_default_str();
        command
            .add_option(
                "--address", options.address,
                "Of this machine, at which the page is served; another than the loopback needs a token, "
                "which is printed")
            ->capture_default_str();
        command.add_option("--host-name", options.name, "A name of this machine that browsers may use");
    }

    void AddMonitor() {
        CLI::App& command = *m_app.add_subcommand("monitor", "Take a live test: analyse it and keep it");
        command
            .add_option("SOURCE", m_monitor.source,
                        "sim, - (standard input), tcp://HOST:PORT, listen://HOST:PORT, or a recording")
            ->check(kNamed)
            ->required();
        command.option_defaults()->group(kStudyGroup);
        AddAnalysis(command, m_monitor.analysis);
        command.option_defaults()->group("Options");
        AddReading(command, m_monitor.reading);
        command.add_option("--speed", m_monitor.speed, "Of a recording, times the pace of the patient")
            ->check(Expect("a speed of 0.01 to 1000",
                           [](double speed) { return speed >= kSlowest && speed <= kFastest; }))
            ->capture_default_str();
        AddFile(command, "--out", m_monitor.folder,
                "Folder that keeps the test; by default named by the time");
        command.add_flag("--resume", m_monitor.isResumed, "Go on with the test in --out, after a gap");
        command.add_option("--protocol", m_monitor.protocol, "Stages by its clock; else by hand")
            ->check(CLI::IsMember(ProtocolNames()));
        AddFile(command, "--patient", m_monitor.patientFile, "What is told of the patient, a JSON object");
        AddServer(command, m_monitor.server);
        command.add_flag("!--no-page", m_monitor.hasPage, "Serve no page; the program ends with the test");
        command.footer(
            "Examples:\n"
            "  qzstress monitor sim --out test1\n"
            "  qzstress monitor listen://127.0.0.1:5000 --protocol bruce --out test2\n"
            "  qzstress monitor tcp://amplifier:5000 --raw 500,12,2.5 --out test2 --resume");
        command.callback([this, &command] {
            m_monitor.given = GivenStudy(command);
            m_exitCode = RunMonitor(m_monitor);
        });
    }

    void AddView() {
        CLI::App& command = *m_app.add_subcommand("view", "Show a finished recording in a page");
        AddFile(command, "RECORD", m_view.record, "A recording, or the folder of a test")->required();
        command.option_defaults()->group(kStudyGroup);
        AddAnalysis(command, m_view.analysis);
        command.option_defaults()->group("Options");
        AddReading(command, m_view.reading);
        AddServer(command, m_view.server);
        command.callback([this, &command] {
            if (GivenStudy(command).empty()) TakeOptionsOfTest();
            m_exitCode = RunView(m_view);
        });
    }

    // The folder of a test is shown with the options of the test.
    void TakeOptionsOfTest() {
        if (!std::filesystem::exists(m_view.record + "/journal.jsonl")) return;
        const std::vector<std::string> lines = ReadJournal(m_view.record);
        if (lines.empty()) return;
        CLI::App kept;
        AddAnalysis(kept, m_view.analysis);
        std::vector<std::string> words;
        for (const auto& [name, value] : ParseJournalHead(m_view.record, lines.front()).options)
            if (name != "--protocol") words.push_back(name + "=" + value);
        kept.parse(words);
    }

    CLI::App m_app{"Stress-ECG analysis of recorded and simulated exercise tests"};
    AnalyzeOptions m_analyze;
    std::string m_realtime;  // the word as given; "1" if no word follows the option
    std::string m_info;
    RecordOptions m_infoReading;
    bool m_infoAsJson = false;
    EvaluateOptions m_evaluate;
    BatchOptions m_batch;
    MonitorOptions m_monitor;
    ViewOptions m_view;
    std::string m_simulateOut;
    bool m_simulateForce = false;
    std::string m_simulatedProtocol = "steps";
    SimulatedTestOptions m_simulate;
    std::vector<std::string> m_leadOff;
    int m_exitCode = 0;
};

}  // namespace

int main(int argc, char** argv) {
    // Without the signal a pipe that its reader closes is a write error, and no unfinished file is left
    // behind.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);  // a file at its size limit is then an error like a full disk
    try {
        return Program().Run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "qzstress: " << OneLine(error.what()) << "\n";
        return Interrupt::IsAsked() ? kExitInterrupted : kExitFailed;
    }
}
