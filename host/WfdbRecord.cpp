#include "host/WfdbRecord.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/HostError.h"

namespace {

// Rates that the analysis is made for, in samples per second.
constexpr int kMinFs = 100;
constexpr int kMaxFs = 2000;

// What a header means by a field that it leaves out.
constexpr double kDefaultFs = 250.0;
constexpr double kDefaultGain = 200.0;  // ADC units per millivolt

// Bounds that no sound header reaches; they keep a damaged one from asking for the machine's memory.
constexpr std::size_t kMaxHeaderBytes = 1 << 20;
constexpr int kMaxSignals = 256;
constexpr int kMaxSkewFrames = 10000;
constexpr int kMaxResolutionBits = 32;

constexpr const char* kBlanks = " \t\r";  // '\r' ends the lines of some headers
constexpr double kMicrovoltsPerMillivolt = 1e3;
constexpr std::size_t kBufferBytes = 1 << 14;
constexpr int kScalesUvpb[] = {1, 2, 5, 10, 20, 50};
constexpr long long kMaxCount = std::numeric_limits<long long>::max();

/// A signal file's way of storing samples. The lowest value of its width marks a sample that is not valid.
struct Format {
    int code = 0;  // as the header names it
    int bits = 0;  // of one sample
};
constexpr Format kFormats[] = {{16, 16}, {80, 8}, {212, 12}};

constexpr int LowestOf(Format format) { return -(1 << (format.bits - 1)); }

struct Signal {
    // From the header.
    std::string fileName;
    Format format;
    int skew = 0;              // samples that precede frame 0
    long long byteOffset = 0;  // of the first sample in the file
    bool isEcg = true;         // measured in a unit of voltage, as one that names no unit is
    // Microvolts per ADC unit.
    double uvPerUnit = kMicrovoltsPerMillivolt / kDefaultGain;
    int baseline = 0;        // ADC value of 0 microvolts
    int resolutionBits = 0;  // 0: not known
    int adcZero = 0;         // ADC value in the middle of its range
    std::optional<std::uint16_t> checksum;
    std::string units = "mV";
    std::string name;

    // While reading.
    std::uint16_t sum = 0;      // of the stored samples, modulo 65536
    short previous = 0;         // shown again in the place of samples that are not valid
    long long invalid = 0;      // samples that were not valid
    long long clipped = 0;      // samples beyond 16 bits
    std::vector<short> delay;   // ring that holds back a lead which would run ahead of a more skewed one
    std::size_t delayNext = 0;  // its oldest value
};

struct Header {
    std::string name;
    double fs = kDefaultFs;
    std::size_t announcedSignals = 0;
    long long announcedFrames = 0;  // 0: not announced
    std::vector<Signal> signals;
};

/// `text` in quotes, cut to what is worth showing of it.
std::string Quote(std::string_view text) {
    constexpr std::size_t kShown = 60;
    return '"' + std::string(text.substr(0, kShown)) + (text.size() > kShown ? "...\"" : "\"");
}

/// Microvolts in one physical unit; 0 where the unit is not a voltage.
double MicrovoltsPer(std::string_view unit) {
    if (unit == "mV") return kMicrovoltsPerMillivolt;
    if (unit == "V") return 1e6;
    if (unit == "nV") return 1e-3;
    // The last three are the micro sign and the Greek letter in UTF-8 and the micro sign in Latin-1.
    const bool isMicrovolt = unit == "uV" || unit == "\xC2\xB5V" || unit == "\xCE\xBCV" || unit == "\xB5V";
    return isMicrovolt ? 1.0 : 0.0;
}

/// Walks through one header line from left to right. Every refusal names the file and the line.
class LineParser {
public:
    /// `line` begins and ends with other than a blank; its text outlives the parser.
    LineParser(const std::string& file, int lineNumber, std::string_view line)
        : m_file(file), m_lineNumber(lineNumber), m_rest(line) {}

    [[noreturn]] void Fail(const std::string& message) const {
        throw HostError(m_file, "line " + std::to_string(m_lineNumber) + ": " + message);
    }

    /// Moves on to the next field; false at the end of the line.
    bool NextField() {
        m_field = m_rest.substr(0, m_rest.find_first_of(kBlanks));
        m_rest.remove_prefix(m_field.size());
        m_rest.remove_prefix(std::min(m_rest.find_first_not_of(kBlanks), m_rest.size()));
        m_left = m_field;
        return !m_field.empty();
    }
    void NeedField(const char* what) {
        if (!NextField()) Fail(std::string("expected ") + what + ", found the end of the line");
    }
    std::string_view Field() const { return m_field; }
    /// What follows the current field, without the blanks between.
    std::string_view Rest() const { return m_rest; }

