// What the matcher promises, in worked cases. Its runs over whole recordings are in the digest.
#include "core/stress/CZatMatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <vector>

#include "tests/support/Beats.h"

namespace {

struct Matcher : CZatMatch {
    Matcher(int rate, std::size_t chn, double scale = 1.0)
        : CZatMatch(static_cast<short>(rate), static_cast<short>(chn), scale, false, 280),
          fs(rate),
          leads(chn) {}
    void Teach(TemplateRows rows, int posR, int posQ, int posJ) {
        auto length = static_cast<short>(rows.Rows().front().size()), r = static_cast<short>(posR),
             q = static_cast<short>(posQ), j = static_cast<short>(posJ);
        InitTempl(rows.Pointers(), length, r, q, j, 60);
        EXPECT_EQ(Positions(), std::vector<short>({length, r, q, j, 60})) << "as written back";
    }
    /// A beat of 800 ms, centred as the engine wants it.
    TemplateRows Teach() {
        const int r = fs * 32 / 100, width = fs * 5 / 100;
        auto rows = MakeTemplate(fs, leads, fs * 8 / 10, r);
        Teach(rows, 0, r - width, r + width);
        return rows;
    }
    std::vector<short> Positions() {
        short r = 0, q = 0, j = 0, ms = 0;
        const short length = GetPos(r, q, j, ms);
        return {length, r, q, j, ms};
    }
    int fs;
    std::size_t leads;
};

}  // namespace

TEST(CZatMatch, TakesRowsOfItsOwnTemplateInAnyOrder) {
    for (const short length : {short{400}, short{250}}) {  // the second one needs other buffers
        Matcher engine(500, 2);
        TemplateRows rows(2, 400);
        rows[0][150] = 100;
        rows[1][150] = 70;
        engine.Teach(rows, 0, 100, 200);
        short* swapped[] = {engine.Templ()[1], engine.Templ()[0]};
        short len = length, r = 0, q = 100, j = 200;
        engine.InitTempl(swapped, len, r, q, j, 60);
        EXPECT_EQ(engine.Templ()[0][150], 70) << length;
        EXPECT_EQ(engine.Templ()[1][150], 100) << length;
    }
}

TEST(CZatMatch, SearchesTheFiducialPointAcrossTheLeadsInOrder) {
    using Points = std::vector<std::pair<std::size_t, short>>;
    const struct {
        const char* what;
        std::vector<Points> leads;
        int posR, fiducial;
    } cases[] = {
        {"flat: the middle between Q and J", {{}}, 0, 150},
        {"or where the host says", {{}}, 120, 120},
        {"which must lie inside", {{}}, 300, 150},
        {"on both sides", {{}}, -1, 150},
        {"a tie keeps the earlier", {{{120, 50}, {180, 50}}}, 0, 120},
        {"both ends belong to the search", {{{100, 60}, {199, 70}}}, 0, 199},
        {"J does not, and no upstroke at Q itself", {{{100, 60}, {200, 70}}}, 0, 100},
        {"however steep that is", {{{100, 60}, {149, 40}, {150, 70}}}, 0, 149},
        {"lead 1 is compared at lead 0's top", {{{120, 50}}, {{120, 30}, {170, 29}}}, 0, 120},
        {"top 170", {{{120, 50}}, {{119, 10}, {120, 30}, {169, 20}, {170, 31}}}, 0, 120},
        {"top and upstroke at 170", {{{120, 50}}, {{119, 40}, {120, 30}, {170, 120}}}, 0, 170},
        {"the upstroke up to the top only", {{{149, 20}, {150, 25}, {151, 24}, {152, 0}, {190, 24}}}, 0, 149},
        {"all leads up to one top", {{{110, 50}, {149, 10}, {150, 90}}, {{120, 60}, {150, 90}}}, 0, 150},
    };
    for (const auto& [what, leads, posR, fiducial] : cases) {
        TemplateRows rows(leads.size(), 300);
        for (std::size_t c = 0; c < leads.size(); ++c)
            for (const auto& [at, value] : leads[c]) rows[c][at] = value;
        Matcher engine(500, leads.size());
        engine.Teach(rows, posR, 100, 200);
        EXPECT_EQ(engine.Positions()[1], fiducial) << what;
    }
}

