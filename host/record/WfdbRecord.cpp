#include "host/record/WfdbRecord.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "host/record/Calibration.h"
#include "host/record/FlacFile.h"
#include "host/record/WfdbHeader.h"
#include "host/support/HostError.h"
#include "host/support/InputFile.h"

namespace {

constexpr std::size_t kBufferBytes = 1 << 14;
constexpr long long kMaxLong = std::numeric_limits<long long>::max();

/// A signal while it is read.
struct Signal : WfdbSignal {
    explicit Signal(const WfdbSignal& header)
        : WfdbSignal(header),
          level(header.initial),
          invalidSample(format.IsDifference() ? kMaxLong : format.Lowest()) {}

    /// The sample that a stored value tells: in format 8 it is the difference to the one before.
    long long Sample(long long stored) { return format.IsDifference() ? level += stored : stored; }
    bool IsInvalid(long long sample) const { return sample == invalidSample; }

    long long level = 0;        // of format 8, the latest sample
    long long invalidSample;    // tells that there is none
    std::uint16_t sum = 0;      // of the stored samples, modulo 65536
    short previous = 0;         // shown again in the place of samples that are not valid
    long long invalid = 0;      // samples that were not valid
    long long clipped = 0;      // samples beyond 16 bits
    std::vector<short> delay;   // ring that holds back a lead which would run ahead of a more skewed one
    std::size_t delayNext = 0;  // its oldest value
    bool isOnScale = false;     // its units are those of the common scale
};

double LevelUv(const WfdbSignal& signal, long long stored) {
    return (static_cast<double>(stored) - signal.baseline) * signal.uvPerUnit;
}

/// The levels between which the ADC can have delivered valid samples.
void AddExtremes(const Signal& signal, std::vector<double>& extremesUv) {
    const int bits = signal.resolutionBits == 0 ? signal.format.bits : signal.resolutionBits;
    const long long half = 1LL << (bits - 1);
    const long long lowest = signal.format.Lowest() + 1;
    const long long highest = -signal.format.Lowest() - 1;
    for (const long long extreme : {signal.adcZero - half, signal.adcZero + half - 1}) {
        extremesUv.push_back(LevelUv(signal, std::clamp(extreme, lowest, highest)));
    }
}

/// One signal file, read forward through a buffer. Samples of its signals alternate.
class SignalFile {
public:
    /// `signals` are those of the file.
    SignalFile(const InputFile& file, std::span<const Signal> signals)
        : m_path(file.Path()),
          m_format(signals.front().format),
          m_byteOffset(signals.front().byteOffset),
          m_stream(file.Stream()),
          m_bytes(std::max(0LL, file.Bytes() - m_byteOffset)),
          m_isWord(m_format.code == 16),
          m_half(-m_format.Lowest()),
          m_buffer(kBufferBytes) {
        m_stream.seekg(m_byteOffset);
        if (!m_format.IsFlac()) return;
        m_channels = signals.size();
        m_samplesPerFrame = signals.front().samplesPerFrame;
        for (const Signal& signal : signals)
            if (signal.samplesPerFrame != m_samplesPerFrame)
                throw HostError(m_path, "expected FLAC signals of one rate, found " +
                                            std::to_string(m_samplesPerFrame) + " and " +
                                            std::to_string(signal.samplesPerFrame) + " samples per frame");
        m_flac.emplace(file, m_byteOffset, m_channels, m_format.bits);
        m_group.resize(m_channels * m_samplesPerFrame);
    }

    const std::string& Path() const { return m_path; }
    /// True for a file that is damaged or shorter than it says itself.
    bool IsCut() const { return m_flac && m_flac->IsCut(); }
    /// How many whole frames of so many samples the file holds.
    long long Frames(long long samples) const {
        if (m_flac) {
            const long long frames = m_flac->Samples() / static_cast<long long>(m_samplesPerFrame);
            if (frames == 0) throw HostError(m_path, "expected at least one frame of FLAC, found none");
            return frames;
        }
        // Of a pair of format 212 the first sample is there with two bytes; other groups are whole.
        const bool hasHalfPair = m_format.code == 212 && m_bytes % m_format.groupBytes == 2;
        const long long held = m_bytes / m_format.groupBytes * m_format.groupSamples + (hasHalfPair ? 1 : 0);
        const long long frames = held / samples;
        if (frames == 0) {
            const long long bytes =
                (samples * m_format.groupBytes + m_format.groupSamples - 1) / m_format.groupSamples;
            throw HostError(m_path, "expected at least one frame of " + std::to_string(bytes) +
                                        " bytes, found " + std::to_string(m_bytes));
        }
        return frames;
    }

