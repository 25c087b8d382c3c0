import Foundation

#if !canImport(ObjectiveC)
import OCqzPlain
#elseif canImport(OCqz)
import OCqz
#endif

/// One filter per lead, frame by frame: a mains notch, or a high-pass against baseline wander. For signals that
/// `qzFiltersLib` does not suit: mains of 60 Hz, and of 50 Hz at rates that are no multiple of 50.
///
///     let notch = qzFilterBank(fs: 500, chn: 12, notch: 60, q: 10)!
///     let drift = qzFilterBank(fs: 500, chn: 12, highpass: 0.05)!
///     let filtered = notch.filter(data: drift.filter(data: frame))
///
/// A frame has one 16-bit sample per lead, in lead order. Unlike the other classes every object has filters of
/// its own: as many objects as wanted, each for one thread at a time. They start at 0, so that a signal with an
/// offset begins with a step, for which a high-pass of 0.05 Hz needs 20 s: subtract the first frame from every
/// frame to avoid it.
#if canImport(ObjectiveC)
@objcMembers
#endif
public final class qzFilterBank: NSObject {
    private let bank: OCqzFilterBank

    /// A notch for `chn` leads at `fs` samples per second, centred on `notch` Hz: -3 dB lies `notch / (2 q)` on
    /// either side, and after a step it rings for about `q / notch` seconds. `q` is 10 for mains.
    ///
    /// Nil unless `chn` is 0 or more, `notch` above 0 and below `fs / 2`, and `q` above 0.
    public init?(fs: Int16, chn: Int16, notch: Double, q: Double) {
        guard let bank = OCqzFilterBank(fs, chn: chn, notch: notch, q: q) else { return nil }
        self.bank = bank
        super.init()
    }

    /// A high-pass for `chn` leads at `fs` samples per second: -5.3 dB at `highpass` Hz, -3 dB at 1.39 times that.
    /// Below 0.01 Hz it counts as 0.01 Hz.
    ///
    /// Nil unless `chn` is 0 or more and `highpass` below `fs / 2`.
    public init?(fs: Int16, chn: Int16, highpass: Double) {
        guard let bank = OCqzFilterBank(fs, chn: chn, highpass: highpass) else { return nil }
        self.bank = bank
        super.init()
    }

    /// The frame, filtered, truncated toward zero; 16-bit results wrap. A frame that does not have one sample per
    /// lead comes back as it is.
    public func filter(data: [Int16]) -> [Int16] { elements(bank.filter(data)) ?? data }
}
