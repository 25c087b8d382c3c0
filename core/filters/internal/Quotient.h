// Quotient: the exact integer quotient by one multiplication.
#pragma once

#include "core/filters/internal/Lanes.h"

/// The factor for a divisor from 1 to 2^31 - 1.
inline double ReciprocalOf(int divisor) { return (1 + 0x1p-40) / divisor; }

/// x / divisor of every lane, truncated toward zero.
///
/// For x = k d + r with 0 <= r < d, the product is (x / d)(1 + e) with 2^-41 < e < 2^-39, rounding included.
/// It is at least k, as x / d is. It is below k + 1, since that is x / d + (d - r) / d, and (x / d) e is
/// smaller than (d - r) / d: x e < 2^31 2^-39 < 1 <= d - r. For negative x all is the same with the other
/// sign.
inline IntLanes Quotient(IntLanes x, DoubleLanes reciprocal) {
    return TruncateInRange(ToDoubles(x) * reciprocal);
}