    void Rewind() {
        m_stream.clear();
        m_stream.seekg(m_byteOffset);
        m_next = m_filled = 0;
        m_groupNext = m_groupSize = 0;
        if (m_flac) m_flac->Rewind();
    }

    /// The next value as it is stored.
    long long Next() {
        if (m_isWord && m_filled - m_next >= 2) {  // as most are
            const auto low = static_cast<unsigned char>(m_buffer[m_next]);
            const auto high = static_cast<signed char>(m_buffer[m_next + 1]);
            m_next += 2;
            return low | high * 256;
        }
        return NextOfGroup();
    }
    /// The bytes of the next `count` values of format 16, low byte first; null, and nothing is taken, where
    /// the buffer does not hold all of them.
    const char* NextWords(std::size_t count) {
        if (m_filled - m_next < 2 * count) return nullptr;
        m_next += 2 * count;
        return &m_buffer[m_next - 2 * count];
    }

private:
    long long NextOfGroup() {
        if (m_groupNext == m_groupSize) {
            m_groupNext = 0;
            ReadGroup();
        }
        return m_group[m_groupNext++];
    }

    /// A frame of FLAC as other formats have it: all samples of a signal in front of those of the next.
    void ReadFlacFrame() {
        m_groupSize = m_group.size();
        for (std::size_t i = 0; i < m_samplesPerFrame; ++i) {
            const std::int32_t* samples = m_flac->Next();
            if (samples == nullptr) FailOnEnd();
            for (std::size_t channel = 0; channel < m_channels; ++channel)
                m_group[channel * m_samplesPerFrame + i] = samples[channel];
        }
    }

    /// Reads the samples that share bytes, one in most formats.
    void ReadGroup() {
        if (m_flac) return ReadFlacFrame();
        m_groupSize = static_cast<std::size_t>(m_format.groupSamples);
        const auto word = [&](int bytes) {  // low byte first
            long long raw = 0;
            for (int shift = 0; shift < 8 * bytes; shift += 8) raw |= NextByte() << shift;
            return raw;
        };
        switch (m_format.code) {
            case 8: m_group[0] = (NextByte() ^ 0x80) - 0x80; break;
            case 61: {  // high byte first
                const long long high = NextByte();
                m_group[0] = SignExtended(high << 8 | NextByte());
                break;
            }
            case 80:  // offset binary
            case 160: m_group[0] = word(m_format.groupBytes) + m_format.Lowest(); break;
            case 212: {
                // Two samples in three bytes: the low eight bits of the first, the high four of both (the
                // first's in the low half), the low eight of the second, which a file need not have.
                const long long both = word(2);
                m_group[0] = SignExtended(both & 0xFFF);
                m_groupSize = IsAtEnd() ? 1 : 2;
                if (m_groupSize == 2) m_group[1] = SignExtended(NextByte() | (both >> 12) << 8);
                break;
            }
            case 310: {
                // Two words: bits 1 to 10 of each are a sample, bits 11 to 15 of both the third, low half
                // first.
                const long long first = word(2), second = word(2);
                m_group[0] = SignExtended(first >> 1 & 0x3FF);
                m_group[1] = SignExtended(second >> 1 & 0x3FF);
                m_group[2] = SignExtended(first >> 11 | (second >> 11) << 5);
                break;
            }
            case 311: {
                const long long all = word(4);
                for (int i = 0; i < 3; ++i)
                    m_group[static_cast<std::size_t>(i)] = SignExtended(all >> 10 * i & 0x3FF);
                break;
            }
            default: m_group[0] = SignExtended(word(m_format.groupBytes)); break;
        }
    }
    [[noreturn]] void FailOnEnd() const {
        throw HostError(m_path, "the signal file cannot be read to its end");
    }
    bool IsAtEnd() { return m_next == m_filled && m_stream.peek() == std::ifstream::traits_type::eof(); }
    long long NextByte() {
        if (m_next == m_filled) {
            m_stream.read(m_buffer.data(), std::ssize(m_buffer));
            m_filled = BytesRead(m_stream);
            m_next = 0;
            if (m_filled == 0) FailOnEnd();
        }
        return static_cast<unsigned char>(m_buffer[m_next++]);
    }
    long long SignExtended(long long raw) const { return raw >= m_half ? raw - 2 * m_half : raw; }

