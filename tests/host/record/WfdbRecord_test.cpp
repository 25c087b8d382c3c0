#include "host/record/WfdbRecord.h"

#include <FLAC/stream_encoder.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/support/Folder.h"
#include "tests/support/Frames.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// `frames` as a FLAC stream in parts: its head, then a part for each block.
std::vector<std::string> FlacParts(unsigned bits, const Frames& frames, unsigned blockFrames = 192) {
    const std::unique_ptr<FLAC__StreamEncoder, decltype(&FLAC__stream_encoder_delete)> owner(
        FLAC__stream_encoder_new(), &FLAC__stream_encoder_delete);
    FLAC__StreamEncoder* encoder = owner.get();
    FLAC__stream_encoder_set_channels(encoder, static_cast<unsigned>(frames[0].size()));
    FLAC__stream_encoder_set_bits_per_sample(encoder, bits);
    FLAC__stream_encoder_set_blocksize(encoder, blockFrames);
    FLAC__stream_encoder_set_streamable_subset(encoder, false);
    FLAC__stream_encoder_set_total_samples_estimate(encoder, frames.size());
    const auto write = [](const FLAC__StreamEncoder*, const FLAC__byte bytes[], std::size_t count,
                          unsigned samples, unsigned, void* parts) {
        auto& all = *static_cast<std::vector<std::string>*>(parts);
        if (samples > 0) all.emplace_back();
        all.back().append(reinterpret_cast<const char*>(bytes), count);
        return FLAC__STREAM_ENCODER_WRITE_STATUS_OK;
    };
    std::vector<std::string> parts(1);
    FLAC__stream_encoder_init_stream(encoder, write, nullptr, nullptr, nullptr, &parts);
    std::vector<FLAC__int32> samples;
    for (const auto& frame : frames) samples.insert(samples.end(), frame.begin(), frame.end());
    FLAC__stream_encoder_process_interleaved(encoder, samples.data(), static_cast<unsigned>(frames.size()));
    FLAC__stream_encoder_finish(encoder);
    return parts;
}

std::string Joined(const std::vector<std::string>& parts) {
    std::string all;
    for (const std::string& part : parts) all += part;
    return all;
}

/// `frames` as a signal file holds them. Written the slow way, bit by bit from the format's description.
std::string Pack(int format, const Frames& frames) {
    if (format > 500) return Joined(FlacParts(static_cast<unsigned>(format) - 500, frames));
    std::vector<unsigned> samples;
    for (const auto& frame : frames)
        for (const int sample : frame) samples.push_back(static_cast<unsigned>(sample));
    const std::size_t count = samples.size();
    samples.insert(samples.end(), 2, 0);  // those of the last pair or triple that are not there
    std::string bytes;
    const auto append = [&](unsigned value) { bytes.push_back(static_cast<char>(value & 0xFF)); };
    for (std::size_t i = 0; i < count; ++i) {
        if (format == 310 || format == 311) {
            if (i % 3 > 0) continue;
            const unsigned a = samples[i] & 0x3FF, b = samples[i + 1] & 0x3FF, c = samples[i + 2] & 0x3FF;
            const unsigned word = format == 311 ? a | b << 10 | c << 20
                                                : (a | (c & 0x1F) << 10) << 1 | (b | c >> 5 << 10) << 17;
            for (int shift = 0; shift < 32; shift += 8) append(word >> shift);
        } else if (format == 8) {
            append(samples[i] - (i < frames[0].size() ? 0 : samples[i - frames[0].size()]));
        } else if (format == 61 || format == 160) {
            append(format == 61 ? samples[i] >> 8 : samples[i]);
            append(format == 61 ? samples[i] : (samples[i] + 0x8000) >> 8);
        } else if (format == 212 && i % 2 == 1) {
            append(samples[i]);
        } else if (format == 212) {
            append(samples[i]);
            append((samples[i] >> 8 & 0xF) | (samples[i + 1] >> 8 & 0xF) << 4);
        } else {
            append(format == 80 ? samples[i] + 128 : samples[i]);
            for (int shift = 8; shift < format && format <= 32; shift += 8) append(samples[i] >> shift);
        }
    }
    return bytes;
}

