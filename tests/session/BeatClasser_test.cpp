// Classes of beats whose shape and time are known.
#include "session/internal/BeatClasser.h"

#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "tests/support/Beats.h"

using namespace qz;

namespace {

constexpr int kClasserFs = 360;
constexpr std::size_t kLeads = 2;

// A letter per beat, each 800 ms after the one before unless said otherwise:
//   n normal   v wide, 500 ms, and 1100 ms to the next   w the same shape, on time   r wide, 350 ms
//   s normal shape, 550 ms      1 to 9 the normal shape 500 to 900 ms after the beat before, in steps of 50
//   ms
// The recording ends so long after the last beat.
std::string ClassesOf(const std::string& beats, int noise = 6, double endSeconds = 0.5,
                      bool isPaced = false) {
    BeatTrain train(kClasserFs, kLeads);
    train.Noise(noise, 1);
    bool isAfterPause = false;
    for (const char beat : beats) {
        const bool isWide = beat == 'v' || beat == 'w' || beat == 'r';
        train.Form({isWide ? 5.0 : 1.0, isWide ? -0.5 : 0.0, isWide ? -1300.0 : 900.0});
        int ms = beat == 'v' ? 500 : beat == 'r' ? 350 : beat == 's' ? 550 : isAfterPause ? 1100 : 800;
        if (std::isdigit(beat) != 0) ms = 450 + 50 * (beat - '0');
        train.Beats(ms, 1);
        isAfterPause = beat == 'v' || beat == 'r';
    }
    Recording recording = train.Record();
    BeatFinder finder(kClasserFs, kLeads, 1);
    BeatClasser classer(finder, isPaced);
    const std::size_t frames = recording.Frames() - static_cast<std::size_t>((0.5 - endSeconds) * kClasserFs);
    std::string classes;
    const auto keep = [&](const std::vector<BeatClasser::Beat>& classed, std::size_t now) {
        for (const BeatClasser::Beat& beat : classed) {
            classes += "NSVQ/"[static_cast<std::size_t>(beat.beatClass)];
            EXPECT_LT(static_cast<double>(now) / kClasserFs - static_cast<double>(beat.frame) / kClasserFs,
                      static_cast<double>(now) < 6.0 * kClasserFs ? 4.4 : 2.3);
        }
    };
    for (std::size_t i = 0; i < frames; ++i) keep(classer.Take(finder.Take(recording.Frame(i))), i);
    keep(classer.Finish(finder.Finish()), frames);
    return classes;
}

std::string Times(int count, const std::string& beats) {
    std::string all;
    for (; count > 0; --count) all += beats;
    return all;
}

TEST(BeatClasser, TellsBeatsByShapeAndTime) {
    struct Case {
        const char* what;
        std::string beats, classes;
    };
    for (const Case& c : {
             Case{"single, couplet, run", Times(20, "n") + "vnnnnvrnnnnvrrrrnnnn",
                  Times(20, "N") + "VNNNNVVNNNNVVVVVNNNN"},
             {"bigeminy from the start", Times(15, "nv"), Times(15, "NV")},
             {"bigeminy that starts with the other", "v" + Times(15, "nv"), "V" + Times(15, "NV")},
             {"wide beats of the patient's own", Times(30, "w"), Times(30, "N")},
             {"early beats of normal shape", Times(20, "n") + "snnnnssnnnn", Times(20, "N") + "SNNNNSSNNNN"},
             {"no rhythm", Times(6, "391748265"), Times(54, "N")},
         })
        EXPECT_EQ(ClassesOf(c.beats), c.classes) << c.what;
}

TEST(BeatClasser, ANewShapeBecomesNormalAfterTwelveBeatsOnTime) {
    const std::string classes = ClassesOf(Times(20, "n") + Times(20, "w") + Times(10, "n"));
    EXPECT_EQ(classes.substr(32), Times(18, "N"));
}

TEST(BeatClasser, AShapeOfAFewBeatsIsNotTheRhythmWhereNormalOnesComeEarly) {
    const std::string classes = ClassesOf(Times(20, "n") + Times(5, "nnnnw") + Times(15, "nsss"));
    EXPECT_EQ(classes.find('V', 50), std::string::npos) << classes;
}

TEST(BeatClasser, BeatsOfAUsualShapeArePacedEarlyOnesTooWhereAPacemakerIs) {
    EXPECT_EQ(ClassesOf(Times(30, "n") + "snnnnwnnnn"), Times(30, "N") + "SNNNNVNNNN");
    EXPECT_EQ(ClassesOf(Times(30, "n") + "snnnnwnnnn", 6, 0.5, true), Times(35, "/") + "V////");
}

TEST(BeatClasser, NoiseAndTheEndLeaveUnclassifiedWhatLooksVentricular) {
    EXPECT_EQ(ClassesOf(Times(20, "n") + "wnnnn"), Times(20, "N") + "VNNNN");
    EXPECT_EQ(ClassesOf(Times(20, "n") + "wnnnn", 360), Times(20, "N") + "QNNNN");
    EXPECT_EQ(ClassesOf(Times(20, "n") + "w", 6, 0.1), Times(20, "N") + "Q");
}

}  // namespace
