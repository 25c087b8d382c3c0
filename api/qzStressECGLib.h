// The stress-ECG engine as free functions over one engine per process.
//
// Call order: qzStressECGLib_init (optional), _create, _InitTempl with a first averaged beat per lead, then
// _match with every frame; _STslope, _uvSTvalue and _STresults whenever ST values are wanted (a monitor: each
// time _match returns a template); _destroy. Two heart-rate paths stand beside it, each fed every frame:
// three leads (_MeanRRms, from _create on) and many leads (_InitMultiMeanRRms once, then _MultiMeanRRms or
// _MultiMeanHR).
//
// A frame is chn samples, one per lead in lead order. A sample is 16-bit; times uVpb it is microvolts.
// Returned arrays are owned by the engine and gone with the next _create or _destroy. The ST arrays are
// rewritten by the next call of the same function, the template by _match; its rows go with an _InitTempl of
// another length. Failure is a result: null, false, 0 or -1, as said below; null arguments give it too and
// change nothing. Nothing allocates but _create, _InitTempl, _InitMultiMeanRRms and, once per beat, the
// heart-rate functions.
//
// What is created lives until it is destroyed by call, also beyond the end of main: a thread that still feeds
// frames then, or a mutex that is still held, does no harm. The many-lead heart rate alone has no destroy: it
// goes when the library is unloaded and is then not set up. No other thread may feed it once main has
// returned.
//
// Every count of samples either starts again within seconds or has 64 bits, but for the one since the last
// beat: it stops at 2^31 - 1 samples (24 days at 1000 Hz), and the interval that ends there is told as any of
// 2000 ms or more. An engine may run for months.
//
// One thread at a time. After _init(true) the matcher's calls wait while somebody holds
// qzStressECGLib_mutex() and then go on without it: holding it delays the calls that begin meanwhile, but one
// that is under way is not waited for. So it orders threads that take turns; it does not protect a template
// that is read while _match runs. Its holder must call neither a function that waits for it nor any of the
// qzc_stress_ functions, whose lock a waiting thread may hold: that would wait for ever. _create and _destroy
// must not run while another thread is in any of these functions. The qzc_stress_ functions of
// api/qzStressTemplLibC.h keep each other out, and lend that lock to a host that reads while another thread
// feeds.
#pragma once

#include <cstddef>
#include <mutex>

#ifndef QZ_API
#define QZ_API  // given a meaning by the build of the library: core/Export.h
#endif

/// ST result of one lead. Amplitudes are against the zero level before Q, truncated toward zero and wrapped
/// to 16 bits; changes are against the template handed to qzStressECGLib_InitTempl.
struct STresult {
    short RuV;        // R amplitude, uV
    short JuV;        // J amplitude, uV
    short STuV;       // ST level, uV
    short deltaSTuV;  // change of the ST level, uV
    short deltaJuV;   // change of the J amplitude, uV
    short reserved;   // never written
    float STslope;    // uV per ms
    float STHRindex;  // ST level divided by the heart rate, uV per (beats/min)
};
static_assert(sizeof(STresult) == 20 && offsetof(STresult, deltaSTuV) == 6 &&
              offsetof(STresult, deltaJuV) == 8 && offsetof(STresult, STslope) == 12 &&
              offsetof(STresult, STHRindex) == 16);

/// Chooses whether engines created from now on wait for the mutex. Returns true.
QZ_API bool qzStressECGLib_init(bool mutex_lock);
/// Builds the engine, after destroying any earlier one: fs in samples per second, chn leads, uVpb in
/// microvolts per unit. Made for rates of 167 Hz and up (below, the zero level is 0). Returns true. A
/// negative chn fails as an allocation (std::bad_alloc) and leaves no engine.
QZ_API bool qzStressECGLib_create(short fs, short chn, double uVpb);
/// Releases the engine, after waiting for the holder of its mutex where it was made to wait. Harmless without
/// one. The many-lead heart rate goes on.
QZ_API void qzStressECGLib_destroy();
/// The leads of the engine; -1 without one.
QZ_API short qzStressECGLib_Leads();
/// The mutex that a matcher created after _init(true) waits for; null without an engine, gone with it.
QZ_API std::mutex* qzStressECGLib_mutex();