    /// What is left of the current field after the parts taken from its front.
    std::string_view Left() const { return m_left; }
    bool TakeMark(char mark) {
        if (!m_left.starts_with(mark)) return false;
        m_left.remove_prefix(1);
        return true;
    }
    void NeedMark(char mark, const char* what) {
        if (!TakeMark(mark)) FailOn(what);
    }
    double TakeNumber(const char* what) {
        const auto value = Take<double>(what);
        if (!std::isfinite(value)) FailOn(what);
        return value;
    }
    template <typename Integer = int>
    Integer TakeInteger(const char* what, Integer lowest = std::numeric_limits<Integer>::min(),
                        Integer highest = std::numeric_limits<Integer>::max()) {
        const auto value = Take<long long>(what);
        if (value < 0 && lowest >= 0) Fail(std::string(what) + " is negative: " + std::to_string(value));
        if (value < lowest || value > highest) {
            Fail(std::string(what) + ": expected " + std::to_string(lowest) + " to " +
                 std::to_string(highest) + ", found " + std::to_string(value));
        }
        return static_cast<Integer>(value);
    }
    /// An integer that is the whole of the current field.
    template <typename Integer = int>
    Integer WholeInteger(const char* what, Integer lowest = std::numeric_limits<Integer>::min(),
                         Integer highest = std::numeric_limits<Integer>::max()) {
        const Integer value = TakeInteger<Integer>(what, lowest, highest);
        EndField(what);
        return value;
    }
    /// The current field must have been taken entirely.
    void EndField(const char* what) const {
        if (!m_left.empty()) FailOn(what);
    }

private:
    template <typename Number>
    Number Take(const char* what) {
        Number value = 0;
        const auto [end, error] = std::from_chars(m_left.data(), m_left.data() + m_left.size(), value);
        if (error != std::errc()) FailOn(what);
        m_left.remove_prefix(static_cast<std::size_t>(end - m_left.data()));
        return value;
    }
    [[noreturn]] void FailOn(const char* what) const {
        Fail(std::string("malformed ") + what + ": " + Quote(m_field));
    }

