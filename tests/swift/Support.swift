import Foundation
import Testing

/// All tests of the module, one after the other: the library keeps one engine, chain, doubler and detector
/// per process.
@Suite(.serialized) enum Bindings {}

let fs: Int16 = 500  // samples per second
let leads: Int16 = 12
let rrMs = 800  // 75 beats/min

/// An averaged beat of 800 ms with R at 300 ms, one row per lead; lead 0 is the largest.
let beat: [[Int16]] = (0..<Int(leads)).map { lead in (0..<400).map { beatSample(at: $0 - 150, lead: lead) } }
let posQ: Int16 = 130
let posJ: Int16 = 180  // 60 ms after R
let postJms: Int16 = 40  // 100 ms after R, at the bottom of the ST wave

/// A minute of beats 800 ms apart in every lead, with noise of up to 5 units.
let minute: [[Int16]] = {
    let beatLength = rrMs * Int(fs) / 1000
    var random: UInt32 = 1
    return (0..<60 * Int(fs)).map { i in
        (0..<Int(leads)).map { lead in
            random = random &* 1_664_525 &+ 1_013_904_223
            return beatSample(at: i % beatLength - 150, lead: lead) + Int16((random >> 16) % 11) - 5
        }
    }
}()

/// The sample `offset` after R: P, Q, R, S, a depressed ST segment and T as Gaussian waves.
func beatSample(at offset: Int, lead: Int) -> Int16 {
    let seconds = Double(offset) / Double(fs)
    func wave(_ at: Double, _ width: Double, _ height: Double) -> Double {
        height * exp(-0.5 * pow((seconds - at) / width, 2))
    }
    let shape =
        wave(-0.17, 0.022, 0.12) + wave(-0.026, 0.008, -0.12) + wave(0, 0.010, 1)
        + wave(0.028, 0.010, -0.25) + wave(0.10, 0.025, -0.1) + wave(0.27, 0.045, 0.3)
    return Int16(shape * (900 - 60 * Double(lead)) * (lead % 3 == 2 ? -1 : 1))
}
