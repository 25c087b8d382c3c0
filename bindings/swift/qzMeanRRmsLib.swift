import Foundation

#if !canImport(ObjectiveC)
import OCqzPlain
#elseif canImport(OCqz)
import OCqz
#endif

/// The heart rate of many leads: beats found by a vote over all leads, RR steadied over five beats.
///
///     let beatsPerMinute = qzMeanRRmsLib(fs: 500, chn: 12, freqNotch: 50, uVpb: 2.44).meanHR(data: frame)
///
/// A frame has one 16-bit sample per lead, in lead order; samples it lacks count as 0. Each of the two
/// results feeds the detector: ask for one of them, once per frame. The process has one detector, shared by
/// all objects of this class; it outlives them. One thread at a time.
#if canImport(ObjectiveC)
@objcMembers
#endif
open class qzMeanRRmsLib: NSObject {
    private let qzHR: OCqzMeanRRmsLib

    // MARK: Set-up

    #if !canImport(ObjectiveC)
    /// Deliberate: stops the process. Where there is an Objective-C runtime, the compiler's own stub does,
    /// with the same report; there, Swift callers are stopped by the compiler already.
    public override init() {
        fatalError("Use of unimplemented initializer 'init()' for class 'qzStressTemplLib.qzMeanRRmsLib'")
    }
    #endif

    /// Sets up the detector through `create`.
    public init(fs: Int16, chn: Int16, freqNotch: Int16, uVpb: Double) {
        qzHR = OCqzMeanRRmsLib()
        super.init()
        create(fs: fs, chn: chn, freqNotch: freqNotch, uVpb: uVpb)
    }

    /// Sets up the detector anew; the RR intervals of its average are kept. Where it cannot be built, both
    /// results are 0 from then on.
    /// - Parameters:
    ///   - fs: Samples per second.
    ///   - chn: Leads.
    ///   - freqNotch: Mains frequency to reject, Hz; below 1 none.
    ///   - uVpb: Microvolts per unit.
    open func create(fs: Int16, chn: Int16, freqNotch: Int16, uVpb: Double) {
        qzHR.create(fs, chn: chn, freqNotch: freqNotch, uVpb: uVpb)
    }

    // MARK: Results

    /// The RR interval in milliseconds on the frame that ends one, else 0.
    open func meanRRms(data: [Int16]) -> Int16 { qzHR.meanRRms(data) }

    /// The heart rate in beats/min on the frame that ends an RR interval, else 0.
    open func meanHR(data: [Int16]) -> Int16 { qzHR.meanHR(data) }
}
