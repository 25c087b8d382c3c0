import Foundation

#if !canImport(ObjectiveC)
import OCqzPlain
#elseif canImport(OCqz)
import OCqz
#endif

/// What a `qzSession` tells. Seconds count from the first frame, filter delays taken off.
public struct qzSessionEvent {
    /// What the event is; pass over those that are not among these.
    public let kind: Int
    /// A beat was found, whether it matches the averaged one or not: `bpm`, `rrMs` and `beatClass`; `seconds` of the
    /// middle of its QRS. Known up to 2.3 s later, 4.3 s at the start.
    public static let interval = 1
    /// A beat has been folded into the averaged one: `level`, `slope` and `j`; `seconds` of its R.
    public static let beat = 2
    /// The signal of a lead is a line, as that of a loose electrode: `voidFromSeconds`.
    public static let leadOff = 3
    /// The line has ended.
    public static let leadOn = 4
    /// The level of a lead jumps and stays away.
    public static let disturbed = 5
    /// It has not done so for a second; `seconds` of the last of it.
    public static let calm = 6
    /// An averaged beat is there: matching begins with the signal at `seconds`.
    public static let learned = 7
    /// There are no ST values to the end of the signal: `text` says why.
    public static let notLearned = 8
    /// How good the signal of each lead has been for 2 s, up to `seconds`: `quality`.
    public static let qualityTold = 9

    /// Of the four kinds about a lead; else -1.
    public let lead: Int
    public let seconds: Double
    /// Heart rate at an interval, or that shown at the time of a beat, beats/min; else NaN.
    public let bpm: Double
    /// Heart rate at an interval as most of the leads' detectors have it, beats/min; else NaN.
    public let votedBpm: Double
    /// Of `interval` and `beat`, ms from the beat found before, NaN after 4 s without; else NaN.
    public let rrMs: Double
    /// Of `interval` and `beat`: one of the five below; else 0. A beat that was folded in but not found is unclassified.
    public let beatClass: Int
    public static let normal = 1
    /// Early in a regular rhythm.
    public static let supraventricular = 2
    /// Of an unusual shape, and wide, early, or followed by a pause.
    public static let ventricular = 3
    /// Noise may have made what looks ventricular.
    public static let unclassified = 4
    /// Of a usual shape, where `qzSession` was told of a pacemaker.
    public static let paced = 5
    /// Of `beat`: which averaged beat it is like, numbered from 0 as learned; else -1.
    public let shape: Int
    /// Of `beat`: onset and end of the QRS that it is measured from, ms from `seconds`; else NaN.
    public let qMs: Double
    public let jMs: Double
    /// Of `leadOff`: what was told of the lead for beats after this is void.
    public let voidFromSeconds: Double
    /// Of `learned`: in place of an earlier averaged beat.
    public let again: Bool
    /// Of `beat`, one per lead, else empty: ST level against the PR segment, uV. Here and below NaN where the lead
    /// is off or disturbed, or was lately.
    public let level: [Float]
    /// ST slope, uV per ms.
    public let slope: [Float]
    /// Level of the J point against the PR segment, uV.
    public let j: [Float]
    /// ST level of each lead, uV, at `stPointMs` after J: 80 ms, 60 ms while the heart rate is above `stRateLimit`,
    /// until it is 5/min below; or at the point of `setPoints`. It is against the PR segment, at an onset and J that follow the
    /// averaged beat or are set by hand; NaN too where a point that is not set by hand lies on the T wave.
    public let st: [Float]
    public let stPointMs: Double
    /// The same at J, and 20, 60 and 80 ms after.
    public let stJ: [Float]
    public let stJ20: [Float]
    public let stJ60: [Float]
    public let stJ80: [Float]
    /// The slope of each lead from J to the point of `st`, uV per ms, and its class, one of the four below.
    public let stSlope: [Float]
    public let stShape: [Int]
    /// Nothing is measured.
    public static let unknown = 0
    /// 0.5 uV per ms and more.
    public static let upsloping = 1
    public static let horizontal = 2
    /// -0.5 uV per ms and less.
    public static let downsloping = 3
    /// Whether the point of `st` lies on the T wave, per lead.
    public let stOnT: [Bool]
    /// Of `qualityTold`, one per lead, else empty: from 0, nothing to be measured, to 1, clean.
    public let quality: [Float]
    /// Of `notLearned`, for people; else nil.
    public let text: String?

