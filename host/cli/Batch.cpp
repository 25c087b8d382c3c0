#include "host/cli/Batch.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <system_error>
#include <thread>
#include <utility>

#include "host/cli/ExitCodes.h"
#include "host/results/ResultFiles.h"
#include "host/support/HostError.h"
#include "host/support/InputFile.h"
#include "host/support/Interrupt.h"
#include "host/support/Json.h"
#include "host/support/PendingFile.h"
#include "host/support/Progress.h"
#include "host/support/Text.h"

namespace fs = std::filesystem;

namespace {

using Time = std::chrono::steady_clock::time_point;

constexpr std::array kRecordings{".hea", ".edf", ".bdf", ".csv", ".tsv"};
constexpr const char* kTableHeading =
    "record,length_s,leads,beats_found,beats_folded,peak_heart_rate_per_min,peak_heart_rate_s,"
    "st_lead,st_largest_change_uv,st_largest_change_s,st_slope_then_uv_per_ms,reference_from_s,"
    "reference_to_s,duke,pwc130_w,pwc150_w,pwc170_w,warnings,program,options";
constexpr std::string_view kTableBeginning =
    "record,length_s,leads,beats_found,";  // whichever version made it

struct Task {
    std::string record;
    fs::path json;    // the result
    fs::path report;  // empty: none is asked for
    fs::path notes;   // what its process says on stderr
    std::string row;  // of the table; empty while there is no whole result
};

// Prints its lines at the end of the batch, even if an exception ends it.
struct Failures {
    Failures() = default;
    ~Failures() {
        for (const std::string& line : lines) std::cerr << OneLine(line) << "\n";
    }
    Failures(const Failures&) = delete;
    Failures& operator=(const Failures&) = delete;