    std::string m_file;
    int m_lineNumber = 0;
    std::string_view m_rest;   // of the line
    std::string_view m_field;  // the current one
    std::string_view m_left;   // of m_field
};

/// name[/segments] signals [fs[/counter[(base)]] [frames [time [date]]]]; time and date are not used.
Header ParseRecordLine(LineParser& line) {
    Header header;
    line.NeedField("the record name");
    header.name = line.Field();
    if (header.name.find('/') != std::string::npos) {
        line.Fail("records of several segments are not supported: " + Quote(header.name));
    }
    line.NeedField("the number of signals");
    const int signals = line.WholeInteger("number of signals", 0, kMaxSignals);
    header.announcedSignals = static_cast<std::size_t>(signals);
    if (signals == 0) line.Fail("expected at least one signal, found zero signals");
    if (!line.NextField()) return header;
    header.fs = line.TakeNumber("sampling rate");
    if (line.TakeMark('/')) {
        line.TakeNumber("counter frequency");
        if (line.TakeMark('(')) {
            line.TakeNumber("base counter value");
            line.NeedMark(')', "base counter value");
        }
    }
    line.EndField("sampling rate");
    if (!line.NextField()) return header;
    header.announcedFrames = line.WholeInteger("number of samples", 0LL, kMaxCount);
    return header;
}

/// A signal file is part of its record: the name may lead below the header's directory, never out of it.
std::string CheckedFileName(const LineParser& line) {
    const std::filesystem::path path(line.Field());
    if (path.has_root_path() || std::find(path.begin(), path.end(), "..") != path.end()) {
        line.Fail("expected a signal file in the directory of the header, found " + Quote(line.Field()));
    }
    return std::string(line.Field());
}

Format TakeFormat(LineParser& line) {
    const int code = line.TakeInteger("format");
    for (const Format& format : kFormats) {
        if (format.code == code) return format;
    }
    line.Fail("unknown format " + std::to_string(code) + ": expected 16, 80 or 212");
}

/// gain[(baseline)][/units]. The baseline is empty where the header leaves it to the ADC zero.
std::optional<int> ParseGain(LineParser& line, Signal& signal) {
    std::optional<int> baseline;
    const double gain = line.TakeNumber("gain");
    if (line.TakeMark('(')) {
        baseline = line.TakeInteger("baseline");
        line.NeedMark(')', "baseline");
    }
    if (line.TakeMark('/')) {
        signal.units = line.Left();
    } else {
        line.EndField("gain");
    }
    const double uvPerPhysicalUnit = MicrovoltsPer(signal.units);
    signal.isEcg = uvPerPhysicalUnit != 0;
    if (!signal.isEcg) return baseline;
    if (gain == 0) line.Fail("zero gain: the signal is not calibrated");
    signal.uvPerUnit = uvPerPhysicalUnit / gain;
    if (!std::isnormal(signal.uvPerUnit)) line.Fail("absurd gain: " + Quote(line.Field()));
    return baseline;
}

/// Takes the optional fields of a signal line, as far as they go: each stands only where the one before it
/// does. Returns the baseline as ParseGain does.
std::optional<int> ParseCalibration(LineParser& line, Signal& signal) {
    if (!line.NextField()) return {};
    const std::optional<int> baseline = ParseGain(line, signal);
    if (!line.NextField()) return baseline;
    signal.resolutionBits = line.WholeInteger("ADC resolution", 0, kMaxResolutionBits);
    if (!line.NextField()) return baseline;
    signal.adcZero = line.WholeInteger("ADC zero");
    if (!line.NextField()) return baseline;
    line.WholeInteger("initial value");
    if (!line.NextField()) return baseline;
    // Written signed by some and unsigned by others: the same 16 bits.
    signal.checksum = static_cast<std::uint16_t>(line.WholeInteger("checksum", INT16_MIN, UINT16_MAX));
    if (!line.NextField()) return baseline;
    line.WholeInteger("block size");
    if (!line.Rest().empty()) signal.name = OneLine(std::string(line.Rest()));
    return baseline;
}

/// file format[xN][:skew][+offset] [gain [resolution [zero [initial [checksum [block [description]]]]]]].
Signal ParseSignalLine(LineParser& line, const std::string& defaultName) {
    Signal signal;
    signal.name = defaultName;
    line.NeedField("the signal file name");
    signal.fileName = CheckedFileName(line);
    line.NeedField("the format");
    signal.format = TakeFormat(line);
    if (line.TakeMark('x') && line.TakeInteger("samples per frame") != 1) {
        line.Fail("expected one sample per frame, found format " + Quote(line.Field()));
    }
    if (line.TakeMark(':')) signal.skew = line.TakeInteger("skew", 0, kMaxSkewFrames);
    if (line.TakeMark('+')) signal.byteOffset = line.TakeInteger("byte offset", 0LL, kMaxCount);
    line.EndField("format");
    signal.baseline = ParseCalibration(line, signal).value_or(signal.adcZero);
    return signal;
}

/// Signals of one file stand together, in the order in which their samples alternate in it.
void CheckGrouping(const LineParser& line, const std::vector<Signal>& before, const Signal& signal) {
    const auto isOfTheSameFile = [&](const Signal& other) { return other.fileName == signal.fileName; };
    if (std::none_of(before.begin(), before.end(), isOfTheSameFile)) return;
    const Signal& last = before.back();
    if (!isOfTheSameFile(last) || last.format.code != signal.format.code ||
        last.byteOffset != signal.byteOffset) {
        line.Fail("expected the signals of " + Quote(signal.fileName) +
                  " one after another, with one format and byte offset");
    }
}

std::string ReadHeaderText(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) throw HostError(path, "the header cannot be opened");
    std::string text(kMaxHeaderBytes + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (stream.bad()) throw HostError(path, "the header cannot be read");
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (text.size() > kMaxHeaderBytes || text.find('\0') != std::string::npos) {
        throw HostError(path,
                        "expected a header of text, at most " + std::to_string(kMaxHeaderBytes) + " bytes");
    }
    return text;
}

Header ParseHeader(const std::string& path) {
    const std::string text = ReadHeaderText(path);
    std::optional<Header> header;
    int lineNumber = 1;
    for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end + 1, ++lineNumber) {
        end = std::min(text.find('\n', begin), text.size());
        std::string_view content(text.data() + begin, end - begin);
        content.remove_prefix(std::min(content.find_first_not_of(kBlanks), content.size()));
        content = content.substr(0, content.find_last_not_of(kBlanks) + 1);
        if (content.empty() || content.front() == '#') continue;
        LineParser line(path, lineNumber, content);
        if (!header) {
            header = ParseRecordLine(line);
        } else if (const std::size_t found = header->signals.size(); found < header->announcedSignals) {
            Signal signal = ParseSignalLine(line, "signal " + std::to_string(found + 1));
            CheckGrouping(line, header->signals, signal);
            header->signals.push_back(std::move(signal));
        } else {
            line.Fail("expected the end after " + std::to_string(found) + " signals, found " +
                      Quote(content));
        }
    }
    const LineParser end(path, lineNumber, {});
    if (!header) end.Fail("expected the record line, found the end");
    if (const std::size_t found = header->signals.size(); found < header->announcedSignals) {
        end.Fail("expected " + std::to_string(header->announcedSignals) + " signals, found the end after " +
                 std::to_string(found));
    }
    return *header;
}

