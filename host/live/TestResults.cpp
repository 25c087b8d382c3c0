#include "host/live/TestResults.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <numeric>

#include "host/support/HostError.h"
#include "host/support/PendingFile.h"
#include "host/support/Text.h"

namespace {

std::string PowerOf(const Stage& stage) {
    if (stage.speedKmh && stage.gradePercent)
        return Number(*stage.speedKmh, 1) + "/" + Number(*stage.gradePercent, 1);
    return stage.watts ? Number(*stage.watts, 0) : "-";
}

std::string Figure(double value) { return std::isnan(value) ? "" : Number(value, 0); }

std::string Joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) all += (all.empty() ? "" : "; ") + text;
    return all;
}

bool HasWork(const live::State& state) {
    return std::any_of(state.stages.begin(), state.stages.end(), IsWork);
}

}  // namespace

void WriteCourse(const std::string& folder, const live::State& state) {
    if (HasWork(state)) {
        PendingFile file(folder + "/stages.txt");
        for (const Stage& stage : state.stages)
            file.Stream() << Number(stage.startSeconds, 4) << ' ' << PowerOf(stage) << ' ' << stage.name
                          << '\n';
        file.Commit();
    }
    if (state.pressures.empty()) return;
    PendingFile file(folder + "/pressures.txt");
    file.Stream() << "time,systolic,diastolic,exertion\n";
    for (const BloodPressure& reading : state.pressures)
        file.Stream() << Number(reading.seconds, 4) << ',' << Figure(reading.systolic) << ','
                      << Figure(reading.diastolic) << ',' << Figure(reading.exertion) << '\n';
    file.Commit();
}

std::vector<std::string> AnalysisWords(const std::string& folder, const live::State& state,
                                       const GivenOptions& given) {
    const std::string results = folder + "/results/";
    std::vector<std::string> words{"analyze",  folder + "/test",       "--quiet",    "--force",
                                   "--report", results + "report.pdf", "--json",     results + "result.json",
                                   "--csv",    results + "trends.csv", "--wfdb-ann", results + "beats.atr"};
    const auto add = [&](const std::string& name, const std::string& value) {
        if (!value.empty()) words.push_back(name + "=" + value);
    };
    const qz::PointsByHand& points = state.byHand;
    for (const auto& [name, value] : given) {
        const bool isPoint = name == "--q-point" || name == "--j-point" || name == "--st-point" ||
                             (name == "--post-j" && points.IsAny()) ||
                             (name == "--st-rate-limit" && points.stMs);
        if (!isPoint) words.push_back(value == "true" ? name : name + "=" + value);
    }
    if (points.qMs) add("--q-point", Number(*points.qMs, 0));
    if (points.jMs) add("--j-point", Number(*points.jMs, 0));
    if (points.stMs) add("--st-point", Number(*points.stMs, 0));
    if (state.isReferenceByHand)
        add("--reference",
            Number(state.reference.fromSeconds, 3) + "-" + Number(state.reference.toSeconds, 3));
    if (HasWork(state)) add("--stages", folder + "/stages.txt");
    if (!state.pressures.empty()) add("--bp", folder + "/pressures.txt");
    if (std::filesystem::exists(folder + "/patient.json")) add("--patient", folder + "/patient.json");
    add("--symptoms", Joined(state.symptoms));
    add("--ended", state.endedBecause);
    return words;
}

int RunProgram(const std::vector<std::string>& words) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    std::vector<std::string> all{program};
    all.insert(all.end(), words.begin(), words.end());
    std::vector<char*> argv;
    for (std::string& word : all) argv.push_back(word.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    pid_t child = 0;
    const int error = posix_spawn(&child, program.c_str(), &actions, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) throw HostError(program, std::string("cannot be started: ") + std::strerror(error));
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR)
            throw HostError(program, std::string("cannot be waited for: ") + std::strerror(errno));
    if (WIFSIGNALED(status))
        throw HostError(program, "the analysis was ended by signal " + std::to_string(WTERMSIG(status)));
    return WEXITSTATUS(status);
}