    std::vector<std::string> lines;
};

// The first line of a file, cut to 8 kB; empty if the file cannot be read.
std::string FirstLine(const fs::path& path) {
    constexpr std::size_t kLongest = 8192;
    std::string line(kLongest, '\0');
    try {
        InputFile(path.string()).Stream().getline(line.data(), kLongest);
    } catch (const HostError&) {
        return {};
    }
    return OneLine(line.c_str());
}

bool IsTable(const fs::path& path) { return FirstLine(path).starts_with(kTableBeginning); }

bool IsRecording(const fs::path& path) {
    const std::string extension = path.extension().string();
    return std::any_of(kRecordings.begin(), kRecordings.end(),
                       [&](const char* known) { return EqualIgnoringCase(extension, known); });
}

std::vector<std::string> ReadList(const std::string& path) {
    if (IsRecording(path))
        throw HostError(path, "is taken for a recording by its name: a folder or a list is expected");
    const std::string text = ReadText(path);
    const auto isBinary = [](char c) {
        return (c >= 0 && c < ' ' && c != '\n' && c != '\r' && c != '\t') || c == 0x7F;
    };
    if (std::any_of(text.begin(), text.end(), isBinary))
        throw HostError(path,
                        "expected a folder or a list of records, one a line, found bytes that are no text");
    std::istringstream file(text);
    const fs::path folder = fs::path(path).parent_path();
    std::vector<std::string> records;
    for (std::string line; std::getline(file, line);) {
        line.erase(line.find_last_not_of(" \t\r") + 1);
        if (line.empty() || line.front() == '#') continue;
        records.push_back((folder / line).lexically_normal().string());
    }
    return records;
}

// The result of a record: it lies in the output folder as the record lies in `root`.
fs::path ResultPath(const fs::path& outFolder, const std::string& record, const fs::path& root) {
    fs::path path = outFolder;
    for (const fs::path& part : fs::path(record).lexically_proximate(root).relative_path())
        path /= part == ".." ? fs::path("up") : part;
    path += ".json";
    return path;
}

std::string Word(const std::pair<std::string, std::string>& option) {
    return option.first + (option.second == "true" ? "" : "=" + option.second);
}

// The options for one record: those that tell of CSV are for no other format.
GivenOptions StudyOf(const std::string& record, GivenOptions study) {
    const std::string extension = fs::path(record).extension().string();
    if (EqualIgnoringCase(extension, ".csv") || EqualIgnoringCase(extension, ".tsv")) return study;
    std::erase_if(
        study, [](const auto& option) { return option.first == "--fs" || option.first == "--uv-per-bit"; });
    return study;
}

pid_t Start(const std::string& program, const Task& task, const GivenOptions& study) {
    std::vector<std::string> words{program, "analyze", task.record, "--quiet", "--json", task.json.string()};
    if (!task.report.empty()) words.insert(words.end(), {"--report", task.report.string()});
    for (const auto& option : StudyOf(task.record, study)) words.push_back(Word(option));
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    // Creates a new file: a link in its place must not lead the log elsewhere.
    fs::remove(task.notes);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, task.notes.c_str(),
                                     O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    pid_t child = 0;
    const int error = posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw HostError(program, std::string("cannot be started: ") + std::strerror(error));
    return child;
}

std::string Figure(const Json& value, int decimals) {
    return value.is_number() ? Number(value.get<double>(), decimals) : "";
}

// Those that a result tells; none of one that was made by a version that did not tell them.
GivenOptions OptionsOf(const Json& result) {
    GivenOptions options;
    const Json told = result.value("options", Json::object());
    for (const auto& [name, value] : told.items()) options.emplace_back(name, value.get<std::string>());
    return options;
}

std::string TableRow(const std::string& record, const Json& result) {
    std::ostringstream out;
    const Json& exercise = result.at("exercise");
    const Json* worst = nullptr;
    for (const Json& lead : result.at("leads")) {
        const Json& change = lead.at("largest_change_uv");
        const bool isKnown = !change.is_null() && std::isfinite(change.get<double>());  // null: it was off
        if (isKnown && lead.at("name") == exercise.at("st_deviation_lead")) worst = &lead;
    }
    std::string options;
    for (const auto& option : OptionsOf(result))
        options += (options.empty() ? "" : " ") + Word(option).substr(std::string_view("--").size());
    out << CsvField(OneLine(record)) << ',' << Figure(result.at("record").at("length_s"), 1) << ','
        << result.at("record").at("leads").size() << ',' << result.at("beats_found") << ','
        << result.at("beats_folded") << ',' << Figure(exercise.at("peak_heart_rate_per_min"), 1) << ','
        << Figure(exercise.at("peak_heart_rate_s"), 0) << ',';
    if (worst)
        out << CsvField(worst->at("name").get<std::string>()) << ','
            << Figure(worst->at("largest_change_uv"), 0) << ',' << Figure(worst->at("largest_change_s"), 0)
            << ',' << Figure(worst->at("slope_then_uv_per_ms"), 3);
    else
        out << ",,,";
    const Json& reference = result.at("reference");
    for (const char* end : {"from_s", "to_s"})
        out << ',' << (reference.is_null() ? "" : Figure(reference.at(end), 1));
    out << ',' << Figure(exercise.at("duke"), 0) << ',' << Figure(exercise.at("pwc130_w"), 1) << ','
        << Figure(exercise.at("pwc150_w"), 1) << ',' << Figure(exercise.at("pwc170_w"), 1) << ','
        << result.at("warnings").size() << ',' << CsvField(result.at("program").get<std::string>()) << ','
        << CsvField(options) << '\n';
    return out.str();
}

// False for the trends, which fill most of a result and which the table does not need: they are checked but
// not kept.
bool IsKept(int depth, Json::parse_event_t event, const Json& parsed) {
    return depth != 1 || event != Json::parse_event_t::key || (parsed != "heart_rate" && parsed != "st");
}

enum class ResultState {
    None,         // no such file
    Interrupted,  // a result of a part of the record
    Foreign,      // no result of this program, or a damaged one
    Other,        // made with other options or by another version; the row of the task is filled
    Whole,        // the row of the task is filled
};

ResultState ReadResult(Task& task, const GivenOptions& told) {
    if (!fs::exists(task.json)) return ResultState::None;
    if (!task.report.empty() && !fs::exists(task.report)) return ResultState::None;
    try {
        std::ifstream file = InputFile(task.json.string()).Stream();
        const Json result = Json::parse(file, IsKept);
        if (result.at("schema") != kResultSchema) return ResultState::Foreign;
        if (result.value("interrupted", false)) return ResultState::Interrupted;
        task.row = TableRow(task.record, result);
        return result.at("program") == kProgram && OptionsOf(result) == StudyOf(task.record, told)
                   ? ResultState::Whole
                   : ResultState::Other;
    } catch (const Json::exception&) {  // not JSON, or not with these members
        return ResultState::Foreign;
    } catch (const HostError&) {  // no file
        return ResultState::Foreign;
    }
}

struct Running {
    Task* task = nullptr;
    Time started{};
    int signalsSent = 0;  // signals sent because it takes too long
};

// Message about a task that has no whole result.
std::string Problem(const Running& running, int status, double timeoutSeconds) {
    const Task& task = *running.task;
    if (running.signalsSent > 0)
        return task.record + ": given up after " + Number(timeoutSeconds, 0) + " s (--timeout)";
    if (WIFSIGNALED(status)) return task.record + ": ended by signal " + std::to_string(WTERMSIG(status));
    if (WEXITSTATUS(status) == kExitInterrupted) return task.record + ": was interrupted";
    const std::string said = FirstLine(task.notes);
    return said.empty() ? task.record + ": exit code " + std::to_string(WEXITSTATUS(status)) : said;
}

// A process that has ended, and its status; nothing if none ends within 10 ms. Throws HostError if there is
// no process to wait for.
std::optional<pid_t> WaitForProcess(int& status) {
    constexpr std::chrono::milliseconds kMoment{10};
    const pid_t child = waitpid(-1, &status, WNOHANG);
    if (child > 0) return child;
    if (child < 0) throw HostError("batch", std::string("cannot wait: ") + std::strerror(errno));
    std::this_thread::sleep_for(kMoment);
    return std::nullopt;
}

// Sends SIGTERM to processes that take too long, and SIGKILL 10 s later to those that go on.
void GiveUpLateOnes(std::map<pid_t, Running>& running, double timeoutSeconds) {
    constexpr double kGraceSeconds = 10;
    if (timeoutSeconds <= 0) return;
    for (auto& [child, one] : running) {
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - one.started;
        if (took.count() < timeoutSeconds + one.signalsSent * kGraceSeconds || one.signalsSent > 1) continue;
        kill(child, one.signalsSent++ == 0 ? SIGTERM : SIGKILL);
    }
}

// Analyses the open tasks and fills their rows. `total` includes the tasks that were done before.
void RunTasks(const std::vector<Task*>& open, const BatchOptions& options, std::size_t total,
              std::vector<std::string>& failed) {
    const std::string program = fs::read_symlink("/proc/self/exe").string();
    const std::size_t jobs =
        options.jobs > 0 ? options.jobs : std::max(1U, std::thread::hardware_concurrency());
    ProgressBar bar("batch", static_cast<double>(total), !options.quiet);
    std::map<pid_t, Running> running;
    std::size_t next = 0, done = total - open.size();
    bool isPassedOn = false;  // the running processes have been told of the interrupt
    while (!running.empty() || (next < open.size() && !Interrupt::IsAsked())) {
        while (next < open.size() && running.size() < jobs && !Interrupt::IsAsked()) {
            Task& task = *open[next++];
            try {
                // A pipe in a stranger's archive would be waited for.
                if (fs::exists(task.record)) InputFile(task.record).Path();
                fs::create_directories(task.json.parent_path());
                const pid_t child = Start(program, task, options.study);
                running[child] = {&task, std::chrono::steady_clock::now()};
            } catch (const HostError& error) {
                failed.push_back(error.what());
            } catch (const std::exception& error) {
                failed.push_back(task.record + ": " + error.what());
            }
        }
        if (running.empty()) continue;
        // Ctrl-C reaches all of them by itself; a signal that was sent to the batch alone does not.
        if (Interrupt::IsAsked() && !isPassedOn) {
            for (const auto& [child, one] : running) kill(child, SIGTERM);
            isPassedOn = true;
        }
        GiveUpLateOnes(running, options.timeoutSeconds);
        int status = 0;
        const std::optional<pid_t> child = WaitForProcess(status);
        const auto ended = child ? running.find(*child) : running.end();
        if (ended == running.end()) continue;
        Task& task = *ended->second.task;
        // What an interrupted process says is not the fault of its record.
        if (ReadResult(task, options.told) == ResultState::Whole || Interrupt::IsAsked())
            fs::remove(task.notes);
        else
            failed.push_back(Problem(ended->second, status, options.timeoutSeconds));
        running.erase(ended);
        bar.Show(static_cast<double>(++done));
    }
}

// One task for each record that is listed, once or more often; WFDB records go with and without ".hea". Two
// records with one place for their results would overwrite each other's: the later one fails.
std::vector<Task> MakeTasks(const std::vector<std::string>& records, const BatchOptions& options,
                            const fs::path& root, std::vector<std::string>& failed) {
    std::vector<Task> tasks;
    std::map<fs::path, std::string> recordOf;  // of a result
    std::set<std::string> listed;
    for (const std::string& record : records) {
        if (!listed.insert(IsRecording(record) ? record : record + ".hea").second) continue;
        Task task{record, ResultPath(options.outFolder, record, root), {}, {}, {}};
        if (!options.reports.empty()) task.report = fs::path(task.json).replace_extension(options.reports);
        task.notes = task.json;
        task.notes += ".log";
        const auto [place, isNew] = recordOf.emplace(task.json, record);
        if (isNew)
            tasks.push_back(std::move(task));
        else
            failed.push_back(record + ": its result would be " + task.json.string() + ", as that of " +
                             place->second);
    }
    return tasks;
}

// Adds the segments that a WFDB header names, which are not records themselves.
void AddSegments(const fs::path& header, std::set<fs::path>& segments) {
    std::istringstream file;
    try {
        file.str(ReadText(header.string()));
    } catch (const HostError&) {
        return;  // its analysis tells what is wrong with it
    }
    std::string line;
    while (std::getline(file, line) && (line.empty() || line.front() == '#')) {
    }
    if (line.substr(0, line.find(' ')).find('/') == std::string::npos) return;
    while (std::getline(file, line)) {
        const std::string name = line.substr(0, line.find(' '));
        if (!name.empty() && name != "~" && name.front() != '#')
            segments.insert(header.parent_path() / (name + ".hea"));
    }
}

// Runs the batch and writes its table. Returns how many records failed.
std::size_t RunRecords(const BatchOptions& options) {
    const bool isFolder = fs::is_directory(options.input);
    const fs::path table = fs::path(options.outFolder) / "results.csv";
    const std::vector<std::string> records = isFolder ? FindRecords(options.input) : ReadList(options.input);
    if (records.empty()) throw HostError(options.input, "holds no records");
    const fs::path root = isFolder ? fs::path(options.input) : fs::path(options.input).parent_path();

    if (fs::exists(table) && !IsTable(table))
        throw HostError(table.string(), "is not a table of qzstress; move it away");
    fs::create_directories(options.outFolder);
    PendingFile file(table.string());

    Failures failures;
    std::vector<Task> tasks = MakeTasks(records, options, root, failures.lines);
    std::vector<Task*> open;
    std::size_t others = 0;
    for (Task& task : tasks) {
        switch (ReadResult(task, options.told)) {
            case ResultState::Other:
                ++others;
                if (options.keep) break;
                task.row.clear();
                open.push_back(&task);
                break;
            case ResultState::None:
            case ResultState::Interrupted: open.push_back(&task); break;
            case ResultState::Foreign:
                failures.lines.push_back(task.json.string() + ": is not a result of qzstress; move it away");
                break;
            case ResultState::Whole: break;
        }
    }
    if (others > 0)
        std::cerr << "qzstress: " << OneLine(options.outFolder)
                  << ": results of other options or another version "
                  << (options.keep ? "kept: " : "made again: ") << others << "\n";
    RunTasks(open, options, tasks.size(), failures.lines);
    file.Stream() << kTableHeading << '\n';
    for (const Task& task : tasks) file.Stream() << task.row;
    file.Commit();
    return failures.lines.size();
}

}  // namespace

std::vector<std::string> FindRecords(const std::string& folder) {
    std::vector<std::string> records;
    std::set<fs::path> segments;
    std::vector<fs::path> headers;
    for (const fs::directory_entry& entry :
         fs::recursive_directory_iterator(folder, fs::directory_options::skip_permission_denied)) {
        std::error_code unknown;
        const fs::file_status status = entry.status(unknown);
        // A link that leads nowhere, or to itself, is a record that fails.
        if (!fs::is_regular_file(status) && (fs::exists(status) || !entry.is_symlink())) continue;
        if (entry.path().extension() == ".hea") {
            headers.push_back(entry.path());
            AddSegments(entry.path(), segments);
        } else if (IsRecording(entry.path()) && !IsTable(entry.path())) {
            records.push_back(entry.path().string());
        }
    }
    for (const fs::path& header : headers)
        if (!segments.contains(header)) records.push_back(header.string());
    std::sort(records.begin(), records.end());
    return records;
}

std::size_t RunBatch(const BatchOptions& options) {
    // Where SIGCHLD is ignored, as a parent may have left it, the status of a process is lost.
    std::signal(SIGCHLD, SIG_DFL);
    const Interrupt interrupt;
    return RunRecords(options);
}
