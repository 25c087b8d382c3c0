// Patient: who was tested, why and by whom, as a recording, its header or a file of its own tells it.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

/// Texts are empty, and numbers absent, where nothing is told.
struct Patient {
    std::string name, id;
    std::string birthDate;  // "YYYY-MM-DD"
    std::optional<double> ageYears = {};
    std::string sex;  // "male", "female" or "other"
    std::optional<double> heightCm = {}, weightKg = {};
    std::string medication, indication;
    std::string referring, performing;  // persons
    std::string device;
    std::string ended, symptoms;  // why the test ended, and what the patient told during it
    bool isAnonymous = false;     // persons were left out
};

/// A text of a Patient by its key in files and its label in words.
struct PatientText {
    const char* key;
    const char* label;
    std::string Patient::*text;
};
constexpr std::array<PatientText, 11> kPatientTexts{{{"name", "Name", &Patient::name},
                                                     {"id", "Id", &Patient::id},
                                                     {"birth_date", "Birth date", &Patient::birthDate},
                                                     {"sex", "Sex", &Patient::sex},
                                                     {"medication", "Medication", &Patient::medication},
                                                     {"indication", "Indication", &Patient::indication},
                                                     {"referring", "Referring", &Patient::referring},
                                                     {"performing", "Performing", &Patient::performing},
                                                     {"device", "Device", &Patient::device},
                                                     {"ended", "Ended", &Patient::ended},
                                                     {"symptoms", "Symptoms", &Patient::symptoms}}};

/// A number of a Patient, likewise, with the range in which it is believed.
struct PatientNumber {
    const char* key;
    const char* label;
    const char* unit;
    std::optional<double> Patient::*number;
    double lowest, highest;
};
constexpr std::array<PatientNumber, 3> kPatientNumbers{
    {{"age_years", "Age", "years", &Patient::ageYears, 0, 130},
     {"height_cm", "Height", "cm", &Patient::heightCm, 20, 280},
     {"weight_kg", "Weight", "kg", &Patient::weightKg, 1, 500}}};

/// Takes out of `remarks` each line that begins with "Label: ", as in "Age: 60 Sex: M", and fills `patient`
/// with what it tells, as far as that is still empty. Labels may be those above and the usual others
/// ("Gender",
/// "<age>"), case ignored. A line of which something cannot be read stays, and so does one that begins like
/// "69 M", whose age and sex are read all the same.
void TakePatient(std::vector<std::string>& remarks, Patient& patient);
/// The lines from which TakePatient reads the same patient.
std::vector<std::string> PatientRemarks(const Patient& patient);

/// Reads a JSON object with keys of the tables above; Throws HostError for another key or a value that is not
/// valid, naming it.
Patient ReadPatient(const std::string& path);
/// `patient` with all that `given` tells in its place.
Patient Complete(Patient patient, const Patient& given);
/// "male", "female" or "other" of the usual words and letters; empty of all else.
std::string NameSex(const std::string& word);
/// True for a date of the calendar as "YYYY-MM-DD".
bool IsDate(const std::string& text);

/// Age at the start of a recording ("YYYY-MM-DD hh:mm:ss"): as told or, from the birth date, in whole years.
std::optional<double> AgeAt(const Patient& patient, const std::string& started);
/// Leaves out name, id, birth date, referring and performing persons; the age at the start stays.
void LeaveOutPersons(Patient& patient, const std::string& started);
/// "62 years, female, 168 cm, 70 kg"; empty where none of it is told.
std::string DescribeBody(const Patient& patient, const std::string& started);