/// Values from `lowest` to `highest`, both of which occur.
Frames RandomFrames(std::size_t frames, std::size_t signals, int lowest, int highest, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> value(lowest, highest);
    Frames all(frames, std::vector<int>(signals));
    for (auto& frame : all)
        for (int& sample : frame) sample = value(random);
    all.front().front() = lowest;
    all.back().back() = highest;
    return all;
}

int Checksum(const Frames& frames, std::size_t signal) {
    unsigned sum = 0;
    for (const auto& frame : frames) sum += static_cast<unsigned>(frame[signal]);
    return static_cast<std::int16_t>(sum & 0xFFFF);
}

class WfdbRecordTest : public testing::Test {
protected:
    std::string Path(const std::string& name) const { return m_folder.Path(name); }
    void Write(const std::string& name, const std::string& bytes) const { m_folder.Write(name, bytes); }
    /// A record "r" with this header, over signal files written before.
    WfdbRecord Open(const std::string& header) const {
        Write("r.hea", header);
        return WfdbRecord(Path("r"));
    }
    /// The message with which the header is refused; empty when it is not.
    std::string Refusal(const std::string& header) const {
        return RefusalOf([&] { Open(header); });
    }

private:
    Folder m_folder;
};

TEST_F(WfdbRecordTest, ReturnsThePhysicalValuesOfEachFormatThroughManyBuffers) {
    // Three signals put the pairs of format 212 across frames, an odd number of samples ends them in the
    // middle.
    constexpr std::size_t kFrames = 20001;
    constexpr int kBaseline = 7;
    constexpr double kUvPerUnit = 1000.0 / 400;
    for (const auto& [format, highest] : {std::pair(8, 63),
                                          {16, 2000},
                                          {24, 2000},
                                          {32, 2000},
                                          {61, 2000},
                                          {80, 127},
                                          {160, 2000},
                                          {212, 2047},
                                          {310, 511},
                                          {311, 511},
                                          {508, 127},
                                          {516, 2000},
                                          {524, 2000}}) {
        const Frames stored = RandomFrames(kFrames, 3, -highest, highest, 1);
        Write("r.dat", Pack(format, stored));
        std::string header = "r 3 500 " + std::to_string(kFrames) + "\n";
        for (std::size_t i = 0; i < 3; ++i) {
            header += "r.dat " + std::to_string(format) + " 400(7)/mV 12 0 0 " +
                      std::to_string(Checksum(stored, i)) + " 0 lead\n";
        }
        WfdbRecord record = Open(header);
        EXPECT_EQ(record.Info().uVpb, 1) << format;
        const Frames read = ReadAll(record);
        ASSERT_EQ(read.size(), kFrames) << format;
        for (std::size_t t = 0; t < kFrames; ++t) {
            for (std::size_t i = 0; i < 3; ++i) {
                ASSERT_EQ(read[t][i], std::lround((stored[t][i] - kBaseline) * kUvPerUnit))
                    << format << " frame " << t;
            }
        }
        EXPECT_THAT(record.Warnings(), IsEmpty()) << format;
    }
}

TEST_F(WfdbRecordTest, PutsFramesTogetherFromSeveralFilesBehindTheirByteOffsets) {
    std::filesystem::create_directories(Path("below"));
    Write("a.dat", "five " + Pack(212, {{1, 2}, {3, 4}, {5, 6}}));
    Write("below/b.dat", Pack(80, {{10}, {-11}, {12}}));
    Write("c.dat",
          std::string(512, '\xFF') + Pack(16, {{-100, 200, 300}, {-101, 201, 301}, {-102, 202, 302}}));
    const std::string header =
        "# before the record line\r\nr 6 360/360(-0.5) 3 10:00:00 01/01/1990\r\n"
        "a.dat 212x1+5 1000 12 0 1 9 0 I\r\n a.dat\t212+5 1000 12 0 2 12 0 II and more\r\n\r\n"
        "below/b.dat 80 1000 8 0 10 11 0 V1\r\n# between\r\n"
        "c.dat 16+512 1000 16 0 0 -303 0 V2\r\nc.dat 16+512 1000\r\nc.dat 16:0+512 1000 16 0 0 903\r\n# Age: "
        "50\r\n";
    WfdbRecord record = Open(header);
    EXPECT_EQ(record.Info().name, "r");
    EXPECT_EQ(record.Info().fs, 360);
    EXPECT_EQ(record.Info().frames, 3);
    EXPECT_THAT(record.Info().leads, ElementsAre("I", "II and more", "V1", "V2", "signal 5", "signal 6"));
    EXPECT_THAT(ReadAll(record),
                ElementsAre(ElementsAre(1, 2, 10, -100, 200, 300), ElementsAre(3, 4, -11, -101, 201, 301),
                            ElementsAre(5, 6, 12, -102, 202, 302)));
    EXPECT_THAT(record.Warnings(), IsEmpty());
    EXPECT_EQ(WfdbRecord(Path("r.hea")).Info().leads.size(), 6U);
}