    std::string m_path;
    WfdbFormat m_format;
    long long m_byteOffset = 0;  // of the first sample
    std::ifstream m_stream;
    long long m_bytes = 0;  // from the first sample to the end of the file
    bool m_isWord = false;  // format 16
    long long m_half = 0;   // of the range of stored values
    std::vector<char> m_buffer;
    std::size_t m_next = 0;                                      // in m_buffer
    std::size_t m_filled = 0;                                    // bytes in m_buffer
    std::vector<long long> m_group = std::vector<long long>(3);  // samples of the latest group
    std::size_t m_groupNext = 0, m_groupSize = 0;
    std::optional<FlacFile> m_flac;
    std::size_t m_channels = 0, m_samplesPerFrame = 0;  // of FLAC
};

constexpr int kBeyondUnits = 40000;  // what is farther out is clipped all the same

int RoundedUnits(const Signal& signal, long long stored, double uVpb) {
    const double level = std::clamp<double>(LevelUv(signal, stored) / uVpb, -kBeyondUnits, kBeyondUnits);
    const int whole = static_cast<int>(level);
    const double rest = level - whole;
    return whole + (rest >= 0.5 ? 1 : 0) - (rest <= -0.5 ? 1 : 0);
}

/// The sample on the common scale, rounded half away from zero. An invalid sample repeats the one before it,
/// at the start the baseline.
short Convert(Signal& signal, long long stored, double uVpb) {
    if (signal.IsInvalid(stored)) {
        ++signal.invalid;
        return signal.previous;
    }
    const int units =
        signal.isOnScale
            ? static_cast<int>(std::clamp<long long>(stored - signal.baseline, -kBeyondUnits, kBeyondUnits))
            : RoundedUnits(signal, stored, uVpb);
    const int kept = std::clamp<int>(units, INT16_MIN, INT16_MAX);
    if (kept != units) ++signal.clipped;
    signal.previous = static_cast<short>(kept);
    return signal.previous;
}

}  // namespace

struct WfdbRecord::State {
    std::vector<Signal> signals;
    std::vector<SignalFile> files;
    std::vector<std::size_t> fileOf;    // of each signal, in files
    std::vector<std::string> warnings;  // known when the record is opened
    long long storedFrames = 0;         // to be read
    long long framesRead = 0;           // of the stored ones
    unsigned maxSkew = 0;               // frames that only bring the leads into step
    std::size_t leads = 0;
    unsigned samplesPerFrame = 1;    // of the leads
    std::vector<short> rows;         // samples of one stored frame: each lead's first, each lead's second...
    unsigned rowsLeft = 0;           // to be given out
    bool verifiesChecksums = false;  // the header knows the whole length, and the files hold it
    bool areWords = false;  // one file of format 16, with one sample of each signal per frame, no skew

    void OpenFiles(const std::filesystem::path& headerPath);
    std::vector<double> UsedExtremes();
    void ReadStored(double uVpb);
    bool ReadWords(double uVpb);
};

/// Opens each file once, for all its signals, and finds out how many frames there are to read.
void WfdbRecord::State::OpenFiles(const std::filesystem::path& headerPath) {
    const long long announced = storedFrames;
    long long shortest = kMaxLong;
    long long longest = 0;
    for (std::size_t begin = 0, end = 0; begin < signals.size(); begin = end) {
        const Signal& first = signals[begin];
        long long samples = 0;
        do {
            fileOf.push_back(files.size());
            samples += signals[end].samplesPerFrame;
        } while (++end < signals.size() && signals[end].fileName == first.fileName);
        files.emplace_back(InputFile(headerPath.parent_path().string(), first.fileName),
                           std::span(&first, end - begin));
        if (files.back().IsCut())
            warnings.push_back(Quote(first.fileName) + ": damaged or cut off, read up to there");
        const long long frames = files.back().Frames(samples);
        shortest = std::min(shortest, frames);
        longest = std::max(longest, frames);
    }
    const long long expected = announced > 0 ? announced : longest;
    storedFrames = std::min(expected, shortest);
    verifiesChecksums = announced > 0 && storedFrames == announced;
    areWords = files.size() == 1 && maxSkew == 0 &&
               std::all_of(signals.begin(), signals.end(), [](const Signal& signal) {
                   return signal.format.code == 16 && signal.samplesPerFrame == 1;
               });
    if (storedFrames < expected) {
        warnings.push_back("ends early: " + std::to_string(storedFrames) + " of " + std::to_string(expected) +
                           " frames");
    }
}