TEST(CZatMatch, EndsThePeakWithTheMajority) {
    std::vector<std::size_t> foldedAt;
    for (const bool silent : {true, false}) {  // the lead that is late, and would match better by itself
        Matcher engine(1000, 3);
        engine.Teach();
        auto input = BeatTrain(1000, 3).Beats(900, 1).Delay(0, 5).Record();
        for (std::size_t i = 0; i < input.Frames(); ++i) {
            short* x = input.Frame(i);
            if (silent) x[0] = 0;
            for (const std::size_t lead : {1U, 2U}) x[lead] = Wrapped(x[lead] + (i % 2 == 0 ? 1 : -1));
            if (engine.match(x) != nullptr) foldedAt.push_back(i);
        }
    }
    ASSERT_EQ(foldedAt.size(), 2U);
    EXPECT_EQ(foldedAt[0], foldedAt[1]);
}

TEST(CZatMatch, KeepsTheFirstOfEqualPeaks) {
    // A wave of period two correlates at the same value in every frame, polarity being ignored.
    TemplateRows wave(1, 400);
    for (std::size_t i = 0; i < 400; i += 2) wave[0][i] = 100;
    Matcher engine(500, 1);
    engine.Teach(wave, 0, 135, 185);  // R at 160
    int folded = -1;
    for (int i = 0; folded < 0 && i < 1000; ++i) {
        const short x = i % 2 == 0 && i < 450 ? 100 : 0;
        if (engine.match(&x) != nullptr) folded = i;
    }
    EXPECT_EQ(folded, 399 + 400 - 160 - 70) << "the ring is full with sample 399";
}

TEST(CZatMatch, ComparesASampleWithALaterOneOfBeforeTheBeat) {
    TemplateRows rows(1, 400);
    for (const auto& [at, value] : {std::pair{149U, short{60}}, {150, 95}, {160, 100}, {220, 60}})
        rows[0][at] = value;
    Matcher engine(500, 1);
    engine.Teach(rows, 0, 135, 185);
    rows[0][160] = 45;
    for (std::size_t i = 0; i < 1200; ++i) {
        const short x = i / 400 == 1 ? rows[0][i - 400] : short{0};
        engine.match(&x);
    }
    // The fiducial point stays at 160: 95 at 150 is more than what the beat makes of the 100 there.
    EXPECT_EQ(engine.Templ()[0][150], 95);
    EXPECT_EQ(engine.Templ()[0][160], (45 + 9 * 100) / 10);
}

TEST(CZatMatch, AnswersNullAndChangesNothingWithoutTemplateLeadsOrFrame) {
    const std::vector<short> frame(3, 700);
    CZatMatch none, untaught(500, 3, 1.0, false, 280), empty(500, 0, 1.0, false, 280);
    for (CZatMatch* engine : {&none, &untaught, &empty}) {
        for (int i = 0; i < 1000; ++i) EXPECT_EQ(engine->match(frame.data()), nullptr);
        short r = 1, q = 1, j = 1, ms = 1;
        EXPECT_EQ(engine->GetPos(r, q, j, ms), 0);
        EXPECT_EQ(std::vector<short>({r, q, j, ms}), std::vector<short>({0, 0, 0, 60}));
    }
    Matcher outside(500, 1);  // Q and J behind the beat: R is its last sample
    outside.Teach(TemplateRows(1, 100), 0, 300, 300);
    EXPECT_EQ(outside.Positions()[1], 99);
    Matcher engine(500, 3);
    auto rows = engine.Teach();
    const auto before = engine.Positions();
    std::vector<short*> holed = {rows[0].data(), rows[1].data(), nullptr};
    for (short** bad : {static_cast<short**>(nullptr), holed.data()}) {
        short len = 350, r = 11, q = 80, j = 120;
        EXPECT_EQ(engine.InitTempl(bad, len, r, q, j, 99), nullptr);
        EXPECT_EQ(std::vector<short>({len, r, q, j}), std::vector<short>({350, 11, 80, 120}));
    }
    EXPECT_EQ(engine.Positions(), before);
    const short level = engine.JuV(0);
    engine.SetTempl(nullptr);
    EXPECT_EQ(engine.JuV(0), level);
    auto input = BeatTrain(500, 3).Beats(700, 5).Record();
    int folds = 0;
    for (std::size_t i = 0; i < input.Frames(); ++i) {
        EXPECT_EQ(engine.match(nullptr), nullptr);
        EXPECT_EQ(engine.rxy(nullptr), nullptr);
        folds += engine.match(input.Frame(i)) != nullptr;
    }
    EXPECT_EQ(folds, 5);
    engine.Create(500, 3, 1.0, false, 280);
    for (std::size_t i = 0; i < input.Frames(); ++i) ASSERT_EQ(engine.match(input.Frame(i)), nullptr);
    EXPECT_EQ(engine.RuV(0) | engine.uvSTvalue(0, -1), 0) << "Create forgets the template";
    engine.Delete();
    EXPECT_EQ(engine.match(frame.data()), nullptr);
    EXPECT_EQ(engine.STvalues(800), nullptr);
    EXPECT_EQ(engine.SetPostJms(60), 0);
    EXPECT_THROW(CZatMatch(500, -1, 1.0, false, 280), std::bad_alloc);
    EXPECT_THROW(untaught.Create(500, -1, 1.0, false, 280), std::bad_alloc);
    EXPECT_EQ(untaught.match(frame.data()), nullptr);
}

