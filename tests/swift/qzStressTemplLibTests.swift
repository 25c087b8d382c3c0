import Testing
import qzAPI
@testable import qzStressTemplLib

/// What a minute of signal gives: on every matched beat the template and the ST values, on every beat of the
/// first three leads the heart rate.
private struct StressRun: Equatable {
    var templates: [[[Int16]]] = []
    var levels: [[Int16]] = []
    var slopeBits: [[UInt32]] = []
    var rates: [Int16] = []

    init(_ lib: qzStressTemplLib) {
        for frame in minute {
            let rate = lib.getMeanHR(data1: frame[0], data2: frame[1], data3: frame[2])
            if rate > 0 { rates.append(rate) }
            guard let templ = lib.match(data: frame), !templ.isEmpty else { continue }
            templates.append(templ)
            levels.append(lib.getSTuv()!)
            slopeBits.append(lib.getSTslope()!.map(\.bitPattern))
        }
    }

    /// The same through the C interface.
    init(length: Int) {
        let chn = Int(leads)
        for frame in minute {
            let rr = qzc_stress_mean_rr_ms(frame[0], frame[1], frame[2])
            if rr > 0 { rates.append(Int16(60000.0 / Double(rr) + 0.111)) }
            guard qzc_stress_match(frame, chn) else { continue }
            var templ = [Int16](repeating: 0, count: chn * length)
            qzc_stress_get_templ(&templ, templ.count)
            templates.append((0..<chn).map { Array(templ[$0 * length..<($0 + 1) * length]) })
            var level = [Int16](repeating: 0, count: chn)
            qzc_stress_st_level(&level, chn)
            levels.append(level)
            var slope = [Float](repeating: 0, count: chn)
            qzc_stress_st_slope(&slope, chn)
            slopeBits.append(slope.map(\.bitPattern))
        }
    }
}

private func libraryWithTemplate() -> qzStressTemplLib {
    let lib = qzStressTemplLib()
    lib.create(fs: fs, chn: leads, uVpb: 1, mutex_lock: false)
    lib.restTempl(templ: beat, posQ: posQ, posJ: posJ, postJms: postJms)
    return lib
}

/// Every array result is there and empty.
private func answersEmpty(_ lib: qzStressTemplLib) -> Bool {
    lib.match(data: minute[0]) == [] && lib.getTempl() == [] && lib.getPos() == [] && lib.getSTuv() == []
        && lib.getSTslope() == []
}

extension Bindings {
    @Suite struct Stress {
        @Test func aMinuteOfTwelveLeadsIsThatOfTheCInterfaceToTheBit() {
            let lib = libraryWithTemplate()
            let run = StressRun(lib)
            #expect(run.templates.count >= 70)
            #expect(run.rates.last == 75)
            #expect(run.levels.last!.contains { $0 < -20 })  // the depressed ST segment shows

            qzc_stress_create(fs, leads, 1)
            var length: Int16 = 0
            qzc_stress_init_templ(
                beat.flatMap { $0 }, beat.count, beat[0].count, posQ, posJ, postJms, &length)
            #expect(run == StressRun(length: Int(length)))
        }

        @Test func everythingIsEmptyBeforeATemplateAndAfterDestroy() {
            let lib = qzStressTemplLib()
            #expect(lib.restTempl(templ: beat, posQ: posQ, posJ: posJ, postJms: postJms) == [])
            #expect(lib.create(fs: fs, chn: leads, uVpb: 1, mutex_lock: true))
            #expect(answersEmpty(lib))
            lib.restTempl(templ: beat, posQ: posQ, posJ: posJ, postJms: postJms)
            #expect(!answersEmpty(lib))
            lib.destroy()
            #expect(answersEmpty(lib))
            #expect(!lib.create(fs: fs, chn: -1, uVpb: 1, mutex_lock: false))
        }

        @Test func theTemplateIsKeptAsHandedInAndItsPositionsCanBeMoved() {
            let lib = libraryWithTemplate()
            #expect(lib.getTempl() == beat)
            let zeroWidth = 12 * fs / 1000  // Q is moved 12 ms earlier
            #expect(lib.getPos()!.dropLast() == [posQ - zeroWidth, posJ, postJms])
            lib.setPos(posZ: 120, posJ: 185)
            lib.setPostJms(postJms: 80)
            #expect(lib.getPos()!.dropLast() == [120, 185, 80])
        }

        @Test func theReleaseOfAnObjectTakesTheEngineAway() {
            let lib = libraryWithTemplate()
            do {
                let other = libraryWithTemplate()
                #expect(lib.getTempl() == other.getTempl())
            }
            #expect(answersEmpty(lib))
        }

        @Test(arguments: [
            (600, -0.1, 1, 1), (600, 0.1, 1, 1), (630, 0, 0, 10), (0, 0.2, 2, -18),
            (30, 0.02, 0, 0),  // -0.5
            (0, 0, 8191, -32764),  // 4 * 8191 still fits
        ] as [(Int16, Float, Int16, Int16)])
        func dukeScoreIsTruncatedTowardZero(seconds: Int16, mV: Float, angina: Int16, score: Int16) {
            #expect(
                qzStressTemplLib.getDuke(
                    stressSeconds: seconds, deepestSTwithmV: mV, anginaPectoris: angina) == score)
        }

        @Test func dukeScoreStopsTheProcessWhereItDoesNotFit() async {
            await #expect(processExitsWith: .failure) {
                _ = qzStressTemplLib.getDuke(stressSeconds: 0, deepestSTwithmV: 0, anginaPectoris: 9000)
            }
            await #expect(processExitsWith: .failure) {
                _ = qzStressTemplLib.getDuke(stressSeconds: 0, deepestSTwithmV: 656, anginaPectoris: 0)
            }
            await #expect(processExitsWith: .failure) {
                _ = qzStressTemplLib.getDuke(stressSeconds: 0, deepestSTwithmV: .nan, anginaPectoris: 0)
            }
        }

        @Test func workingCapacityTakesAsManyPairsAsThereAre() {
            func pwc(_ power: [Float], _ rate: [Float]) -> [Float]? {
                qzStressTemplLib.getPWC(power: power, andHR: rate)
            }
            #expect(pwc([50, 100, 150, 200], [110, 130, 150]) == [100, 150, -1])
            #expect(pwc([50, 100], [110, 130, 150]) == [-1, -1, -1])
            #expect(pwc([], []) == [-1, -1, -1])
        }

        @Test func aResultOfAnotherElementTypeIsNil() {
            let none: [Int16]? = elements(nil)
            #expect(none == [])
            let mixed: [Int16]? = elements([Int16(1), "x"])
            #expect(mixed == nil)
            let rows: [[Int16]]? = elements([[Int16(1)], [Int16]()])
            #expect(rows == [[1], []])
        }
    }
}
