#include "host/report/ReportDrawing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <set>
#include <sstream>

#include "host/report/BeatPages.h"
#include "host/report/Cautions.h"
#include "host/report/Outputs.h"
#include "host/report/StageBeatPages.h"
#include "host/report/StripPages.h"
#include "host/report/SummaryPage.h"
#include "host/report/TextReport.h"
#include "host/report/TrendPlot.h"
#include "host/results/Holes.h"
#include "host/results/Reference.h"
#include "tests/support/Folder.h"

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr float kNaNf = std::numeric_limits<float>::quiet_NaN();

std::vector<std::vector<float>> Rows(std::size_t leads, std::size_t samples, float qrsUv) {
    std::vector<float> row(samples, 0);
    if (samples > 130) row[120] = qrsUv;
    return std::vector<std::vector<float>>(leads, row);
}

/// A reading each second whose heart rate rises from 60/min by 100/min, and whose ST falls by 10 uV times the
/// number of the lead, which is from 1 on.
StressResult MakeResult(std::size_t leads, double seconds) {
    StressResult result;
    result.source = {"record <&>", 500, 1.0, {}, 0, "2024-05-06 07:08:09", {"62 years, \"remark\""}};
    for (std::size_t lead = 1; lead <= leads; ++lead)
        result.source.leads.push_back("L" + std::to_string(lead));
    result.seconds = seconds;
    result.stPoint.postJms = 60;
    result.reference = {{0, 30}, "first half minute of ST values"};
    result.positions = {800, 200, 240, 290};
    result.referenceQMs = 200;
    result.referenceJMs = 290;
    result.learned.usable.assign(leads, true);
    result.referenceBeatUv = Rows(leads, 400, 1200);
    result.latestBeatUv = Rows(leads, 400, 1000);
    result.strips.push_back({0.2 * seconds, {StripKind::Reference}, Rows(leads, 5000, 900)});
    result.strips.push_back({0.9 * seconds, {StripKind::Ventricular}, Rows(leads, 5000, 900)});
    for (int second = 0; second < seconds; ++second) {
        const double at = second;
        const double bpm = 60 + 100 * at / seconds;
        result.rates.push_back({at, bpm});
        STReading beat{at, bpm, {}, std::vector<float>(leads, -0.5F)};
        for (std::size_t lead = 1; lead <= leads; ++lead)
            beat.levelUv.push_back(static_cast<float>(-10.0 * static_cast<double>(lead) * at / seconds));
        result.beats.push_back(beat);
    }
    return result;
}

ExerciseSummary Summarize(const StressResult& result) {
    ExerciseOptions options;
    options.stages = {{0, 0, "rest"}, {60, 50, ""}, {240, 100, ""}, {480, 0, "recovery"}};
    return SummarizeExercise(result, options);
}

class ReportTest : public testing::Test {
protected:
    std::string Write(const std::string& ending, const StressResult& result,
                      const ExerciseSummary& exercise) {
        WriteWhole(m_folder.Path("report" + ending), [&](PendingFile& file) {
            WriteReport(file, {result, exercise});
        });
        return m_folder.Bytes("report" + ending);
    }
    std::string Write(const std::string& ending, const StressResult& result) {
        return Write(ending, result, Summarize(result));
    }

    const Folder m_folder;
};

std::size_t Count(const std::string& text, const std::string& what) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += what.size()) ++count;
    return count;
}

/// What stands from each `before` to the next `after`.
std::vector<std::string> Between(const std::string& text, const std::string& before,
                                 const std::string& after) {
    std::vector<std::string> found;
    for (std::size_t at = 0; (at = text.find(before, at)) != std::string::npos;) {
        at += before.size();
        found.push_back(text.substr(at, text.find(after, at) - at));
    }
    return found;
}

std::size_t CountPages(const std::string& pdf) {
    return Count(pdf, "/Type /Page\n") + Count(pdf, "/Type /Page ");
}

std::size_t BigEndian(const std::string& bytes, std::size_t at) {
    std::size_t value = 0;
    for (std::size_t i = at; i < at + 4; ++i) value = value << 8 | static_cast<unsigned char>(bytes[i]);
    return value;
}