    fileprivate init(_ event: OCqzSessionEvent) {
        kind = Int(event.kind)
        lead = Int(event.lead)
        seconds = event.seconds
        bpm = event.bpm
        votedBpm = event.votedBpm
        rrMs = event.rrMs
        beatClass = Int(event.beatClass)
        shape = Int(event.shape)
        qMs = event.qMs
        jMs = event.jMs
        voidFromSeconds = event.voidFromSeconds
        again = event.again
        level = elements(event.level) ?? []
        slope = elements(event.slope) ?? []
        j = elements(event.j) ?? []
        st = elements(event.st) ?? []
        stPointMs = event.stPointMs
        stJ = elements(event.stJ) ?? []
        stJ20 = elements(event.stJ20) ?? []
        stJ60 = elements(event.stJ60) ?? []
        stJ80 = elements(event.stJ80) ?? []
        stSlope = elements(event.stSlope) ?? []
        let shapes: [Int16]? = elements(event.stShape)
        stShape = (shapes ?? []).map { Int($0) }
        let onT: [Int16]? = elements(event.stOnT)
        stOnT = (onT ?? []).map { $0 != 0 }
        quality = elements(event.quality) ?? []
        text = event.text
    }
}

/// An averaged beat as a `qzSession` has learned it: plain values, to be kept, and handed in to another session of the
/// same leads and rate.
public struct qzLearnedBeat: Codable, Sendable {
    /// One row of samples per lead, all of one length, 1 uV per unit.
    public var rows: [[Int16]]
    /// Steepest place, onset and end of the QRS: indices into a row.
    public var posR: Int16
    public var posQ: Int16
    public var posJ: Int16
    /// In the stretch that it was learned from, and in the average.
    public var beatsFound: Int32
    public var beatsUsed: Int32
    /// Length of that stretch.
    public var stretchSeconds: Double
    /// Median correlation of a used beat with the average, 0 to 1.
    public var likeness: Double
    /// Bit i: the beats of lead i are alike.
    public var usable: UInt64
    /// False: ST values may be off.
    public var confident: Bool

    fileprivate init(_ beat: OCqzLearnedBeat) {
        rows = elements(beat.rows) ?? []
        posR = beat.posR
        posQ = beat.posQ
        posJ = beat.posJ
        beatsFound = beat.beatsFound
        beatsUsed = beat.beatsUsed
        stretchSeconds = beat.stretchSeconds
        likeness = beat.likeness
        usable = beat.usable
        confident = beat.confident
    }

    fileprivate var wrapped: OCqzLearnedBeat {
        OCqzLearnedBeat(
            rows, posR: posR, posQ: posQ, posJ: posJ, beatsFound: beatsFound, beatsUsed: beatsUsed,
            stretchSeconds: stretchSeconds, likeness: likeness, usable: usable, confident: confident)
    }
}

/// One stress test from raw frames to heart rates and ST values. It conditions the signal, learns the first averaged
/// beat from it, and measures ST on the average of all beats that match.
///
///     let session = qzSession(fs: 500, chn: 12, uVpb: 2.5)!
///     session.push(data: frames)
///     while let event = session.nextEvent() { if event.kind == qzSessionEvent.beat { show(event.level) } }
///
/// Of the C++ class there is everything but the number of frames taken, which is the sum of what `push` returns, and names:
/// of leads, and of what a beat was learned from.
///
/// Frames have one 16-bit sample per lead, in lead order. Every object is a session of its own: as many as wanted,
/// each for one thread at a time.
#if canImport(ObjectiveC)
@objcMembers
#endif
public final class qzSession: NSObject {
    private let session: OCqzSession

    /// `chn` leads, 1 to 64, at `fs` samples per second, 100 to 10000, of `uVpb` microvolts per unit. `mains` is 50, 60
    /// or 0 for none; `lowpass` the cutoff in Hz, below `fs / 2`, or 0 for none; `smooth` 0 for none, 1 or 2. ST is
    /// measured `postJms`, 10 to 200, after J + 6 ms.
    ///
    /// Nil for arguments out of range; `qzs_refusal` of `qzAPI` says why.
    public convenience init?(
        fs: Int16, chn: Int16, uVpb: Double, mains: Int16 = 50, lowpass: Int16 = 40, smooth: Int16 = 0,
        postJms: Int16 = 60
    ) {
        self.init(
            fs: fs, chn: chn, uVpb: uVpb, mains: mains, lowpass: lowpass, smooth: smooth, postJms: postJms,
            beat: nil)
    }

