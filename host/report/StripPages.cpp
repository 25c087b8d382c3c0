#include "host/report/StripPages.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/results/Course.h"
#include "host/results/Ectopy.h"
#include "host/results/Strips.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

constexpr double kTitleMm = 2 * kLineMm + 1;  // above a paper: what it shows, and ST then
constexpr double kBeatsMm = 4;                // the letters of the beats, between title and paper
constexpr double kBlockGapMm = 5;
constexpr double kPulseMm = 5;  // width of the calibration pulse, left of all traces
constexpr double kPulseUv = 1000;
const double kStripPaperMm = kPulseMm + kStripSeconds * kUsualScale.mmPerSecond;

constexpr std::size_t kFewestForColumns = 7;
constexpr std::size_t kMostInColumns = 16, kMostLanes = 12;
constexpr const char* kRhythmLead = "II";  // P waves stand out in it

constexpr double kUsualPitchMm = 20, kTallestPitchMm = 40;  // from lane to lane
constexpr PaperScale kScales[] = {kUsualScale, kHalfGainScale, kQuarterGainScale};
// Largest peak-to-peak amplitude taken for ECG, uV; it fills a lane even at the smallest gain.
constexpr double kMostUv = 9000;
constexpr int kColumnMs = 40;       // 1 mm of paper
constexpr double kClearMm = 0.5;    // between a trace and its neighbour or the edge
constexpr double kLeastGapMm = 10;  // from line to line, and half of that from a line to the edge

// A lead's name on its white ground.
constexpr TextStyle kName{8, true, kInk};
constexpr double kNameX = 0.8;  // from the start of its trace
constexpr double kWidestNameMm = 16;
constexpr double kNameAboveMm = 2.5, kNameBelowMm = 0.7;  // its baseline
constexpr double kNameOffMm = 2;                          // its line, at least

// The samples of a segment; none if the strip lacks them.
std::vector<float> TraceOf(const Strip& strip, const StripSegment& segment, int fs) {
    if (segment.lead >= strip.uV.size()) return {};
    const std::vector<float>& all = strip.uV[segment.lead];
    const auto at = [&](double seconds) {
        return all.begin() + std::min<std::ptrdiff_t>(std::lround(seconds * fs), std::ssize(all));
    };
    return {at(segment.fromSeconds), at(segment.toSeconds)};
}

// How far a trace leaves its line within a column of paper.
struct Excursion {
    double upUv = 0, downUv = 0;
};

// Those of a lane, from the calibration pulse on.
std::vector<Excursion> ListExcursions(const Strip& strip, const StripLane& lane, int fs) {
    std::vector<Excursion> columns(static_cast<std::size_t>(kPulseMm), {kPulseUv, 0});
    for (const StripSegment& segment : lane) {
        const std::vector<float> uV = TraceOf(strip, segment, fs);
        if (!IsPlausible(uV)) continue;
        const double middleUv = MiddleUv(uV);
        const auto first = static_cast<std::size_t>(kPulseMm + segment.fromSeconds * kUsualScale.mmPerSecond);
        for (std::size_t i = 0; i < uV.size(); ++i) {
            if (!std::isfinite(uV[i])) continue;
            const std::size_t at = first + i * 1000 / (static_cast<std::size_t>(fs) * kColumnMs);
            columns.resize(std::max(columns.size(), at + 1));
            columns[at].upUv = std::max(columns[at].upUv, uV[i] - middleUv);
            columns[at].downUv = std::max(columns[at].downUv, middleUv - uV[i]);
        }
    }
    return columns;
}

// From the line of `upper` to that of `lower`. A deep S wave that meets no R wave below it needs no room, but
// no trace reaches its neighbour's line.
double FindGapUv(const std::vector<Excursion>& upper, const std::vector<Excursion>& lower) {
    const auto at = [](const std::vector<Excursion>& columns, std::size_t i) {
        return i < columns.size() ? columns[i] : Excursion{};
    };
    double mostUv = 0;
    for (std::size_t i = 0; i < std::max(upper.size(), lower.size()); ++i)
        for (std::size_t j = i - std::min<std::size_t>(i, 1); j <= i + 1; ++j)
            mostUv = std::max(mostUv, at(upper, i).downUv + at(lower, j).upUv);
    return mostUv;
}

