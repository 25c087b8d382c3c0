import CqzShim
import qzAPI

/// The stress-template class. Releasing an object does not destroy the engine.
public final class OCqzStressTemplLib {
    private let handle = CqzStressTemplLib_init()!

    public init() {}
    deinit { CqzStressTemplLib_release(handle) }

    public func create(_ fs: Int16, chn: Int16, uVpb: Double, mutex_lock: Bool) -> Bool {
        CqzStressTemplLib_create(handle, fs, chn, uVpb, mutex_lock)
    }
    public func destroy() { CqzStressTemplLib_destroy(handle) }

    public func restTempl(_ templ: [Any], posQ: Int16, posJ: Int16, postJms: Int16) -> [Any]? {
        let rows = templ.map { samples($0 as! [Any]) }
        return CqzStressTemplLib_restTempl(
            handle, Array(rows.joined()), rows.map(\.count), rows.count, posQ, posJ, postJms
        ).array
    }
    public func match(_ frame: [Any]) -> [Any]? {
        CqzStressTemplLib_match(handle, samples(frame), frame.count).array
    }
    public func getTempl() -> [Any]? { CqzStressTemplLib_getTempl(handle).array }

    public func getPos() -> [Any]? { CqzStressTemplLib_getPos(handle).array }
    public func setPos(_ posQ: Int16, jpoint posJ: Int16) { CqzStressTemplLib_setPos(handle, posQ, posJ) }
    public func setPostJms(_ postJms: Int16) { CqzStressTemplLib_setPostJms(handle, postJms) }

    public func getSTslope() -> [Any]? { CqzStressTemplLib_getSTslope(handle).array }
    public func getSTuv() -> [Any]? { CqzStressTemplLib_getSTuv(handle).array }
    public func getMeanHR(_ s1: Int16, data2 s2: Int16, data3 s3: Int16) -> Int16 {
        CqzStressTemplLib_getMeanHR(handle, s1, s2, s3)
    }

    public static func getPWC(_ power: [Any], hr: [Any]) -> [Any] {
        var pwc = [Float](repeating: 0, count: 3)
        qzc_pwc(
            power.map { $0 as! Float }, hr.map { $0 as! Float }, min(power.count, hr.count), &pwc)
        return pwc
    }
}
