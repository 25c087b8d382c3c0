#include "api/qzStressECGLib.h"
#include "tests/support/Beats.h"

#import "tests/bindings/ObjCTest.h"

class OCqzMeanRRmsLibTest : public ObjCTest {
protected:
    /// The answers other than 0 to one lead, each sample passed as `frame` makes it.
    template <typename MakeFrame>
    std::vector<short> Rates(OCqzMeanRRmsLib *meanRR, MakeFrame frame) {
        const Recording recording = BeatTrain(500, 1).Beats(800, 15).Record();
        std::vector<short> rates;
        for (const short sample : recording.samples) {
            if (const short rate = [meanRR meanHR:frame(sample)]; rate != 0) rates.push_back(rate);
            DrainPool();
        }
        return rates;
    }
};

TEST_F(OCqzMeanRRmsLibTest, HasItsMethodsAndNoOther) {
    EXPECT_EQ(Selectors([OCqzMeanRRmsLib class]),
              std::vector<std::string>({"create:chn:freqNotch:uVpb:", "init",
                                        "init:chn:freqNotch:uVpb:", "meanHR:", "meanRRms:"}));
}

TEST_F(OCqzMeanRRmsLibTest, CountsNilAsEmptyAndReadsWhatIsNoNumberAs0) {
    OCqzMeanRRmsLib *meanRR = [[OCqzMeanRRmsLib alloc] init:500 chn:1 freqNotch:50 uVpb:5.0];
    const auto number = [](short sample) { return Frame({sample}); };
    EXPECT_GT(Rates(meanRR, number).size(), 8U);
    [meanRR create:500 chn:1 freqNotch:50 uVpb:5.0];
    EXPECT_EQ(Rates(meanRR, [](short) { return NoArray(); }), std::vector<short>());
    EXPECT_EQ(Rates(meanRR, [](short sample) { return Array({[NSString stringWithFormat:@"%d", sample]}); }),
              std::vector<short>());
    [meanRR create:500 chn:1 freqNotch:50 uVpb:5.0];
    [meanRR release];
    Recording recording = BeatTrain(500, 1).Beats(800, 15).Record();
    EXPECT_TRUE(std::any_of(recording.samples.begin(), recording.samples.end(), [](short &sample) {
        return qzStressECGLib_MultiMeanRRms(&sample) > 0;
    })) << "the detector outlives the object";
}
