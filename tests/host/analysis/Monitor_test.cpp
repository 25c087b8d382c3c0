#include "host/analysis/Monitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <sstream>

namespace {

using testing::HasSubstr;

const SourceInfo kInfo{"r", 100, 2.0, {"I", "V5"}, 1000, "", {}};

TEST(Monitor, ShowsRateLevelsAndLeadsThatAreOff) {
    std::ostringstream out;
    Monitor monitor(out, kInfo, 1e6, false);
    monitor.OnLead(1, true, 61);
    EXPECT_THAT(monitor.Block()[2], HasSubstr("lead off"));
    EXPECT_THAT(monitor.Block()[3], HasSubstr("1:01 V5 off"));
    monitor.OnRate({0.5, 71.6});
    monitor.OnBeat({0.5, 72, {-200, 30}, {-1.25F, 0}});
    const std::vector<std::string> block = monitor.Block();
    ASSERT_EQ(block.size(), 4U) << "heading, a line per lead, the last event";
    EXPECT_THAT(block[0], HasSubstr("HR 72 beats/min"));
    EXPECT_THAT(block[1], testing::AllOf(HasSubstr("-200 uV"), HasSubstr("-1.25 uV/ms"),
                                         HasSubstr("          ==========|          ")))
        << "half of the bar to the left";
    monitor.OnLead(1, false, 70);
    EXPECT_THAT(monitor.Block()[2], HasSubstr("30 uV")) << "back";
}

TEST(Monitor, KeepsThePaceAndRedrawsOnATerminalOnly) {
    std::ostringstream terminal, file;
    Monitor drawn(terminal, kInfo, 10, true), written(file, kInfo, 1e6, false);
    const short frame[] = {0, 0};
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 300; ++i) drawn.OnFrame(frame);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_GT(took.count(), 0.29) << "3 s at ten times the pace";
    EXPECT_THAT(terminal.str(), HasSubstr("\x1b[4A"));
    for (int i = 0; i < 2500; ++i) written.OnFrame(frame);
    const std::string lines = file.str();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 3) << "every ten seconds of the recording";
    EXPECT_EQ(lines.find('\x1b'), std::string::npos);
}

}  // namespace
