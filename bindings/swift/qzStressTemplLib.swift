import Foundation

#if !canImport(ObjectiveC)
import OCqzPlain
#elseif canImport(OCqz)
import OCqz
#endif

/// Stress-ECG analysis: keeps an averaged beat per lead up to date by template matching and measures the ST
/// segment on it.
///
///     let lib = qzStressTemplLib(); lib.create(fs: 500, chn: 12, uVpb: 2.44, mutex_lock: false)
///
/// Call order: `create`, `restTempl` with a first averaged beat, then `match` with every frame; positions and
/// ST values whenever wanted. A sample is 16-bit; times `uVpb` it is microvolts. A frame has one sample per
/// lead, in lead order.
///
/// The process has one engine, shared by all objects of this class: `create` rebuilds it for all, `destroy`
/// and the release of any object take it away from all: keep one object for as long as frames come, and begin the
/// next recording with `create`. An array result is empty where there is nothing (no engine, no template yet, no
/// beat). One thread at a time: feed and ask from one queue or one actor.
#if canImport(ObjectiveC)
@objcMembers
#endif
open class qzStressTemplLib: NSObject {
    private let stress: OCqzStressTemplLib

    // MARK: Life of the engine

    /// Without an engine until `create`.
    public override init() {
        stress = OCqzStressTemplLib()
        super.init()
    }

    deinit { stress.destroy() }

    /// Builds the engine, after destroying any earlier one. The template has to be handed in again.
    /// - Parameters:
    ///   - fs: Samples per second.
    ///   - chn: Leads.
    ///   - uVpb: Microvolts per unit.
    ///   - mutex_lock: Lets the engine wait for whoever holds its lock.
    /// - Returns: False where it cannot be built; there is then no engine.
    @discardableResult
    open func create(fs: Int16, chn: Int16, uVpb: Double, mutex_lock: Bool) -> Bool {
        stress.create(fs, chn: chn, uVpb: uVpb, mutex_lock: mutex_lock)
    }

    /// Releases the engine. Harmless without one.
    open func destroy() { stress.destroy() }

    // MARK: Template

    /// Hands in a first averaged beat. The engine finds R itself, cuts the beat to at most 800 ms and moves Q
    /// 12 ms earlier.
    /// - Parameters:
    ///   - templ: One row per lead, all of one length.
    ///   - posQ: Q onset, as an index into a row.
    ///   - posJ: J point, as an index into a row.
    ///   - postJms: Time from J to the ST point, milliseconds.
    /// - Returns: The template as kept, one row per lead; empty without an engine and with fewer rows than
    ///   leads.
    @discardableResult
    open func restTempl(templ: [[Int16]], posQ: Int16, posJ: Int16, postJms: Int16) -> [[Int16]]? {
        elements(stress.restTempl(templ, posQ: posQ, posJ: posJ, postJms: postJms))
    }

    /// Takes the next frame; samples it lacks count as 0.
    /// - Returns: The updated template when a beat was matched and averaged into it, else empty.
    @discardableResult
    open func match(data: [Int16]) -> [[Int16]]? { elements(stress.match(data)) }

    /// The present template, one row per lead.
    open func getTempl() -> [[Int16]]? { elements(stress.getTempl()) }

    // MARK: Positions

    /// Q and J as indices into a template row, the time from J to the ST point in milliseconds, and R as an
    /// index: [posQ, posJ, postJms, posR].
    open func getPos() -> [Int16]? { elements(stress.getPos()) }

    /// Moves the Q onset (`posZ`) and the J point, as indices into a template row.
    open func setPos(posZ: Int16, posJ: Int16) { stress.setPos(posZ, jpoint: posJ) }

    /// Sets the time from J to the ST point, milliseconds.
    open func setPostJms(postJms: Int16) { stress.setPostJms(postJms) }

    // MARK: ST values and heart rate

    /// The ST slope of every lead from J to the ST point, microvolts per millisecond, smoothed over the
    /// calls.
    open func getSTslope() -> [Float]? { elements(stress.getSTslope()) }

    /// The ST level of every lead, microvolts, smoothed over the calls.
    open func getSTuv() -> [Int16]? { elements(stress.getSTuv()) }

    /// Takes one sample of each of three leads; works from `create` on, with or without a template.
    /// - Returns: The heart rate in beats/min on the sample that is a beat, else 0.
    open func getMeanHR(data1: Int16, data2: Int16, data3: Int16) -> Int16 {
        stress.getMeanHR(data1, data2: data2, data3: data3)
    }

    // MARK: Exercise indices

    /// Duke treadmill score: minutes - 5 * |ST deviation in mm| - 4 * angina index (1 mm of paper is 0.1 mV).
    ///
    /// Computed in single precision throughout, truncated toward zero. Stops the process where the angina
    /// index is outside -8192 ... 8191 or the score does not fit into 16 bits.
    /// - Parameters:
    ///   - stressSeconds: Exercise time, seconds.
    ///   - deepestSTwithmV: Deepest ST deviation, millivolts, either sign.
    ///   - anginaPectoris: 0 none, 1 non-limiting, 2 limiting; not checked.
    ///
    /// Source: Mark et al., N Engl J Med 1991; 325: 849-853.
    public static func getDuke(stressSeconds: Int16, deepestSTwithmV: Float, anginaPectoris: Int16) -> Int16 {
        let anginaTerm = anginaPectoris * 4
        return Int16(Float(stressSeconds) / 60 - abs(deepestSTwithmV * 50) - Float(anginaTerm))
    }

    /// Physical working capacity: the powers at which the heart rate reaches 130, 150 and 170 beats/min, each
    /// -1 where it cannot be told.
    /// - Parameters:
    ///   - power: One value per stage, in any unit, which is also that of the result.
    ///   - andHR: The heart rates of the same stages, beats/min.
    public static func getPWC(power: [Float], andHR: [Float]) -> [Float]? {
        elements(OCqzStressTemplLib.getPWC(power, hr: andHR))
    }
}
