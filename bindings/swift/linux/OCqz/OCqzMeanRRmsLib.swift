import CqzShim

/// The many-lead heart-rate class. Releasing an object leaves the detector as it is.
public final class OCqzMeanRRmsLib {
    private let handle = CqzMeanRRmsLib_init()!

    public init() {}
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
