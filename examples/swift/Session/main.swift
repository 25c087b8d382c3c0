// Ten minutes of a simulated exercise test through a session: raw frames in, heart rates and ST values of every lead
// out. See ../../README.md for the signal and for what is printed.
import Foundation
import Signal
import qzStressTemplLib

var beats = 0
var latestBpm = 0.0  // of the intervals that are shown as a rate

func takeEvents(_ session: qzSession) {
    while let event = session.nextEvent() {
        if event.kind == qzSessionEvent.interval, event.bpm > 0 { latestBpm = event.bpm }
        guard event.kind == qzSessionEvent.beat else { continue }
        beats += 1
        if beats % linesEvery != 0 { continue }
        let values = [event.bpm, latestBpm] + (event.level + event.slope).map { Double($0) }
        let frame = String(format: "%.0f", event.seconds * Double(fs))
        print(frame, values.map { String(format: "%.9g", $0) }.joined(separator: " "))
    }
}

let session = qzSession(fs: fs, chn: leads, uVpb: uVpb)!
for frame in Signal() {
    session.push(data: frame)
    takeEvents(session)
}
session.finish()
takeEvents(session)
