#include "session/MainsFrequency.h"

#include <gtest/gtest.h>

#include "tests/support/Signals.h"

// Two leads of beats of 1 mV with noise on a wander of 2 mV, the second with a hum of 15 uV.
TEST(MeasureMainsHz, FindsTheToneUnderBeatsAndWander) {
    for (const int fs : {250, 360, 500, 1000}) {
        const auto count = static_cast<std::size_t>(fs) * 10;
        for (const double hz : {0.0, 49.7, 50.0, 55.0, 60.0, 60.4}) {
            const std::vector<short> ecg = SyntheticEcg(fs, 10, 80, 1000),
                                     wander = Tone(fs, count, 0.3, 2000), hum = Tone(fs, count, hz, 15),
                                     noise = RandomSamples(1, count, 10);
            std::vector<short> frames;
            for (std::size_t i = 0; i < count; ++i) {
                const short lead = Wrapped(ecg[i] + wander[i] + noise[i]);
                frames.insert(frames.end(), {lead, Wrapped(lead + hum[i])});
            }
            const int expected = hz == 0 || hz == 55 ? 0 : hz < 55 ? 50 : 60;
            EXPECT_EQ(qz::MeasureMainsHz(frames.data(), count, 2, fs), expected) << hz << " at " << fs;
            EXPECT_EQ(qz::MeasureMainsHz(frames.data(), count / 5, 2, fs), 0) << "two seconds do not tell";
        }
    }
    const std::vector<short> line(1000, 500);
    EXPECT_EQ(qz::MeasureMainsHz(line.data(), line.size(), 1, 250), 0);
    EXPECT_EQ(qz::MeasureMainsHz(Tone(100, 1000, 40, 100).data(), 1000, 1, 100),
              0);  // 60 Hz would fold to 40
}
