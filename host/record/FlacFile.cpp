#include "host/record/FlacFile.h"

#include <FLAC/stream_decoder.h>

#include <fstream>
#include <string>
#include <vector>

#include "host/support/HostError.h"

namespace {

constexpr long long kMostSamplesPerByte = 1000;  // leads that are off all the time have some hundreds

}  // namespace

struct FlacFile::State {
    State(const InputFile& file, long long offset, std::size_t channelCount, int most)
        : path(file.Path()),
          byteOffset(offset),
          channels(channelCount),
          mostBits(static_cast<unsigned>(most)),
          stream(file.Stream()) {
        if (!decoder) throw HostError(path, "cannot be decoded: no memory");
    }

    void Begin();
    bool DecodeBlock();

    // Called by libFLAC with the state behind `state`.
    static FLAC__StreamDecoderReadStatus Read(const FLAC__StreamDecoder*, FLAC__byte bytes[],
                                              std::size_t* count, void* state);
    static FLAC__StreamDecoderWriteStatus TakeBlock(const FLAC__StreamDecoder*, const FLAC__Frame* frame,
                                                    const FLAC__int32* const samples[], void* state);
    static void TakeInfo(const FLAC__StreamDecoder*, const FLAC__StreamMetadata* metadata, void* state);
    static void TakeFault(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus, void* state) {
        static_cast<State*>(state)->hasFault = true;
    }

    std::string path;
    long long byteOffset = 0;
    std::size_t channels = 0;
    unsigned mostBits = 0;  // per sample
    std::ifstream stream;
    std::unique_ptr<FLAC__StreamDecoder, decltype(&FLAC__stream_decoder_delete)> decoder{
        FLAC__stream_decoder_new(), &FLAC__stream_decoder_delete};
    FLAC__StreamMetadata_StreamInfo info{};  // no channels: the stream has not told of itself
    std::vector<std::int32_t> block;         // the latest one, channels alternate
    std::size_t next = 0;                    // in `block`
    long long decoded = 0;                   // samples of each channel since Begin
    bool hasFault = false;                   // since Begin
    long long whole = 0;                     // samples of each channel before the first fault
    bool isCut = false;
};

FLAC__StreamDecoderReadStatus FlacFile::State::Read(const FLAC__StreamDecoder*, FLAC__byte bytes[],
                                                    std::size_t* count, void* state) {
    std::ifstream& stream = static_cast<State*>(state)->stream;
    stream.read(reinterpret_cast<char*>(bytes), static_cast<std::streamsize>(*count));
    *count = BytesRead(stream);
    return *count > 0 ? FLAC__STREAM_DECODER_READ_STATUS_CONTINUE
                      : FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM;
}

void FlacFile::State::TakeInfo(const FLAC__StreamDecoder*, const FLAC__StreamMetadata* metadata,
                               void* state) {
    if (metadata->type == FLAC__METADATA_TYPE_STREAMINFO)
        static_cast<State*>(state)->info = metadata->data.stream_info;
}

FLAC__StreamDecoderWriteStatus FlacFile::State::TakeBlock(const FLAC__StreamDecoder*,
                                                          const FLAC__Frame* frame,
                                                          const FLAC__int32* const samples[], void* state) {
    State& self = *static_cast<State*>(state);
    const FLAC__FrameHeader& header = frame->header;
    // In the place of missing frames libFLAC gives silence, in one call with the frame behind them.
    const bool isFilled = !self.block.empty();
    if (self.hasFault || isFilled || header.channels != self.channels ||
        header.bits_per_sample > self.mostBits ||
        header.number.sample_number != static_cast<FLAC__uint64>(self.decoded)) {
        self.hasFault = true;
        return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    }
    self.block.resize(std::size_t{header.blocksize} * header.channels);
    std::size_t slot = 0;
    for (unsigned i = 0; i < header.blocksize; ++i)
        for (unsigned channel = 0; channel < header.channels; ++channel)
            self.block[slot++] = samples[channel][i];
    self.decoded += header.blocksize;
    return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

void FlacFile::State::Begin() {
    stream.clear();
    stream.seekg(byteOffset);
    block.clear();
    next = 0;
    decoded = 0;
    hasFault = false;
    info = {};
    FLAC__stream_decoder_finish(decoder.get());
    if (FLAC__stream_decoder_init_stream(decoder.get(), Read, nullptr, nullptr, nullptr, nullptr, TakeBlock,
                                         TakeInfo, TakeFault, this) != FLAC__STREAM_DECODER_INIT_STATUS_OK)
        throw HostError(path, "cannot be decoded: no memory");
    FLAC__stream_decoder_process_until_end_of_metadata(decoder.get());
}

// False at the end of the file and at a fault.
bool FlacFile::State::DecodeBlock() {
    block.clear();
    next = 0;
    while (block.empty() && !hasFault)
        if (FLAC__stream_decoder_process_single(decoder.get()) == 0 ||
            FLAC__stream_decoder_get_state(decoder.get()) == FLAC__STREAM_DECODER_END_OF_STREAM)
            break;
    if (hasFault) block.clear();
    return !block.empty();
}

FlacFile::FlacFile(const InputFile& file, long long byteOffset, std::size_t channels, int mostBits)
    : m_state(std::make_unique<State>(file, byteOffset, channels, mostBits)) {
    State& state = *m_state;
    state.Begin();
    const FLAC__StreamMetadata_StreamInfo info = state.info;
    if (info.channels == 0) throw HostError(state.path, "expected a FLAC stream, found none");
    if (info.channels != channels)
        throw HostError(state.path, "expected one FLAC channel for each signal, " + std::to_string(channels) +
                                        ", found " + std::to_string(info.channels));
    if (info.bits_per_sample > state.mostBits)
        throw HostError(state.path, "expected FLAC of at most " + std::to_string(mostBits) +
                                        " bits per sample, found " + std::to_string(info.bits_per_sample));
    const long long most = kMostSamplesPerByte * file.Bytes() / static_cast<long long>(channels);
    while (state.DecodeBlock()) {
        state.whole = state.decoded;
        if (state.whole > most)
            throw HostError(state.path, "expected at most " + std::to_string(kMostSamplesPerByte) +
                                            " samples of FLAC a byte, as recordings have, found more");
    }
    state.isCut = state.hasFault || static_cast<FLAC__uint64>(state.whole) < info.total_samples;
    state.Begin();
}

FlacFile::~FlacFile() = default;
FlacFile::FlacFile(FlacFile&&) noexcept = default;

long long FlacFile::Samples() const { return m_state->whole; }
bool FlacFile::IsCut() const { return m_state->isCut; }
void FlacFile::Rewind() { m_state->Begin(); }

const std::int32_t* FlacFile::Next() {
    State& state = *m_state;
    if (state.next == state.block.size() && !state.DecodeBlock()) return nullptr;
    const std::int32_t* samples = &state.block[state.next];
    state.next += state.channels;
    return samples;
}