// The gap above each line, and last the one below all, uV.
struct Gaps {
    std::vector<double> apartUv;  // at which no trace meets its neighbour
    std::vector<double> offUv;    // at which none reaches the line of its neighbour
};
Gaps ListGaps(const Strip& strip, const std::vector<StripLane>& lanes, int fs) {
    Gaps gaps;
    std::vector<Excursion> upper;
    for (std::size_t i = 0; i <= lanes.size(); ++i) {
        std::vector<Excursion> lower;
        if (i < lanes.size()) lower = ListExcursions(strip, lanes[i], fs);
        gaps.apartUv.push_back(FindGapUv(upper, lower));
        gaps.offUv.push_back(std::max(FindGapUv(upper, {}), FindGapUv({}, lower)));
        upper = std::move(lower);
    }
    return gaps;
}

// The lines at one gain; empty if they do not fit.
std::vector<double> FitLines(const std::vector<double>& gapsUv, double paperMm, const PaperScale& scale) {
    const std::size_t lanes = gapsUv.size() - 1;
    const double pitchMm = paperMm / static_cast<double>(lanes);
    const auto gapMm = [&](std::size_t i) {
        const double leastMm = i == 0 || i == lanes ? kLeastGapMm / 2 : kLeastGapMm;
        return std::max(leastMm, std::ceil(gapsUv[i] * scale.mmPerMv / 1000 + kClearMm));
    };
    std::vector<double> mm;
    for (std::size_t i = 0; i < lanes; ++i) {
        const double even = std::floor((static_cast<double>(i) + 0.5) * pitchMm);
        mm.push_back(std::max(even, (i > 0 ? mm[i - 1] : 0) + gapMm(i)));
    }
    double below = paperMm;
    for (std::size_t i = lanes; i-- > 0;) {
        mm[i] = std::min(mm[i], below - gapMm(i + 1));
        below = mm[i];
    }
    if (mm.front() < gapMm(0)) mm.clear();
    return mm;
}

// The part of the paper from half way to the line above to half way to the line below.
Box OwnPart(const Box& paper, const StripLines& lines, std::size_t i) {
    const double top = i == 0 ? 0 : (lines.mm[i - 1] + lines.mm[i]) / 2;
    const double bottom = i + 1 < lines.mm.size() ? (lines.mm[i] + lines.mm[i + 1]) / 2 : paper.height;
    return {paper.x, paper.y + top, paper.width, bottom - top};
}

// A segment as it is drawn: its trace on a paper whose left edge is the start of its time.
struct DrawnSegment {
    std::vector<float> uV;
    double middleUv = 0;
    EcgPaper paper;
};

// The stretch of height that the trace covers between two places of the page.
Cover FindCover(const DrawnSegment& segment, int fs, double left, double right) {
    const Box& area = segment.paper.Area();
    Cover cover;
    if (right < area.x || left > area.Right()) return cover;
    for (std::size_t i = 0; i < segment.uV.size(); ++i) {
        const double x = segment.paper.X(static_cast<double>(i) * 1000 / fs);
        if (x < left || !std::isfinite(segment.uV[i])) continue;
        if (x > right) break;
        const double y = std::clamp(segment.paper.Y(segment.uV[i] - segment.middleUv), area.y, area.Bottom());
        const bool isFirst = cover.lowest < cover.highest;
        cover = {isFirst ? y : std::min(cover.highest, y), isFirst ? y : std::max(cover.lowest, y)};
    }
    return cover;
}

void DrawPulse(Canvas& canvas, const Box& box, double line, const PaperScale& scale) {
    const double top = line - scale.mmPerMv * kPulseUv / kUvPerMv;
    canvas.DrawPath({{box.x, line},
                     {box.x + 1, line},
                     {box.x + 1, top},
                     {box.x + 4, top},
                     {box.x + 4, line},
                     {box.x + kPulseMm, line}},
                    {kInk, 0.25});
}

