import CqzShim

/// The sample-rate doubler class. Releasing an object destroys the doubler.
public final class OCqzDfsLib {
    private let handle = CqzDfsLib_init()!

    public init() {}
    deinit { CqzDfsLib_release(handle) }

    public func create(_ chn: Int16, uVpb: Double) -> Bool { CqzDfsLib_create(handle, chn, uVpb) }
    public func getData(_ frame: [Any]) -> [Any]? {
        CqzDfsLib_getData(handle, samples(frame), frame.count).array
    }
    public func destroy() { CqzDfsLib_destroy(handle) }
}
