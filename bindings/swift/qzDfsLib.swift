import Foundation

#if !canImport(ObjectiveC)
import OCqzPlain
#elseif canImport(OCqz)
import OCqz
#endif

/// The sample-rate doubler: one frame in, two frames out, one input sample late.
///
///     let twoFrames = qzDfsLib(chn: 3, uVpb: 2.44).getData(data: [1, 2, 3])  // six samples
///
/// A frame has one 16-bit sample per lead, in lead order. The process has one doubler, shared by all objects
/// of this class: `create` rebuilds it for all, the release of any object takes it away from all. One thread
/// at a time.
///
/// Keep one object, and change its leads by `create`: a new object in place of the old one loses the doubler that
/// it has built when the old one is released (see `qzFiltersLib`).
#if canImport(ObjectiveC)
@objcMembers
#endif
open class qzDfsLib: NSObject {
    private let dfs: OCqzDfsLib

    // MARK: Life of the doubler

    /// Without a doubler until `create`.
    public override init() {
        dfs = OCqzDfsLib()
        super.init()
    }

    /// Builds the doubler through `create`; where that fails, `getData` answers empty.
    public init(chn: Int16, uVpb: Double) {
        dfs = OCqzDfsLib()
        super.init()
        create(chn: chn, uVpb: uVpb)
    }

    deinit { dfs.destroy() }

    /// Builds the doubler for `chn` leads of `uVpb` microvolts per unit, after destroying any earlier one.
    /// - Returns: False where it cannot be built; there is then no doubler.
    @discardableResult
    open func create(chn: Int16, uVpb: Double) -> Bool { dfs.create(chn, uVpb: uVpb) }

    // MARK: Signal

    /// Two frames: the inserted midpoints of all leads, then the samples at the input rate. Empty for a frame
    /// of fewer samples than leads, and without a doubler; surplus samples are ignored.
    open func getData(data: [Int16]) -> [Int16]? { elements(dfs.getData(data)) }
}