// A letter above each beat: N normal, S supraventricular, V ventricular, / paced, Q unclassified.
void DrawBeats(Canvas& canvas, const StressResult& result, const Strip& strip, const Box& paper) {
    constexpr double kHalfLetterMm = 1.2;
    double free = paper.x + kPulseMm - 2 * kHalfLetterMm;
    for (const FoundBeat& beat : result.beatsFound) {
        const double at = beat.seconds - strip.seconds;
        if (!(at >= 0 && at < kStripSeconds)) continue;
        const double x = paper.x + kPulseMm + at * kUsualScale.mmPerSecond;
        const bool isNormal =
            beat.beatClass == qz::BeatClass::Normal || beat.beatClass == qz::BeatClass::Paced;
        canvas.DrawLine({x, paper.y - 0.9}, {x, paper.y}, {isNormal ? kMuted : kAccent, 0.25});
        if (x - kHalfLetterMm < free) continue;
        canvas.DrawText({x, paper.y - 1.3}, LetterOf(beat.beatClass),
                        {8, !isNormal, isNormal ? kMuted : kAccent, Align::Centre});
        free = x + kHalfLetterMm;
    }
}

void DrawPaper(Canvas& canvas, const StressResult& result, const Strip& strip,
               const std::vector<StripLane>& lanes, const StripLines& lines, const Box& box) {
    const int fs = result.source.fs;
    EcgPaper(box, lines.scale, box.y).DrawGrid(canvas);
    std::vector<std::vector<DrawnSegment>> drawn(lanes.size());
    for (std::size_t i = 0; i < lanes.size(); ++i) {
        const double line = box.y + lines.mm[i];
        DrawPulse(canvas, box, line, lines.scale);
        for (const StripSegment& segment : lanes[i]) {
            std::vector<float> uV = TraceOf(strip, segment, fs);
            // An open lead stays off its neighbours.
            Box area = IsPlausible(uV) ? box : OwnPart(box, lines, i);
            area.x = box.x + kPulseMm + segment.fromSeconds * kUsualScale.mmPerSecond;
            area.width = (segment.toSeconds - segment.fromSeconds) * kUsualScale.mmPerSecond;
            const double middleUv = MiddleUv(uV);
            const EcgPaper paper(area, lines.scale, line);
            paper.DrawTrace(canvas, uV, middleUv, fs, {kInk, 0.25});
            if (segment.fromSeconds > 0) canvas.DrawLine({area.x, line - 3}, {area.x, line + 3}, {kInk, 0.2});
            drawn[i].push_back({std::move(uV), middleUv, paper});
        }
    }
    for (std::size_t i = 0; i < lanes.size(); ++i) {
        for (std::size_t part = 0; part < lanes[i].size(); ++part) {
            const std::string& name = result.source.leads[lanes[i][part].lead];
            const double widthMm = std::min(kWidestNameMm, canvas.MeasureText(name, kName));
            const double x = drawn[i][part].paper.Area().x + kNameX;
            std::vector<Cover> covers;
            for (const std::vector<DrawnSegment>& lane : drawn)
                for (const DrawnSegment& segment : lane)
                    covers.push_back(FindCover(segment, fs, x - kNameX, x + kNameX + widthMm));
            const double y = PlaceName(OwnPart(box, lines, i), drawn[i][part].paper.Y(0), covers);
            canvas.FillBox({x - kNameX / 2, y - kNameAboveMm, widthMm + kNameX, kNameAboveMm + kNameBelowMm},
                           kWhite);
            canvas.DrawText({x, y}, name, kName, kWidestNameMm);
        }
    }
}

std::string NameVentricular(const StressResult& result, const Strip& strip) {
    std::size_t longest = 1;
    for (const VentricularRow& row : FindVentricularRows(result.beatsFound))
        if (row.toSeconds >= strip.seconds && row.fromSeconds < strip.seconds + kStripSeconds)
            longest = std::max(longest, row.beats);
    if (longest == 1) return "ventricular beats";
    return longest == 2 ? "ventricular couplet" : "ventricular run of " + std::to_string(longest) + " beats";
}

std::string NameStageAt(const std::vector<Stage>& stages, double seconds) {
    const std::optional<std::size_t> at = StageAt(stages, seconds);
    return at ? NameStage(stages[*at], *at) : "";
}

