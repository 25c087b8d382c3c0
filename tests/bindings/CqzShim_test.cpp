// The behaviour of the four binding classes, behind the C header that stands for them. Built twice: over the
// flat interface, which is what Swift uses on Linux, and over the Objective-C classes themselves.
#include "CqzShim.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "api/qzDfs.h"
#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "core/stress/ExerciseIndices.h"
#include "tests/support/Beats.h"

namespace {

using testing::Each;

struct Release {
    void operator()(CqzStressTemplLib* self) const { CqzStressTemplLib_release(self); }
    void operator()(CqzFiltersLib* self) const { CqzFiltersLib_release(self); }
    void operator()(CqzDfsLib* self) const { CqzDfsLib_release(self); }
    void operator()(CqzMeanRRmsLib* self) const { CqzMeanRRmsLib_release(self); }
};
using Stress = std::unique_ptr<CqzStressTemplLib, Release>;
using Filters = std::unique_ptr<CqzFiltersLib, Release>;
using Dfs = std::unique_ptr<CqzDfsLib, Release>;
using MeanRRms = std::unique_ptr<CqzMeanRRmsLib, Release>;

using Row = std::vector<short>;
using Rows = std::vector<Row>;

/// A copy of a result; nothing for nil.
std::optional<Row> Copy(CqzSamples result) {
    if (result.count < 0) return std::nullopt;
    return Row(result.values, result.values + result.count);
}
std::optional<std::vector<float>> Copy(CqzFloats result) {
    if (result.count < 0) return std::nullopt;
    return std::vector<float>(result.values, result.values + result.count);
}
std::optional<Rows> Copy(CqzTemplate result) {
    if (result.rows < 0) return std::nullopt;
    Rows rows;
    for (const short* row = result.samples; rows.size() < static_cast<std::size_t>(result.rows);
         row += result.length)
        rows.emplace_back(row, row + result.length);
    return rows;
}

constexpr short kFs = 250;
constexpr short kLength = 200, kPosR = 80, kQ = 65, kJ = 95, kPostJms = 60;  // of the first beat, samples

std::optional<Rows> RestTempl(const Stress& stress, const Rows& rows, short q = kQ, short j = kJ) {
    Row samples;
    std::vector<std::size_t> lengths;
    for (const Row& row : rows) {
        samples.insert(samples.end(), row.begin(), row.end());
        lengths.push_back(row.size());
    }
    return Copy(CqzStressTemplLib_restTempl(stress.get(), samples.data(), lengths.data(), rows.size(), q, j,
                                            kPostJms));
}

Rows Beat(std::size_t leads, int length = kLength) { return MakeTemplate(kFs, leads, length, kPosR).Rows(); }

std::optional<Rows> Match(const Stress& stress, const Row& frame) {
    return Copy(CqzStressTemplLib_match(stress.get(), frame.data(), frame.size()));
}
std::optional<Row> Filter(const Filters& filters, const Row& frame) {
    return Copy(CqzFiltersLib_filters(filters.get(), frame.data(), frame.size()));
}
std::optional<Row> Double(const Dfs& dfs, const Row& frame) {
    return Copy(CqzDfsLib_getData(dfs.get(), frame.data(), frame.size()));
}

Row FrameOf(const Recording& recording, std::size_t i) {
    const auto from = recording.samples.begin() + static_cast<std::ptrdiff_t>(i * recording.leads);
    return {from, from + static_cast<std::ptrdiff_t>(recording.leads)};
}

Stress Created(short leads) {
    Stress stress(CqzStressTemplLib_init());
    EXPECT_TRUE(CqzStressTemplLib_create(stress.get(), kFs, leads, 2.5, false));
    return stress;
}

/// Every answer of a handle that depends on a template or an engine.
void ExpectNothing(const Stress& stress, const Row& frame) {
    EXPECT_EQ(Match(stress, frame), std::nullopt);
    EXPECT_EQ(Copy(CqzStressTemplLib_getTempl(stress.get())), std::nullopt);
    EXPECT_EQ(Copy(CqzStressTemplLib_getSTuv(stress.get())), std::nullopt);
    EXPECT_EQ(Copy(CqzStressTemplLib_getSTslope(stress.get())), std::nullopt);
}

class Shim : public testing::Test {
protected:
    ~Shim() override {
        qzStressECGLib_destroy();
        qzFilters_destroy();
        qzDfs_destroy();
        qzStressECGLib_InitMultiMeanRRms(0, 0, 0, 1.0);
    }
};

/// All answers of a minute, in order, as numbers.
class Answers {
public:
    template <typename T>
    void Add(const std::vector<T>& values) {
        m_answers.insert(m_answers.end(), values.begin(), values.end());
    }
    void Add(double value) { m_answers.push_back(value); }
    bool operator==(const Answers&) const = default;
    std::size_t Size() const { return m_answers.size(); }

private:
    std::vector<double> m_answers;
};

constexpr int kRRms = 812;  // 203 samples, 73.89 beats/min: the two roundings differ

/// The five intervals of the many-lead average outlive every set-up: these make them kRRms.
void FillRRAverage() {
    auto recording = BeatTrain(kFs, 1).Beats(kRRms, 20).Record();
    qzStressECGLib_InitMultiMeanRRms(kFs, 1, 0, 5.0);
    for (short& sample : recording.samples) qzStressECGLib_MultiMeanRRms(&sample);
}

// Under the address sanitizer every boxed number costs a walk up the stack: a tenth of the minute is enough.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kBeats = 8;
#elif defined(__has_feature)
constexpr int kBeats = __has_feature(address_sanitizer) ? 8 : 80;
#else
constexpr int kBeats = 80;
#endif

TEST_F(Shim, GivesTheAnswersOfTheFlatInterfaceToTheBitThroughAMinuteOf12Leads) {
    constexpr short kLeads = 12;
    constexpr double kUVpb = 2.5;
    const Rows beat = Beat(kLeads);
    auto minute = BeatTrain(kFs, kLeads)
                      .Beats(800, kBeats / 2)
                      .Form({1.03, -0.15, 950})
                      .Beats(700, kBeats / 2)
                      .Noise(8, 11)
                      .Record();
    Answers flat, shim;
    int folds = 0;
    {
        qzFilters_create(kFs, kLeads, 40, 50, 1);
        qzDfs_create(kLeads, kUVpb);
        qzStressECGLib_create(kFs, kLeads, kUVpb);
        FillRRAverage();
        qzStressECGLib_InitMultiMeanRRms(kFs, kLeads, 50, kUVpb);
        auto rows = MakeTemplate(kFs, kLeads, kLength, kPosR);
        short length = kLength;
        qzStressECGLib_InitTempl(rows.Pointers(), length, kQ, kJ, kPostJms);
        for (std::size_t i = 0; i < minute.Frames(); ++i) {
            Row frame = FrameOf(minute, i);
            qzFilters_filters(frame.data());
            flat.Add(frame);
            for (const Row& row : qzDfs_getData(frame.data())) flat.Add(row);
            const short rr = std::max<short>(qzStressECGLib_MultiMeanRRms(frame.data()), 0);
            flat.Add(i % 2 == 0 ? rr : HeartRateOfManyLeads(rr));
            flat.Add(HeartRateOfThreeLeads(qzStressECGLib_MeanRRms(frame[0], frame[1], frame[2])));
            short** templ = qzStressECGLib_match(frame.data());
            if (templ == nullptr) continue;
            ++folds;
            for (std::size_t c = 0; c < kLeads; ++c) flat.Add(Row(templ[c], templ[c] + length));
            const short* level = qzStressECGLib_uvSTvalue();
            const float* slope = qzStressECGLib_STslope();
            flat.Add(Row(level, level + kLeads));
            flat.Add(std::vector<float>(slope, slope + kLeads));
        }
    }
    {
        const Filters filters(CqzFiltersLib_initWith(kFs, kLeads, 40, 50, 1));
        const Dfs dfs(CqzDfsLib_initWith(kLeads, kUVpb));
        const Stress stress = Created(kLeads);
        FillRRAverage();
        const MeanRRms meanRR(CqzMeanRRmsLib_initWith(kFs, kLeads, 50, kUVpb));
        EXPECT_EQ(RestTempl(stress, beat), beat) << "short enough to be kept as it is";
        for (std::size_t i = 0; i < minute.Frames(); ++i) {
            const Row raw = FrameOf(minute, i), frame = Filter(filters, raw).value();
            shim.Add(frame);
            shim.Add(Double(dfs, frame).value());
            shim.Add((i % 2 == 0 ? CqzMeanRRmsLib_meanRRms : CqzMeanRRmsLib_meanHR)(
                meanRR.get(), frame.data(), frame.size()));
            shim.Add(CqzStressTemplLib_getMeanHR(stress.get(), frame[0], frame[1], frame[2]));
            const auto templ = Match(stress, frame);
            if (!templ) continue;
            for (const Row& row : *templ) shim.Add(row);
            shim.Add(Copy(CqzStressTemplLib_getSTuv(stress.get())).value());
            shim.Add(Copy(CqzStressTemplLib_getSTslope(stress.get())).value());
        }
    }
    EXPECT_GT(folds, kBeats / 2);
    EXPECT_GT(flat.Size(), 6000U * kBeats);
    EXPECT_TRUE(flat == shim);
}

// -- Stress engine

TEST_F(Shim, StressAnswersWithNothingBeforeRestTemplAndAfterDestroy) {
    const Stress stress(CqzStressTemplLib_init());
    const Row frame(12, 100);
    for (int round = 0; round < 3; ++round) {
        ExpectNothing(stress, frame);
        EXPECT_EQ(Copy(CqzStressTemplLib_getPos(stress.get())), std::nullopt);
        EXPECT_EQ(CqzStressTemplLib_getMeanHR(stress.get(), 1, 2, 3), 0);
        CqzStressTemplLib_setPos(stress.get(), 10, 20);
        CqzStressTemplLib_setPostJms(stress.get(), 60);
        if (round == 0) {
            EXPECT_EQ(RestTempl(stress, Beat(12)), std::nullopt) << "no engine";
            EXPECT_TRUE(CqzStressTemplLib_create(stress.get(), kFs, 12, 2.5, true));
        } else {
            EXPECT_EQ(RestTempl(stress, Beat(12)).has_value(), round == 1);
            CqzStressTemplLib_destroy(stress.get());
            CqzStressTemplLib_destroy(stress.get());
        }
    }
}

TEST_F(Shim, StressTellsThePositionsInTheirOrderAndMovesThem) {
    const Stress stress = Created(2);
    EXPECT_EQ(RestTempl(stress, Beat(2, 500))->front().size(), 200U) << "800 ms";
    RestTempl(stress, Beat(2));
    short r = 0, q = 0, j = 0, ms = 0;
    qzStressECGLib_GetPos(r, q, j, ms);
    const CqzSamples pos = CqzStressTemplLib_getPos(stress.get());
    EXPECT_EQ(Copy(pos), Row({q, j, ms, r}));
    EXPECT_EQ(q, kQ - 3) << "12 ms";
    CqzStressTemplLib_setPos(stress.get(), 51, 102);
    CqzStressTemplLib_setPostJms(stress.get(), 80);
    EXPECT_EQ(CqzStressTemplLib_getPos(stress.get()).values, pos.values) << "the same array";
    EXPECT_EQ(Copy(pos), Row({51, 102, 80, r}));
}

TEST_F(Shim, StressTakesTheLengthOfTheLastRowAndFillsShorterOnesWith0) {
    const Stress stress = Created(3);
    const Rows beat = Beat(3);
    Rows uneven = beat;
    uneven[0].resize(75);
    uneven[1].resize(250, 77);
    uneven.push_back(Row(20, 5));  // surplus
    const auto rows = RestTempl(stress, uneven);
    ASSERT_TRUE(rows);
    Rows expected = beat;
    std::fill(expected[0].begin() + 75, expected[0].end(), short{0});
    EXPECT_EQ(*rows, expected);
    EXPECT_EQ(RestTempl(stress, {beat[0], beat[1]}), std::nullopt) << "a row is missing";
    EXPECT_EQ(RestTempl(stress, {}), std::nullopt);
    EXPECT_EQ(Copy(CqzStressTemplLib_getTempl(stress.get())), expected) << "what there was stays";
}

TEST_F(Shim, StressReadsMissingSamplesAs0IgnoresSurplusOnesAndRefillsOneArray) {
    auto recording = BeatTrain(kFs, 3).Beats(700, 12).Noise(5, 3).Record();
    std::vector<Rows> folded[3];  // whole frames with the last lead 0, short frames, long frames
    for (int shape = 0; shape < 3; ++shape) {
        const Stress stress = Created(3);
        const short* samples = nullptr;
        RestTempl(stress, Beat(3));
        for (std::size_t i = 0; i < recording.Frames(); ++i) {
            Row frame = FrameOf(recording, i);
            frame[2] = 0;
            if (shape == 1) frame.resize(2);
            if (shape == 2) frame.resize(40, 999);
            const CqzTemplate templ = CqzStressTemplLib_match(stress.get(), frame.data(), frame.size());
            if (templ.rows < 0) continue;
            folded[shape].push_back(Copy(templ).value());
            EXPECT_TRUE(samples == nullptr || samples == templ.samples);
            samples = templ.samples;
        }
        EXPECT_EQ(Match(stress, {}), std::nullopt);
    }
    ASSERT_GT(folded[0].size(), 5U);
    EXPECT_NE(folded[0][0], folded[0][1]);
    EXPECT_EQ(folded[1], folded[0]);
    EXPECT_EQ(folded[2], folded[0]);
}

TEST_F(Shim, StressCannotBeBuiltForANegativeNumberOfLeadsAndIsEmptyForNone) {
    const Stress stress = Created(2);
    RestTempl(stress, Beat(2));
    EXPECT_FALSE(CqzStressTemplLib_create(stress.get(), kFs, -1, 2.5, false));
    ExpectNothing(stress, {1, 2});
    EXPECT_EQ(RestTempl(stress, Beat(2)), std::nullopt);
    EXPECT_EQ(qzStressECGLib_getTempl(), nullptr);
    EXPECT_TRUE(CqzStressTemplLib_create(stress.get(), kFs, 0, 2.5, false));
    RestTempl(stress, Beat(2));
    EXPECT_EQ(Match(stress, {1, 2}), std::nullopt);
}

TEST_F(Shim, StressKeepsTheArraysOfItsLastTemplateThroughACreateForOtherLeads) {
    const Stress stress = Created(2);
    RestTempl(stress, Beat(2));
    for (const short leads : std::initializer_list<short>{3, 1}) {
        EXPECT_TRUE(CqzStressTemplLib_create(stress.get(), kFs, leads, 2.5, false));
        ExpectNothing(stress, {1, 2, 3});
        const Rows beat = Beat(static_cast<std::size_t>(leads));
        EXPECT_EQ(RestTempl(stress, beat), beat);
        EXPECT_EQ(Copy(CqzStressTemplLib_getSTuv(stress.get()))->size(), beat.size());
    }
}

TEST_F(Shim, StressHandlesOfOtherLeadsFindNothingAndDisturbNothing) {
    const Stress first = Created(2);
    RestTempl(first, Beat(2));
    const Stress second = Created(12);
    const Rows beat = Beat(12);
    EXPECT_EQ(RestTempl(second, beat), beat);
    for (int i = 0; i < 200; ++i) ExpectNothing(first, {30000, -30000});
    EXPECT_EQ(RestTempl(first, Beat(2)), std::nullopt);
    EXPECT_EQ(RestTempl(first, beat), std::nullopt);
    EXPECT_EQ(Copy(CqzStressTemplLib_getTempl(second.get())), beat);

    const Stress third = Created(1);  // now the engine is smaller
    RestTempl(third, Beat(1));
    ExpectNothing(first, {1, 2});
    ExpectNothing(second, Row(12, 1));
    EXPECT_EQ(RestTempl(second, beat), std::nullopt);
}

TEST_F(Shim, StressHandlesOfAsManyLeadsShareTheTemplate) {
    const Stress first = Created(2);
    const Rows beat = Beat(2);
    RestTempl(first, beat);
    Stress second = Created(2);
    EXPECT_EQ(Copy(CqzStressTemplLib_getTempl(first.get())), std::nullopt) << "a new engine has none";
    const Rows shorter = MakeTemplate(kFs, 2, 150, kPosR, {1.2, 0.1, 500}).Rows();
    EXPECT_EQ(RestTempl(second, shorter), shorter);
    Rows mixed = shorter;  // the rows keep their length, the template fills as much of them as it has
    for (std::size_t c = 0; c < 2; ++c) mixed[c].insert(mixed[c].end(), beat[c].begin() + 150, beat[c].end());
    EXPECT_EQ(Copy(CqzStressTemplLib_getTempl(first.get())), mixed);
    second.reset();
    EXPECT_EQ(Copy(CqzStressTemplLib_getTempl(first.get())), mixed) << "released, not destroyed";
    CqzStressTemplLib_destroy(Stress(CqzStressTemplLib_init()).get());
    ExpectNothing(first, {1, 2});
}

TEST_F(Shim, StressShowsTheHeartRateOfThreeLeadsFromCreateOn) {
    auto recording = BeatTrain(kFs, 3).Beats(kRRms, 20).Record();
    const Stress stress = Created(12);
    std::vector<short> rates;
    for (std::size_t i = 0; i < recording.Frames(); ++i) {
        const Row frame = FrameOf(recording, i);
        const short rate = CqzStressTemplLib_getMeanHR(stress.get(), frame[0], frame[1], frame[2]);
        if (rate != 0) rates.push_back(rate);
    }
    EXPECT_GT(rates.size(), 10U);
    EXPECT_THAT(rates, Each(74));
}

// -- Filter chain

TEST_F(Shim, FiltersEchoesFramesOfAnotherNumberOfSamples) {
    const Filters filters(CqzFiltersLib_init());
    const Row frame = {100, 200, 300, 400};
    const auto answer = [&](std::size_t count) {
        return CqzFiltersLib_filters(filters.get(), frame.data(), count).values;
    };
    EXPECT_EQ(answer(4), frame.data()) << "no leads yet";
    EXPECT_FALSE(CqzFiltersLib_update(filters.get(), kFs, 40, 0, 0));
    EXPECT_TRUE(CqzFiltersLib_create(filters.get(), kFs, 3, 40, 0, 0));
    EXPECT_EQ(answer(4), frame.data());
    EXPECT_EQ(answer(2), frame.data());
    const short* own = answer(3);
    EXPECT_NE(own, frame.data());
    EXPECT_EQ(answer(3), own) << "the same array";
    EXPECT_EQ(frame, Row({100, 200, 300, 400}));
}

TEST_F(Shim, FiltersRebuildsWithItsOwnLeadsOnUpdateAndKeepsSwitchedOffHistories) {
    const Filters filters(CqzFiltersLib_initWith(kFs, 2, 40, 0, 0));
    const Row first = Filter(filters, {1000, -1000}).value();
    EXPECT_NE(first, Row({1000, -1000}));
    // Without leads of its own a handle leaves the chain alone. Its release would not: it is kept to the end.
    const Filters other(CqzFiltersLib_init());
    EXPECT_FALSE(CqzFiltersLib_update(other.get(), kFs, 10, 0, 0));
    const Row second = Filter(filters, {1000, -1000}).value();
    EXPECT_NE(second, first) << "the chain went on";
    CqzFiltersLib_switchFilters(filters.get(), false, true, true);
    EXPECT_EQ(Filter(filters, {7, 8}), Row({7, 8})) << "the one stage is off";
    CqzFiltersLib_switchFilters(filters.get(), true, false, false);
    EXPECT_NE(Filter(filters, {1000, -1000}), first) << "it resumed";
    EXPECT_TRUE(CqzFiltersLib_update(filters.get(), kFs, 40, 0, 0));
    EXPECT_EQ(Filter(filters, {1000, -1000}), first) << "history gone";
}

TEST_F(Shim, FiltersReturnsWhatItGotWithoutAChainOrWithOneForOtherLeads) {
    const Filters first(CqzFiltersLib_initWith(kFs, 2, 40, 50, 2));
    const Row frame = {3000, -3000};
    {
        const Filters second(CqzFiltersLib_initWith(kFs, 12, 40, 50, 2));
        for (int i = 0; i < 100; ++i) EXPECT_EQ(Filter(first, frame), frame);
        EXPECT_NE(Filter(second, Row(12, 3000)), Row(12, 3000));
        EXPECT_TRUE(CqzFiltersLib_update(first.get(), kFs, 40, 0, 0));
        EXPECT_NE(Filter(first, frame), frame);
        EXPECT_EQ(Filter(second, Row(12, 3000)), Row(12, 3000));
    }
    EXPECT_EQ(Filter(first, frame), frame) << "the released handle took the chain along";
    EXPECT_TRUE(CqzFiltersLib_update(first.get(), kFs, 40, 0, 0));
    CqzFiltersLib_destroy(first.get());
    CqzFiltersLib_destroy(first.get());
    EXPECT_EQ(Filter(first, frame), frame);
    EXPECT_EQ(Filter(first, {1}), Row({1}));
}

TEST_F(Shim, FiltersCannotBeBuiltForANegativeNumberOfLeads) {
    const Filters filters(CqzFiltersLib_initWith(kFs, 2, 40, 50, 2));
    EXPECT_FALSE(CqzFiltersLib_create(filters.get(), kFs, -1, 40, 50, 2));
    EXPECT_EQ(Filter(filters, {3000, 4000}), Row({3000, 4000})) << "still two leads, but no chain";
    EXPECT_TRUE(CqzFiltersLib_update(filters.get(), kFs, 40, 0, 0));
    EXPECT_NE(Filter(filters, {3000, 4000}), Row({3000, 4000}));
    const Filters none(CqzFiltersLib_initWith(kFs, -3, 40, 50, 2));
    EXPECT_FALSE(CqzFiltersLib_update(none.get(), kFs, 40, 0, 0));
}

// -- Doubler

TEST_F(Shim, DfsGivesTheRowOfMidpointsAndThenTheRowOfSamples) {
    const Dfs dfs(CqzDfsLib_initWith(2, 2.5));
    Row doubled;
    const short* array = nullptr;
    for (short i = 0; i < 8; ++i) {  // two ramps; the third sample is not a lead
        const Row frame = {static_cast<short>(10 * i), static_cast<short>(-20 * i), 999};
        const CqzSamples result = CqzDfsLib_getData(dfs.get(), frame.data(), frame.size());
        EXPECT_TRUE(array == nullptr || result.values == array) << "the same array";
        array = result.values;
        doubled = Copy(result).value();
    }
    EXPECT_EQ(doubled, Row({55, -110, 60, -120}));
}

TEST_F(Shim, DfsAnswersNilForShortFramesWithoutLeadsAndWithoutItsDoubler) {
    const Dfs first(CqzDfsLib_init());
    EXPECT_EQ(Double(first, {1, 2, 3}), std::nullopt);
    EXPECT_TRUE(CqzDfsLib_create(first.get(), 0, 1.0));
    EXPECT_EQ(Double(first, {1, 2, 3}), std::nullopt);
    EXPECT_TRUE(CqzDfsLib_create(first.get(), 3, 1.0));
    EXPECT_EQ(Double(first, {1, 2}), std::nullopt);
    EXPECT_EQ(Double(first, {}), std::nullopt);
    EXPECT_EQ(Double(first, {1, 2, 3})->size(), 6U);
    EXPECT_FALSE(CqzDfsLib_create(first.get(), -1, 1.0));
    EXPECT_EQ(Double(first, {1, 2, 3}), std::nullopt);
    {
        const Dfs second(CqzDfsLib_initWith(12, 1.0));
        EXPECT_EQ(Double(first, {1, 2, 3}), std::nullopt) << "a doubler for 12";
        EXPECT_EQ(Double(second, Row(12))->size(), 24U);
        EXPECT_TRUE(CqzDfsLib_create(first.get(), 3, 1.0));
        EXPECT_EQ(Double(second, Row(12)), std::nullopt) << "a doubler for 3";
        EXPECT_TRUE(Double(first, {1, 2, 3}));
    }
    EXPECT_EQ(Double(first, {1, 2, 3}), std::nullopt) << "the released handle took it along";
    CqzDfsLib_destroy(first.get());
    CqzDfsLib_destroy(first.get());
    EXPECT_EQ(Double(first, {1, 2, 3}), std::nullopt);
}

// -- Many-lead heart rate

/// The answers other than 0 to a regular rhythm in 4 leads; `width` is the samples of a frame.
Row Rates(const MeanRRms& meanRR, std::int16_t (*feed)(CqzMeanRRmsLib*, const std::int16_t*, std::size_t),
          std::size_t width, short missing = 0) {
    auto recording = BeatTrain(kFs, 4).Beats(kRRms, 14).Record();
    Row answers;
    for (std::size_t i = 0; i < recording.Frames(); ++i) {
        Row frame = FrameOf(recording, i);
        std::fill(frame.end() - missing, frame.end(), short{0});
        frame.resize(width, 12345);
        if (const short answer = feed(meanRR.get(), frame.data(), frame.size()); answer != 0)
            answers.push_back(answer);
    }
    return answers;
}

TEST_F(Shim, MeanRRmsAnswersOnTheBeatsWhateverTheLengthOfTheFrames) {
    const MeanRRms meanRR(CqzMeanRRmsLib_init());
    EXPECT_EQ(Rates(meanRR, CqzMeanRRmsLib_meanRRms, 4), Row()) << "before create";
    FillRRAverage();
    const auto restart = [&] { CqzMeanRRmsLib_create(meanRR.get(), kFs, 4, 50, 5.0); };
    restart();
    const Row intervals = Rates(meanRR, CqzMeanRRmsLib_meanRRms, 4);
    EXPECT_GT(intervals.size(), 6U);
    EXPECT_THAT(intervals, Each(kRRms));
    restart();
    EXPECT_THAT(Rates(meanRR, CqzMeanRRmsLib_meanHR, 20), Each(73)) << "surplus samples";
    restart();
    const Row silent = Rates(meanRR, CqzMeanRRmsLib_meanHR, 4, 1);
    EXPECT_GT(silent.size(), 6U);
    restart();
    EXPECT_EQ(Rates(meanRR, CqzMeanRRmsLib_meanHR, 3), silent) << "missing samples are 0";
    restart();
    EXPECT_EQ(Rates(meanRR, CqzMeanRRmsLib_meanHR, 0), Row());
}

TEST_F(Shim, MeanRRmsGoesOnAfterReleaseAndAnswers0WithoutADetectorForItsLeads) {
    MeanRRms first(CqzMeanRRmsLib_initWith(kFs, 4, 50, 5.0));
    { const MeanRRms second(CqzMeanRRmsLib_initWith(kFs, 4, 50, 5.0)); }
    EXPECT_GT(Rates(first, CqzMeanRRmsLib_meanHR, 4).size(), 6U) << "the detector outlives its maker";
    const MeanRRms other(CqzMeanRRmsLib_initWith(kFs, 12, 50, 5.0));
    EXPECT_EQ(Rates(first, CqzMeanRRmsLib_meanHR, 4), Row());
    CqzMeanRRmsLib_create(first.get(), kFs, 4, 50, 5.0);
    EXPECT_EQ(Rates(other, CqzMeanRRmsLib_meanHR, 12), Row());
    CqzMeanRRmsLib_create(first.get(), kFs, -4, 50, 5.0);
    EXPECT_EQ(Rates(first, CqzMeanRRmsLib_meanHR, 4), Row());
}

// -- Exercise indices

TEST(ShimIndices, DukeIsTheFormThatWraps) {
    EXPECT_EQ(CqzStressTemplLib_getDuke(600, 0.0F, 0), 10);
    EXPECT_EQ(CqzStressTemplLib_getDuke(600, -0.1F, 1), 1);
    EXPECT_EQ(CqzStressTemplLib_getDuke(630, 0.0F, 0), 10);
    EXPECT_EQ(CqzStressTemplLib_getDuke(0, 0.2F, 2), -18);
    EXPECT_EQ(CqzStressTemplLib_getDuke(0, 0.01F, 0), 0);
    EXPECT_EQ(CqzStressTemplLib_getDuke(600, 0.0F, 9000), 10 - 36000 + 65536);
    EXPECT_EQ(CqzStressTemplLib_getDuke(std::numeric_limits<short>::min(), 0.078F, 0), -550);
}

using Values = std::array<float, 3>;
constexpr Values kNone = {-1, -1, -1};

Values PwcOf(std::initializer_list<float> power, std::initializer_list<float> hr) {
    Values pwc = {};
    CqzStressTemplLib_getPWC(power.begin(), power.size(), hr.begin(), hr.size(), pwc.data());
    return pwc;
}

/// Up to the rounding of a line fitted in floats.
auto Near(const Values& expected) { return testing::Pointwise(testing::FloatNear(1e-3F), expected); }

TEST(ShimIndices, PwcOpensItsThreeSlotsByTheHighestHeartRate) {
    EXPECT_THAT(PwcOf({50, 100, 150}, {110, 130, 150}), Near({100, 150, -1}));
    // hr = 90 + power / 2
    EXPECT_THAT(PwcOf({40, 50, 60}, {110, 115, 120}), Near(kNone));
    EXPECT_THAT(PwcOf({40, 50, 70}, {110, 115, 125}), Near({80, -1, -1}));
    EXPECT_THAT(PwcOf({40, 50, 80}, {110, 115, 130}), Near({80, -1, -1}));
    EXPECT_THAT(PwcOf({40, 50, 100}, {110, 115, 140}), Near({80, 120, -1}));
    EXPECT_THAT(PwcOf({40, 50, 120}, {110, 115, 150}), Near({80, 120, -1}));
    EXPECT_THAT(PwcOf({40, 50, 200}, {110, 115, 190}), Near({80, 120, 160}));  // both bounds count
    // hr = 140 + power / 2: 130 lies at a negative power, the later slots are filled all the same
    EXPECT_THAT(PwcOf({10, 20, 30}, {145, 150, 155}), Near({-1, 20, 60}));
}

TEST(ShimIndices, PwcIsNotComputedFromTooFewPairsOrWithoutARise) {
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(PwcOf({}, {}), kNone);
    EXPECT_EQ(PwcOf({50, 100}, {110, 130, 150}), kNone);
    EXPECT_EQ(PwcOf({50, 100, 150}, {110, 130}), kNone);
    EXPECT_EQ(PwcOf({50, 100, 150, 999}, {110, 130, 150}), (Values{100, 150, -1})) << "the first pairs";
    EXPECT_EQ(PwcOf({1, 50, 100, 150, 2}, {kNaN, 110, 130, 150, 190.5F}), (Values{100, 150, -1}));
    EXPECT_EQ(PwcOf({50, 100, 150}, {109.5F, 130, 150}), kNone);
    EXPECT_EQ(PwcOf({100, 100, 100}, {110, 130, 150}), kNone) << "one power";
    EXPECT_EQ(PwcOf({50, 100, 150}, {140, 140, 140}), kNone) << "flat";
    EXPECT_EQ(PwcOf({50, 100, 150}, {150, 130, 110}), kNone) << "falling";
    EXPECT_EQ(PwcOf({kNaN, 100, 150}, {110, 130, 150}), kNone);
}

}  // namespace
