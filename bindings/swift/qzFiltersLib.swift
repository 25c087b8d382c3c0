import Foundation

#if !canImport(ObjectiveC)
import OCqzPlain
#elseif canImport(OCqz)
import OCqz
#endif

/// The filter chain: low-pass, mains notch (with drift removal) and smoothing, frame by frame.
///
///     let chain = qzFiltersLib(fs: 500, chn: 12, freqLpass: 40, freqNotch: 50, smoothStrength: 1)
///
/// A frame has one 16-bit sample per lead, in lead order. The process has one chain, shared by all objects of
/// this class: `create` and `update` rebuild it for all, the release of any object takes it away from all;
/// frames then come back as they went in. One thread at a time.
///
/// Keep one object, and change its settings by `create` or `update`. A new object in place of the old one has no
/// chain: it builds one, and the release of the old object then destroys that.
///
///     chain = qzFiltersLib(fs: 250, ...)  // wrong where `chain` held an object: frames are no longer filtered
///     chain.create(fs: 250, ...)          // right
#if canImport(ObjectiveC)
@objcMembers
#endif
open class qzFiltersLib: NSObject {
    private let filters: OCqzFiltersLib

    // MARK: Life of the chain

    /// Without a chain until `create`.
    public override init() {
        filters = OCqzFiltersLib()
        super.init()
    }

    /// Builds the chain through `create`; an object whose chain could not be built lets frames pass.
    public init(fs: Int16, chn: Int16, freqLpass: Int16, freqNotch: Int16, smoothStrength: Int16) {
        filters = OCqzFiltersLib()
        super.init()
        create(fs: fs, chn: chn, freqLpass: freqLpass, freqNotch: freqNotch, smoothStrength: smoothStrength)
    }

    deinit { filters.destroy() }

    /// Builds the chain, after destroying any earlier one. 0 leaves a stage out; all stages built are on.
    /// - Parameters:
    ///   - fs: Samples per second.
    ///   - chn: Leads.
    ///   - freqLpass: Cutoff of the low-pass, Hz; below `fs / 2`: at or above it the low-pass is unstable.
    ///   - freqNotch: Mains frequency, Hz: 50, at an `fs` that is a multiple of 50. The comb inverts and doubles
    ///     a tone of 60 Hz, and leaves much of 50 Hz at other rates: there pass 0 and use `qzFilterBank`.
    ///   - smoothStrength: 1 for one smoothing pass, 2 and more for three stronger ones.
    /// - Returns: False where it cannot be built; there is then no chain.
    @discardableResult
    open func create(fs: Int16, chn: Int16, freqLpass: Int16, freqNotch: Int16, smoothStrength: Int16) -> Bool
    {
        filters.create(fs, chn: chn, freqLpass: freqLpass, freqNotch: freqNotch, smooth: smoothStrength)
    }

    /// Rebuilds the chain for the leads of the last `create`; its history restarts. The arguments are those
    /// of `create`.
    /// - Returns: False before a successful `create`; an existing chain then stays.
    @discardableResult
    open func update(fs: Int16, freqLpass: Int16, freqNotch: Int16, smoothStrength: Int16) -> Bool {
        filters.update(fs, freqLpass: freqLpass, freqNotch: freqNotch, smooth: smoothStrength)
    }

    /// Switches built stages on and off. A stage switched off keeps its history and resumes from it.
    open func switchFilters(onOffLpass: Bool, onOffNotch: Bool, onOffSmooth: Bool) {
        filters.switchFilters(onOffLpass, onOffNotch: onOffNotch, onOffSmooth: onOffSmooth)
    }

    // MARK: Signal

    /// The frame, filtered; 16-bit results wrap. A frame that does not have one sample per lead comes back as
    /// it is.
    open func filters(data: [Int16]) -> [Int16]? { elements(filters.filters(data)) }
}
