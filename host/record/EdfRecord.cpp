#include "host/record/EdfRecord.h"

#include <edflib.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>

#include "host/record/Calibration.h"
#include "host/support/HostError.h"
#include "host/support/InputFile.h"
#include "host/support/Text.h"

namespace {

constexpr std::size_t kBlockFrames = 4096;  // read at once per lead
constexpr long long kFixedHeaderBytes = 256, kSignalHeaderBytes = 256;
constexpr long long kMostRecords = 100'000'000;
constexpr long long kMostSamples = 10'000'000;  // of a signal in a data record
constexpr long long kUnknownRecords = -1;
constexpr std::size_t kRecordsAt = 236, kRecordsWidth = 8;  // their number in the header, bytes

struct Lead {
    int signal = 0;  // as EDFlib counts
    double uvPerUnit = 0;
    double offset = 0;  // minus the digital value of 0 uV
    std::vector<int> block;
    SampleScaler scaler;

    double LevelUv(int stored) const { return (stored + offset) * uvPerUnit; }
};

std::string TrimmedField(std::string_view text) { return OneLine(Trimmed(text, " ")); }

/// The number in a field of the header; nothing if the field holds none.
std::optional<long long> HeaderNumber(const std::string& header, std::size_t from, std::size_t width) {
    const std::string field = TrimmedField(header.substr(from, width));
    long long value = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
    if (field.empty() || error != std::errc() || end != field.data() + field.size()) return {};
    return value;
}

/// A copy of the file as EDFlib wants it: with `records` data records by its header and by its length.
InputFile Mended(const InputFile& input, long long records, long long bytes) {
    std::ifstream file = input.Stream();
    Spool spool(input.Path());
    std::string block(1 << 16, '\0');
    for (bool isFirst = true; bytes > 0; isFirst = false) {
        file.read(block.data(), std::min<std::streamsize>(std::ssize(block), bytes));
        const std::size_t count = BytesRead(file);
        if (count == 0) throw HostError(input.Path(), "cannot be read to its end");
        std::string digits = std::to_string(records);
        if (isFirst)
            block.replace(kRecordsAt, kRecordsWidth, digits.append(kRecordsWidth - digits.size(), ' '));
        spool.Put(block.data(), count);
        bytes -= static_cast<long long>(count);
    }
    return std::move(spool).Finish();
}

/// Mends a file of the wrong length, the usual fault, for which EDFlib only says that the file has errors,
/// and adds a warning then. Returns the number of signals, annotation signals included.
long long CheckLength(InputFile& input, std::vector<std::string>& warnings) {
    const std::string path = input.Path();
    std::ifstream file = input.Stream();
    std::string header(kFixedHeaderBytes, '\0');
    if (!file.read(header.data(), kFixedHeaderBytes))
        throw HostError(path, "expected an EDF header of 256 bytes, found " +
                                  std::to_string(std::max<std::streamsize>(0, file.gcount())));
    const bool isBdf = static_cast<unsigned char>(header[0]) == 0xFF;
    const auto records = HeaderNumber(header, kRecordsAt, kRecordsWidth),
               signals = HeaderNumber(header, 252, 4);
    if (!signals || *signals < 1 || *signals > EDFLIB_MAXSIGNALS)
        throw HostError(path, "expected an EDF header with 1 to " + std::to_string(EDFLIB_MAXSIGNALS) +
                                  " signals at byte 252, found " +
                                  Quote(TrimmedField(header.substr(252, 4))));
    const auto signalCount = static_cast<std::size_t>(*signals);
    std::string rest(signalCount * kSignalHeaderBytes, '\0');
    if (!file.read(rest.data(), std::ssize(rest)))
        throw HostError(path, "ends early: expected a header of " +
                                  std::to_string(kFixedHeaderBytes + *signals * kSignalHeaderBytes) +
                                  " bytes, found " + std::to_string(kFixedHeaderBytes + file.gcount()));
    long long samples = 0;  // of one data record
    for (std::size_t i = 0; i < signalCount; ++i) {
        constexpr std::size_t kBeforeCounts = 216;  // bytes a signal of the fields before
        const std::size_t from = signalCount * kBeforeCounts + i * 8;
        const auto count = HeaderNumber(rest, from, 8);
        if (!count || *count < 1 || *count > kMostSamples)
            throw HostError(path, "signal " + std::to_string(i + 1) +
                                      ": expected a count of samples in a data record, found " +
                                      Quote(TrimmedField(rest.substr(from, 8))));
        samples += *count;
    }
    const long long recordBytes = samples * (isBdf ? 3 : 2);
    const long long headerBytes = kFixedHeaderBytes + *signals * kSignalHeaderBytes;
    const long long size = input.Bytes();
    const long long whole = (size - headerBytes) / recordBytes;
    const bool isUnknown = records && *records == kUnknownRecords;
    if (!isUnknown && (!records || *records < 1 || *records > kMostRecords))
        throw HostError(path, "expected the number of data records at byte 236, found " +
                                  Quote(TrimmedField(header.substr(kRecordsAt, kRecordsWidth))));
    const long long held = isUnknown ? whole : std::min(whole, *records);
    const long long expected = headerBytes + held * recordBytes;
    if (held < 1)
        throw HostError(path, "ends early: expected a data record of " + std::to_string(recordBytes) +
                                  " bytes behind the header, found " + std::to_string(size - headerBytes));
    std::string fault;
    if (isUnknown) {
        fault = "was not closed: its length is not in its header, read to the last whole data record";
    } else if (held < *records) {
        fault = "ends early: " + std::to_string(held) + " of " + std::to_string(*records) + " data records";
    } else if (size > expected) {
        fault = "goes on behind its end: the last " + std::to_string(size - expected) + " bytes are left out";
    }
    if (!fault.empty()) {
        warnings.push_back(fault);
        input = Mended(input, held, expected);
    }
    return *signals;
}

/// "ECG V4" is lead V4.
std::string LeadName(const std::string& label) {
    constexpr std::size_t kKindLetters = 4;
    const std::string kind = label.substr(0, kKindLetters);
    const bool isNamed =
        label.size() > kKindLetters && (EqualIgnoringCase(kind, "ECG ") || EqualIgnoringCase(kind, "EKG "));
    return isNamed ? TrimmedField(label.substr(kKindLetters)) : label;
}

/// True if a field says nothing: EDF+ writes "X" for what is unknown or anonymised.
bool IsBlank(const std::string& field) {
    return field.find_first_not_of("X ") == std::string::npos || field == "Startdate X X X X";
}

std::string Refusal(int error) {
    switch (error) {
        case EDFLIB_FILE_IS_DISCONTINUOUS:
            return "is discontinuous (EDF+D), a recording without gaps is expected";
        case EDFLIB_FILE_READ_ERROR: return "cannot be read";
        case EDFLIB_MAXFILES_REACHED: return "too many EDF files are open";
        default: return "is no valid EDF or BDF file";
    }
}

}  // namespace