TEST_F(WfdbRecordTest, BringsUnitsGainsAndBaselinesToMicrovoltsAndLeavesOutWhatIsNotECG) {
    Write("r.dat", Pack(16, {{110, 110, 110, 110, 110, 110, 110, 110, 110, 110}}));
    WfdbRecord record = Open(
        "r 10 250 1\nr.dat 16 100(10)/mV 12 100\nr.dat 16 -100(10)/mV 12 100\nr.dat 16 100 12 10\n"
        "r.dat 16 2.5/uV 12 10\nr.dat 16 2.5/\xC2\xB5V 12 10\n"
        "r.dat 16 0/mmHg 12 0 0 110 0 ABP\nr.dat 16 1e6/V 12 10\nr.dat 16 0.1/nV 12 10\nr.dat 16 5(-4)/NU 12 "
        "0 0 0 0 SpO2\n"
        "r.dat 16 1500 12 10\n");
    EXPECT_THAT(ReadAll(record), ElementsAre(ElementsAre(1000, -1000, 1000, 40, 40, 100, 1, 67)));
    EXPECT_THAT(record.Warnings(), ElementsAre("\"ABP\" left out: its unit \"mmHg\" is not a voltage",
                                               "\"SpO2\" left out: its unit \"NU\" is not a voltage",
                                               "\"SpO2\": checksum: expected 0, found 110"));
}

TEST_F(WfdbRecordTest, FillsInWhatTheHeaderLeavesOutAndShiftsSkewedSignalsIntoStep) {
    Write("r.dat", Pack(212, {{-200}, {0}, {1}}));
    WfdbRecord shortest = Open("r 1\nr.dat 212");
    EXPECT_EQ(shortest.Info().fs, 250);
    EXPECT_EQ(shortest.Info().frames, 3);  // what the file holds
    EXPECT_THAT(shortest.Info().leads, ElementsAre("signal 1"));
    EXPECT_EQ(shortest.Info().AnnotationHz(), 250);
    EXPECT_EQ(ReadAll(shortest), (Frames{{-1000}, {0}, {5}}));
    // The pulse of each signal stands where its skew says; the frames behind the last whole one are lost.
    Write("r.dat", Pack(16, {{0, 0, 0}, {9, 0, 0}, {0, 9, 0}, {0, 0, 0}, {0, 0, 9}, {0, 0, 0}}));
    WfdbRecord skewed =
        Open("r 3 250 6\nr.dat 16:0 1000 12 0 0 9\nr.dat 16:1 1000 12 0 0 9\nr.dat 16:3 1000 12 0 0 9\n");
    EXPECT_EQ(skewed.Info().frames, 3);
    EXPECT_EQ(ReadAll(skewed), (Frames{{0, 0, 0}, {9, 9, 9}, {0, 0, 0}}));
    EXPECT_THAT(skewed.Warnings(), IsEmpty());
}

TEST_F(WfdbRecordTest, ReadsSignalsWithoutAGainAtTheDefaultAndWarns) {
    Write("r.dat", Pack(16, {{110, 110, 110, 110, 110}}));
    WfdbRecord record = Open(
        "r 5 250 1\nr.dat 16\nr.dat 16 0(10)/uV 12 0 0 110 0 V5\nr.dat 16 0 12 20\nr.dat 16 200 12\n"
        "r.dat 16 0/mmHg 12 0 0 110 0 ABP\n");
    EXPECT_EQ(record.Info().uVpb, 5);
    EXPECT_EQ(ReadAll(record), (Frames{{110, 100, 90, 110}}));
    const std::string assumed =
        " is not calibrated: read at 200 units per mV, its amplitudes are not known to be right";
    EXPECT_THAT(record.Warnings(),
                ElementsAre("\"signal 1\"" + assumed, "\"V5\"" + assumed, "\"signal 3\"" + assumed,
                            "\"ABP\" left out: its unit \"mmHg\" is not a voltage"));
}

