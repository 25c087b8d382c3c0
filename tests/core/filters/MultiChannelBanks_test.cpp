// The banks of filters at their edges; what they make of signals is in the digest.
#include <gtest/gtest.h>

#include "core/filters/CMultiChannelHighpass.h"
#include "core/filters/CMultiChannelLowpass2.h"
#include "core/filters/CMultiChannelSmoothEx.h"
#include "core/filters/CMutiBlNotchFilter.h"
#include "core/filters/CQuorlMultiNotchFilter.h"

TEST(MultiChannelBanks, NoLeadsMeanNothingToDo) {
    for (const int chn : {0, -1, -32768}) {
        short mark = 12345;
        CMultiChannelLowpass2(40.0, 500, chn).Filter(&mark);
        CMultiChannelHighpass(0.5, 500, chn).Filter(&mark);
        CMultiChannelSmoothEx(500, chn, true).Smooth(&mark);
        CMutiBlNotchFilter(50, 500, chn).Filter(&mark);
        CQuorlMultiNotchFilter(50, 500, chn).Filter(&mark);
        EXPECT_EQ(mark, 12345);
    }
}
