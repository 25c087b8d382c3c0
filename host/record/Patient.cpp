#include "host/record/Patient.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <chrono>
#include <cmath>
#include <string_view>
#include <utility>

#include "host/support/JsonField.h"
#include "host/support/Text.h"

namespace {

/// Labels of other programs, in small letters, by the key of the field they mean. The longest of those that
/// fit is taken.
constexpr std::array kOtherLabels{std::pair{"patient name", "name"},
                                  std::pair{"patient id", "id"},
                                  std::pair{"date of birth", "birth_date"},
                                  std::pair{"birthdate", "birth_date"},
                                  std::pair{"gender", "sex"},
                                  std::pair{"medications", "medication"},
                                  std::pair{"medication pre admission", "medication"},
                                  std::pair{"rx", "medication"},
                                  std::pair{"reason for admission", "indication"},
                                  std::pair{"reason for test", "indication"},
                                  std::pair{"referring physician", "referring"},
                                  std::pair{"technician", "performing"},
                                  std::pair{"equipment", "device"}};

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string TrimmedFact(std::string_view text) { return std::string(Trimmed(text, " \t;,")); }

/// A label at the front of `text`, "Sex:" or "<sex>:", as the key of its field and its length with the colon.
struct LabelThere {
    std::string key;  // empty: there is none
    std::size_t length = 0;
};
LabelThere LabelAt(std::string_view text) {
    constexpr std::size_t kLongest = 40;
    const std::size_t colon = text.substr(0, kLongest).find(':');
    if (colon == std::string_view::npos) return {};
    std::string name = Lower(TrimmedFact(text.substr(0, colon)));
    if (name.starts_with('<') && name.ends_with('>')) name = name.substr(1, name.size() - 2);
    const auto found = [&](const char* key) { return LabelThere{key, colon + 1}; };
    for (const PatientText& field : kPatientTexts)
        if (name == Lower(field.label)) return found(field.key);
    for (const PatientNumber& field : kPatientNumbers)
        if (name == Lower(field.label)) return found(field.key);
    for (const auto& [label, key] : kOtherLabels)
        if (name == label) return found(key);
    return {};
}

/// A number with its unit, in that of the field.
std::optional<double> ParseNumber(const PatientNumber& field, const std::string& text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc()) return {};
    const std::string unit = Lower(TrimmedFact(std::string_view(end, text.data() + text.size())));
    const bool isAge = field.number == &Patient::ageYears;
    constexpr double kCmPerM = 100;
    if (unit == "m" && field.number == &Patient::heightCm)
        value *= kCmPerM;
    else if (!unit.empty() && unit != field.unit && !(isAge && (unit == "y" || unit == "year")))
        return {};
    if (!(value >= field.lowest && value <= field.highest)) return {};
    return value;
}

/// False for a word that stands for nothing.
bool TellsSomething(const std::string& text) {
    const std::string word = Lower(text);
    return !word.empty() && word != "unknown" && word != "n/a" && word != "nan" && word != "-";
}

/// True if the value was read into its field.
bool Take(const std::string& key, const std::string& text, Patient& patient) {
    if (!TellsSomething(text)) return false;
    for (const PatientNumber& field : kPatientNumbers) {
        if (key != field.key) continue;
        const std::optional<double> value = ParseNumber(field, text);
        if (!value) return false;
        if (!(patient.*field.number)) patient.*field.number = value;
        return true;
    }
    for (const PatientText& field : kPatientTexts) {
        if (key != field.key) continue;
        const std::string value = field.text == &Patient::sex ? NameSex(text) : text;
        if (value.empty() || (field.text == &Patient::birthDate && !IsDate(value))) return false;
        if ((patient.*field.text).empty()) patient.*field.text = value;
    }
    return true;
}

/// "69 M 1085 1629 x1": age and sex, as tapes of old are labelled.
void TakeAgeAndSex(const std::string& line, Patient& patient) {
    const std::size_t blank = line.find(' ');
    if (blank == std::string::npos || blank > 3) return;
    const std::string sex = line.substr(blank + 1, line.find(' ', blank + 1) - blank - 1);
    if (sex != "M" && sex != "F") return;
    if (Take("age_years", line.substr(0, blank), patient)) Take("sex", sex, patient);
}

bool TakeLine(const std::string& line, Patient& patient) {
    LabelThere label = LabelAt(line);
    if (label.key.empty()) {
        TakeAgeAndSex(line, patient);
        return false;
    }
    bool isWhole = true;
    std::size_t from = label.length;
    while (!label.key.empty()) {
        LabelThere next;
        std::size_t end = from;
        // The next label begins a word behind this value.
        for (; end < line.size(); ++end) {
            if (end > from && line[end - 1] == ' ' && line[end] != ' ')
                next = LabelAt(std::string_view(line).substr(end));
            if (!next.key.empty()) break;
        }
        const std::string value = TrimmedFact(std::string_view(line).substr(from, end - from));
        isWhole = Take(label.key, value, patient) && isWhole;
        label = next;
        from = end + next.length;
    }
    return isWhole;
}