TEST_F(WfdbRecordTest, ChoosesTheFinestScaleThatTheAdcRangeFits) {
    Write("r.dat", Pack(16, {{-30000, 1}}));
    const struct {
        const char* first;  // calibration of the first signal; the second has 1 uV per unit
        int uVpb;
        int value;
    } cases[] = {
        {"1000 16", 1, -30000},           // 32767 uV either way: just fits
        {"1000 0", 1, -30000},            // resolution not known: that of the format
        {"999 16", 2, -15015},            // 32800 uV
        {"999.98 16", 2, -15000},         // 32767.7 uV round up
        {"1000(1) 16", 1, -30001},        // -32768 is no valid sample
        {"1000 24", 1, -30000},           // the format holds 16 bits of them
        {"1000(-2) 16", 2, -14999},       // the baseline shifts the range beyond 16 bits
        {"1000(0) 16 -1000", 1, -30000},  // the ADC zero cannot shift it beyond the format
        {"500 12 0", 1, -32768},          // the ADC's 12 bits fit; a sample beyond them is clipped
        {"500 16", 2, -30000},           {"200 16", 5, -30000}, {"199 16", 10, -15075}, {"60 16", 20, -25000},
        {"20 16", 50, -30000},           {"10 16", 50, -32768},  // nothing fits: the coarsest scale
    };
    for (const auto& [first, uVpb, value] : cases) {
        WfdbRecord record = Open(std::string("r 2 250 1\nr.dat 16 ") + first + "\nr.dat 16 1000 16\n");
        EXPECT_EQ(record.Info().uVpb, uVpb) << first;
        EXPECT_EQ(ReadAll(record).at(0).at(0), value) << first;
        const bool isClipped = value == -32768;
        EXPECT_EQ(record.Warnings().size(), isClipped ? 1U : 0U) << first;
        if (isClipped) {
            EXPECT_EQ(record.Warnings()[0], "\"signal 1\": 1 samples clipped at 16 bits");
        }
    }
}

TEST_F(WfdbRecordTest, TakesFramesOfSeveralSamplesApartAndLeavesOutSignalsOfAnotherRate) {
    // Pairs of format 212 run on across signals of one, two and three samples.
    Write("r.dat", Pack(212, {{1, 2, 70, 80, 90, 11, 12, 5}, {3, 4, 71, 81, 91, 13, 14, 6}}));
    WfdbRecord record = Open(
        "r 4 125 2\nr.dat 212x2 1000 12 0 0 10 0 I\nr.dat 212x3 1000 12 0 0 483 0 EEG\n"
        "r.dat 212x2 1000 12 0 0 50 0 II\nr.dat 212 1/mmHg 12 0 0 11 0 ABP\n");
    EXPECT_EQ(record.Info().fs, 250);
    EXPECT_EQ(record.Info().AnnotationHz(), 125);
    EXPECT_EQ(record.Info().frames, 4);
    EXPECT_THAT(record.Info().leads, ElementsAre("I", "II"));
    EXPECT_EQ(ReadAll(record), (Frames{{1, 11}, {2, 12}, {3, 13}, {4, 14}}));
    EXPECT_THAT(record.Warnings(), ElementsAre("\"EEG\" left out: its rate is not that of \"I\"",
                                               "\"ABP\" left out: its unit \"mmHg\" is not a voltage"));
    EXPECT_THAT(Refusal("r 1 125 2\nr.dat 212x2:1\n"), HasSubstr("no skew with several samples per frame"));
}