TEST_F(ReportTest, EveryKindHoldsTheSamePages) {
    const StressResult result = MakeResult(12, 600);
    const std::string pdf = Write(".pdf", result), png = Write(".PNG", result), html = Write(".html", result);
    const auto pages = CountPages(pdf);
    EXPECT_EQ(pages, 8U);  // summary, two of tables, trends, beats, two strips, notes
    EXPECT_THAT(pdf, testing::StartsWith("%PDF-1.4"));

    ASSERT_THAT(png, testing::StartsWith("\x89PNG"));
    EXPECT_EQ(BigEndian(png, 16), 1754U);                  // 297 mm at 150 dots per inch
    EXPECT_EQ(BigEndian(png, 20), 3U * 1754 + 5U * 1240);  // upright: summary, trends and notes
    const std::size_t density = png.find("pHYs");
    ASSERT_NE(density, std::string::npos);
    EXPECT_EQ(BigEndian(png, density + 4), 5906U);  // dots per metre
    EXPECT_EQ(png.substr(png.size() - 8, 4), "IEND");

    // Trends, beats and two strips; the rest is text.
    EXPECT_EQ(Count(html, "role=\"img\""), 4U);
    EXPECT_EQ(Count(html, "<table>"), 3U);
}

TEST_F(ReportTest, PdfHasItsPaperOutlineAndLanguage) {
    const StressResult result = MakeResult(12, 600);
    for (const Paper paper : {Paper::A4, Paper::Letter}) {
        const PageSize upright = Portrait(paper);
        const ExerciseSummary exercise = Summarize(result);
        WriteWhole(m_folder.Path("p.pdf"), [&](PendingFile& file) {
            WriteReport(file, {result, exercise, paper});
        });
        const std::string pdf = m_folder.Bytes("p.pdf");
        std::size_t uprightPages = 0;
        for (const std::string& text : Between(pdf, "/MediaBox [ 0 0 ", "]")) {
            std::istringstream box(text);
            double width = 0, height = 0;
            box >> width >> height;
            const double mm = PointsToMm(width);
            EXPECT_TRUE(std::abs(mm - upright.widthMm) < 0.01 || std::abs(mm - upright.heightMm) < 0.01)
                << mm;
            EXPECT_NEAR(PointsToMm(width + height), upright.widthMm + upright.heightMm, 0.01);
            if (width < height) ++uprightPages;
        }
        EXPECT_EQ(uprightPages, 3U);
        EXPECT_THAT(pdf, HasSubstr("/Lang (en)"));
        // Each page, and the tables: two of them on one page.
        EXPECT_EQ(Count(pdf, "/Dest ["), CountPages(pdf) + 3);
        // The table of objects lies where the end of the file says.
        const std::string start = Between(pdf, "startxref\n", "\n").back();
        EXPECT_EQ(pdf.substr(std::stoul(start), 5), "xref\n");
    }
}

TEST_F(ReportTest, HtmlRefersToNothingOutsideAndItsNamesAreUnique) {
    const std::string html = Write(".html", MakeResult(3, 600));
    // The only address is the name space of SVG.
    EXPECT_EQ(Count(html, "://"), Count(html, "=\"http://www.w3.org/2000/svg\""));
    EXPECT_EQ(Count(html, "src="), 0U);
    EXPECT_EQ(Count(html, "href="), Count(html, "href=\"#"));
    EXPECT_THAT(html, Not(HasSubstr("<script")));
    EXPECT_THAT(html, Not(HasSubstr("<?xml")));
    std::set<std::string> names;
    for (const std::string& name : Between(html, " id=\"", "\""))
        EXPECT_TRUE(names.insert(name).second) << name;
    EXPECT_GT(Between(html, "href=\"#", "\"").size(), 9U);
    for (const char* before : {"href=\"#", "aria-labelledby=\""})
        for (const std::string& name : Between(html, before, "\"")) EXPECT_TRUE(names.count(name)) << name;
    EXPECT_THAT(html, Not(HasSubstr("url(")));
}