/// The rate as the library takes it, a whole number within the range of the analysis.
int CheckedFs(double fs, const std::string& path) {
    const std::string found = (std::ostringstream() << fs).str();
    if (fs < kMinFs || fs > kMaxFs) {
        throw HostError(path, "sampling rate: expected " + std::to_string(kMinFs) + " to " +
                                  std::to_string(kMaxFs) + " Hz, found " + found);
    }
    if (fs != std::floor(fs))
        throw HostError(path, "sampling rate: expected a whole number of Hz, found " + found);
    return static_cast<int>(fs);
}

/// Whether every valid sample that the ADC can have delivered fits into 16 bits at this scale.
bool Fits(const Signal& signal, int uVpb) {
    const Format format = signal.format;
    const int bits = signal.resolutionBits == 0 ? format.bits : signal.resolutionBits;
    const long long half = 1LL << (bits - 1);
    const long long lowest = LowestOf(format) + 1;
    const long long highest = -LowestOf(format) - 1;
    for (const long long extreme : {signal.adcZero - half, signal.adcZero + half - 1}) {
        const auto sample = static_cast<double>(std::clamp(extreme, lowest, highest));
        const double units = std::round((sample - signal.baseline) * signal.uvPerUnit / uVpb);
        if (units < INT16_MIN || units > INT16_MAX) return false;
    }
    return true;
}

/// The finest scale that fits all ECG signals, else the coarsest there is.
int ChooseScale(const std::vector<Signal>& signals) {
    for (const int uVpb : kScalesUvpb) {
        const auto fits = [uVpb](const Signal& signal) { return !signal.isEcg || Fits(signal, uVpb); };
        if (std::all_of(signals.begin(), signals.end(), fits)) return uVpb;
    }
    return *std::prev(std::end(kScalesUvpb));
}

/// One signal file, read forward through a buffer. Samples of its signals alternate.
class SignalFile {
public:
    SignalFile(const std::filesystem::path& path, Format format, long long byteOffset)
        : m_path(path.string()), m_format(format), m_stream(path, std::ios::binary), m_buffer(kBufferBytes) {
        std::error_code error;
        const auto size = std::filesystem::file_size(path, error);
        if (!m_stream || error) throw HostError(m_path, "the signal file cannot be opened");
        m_bytes = std::max(0LL, static_cast<long long>(size) - byteOffset);
        m_stream.seekg(byteOffset);
    }

    /// Frames that the file holds entirely; `signals` is the number of samples in a frame.
    long long Frames(long long signals) const {
        const long long bitsPerFrame = signals * m_format.bits;
        const long long frames = bitsPerFrame > 0 ? m_bytes * 8 / bitsPerFrame : 0;
        if (frames == 0) {
            throw HostError(m_path, "expected at least one frame of " +
                                        std::to_string((bitsPerFrame + 7) / 8) + " bytes, found " +
                                        std::to_string(m_bytes));
        }
        return frames;
    }

    int Next() {
        const int first = NextByte();
        if (m_format.bits == 8) return first + LowestOf(m_format);  // offset binary
        if (m_format.bits == 16) return SignExtended(first | NextByte() << 8);
        // Format 212 packs two samples into three bytes: the low eight bits of the first, the high four of
        // both (the first's in the low half), the low eight of the second. Pairs run on across frames.
        if (m_pairHigh >= 0) return SignExtended(first | std::exchange(m_pairHigh, -1) << 8);
        const int high = NextByte();
        m_pairHigh = high >> 4;
        return SignExtended(first | (high & 0x0F) << 8);
    }

private:
    int NextByte() {
        if (m_next == m_filled) {
            m_stream.read(m_buffer.data(), static_cast<std::streamsize>(m_buffer.size()));
            m_filled = static_cast<std::size_t>(m_stream.gcount());
            m_next = 0;
            if (m_filled == 0) throw HostError(m_path, "the signal file cannot be read to its end");
        }
        return static_cast<unsigned char>(m_buffer[m_next++]);
    }
    int SignExtended(int raw) const {
        return raw >= -LowestOf(m_format) ? raw + 2 * LowestOf(m_format) : raw;
    }