    /// The same with a first averaged beat, nil for one that the session learns, with `conditioned` frames that
    /// are kept to be fetched, and with `st` at J + 60 ms instead of J + 80 ms at heart rates above `stRateLimit`, above 0.
    /// With `paced` a pacemaker is at work, and beats of a usual shape are `qzSessionEvent.paced`. `comb` takes a comb
    /// instead of notch and high-pass, for mains of 50 Hz at a multiple of 50 Hz: it takes out every harmonic of the mains,
    /// delays by 740 ms and shifts ST.
    ///
    /// Nil also for a beat that does not fit the leads and the rate.
    public init?(
        fs: Int16, chn: Int16, uVpb: Double, mains: Int16 = 50, lowpass: Int16 = 40, smooth: Int16 = 0,
        comb: Bool = false, postJms: Int16 = 60, stRateLimit: Double = 145, paced: Bool = false, beat: qzLearnedBeat?,
        conditioned: Bool = false
    ) {
        guard
            let session = OCqzSession(
                fs, chn: chn, uVpb: uVpb, mains: mains, lowpass: lowpass, smooth: smooth, comb: comb, postJms: postJms,
                stRateLimit: stRateLimit, paced: paced, beat: beat?.wrapped, conditioned: conditioned)
        else { return nil }
        self.session = session
        super.init()
    }

    // MARK: Signal

    /// Takes frames, the samples of one after those of the other; what is left over of a frame is not taken. Returns
    /// how many frames it took: fewer than there are when 256 events or 4096 conditioned frames wait to be fetched first,
    /// and at least one where nothing waits. 0 after `finish`.
    @discardableResult
    public func push(data: [Int16]) -> Int { session.push(data) }

    /// The signal has ended: brings the events that the filters still hold. Once.
    public func finish() { session.finish() }

    /// From the next beat on it is measured at these points, in every averaged beat: `q`, the onset of the QRS, -200 to -8
    /// ms, and `j`, its end, 8 to 250 ms, both from R of `getPos`, and `st`, 10 to 200 ms after that end, which counts on
    /// the T wave too. Nil is the session's own point, which follows the averaged beat: as at first, and again after one
    /// by hand. `level`, `slope` and `j` of the events keep the engine's points; positions and measured means have the new ones
    /// at once.
    ///
    /// False, and nothing changes, where one is out of its range.
    public func setPoints(q: Double? = nil, j: Double? = nil, st: Double? = nil) -> Bool {
        session.setPoints(q ?? .nan, j: j ?? .nan, st: st ?? .nan)
    }

    /// The delay of the filters, which is taken off all times, ms.
    public func delayMs() -> Double { session.delayMs() }

    /// The filters in words.
    public func conditioning() -> String { session.conditioning() }

    // MARK: Results

    /// The next event, each kind in order of time, those about a lead for each lead; of `learned` a later one may have an
    /// earlier time. Nil where none waits.
    public func nextEvent() -> qzSessionEvent? { session.nextEvent().map { qzSessionEvent($0) } }

    /// All waiting conditioned frames, in the form that `push` takes, 1 uV per unit, and the time of the first of them;
    /// nil where none wait. They follow each other without a gap from 0 s on.
    public func conditioned() -> (frames: [Int16], firstSeconds: Double)? {
        var firstSeconds = 0.0
        let frames = withUnsafeMutablePointer(to: &firstSeconds) { session.conditioned($0) }
        return frames.map { (elements($0) ?? [], firstSeconds) }
    }

    /// The averaged beat as it is now, one row of microvolts per lead; empty before there is one.
    public func getTempl() -> [[Float]] { elements(session.getTempl()) ?? [] }

    /// Its points: length, Q, R and J, ms from its start, Q as learned, or Q and J as set by hand; empty before there is
    /// one.
    public func getPos() -> [Float] { elements(session.getPos()) ?? [] }

    /// The same with the Q and J that the latest beat was measured at.
    public func getMeasuredPos() -> [Float] { elements(session.getMeasuredPos()) ?? [] }

    /// The means of the latest beats that `st` of the latest event was measured on: what is drawn of them shows the levels
    /// that are told. One row of microvolts above the level of the PR segment per lead, NaN for a lead with too few beats;
    /// empty before there is one.
    public func getMeasuredTempl() -> [[Float]] { elements(session.getMeasuredTempl()) ?? [] }

    /// Their points, as `getPos` has those of `getTempl`.
    public func getMeasuredTemplPos() -> [Float] { elements(session.getMeasuredTemplPos()) ?? [] }

    /// The averaged beat that was learned last, or handed in, as it was then; nil before there is one.
    public func learnedBeat() -> qzLearnedBeat? { session.learnedBeat().map { qzLearnedBeat($0) } }
}