TEST_F(ReportTest, HtmlHasTheFiguresAsText) {
    const StressResult result = MakeResult(3, 600);
    const std::string html = Write(".html", result);
    EXPECT_THAT(html, HasSubstr("record &lt;&amp;&gt;"));
    EXPECT_THAT(html, Not(HasSubstr("<&>")));
    EXPECT_THAT(html, HasSubstr("Not a medical device"));
    // The last beat is the farthest: 30 uV * 599 / 600 down from about 0.75 uV, at 160/min.
    EXPECT_THAT(html,
                HasSubstr("<tr class=\"worst\"><th scope=\"row\">L3</th><td>−1</td><td>−29</td><td>−0.3</td>"
                          "<td>−30</td><td>−0.50</td><td>160</td><td>9:59</td><td>−0.19</td><td>0.30</td>"));
    EXPECT_THAT(html,
                HasSubstr("<dt>Reference</dt><dd>0:00 to 0:30 min:s, first half minute of ST values: 30 "
                          "beats, 62 beats/min</dd>"));
    EXPECT_THAT(html, HasSubstr("<dt>Duke score</dt><dd>7.0, no class of risk: not the Bruce protocol, "
                                "angina not given</dd>"));
    EXPECT_THAT(html, HasSubstr("index = 7.00 − 5 × 0.00 − 4 × 0 = 7.00, cut to 7."));
    EXPECT_THAT(html, HasSubstr("<dt>Angina</dt><dd>not given (counted as 0)</dd>"));
    EXPECT_THAT(html, HasSubstr("<dt>Peak heart rate, 30 s</dt>"));
    EXPECT_THAT(html, HasSubstr("<dd>7 beats/min below the peak, 1 min after the work</dd>"));
    EXPECT_THAT(html, HasSubstr("Stages and recovery: heart rate and ST are medians of the last minute</h"));
    EXPECT_THAT(Write(".html", MakeResult(3, 10)), HasSubstr("<dt>Peak heart rate, 10 s</dt>"));
    EXPECT_THAT(html, HasSubstr("<dt>Beats</dt><dd>600 of 0 averaged</dd>"));
    EXPECT_THAT(html, HasSubstr("<dt>PWC130, 150, 170</dt><dd>not computed: needs 3 stages"));
    ExerciseSummary bruce = SummarizeExercise(result, {ProtocolStages("bruce", 0, 480), {}, 2});
    EXPECT_THAT(Write(".html", result, bruce), HasSubstr("<dt>Duke score</dt><dd>0.0, moderate risk</dd>"));
    ExerciseSummary without = SummarizeExercise(result, {});
    const std::string bare = Write(".html", result, without);
    StressResult brief = result;
    brief.beats[300].levelUv[2] = 98;  // 1 mm above the reference is told
    EXPECT_THAT(Write(".html", brief), Not(HasSubstr("briefly")));
    brief.beats[300].levelUv[2] = 100;
    EXPECT_THAT(Write(".html", brief),
                HasSubstr("in L3 at 5:00, briefly: the median of the minute around it is −0.01 mV"));
    std::ostringstream text;
    PrintReport(text, brief, SummarizeExercise(brief, {}));
    EXPECT_THAT(text.str(), HasSubstr("Largest ST change: +0.10 mV (+1.0 mm) in L3 at 5:00, briefly: the "
                                      "median of the minute around it is -0.01 mV\n"));
    StressResult mirror = MakeResult(1, 600);
    mirror.source.leads = {"aVR"};
    EXPECT_THAT(Write(".html", mirror),
                testing::AllOf(HasSubstr("<dt>Largest ST change</dt><dd>not computed: aVR is the only lead<"),
                               HasSubstr("<dt>Duke score</dt><dd>not computed: aVR is the only lead<")));
    EXPECT_THAT(bare, HasSubstr("<dt>Duke score</dt><dd>not computed: exercise time not given"));
    EXPECT_THAT(bare, Not(HasSubstr("PWC170</dt>")));
}

TEST_F(ReportTest, BeatsByStagesHaveTheirPages) {
    StressResult result = MakeResult(12, 600);
    const ExerciseSummary exercise = Summarize(result);
    const std::size_t before = CountPages(Write(".pdf", result, exercise));
    const auto add = [&](std::size_t second) {
        result.asked.push_back({double(second), second, Rows(12, 400, 1000)});
    };
    for (std::size_t second = 240; second <= 480; second += 120) add(second);
    result.peak = result.asked[1];
    EXPECT_EQ(CountPages(Write(".pdf", result, exercise)), before + 2);  // upright, six leads each
    for (std::size_t second = 490; second < 540; second += 10) add(second);
    EXPECT_EQ(CountPages(Write(".pdf", result, exercise)), before + 3);  // on its side, four leads each
    for (const std::size_t leads : {2U, 3U}) {  // two leave room for the beats of another page
        StressResult few = MakeResult(leads, 600);
        const ExerciseSummary summary = Summarize(few);
        const std::size_t bare = CountPages(Write(".pdf", few, summary));
        few.asked.push_back({240, 240, Rows(leads, 400, 1000)});
        EXPECT_EQ(CountPages(Write(".pdf", few, summary)), leads == 2 ? bare : bare + 1);
    }
}

