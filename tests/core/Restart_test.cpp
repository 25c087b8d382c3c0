// Every class starts over from any state, and survives an allocation that fails. A program of its own: it
// replaces operator new.
#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <optional>

#include "tests/digest/Runs.h"
#include "tests/support/Allocations.h"

/// Can be started over with other arguments than those it was built with.
template <typename T, typename... Arguments>
static constexpr bool kTakesAll = requires(T object, Arguments... arguments) {
    object.Create(arguments...);
}
|| requires(T object, Arguments... arguments) { object.Init(arguments...); };

/// These keep a state through Init, as their headers say; the digest follows it.
template <typename T>
static constexpr bool kKeepsState =
    std::is_same_v<T, CSmoothFilterEx> || std::is_same_v<T, CMultiChannelSmooth> ||
    std::is_same_v<T, CMultiChannelSmoothEx>;

template <typename T, typename... Arguments>
static void Restart(T& object, Arguments... arguments) {
    if constexpr (requires { object.Create(arguments...); }) {
        object.Init();
        object.Create(arguments...);
    } else if constexpr (requires { object.Init(arguments...); } && sizeof...(arguments) > 0) {
        object.Init(arguments...);
    } else if constexpr (requires { object.Init(); }) {
        object.Init();
    } else if constexpr (sizeof...(arguments) < 2) {
        object.Init(1.0);  // the doublers; microvolts per unit
    } else {
        const std::tuple all(arguments...);  // the banks, whose number of leads stays
        object.Init(std::get<0>(all), std::get<1>(all));
    }
}

template <typename T>
static std::uint64_t Answers(T& object, int fs) {
    Hash hash;
    Run(object, fs, hash);
    return hash.Value();
}

TEST(EveryClass, AnswersAfterInitAsAFreshOneDoes) {
    ForEachClass([]<typename T>(Class<T> of, int fs, auto... arguments) {
        if (kKeepsState<T> || (fs != 200 && fs != 257)) return;
        SCOPED_TRACE(testing::Message() << of.name << " at " << fs << " Hz");
        T fresh(arguments...);
        const auto expected = Answers(fresh, fs);
        Restart(fresh, arguments...);
        EXPECT_EQ(Answers(fresh, fs), expected);
        if constexpr (kTakesAll<T, decltype(arguments)...>) {
            static T reused(arguments...);  // its arguments before were others
            Restart(reused, arguments...);
            EXPECT_EQ(Answers(reused, fs), expected);
        }
    });
}

/// Goes through all but the failure to allocate, which a host would catch.
template <typename Call>
static auto Caught(Call call) {
    return [call] {
        try {
            call();
        } catch (const std::bad_alloc&) {
        }
    };
}

TEST(EveryClass, IsUsableAfterAnAllocationThatFailedAtAnyPosition) {
    ForEachClass([]<typename T>(Class<T> of, int fs, auto... arguments) {
        static const std::tuple lower(arguments...);  // of the first rate: the buffers have to grow
        if (fs != 257) return;
        // A lead allocates what every other one does: from the second one on there is nothing new.
        if constexpr (std::is_same_v<T, CZatMatch>)
            if (std::get<1>(std::tuple(arguments...)) > 3) return;
        FailEachAllocation(Caught([=] { T object(arguments...); }), [](std::size_t) {});
        T fresh(arguments...);
        const auto expected = Answers(fresh, fs);
        std::optional<T> object;
        const auto build = [&] {
            std::apply([&](auto... before) { object.emplace(before...); },
                       kTakesAll<T, decltype(arguments)...> ? lower : std::tuple(arguments...));
        };
        build();
        FailEachAllocation(Caught([&object, arguments...] { Restart(*object, arguments...); }),
                           [&](std::size_t position) {
                               SCOPED_TRACE(testing::Message() << of.name << ", allocation " << position);
                               Answers(*object, fs);
                               Restart(*object, arguments...);
                               EXPECT_TRUE(kKeepsState<T> || Answers(*object, fs) == expected);
                               build();
                           });
    });
}

TEST(EveryClass, HasTheWholeTemplateOrNoneAfterAnAllocationFailed) {
    CZatMatch matcher(500, 3, 2.0, false, 280);
    auto rows = CutBeats(500, 2050, 400);
    short** pointers = rows.Pointers();
    short r = 0, q = 150, j = 210, ms = 0;
    const auto teach = [&](short length) { matcher.InitTempl(pointers, length, r, q, j, 60); };
    teach(390);
    FailEachAllocation(Caught([&] { teach(400); }), [&](std::size_t position) {
        EXPECT_EQ(matcher.GetPos(r, q, j, ms), 0) << position;
        EXPECT_EQ(matcher.Templ()[2], nullptr) << position;
        EXPECT_EQ(matcher.RuV(2) | matcher.JuVDelta(2), 0) << position;
        EXPECT_EQ(matcher.match(&Heart(500)[0]), nullptr) << position;
        r = 0, q = 150, j = 210;
        teach(390);
        EXPECT_NE(matcher.RuV(2), 0) << position;
    });
}
