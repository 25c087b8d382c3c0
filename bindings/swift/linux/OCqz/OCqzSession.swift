import qzAPI

/// One event of a session.
public final class OCqzSessionEvent {
    public let kind: Int32
    public let lead: Int32
    public let seconds: Double
    public let bpm: Double
    public let votedBpm: Double
    public let rrMs: Double
    public let beatClass: Int32
    public let shape: Int32
    public let qMs: Double
    public let jMs: Double
    public let voidFromSeconds: Double
    public let again: Bool
    public let level: [Any]?
    public let slope: [Any]?
    public let j: [Any]?
    public let st: [Any]?
    public let stJ: [Any]?
    public let stJ20: [Any]?
    public let stJ60: [Any]?
    public let stJ80: [Any]?
    public let stSlope: [Any]?
    public let stShape: [Any]?
    public let stOnT: [Any]?
    public let stPointMs: Double
    public let quality: [Any]?
    public let text: String?

    /// `event` has just been fetched from `session`.
    fileprivate init(_ event: qzs_event, of session: OpaquePointer, leads: Int) {
        kind = event.kind
        lead = event.lead
        seconds = event.seconds
        bpm = event.bpm
        votedBpm = event.voted_bpm
        rrMs = event.rr_ms
        beatClass = event.beat_class
        shape = event.shape
        qMs = event.q_ms
        jMs = event.j_ms
        voidFromSeconds = event.void_from_seconds
        again = event.again
        var values = [[Float]](repeating: [Float](repeating: 0, count: leads), count: 3)
        let isBeat =
            qzs_event_values(session, &values[0], nil, nil, leads)
            && qzs_event_values(session, nil, &values[1], nil, leads)
            && qzs_event_values(session, nil, nil, &values[2], leads)
        level = isBeat ? values[0] : nil
        slope = isBeat ? values[1] : nil
        j = isBeat ? values[2] : nil
        var pointMs = 0.0
        st = isBeat && qzs_event_st(session, &values[0], &pointMs, leads) ? values[0] : nil
        stPointMs = pointMs
        stJ = isBeat && qzs_event_st_after_j(session, &values[0], nil, nil, nil, leads) ? values[0] : nil
        stJ20 = isBeat && qzs_event_st_after_j(session, nil, &values[0], nil, nil, leads) ? values[0] : nil
        stJ60 = isBeat && qzs_event_st_after_j(session, nil, nil, &values[0], nil, leads) ? values[0] : nil
        stJ80 = isBeat && qzs_event_st_after_j(session, nil, nil, nil, &values[0], leads) ? values[0] : nil
        var shapes = [Int32](repeating: 0, count: leads)
        var onT = [Bool](repeating: false, count: leads)
        stSlope = isBeat && qzs_event_st_slope(session, &values[0], nil, nil, leads) ? values[0] : nil
        stShape = isBeat && qzs_event_st_slope(session, nil, &shapes, nil, leads) ? shapes.map { Int16($0) } : nil
        stOnT = isBeat && qzs_event_st_slope(session, nil, nil, &onT, leads) ? onT.map { Int16($0 ? 1 : 0) } : nil
        quality = qzs_event_quality(session, &values[0], leads) ? values[0] : nil
        var line = [CChar](repeating: 0, count: qzs_event_text(session, nil, 0) + 1)
        text = qzs_event_text(session, &line, line.count) > 0 ? String(cString: line) : nil
    }
}

/// An averaged beat as a session has learned it.
public final class OCqzLearnedBeat {
    public let rows: [Any]
    public let posR: Int16
    public let posQ: Int16
    public let posJ: Int16
    public let beatsFound: Int32
    public let beatsUsed: Int32
    public let stretchSeconds: Double
    public let likeness: Double
    public let usable: UInt64
    public let confident: Bool

    public init(
        _ rows: [Any], posR: Int16, posQ: Int16, posJ: Int16, beatsFound: Int32, beatsUsed: Int32,
        stretchSeconds: Double, likeness: Double, usable: UInt64, confident: Bool
    ) {
        self.rows = rows
        self.posR = posR
        self.posQ = posQ
        self.posJ = posJ
        self.beatsFound = beatsFound
        self.beatsUsed = beatsUsed
        self.stretchSeconds = stretchSeconds
        self.likeness = likeness
        self.usable = usable
        self.confident = confident
    }

