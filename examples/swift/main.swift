// Ten minutes of a simulated exercise test through the Swift classes: filter chain, both heart rates, an averaged
// beat per lead, ST level and ST slope. See ../README.md for the signal and for what is printed.
import Foundation
import qzStressTemplLib

let leads: Int16 = 12
let fs: Int16 = 500  // samples per second
let mainsHz: Int16 = 50
let uVpb = 2.5  // microvolts per unit
let beatLength = 400, linesEvery = 100  // samples; averaged beats

func triangle(_ t: Int, _ centre: Int, _ halfWidth: Int, _ height: Int) -> Int {
    let distance = abs(t - centre)
    return distance < halfWidth ? height * (halfWidth - distance) / halfWidth : 0
}

/// One lead of gain 1, t samples into a beat with R at 150: P - Q + R - S - ST depression + T.
func wave(_ t: Int, _ depression: Int) -> Int {
    triangle(t, 85, 25, 12) - triangle(t, 140, 6, 10) + triangle(t, 150, 8, 100)
        - triangle(t, 160, 8, 25) - triangle(t, 195, 40, depression) + triangle(t, 260, 45, 30)
}

func sample(_ lead: Int, _ t: Int, _ depression: Int) -> Int16 {
    Int16((2 * (lead * 5 % 8) - 7) * wave(t, depression))  // gain -7 ... 7, odd
}

let filters = qzFiltersLib(fs: fs, chn: leads, freqLpass: 40, freqNotch: mainsHz, smoothStrength: 1)
let meanRR = qzMeanRRmsLib(fs: fs, chn: leads, freqNotch: mainsHz, uVpb: uVpb)
let stress = qzStressTemplLib()
stress.create(fs: fs, chn: leads, uVpb: uVpb, mutex_lock: false)
stress.restTempl(
    templ: (0..<Int(leads)).map { lead in (0..<beatLength).map { sample(lead, $0, 0) } },
    posQ: 134, posJ: 168, postJms: 60)

var t = 0, beats = 0
var heartRate: Int16 = 0, heartRateOfThree: Int16 = 0  // beats/min
for i in 0..<600 * Int(fs) {
    var frame = (0..<Int(leads)).map { sample($0, t, i / 15000) }
    t += 1
    if t >= beatLength - i / 3000 { t = 0 }

    frame = filters.filters(data: frame)!
    let rate = meanRR.meanHR(data: frame)
    if rate > 0 { heartRate = rate }
    let rateOfThree = stress.getMeanHR(data1: frame[0], data2: frame[1], data3: frame[2])
    if rateOfThree > 0 { heartRateOfThree = rateOfThree }
    if stress.match(data: frame)!.isEmpty { continue }

    let level = stress.getSTuv()!, slope = stress.getSTslope()!
    beats += 1
    if beats % linesEvery != 0 { continue }
    let values = level.map { "\($0)" } + slope.map { String(format: "%.9g", $0) }
    print(i, heartRate, heartRateOfThree, values.joined(separator: " "))
}
