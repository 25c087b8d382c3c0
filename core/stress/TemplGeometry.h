// TemplGeometry: where an averaged beat has its points, and how it is measured around them.
//
//        zero level              R                          J    J point            ST point
//   ------[== Q ==]--------------+--------------------------+-------+------------------+-----
//           |<- zeroWidth ->| the host's Q                   jOffset       postJms
//
// A plain record: CZatMatch keeps one and hands it to each of its leads.
#pragma once

struct TemplGeometry {
    static constexpr int kJOffsetMs = 6;     // the J point is read so long after J
    static constexpr int kZeroWidthMs = 12;  // width of the zero level, and the shift of Q
    static constexpr short kDefaultPostJms = 60;

    short length = 0;                    // of the beat, samples
    short posR = 0, posQ = 0, posJ = 0;  // indices into the beat; Q lies zeroWidth before the host's
    short postJms = kDefaultPostJms;     // from the J point to the ST point
    short jOffset = 0;                   // kJOffsetMs in samples
    short zeroWidth = 0;                 // kZeroWidthMs in samples

    int JPoint() const { return posJ + jOffset; }

    /// The zero level is the sum of the samples from Q - ZeroReach() up to Q + ZeroReach(), the last
    /// excluded, divided by ZeroDivisor(); without a divisor, under 167 Hz, it is 0. Deliberate: at many
    /// rates these are fewer samples than they are divided by. The zero level then is only a share of the
    /// level around Q: ZeroShare(), from 0 to 1.
    int ZeroReach() const { return zeroWidth / 4; }
    int ZeroDivisor() const { return zeroWidth / 2; }
    double ZeroShare() const { return zeroWidth < 2 ? 0.0 : 2.0 * ZeroReach() / ZeroDivisor(); }
};
