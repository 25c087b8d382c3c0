#include "host/support/JsonField.h"

#include "host/support/InputFile.h"

Json ParseJsonFile(const std::string& path, const char* what, long long mostBytes, int mostParts) {
    constexpr int kDeepest = 8;
    const std::string text = ReadText(path, mostBytes);
    int parts = 0;
    try {
        return Json::parse(text, [&](int depth, Json::parse_event_t, const Json&) {
            if (depth > kDeepest || ++parts > mostParts)
                throw HostError(path, std::string("expected JSON of ") + what +
                                          ", found far more brackets or values than one has");
            return true;
        });
    } catch (const Json::exception& error) {
        // The message holds what was read last, which may be the whole file.
        constexpr std::size_t kShown = 200;
        throw HostError(path, "expected JSON: " + std::string(error.what()).substr(0, kShown));
    }
}