    std::string m_path;
    Format m_format;
    std::ifstream m_stream;
    long long m_bytes = 0;  // from the first sample to the end of the file
    std::vector<char> m_buffer;
    std::size_t m_next = 0;    // in m_buffer
    std::size_t m_filled = 0;  // bytes in m_buffer
    int m_pairHigh = -1;       // high bits of the second sample of a pair; -1: a pair begins
};

/// The sample on the common scale. One that is not valid repeats the one before, at the start the baseline.
short Convert(Signal& signal, int stored, double uVpb) {
    if (stored == LowestOf(signal.format)) {
        ++signal.invalid;
        return signal.previous;
    }
    const double units =
        std::round((static_cast<double>(stored) - signal.baseline) * signal.uvPerUnit / uVpb);
    const double kept = std::clamp<double>(units, INT16_MIN, INT16_MAX);
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
    int maxSkew = 0;                    // frames that only bring the leads into step
    bool verifiesChecksums = false;     // the header knows the whole length, and the files hold it

    void OpenFiles(const std::filesystem::path& headerPath);
    void ReadStored(short* frame, double uVpb);
};

/// Opens each file once, for all its signals, and finds out how many frames there are to read.
void WfdbRecord::State::OpenFiles(const std::filesystem::path& headerPath) {
    const long long announced = storedFrames;
    long long shortest = kMaxCount;
    long long longest = 0;
    for (std::size_t begin = 0, end = 0; begin < signals.size(); begin = end) {
        const Signal& first = signals[begin];
        for (end = begin; end < signals.size() && signals[end].fileName == first.fileName; ++end) {
            fileOf.push_back(files.size());
        }
        files.emplace_back(headerPath.parent_path() / first.fileName, first.format, first.byteOffset);
        const long long frames = files.back().Frames(static_cast<long long>(end - begin));
        shortest = std::min(shortest, frames);
        longest = std::max(longest, frames);
    }
    const long long expected = announced > 0 ? announced : longest;
    storedFrames = std::min(expected, shortest);
    verifiesChecksums = announced > 0 && storedFrames == announced;
    if (storedFrames < expected) {
        warnings.push_back("ends early: " + std::to_string(storedFrames) + " of " + std::to_string(expected) +
                           " frames");
    }
}

WfdbRecord::WfdbRecord(const std::string& record) : m_state(std::make_unique<State>()) {
    const std::string path = record.ends_with(".hea") ? record : record + ".hea";
    Header header = ParseHeader(path);
    m_info.name = OneLine(header.name);
    m_info.fs = CheckedFs(header.fs, path);
    m_state->signals = std::move(header.signals);
    for (const Signal& signal : m_state->signals) {
        m_state->maxSkew = std::max(m_state->maxSkew, signal.skew);
        if (signal.isEcg) {
            m_info.leads.push_back(signal.name);
        } else {
            m_state->warnings.push_back(Quote(signal.name) + " left out: its unit " + Quote(signal.units) +
                                        " is not a voltage");
        }
    }
    if (m_info.leads.empty())
        throw HostError(path, "expected an ECG signal, found no signal in a unit of voltage");
    m_info.uVpb = ChooseScale(m_state->signals);
    for (Signal& signal : m_state->signals) {
        signal.delay.assign(static_cast<std::size_t>(m_state->maxSkew - signal.skew), 0);
    }

    m_state->storedFrames = header.announcedFrames;
    m_state->OpenFiles(path);
    if (m_state->storedFrames <= m_state->maxSkew) {
        throw HostError(path, "expected more frames than the skew of " + std::to_string(m_state->maxSkew) +
                                  ", found " + std::to_string(m_state->storedFrames));
    }
    m_info.frames = std::max(header.announcedFrames, m_state->storedFrames) - m_state->maxSkew;
}

WfdbRecord::~WfdbRecord() = default;

void WfdbRecord::State::ReadStored(short* frame, double uVpb) {
    for (std::size_t i = 0; i < signals.size(); ++i) {
        Signal& signal = signals[i];
        const int stored = files[fileOf[i]].Next();
        signal.sum = static_cast<std::uint16_t>(signal.sum + stored);  // wraps at 16 bits
        if (!signal.isEcg) continue;
        short value = Convert(signal, stored, uVpb);
        if (!signal.delay.empty()) {
            std::swap(value, signal.delay[signal.delayNext]);
            signal.delayNext = (signal.delayNext + 1) % signal.delay.size();
        }
        *frame++ = value;
    }
    ++framesRead;
}

bool WfdbRecord::Read(short* frame) {
    while (m_state->framesRead < m_state->storedFrames) {
        m_state->ReadStored(frame, m_info.uVpb);
        if (m_state->framesRead > m_state->maxSkew) return true;
    }
    return false;
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