TEST_F(WfdbRecordTest, ReadsFlacOfSeveralSamplesAFrameUpToItsFirstFault) {
    const std::string twice = "d 516x2+3 1000 16 0 0 10 0 I\nd 516x2+3 1000 16 0 0 -32718 0 II\n";
    Write("d", "abc" + Pack(516, {{1, 11}, {2, 12}, {3, -32768}, {4, 27}}));
    WfdbRecord whole = Open("r 2 125 2\n" + twice);
    EXPECT_EQ(ReadAll(whole), (Frames{{1, 11}, {2, 12}, {3, 12}, {4, 27}}));
    EXPECT_THAT(whole.Warnings(), ElementsAre("\"II\": 1 invalid samples, value before held"));

    const Frames frames = RandomFrames(192 * 3, 2, -100, 100, 1);
    const std::vector<std::string> parts = FlacParts(16, frames);
    std::string damaged = parts[2];
    damaged[damaged.size() / 2] ^= 1;
    const std::string cut = parts[3].substr(0, parts[3].size() - 1);
    const struct {
        std::vector<std::string> parts;
        std::size_t whole;
    } cases[] = {
        {parts, 576},
        {{parts[0], parts[1], parts[2], cut}, 384},
        {{parts[0], parts[1], parts[2]}, 384},
        {{parts[0], parts[1], damaged, parts[3]}, 192},
        {{parts[0], parts[1], parts[3]}, 192},
        {{parts[0], parts[1], FlacParts(16, Frames(576, {0}))[2], parts[3]}, 192},
        {{parts[0], parts[1], FlacParts(24, frames)[2], parts[3]}, 192},
    };
    for (const auto& one : cases) {
        Write("d", Joined(one.parts));
        WfdbRecord record = Open("r 2 250 576\nd 516 1000\nd 516 1000\n");
        const Frames expected(frames.begin(), frames.begin() + static_cast<std::ptrdiff_t>(one.whole));
        EXPECT_EQ(ReadAll(record), expected) << one.parts.size() << " parts, " << one.whole;
        if (one.whole == 576)
            EXPECT_THAT(record.Warnings(), IsEmpty());
        else
            EXPECT_THAT(record.Warnings(),
                        ElementsAre("\"d\": damaged or cut off, read up to there",
                                    "ends early: " + std::to_string(one.whole) + " of 576 frames"));
    }
    EXPECT_THAT(Refusal("r 1 250\nd 516\n"), HasSubstr("one FLAC channel for each signal, 1, found 2"));
    EXPECT_THAT(Refusal("r 2 250\nd 508\nd 508\n"), HasSubstr("at most 8 bits per sample, found 16"));
    EXPECT_THAT(Refusal("r 2 250\nd 516x2\nd 516\n"), HasSubstr("2 and 1 samples per frame"));
    for (const auto& [blockFrames, isRefused] : {std::pair(8192U, false), {16384U, true}}) {
        Write("d", Joined(FlacParts(16, Frames(blockFrames * 40UL, {0}), blockFrames)));
        EXPECT_EQ(Refusal("r 1 250\nd 516\n") == "", !isRefused) << blockFrames;
    }
    Write("d", parts[0]);
    EXPECT_THAT(Refusal("r 2 250\nd 516\nd 516\n"), HasSubstr("expected at least one frame of FLAC"));
    EXPECT_THAT(Refusal("r 2 250\nd 516+4\nd 516+4\n"), HasSubstr("expected a FLAC stream, found none"));
}

TEST_F(WfdbRecordTest, ChoosesTheScaleOfWideFormatsByTheRangeThatTheyUse) {
    const std::string other = "s.dat 16 1000 16\n";
    Write("s.dat", Pack(16, {{1}, {-2}}));
    for (const int format : {24, 32, 524}) {
        const std::string line =
            "w.dat " + std::to_string(format) + " 10000(100) " + std::to_string(format % 100) + "\n";
        const int lowest = format != 32 ? -8388608 : std::numeric_limits<int>::min();
        Write("w.dat", Pack(format, {{320100}, {lowest}}));  // 32 mV, and a sample that is not valid
        WfdbRecord fine = Open("r 2 250\n" + line + other);
        EXPECT_EQ(fine.Info().uVpb, 1);
        EXPECT_EQ(ReadAll(fine), (Frames{{32000, 1}, {32000, -2}}));
        Write("w.dat", Pack(format, {{320100}, {-839900}}));  // 32 and -84 mV
        WfdbRecord coarse = Open("r 2 250\n" + line + other);
        EXPECT_EQ(coarse.Info().uVpb, 5);
        EXPECT_EQ(ReadAll(coarse), (Frames{{6400, 0}, {-16800, 0}}));
    }
}

