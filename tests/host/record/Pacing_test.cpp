#include "host/record/Pacing.h"

#include <gtest/gtest.h>

TEST(Pacing, IsToldByWordsAndCodesThatMeanThePacemakerOfTheVentricles) {
    const struct {
        const char* remark;
        bool isTold;
    } cases[] = {
        {"UNIpolar ventricular pacing.", true},
        {"The rhythm is paced with a demand pacemaker. The PVCs are multiform.", true},
        {"Atrial fibrillation, paced rhythm", true},
        {"Dx: 164873001,10370003,428750005", true},
        {"Dx: 251266004", true},
        {"Dx: 103700030,251268003", false},
        {"UNIpolar atrial pacing.", false},
        {"Wandering atrial pacemaker.", false},
        {"wandering pacemaker", false},
        {"No pacemaker; not paced.", false},
        {"No sinus rhythm. Paced", true},
        {"paced breathing, then a self-paced walk", false},
        {"electrode spacing 4 cm", false},
    };
    for (const auto& [remark, isTold] : cases)
        EXPECT_EQ(TellsOfPacing({"Age: 60", remark}), isTold) << remark;
}