/// Hands in a first averaged beat: one pointer per lead, each to len samples (copied), with the Q onset and
/// the J point as indices into it and the time in milliseconds from J to the ST point. The engine finds R
/// itself, cuts the beat to at most 800 ms and moves Q 12 ms earlier (see CZatMatch::InitTempl); len is
/// written back as kept, the positions are read with _GetPos. Returns the template array, or null.
QZ_API short** qzStressECGLib_InitTempl(short** templ, short& len, short posQ, short posJ, short postJms);
/// The template array: one pointer per lead, each to the template length of samples; null without an engine.
/// Its pointers are null before _InitTempl. Does not wait for the mutex.
QZ_API short** qzStressECGLib_getTempl();
/// Samples per lead of the template; -1 without a template or without an engine. Does not wait for the mutex.
QZ_API short qzStressECGLib_TemplLength();
/// Takes the next frame. Returns the updated template array when a beat was matched and averaged into it,
/// else null.
QZ_API short** qzStressECGLib_match(short* frame);

/// Moves Q and J of the template, as indices, as given. Returns the number of leads; posQ without an engine.
QZ_API short qzStressECGLib_SetPos(short posQ, short posJ);
/// Sets the time from J to the ST point, ms. Returns the number of leads; postJms without an engine.
QZ_API short qzStressECGLib_SetPostJms(short postJms);
/// Reads the positions (template indices; Q 12 ms before the Q handed in) and the post-J time. Returns the
/// template length in samples; 0 without an engine, the arguments then stay as they are.
QZ_API short qzStressECGLib_GetPos(short& posR, short& posQ, short& posJ, short& postJms);

/// The ST slope of every lead from J to the ST point, uV per ms, smoothed over the calls (second-order
/// low-pass, corner at a twentieth of the call rate, primed by the first call after _create); null without an
/// engine.
QZ_API float* qzStressECGLib_STslope();
/// The ST level of every lead, uV, smoothed likewise; null without an engine.
QZ_API short* qzStressECGLib_uvSTvalue();
/// The ST result of every lead, not smoothed; rrMs is the present RR interval in ms, for the ST/HR index.
/// Null without an engine.
QZ_API STresult* qzStressECGLib_STresults(short rrMs);

/// Three-lead heart rate: takes one sample of each of three leads. Returns the RR interval in ms, steadied
/// over five beats, on the sample that is a beat; 0 for an interval of 2000 ms or more; -1 otherwise, and
/// without an engine. Intervals under 200 ms count as 200. The detector rejects 50 Hz mains.
QZ_API short qzStressECGLib_MeanRRms(short s1, short s2, short s3);
/// Sets up the many-lead heart rate, apart from any engine: fs in samples per second, chn leads, acFreq the
/// mains frequency to reject in Hz (below 1: none), uVpb in microvolts per unit. A negative chn fails as an
/// allocation (std::bad_alloc) and leaves the path not set up.
/// Deliberate: the five RR intervals of the average are kept.
QZ_API void qzStressECGLib_InitMultiMeanRRms(short fs, short chn, short acFreq, double uVpb);
/// Takes one frame of all leads. Returns as qzStressECGLib_MeanRRms; -1 also when not set up.
/// A host calls this or _MultiMeanHR, one of them once per frame.
QZ_API short qzStressECGLib_MultiMeanRRms(short* frame);
/// The same as a heart rate in beats per minute, 30 to 300; 0 and -1 likewise.
QZ_API short qzStressECGLib_MultiMeanHR(short* frame);
/// The leads that the many-lead path was set up for; -1 while it is not set up.
QZ_API short qzStressECGLib_MultiLeads();