TEST_F(WfdbRecordTest, HoldsTheValueBeforeASampleMarkedInvalid) {
    for (const auto& [format, marker] : {std::pair(16, -32768),
                                         {24, -8388608},
                                         {80, -128},
                                         {160, -32768},
                                         {212, -2048},
                                         {310, -512},
                                         {508, -128}}) {
        Write("r.dat", Pack(format, {{marker, 20}, {30, marker}, {marker, marker}, {marker + 1, 21}}));
        const std::string line = "r.dat " + std::to_string(format) + " 1000 12 10\n";
        WfdbRecord record = Open("r 2 250\n" + line + line);
        EXPECT_THAT(ReadAll(record), ElementsAre(ElementsAre(0, 10), ElementsAre(20, 10), ElementsAre(20, 10),
                                                 ElementsAre(testing::AnyOf(marker - 9, -32768), 11)));
        EXPECT_THAT(record.Warnings(),
                    testing::IsSupersetOf({"\"signal 1\": 2 invalid samples, value before held",
                                           "\"signal 2\": 2 invalid samples, value before held"}));
    }
}

TEST_F(WfdbRecordTest, TellsWhereAFileHoldsItsFramesAsTheyAreGiven) {
    Write("r.dat", "four" + Pack(16, {{1, -2}, {300, -400}, {5, 6}}));
    Write("s.dat", Pack(16, {{1}, {2}, {3}}));
    const std::string plain = "r.dat 16+4 500(0)/mV 16\n";
    const auto stored = [&](const std::string& signals) { return Open("r 2 500 2\n" + signals).Stored(); };
    const std::optional<StoredFrames> frames = stored(plain + plain);
    ASSERT_TRUE(frames);
    EXPECT_EQ(frames->byteOffset, 4);
    EXPECT_EQ(frames->frames, 2);
    EXPECT_EQ(frames->file.Path(), Path("r.dat"));
    for (const std::string other :
         {"r.dat 16+4 500(1)/mV 16\n", "r.dat 16+4 1000(0)/mV 16\n", "r.dat 16+4 500(0)/mmHg 16\n",
          "r.dat 16:1+4 500(0)/mV 16\n", "r.dat 61+4 500(0)/mV 16\n", "s.dat 16 500(0)/mV 16\n"})
        EXPECT_FALSE(stored((other[6] == '6' ? other : plain) + other)) << other;
    EXPECT_FALSE(stored("r.dat 16x2+4 500(0)/mV 16\nr.dat 16x2+4 500(0)/mV 16\n"));
}

TEST_F(WfdbRecordTest, StopsAtTheAnnouncedLengthOrEarlyWithAWarning) {
    Write("r.dat", Pack(212, {{1, 2}, {3, 4}, {5, 6}}).substr(0, 8));  // the third frame lacks a byte
    Write("s.dat", Pack(16, {{7}, {8}, {9}}));
    const std::string files = "r.dat 212 1000 12 0 1 4 0 I\nr.dat 212 1000 12 0 2 99 0 II\n";
    const auto warningsOf = [&](const std::string& header, std::size_t frames, long long announced) {
        WfdbRecord record = Open(header);
        EXPECT_EQ(record.Info().frames, announced);
        EXPECT_EQ(ReadAll(record).size(), frames);
        return record.Warnings();
    };
    const std::string badSum = "\"II\": checksum: expected 99, found 6";
    EXPECT_THAT(
        warningsOf("r 2 250 1\n" + files, 1, 1),
        ElementsAre("\"I\": checksum: expected 4, found 1", "\"II\": checksum: expected 99, found 2"));
    EXPECT_THAT(warningsOf("r 2 250 2\n" + files, 2, 2), ElementsAre(badSum));
    EXPECT_THAT(warningsOf("r 2 250 9\n" + files, 2, 9), ElementsAre("ends early: 2 of 9 frames"));
    EXPECT_THAT(warningsOf("r 2 250\n" + files, 2, 2), IsEmpty());  // without a length the sums say nothing
    EXPECT_THAT(warningsOf("r 3 250\n" + files + "s.dat 16 200", 2, 2),
                ElementsAre("ends early: 2 of 3 frames"));
}

