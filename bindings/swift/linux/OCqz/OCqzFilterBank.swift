import qzAPI

/// The filter-bank class: every object has filters of its own.
public final class OCqzFilterBank {
    private let bank: OpaquePointer

    public init?(_ fs: Int16, chn: Int16, notch: Double, q: Double) {
        guard let bank = qzc_notch_create(fs, chn, notch, q) else { return nil }
        self.bank = bank
    }
    public init?(_ fs: Int16, chn: Int16, highpass: Double) {
        guard let bank = qzc_highpass_create(fs, chn, highpass) else { return nil }
        self.bank = bank
    }
    deinit { qzc_filter_bank_destroy(bank) }

    public func filter(_ frame: [Any]) -> [Any] {
        var frame = samples(frame)
        qzc_filter_bank_filter(bank, &frame, frame.count)
        return frame
    }
}
