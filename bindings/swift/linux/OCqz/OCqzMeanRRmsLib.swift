import CqzShim

/// The many-lead heart-rate class. Releasing an object leaves the detector as it is.
public final class OCqzMeanRRmsLib {
    private let handle: OpaquePointer

    public init() { handle = CqzMeanRRmsLib_init() }
    public init(_ fs: Int16, chn: Int16, freqNotch: Int16, uVpb: Double) {
        handle = CqzMeanRRmsLib_initWith(fs, chn, freqNotch, uVpb)
    }
    deinit { CqzMeanRRmsLib_release(handle) }

    public func create(_ fs: Int16, chn: Int16, freqNotch: Int16, uVpb: Double) {
        CqzMeanRRmsLib_create(handle, fs, chn, freqNotch, uVpb)
    }
    public func meanRRms(_ frame: [Any]) -> Int16 {
        CqzMeanRRmsLib_meanRRms(handle, samples(frame), frame.count)
    }
    public func meanHR(_ frame: [Any]) -> Int16 {
        CqzMeanRRmsLib_meanHR(handle, samples(frame), frame.count)
    }
}