// ", stage 3 150 W, 168 beats/min".
std::string DescribeCircumstances(const Findings& findings, const Strip& strip) {
    std::string text;
    const std::vector<Stage>& stages = findings.exercise.stages;
    if (const std::optional<std::size_t> at = StageAt(stages, strip.seconds)) {
        text += ", " + findings.tr.Name(NameStage(stages[*at], *at));
        if (const std::string power = DescribePower(stages[*at]); !power.empty()) text += " " + power;
    }
    const double bpm = MedianRateAt(findings.result, strip.seconds + kStripSeconds / 2);
    return std::isfinite(bpm) ? text + ", " + findings.tr(Number(bpm, 0) + " beats/min") : text;
}

// "peak heart rate, end of stage 3".
std::string NameStrip(const Findings& findings, const Strip& strip) {
    const double middle = strip.seconds + kStripSeconds / 2;
    std::string text;
    for (const StripKind kind : strip.kinds) {
        std::string name, circumstances;
        switch (kind) {
            case StripKind::Asked:
                name = "ECG at " + LongClock(strip.seconds) + " min:s";
                circumstances = DescribeCircumstances(findings, strip);
                break;
            case StripKind::Reference: name = "reference"; break;
            case StripKind::PeakRate: name = "peak heart rate"; break;
            case StripKind::LargestST: name = "largest ST change in " + findings.exercise.stLead; break;
            case StripKind::Ventricular: name = NameVentricular(findings.result, strip); break;
            case StripKind::StageEnd: name = "end of " + NameStageAt(findings.exercise.stages, middle); break;
            case StripKind::Start: name = "start of the recording"; break;
        }
        text += (text.empty() ? "" : ", ") + findings.tr(name) + circumstances;
    }
    return text;
}

// "9:51 to 10:01 min:s, stage 3 150 W, 168 beats/min"; the time alone where the title tells the rest.
std::string DescribeTime(const Findings& findings, const Strip& strip) {
    const double end = strip.seconds + kStripSeconds;
    const std::string time = findings.tr(LongClock(strip.seconds) + " to " +
                                         LongClock(std::min(end, findings.result.seconds)) + " min:s");
    return strip.kinds.front() == StripKind::Asked ? time : time + DescribeCircumstances(findings, strip);
}

// "ST II −20 µV (change −35), V5 ...": of the leads of the table of stages, at the end of the strip, as ST is
// that of the beats before.
std::string DescribeST(const Findings& findings, const Strip& strip) {
    const StressResult& result = findings.result;
    const std::vector<STThen> all = MeasureAllAt(result, strip.seconds + kStripSeconds);
    std::string text;
    for (const std::size_t lead : findings.exercise.stageLeads) {
        if (lead >= all.size() || std::isnan(all[lead].levelUv)) continue;
        text +=
            (text.empty() ? findings.tr("ST at its end:") + " " : ", ") + result.source.leads[lead] + " " +
            findings.tr(Number(all[lead].levelUv, 0) + " µV (change " + Signed(all[lead].changeUv, 0) + ")");
    }
    return text;
}

// A strip, or some leads of one, on a paper.
struct Block {
    std::size_t strip = 0;
    std::vector<StripLane> lanes;
    std::string title;
    double paperMm = 0;  // height
};

// The least height at which its gain is that of a page of its own.
double PaperHeight(const StressResult& result, const Block& block, const Box& contents) {
    const auto lanes = static_cast<double>(block.lanes.size());
    const double most =
        std::floor((contents.height - kCaptionMm - kTitleMm - kBeatsMm) / kStrongMm) * kStrongMm;
    const auto gain = [&](double paperMm) {
        return PlaceLines(result.strips[block.strip], block.lanes, result.source.fs, paperMm).scale.mmPerMv;
    };
    double paperMm = std::min(most, std::ceil(kUsualPitchMm * lanes / kStrongMm) * kStrongMm);
    while (paperMm < most && gain(paperMm) < gain(most)) paperMm += kStrongMm;
    return paperMm;
}

