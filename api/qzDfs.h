// The sample-rate doubler as free functions over one doubler per process: a frame in, two frames out.
//
// Call order: qzDfs_create, then qzDfs_getData with every frame, qzDfs_destroy. The doubled signal lags the
// input by one input sample (see CDoubleSampleRate). One thread at a time.
#pragma once

#include <vector>

#ifndef QZ_API
#define QZ_API  // given a meaning by the build of the library: core/Export.h
#endif

/// Builds the doubler for chn leads, after destroying any earlier one. Returns true. A negative chn fails as
/// an allocation (std::bad_alloc) and leaves no doubler.
/// Deliberate: uVpb is not used; a sharp step is judged at 15 and 240 units whatever the scale.
QZ_API bool qzDfs_create(short chn, double uVpb);
/// Takes one frame of chn samples. Returns two frames: row 0 the inserted midpoints, row 1 the samples at the
/// input rate. Allocates the returned rows. Without a doubler, or for null: no rows, and nothing changes.
QZ_API std::vector<std::vector<short>> qzDfs_getData(short* data);
/// The leads of the doubler; -1 without one.
QZ_API short qzDfs_Leads();
/// Releases the doubler, which otherwise lives as long as the process. Harmless without one. The two names do
/// the same.
QZ_API void qzDfs_destroy();
QZ_API void qzDfsDestroy();
