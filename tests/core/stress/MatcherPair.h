// MatcherPair.h: the engine's matcher and the plain one, driven side by side and compared to the bit.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "core/stress/CZatMatch.h"
#include "tests/core/stress/PlainMatcher.h"
#include "tests/support/Beats.h"

struct MatcherPair {
    MatcherPair(int fs, std::size_t chn, double uVpb)
        : engine(static_cast<short>(fs), static_cast<short>(chn), uVpb, false, 280), plain(fs, chn, uVpb) {}

    /// Hands both the same averaged beat; compares what they keep of it.
    void InitTempl(TemplateRows rows, int posR, int posQ, int posJ, int ms = 60) {
        plain.InitTempl(rows.Rows(), posR, posQ, posJ, ms);
        auto length = static_cast<short>(rows.Rows().front().size()), r = static_cast<short>(posR),
             q = static_cast<short>(posQ), j = static_cast<short>(posJ);
        short** kept = engine.InitTempl(rows.Pointers(), length, r, q, j, static_cast<short>(ms));
        EXPECT_EQ(length, plain.length);
        EXPECT_EQ(r, plain.r);
        EXPECT_EQ(q, plain.q);
        EXPECT_EQ(j, plain.j);
        ExpectSameState(kept);
    }
    /// A beat of 800 ms, centred as the engine wants it.
    void InitTempl(const BeatForm& form = {}, int lengthMs = 800) {
        const int r = plain.fs * 32 / 100, width = plain.fs * 5 / 100;
        InitTempl(MakeTemplate(plain.fs, plain.leads.size(), plain.fs * lengthMs / 1000, r, form), 0,
                  r - width, r + width);
    }

    /// One frame into both: the same verdict, correlations, and, where a beat was folded, templates. True
    /// while they agree.
    bool Feed(const short* frame) {
        if (correlations == nullptr) {
            correlations = engine.rxy(frame);
            plain.Rxy(frame);
        } else {
            short** folded = engine.match(frame);
            const bool expected = plain.Match(frame);
            EXPECT_EQ(folded != nullptr, expected) << "frame " << frames;
            if (folded != nullptr && expected) ExpectSameState(folded);
        }
        for (std::size_t c = 0; c < plain.rxy.size(); ++c)
            EXPECT_TRUE(SameValue(correlations[c], plain.rxy[c])) << "lead " << c << ", frame " << frames;
        ++frames;
        return !testing::Test::HasFailure();
    }
    bool Feed(Recording recording) {
        for (std::size_t i = 0; i < recording.Frames(); ++i)
            if (!Feed(recording.Frame(i))) return false;
        return true;
    }

    void ExpectSameState(short** templ) {
        for (std::size_t c = 0; c < plain.leads.size(); ++c) {
            auto& lead = plain.leads[c];
            ASSERT_TRUE(std::equal(lead.beat.begin(), lead.beat.end(), templ[c]))
                << "template of lead " << c << ", frame " << frames;
            const auto ch = static_cast<short>(c);
            EXPECT_EQ(engine.uvSTvalue(ch, -1), lead.St(-1));
            EXPECT_EQ(engine.JuV(ch), lead.J());
            EXPECT_EQ(engine.RuV(ch), lead.R());
            EXPECT_TRUE(SameValue(engine.STslope(ch, -1), lead.Slope(-1)));
            EXPECT_EQ(engine.uvDeltaSTvalue(ch, -1), Wrapped(lead.St(-1) - lead.firstSt));
            EXPECT_EQ(engine.JuVDelta(ch), Wrapped(lead.J() - lead.firstJ));
        }
    }

    CZatMatch engine;
    PlainMatcher plain;
    const double* correlations = nullptr;  // the engine's own, rewritten by every frame
    int frames = 0;
};
