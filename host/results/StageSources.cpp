#include "host/results/StageSources.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <sstream>
#include <string_view>

#include "host/support/HostError.h"
#include "host/support/InputFile.h"
#include "host/support/Units.h"

namespace {

constexpr double kMostWatts = 2000, kMostKmh = 40, kMostPercent = 40;
constexpr double kLatestStartSeconds = 7 * 24 * 3600.0;

bool ParseNumber(const std::string& text, double lowest, double highest, double& value) {
    std::istringstream number(text);
    return number >> value && number.eof() && value >= lowest && value <= highest;
}

// "-" for a power that is not known, "2.7/10" for speed and grade.
bool ParsePower(const std::string& text, Stage& stage) {
    if (text == "-") return true;
    double value = 0;
    if (const std::size_t slash = text.find('/'); slash != std::string::npos) {
        double grade = 0;
        if (!ParseNumber(text.substr(0, slash), 0, kMostKmh, value) ||
            !ParseNumber(text.substr(slash + 1), 0, kMostPercent, grade))
            return false;
        stage.speedKmh = value;
        stage.gradePercent = grade;
        return true;
    }
    if (!ParseNumber(text, 0, kMostWatts, value)) return false;
    stage.watts = value;
    return true;
}

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

/// The number that stands before `unit` in a text; nothing without one from 0 to `highest`.
std::optional<double> NumberBefore(const std::string& text, std::string_view unit, double highest) {
    for (std::size_t at = text.find(unit); at != std::string::npos; at = text.find(unit, at + 1)) {
        const std::size_t behind = at + unit.size();
        if (behind < text.size() && std::isalpha(static_cast<unsigned char>(text[behind])) != 0) continue;
        std::size_t end = at;
        while (end > 0 && text[end - 1] == ' ') --end;
        std::size_t begin = end;
        while (begin > 0 &&
               (std::isdigit(static_cast<unsigned char>(text[begin - 1])) != 0 || text[begin - 1] == '.'))
            --begin;
        double value = 0;
        if (begin < end && ParseNumber(text.substr(begin, end - begin), 0, highest, value)) return value;
    }
    return {};
}

bool BeginsWithAny(const std::string& text, std::initializer_list<std::string_view> words) {
    return std::any_of(words.begin(), words.end(),
                       [&](std::string_view word) { return text.starts_with(word); });
}

std::optional<Stage> StageFromNote(const Note& note) {
    constexpr double kKmhPerMph = 1.609344;
    const std::string text = Lower(note.text);
    Stage stage{note.seconds, {}, note.text};
    stage.speedKmh = NumberBefore(text, "km/h", kMostKmh);
    if (!stage.speedKmh)
        if (const auto mph = NumberBefore(text, "mph", kMostKmh / kKmhPerMph))
            stage.speedKmh = *mph * kKmhPerMph;
    stage.gradePercent = NumberBefore(text, "%", kMostPercent);
    for (const char* unit : {"w", "watt", "watts"})
        if (!stage.watts) stage.watts = NumberBefore(text, unit, kMostWatts);
    if (BeginsWithAny(
            text, {"rest", "pre-test", "pretest", "baseline", "supine", "standing", "recovery", "cool"})) {
        stage.watts = 0;
        return stage;
    }
    const bool isNamed = BeginsWithAny(
        text, {"stage", "exercise", "warm", "bruce", "modified bruce", "naughton", "balke", "load", "step "});
    if (isNamed || stage.watts || (stage.speedKmh && stage.gradePercent)) return stage;
    return {};
}

std::vector<std::string> SplitLine(const std::string& line, char separator) {
    std::vector<std::string> cells(1);
    for (const char c : line) {
        if (c == separator)
            cells.emplace_back();
        else if (c != ' ' && c != '\t' && c != '\r' && c != '"')
            cells.back() += c;
    }
    return cells;
}

}  // namespace

std::optional<double> ParseTime(const std::string& text) {
    double seconds = 0;
    std::istringstream parts(text);
    std::string part;
    int count = 0;
    while (std::getline(parts, part, ':')) {
        if (part.empty() || part.find_first_not_of("0123456789.") != std::string::npos || ++count > 3)
            return {};
        double value = 0;
        if (!ParseNumber(part, 0, kLatestStartSeconds, value)) return {};
        if (count > 1 && value >= kSecondsPerMinute) return {};
        seconds = seconds * kSecondsPerMinute + value;
    }
    if (count == 0 || text.back() == ':' || seconds > kLatestStartSeconds) return {};
    return seconds;
}

