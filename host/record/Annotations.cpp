#include "host/record/Annotations.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <string_view>
#include <utility>

#include "host/support/HostError.h"
#include "host/support/InputFile.h"

// A file is a sequence of 16-bit words, low byte first: a code in the upper 6 bits, a number in the lower 10.
// Codes up to kLastCode are annotations, the number counts the steps since the one before. The codes below
// say more about the annotation they follow, but for Skip, which goes ahead of it. The word 0 ends the file.

namespace {

// Far more than a week at 200 beats per minute has, and no more than 110 MB in memory.
constexpr long long kMostBytes = 16 << 20;
constexpr std::size_t kMostAnnotations = 1 << 20;
constexpr int kNote = 22, kLastCode = 49;
constexpr unsigned kNumberBits = 10, kNumberMask = (1U << kNumberBits) - 1;
constexpr std::size_t kLongestText = 255;  // the WFDB library keeps the length in one byte

enum Word : unsigned {
    kSkip = 59,     // frames to skip as 32 bits in the next two words, the upper half first
    kNumber = 60,   // its number, and that of those that follow
    kSubtype = 61,  // its subtype
    kChannel = 62,  // its channel, and that of those that follow
    kText = 63,     // this many bytes of text follow, and one more where that is odd
};

struct CodeName {
    const char* letters;
    bool isBeat;
};
/// From code 0 to 41, the last that has a name.
constexpr std::array<CodeName, 42> kCodes = {
    {{"?", false}, {"N", true},   {"L", true},  {"R", true},  {"a", true},  {"V", true},  {"F", true},
     {"J", true},  {"A", true},   {"S", true},  {"E", true},  {"j", true},  {"/", true},  {"Q", true},
     {"~", false}, {"?", false},  {"|", false}, {"?", false}, {"s", false}, {"T", false}, {"*", false},
     {"D", false}, {"\"", false}, {"=", false}, {"p", false}, {"B", true},  {"^", false}, {"t", false},
     {"+", false}, {"u", false},  {"?", true},  {"!", false}, {"[", false}, {"]", false}, {"e", true},
     {"n", true},  {"@", false},  {"x", false}, {"f", true},  {"(", false}, {")", false}, {"r", true}}};

/// Takes words from a file and says where it is damaged.
class WordReader {
public:
    explicit WordReader(const std::string& path) : m_path(path) {
        const InputFile file(path);
        if (file.Bytes() == 0 || file.Bytes() > kMostBytes)
            throw HostError(path, "expected annotations of 1 to " + std::to_string(kMostBytes) +
                                      " bytes, found " + std::to_string(file.Bytes()));
        m_stream = file.Stream();
    }
    [[noreturn]] void Fail(const std::string& message) const {
        throw HostError(m_path, "byte " + std::to_string(m_position) + ": " + message);
    }
    unsigned Word(const char* what) {
        const unsigned low = Byte(what), high = Byte(what);
        return low | high << 8;
    }
    std::string Text(std::size_t length) {
        std::string text;
        for (std::size_t i = 0; i < length; ++i) text += static_cast<char>(Byte("the end of a text"));
        if (length % 2 == 1) Byte("the byte that makes a text even");
        return text;
    }
    /// Zero bytes may fill up a file behind its end mark.
    void NeedOnlyZeros() {
        for (int c = m_stream.get(); c != std::ifstream::traits_type::eof(); c = m_stream.get(), ++m_position)
            if (c != 0) Fail("expected nothing behind the end mark, found more bytes");
    }

private:
    unsigned Byte(const char* what) {
        const int c = m_stream.get();
        if (c == std::ifstream::traits_type::eof())
            Fail(std::string("expected ") + what + ", found the end of the file");
        ++m_position;
        return static_cast<unsigned>(c);
    }

