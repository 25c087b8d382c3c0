// The filter chain as free functions over one chain per process: low-pass, mains notch (with drift removal),
// smoothing, on frames in place.
//
//   frame -> CMultiChannelLowpass2 -> CQuorlMultiNotchFilter -> CMultiChannelSmoothEx -> frame
//
// Call order: qzFilters_create, then qzFilters_filters with every frame, qzFilters_switch at any time,
// qzFilters_destroy. Only qzFilters_create allocates. One thread at a time.
//
// The notch stage is a comb (see CBaseNotchFilter): it delays the signal by about three quarters of a second
// and takes out constants and slow drift together with the mains. It is made for 50 Hz at rates that are a
// multiple of 50 Hz. At 60 Hz a steady mains tone comes out inverted and doubled, and where the rate has to
// be resampled at low rates much of the tone stays: there, leave the stage out and use CNotchFilter and
// CHighpassFilter per lead instead.
#pragma once

#ifndef QZ_API
#define QZ_API  // given a meaning by the build of the library: core/Export.h
#endif

/// Builds the chain, after destroying any earlier one: fs in samples per second, chn leads, freqLpass the
/// low-pass cutoff in Hz, freqNotch the mains frequency in Hz, smooth the smoothing strength (1: one pass
/// with a 25 Hz inner low-pass; 2 and more: three passes with 10 Hz). 0 or below leaves a stage out. All
/// stages built are on. fs and chn must be positive: with no leads the chain does nothing, and a stage that
/// the rate gives nothing to work on passes the signal. freqLpass must lie below fs / 2: at or above it the
/// low-pass is unstable. Returns true.
QZ_API bool qzFilters_create(short fs, short chn, short freqLpass, short freqNotch, short smooth);
/// Switches built stages on and off. A stage switched off keeps its history and resumes from it; one that
/// was never built stays off. Without a chain: no effect.
QZ_API void qzFilters_switch(bool onOffLpass, bool onOffNotch, bool onOffSmooth);
/// Filters one frame of chn samples in place; 16-bit results wrap. Without a chain, with all stages off, or
/// for null: no effect.
QZ_API void qzFilters_filters(short* data);
/// The leads of the chain, which may have no stage; -1 without a chain.
QZ_API short qzFilters_Leads();
/// Samples by which a filtered frame is late, and after which nothing of the chain's start is left in it:
/// those of the stages that are on, together. The low-pass counts with its delay at low frequencies, to the
/// nearest sample, and until a step is within 1.5 % of its height. -1 without a chain.
QZ_API int qzFilters_DelaySamples();
QZ_API int qzFilters_SettlingSamples();
/// Releases the chain, which otherwise lives as long as the process. Harmless without one. The two names do
/// the same.
QZ_API void qzFilters_destroy();
QZ_API void qzFiltersDestroy();