TEST_F(ReportTest, TimesWithoutSTAreHatchedInEveryPlot) {
    StressResult result = MakeResult(3, 600);
    for (int second = 0; second < 600; ++second) result.beatsFound.push_back({double(second)});
    result.off = {{}, {{100, 400}}, {}};
    result.disturbed.resize(3);
    ExerciseSummary exercise = Summarize(result);
    exercise.pressures = {{120, 150, 80}, {300, 150, kNaN}};
    const auto countClips = [&] { return Count(Write(".html", result, exercise), "<svg x="); };
    const std::size_t whole = countClips();
    for (std::size_t second = 100; second < 400; ++second) result.beats[second].levelUv[1] = kNaNf;
    EXPECT_EQ(FindHoles(result)[1].at(0).why, "off");
    EXPECT_EQ(countClips(), whole + 2);  // in the plots of level and of slope
}

/// A test with as many findings as one can have.
StressResult MakeRich(std::size_t leads) {
    StressResult result = MakeResult(leads, 600);
    Patient& patient = result.source.patient;
    patient.sex = "female";
    patient.ageYears = 50;
    patient.heightCm = patient.weightKg = 100;
    patient.name = patient.birthDate = patient.indication = patient.medication = patient.referring =
        "1974-01-01";
    patient.performing = patient.device = patient.birthDate;
    result.stPoint.postJms.reset();
    result.conditioning = "no mains found, notch at 50 Hz, high-pass 0.05 Hz, low-pass 40 Hz, smoother 1";
    result.learned.usable[0] = false;
    result.learned.record = "other";
    result.learned.beatsUsed = 11;
    result.relearnedSeconds = {100};
    result.off.resize(leads);
    result.disturbed.resize(leads);
    result.disturbed[1] = {{200, 260}};
    result.off[0] = {{100, 160}};
    for (int second = 0; second < 600; ++second)
        result.beatsFound.push_back(
            {double(second), second % 100 < 5 ? qz::BeatClass::Ventricular : qz::BeatClass::Normal});
    result.beatsFound[9].beatClass = qz::BeatClass::Unclassified;
    result.beatsFound[19].beatClass = qz::BeatClass::Paced;
    for (std::size_t second = 100; second < 260; ++second)
        for (std::size_t lead = 0; lead < leads; ++lead) result.beats[second].levelUv[lead] = kNaNf;
    result.asked.push_back({300, 300, result.latestBeatUv});
    result.warnings = DescribeHoles(result, FindHoles(result));
    result.peak = {{590, 590, result.latestBeatUv}};
    for (const StripKind kind :
         {StripKind::Asked, StripKind::Reference, StripKind::PeakRate, StripKind::LargestST,
          StripKind::Ventricular, StripKind::StageEnd, StripKind::Start})
        result.strips.push_back({result.strips[0].seconds, {kind}, result.strips[0].uV});
    result.strips.push_back({202, {StripKind::Ventricular}, result.strips[0].uV});
    result.measuredMainsHz = 50;
    result.interrupted = true;
    result.quality.push_back({0, std::vector<float>(leads, 0.1F)});
    std::vector<float> rising(400);
    std::iota(rising.begin(), rising.end(), 0.0F);
    for (float& uV : rising) uV *= 10;
    result.farthest.assign(leads, {kNaN, 599, rising, 200, 290, 356});
    return result;
}