struct EdfRecord::State {
    ~State() {
        if (handle >= 0) edfclose_file(handle);
    }

    explicit State(const std::string& file) : input(InputFile::OfUser(file)), path(file) {}
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    InputFile input;  // stays open: EDFlib tells its files apart by name
    std::string path;
    int handle = -1;
    std::vector<Lead> leads;
    std::vector<std::string> warnings, description;
    long long framesLeft = 0;
    std::size_t next = 0, filled = 0;  // in the blocks

    void ReadBlocks();
    std::vector<double> UsedExtremes();
};

void EdfRecord::State::ReadBlocks() {
    filled = static_cast<std::size_t>(std::min<long long>(kBlockFrames, framesLeft));
    next = 0;
    for (Lead& lead : leads) {
        lead.block.resize(filled);
        const int wanted = static_cast<int>(filled);
        if (edfread_digital_samples(handle, lead.signal, wanted, lead.block.data()) != wanted)
            throw HostError(path, "cannot be read to its end");
    }
}

/// The levels between which the leads lie, uV. Reads the whole file, then begins anew.
std::vector<double> EdfRecord::State::UsedExtremes() {
    std::vector<double> extremesUv(2 * leads.size());
    const long long frames = framesLeft;
    for (; framesLeft > 0; framesLeft -= static_cast<long long>(filled)) {
        ReadBlocks();
        for (std::size_t i = 0; i < leads.size(); ++i) {
            const auto [lowest, highest] = std::minmax_element(leads[i].block.begin(), leads[i].block.end());
            for (const double levelUv : {leads[i].LevelUv(*lowest), leads[i].LevelUv(*highest)}) {
                extremesUv[2 * i] = std::min(extremesUv[2 * i], levelUv);
                extremesUv[2 * i + 1] = std::max(extremesUv[2 * i + 1], levelUv);
            }
        }
    }
    for (const Lead& lead : leads) edfrewind(handle, lead.signal);
    framesLeft = frames;
    next = filled = 0;
    return extremesUv;
}