void DrawBlock(Canvas& canvas, const Findings& findings, const Block& block, const std::string& heading,
               Point corner) {
    const StressResult& result = findings.result;
    const Strip& strip = result.strips[block.strip];
    const StripLines lines = PlaceLines(strip, block.lanes, result.source.fs, block.paperMm);
    const Box paper{corner.x, corner.y + kTitleMm + kBeatsMm, kStripPaperMm, block.paperMm};
    const double scaleMm = canvas.DrawText({paper.Right(), corner.y + 3},
                                           findings.tr(DescribeScale(lines.scale, canvas.IsTrueToScale())),
                                           {8, true, kInk, Align::Right});
    canvas.DrawText({paper.x, corner.y + 3}, heading + DescribeTime(findings, strip), {8.5, true, kInk},
                    paper.width - scaleMm - 3);
    canvas.DrawText({paper.x, corner.y + 3 + kLineMm}, DescribeST(findings, strip), kTextStyle, paper.width);
    DrawBeats(canvas, result, strip, paper);
    DrawPaper(canvas, result, strip, block.lanes, lines, paper);
}

// A page of blocks below each other.
ReportPage MakePage(const Findings& findings, std::vector<Block> blocks, const std::string& span) {
    ReportPage page{findings.tr("Strips" + span), Landscape(findings.paper), {}};
    if (blocks.size() == 1) page.title = blocks.front().title;
    for (const Block& block : blocks) {
        page.usedMm += kTitleMm + kBeatsMm + block.paperMm + kBlockGapMm;
        if (blocks.size() > 1)
            page.entries.push_back(block.title + ", " +
                                   LongClock(findings.result.strips[block.strip].seconds));
    }
    page.usedMm += kCaptionMm;
    page.draw = [&findings, blocks = std::move(blocks)](Canvas& canvas, const Box& contents) {
        double y = contents.y - 2;
        for (const Block& block : blocks) {
            DrawBlock(canvas, findings, block, blocks.size() > 1 ? block.title + ": " : "", {contents.x, y});
            y += kTitleMm + kBeatsMm + block.paperMm + kBlockGapMm;
        }
        DrawCaption(canvas, contents,
                    findings.tr("Filters: " + findings.result.conditioning +
                                "; pulses of 1 mV. Beats: N normal, S supraventricular, V "
                                "ventricular, / paced, Q unclassified."));
    };
    return page;
}

// Of the first and the last lead; the one in full below the columns is none of them.
std::string NameLeads(const StressResult& result, const std::vector<StripLane>& lanes) {
    const std::size_t first = lanes.front().front().lead;
    std::size_t last = first;
    for (const StripLane& lane : lanes) last = std::max(last, lane.back().lead);
    return result.source.leads[first] + " – " + result.source.leads[last];
}

}  // namespace

double MiddleUv(const std::vector<float>& uV) {
    std::vector<float> finite;
    std::copy_if(uV.begin(), uV.end(), std::back_inserter(finite),
                 [](float value) { return std::isfinite(value); });
    if (finite.empty()) return 0;
    const auto middle = finite.begin() + std::ssize(finite) / 2;
    std::nth_element(finite.begin(), middle, finite.end());
    return *middle;
}

bool IsPlausible(const std::vector<float>& uV) {
    const TraceRange range = FindRange(uV);
    return range.highestUv - range.lowestUv <= kMostUv;
}

StripLines PlaceLines(const Strip& strip, const std::vector<StripLane>& lanes, int fs, double paperMm) {
    const Gaps gaps = ListGaps(strip, lanes, fs);
    for (const PaperScale& scale : kScales)
        for (const std::vector<double>* gapsUv : {&gaps.apartUv, &gaps.offUv})
            if (std::vector<double> mm = FitLines(*gapsUv, paperMm, scale); !mm.empty())
                return {scale, std::move(mm)};
    return {kQuarterGainScale, FitLines(std::vector<double>(lanes.size() + 1), paperMm, kQuarterGainScale)};
}