TEST(CZatMatch, FoldsNothingWhileALeadHasATemplateOfAnotherLength) {
    auto input = BeatTrain(500, 3).Beats(700, 5).Record();
    for (const std::size_t lead : {0U, 1U}) {
        for (const short length : {short{399}, short{401}, short{0}}) {
            Matcher engine(500, 3);
            auto rows = engine.Teach();
            CZatTemplRxy& one = *engine.SetTempl(nullptr)[lead];
            const auto folds = [&](short samples) {
                std::vector<short> beat(rows[lead].begin(), rows[lead].end());
                beat.resize(static_cast<std::size_t>(samples));
                one.InitTempl(beat.data(), samples, 160, 129, 185, 60, 6, 3);
                engine.SetTempl(rows.Pointers());
                int count = 0;
                for (std::size_t i = 0; i < input.Frames(); ++i) {
                    const bool isDue = engine.IsFoldDue();
                    count += engine.match(input.Frame(i)) != nullptr;
                    EXPECT_LE(isDue, count > 0);
                }
                return count;
            };
            EXPECT_EQ(folds(length), 0) << length;
            EXPECT_EQ(folds(400), 5) << length;
        }
    }
}

TEST(CZatMatch, FillsOneRecordPerLeadAndMeasuresZeroOutsideTheLeads) {
    Matcher engine(500, 3, 4.88);
    engine.Teach();
    STrecord* records = engine.GetSTvalues();
    const std::uint16_t marks[] = {0xFFFF, 0x7FFF, 0x3FFF}, left[] = {0xC000, 0x4000, 0};
    for (std::size_t c = 0; c < 3; ++c) records[c].reserved = marks[c];
    engine.SetPostJms(44);
    ASSERT_EQ(engine.STvalues(731), records);
    for (short ch = 0; ch < 3; ++ch) {
        const STrecord& record = records[ch];
        EXPECT_EQ(std::vector<short>({record.RuV, record.JuV, record.STuV}),
                  std::vector<short>({engine.RuV(ch), engine.JuV(ch), engine.uvSTvalue(ch, 44)}));
        EXPECT_EQ(record.STslope, engine.STslope(ch, 44));
        EXPECT_EQ(record.STHRindex, engine.STHRindex(record.STuV, 731));
        EXPECT_EQ(record.reserved, left[ch]) << "the top two bits belong to somebody else";
    }
    EXPECT_EQ(engine.GetSTvalues(), records);
    for (const short ch : std::initializer_list<short>{-32768, -1, 3, 32767}) {
        EXPECT_EQ(engine.uvSTvalue(ch, 60) | engine.JuV(ch) | engine.RuV(ch), 0);
        EXPECT_EQ(engine.STslope(ch, 60), 0);
        EXPECT_EQ(engine.uvDeltaSTvalue(ch, 60) | engine.JuVDelta(ch), 0);
    }
}