std::vector<Stage> ReadStages(const std::string& path) {
    std::istringstream file(ReadText(path));
    std::vector<Stage> stages;
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        const auto fail = [&](const std::string& expected) {
            throw HostError(path, "line " + std::to_string(number) + ": " + expected);
        };
        std::istringstream words(line.substr(0, line.find('#')));
        std::string start, power;
        if (!(words >> start)) continue;
        Stage stage;
        const std::optional<double> seconds = ParseTime(start);
        if (!seconds) fail("a start in seconds, min:s or h:min:s is expected, not \"" + start + "\"");
        stage.startSeconds = *seconds;
        if (!(words >> power) || !ParsePower(power, stage))
            fail("a power of 0 to 2000 W, - or km/h and % as 2.7/10 is expected after the start, not \"" +
                 power + "\"");
        if (!stages.empty() && stage.startSeconds <= stages.back().startSeconds)
            fail("a later start than that of the stage before is expected");
        std::getline(words >> std::ws, stage.name);
        stage.name = OneLine(stage.name);
        stages.push_back(std::move(stage));
    }
    if (stages.empty()) throw HostError(path, "holds no stage; a line is expected to be: start power name");
    return stages;
}

std::vector<Stage> StagesFromNotes(const std::vector<Note>& notes) {
    std::vector<Stage> stages;
    for (const Note& note : notes) {
        const std::optional<Stage> stage = StageFromNote(note);
        if (!stage || (!stages.empty() && stage->startSeconds <= stages.back().startSeconds)) continue;
        stages.push_back(*stage);
    }
    if (std::none_of(stages.begin(), stages.end(), IsWork)) stages.clear();
    return stages;
}

std::vector<BloodPressure> ReadBloodPressures(const std::string& path) {
    constexpr double kMostMmHg = 400, kMostExertion = 100;
    struct Column {
        const char* name;
        double BloodPressure::*value;
        double highest;
    };
    constexpr std::array kColumns{Column{"systolic", &BloodPressure::systolic, kMostMmHg},
                                  Column{"diastolic", &BloodPressure::diastolic, kMostMmHg},
                                  Column{"exertion", &BloodPressure::exertion, kMostExertion}};
    std::istringstream file(ReadText(path));
    std::vector<std::string> heading;
    std::vector<BloodPressure> readings;
    std::string line;
    char separator = ',';
    for (int number = 1; std::getline(file, line); ++number) {
        const auto fail = [&](const std::string& expected) {
            throw HostError(path, "line " + std::to_string(number) + ": " + expected);
        };
        if (line.find_first_not_of(" \t\r,;") == std::string::npos || line.front() == '#') continue;
        if (heading.empty()) {
            if (line.find(';') != std::string::npos) separator = ';';
            heading = SplitLine(Lower(line), separator);
            if (std::find(heading.begin(), heading.end(), "time") == heading.end())
                fail("a heading of time,systolic,diastolic,exertion is expected");
            const auto isThere = [&](const Column& column) {
                return std::find(heading.begin(), heading.end(), column.name) != heading.end();
            };
            if (std::none_of(kColumns.begin(), kColumns.end(), isThere))
                fail("systolic, diastolic or exertion is expected in the heading beside time");
            continue;
        }
        const std::vector<std::string> cells = SplitLine(line, separator);
        BloodPressure reading;
        for (std::size_t i = 0; i < std::min(cells.size(), heading.size()); ++i) {
            if (heading[i] == "time") {
                const std::optional<double> seconds = ParseTime(cells[i]);
                if (!seconds)
                    fail("a time in seconds, min:s or h:min:s is expected, not \"" + cells[i] + "\"");
                reading.seconds = *seconds;
            }
            for (const Column& column : kColumns)
                if (heading[i] == column.name && !cells[i].empty() &&
                    !ParseNumber(cells[i], 0, column.highest, reading.*column.value))
                    fail(std::string("a number for ") + column.name + " is expected, not \"" + cells[i] +
                         "\"");
        }
        if (reading.systolic <= reading.diastolic)
            fail("a systolic pressure above the diastolic is expected");
        if (!readings.empty() && reading.seconds <= readings.back().seconds)
            fail("a later time than that of the line before is expected");
        readings.push_back(reading);
    }
    if (readings.empty())
        throw HostError(path, "holds no reading; a line is expected to be: time,systolic,diastolic");
    return readings;
}
