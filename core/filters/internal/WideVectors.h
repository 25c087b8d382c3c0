// WideVectors: loops that are compiled twice, for any processor and for those with registers of 256 bits,
// which x86-64 does not promise. The program chooses where it runs.
//
//   QZ_BOTH_WIDTHS void Add(...) { plain loops }                              // one kernel
//   QZ_WIDE_VECTORS static void AddWide(...) { Add(...); }                     // two shapes
//   void Sum(...) { if (HasWideVectors()) AddWide(...); else Add(...); }
//
// The wide form has AVX2 and no fused multiply-add: every operation rounds as in the other one, so that
// results have the same bits. On other processors than x86-64, and where the whole build may use AVX2, both
// are the same.
#pragma once

#if (defined(__GNUC__) || defined(__clang__)) && defined(__x86_64__) && !defined(__AVX2__)
#define QZ_WIDE_VECTORS __attribute__((target("avx2")))
inline bool HasWideVectors() { return __builtin_cpu_supports("avx2"); }
#else
#define QZ_WIDE_VECTORS
inline bool HasWideVectors() { return false; }
#endif

/// A kernel becomes a part of what calls it, and is compiled for the processors of that.
#if defined(__GNUC__) || defined(__clang__)
#define QZ_BOTH_WIDTHS __attribute__((always_inline)) inline
#else
#define QZ_BOTH_WIDTHS inline
#endif