    std::string m_path;
    std::ifstream m_stream;
    long long m_position = 0;  // bytes taken
};

/// The low 8 bits as a signed number: subtypes, channels and numbers are that wide.
int SignedByte(unsigned number) { return static_cast<std::int8_t>(number & 0xFF); }

/// What follows an annotation and tells more about it.
void ReadDetail(WordReader& reader, unsigned word, unsigned number, std::vector<Annotation>& annotations) {
    if (annotations.empty()) reader.Fail("expected an annotation before what is said about it");
    Annotation& last = annotations.back();
    switch (word) {
        case kNumber: last.number = SignedByte(number); break;
        case kSubtype: last.subtype = SignedByte(number); break;
        case kChannel: last.channel = SignedByte(number); break;
        case kText:
            last.text = reader.Text(number);
            while (last.text.ends_with('\0')) last.text.pop_back();
            break;
        default: reader.Fail("expected a code of 0 to 49 or 59 to 63, found " + std::to_string(word));
    }
}

/// Steps per second as a note gives them; 0 if the note is about something else.
double ResolutionOf(std::string_view note) {
    constexpr std::string_view kBegin = "## time resolution:";
    if (!note.starts_with(kBegin)) return 0;
    note.remove_prefix(kBegin.size());
    note.remove_prefix(std::min(note.find_first_not_of(' '), note.size()));
    double perSecond = 0;
    const auto [end, error] = std::from_chars(note.data(), note.data() + note.size(), perSecond);
    return error == std::errc() && std::isnormal(perSecond) && perSecond > 0 ? perSecond : 0;
}

void PutWord(std::ostream& out, long long code, long long number) {
    const long long word = code << kNumberBits | (number & kNumberMask);
    out.put(static_cast<char>(word & 0xFF)).put(static_cast<char>(word >> 8));
}

void PutHalf(std::ostream& out, long long half) { PutWord(out, half >> kNumberBits & 0x3F, half); }

/// Moves the time on by any number of frames, ahead of an annotation with the difference 0.
void PutSkips(std::ostream& out, long long frames) {
    while (frames > 0) {
        const long long step = std::min<long long>(frames, std::numeric_limits<std::int32_t>::max());
        PutWord(out, kSkip, 0);
        PutHalf(out, step >> 16);
        PutHalf(out, step & 0xFFFF);
        frames -= step;
    }
}

/// 8 bits in the field of 10, as the WFDB library stores negative ones.
void PutDetail(std::ostream& out, Word word, int value) { PutWord(out, word, value & 0xFF); }

void CheckWritable(const std::string& path, const Annotation& annotation, long long before) {
    const auto fail = [&](const std::string& message) {
        throw HostError(path, "annotation at " + std::to_string(annotation.sample) + ": " + message);
    };
    const auto isByte = [](int value) { return value >= INT8_MIN && value <= INT8_MAX; };
    if (annotation.sample < before) fail("expected a frame from " + std::to_string(before) + " on");
    if (annotation.code < 1 || annotation.code > kLastCode)
        fail("expected a code of 1 to 49, found " + std::to_string(annotation.code));
    if (annotation.text.size() > kLongestText) fail("expected a text of at most 255 bytes");
    if (!isByte(annotation.subtype) || !isByte(annotation.channel) || !isByte(annotation.number))
        fail("expected a subtype, channel and number of -128 to 127");
}

}  // namespace

bool IsBeat(int code) { return code >= 0 && code < std::ssize(kCodes) && kCodes.begin()[code].isBeat; }

std::string Mnemonic(int code) {
    if (code < 0 || code >= std::ssize(kCodes)) return "?";
    return kCodes.begin()[code].letters;
}

double StepsPerSecond(const std::vector<Annotation>& annotations, double otherwise) {
    for (const Annotation& annotation : annotations) {
        if (annotation.sample > 0) break;
        const double resolution = annotation.code == kNote ? ResolutionOf(annotation.text) : 0;
        if (resolution > 0) return resolution;
    }
    return otherwise;
}

std::vector<Annotation> ReadAnnotations(const std::string& path) {
    // No recording lasts this long; sums of skips stay far below what a long long holds.
    constexpr long long kMostFrames = 1LL << 48;
    WordReader reader(path);
    std::vector<Annotation> annotations;
    long long sample = 0;
    int channel = 0, number = 0;  // of the annotation before
    while (const unsigned word = reader.Word("an annotation or the end mark 0")) {
        const unsigned code = word >> kNumberBits, low = word & kNumberMask;
        if (code == kSkip) {
            const std::uint32_t upper = reader.Word("a skip"), lower = reader.Word("a skip");
            sample += static_cast<std::int32_t>(upper << 16 | lower);
        } else if (code <= kLastCode) {
            if (!annotations.empty()) {
                channel = annotations.back().channel;
                number = annotations.back().number;
            }
            sample += low;
            if (annotations.size() == kMostAnnotations)
                reader.Fail("expected at most " + std::to_string(kMostAnnotations) +
                            " annotations, found more");
            annotations.push_back({sample, static_cast<int>(code), {}, 0, channel, number});
            if (sample < 0) reader.Fail("expected a time from 0 on, found " + std::to_string(sample));
        } else {
            ReadDetail(reader, code, low, annotations);
        }
        if (sample > kMostFrames) reader.Fail("expected a time below 2^48 frames");
    }
    reader.NeedOnlyZeros();
    std::stable_sort(annotations.begin(), annotations.end(),
                     [](const Annotation& a, const Annotation& b) { return a.sample < b.sample; });
    return annotations;
}

void WriteAnnotations(PendingFile& file, const std::vector<Annotation>& annotations) {
    std::ostream& out = file.Stream();
    long long before = 0;
    int channel = 0, number = 0;
    for (const Annotation& annotation : annotations) {
        CheckWritable(file.Path(), annotation, before);
        long long frames = annotation.sample - before;
        if (frames > kNumberMask) {
            PutSkips(out, frames);
            frames = 0;
        }
        before = annotation.sample;
        PutWord(out, annotation.code, frames);
        if (annotation.subtype != 0) PutDetail(out, kSubtype, annotation.subtype);
        if (std::exchange(channel, annotation.channel) != annotation.channel)
            PutDetail(out, kChannel, annotation.channel);
        if (std::exchange(number, annotation.number) != annotation.number)
            PutDetail(out, kNumber, annotation.number);
        if (annotation.text.empty()) continue;
        PutWord(out, kText, std::ssize(annotation.text));
        out << annotation.text;
        if (annotation.text.size() % 2 == 1) out.put('\0');
    }
    PutWord(out, 0, 0);
}