std::optional<std::chrono::year_month_day> ParseDate(const std::string& text) {
    constexpr std::size_t kLetters = 10;
    if (text.size() < kLetters || text[4] != '-' || text[7] != '-') return {};
    const auto number = [&](std::size_t from, std::size_t digits) {
        int value = -1;
        const char* const end = text.data() + from + digits;
        const auto [last, error] = std::from_chars(text.data() + from, end, value);
        return error == std::errc() && last == end ? value : -1;
    };
    const int month = number(5, 2), day = number(8, 2);
    if (number(0, 4) < 1 || month < 1 || day < 1) return {};
    const std::chrono::year_month_day date{std::chrono::year{number(0, 4)},
                                           std::chrono::month{static_cast<unsigned>(month)},
                                           std::chrono::day{static_cast<unsigned>(day)}};
    if (!date.ok()) return {};
    return date;
}

std::string Plain(double value) { return Number(value, value == std::floor(value) ? 0 : 1); }

}  // namespace

void TakePatient(std::vector<std::string>& remarks, Patient& patient) {
    std::erase_if(remarks, [&](const std::string& line) { return TakeLine(line, patient); });
}

std::vector<std::string> PatientRemarks(const Patient& patient) {
    std::vector<std::string> lines;
    for (const PatientNumber& field : kPatientNumbers)
        if (patient.*field.number)
            lines.push_back(field.label + std::string(": ") + Plain(*(patient.*field.number)) + " " +
                            field.unit);
    for (const PatientText& field : kPatientTexts)
        if (!(patient.*field.text).empty())
            lines.push_back(field.label + std::string(": ") + patient.*field.text);
    return lines;
}

Patient ReadPatient(const std::string& path) {
    constexpr long long kMostBytes = 1 << 20;
    constexpr int kMostParts = 1000;
    const Json json = ParseJsonFile(path, "a patient", kMostBytes, kMostParts);
    const JsonField all(path, "", json);
    Patient patient;
    for (const std::string& key : all.Keys()) {
        const JsonField value = all[key.c_str()];
        const auto number = std::find_if(kPatientNumbers.begin(), kPatientNumbers.end(),
                                         [&](const PatientNumber& field) { return key == field.key; });
        const auto text = std::find_if(kPatientTexts.begin(), kPatientTexts.end(),
                                       [&](const PatientText& field) { return key == field.key; });
        if (number == kPatientNumbers.end() && text == kPatientTexts.end())
            value.Fail("is no key of a patient; the manual page lists them");
        if (value.IsNull()) continue;
        if (number != kPatientNumbers.end()) {
            patient.*number->number = value.Number(number->lowest, number->highest);
            continue;
        }
        std::string& field = patient.*text->text;
        field = value.Text();
        if (text->text == &Patient::sex && (field = NameSex(field)).empty())
            value.Fail("expected male, female or other");
        if (text->text == &Patient::birthDate && !IsDate(field)) value.Fail("expected a date as 1962-05-31");
    }
    return patient;
}

Patient Complete(Patient patient, const Patient& given) {
    for (const PatientText& field : kPatientTexts)
        if (!(given.*field.text).empty()) patient.*field.text = given.*field.text;
    for (const PatientNumber& field : kPatientNumbers)
        if (given.*field.number) patient.*field.number = given.*field.number;
    // An age that is told of one source does not belong to the birth date of the other.
    if (!given.birthDate.empty() && !given.ageYears) patient.ageYears.reset();
    if (given.ageYears && given.birthDate.empty()) patient.birthDate.clear();
    return patient;
}

std::string NameSex(const std::string& word) {
    const std::string small = Lower(word);
    for (const char* sex : {"male", "female", "other"})
        if (small == sex || small == std::string(sex).substr(0, 1)) return sex;
    return {};
}

bool IsDate(const std::string& text) { return text.size() == 10 && ParseDate(text).has_value(); }

std::optional<double> AgeAt(const Patient& patient, const std::string& started) {
    if (patient.ageYears) return patient.ageYears;
    const auto born = ParseDate(patient.birthDate), start = ParseDate(started);
    if (!born || !start) return {};
    int years = int(start->year()) - int(born->year());
    if (std::pair(start->month(), start->day()) < std::pair(born->month(), born->day())) --years;
    return years >= 0 ? std::optional<double>(years) : std::nullopt;
}

void LeaveOutPersons(Patient& patient, const std::string& started) {
    patient.ageYears = AgeAt(patient, started);
    for (std::string Patient::*text :
         {&Patient::name, &Patient::id, &Patient::birthDate, &Patient::referring, &Patient::performing})
        (patient.*text).clear();
    patient.isAnonymous = true;
}

std::string DescribeBody(const Patient& patient, const std::string& started) {
    std::string text;
    const auto add = [&](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
    if (const std::optional<double> age = AgeAt(patient, started)) add(Plain(*age) + " years");
    if (!patient.sex.empty()) add(patient.sex);
    if (patient.heightCm) add(Plain(*patient.heightCm) + " cm");
    if (patient.weightKg) add(Plain(*patient.weightKg) + " kg");
    return text;
}