TEST_F(ReportTest, GermanHasEveryText) {
    std::set<std::string> missing;
    const Language german("de", kGermanPhrases, [&](std::string_view text) { missing.emplace(text); });
    const auto write = [&](const StressResult& result, const ExerciseSummary& exercise,
                           const char* name = "report.html") {
        WriteWhole(m_folder.Path(name), [&](PendingFile& file) {
            WriteReport(file, {result, exercise, Paper::A4, german});
        });
        return m_folder.Bytes(name);
    };
    StressResult rich = MakeRich(13);
    ExerciseOptions options{ProtocolStages("bicycle", 60, 480), {}, {}, {{300, 180, 90, 15}}};
    write(rich, SummarizeExercise(rich, options));
    options.predicted = PredictedRate::Tanaka;
    write(rich, SummarizeExercise(rich, options), "report.pdf");
    rich = MakeRich(2);  // fewer leads have the same texts from here on
    // Warnings about stages, a reference at work, and what files and the analysis warn of.
    std::vector<ExerciseOptions> odd{{ProtocolStages("bruce", 700, 800), {}, 1},
                                     {ProtocolStages("bruce", 0, 1e9), {}, 2},
                                     {{}, 1000, 0},
                                     {{}, {}, 1, {{602}}}};
    odd[0].predicted = PredictedRate::Gulati;
    for (const ExerciseOptions& one : odd) {
        rich.reference = {{300, 301}, "as asked for"};
        rich.stPoint.postJms = 60;
        rich.warnings = CheckExercise(one, rich.seconds);
        for (std::string& warning : CheckReference(rich, one.stages)) rich.warnings.push_back(warning);
        write(rich, SummarizeExercise(rich, one));
    }
    rich.reference = {{100, 101}, "rest before the exercise"};
    rich.mainsHz = 60;
    rich.interrupted = false;
    rich.learned.confident = true;
    write(rich, SummarizeExercise(rich, {}));
    StressResult none = MakeResult(1, 10);
    none.rates.clear();
    none.beats.clear();
    none.reference.why.clear();
    none.warnings = {"off: V5 (from 0:10 min:s on, 2 times), V6 (from 0:20 min:s on)",
                     "averaged beat of a: segment b: \"V1\": 12 samples clipped at 16 bits",
                     "segment c: a gap, no signal is in a unit of voltage",
                     "expected 7 frames, the segments have 6",
                     "\"d.dat\": damaged or cut off, read up to there",
                     "no strips: a temporary file cannot be created"};
    EXPECT_THAT(write(none, SummarizeExercise(none, {})),
                testing::AllOf(HasSubstr("<html lang=\"de\">"),
                               HasSubstr("Elektrode ab: V5 (ab 0:10 min:s, 2-mal), V6 (ab 0:20 min:s)"),
                               HasSubstr("aus a: Segment b: &quot;V1&quot;: 12 Werte bei 16 Bit begrenzt")));
    EXPECT_THAT(missing, testing::IsEmpty());
    std::set<std::string_view> english;
    for (const Phrase& phrase : kGermanPhrases) {
        EXPECT_TRUE(english.insert(phrase.english).second) << phrase.english;
        for (const std::string& gap : Between(std::string(phrase.translated), "{", "}"))
            EXPECT_LE(std::stoul(gap), Count(std::string(phrase.english), "{}")) << phrase.english;
    }
}

TEST_F(ReportTest, OddRecordingsAreDrawn) {
    std::vector<StressResult> odd{MakeResult(1, 10), MakeResult(2, 600), MakeResult(64, 30), StressResult()};
    odd.push_back(MakeResult(3, 600));  // nothing found
    odd.back().rates.clear();
    odd.back().beats.clear();
    odd.back().referenceBeatUv.clear();
    odd.back().latestBeatUv.clear();
    odd.back().strips.clear();
    odd.push_back(MakeResult(2, 12));  // not numbers
    odd.back().rates[5].bpm = kNaN;
    for (STReading& beat : odd.back().beats) beat.levelUv[1] = kNaNf;
    odd.back().referenceBeatUv[0].assign(400, kNaNf);
    odd.back().strips[0].uV[1].assign(5000, kNaNf);
    odd.back().strips[1].uV.clear();
    odd.push_back(MakeResult(2, 30));  // off the rails, and words from elsewhere
    odd.back().latestBeatUv[1].assign(400, 1e9F);
    for (STReading& beat : odd.back().beats) beat.levelUv[1] = 32767;
    odd.back().source.name = std::string(5000, 'W') + std::string("\xE9\x00\n\xFF", 4);
    odd.back().source.leads[1] = std::string(300, 'x');
    odd.back().source.remarks.assign(500, "a remark");
    odd.back().warnings.assign(40, std::string(400, 'w'));
    odd.back().relearnedSeconds = {10, 1e9, kNaN};
    for (std::size_t i = 0; i < odd.size(); ++i) {
        ExerciseSummary exercise = Summarize(odd[i]);
        if (i == 6) exercise.stages.assign(200, {3, {}, std::string(100, 's')});
        EXPECT_GE(CountPages(Write(".pdf", odd[i], exercise)), 2U) << i;
        EXPECT_THAT(Write(".html", odd[i], exercise), testing::EndsWith("</html>\n")) << i;
        if (i != 3 && i != 6) continue;  // the slowest kind draws what the others draw
        EXPECT_THAT(Write(".png", odd[i], exercise), testing::StartsWith("\x89PNG")) << i;
    }
}