EdfRecord::EdfRecord(const std::string& path) : m_state(std::make_unique<State>(path)) {
    const long long signals = CheckLength(m_state->input, m_state->warnings);
    const auto header = std::make_unique<edf_hdr_struct>();  // too large for a stack
    const auto open = [&](int annotations) {
        return edfopen_file_readonly(m_state->input.OpenName().c_str(), header.get(), annotations) == 0;
    };
    const bool hasNotes = open(EDFLIB_READ_ALL_ANNOTATIONS);
    if (!hasNotes && !open(EDFLIB_DO_NOT_READ_ANNOTATIONS)) throw HostError(path, Refusal(header->filetype));
    m_state->handle = header->handle;
    if (!hasNotes) m_state->warnings.emplace_back("its annotations are damaged and left out");
    TakeNotes(*header);

    constexpr const char* kKinds[] = {"EDF", "EDF+", "BDF", "BDF+"};
    m_state->description.push_back(std::string("format: ") + kKinds[header->filetype]);
    double fs = 0;
    std::vector<double> extremesUv;
    for (int i = 0; i < header->edfsignals; ++i) {
        const edf_param_struct& signal = header->signalparam[i];
        const std::string label = TrimmedField(signal.label), unit = TrimmedField(signal.physdimension);
        const double rate = signal.smp_in_datarecord * static_cast<double>(EDFLIB_TIME_DIMENSION) /
                            static_cast<double>(header->datarecord_duration);
        char line[200];
        std::snprintf(line, sizeof line, ": %g Hz, %g to %g %s as %d to %d", rate, signal.phys_min,
                      signal.phys_max, unit.c_str(), signal.dig_min, signal.dig_max);
        m_state->description.push_back(label + line);
        const double uvPerPhysicalUnit = MicrovoltsPer(unit);
        if (uvPerPhysicalUnit == 0) {
            m_state->warnings.push_back(Quote(label) + " left out: its unit " + Quote(unit) +
                                        " is not a voltage");
            continue;
        }
        if (!m_info.leads.empty() && rate != fs) {
            m_state->warnings.push_back(Quote(label) + " left out: its rate is not that of " +
                                        Quote(m_info.leads.front()));
            continue;
        }
        fs = rate;
        const double perUnit = (signal.phys_max - signal.phys_min) / (signal.dig_max - signal.dig_min);
        const double uvPerUnit = perUnit * uvPerPhysicalUnit;
        m_state->leads.push_back(
            {i, uvPerUnit, signal.phys_max / perUnit - signal.dig_max, {}, SampleScaler(1)});
        extremesUv.push_back(signal.phys_min * uvPerPhysicalUnit);
        extremesUv.push_back(signal.phys_max * uvPerPhysicalUnit);
        m_info.leads.push_back(LeadName(label));
        m_state->framesLeft = signal.smp_in_file;
    }
    if (m_info.leads.empty())
        throw HostError(path, "expected an ECG signal, found no signal in a unit of voltage");
    MakeUnique(m_info.leads);
    m_info.name = OneLine(std::filesystem::path(path).stem().string());
    SetRate(m_info, fs, path);
    m_info.uVpb = FinestScale(extremesUv);
    if (m_info.uVpb > 1 &&
        (header->filetype == EDFLIB_FILETYPE_BDF || header->filetype == EDFLIB_FILETYPE_BDFPLUS))
        m_info.uVpb = FinestScale(m_state->UsedExtremes());
    m_info.frames = m_state->framesLeft;
    for (Lead& lead : m_state->leads) lead.scaler = SampleScaler(m_info.uVpb);

    char started[32];
    std::snprintf(started, sizeof started, "%04d-%02d-%02d %02d:%02d:%02d", header->startdate_year,
                  header->startdate_month, header->startdate_day, header->starttime_hour,
                  header->starttime_minute, header->starttime_second);
    // EDF+ writes this moment for a start that is anonymised.
    if (m_info.started = started; m_info.started == "1985-01-01 00:00:00") m_info.started.clear();
    if (const long long hidden = signals - header->edfsignals; hidden > 0)
        m_state->description.push_back("annotations: " + std::to_string(m_info.notes.size()) + " in " +
                                       std::to_string(hidden) + " signal" + (hidden > 1 ? "s" : ""));
    TakeFacts(*header);
}