TEST_F(WfdbRecordTest, RefusesEveryHeaderItCannotReadFaithfully) {
    Write("r.dat", Pack(16, {{1}, {2}}));
    Write("q.dat", Pack(16, {{1}, {2}}));
    Write("short.dat", "abcd");
    const std::string line = "r.dat 16 200 12 0 0 0 0 I\n";
    const struct {
        std::string header;
        const char* fragment;
    } cases[] = {
        {"", "line 1: expected the record line, found the end"},
        {std::string("r 1 250\0", 8), "expected a text of at most 4194304 bytes, found a zero byte"},
        {std::string((4 << 20) + 1, '#'), "bytes, found 4194305"},
        {"r\n" + line, "line 1: expected the number of signals, found the end of the line"},
        {"r/1 1 250\n" + line, "expected a record of one piece, found segments"},
        {"r 0 250\n", "found zero signals"},
        {"r 257 250\n", "number of signals: expected 0 to 256, found 257"},
        {"r 1 fast\n" + line, "line 1: malformed sampling rate: \"fast\""},
        {"r 1 99.9\n" + line, "sampling rate: expected 100 to 10000 Hz, found 99.9"},
        {"r 1 10001\n" + line, "sampling rate: expected 100 to 10000 Hz, found 10001"},
        {"r 2 250\n" + line, "line 3: expected 2 signals, found the end after 1"},
        {"r 1 250\n" + line + line, "line 3: expected the end after 1 signals, found \"r.dat"},
        {"r 1 250\n\nr.dat 62\n", "line 3: unknown format 62: expected 8, 16, 24, 32, 61, 80, 160,"},
        {"r 1 250\nr.dat 16:-1\n", "skew is negative: -1"},
        {"r 1 250\nr.dat 16:2\n", "expected more frames than the skew of 2, found 2"},
        {"r 1 250\nr.dat 16 1e-320\n", "gain"},
        {"r 1 250\nr.dat 16 200 12 0 0 70000\n", "checksum: expected -32768 to 65535, found 70000"},
        {"r 1 250\nr.dat 16 1/mmHg\n", "found no signal in a unit of voltage"},
        {"r 1 250\n/etc/hostname 16\n", "expected a file in the directory of the header, found \"/etc"},
        {"r 1 250\nbelow/../../r.dat 16\n", "expected a file in the directory of the header"},
        {"r 1 250\nnone.dat 16\n", "none.dat: cannot be opened"},
        {"r 1 250\n. 16\n", "expected a file, found a folder"},
        {"r 3 250\nshort.dat 16\nshort.dat 16\nshort.dat 16\n",
         "expected at least one frame of 6 bytes, found 4"},
        {"r 1 250\nr.dat 16+9223372036854775807\n", "expected at least one frame of 2 bytes, found 0"},
        {"r 3 250\nr.dat 16\nq.dat 16\nr.dat 16\n",
         "line 4: expected the signals of \"r.dat\" one after another"},
        {"r 2 250\nr.dat 16\nr.dat 16+2\n", "with one format and byte offset"},
    };
    for (const auto& [header, fragment] : cases) {
        const std::string message = Refusal(header);
        EXPECT_THAT(message, HasSubstr(fragment)) << header.substr(0, 80);
        EXPECT_EQ(message.rfind(Path(""), 0), 0U) << "names no file: " << message;
        EXPECT_EQ(message.find_first_of("\r\n\t"), std::string::npos) << message;
    }
    EXPECT_EQ(Refusal("r 1 360.0\n" + line), "");
    EXPECT_EQ(Refusal("r 1 100\n" + line) + Refusal("r 1 2000\n" + line), "");
}

TEST_F(WfdbRecordTest, ReportsASignalFileThatShrinksWhileItIsRead) {
    Write("r.dat", std::string(100000, 'x'));
    WfdbRecord record = Open("r 1 250\nr.dat 80\n");
    short sample = 0;
    ASSERT_TRUE(record.Read(&sample));
    std::filesystem::resize_file(Path("r.dat"), 10);
    EXPECT_THROW(ReadAll(record), HostError);
}

}  // namespace
