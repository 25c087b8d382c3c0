import qzAPI

/// One event of a session.
public final class OCqzSessionEvent {
    public let kind: Int32
    public let lead: Int32
    public let seconds: Double
    public let bpm: Double
    public let voidFromSeconds: Double
    public let again: Bool
    public let level: [Any]?
    public let slope: [Any]?
    public let j: [Any]?
    public let text: String?

    /// `event` has just been fetched from `session`.
    fileprivate init(_ event: qzs_event, of session: OpaquePointer, leads: Int) {
        kind = event.kind
        lead = event.lead
        seconds = event.seconds
        bpm = event.bpm
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
        var line = [CChar](repeating: 0, count: qzs_event_text(session, nil, 0) + 1)
        text = qzs_event_text(session, &line, line.count) > 0 ? String(cString: line) : nil
    }
}

/// The session class: every object is a session of its own.
public final class OCqzSession {
    private let session: OpaquePointer
    private let leads: Int

    public init?(
        _ fs: Int16, chn: Int16, uVpb: Double, mains: Int16, lowpass: Int16, smooth: Int16, postJms: Int16,
        relearn: Bool
    ) {
        var options = qzs_options()
        qzs_options_init(&options, MemoryLayout<qzs_options>.size)
        options.fs = fs
        options.leads = chn
        options.uv_per_unit = uVpb
        options.mains_hz = mains
        options.lowpass_hz = lowpass
        options.smooth = smooth
        options.postJms = postJms
        options.relearn = relearn
        guard let session = qzs_create(&options) else { return nil }
        self.session = session
        leads = Int(chn)
    }
    deinit { qzs_free(session) }

    public func push(_ frames: [Any]) -> Int { qzs_push(session, samples(frames), frames.count / leads) }
    public func finish() { qzs_finish(session) }
    public func nextEvent() -> OCqzSessionEvent? {
        var event = qzs_event()
        guard qzs_next_event(session, &event) else { return nil }
        return OCqzSessionEvent(event, of: session, leads: leads)
    }

    public func getTempl() -> [Any]? {
        var uV = [Float](repeating: 0, count: qzs_template(session, nil, 0))
        if uV.isEmpty { return nil }
        qzs_template(session, &uV, uV.count)
        let length = uV.count / leads
        return (0..<leads).map { Array(uV[$0 * length..<($0 + 1) * length]) }
    }
    public func getPos() -> [Any]? {
        var ms = qzs_positions()
        return qzs_get_positions(session, &ms) ? [ms.length, ms.q, ms.r, ms.j].map { Float($0) } : nil
    }
    public func delayMs() -> Double { qzs_delay_ms(session) }
}
