#include "host/record/RawRecord.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host/record/Calibration.h"
#include "host/support/HostError.h"
#include "host/support/InputFile.h"
#include "host/support/Interrupt.h"

RawRecord::RawRecord(const std::string& path, const RawLayout& layout) : m_path(path) {
    if (!IsPipe(path)) InputFile{path};  // refuses what is no file
    m_handle = OpenPipe(path);
    m_info.name = path == "-" ? "stdin" : OneLine(std::filesystem::path(path).stem().string());
    SetRate(m_info, layout.fs, path);
    m_info.uVpb = layout.uVpb;
    m_info.leads = layout.leads;
    MakeUnique(m_info.leads);
    struct stat about {};
    if (fstat(m_handle.Value(), &about) == 0 && S_ISREG(about.st_mode))
        m_info.frames = about.st_size / static_cast<off_t>(2 * m_info.leads.size());
    constexpr std::size_t kFramesAtOnce = 1024;
    m_bytes.resize(2 * m_info.leads.size() * kFramesAtOnce);
}

bool RawRecord::Read(short* frame) {
    const std::size_t frameBytes = 2 * m_info.leads.size();
    while (m_filled - m_next < frameBytes) {
        std::copy(m_bytes.begin() + std::ptrdiff_t(m_next), m_bytes.begin() + std::ptrdiff_t(m_filled),
                  m_bytes.begin());
        m_filled -= std::exchange(m_next, 0);
        const ssize_t count = read(m_handle.Value(), &m_bytes[m_filled], m_bytes.size() - m_filled);
        if (count == 0 || (count < 0 && errno == EINTR && Interrupt::IsAsked())) return false;
        if (count < 0 && errno != EINTR)
            throw HostError(m_path, std::string("cannot be read to its end: ") + std::strerror(errno));
        m_filled += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    for (std::size_t lead = 0; lead < m_info.leads.size(); ++lead, m_next += 2) {
        const auto low = static_cast<unsigned char>(m_bytes[m_next]);
        const auto high = static_cast<unsigned char>(m_bytes[m_next + 1]);
        frame[lead] = static_cast<short>(low | high << 8);
    }
    return true;
}

std::optional<StoredFrames> RawRecord::Stored() const {
    if (IsPipe(m_path)) return {};
    return StoredFrames{InputFile(m_path), 0, m_info.frames};
}

std::vector<std::string> RawRecord::Warnings() const {
    const std::size_t left = m_filled - m_next;
    if (left == 0 || left >= 2 * m_info.leads.size()) return {};
    return {"ends within a frame: the last " + std::to_string(left) + " bytes are left out"};
}