EdfRecord::~EdfRecord() = default;

void EdfRecord::TakeNotes(const edf_hdr_struct& header) {
    constexpr long long kMostNotes = 100'000;  // far more than a person writes
    const long long count = std::min<long long>(header.annotations_in_file, kMostNotes);
    for (int i = 0; i < count; ++i) {
        edf_annotation_struct note;
        if (edf_get_annotation(m_state->handle, i, &note) != 0) break;
        const double seconds = static_cast<double>(note.onset) / static_cast<double>(EDFLIB_TIME_DIMENSION);
        m_info.notes.push_back({seconds, OneLine(note.annotation)});
    }
    std::stable_sort(m_info.notes.begin(), m_info.notes.end(),
                     [](const Note& a, const Note& b) { return a.seconds < b.seconds; });
}

// EDF+ has fields for most; EDF has one text for the patient and one for the recording, which are told as
// they are.
void EdfRecord::TakeFacts(const edf_hdr_struct& header) {
    const auto field = [](const char* text) {
        const std::string trimmed = TrimmedField(text);
        return IsBlank(trimmed) ? std::string() : trimmed;
    };
    Patient& patient = m_info.patient;
    patient.name = field(header.patient_name);
    patient.id = field(header.patientcode);
    if (patient.id.empty()) patient.id = field(header.patient);
    patient.sex = NameSex(field(header.gender));
    if (header.birthdate[0] != '\0') {
        char birthDate[32];
        std::snprintf(birthDate, sizeof birthDate, "%04d-%02d-%02d", header.birthdate_year,
                      header.birthdate_month, header.birthdate_day);
        patient.birthDate = birthDate;
    }
    patient.performing = field(header.technician);
    patient.device = field(header.equipment);
    for (const std::string& remark :
         {field(header.patient_additional), field(header.recording), field(header.recording_additional)})
        if (!remark.empty()) m_info.remarks.push_back(remark);
    if (const std::string code = field(header.admincode); !code.empty())
        m_info.remarks.push_back("investigation " + code);
    TakePatient(m_info.remarks, patient);
}

bool EdfRecord::Read(short* frame) {
    State& state = *m_state;
    if (state.framesLeft == 0) return false;
    if (state.next == state.filled) state.ReadBlocks();
    for (Lead& lead : state.leads) *frame++ = lead.scaler(lead.LevelUv(lead.block[state.next]));
    ++state.next;
    --state.framesLeft;
    return true;
}

std::vector<std::string> EdfRecord::Warnings() const {
    std::vector<std::string> warnings = m_state->warnings;
    for (std::size_t i = 0; i < m_info.leads.size(); ++i) {
        const long long clipped = m_state->leads[i].scaler.Clipped();
        if (clipped > 0)
            warnings.push_back(Quote(m_info.leads[i]) + ": " + std::to_string(clipped) +
                               " samples clipped at 16 bits");
    }
    return warnings;
}

std::vector<std::string> EdfRecord::Describe() const { return m_state->description; }

std::vector<std::string> EdfRecord::Files() const { return {m_state->path}; }
