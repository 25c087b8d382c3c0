import CqzShim

/// The filter-chain class. Releasing an object destroys the chain.
public final class OCqzFiltersLib {
    private let handle = CqzFiltersLib_init()!

    public init() {}
    deinit { CqzFiltersLib_release(handle) }

    public func create(_ fs: Int16, chn: Int16, freqLpass: Int16, freqNotch: Int16, smooth: Int16) -> Bool {
        CqzFiltersLib_create(handle, fs, chn, freqLpass, freqNotch, smooth)
    }
    public func update(_ fs: Int16, freqLpass: Int16, freqNotch: Int16, smooth: Int16) -> Bool {
        CqzFiltersLib_update(handle, fs, freqLpass, freqNotch, smooth)
    }
    public func switchFilters(_ lowpass: Bool, onOffNotch notch: Bool, onOffSmooth smooth: Bool) {
        CqzFiltersLib_switchFilters(handle, lowpass, notch, smooth)
    }
    public func filters(_ frame: [Any]) -> [Any]? {
        // The frame outlives the call because an echoed result points into it.
        samples(frame).withUnsafeBufferPointer {
            CqzFiltersLib_filters(handle, $0.baseAddress, $0.count).array
        }
    }
    public func destroy() { CqzFiltersLib_destroy(handle) }
}