TEST_F(ReportTest, HoursAreThinnedToWhatPaperCanShow) {
    const std::string hours = Write(".html", MakeResult(1, 6 * 3600.0));
    // 6 h hold 36 times the readings of 10 min. Two points per tenth of a millimetre of the 264 mm of heart
    // rate, twice, of ST and slope and the 60 mm of the lead, up to 20 letters each, stay below 450,000
    // letters.
    EXPECT_LT(hours.size(), Write(".html", MakeResult(1, 600)).size() + 450000);
    EXPECT_THAT(hours, HasSubstr("6:00:00 h:min:s"));
    EXPECT_THAT(hours, Not(HasSubstr("<small>min:s</small>")));
}

TEST_F(ReportTest, RefusesOtherNamesAndLeavesNothingBehind) {
    const StressResult result = MakeResult(1, 10);
    const ExerciseSummary exercise = Summarize(result);
    for (const char* name : {"a.svg", "a", ".pdf", "pdf"}) {
        EXPECT_THAT(RefusalOf([&] {
                        PendingFile file(m_folder.Path(name));
                        WriteReport(file, {result, exercise});
                    }),
                    HasSubstr(std::string(name) + ": a report's name is expected to end in .html"));
        EXPECT_THROW(CheckReportName(name), HostError);
    }
    EXPECT_THAT(m_folder.Names(), testing::IsEmpty());
}

TEST(EcgPaper, IsTrueToTheMillimetre) {
    EXPECT_DOUBLE_EQ(MmToPoints(25.4), 72);
    EXPECT_DOUBLE_EQ(PointsToMm(MmToPoints(7)), 7);
    const EcgPaper paper({10, 20, 50, 40}, kUsualScale, 45);
    EXPECT_DOUBLE_EQ(paper.X(1000) - paper.X(0), 25);
    EXPECT_DOUBLE_EQ(paper.Y(0) - paper.Y(1000), 10);
    EXPECT_DOUBLE_EQ(paper.X(0), 10);
    EXPECT_DOUBLE_EQ(paper.Y(0), 45);
    EXPECT_DOUBLE_EQ(EcgPaper({10, 20, 50, 40}, {100, 40}, 45, 200).X(240), 14);
    EXPECT_EQ(DescribeScale(kQuarterGainScale), "25 mm/s, 2.5 mm/mV");
}

TEST(BeatPages, BeatsStandWithinTheirPaperOnAStrongLine) {
    const StressResult result = MakeResult(2, 60);
    EXPECT_NEAR(PrLevelUv({9, 9, 4, 5, 6, 5, 9}, 28, 250), 5, 1e-9);  // from 20 to 8 ms before
    EXPECT_EQ(PrLevelUv({}, 28, 250), 0);
    EXPECT_DOUBLE_EQ(BeatPaperMm(result), 20);  // 800 ms
    const TraceRange range = FindBeatRange(result, 1);
    EXPECT_EQ(range.highestUv, 1200);
    EXPECT_EQ(range.lowestUv, 0);

    const Box box{0, 100, 20, 40};
    const EcgPaper paper = PlaceBeat(box, kUsualScale, {-1800, 2100});
    EXPECT_GE(paper.Y(2100), box.y);
    EXPECT_LE(paper.Y(-1800), box.Bottom());
    EXPECT_NEAR(std::remainder(PlaceBeat(box, kUsualScale, {0, 1200}).Y(0) - box.y, 5), 0, 1e-9);
}

TEST(BeatPages, EnlargedBeatsAreNeverCut) {
    for (const auto& [range, uV] : {std::pair(TraceRange{0, 1000}, 100.0),
                                    {{-1, 1000}, 200.0},
                                    {{-1800, 100}, 200.0},
                                    {{-1900, 200}, 300.0},
                                    {{-9000, 9000}, 2000.0}}) {
        const SquareScale squares = ChooseSquares(range);
        EXPECT_EQ(squares.uVPerSquare, uV);
        EXPECT_GE(squares.squaresAbove * uV, range.highestUv);
        EXPECT_GE((kBeatSquares - squares.squaresAbove) * uV, -range.lowestUv);
    }
}

std::vector<std::string> LeadNames(std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t lead = 0; lead < count; ++lead)
        names.push_back(lead == 1 ? "ii" : "L" + std::to_string(lead));
    return names;
}

