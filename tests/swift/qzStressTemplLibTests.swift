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
            #expect(answersEmpty(lib))
            #expect(lib.restTempl(templ: beat, posQ: posQ, posJ: posJ, postJms: postJms) == [])
            #expect(lib.create(fs: fs, chn: leads, uVpb: 1, mutex_lock: true))
            #expect(answersEmpty(lib))
            #expect(
                lib.restTempl(templ: Array(beat.dropLast()), posQ: posQ, posJ: posJ, postJms: postJms) == [])
            lib.restTempl(templ: beat, posQ: posQ, posJ: posJ, postJms: postJms)
            #expect(lib.getPos() != [])
            lib.destroy()
            #expect(answersEmpty(lib))
            #expect(lib.getMeanHR(data1: 1, data2: 2, data3: 3) == 0)
            #expect(!lib.create(fs: fs, chn: -1, uVpb: 1, mutex_lock: false))
            #expect(answersEmpty(lib))
        }

        @Test func theTemplateIsKeptAsHandedInAndItsPositionsCanBeMoved() {
            let lib = libraryWithTemplate()
            #expect(lib.getTempl() == beat)
            let zeroWidth = 12 * fs / 1000  // Q is moved 12 ms earlier
            #expect(lib.getPos()!.dropLast() == [posQ - zeroWidth, posJ, postJms])
            let posR = lib.getPos()![3]
            #expect((posQ..<posJ).contains(posR))
            lib.setPos(posZ: 120, posJ: 185)
            lib.setPostJms(postJms: 80)
            #expect(lib.getPos() == [120, 185, 80, posR])
        }

        @Test func twoObjectsShareTheEngineOfWhoeverCreatedLast() {
            let two = qzStressTemplLib()
            two.create(fs: fs, chn: 2, uVpb: 1, mutex_lock: false)
            two.restTempl(templ: Array(beat[..<2]), posQ: posQ, posJ: posJ, postJms: postJms)
            do {
                let twelve = libraryWithTemplate()
                #expect(two.match(data: [1, 2]) == [] && two.getTempl() == [] && two.getSTuv() == [])
                #expect(two.getPos() == twelve.getPos())
                two.setPostJms(postJms: 60)
                #expect(twelve.getPos()?[2] == 60)
                #expect(twelve.getTempl() == beat)
            }
            #expect(answersEmpty(two))  // the release took the engine away
        }

        @Test func dukeScoreIsTruncatedTowardZero() {
            func duke(_ seconds: Int16, _ mV: Float, _ angina: Int16) -> Int16 {
                qzStressTemplLib.getDuke(stressSeconds: seconds, deepestSTwithmV: mV, anginaPectoris: angina)
            }
            #expect(duke(600, 0, 0) == 10)
            #expect(duke(600, -0.1, 1) == 1)
            #expect(duke(600, 0.1, 1) == 1)
            #expect(duke(630, 0, 0) == 10)
            #expect(duke(0, 0.2, 2) == -18)
            #expect(duke(30, 0.02, 0) == 0)  // -0.5
            #expect(duke(0, 0, 8191) == -32764)  // 4 * 8191 still fits
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

        @Test func workingCapacityFillsTheSlotsThatTheHeartRatesReach() {
            func pwc(_ power: [Float], _ rate: [Float]) -> [Float]? {
                qzStressTemplLib.getPWC(power: power, andHR: rate)
            }
            #expect(pwc([50, 100, 150], [110, 130, 150]) == [100, 150, -1])
            #expect(pwc([50, 100, 150, 200], [110, 130, 150]) == [100, 150, -1])
            #expect(pwc([50, 100], [110, 130, 150]) == [-1, -1, -1])
            #expect(pwc([], []) == [-1, -1, -1])
            #expect(pwc([50, 100, 150], [150, 130, 110]) == [-1, -1, -1])
            #expect(pwc([10, 20, 30], [150, 160, 170]) == [-1, 10, 30])
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