double PlaceName(const Box& part, double line, const std::vector<Cover>& covers) {
    const auto isFree = [&](double y) {
        const double top = y - kNameAboveMm, bottom = y + kNameBelowMm;
        return top >= part.y && bottom <= part.Bottom() &&
               std::none_of(covers.begin(), covers.end(), [&](const Cover& cover) {
                   return cover.highest <= cover.lowest && cover.highest <= bottom && cover.lowest >= top;
               });
    };
    const double steps = std::floor(part.height);  // of 1 mm
    for (int step = 0; step < steps; ++step) {
        const double mm = kNameOffMm + step;
        for (const double y : {line - mm, line + kNameAboveMm + mm})
            if (isFree(y)) return y;
    }
    return line - kNameOffMm;
}

std::vector<std::vector<StripLane>> PlanLanes(const std::vector<std::string>& leads, bool inColumns) {
    const std::size_t all = leads.size();
    const bool hasColumns = inColumns && all >= kFewestForColumns;
    const std::size_t most = hasColumns ? kMostInColumns : kMostLanes;
    const std::size_t count = (all + most - 1) / most;
    const auto rhythm = std::find_if(leads.begin(), leads.end(), [](const std::string& lead) {
        return EqualIgnoringCase(lead, kRhythmLead);
    });
    const std::size_t rhythmLead =
        rhythm == leads.end() ? 0 : static_cast<std::size_t>(rhythm - leads.begin());
    // Twelve leads in four columns of three, fifteen in five.
    const std::size_t mostHere = SpreadEvenly(all, most);
    const std::size_t columns = !hasColumns ? 1 : mostHere > 12 && mostHere <= 15 ? 5 : 4;
    const double seconds = kStripSeconds / static_cast<double>(columns);
    std::vector<std::vector<StripLane>> papers;
    for (std::size_t paper = 0; paper < count; ++paper) {
        const std::size_t first = paper * all / count, leadsHere = (paper + 1) * all / count - first;
        const std::size_t rows = (leadsHere + columns - 1) / columns;
        std::vector<StripLane> lanes(rows);
        for (std::size_t i = 0; i < leadsHere; ++i) {
            const std::size_t before = i / rows;
            const auto column = static_cast<double>(before);
            lanes[i % rows].push_back({first + i, column * seconds, (column + 1) * seconds});
        }
        if (hasColumns) lanes.push_back({{rhythmLead, 0, kStripSeconds}});
        papers.push_back(std::move(lanes));
    }
    return papers;
}

void AddStripPages(const Findings& findings, std::vector<ReportPage>& pages) {
    const StressResult& result = findings.result;
    std::vector<Block> blocks;
    for (std::size_t i = 0; i < result.strips.size(); ++i) {
        const StripKind kind = result.strips[i].kinds.front();
        const auto papers =
            PlanLanes(result.source.leads, kind != StripKind::Asked && kind != StripKind::Ventricular);
        std::string title = NameStrip(findings, result.strips[i]);
        title[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(title[0])));
        for (const std::vector<StripLane>& lanes : papers)
            blocks.push_back(
                {i, lanes, papers.size() > 1 ? title + " (" + NameLeads(result, lanes) + ")" : title});
    }
    const Box contents = Landscape(findings.paper).Contents();
    const double room = contents.height - kCaptionMm + 2;
    std::vector<Block> shown;
    double used = 0;
    const auto addPage = [&](std::size_t end) {
        for (Block& block : shown) {
            const double spare = (room - used + kBlockGapMm) / static_cast<double>(shown.size());
            const double tallest = kTallestPitchMm * static_cast<double>(block.lanes.size());
            block.paperMm =
                std::max(block.paperMm,
                         std::min(tallest, std::floor((block.paperMm + spare) / kStrongMm) * kStrongMm));
        }
        const std::string span = NameSpan("strip", end - shown.size(), shown.size(), blocks.size());
        pages.push_back(MakePage(findings, std::exchange(shown, {}), span));
        used = 0;
    };
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        blocks[i].paperMm = PaperHeight(result, blocks[i], contents);
        const double needed = kTitleMm + kBeatsMm + blocks[i].paperMm;
        if (!shown.empty() && used + needed > room) addPage(i);
        shown.push_back(blocks[i]);
        used += needed + kBlockGapMm;
    }
    if (!shown.empty()) addPage(blocks.size());
}
