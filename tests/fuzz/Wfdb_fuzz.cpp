// A header, up to the first zero byte; the header of a segment "s", up to the second; the signal file "d".
#include "host/record/OpenRecord.h"
#include "host/support/HostError.h"
#include "tests/fuzz/FuzzFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view rest = AsText(data, size);
    const auto takePart = [&] {
        const std::string_view part = rest.substr(0, rest.find('\0'));
        rest.remove_prefix(std::min(part.size() + 1, rest.size()));
        return part;
    };
    const std::string header = WriteFuzzFile("r.hea", takePart());
    WriteFuzzFile("s.hea", takePart());
    WriteFuzzFile("d", rest);
    try {
        ReadThrough(*OpenRecord(header));
    } catch (const HostError&) {
    }
    return 0;
}
