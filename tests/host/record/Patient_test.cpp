#include "host/record/Patient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/record/CreateRecord.h"
#include "host/record/OpenRecord.h"
#include "tests/support/Folder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(Patient, IsReadFromTheRemarksOfAHeaderWhichKeepWhatElseTheySay) {
    const struct {
        const char* remark;
        std::vector<std::string> told;
        bool isKept;
    } cases[] = {
        {"Age: 60 Sex: M", {"Age: 60 years", "Sex: male"}, false},
        {"<age>: 51", {"Age: 51 years"}, false},
        {"gender: Female", {"Sex: female"}, false},
        {"69 M 1085 1629 x1", {"Age: 69 years", "Sex: male"}, true},
        {"690 M 1085", {}, true},
        {"Age: 130", {"Age: 130 years"}, false},
        {"Age: 131", {}, true},
        {"Age: 60 lbs", {}, true},
        {"Height: 1.68 m  weight: 70.5 kg", {"Height: 168 cm", "Weight: 70.5 kg"}, false},
        {"Rx: Unknown", {}, true},
        {"Reason for admission: pain: in rest", {"Indication: pain: in rest"}, false},
        {"Date of birth: 1962-02-29", {}, true},
        {"Birth date: 1964-02-29", {"Birth date: 1964-02-29"}, false},
        {"ECG date: 01/10/1990", {}, true},
    };
    for (const auto& [remark, told, isKept] : cases) {
        std::vector<std::string> remarks{remark};
        Patient patient;
        TakePatient(remarks, patient);
        EXPECT_EQ(PatientRemarks(patient), told) << remark;
        EXPECT_EQ(remarks.size(), isKept ? 1U : 0U) << remark;
    }
}

TEST(Patient, IsAsOldAsTheBirthdayBeforeTheStartTells) {
    Patient patient;
    patient.birthDate = "1962-05-31";
    EXPECT_EQ(AgeAt(patient, "2024-05-30 23:59:59"), 61);
    EXPECT_EQ(AgeAt(patient, "2024-05-31 00:00:00"), 62);
    EXPECT_EQ(AgeAt(patient, "10:00:00"), std::nullopt);
    EXPECT_EQ(AgeAt(patient, "1961-01-01 00:00:00"), std::nullopt);
    LeaveOutPersons(patient, "2024-05-31 00:00:00");
    EXPECT_EQ(DescribeBody(patient, ""), "62 years");
}

TEST(Patient, IsReadFromAFileThatRefusesWhatIsNotValid) {
    const Folder folder;
    const auto read = [&](const std::string& text) { return ReadPatient(folder.Write("p.json", text)); };
    const Patient patient = read(R"({"name": "Doe", "sex": "F", "weight_kg": 70, "age_years": null})");
    EXPECT_THAT(PatientRemarks(patient), ElementsAre("Weight: 70 kg", "Name: Doe", "Sex: female"));
    Patient recorded;
    recorded.birthDate = "1962-05-31";
    recorded.id = "A-1";
    Patient given;
    given.ageYears = 40;
    EXPECT_THAT(PatientRemarks(Complete(recorded, given)), ElementsAre("Age: 40 years", "Id: A-1"));
    for (const auto& [text, fragment] :
         {std::pair(R"({"nome": "Doe"})", "nome: is no key of a patient"),
          {R"({"sex": "?"})", "sex: expected male"},
          {R"({"birth_date": "31.05.1962"})", "birth_date: expected a date"},
          {R"({"weight_kg": 0.5})", "weight_kg: expected a number of 1 to 500"},
          {R"({"id": 7})", "id: expected a text"},
          {"[]", "expected an object"},
          {"{", "expected JSON"}})
        EXPECT_THAT(RefusalOf([&] { read(text); }), HasSubstr(fragment));
}

TEST(Patient, IsReadBackFromWhatIsExportedAndGoneWhereAnonymous) {
    const Folder folder;
    SourceInfo info{"r", 250, 1, {"I"}, 0, "2024-05-31 10:00:00", {}};
    // A letter each: EDF has no room for more.
    for (const PatientText& field : kPatientTexts) info.patient.*field.text = std::string(field.label, 1);
    info.patient.sex = "female";
    info.patient.birthDate = "1962-05-31";
    const std::vector<std::string> persons{"Name: N", "Id: I", "Birth date: 1962-05-31", "Referring: R",
                                           "Performing: P"};
    for (const char* name : {"a", "a.edf"}) {
        for (const bool isAnonymous : {false, true}) {
            SourceInfo facts = info;
            if (isAnonymous) LeaveOutPersons(facts.patient, facts.started);
            const auto sink = CreateRecord(folder.Path(name), facts);
            for (short i = 0; i < 250; ++i) sink->Write(&i);
            PendingFile::CommitAll(sink->Finish());
            const SourceInfo read = OpenRecord(folder.Path(name), {})->Info();
            const std::vector<std::string> told = PatientRemarks(read.patient);
            EXPECT_THAT(told, testing::IsSupersetOf({"Sex: female", "Device: D", "Symptoms: S"}));
            for (const std::string& line : persons)
                EXPECT_EQ(std::count(told.begin(), told.end(), line), isAnonymous ? 0 : 1) << name << line;
            EXPECT_EQ(AgeAt(read.patient, read.started), 62);
            EXPECT_THAT(read.remarks, IsEmpty());
        }
    }
}

}  // namespace
