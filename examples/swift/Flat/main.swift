// Ten minutes of a simulated exercise test through the Swift classes: filter chain, both heart rates, an averaged
// beat per lead, ST level and ST slope. See ../../README.md for the signal and for what is printed.
import Foundation
import Signal
import qzStressTemplLib

let filters = qzFiltersLib(fs: fs, chn: leads, freqLpass: 40, freqNotch: mainsHz, smoothStrength: 1)
let meanRR = qzMeanRRmsLib(fs: fs, chn: leads, freqNotch: mainsHz, uVpb: uVpb)
let stress = qzStressTemplLib()
stress.create(fs: fs, chn: leads, uVpb: uVpb, mutex_lock: false)
stress.restTempl(
    templ: (0..<Int(leads)).map { lead in (0..<beatLength).map { sample(lead, $0, 0) } },
    posQ: 134, posJ: 168, postJms: 60)

var beats = 0
var heartRate: Int16 = 0, heartRateOfThree: Int16 = 0  // beats/min
for (i, raw) in Signal().enumerated() {
    let frame = filters.filters(data: raw)!
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