/// The levels between which the ECG signals lie, uV. Reads all files, then begins anew.
std::vector<double> WfdbRecord::State::UsedExtremes() {
    struct Range {
        long long lowest = kMaxLong, highest = -kMaxLong;
    };
    std::vector<Range> ranges(signals.size());
    for (long long frame = 0; frame < storedFrames; ++frame) {
        for (std::size_t i = 0; i < signals.size(); ++i) {
            for (unsigned sample = 0; sample < signals[i].samplesPerFrame; ++sample) {
                const long long stored = signals[i].Sample(files[fileOf[i]].Next());
                if (signals[i].IsInvalid(stored)) continue;
                ranges[i].lowest = std::min(ranges[i].lowest, stored);
                ranges[i].highest = std::max(ranges[i].highest, stored);
            }
        }
    }
    for (SignalFile& file : files) file.Rewind();
    for (Signal& signal : signals) signal.level = signal.initial;
    std::vector<double> extremesUv;
    for (std::size_t i = 0; i < signals.size(); ++i) {
        if (!signals[i].isEcg || ranges[i].lowest > ranges[i].highest) continue;
        for (const long long extreme : {ranges[i].lowest, ranges[i].highest})
            extremesUv.push_back(LevelUv(signals[i], extreme));
    }
    return extremesUv;
}

WfdbRecord::WfdbRecord(const std::string& record, double uVpb) : m_state(std::make_unique<State>()) {
    const std::string path = WfdbHeaderPath(record);
    const WfdbHeader header = ReadWfdbHeader(path);
    if (!header.segments.empty()) throw HostError(path, "expected a record of one piece, found segments");
    m_info.name = OneLine(header.name);
    m_files = {path};
    m_info.started = header.started;
    m_info.remarks = header.remarks;
    m_info.patient = header.patient;
    for (const WfdbSignal& signal : header.signals) m_state->signals.emplace_back(signal);
    std::vector<double> extremesUv;
    for (Signal& signal : m_state->signals) {
        m_state->maxSkew = std::max(m_state->maxSkew, signal.skew);
        if (!signal.isEcg) {
            m_state->warnings.push_back(Quote(signal.name) + " left out: its unit " + Quote(signal.units) +
                                        " is not a voltage");
            continue;
        }
        if (m_info.leads.empty()) m_state->samplesPerFrame = signal.samplesPerFrame;
        if (signal.samplesPerFrame != m_state->samplesPerFrame) {
            m_state->warnings.push_back(Quote(signal.name) + " left out: its rate is not that of " +
                                        Quote(m_info.leads.front()));
            signal.isEcg = false;
            continue;
        }
        if (!signal.isCalibrated)
            m_state->warnings.push_back(Quote(signal.name) +
                                        " is not calibrated: read at 200 units per mV, " +
                                        "its amplitudes are not known to be right");
        m_info.leads.push_back(signal.name);
        AddExtremes(signal, extremesUv);
    }
    if (m_info.leads.empty())
        throw HostError(path, "expected an ECG signal, found no signal in a unit of voltage");
    SetRate(m_info, header.fs * m_state->samplesPerFrame, path);
    m_info.framesPerMark = m_state->samplesPerFrame;
    if (m_state->maxSkew > 0 && m_state->samplesPerFrame > 1)
        throw HostError(path, "expected no skew with several samples per frame, found " +
                                  std::to_string(m_state->maxSkew));
    m_state->leads = m_info.leads.size();
    m_state->rows.resize(m_state->leads * m_state->samplesPerFrame);
    for (Signal& signal : m_state->signals) {
        signal.delay.assign(m_state->maxSkew - signal.skew, 0);
    }

    m_state->storedFrames = header.announcedFrames;
    m_state->OpenFiles(path);
    for (const SignalFile& file : m_state->files) m_files.push_back(file.Path());
    if (m_state->storedFrames <= m_state->maxSkew) {
        throw HostError(path, "expected more frames than the skew of " + std::to_string(m_state->maxSkew) +
                                  ", found " + std::to_string(m_state->storedFrames));
    }
    m_info.frames = (std::max(header.announcedFrames, m_state->storedFrames) - m_state->maxSkew) *
                    m_state->samplesPerFrame;

    const auto isWide = [](const Signal& signal) { return signal.isEcg && signal.format.bits > 16; };
    m_info.uVpb = uVpb > 0 ? uVpb : FinestScale(extremesUv);
    if (uVpb == 0 && m_info.uVpb > 1 && std::any_of(m_state->signals.begin(), m_state->signals.end(), isWide))
        m_info.uVpb = FinestScale(m_state->UsedExtremes());
    for (Signal& signal : m_state->signals) signal.isOnScale = signal.uvPerUnit == m_info.uVpb;
}

WfdbRecord::~WfdbRecord() = default;