TEST(StripPages, EveryLeadHasItsTimeOnAPaper) {
    for (std::size_t leads = 1; leads <= 64; ++leads) {
        for (const bool inColumns : {false, true}) {
            SCOPED_TRACE(leads);
            std::vector<double> seconds(leads);
            for (const auto& lanes : PlanLanes(LeadNames(leads), inColumns)) {
                EXPECT_LE(lanes.size(), 12U);
                const bool hasRhythm = inColumns && leads >= 7;
                EXPECT_TRUE(!hasRhythm || lanes.back()[0].lead == 1);
                for (std::size_t lane = 0; lane + (hasRhythm ? 1 : 0) < lanes.size(); ++lane) {
                    double now = 0;
                    for (const StripSegment& segment : lanes[lane]) {
                        EXPECT_DOUBLE_EQ(segment.fromSeconds, now);
                        seconds.at(segment.lead) += segment.toSeconds - segment.fromSeconds;
                        now = segment.toSeconds;
                    }
                }
            }
            for (const double each : seconds)
                EXPECT_NEAR(each, inColumns && leads >= 7 ? seconds[0] : 10, 1e-9);
        }
    }
    const auto twelve = PlanLanes(LeadNames(12), true).at(0);
    ASSERT_EQ(twelve.size(), 4U);  // three of four, and the rhythm lead
    EXPECT_EQ(twelve[2][3].lead, 11U);
    EXPECT_EQ(twelve[2][3].fromSeconds, 7.5);
    EXPECT_EQ(PlanLanes(LeadNames(15), true).at(0)[0].size(), 5U);
    EXPECT_EQ(PlanLanes(LeadNames(30), false).size(), 3U);
}

TEST(StripPages, GainIsThatAtWhichNoTraceReachesTheNextLine) {
    const auto scaleOf = [](float qrsUv, double paperMm) {
        const Strip strip{0, {}, Rows(4, 1000, qrsUv)};
        const StripLines lines = PlaceLines(strip, PlanLanes(LeadNames(4), false).at(0), 100, paperMm);
        for (std::size_t i = 0; i < 4; ++i)
            EXPECT_GE(lines.mm[i] - (i > 0 ? lines.mm[i - 1] : 0), qrsUv / 1000 * lines.scale.mmPerMv) << i;
        return lines.scale.mmPerMv;
    };
    EXPECT_EQ(scaleOf(1000, 60), 10);
    EXPECT_EQ(scaleOf(1340, 61), 10);  // four of 14 mm, and half of one below
    EXPECT_EQ(scaleOf(1340, 60), 5);
    EXPECT_EQ(scaleOf(3000, 60), 2.5);
    EXPECT_FALSE(IsPlausible({0, 9001}));
    EXPECT_TRUE(IsPlausible({0, 9000}));
}

/// Ten minutes of eight leads without anything to know before reading.
StressResult MakeUsual() {
    StressResult result = MakeResult(8, 600);
    for (int second = 0; second < 600; ++second) result.beatsFound.push_back({double(second)});
    for (STReading& beat : result.beats) beat.st.resize(8);
    result.learned.confident = true;
    return result;
}

TEST(Cautions, TellTheMostImportantFirst) {
    StressResult result = MakeUsual();
    const ExerciseSummary exercise = SummarizeExercise(result, {});
    const auto cautions = [&] { return ListCautions(Findings({result, exercise})); };
    EXPECT_THAT(cautions(), testing::IsEmpty());

    result.beats.back().levelUv[2] = 100;  // 1 mm above the reference
    for (const auto& [qrsUv, isOther] : {std::pair{500.0F, false}, {460.0F, true}}) {
        result.farthest.assign(8, {100, 599, Rows(1, 400, qrsUv)[0]});
        EXPECT_EQ(cautions().empty(), !isOther) << qrsUv << " uV, 1200 uV in the reference";
    }
    EXPECT_THAT(
        cautions(),
        testing::ElementsAre(
            "The QRS at the largest ST change was not that of the reference: L3. Beside ischemia another "
            "conduction, an electrode or noise may have made the change."));
    result.beats.back().levelUv[2] = 0;

    result.measuredMainsHz = 60;
    result.mainsHz = 50;
    result.off = std::vector<std::vector<Span>>(8);
    result.disturbed = result.off;
    result.off[1] = {{100, 130}, {500, 600}};
    for (std::size_t second = 200; second <= 260; ++second)
        for (const std::size_t lead : {4U, 5U}) {
            result.beats[second].levelUv[lead] = kNaNf;
            result.beats[second].st[lead].isOnT = true;
        }
    for (RateReading& rate : result.rates)
        if (rate.seconds <= 30) rate.bpm = 101;
    EXPECT_THAT(
        cautions(),
        testing::ElementsAre(
            "The reference of all ST changes, 0:00 to 0:30 min:s, may lie in exercise, at 101 beats/min: "
            "changes from rest may be larger than told.",
            "The signal holds mains of 60 Hz, but 50 Hz were taken out: traces and ST carry them.",
            "Leads were off, and have no ST then: L2 (2:10 min:s).",
            "No ST while the ST point lay on the T wave: L5, L6 (1:02 min:s)."));
    const auto repeated = [&] { return ListCutCautions(Findings({result, exercise})).size(); };
    EXPECT_EQ(repeated(), 0U);
    result.source.leads[1] = std::string(300, 'x');  // takes more than the two lines of page one
    EXPECT_EQ(repeated(), 4U);
    result.source.leads.resize(7);
    EXPECT_THAT(cautions(),
                testing::Contains("Only 7 leads were recorded: changes of ST that other leads would "
                                  "show are not seen."));
}