    /// Makes a session of options that get this beat; nil where they are refused.
    fileprivate func create(_ options: qzs_options) -> OpaquePointer? {
        let rows = rows.map { samples($0 as! [Any]) }
        let length = rows.first?.count ?? 0
        let flat = rows.allSatisfy { $0.count == length } ? Array(rows.joined()) : []
        var options = options
        var beat = qzs_beat(
            length: Int16(truncatingIfNeeded: length), posR: posR, posQ: posQ, posJ: posJ,
            beats_found: beatsFound, beats_used: beatsUsed, stretch_seconds: stretchSeconds,
            likeness: likeness, usable: usable, confident: confident)
        return withUnsafePointer(to: &beat) { beat in
            flat.withUnsafeBufferPointer { flat in
                options.beat = beat
                options.beat_rows = flat.baseAddress
                options.beat_count = flat.count
                return qzs_create(&options)
            }
        }
    }
}

/// The session class: every object is a session of its own.
public final class OCqzSession {
    private let session: OpaquePointer
    private let leads: Int

    public init?(
        _ fs: Int16, chn: Int16, uVpb: Double, mains: Int16, lowpass: Int16, smooth: Int16, comb: Bool,
        postJms: Int16, stRateLimit: Double, paced: Bool, beat: OCqzLearnedBeat?, conditioned: Bool
    ) {
        var options = qzs_options()
        qzs_options_init(&options, MemoryLayout<qzs_options>.size)
        options.fs = fs
        options.leads = chn
        options.uv_per_unit = uVpb
        options.mains_hz = mains
        options.lowpass_hz = lowpass
        options.smooth = smooth
        options.comb = comb
        options.postJms = postJms
        options.st_rate_limit = stRateLimit
        options.paced = paced
        options.conditioned = conditioned
        guard let session = beat == nil ? qzs_create(&options) : beat!.create(options) else { return nil }
        self.session = session
        leads = Int(chn)
    }
    deinit { qzs_free(session) }

    public func push(_ frames: [Any]) -> Int { qzs_push(session, samples(frames), frames.count / leads) }
    public func finish() { qzs_finish(session) }
    public func setPoints(_ qMs: Double, j jMs: Double, st stMs: Double) -> Bool {
        qzs_set_points(session, qMs, jMs, stMs)
    }
    public func nextEvent() -> OCqzSessionEvent? {
        var event = qzs_event()
        guard qzs_next_event(session, &event, MemoryLayout<qzs_event>.size) else { return nil }
        return OCqzSessionEvent(event, of: session, leads: leads)
    }
    public func conditioned(_ firstSeconds: UnsafeMutablePointer<Double>?) -> [Any]? {
        let waiting = qzs_conditioned(session, nil, 0, nil)
        if waiting == 0 { return nil }
        var frames = [Int16](repeating: 0, count: waiting * leads)
        qzs_conditioned(session, &frames, waiting, firstSeconds)
        return frames
    }

    public func getTempl() -> [Any]? {
        var uV = [Float](repeating: 0, count: qzs_template(session, nil, 0))
        if uV.isEmpty { return nil }
        qzs_template(session, &uV, uV.count)
        return rows(uV)
    }
    public func getMeasuredTempl() -> [Any]? {
        var uV = [Float](repeating: 0, count: qzs_measured_template(session, nil, 0, nil))
        if uV.isEmpty { return nil }
        qzs_measured_template(session, &uV, uV.count, nil)
        return rows(uV)
    }
    public func getMeasuredTemplPos() -> [Any]? {
        var ms = qzs_positions()
        return qzs_measured_template(session, nil, 0, &ms) > 0 ? elements(ms) : nil
    }
    private func rows<T>(_ flat: [T]) -> [Any] {
        let length = flat.count / leads
        return (0..<leads).map { Array(flat[$0 * length..<($0 + 1) * length]) }
    }
    public func getPos() -> [Any]? {
        var ms = qzs_positions()
        return qzs_get_positions(session, &ms) ? elements(ms) : nil
    }
    public func getMeasuredPos() -> [Any]? {
        var ms = qzs_positions()
        return qzs_get_measured_positions(session, &ms) ? elements(ms) : nil
    }
    private func elements(_ ms: qzs_positions) -> [Any] { [ms.length, ms.q, ms.r, ms.j].map { Float($0) } }
    public func learnedBeat() -> OCqzLearnedBeat? {
        var beat = qzs_beat()
        var flat = [Int16](repeating: 0, count: qzs_learned_beat(session, nil, nil, 0))
        if qzs_learned_beat(session, &beat, &flat, flat.count) == 0 { return nil }
        return OCqzLearnedBeat(
            rows(flat), posR: beat.posR, posQ: beat.posQ, posJ: beat.posJ, beatsFound: beat.beats_found, beatsUsed: beat.beats_used,
            stretchSeconds: beat.stretch_seconds, likeness: beat.likeness, usable: beat.usable,
            confident: beat.confident)
    }
    public func delayMs() -> Double { qzs_delay_ms(session) }
    public func conditioning() -> String {
        var line = [CChar](repeating: 0, count: qzs_conditioning(session, nil, 0) + 1)
        qzs_conditioning(session, &line, line.count)
        return String(cString: line)
    }
}
