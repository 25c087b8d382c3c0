// The behaviour of the four binding classes, behind the C header that stands for them. Built twice: over the
// flat interface, which is what Swift uses on Linux, and over the Objective-C classes themselves.
#include "CqzShim.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

#include "tests/bindings/FlatRun.h"

namespace {

using namespace run;

template <auto release>
struct Release {
    void operator()(auto* self) const { release(self); }
};
using Stress = std::unique_ptr<CqzStressTemplLib, Release<CqzStressTemplLib_release>>;
using Filters = std::unique_ptr<CqzFiltersLib, Release<CqzFiltersLib_release>>;
using Dfs = std::unique_ptr<CqzDfsLib, Release<CqzDfsLib_release>>;
using MeanRRms = std::unique_ptr<CqzMeanRRmsLib, Release<CqzMeanRRmsLib_release>>;

using Row = std::vector<short>;
using Rows = std::vector<Row>;

/// A copy of a result; nothing for nil.
template <typename Result>
auto Copy(Result result) {
    using Values = std::vector<std::remove_cvref_t<decltype(*result.values)>>;
    return result.count < 0 ? std::nullopt
                            : std::optional(Values(result.values, result.values + result.count));
}
std::optional<Rows> Copy(CqzTemplate result) {
    if (result.rows < 0) return std::nullopt;
    Rows rows;
    for (const short* row = result.samples; rows.size() < static_cast<std::size_t>(result.rows);
         row += result.length)
        rows.emplace_back(row, row + result.length);
    return rows;
}

std::optional<Rows> RestTempl(const Stress& stress, const Rows& rows) {
    Row samples;
    std::vector<std::size_t> lengths;
    for (const Row& row : rows) {
        samples.insert(samples.end(), row.begin(), row.end());
        lengths.push_back(row.size());
    }
    return Copy(CqzStressTemplLib_restTempl(stress.get(), samples.data(), lengths.data(), rows.size(), kPosQ,
                                            kPosJ, kPostJms));
}

std::optional<Rows> Templ(const Stress& stress) { return Copy(CqzStressTemplLib_getTempl(stress.get())); }
std::optional<Rows> Match(const Stress& stress, const Row& frame) {
    return Copy(CqzStressTemplLib_match(stress.get(), frame.data(), frame.size()));
}
std::optional<Row> Filter(const Filters& filters, const Row& frame) {
    return Copy(CqzFiltersLib_filters(filters.get(), frame.data(), frame.size()));
}
std::optional<Row> Double(const Dfs& dfs, const Row& frame) {
    return Copy(CqzDfsLib_getData(dfs.get(), frame.data(), frame.size()));
}

/// An averaged beat short enough to be kept as it is.
Rows Beat(std::size_t leads, int length = 200) { return MakeTemplate(kFs, leads, length, 80).Rows(); }

Stress Created(short leads) {
    Stress stress(CqzStressTemplLib_init());
    EXPECT_TRUE(CqzStressTemplLib_create(stress.get(), kFs, leads, kUVpb, false));
    return stress;
}
MeanRRms MadeMeanRR(short leads, double uVpb) {
    MeanRRms meanRR(CqzMeanRRmsLib_init());
    CqzMeanRRmsLib_create(meanRR.get(), kFs, leads, kNotchHz, uVpb);
    return meanRR;
}

/// Every answer of a handle that depends on a template or an engine.
void ExpectNothing(const Stress& stress, const Row& frame) {
    EXPECT_EQ(Match(stress, frame), std::nullopt);
    EXPECT_EQ(Templ(stress), std::nullopt);
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

// -- The signal

/// The run of the flat interface through handles. Of those calls that do not look at their length, every
/// eighth frame is `surplus` samples longer than there are leads, or every one is shorter where it is
/// negative.
Answers ThroughHandles(Recording stream, std::ptrdiff_t surplus) {
    Answers answers;
    const Filters filters(CqzFiltersLib_init());
    const Dfs dfs(CqzDfsLib_init());
    CqzFiltersLib_create(filters.get(), kFs, kLeads, kLowpassHz, kNotchHz, kSmooth);
    CqzDfsLib_create(dfs.get(), kLeads, kUVpb);
    const Stress stress = Created(kLeads);
    const MeanRRms meanRR = MadeMeanRR(kLeads, kUVpb);
    RestTempl(stress, FirstBeat().Rows());
    for (std::size_t i = 0; i < stream.Frames(); ++i) {
        const bool late = i >= stream.Frames() / 2;
        if (i == stream.Frames() / 2) {
            CqzStressTemplLib_setPos(stress.get(), kMovedQ, kMovedJ);
            CqzStressTemplLib_setPostJms(stress.get(), kMovedMs);
            CqzFiltersLib_switchFilters(filters.get(), true, true, false);
        }
        if (i == stream.Frames() * 3 / 4) CqzFiltersLib_switchFilters(filters.get(), true, false, true);
        Row frame = Copy(CqzFiltersLib_filters(filters.get(), stream.Frame(i), kCount)).value();
        answers.Add("filtered", frame, kCount);
        answers.Add("rate of three leads",
                    CqzStressTemplLib_getMeanHR(stress.get(), frame[0], frame[1], frame[2]));
        Row resized = frame;
        const bool isWhole = surplus > 0 && i % 8 != 0;
        resized.resize(isWhole ? kCount : static_cast<std::size_t>(kLeads + surplus), 999);
        if (surplus > 0) frame = resized;
        answers.Add("doubled", Double(dfs, frame).value(), 2 * kCount);
        const auto feed = late ? CqzMeanRRmsLib_meanHR : CqzMeanRRmsLib_meanRRms;
        answers.Add("many leads, at least 0", feed(meanRR.get(), resized.data(), resized.size()));
        const std::optional<Rows> rows = Match(stress, resized);
        if (!rows) continue;
        answers.Add("match", static_cast<double>(i));
        answers.Add("length", static_cast<double>(rows->front().size()));
        answers.Add("positions", Copy(CqzStressTemplLib_getPos(stress.get())).value(), 4);
        for (const Row& row : *rows) answers.Add("template", row, row.size());
        EXPECT_EQ(Templ(stress), rows);
        answers.Add("ST slope", Copy(CqzStressTemplLib_getSTslope(stress.get())).value(), kCount);
        answers.Add("ST level", Copy(CqzStressTemplLib_getSTuv(stress.get())).value(), kCount);
    }
    return answers;
}

TEST_F(Shim, RepeatsTheRunOfTheFlatInterfaceToTheBitAndReadsMissingSamplesAs0) {
    for (const int surplus : {36, -1}) {
        SCOPED_TRACE(surplus);
        Recording stream = Stream();
        for (std::size_t i = 0; surplus < 0 && i < stream.Frames(); ++i) stream.Frame(i)[kCount - 1] = 0;
        const Answers flat = RepeatedFlat(stream);
        EXPECT_GT(flat.Count("match"), 8U);
        EXPECT_EQ(flat.Difference(ThroughHandles(stream, surplus)), "");
    }
}

// -- Stress engine

TEST_F(Shim, StressAnswersWithNothingWhereNothingIsBuiltNoLongerOrCannotBe) {
    const Stress stress(CqzStressTemplLib_init());
    const auto expectNothing = [&stress] {
        ExpectNothing(stress, Row(12, 100));
        EXPECT_EQ(Copy(CqzStressTemplLib_getPos(stress.get())), std::nullopt);
        EXPECT_EQ(CqzStressTemplLib_getMeanHR(stress.get(), 1, 2, 3), 0);
        CqzStressTemplLib_setPos(stress.get(), 10, 20);
        CqzStressTemplLib_setPostJms(stress.get(), 60);
    };
    expectNothing();
    EXPECT_EQ(RestTempl(stress, Beat(12)), std::nullopt) << "no engine";
    const auto create = [&stress](short leads) {
        return CqzStressTemplLib_create(stress.get(), kFs, leads, kUVpb, true);
    };
    EXPECT_TRUE(create(12));
    expectNothing();
    EXPECT_EQ(RestTempl(stress, Beat(12)), Beat(12));
    CqzStressTemplLib_destroy(stress.get());
    CqzStressTemplLib_destroy(stress.get());
    expectNothing();
    EXPECT_TRUE(create(12) && RestTempl(stress, Beat(12)) && !create(-1));
    expectNothing();
    EXPECT_EQ(RestTempl(stress, Beat(12)), std::nullopt);
}

TEST_F(Shim, StressTakesTemplatesWithoutLeadsOrSamplesForTemplates) {
    for (const short leads : std::initializer_list<short>{0, 2}) {
        const Stress stress = Created(leads);
        EXPECT_EQ(Templ(stress), std::nullopt);
        const Rows empty(static_cast<std::size_t>(leads));
        EXPECT_EQ(RestTempl(stress, empty), empty);
        EXPECT_EQ(Templ(stress), empty);
        EXPECT_EQ(Match(stress, Row(empty.size(), 100)), std::nullopt);
        EXPECT_EQ(Copy(CqzStressTemplLib_getPos(stress.get())), std::nullopt);
        EXPECT_EQ(Copy(CqzStressTemplLib_getSTuv(stress.get())), Row(empty.size()));
    }
}

TEST_F(Shim, StressTakesTheLengthOfTheLastRowAndFillsShorterOnesWith0) {
    const Stress stress = Created(3);
    const Rows beat = Beat(3);
    Rows uneven = beat;
    uneven[0].resize(75);
    uneven[1].resize(250, 77);
    uneven.push_back(Row(20, 5));  // surplus
    Rows expected = beat;
    std::fill(expected[0].begin() + 75, expected[0].end(), short{0});
    EXPECT_EQ(RestTempl(stress, uneven), expected);
    EXPECT_EQ(RestTempl(stress, {beat[0], beat[1]}), std::nullopt) << "a row is missing";
    EXPECT_EQ(RestTempl(stress, {}), std::nullopt);
    EXPECT_EQ(Templ(stress), expected) << "what there was stays";
}

TEST_F(Shim, StressHandlesOfOtherLeadsFindNothingAndDisturbNothing) {
    const Stress two = Created(2);
    RestTempl(two, Beat(2));
    Created(12).reset();  // does not destroy the engine
    const Stress twelve(CqzStressTemplLib_init());
    const Rows beat = Beat(12);
    EXPECT_EQ(Templ(twelve), std::nullopt);
    EXPECT_EQ(RestTempl(twelve, beat), beat) << "12 leads before create";
    for (int i = 0; i < 200; ++i) ExpectNothing(two, {30000, -30000});
    EXPECT_EQ(RestTempl(two, Beat(2)), std::nullopt);
    EXPECT_EQ(RestTempl(two, beat), std::nullopt);
    EXPECT_EQ(Templ(twelve), beat);

    EXPECT_TRUE(CqzStressTemplLib_create(two.get(), kFs, 3, kUVpb, false));  // one handle, other leads
    ExpectNothing(two, {1, 2, 3});
    EXPECT_EQ(RestTempl(two, Beat(3)), Beat(3));
    EXPECT_EQ(Copy(CqzStressTemplLib_getSTuv(two.get()))->size(), 3U);
    ExpectNothing(twelve, Row(12, 1));
}

TEST_F(Shim, StressUsesAnEngineOfAnotherDoorAndRefillsTheRowsOfItsOwnLastTemplate) {
    const Stress first = Created(2);
    const Rows beat = Beat(2);
    RestTempl(first, beat);
    qzStressECGLib_destroy();
    EXPECT_EQ(RestTempl(first, Beat(2, 100)), std::nullopt) << "refused, and so without a length";
    qzStressECGLib_create(kFs, 2, kUVpb);
    EXPECT_EQ(Templ(first), std::nullopt) << "a new engine has none";
    TemplateRows shorter = MakeTemplate(kFs, 2, 150, 80, {1.2, 0.1, 500});
    short length = 150;
    qzStressECGLib_InitTempl(shorter.Pointers(), length, kPosQ, kPosJ, kPostJms);
    Rows mixed = shorter.Rows();  // the rows keep their length, the template fills as much of them as it has
    for (std::size_t c = 0; c < 2; ++c) mixed[c].insert(mixed[c].end(), beat[c].begin() + 150, beat[c].end());
    EXPECT_EQ(Templ(first), mixed);
    Stress second(CqzStressTemplLib_init());
    EXPECT_EQ(Copy(CqzStressTemplLib_getPos(second.get())), std::nullopt) << "before its own restTempl";
    second.reset();
    EXPECT_EQ(Templ(first), mixed) << "released, not destroyed";
}

// -- Filter chain, doubler, detector of many leads

bool Create(const Filters& filters, short leads) {
    return CqzFiltersLib_create(filters.get(), kFs, leads, 40, 50, 2);
}
bool Create(const Dfs& dfs, short leads) { return CqzDfsLib_create(dfs.get(), leads, 1.0); }
void Destroy(const Filters& filters) { CqzFiltersLib_destroy(filters.get()); }
void Destroy(const Dfs& dfs) { CqzDfsLib_destroy(dfs.get()); }
void CreateByFlatCall(const Filters&, short leads) { qzFilters_create(kFs, leads, 40, 50, 2); }
void CreateByFlatCall(const Dfs&, short leads) { qzDfs_create(leads, 1.0); }
bool Works(const Filters& filters, std::size_t leads) {
    const Row frame(leads, 3000);
    return Filter(filters, frame) != frame;
}
bool Works(const Dfs& dfs, std::size_t leads) { return Double(dfs, Row(leads, 3000)).has_value(); }

/// The process has one chain and one doubler: `first` and `second` are handles of one of the two.
template <typename Handle>
void ExpectOneForAllHandles(const Handle& first, Handle second) {
    EXPECT_FALSE(Works(first, 2)) << "no leads yet";
    EXPECT_TRUE(Create(first, 2) && Works(first, 2));
    EXPECT_TRUE(Create(second, 12) && Works(second, 12));
    for (int i = 0; i < 100; ++i) EXPECT_FALSE(Works(first, 2)) << "made for 12";
    EXPECT_TRUE(Create(first, 2) && Works(first, 2));
    EXPECT_FALSE(Works(second, 12)) << "made for 2";
    second.reset();
    EXPECT_FALSE(Works(first, 2)) << "the released handle took it along";
    EXPECT_TRUE(Create(first, 2) && Works(first, 2));
    Destroy(first);
    Destroy(first);
    EXPECT_FALSE(Works(first, 2));
    CreateByFlatCall(first, 2);
    EXPECT_TRUE(Works(first, 2));
    CreateByFlatCall(first, 3);
    EXPECT_FALSE(Works(first, 2));
    EXPECT_FALSE(Create(first, -1));
    EXPECT_FALSE(Works(first, 2));
}

TEST_F(Shim, FiltersAndDfsWorkOnTheOneChainAndDoublerOfTheProcess) {
    ExpectOneForAllHandles(Filters(CqzFiltersLib_init()), Filters(CqzFiltersLib_init()));
    ExpectOneForAllHandles(Dfs(CqzDfsLib_init()), Dfs(CqzDfsLib_init()));
}

TEST_F(Shim, FiltersEchoesFramesOfAnotherLengthAndRebuildsWithItsOwnLeads) {
    const Filters filters(CqzFiltersLib_init()), other(CqzFiltersLib_init());
    CqzFiltersLib_create(filters.get(), kFs, 2, 40, 0, 0);
    const Row frame = {1000, -1000, 2000}, two = {1000, -1000};
    const auto isEchoed = [&](std::size_t count) {
        return CqzFiltersLib_filters(filters.get(), frame.data(), count).values == frame.data();
    };
    EXPECT_TRUE(isEchoed(1) && !isEchoed(2) && isEchoed(3));
    const auto update = [&] { return CqzFiltersLib_update(filters.get(), kFs, 40, 0, 0); };
    EXPECT_TRUE(update());
    const Row first = Filter(filters, two).value();
    EXPECT_NE(first, two);
    EXPECT_FALSE(CqzFiltersLib_update(other.get(), kFs, 10, 0, 0)) << "without leads of its own";
    CqzFiltersLib_switchFilters(filters.get(), false, true, true);
    EXPECT_EQ(Filter(filters, two), two) << "the one stage is off";
    CqzFiltersLib_switchFilters(filters.get(), true, false, false);
    EXPECT_NE(Filter(filters, two), first) << "it resumed";
    EXPECT_FALSE(Create(filters, -1));
    EXPECT_TRUE(update()) << "still two leads";
    EXPECT_EQ(Filter(filters, two), first) << "history gone";
}

TEST_F(Shim, DfsAnswersNilForShortFramesAndWithoutLeads) {
    const Dfs dfs(CqzDfsLib_init());
    EXPECT_TRUE(Create(dfs, 0));
    EXPECT_EQ(Double(dfs, {1, 2, 3}), std::nullopt);
    EXPECT_TRUE(Create(dfs, 3));
    EXPECT_EQ(Double(dfs, {1, 2}), std::nullopt);
    EXPECT_EQ(Double(dfs, {}), std::nullopt);
    EXPECT_EQ(Double(dfs, {1, 2, 3})->size(), 6U);
}

/// How many frames of a regular rhythm in 4 leads end an RR interval.
std::size_t Intervals(const MeanRRms& meanRR) {
    Recording stream = BeatTrain(kFs, 4).Beats(800, 14).Record();
    std::size_t intervals = 0;
    for (std::size_t i = 0; i < stream.Frames(); ++i)
        intervals += CqzMeanRRmsLib_meanRRms(meanRR.get(), stream.Frame(i), 4) != 0;
    return intervals;
}

TEST_F(Shim, MeanRRmsGoesOnAfterReleaseAndAnswers0WithoutADetectorForItsLeads) {
    const MeanRRms first(CqzMeanRRmsLib_init());
    EXPECT_EQ(Intervals(first), 0U) << "before create";
    CqzMeanRRmsLib_create(first.get(), kFs, 4, 50, 5.0);
    MadeMeanRR(4, 5.0).reset();
    EXPECT_GT(Intervals(first), 6U) << "the detector outlives its maker";
    qzStressECGLib_InitMultiMeanRRms(kFs, 4, 50, 5.0);
    EXPECT_GT(Intervals(first), 6U) << "of another door";
    MadeMeanRR(12, 5.0).reset();
    EXPECT_EQ(Intervals(first), 0U) << "a detector for 12";
    CqzMeanRRmsLib_create(first.get(), kFs, -4, 50, 5.0);
    EXPECT_EQ(Intervals(first), 0U);
}

}  // namespace