/// ReadStored of words in the buffer, as most are. False, and nothing is taken, where there is no such frame.
bool WfdbRecord::State::ReadWords(double uVpb) {
    const char* bytes = areWords ? files.front().NextWords(signals.size()) : nullptr;
    if (bytes == nullptr) return false;
    short* sample = rows.data();
    for (Signal& signal : signals) {
        const int stored = static_cast<unsigned char>(bytes[0]) | static_cast<signed char>(bytes[1]) * 256;
        bytes += 2;
        signal.sum = static_cast<std::uint16_t>(signal.sum + stored);  // wraps
        if (signal.isEcg) *sample++ = Convert(signal, stored, uVpb);
    }
    ++framesRead;
    return true;
}

void WfdbRecord::State::ReadStored(double uVpb) {
    if (ReadWords(uVpb)) return;
    std::size_t lead = 0;
    for (std::size_t i = 0; i < signals.size(); ++i) {
        Signal& signal = signals[i];
        SignalFile& file = files[fileOf[i]];
        std::size_t slot = lead;
        for (unsigned sample = 0; sample < signal.samplesPerFrame; ++sample, slot += leads) {
            const long long stored = signal.Sample(file.Next());
            signal.sum =
                static_cast<std::uint16_t>(signal.sum + static_cast<std::uint16_t>(stored));  // wraps
            if (!signal.isEcg) continue;
            short value = Convert(signal, stored, uVpb);
            if (!signal.delay.empty()) {
                std::swap(value, signal.delay[signal.delayNext]);
                signal.delayNext = (signal.delayNext + 1) % signal.delay.size();
            }
            rows[slot] = value;
        }
        if (signal.isEcg) ++lead;
    }
    ++framesRead;
}

long long WfdbRecord::FramesHeld() const {
    return (m_state->storedFrames - m_state->maxSkew) * m_state->samplesPerFrame;
}

std::optional<StoredFrames> WfdbRecord::Stored() const {
    const std::vector<Signal>& signals = m_state->signals;
    const bool isGiven = std::all_of(signals.begin(), signals.end(), [](const Signal& signal) {
        return signal.isEcg && signal.isOnScale && signal.baseline == 0;
    });
    if (!m_state->areWords || !isGiven) return {};
    const std::string &path = m_files.front(), &name = signals.front().fileName;
    return StoredFrames{InputFile(path.substr(0, path.size() - name.size()), name),
                        signals.front().byteOffset, FramesHeld()};
}

bool WfdbRecord::Read(short* frame) {
    State& state = *m_state;
    while (state.rowsLeft == 0) {
        if (state.framesRead == state.storedFrames) return false;
        state.ReadStored(m_info.uVpb);
        if (state.framesRead > state.maxSkew) state.rowsLeft = state.samplesPerFrame;
    }
    const std::size_t row = state.samplesPerFrame - state.rowsLeft--;
    std::copy_n(&state.rows[row * state.leads], state.leads, frame);
    return true;
}

std::vector<std::string> WfdbRecord::Warnings() const {
    std::vector<std::string> warnings = m_state->warnings;
    const bool isWhole = m_state->verifiesChecksums && m_state->framesRead == m_state->storedFrames;
    for (const Signal& signal : m_state->signals) {
        const std::string lead = Quote(signal.name) + ": ";
        if (signal.invalid > 0) {
            warnings.push_back(lead + std::to_string(signal.invalid) + " invalid samples, value before held");
        }
        if (signal.clipped > 0) {
            warnings.push_back(lead + std::to_string(signal.clipped) + " samples clipped at 16 bits");
        }
        if (isWhole && signal.checksum && *signal.checksum != signal.sum) {
            warnings.push_back(lead + "checksum: expected " +
                               std::to_string(static_cast<std::int16_t>(*signal.checksum)) + ", found " +
                               std::to_string(static_cast<std::int16_t>(signal.sum)));
        }
    }
    return warnings;
}

std::vector<std::string> WfdbRecord::Describe() const {
    std::vector<std::string> lines;
    for (const Signal& signal : m_state->signals) {
        char gain[80];
        std::snprintf(gain, sizeof gain, ", %g uV per unit, baseline %d", signal.uvPerUnit, signal.baseline);
        std::string format = std::to_string(signal.format.code);
        if (signal.samplesPerFrame > 1)
            format += ", " + std::to_string(signal.samplesPerFrame) + " samples per frame";
        lines.push_back(signal.name + ": " + signal.fileName + ", format " + format +
                        (signal.isEcg ? gain : ", in " + signal.units));
    }
    return lines;
}