TEST(Cautions, TellOfASlopeBeforeTheQrsOfALargeChange) {
    const auto beatRising = [](float uVPerMs) {
        std::vector<float> uV = Rows(1, 400, 1200)[0];
        for (std::size_t i = 75; i < 100; ++i)
            uV[i] = uVPerMs * (2.0F * static_cast<float>(i) - 190);  // to Q
        return uV;
    };
    const auto countCautions = [&](float then, float reference, float levelUv) {
        StressResult result = MakeUsual();
        result.beats.back().levelUv[2] = levelUv;
        result.farthest.resize(8);
        result.farthest[2] = {levelUv, 599, beatRising(then), 200};
        result.referenceBeatUv[2] = beatRising(reference);
        const auto cautions = ListCautions(Findings({result, SummarizeExercise(result, {})}));
        return std::count_if(cautions.begin(), cautions.end(), [](const std::string& caution) {
            return caution.find("not flat at the largest ST change or in the reference: L3. A delta wave") !=
                   std::string::npos;
        });
    };
    EXPECT_EQ(countCautions(2.4F, -2.4F, -110), 0);
    EXPECT_EQ(countCautions(2.6F, 0, -110), 1);
    EXPECT_EQ(countCautions(0, -2.6F, -110), 1);
    EXPECT_EQ(countCautions(2.6F, 0, -90), 0);  // below 1 mm
}

TEST(TrendPlot, AxesHaveRoundStepsAndHoldTheirValues) {
    const ValueAxis axis = ChooseValueAxis(-0.23, 0.11, 0.1, 10);
    EXPECT_NEAR(axis.from, -0.3, 1e-9);
    EXPECT_NEAR(axis.to, 0.2, 1e-9);
    EXPECT_EQ(axis.decimals, 1);
    EXPECT_EQ(ChooseTimeAxis(900, 24).stepSeconds, 60);
    EXPECT_STREQ(ChooseTimeAxis(10, 24).unit, "s");
    EXPECT_STREQ(ChooseTimeAxis(86400, 24).unit, "h");
    EXPECT_EQ(ChooseTimeAxis(86400, 8).stepSeconds, 4 * 3600);
    EXPECT_LE(ChooseTimeAxis(1e9, 8).seconds / ChooseTimeAxis(1e9, 8).stepSeconds, 8);
    const TrendPlot plot({10, 20, 100, 50}, ChooseTimeAxis(200, 9), {60, 160, 20, 0});
    EXPECT_DOUBLE_EQ(plot.X(50), 35);
    EXPECT_DOUBLE_EQ(plot.Y(160), 20);
    EXPECT_DOUBLE_EQ(plot.Y(85), 57.5);
}

TEST(Findings, NameTimesAndRates) {
    EXPECT_EQ(LongClock(3599.6), "1:00:00");
    EXPECT_EQ(LongClock(11105), "3:05:05");
    EXPECT_EQ(LongClock(kNaN), "-");
    const StressResult result = MakeResult(1, 100);
    EXPECT_DOUBLE_EQ(RateAt(result, 50.5), 110);
    EXPECT_DOUBLE_EQ(RateAt(result, 113), 159);
    EXPECT_TRUE(std::isnan(RateAt(result, 115)));
    EXPECT_EQ(SetMinus("-5 (-6) 2024-05-06 -x"), "−5 (−6) 2024-05-06 -x");
}

}  // namespace
