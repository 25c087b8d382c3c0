#include "host/report/ReportDrawing.h"

#include <array>
#include <filesystem>
#include <stdexcept>

#include "host/report/Outputs.h"
#include "host/support/HostError.h"
#include "host/support/Text.h"

namespace {

struct Kind {
    const char* ending;
    std::string_view beginning;  // of every such file
    void (*write)(std::ostream& out, const std::vector<ReportPage>& pages, const Findings& findings);
};
constexpr std::array kKinds{Kind{".pdf", "%PDF-", WritePdf}, Kind{".png", "\x89PNG", WritePng},
                            Kind{".html", "<!DOCTYPE html>", WriteHtml}};

const Kind& FindKind(const std::string& path) {
    const std::string ending = std::filesystem::path(path).extension().string();
    for (const Kind& kind : kKinds)
        if (EqualIgnoringCase(ending, kind.ending)) return kind;
    throw HostError(path, "a report's name is expected to end in .html, .pdf or .png");
}

}  // namespace

void CheckReportName(const std::string& path) { FindKind(path); }

std::string_view ReportBeginning(const std::string& path) { return FindKind(path).beginning; }

void WriteReport(PendingFile& file, const ReportData& data) {
    const Kind& kind = FindKind(file.Path());
    const Findings findings(data);
    try {
        kind.write(file.Stream(), LayOutPages(findings), findings);
    } catch (const std::runtime_error& error) {
        file.Check();  // a full disk gets its own message
        throw WriteError(file.Path(), std::string("the report cannot be drawn: ") + error.what());
    }
}
