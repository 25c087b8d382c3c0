#include "host/record/EdfSink.h"

#include <edflib.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "host/record/StartTime.h"
#include "host/support/HostError.h"

namespace {

constexpr int kLowest = std::numeric_limits<short>::min(), kHighest = std::numeric_limits<short>::max();
constexpr double kFinestEdfUVpb = 1e-4,
                 kCoarsestEdfUVpb = 300;      // what the eight characters of a range can tell
constexpr long long kTicksPerSecond = 10000;  // of the annotations that EDFlib writes

/// One end of the physical range. EDFlib cuts its digits off where the field ends: the factor takes 9994.24,
/// which as a double lies a little below, over the edge.
double PhysicalUv(int digital, double uVpb) {
    constexpr double kOverTheEdge = 1 + 1e-12;
    return digital * uVpb * kOverTheEdge;
}

/// The label by which EDF names a lead: the kind of signal first.
std::string LabelOf(const std::string& lead) { return lead.starts_with("ECG ") ? lead : "ECG " + lead; }

}  // namespace

EdfSink::Handle::~Handle() {
    if (value >= 0) edfclose_file(value);
}

EdfSink::EdfSink(const std::string& path, const SourceInfo& info)
    : m_path(path),
      m_chn(info.leads.size()),
      m_fs(static_cast<unsigned>(info.fs)),
      m_file(path),
      m_record(m_chn * m_fs) {
    if (info.uVpb < kFinestEdfUVpb || info.uVpb > kCoarsestEdfUVpb)
        throw HostError(path, "expected a scale of 0.0001 to 300 uV per unit for EDF");
    if (m_chn >= EDFLIB_MAXSIGNALS)
        throw HostError(path, "expected fewer than " + std::to_string(EDFLIB_MAXSIGNALS) + " leads for EDF");
    m_file.CloseStream();
    m_handle.value =
        edfopen_file_writeonly(m_file.OpenName().c_str(), EDFLIB_FILETYPE_EDFPLUS, static_cast<int>(m_chn));
    if (m_handle.value < 0)
        throw HostError(path, "cannot be created: EDFlib answers " + std::to_string(m_handle.value));
    DescribeSignals(info);
    DescribeRecording(info);
}

void EdfSink::Need(int answer, const char* what) const {
    if (answer != 0) throw WriteError(m_path, std::string(what) + ": is the disk full?");
}

void EdfSink::DescribeSignals(const SourceInfo& info) {
    const int handle = m_handle.value;
    int lead = 0;
    for (const std::string& name : info.leads) {
        const std::string label = LabelOf(OneLine(name));
        const bool failed = edf_set_samplefrequency(handle, lead, info.fs) != 0 ||
                            edf_set_digital_minimum(handle, lead, kLowest) != 0 ||
                            edf_set_digital_maximum(handle, lead, kHighest) != 0 ||
                            edf_set_physical_minimum(handle, lead, PhysicalUv(kLowest, info.uVpb)) != 0 ||
                            edf_set_physical_maximum(handle, lead, PhysicalUv(kHighest, info.uVpb)) != 0 ||
                            edf_set_physical_dimension(handle, lead, "uV") != 0 ||
                            edf_set_label(handle, lead, label.c_str()) != 0;
        if (failed) throw HostError(m_path, "EDF cannot describe the lead \"" + label + "\"");
        ++lead;
    }
}

void EdfSink::DescribeRecording(const SourceInfo& info) {
    StartTime start = ParseStartTime(info.started).value_or(StartTime{});
    constexpr int kFirstYear = 1985, kLastYear = 2084;  // that EDF's two digits can tell
    if (!start.hasDate || start.year < kFirstYear || start.year > kLastYear) {
        start.year = kFirstYear;
        start.month = start.day = 1;
    }
    std::string remarks =
        info.patient.referring.empty() ? "" : "Referring: " + OneLine(info.patient.referring);
    for (const std::string& remark : info.remarks) remarks += (remarks.empty() ? "" : "; ") + OneLine(remark);
    if (edf_set_startdatetime(m_handle.value, start.year, start.month, start.day, start.hour, start.minute,
                              start.second) != 0)
        throw HostError(m_path, "EDF cannot hold the start " + info.started);
    if (edf_set_recording_additional(m_handle.value, remarks.c_str()) != 0)
        throw HostError(m_path, "EDF cannot hold the remarks");
    DescribePatient(info.patient);
}

void EdfSink::DescribePatient(const Patient& patient) {
    const auto need = [&](int answer) {
        if (answer != 0) throw HostError(m_path, "EDF cannot hold what is told of the patient");
    };
    const auto set = [&](const std::string& text, int (*take)(int, const char*)) {
        need(take(m_handle.value, OneLine(text).c_str()));
    };
    set(patient.name, edf_set_patientname);
    set(patient.id, edf_set_patientcode);
    set(patient.performing, edf_set_technician);
    set(patient.device, edf_set_equipment);
    if (patient.sex == "male" || patient.sex == "female")
        need(edf_set_gender(m_handle.value, patient.sex == "male" ? 1 : 0));
    if (IsDate(patient.birthDate))
        need(edf_set_birthdate(m_handle.value, std::stoi(patient.birthDate.substr(0, 4)),
                               std::stoi(patient.birthDate.substr(5, 2)),
                               std::stoi(patient.birthDate.substr(8, 2))));
    // What has no field of its own stands with its labels, from which it is read again.
    Patient rest = patient;
    for (std::string Patient::*told : {&Patient::name, &Patient::id, &Patient::birthDate, &Patient::sex,
                                       &Patient::referring, &Patient::performing, &Patient::device})
        (rest.*told).clear();
    std::string more;
    for (const std::string& line : PatientRemarks(rest)) more += (more.empty() ? "" : " ") + line;
    set(more, edf_set_patient_additional);
}

void EdfSink::Write(const short* frame) {
    for (std::size_t lead = 0; lead < m_chn; ++lead) m_record[lead * m_fs + m_filled] = frame[lead];
    if (++m_filled == m_fs) WriteRecord();
}

void EdfSink::WriteRecord() {
    Need(edf_blockwrite_digital_short_samples(m_handle.value, m_record.data()),
         "cannot be written to its end");
    ++m_records;
    m_filled = 0;
}

std::vector<PendingFile*> EdfSink::Finish() {
    if (m_records == 0 && m_filled == 0)
        throw HostError(m_path, "expected at least one frame to write as EDF");
    if (m_filled > 0) {
        const long long end = m_records * kTicksPerSecond + m_filled * kTicksPerSecond / m_fs;
        for (std::size_t lead = 0; lead < m_chn; ++lead) {
            short* const samples = &m_record[lead * m_fs];
            std::fill(samples + m_filled, samples + m_fs, samples[m_filled - 1]);
        }
        WriteRecord();
        Need(edfwrite_annotation_utf8(m_handle.value, end, -1, "Recording ends"),
             "the end cannot be annotated");
    }
    Need(edfclose_file(std::exchange(m_handle.value, -1)), "cannot be closed");
    // Closing does not tell whether the last bytes were written, but a file that is too short is refused.
    const auto header = std::make_unique<edf_hdr_struct>();  // too large for a stack
    const bool isRead =
        edfopen_file_readonly(m_file.OpenName().c_str(), header.get(), EDFLIB_DO_NOT_READ_ANNOTATIONS) == 0;
    if (isRead) edfclose_file(header->handle);
    Need(!isRead || header->datarecords_in_file != m_records, "cannot be written to its end");
    return {&m_file};
}
