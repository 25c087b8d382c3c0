// Every class starts over from any state, and survives an allocation that fails. A program of its own: it
// replaces operator new.
#include <gtest/gtest.h>

#include <cstdint>

#include "tests/digest/Runs.h"
#include "tests/support/CountingNew.h"

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

TEST(EveryClass, IsUsableAfterAnAllocationThatFailedAtAnyPosition) {
    ForEachClass([]<typename T>(Class<T> of, int fs, auto... arguments) {
        static const std::tuple first(arguments...);
        if (fs != 257) return;
        T fresh(arguments...);
        const auto expected = Answers(fresh, fs);
        for (std::size_t position = 0;; ++position) {
            SCOPED_TRACE(testing::Message() << of.name << ", allocation " << position);
            const bool built = Completes(position, [&] { T object(arguments...); });
            T object = std::make_from_tuple<T>(
                kTakesAll<T, decltype(arguments)...> ? first : std::tuple(arguments...));
            const bool restarted = Completes(position, [&] { Restart(object, arguments...); });
            if (!restarted) {
                Answers(object, fs);
                Restart(object, arguments...);
                EXPECT_TRUE(kKeepsState<T> || Answers(object, fs) == expected);
            }
            if (built && restarted) return;
        }
    });
}

TEST(EveryClass, HasTheWholeTemplateOrNoneAfterAnAllocationFailed) {
    bool completed = false;
    for (std::size_t position = 0; !completed; ++position) {
        SCOPED_TRACE(testing::Message() << "allocation " << position);
        CZatMatch matcher(500, 3, 2.0, false, 280);
        for (const short length : {short{390}, short{400}}) {
            auto rows = CutBeats(500, 2050, 400);
            short** pointers = rows.Pointers();
            short len = length, r = 0, q = 150, j = 210, ms = 0;
            completed = Completes(length == 390 ? SIZE_MAX : position,
                                  [&] { matcher.InitTempl(pointers, len, r, q, j, 60); });
            EXPECT_EQ(matcher.GetPos(r, q, j, ms), completed ? length : 0);
            EXPECT_EQ(matcher.Templ()[2] != nullptr, completed);
            EXPECT_EQ(matcher.RuV(2) != 0, completed);
        }
        EXPECT_EQ(matcher.match(&Heart(500)[0]), nullptr);
        CZatMatch fresh(500, 3, 2.0, false, 280);
        matcher.Create(500, 3, 2.0, false, 280);
        EXPECT_EQ(Answers(matcher, 500), Answers(fresh, 500));
    }
}
