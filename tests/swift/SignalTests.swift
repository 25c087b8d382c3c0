import Foundation
import Testing
import qzAPI
@testable import qzStressTemplLib

/// The functions that take signal, of the classes or of the C interface.
private struct Door {
    var filter: ([Int16]) -> [Int16]
    var switchStages: (Bool, Bool, Bool) -> Void
    var double: ([Int16]) -> [Int16]
    var rr: ([Int16]) -> Int16  // of many leads
    var rate: ([Int16]) -> Int16  // of the first three
    var match: ([Int16]) -> [[Int16]]
    var levels: () -> [Int16]
    var slopes: () -> [Float]

    /// All answers to a minute of signal, with stages switched off one by one after half of it.
    func run() -> [[Float]] {
        minute.enumerated().map { i, raw in
            if i == minute.count / 2 { switchStages(true, true, false) }
            if i == minute.count / 2 + 500 { switchStages(true, false, false) }
            let frame = filter(raw)
            let templ = match(frame)
            let trends = templ.isEmpty ? [] : levels().map(Float.init) + slopes()
            return (frame + double(frame) + [rr(frame), rate(frame)] + templ.joined()).map(Float.init)
                + trends
        }
    }
}

private func classes() -> Door {
    let filters = qzFiltersLib(fs: fs, chn: leads, freqLpass: 40, freqNotch: 50, smoothStrength: 1)
    let doubler = qzDfsLib(chn: leads, uVpb: 1)
    let detector = qzMeanRRmsLib(fs: fs, chn: leads, freqNotch: 50, uVpb: 1)
    let stress = libraryWithTemplate()
    return Door(
        filter: { filters.filters(data: $0)! },
        switchStages: { filters.switchFilters(onOffLpass: $0, onOffNotch: $1, onOffSmooth: $2) },
        double: { doubler.getData(data: $0)! }, rr: { detector.meanRRms(data: $0) },
        rate: { stress.getMeanHR(data1: $0[0], data2: $0[1], data3: $0[2]) },
        match: { stress.match(data: $0)! }, levels: { stress.getSTuv()! }, slopes: { stress.getSTslope()! })
}

private func cInterface() -> Door {
    qzc_filters_create(fs, leads, 40, 50, 1)
    qzc_dfs_create(leads, 1)
    qzc_multi_init(fs, leads, 50, 1)
    qzc_stress_create(fs, leads, 1)
    qzc_stress_init_templ(beat.flatMap { $0 }, beat.count, beat[0].count, posQ, posJ, postJms, nil)
    let chn = Int(leads)
    func zeros(_ count: Int) -> [Int16] { Array(repeating: 0, count: count) }
    func filled<Element>(_ values: [Element], _ fill: (inout [Element]) -> Void) -> [Element] {
        var values = values
        fill(&values)
        return values
    }
    return Door(
        filter: { frame in filled(frame) { qzc_filters_filters(&$0, chn) } },
        switchStages: qzc_filters_switch,
        double: { frame in filled(zeros(2 * chn)) { qzc_dfs_get_data(frame, chn, &$0, 2 * chn) } },
        rr: { max(qzc_multi_mean_rr_ms($0, chn), 0) },
        rate: { qzc_heart_rate_of_three_leads(qzc_stress_mean_rr_ms($0[0], $0[1], $0[2])) },
        match: { frame in
            guard qzc_stress_match(frame, chn) else { return [] }
            let length = Int(qzc_stress_templ_length())
            let templ = filled(zeros(chn * length)) { qzc_stress_get_templ(&$0, $0.count) }
            return (0..<chn).map { Array(templ[$0 * length..<($0 + 1) * length]) }
        },
        levels: { filled(zeros(chn)) { qzc_stress_st_level(&$0, chn) } },
        slopes: { filled([Float](repeating: 0, count: chn)) { qzc_stress_st_slope(&$0, chn) } })
}

extension Bindings {
    @Suite struct Signal {
        @Test func aMinuteOfTwelveLeadsIsThatOfTheCInterfaceToTheBit() {
            _ = cInterface().run()  // the average keeps its five intervals: all later runs start with the same
            let answers = classes().run()
            #expect(answers == cInterface().run())
            let matches = answers.filter { $0.count > 38 }
            #expect(matches.count >= 70)
            #expect(matches.last!.suffix(24).prefix(12).contains { $0 < -20 })  // the depressed ST shows
            #expect(answers.last { $0[36] > 0 }?[36] == 800)
            #expect(answers.last { $0[37] > 0 }?[37] == 75)
        }

        @Test func theHeartRateOfManyLeadsIsThatOfTheirIntervals() {
            let detector = qzMeanRRmsLib(fs: fs, chn: leads, freqNotch: 50, uVpb: 1)
            let rates = minute.map { detector.meanHR(data: $0) }.filter { $0 > 0 }
            #expect(rates.count > 60 && rates.last == 75)
        }

        @Test func framesOfTheWrongLengthAreEchoedOrEmpty() {
            let filters = qzFiltersLib()
            #expect(!filters.update(fs: fs, freqLpass: 40, freqNotch: 0, smoothStrength: 0))
            #expect(filters.filters(data: [1, 2]) == [1, 2])
            #expect(filters.filters(data: []) == [])
            #expect(filters.create(fs: fs, chn: 3, freqLpass: 40, freqNotch: 0, smoothStrength: 0))
            #expect(filters.update(fs: fs, freqLpass: 10, freqNotch: 0, smoothStrength: 0))
            #expect(filters.filters(data: [1000, 2000]) == [1000, 2000])
            #expect(filters.filters(data: [1000, 2000, 3000]) == [3, 7, 10])

            let doubler = qzDfsLib()
            #expect(!doubler.create(chn: -1, uVpb: 1))
            #expect(doubler.create(chn: 2, uVpb: 1))
            #expect(doubler.getData(data: [1]) == [])
            #expect(doubler.getData(data: [10, 20, 99])?.count == 4)
        }

        @Test func releasingAnObjectTakesTheChainAndTheDoublerAlongAndLeavesTheDetector() {
            let first = classes()
            _ = classes()
            #expect(first.filter(minute[150]) == minute[150])
            #expect(first.double(minute[150]) == [])
            #expect(first.match(minute[150]) == [])
            #expect(minute[..<6000].contains { first.rr($0) > 0 })
        }

        @Test func everyFilterBankFiltersByItself() throws {
            let notch = try #require(qzFilterBank(fs: fs, chn: leads, notch: 60, q: 10))
            let drift = try #require(qzFilterBank(fs: fs, chn: leads, highpass: 0.05))
            #expect(qzFilterBank(fs: fs, chn: leads, notch: 250, q: 10) == nil)
            #expect(qzFilterBank(fs: fs, chn: -1, highpass: 0.05) == nil)
            let banks = [qzc_notch_create(fs, leads, 60, 10), qzc_highpass_create(fs, leads, 0.05)]
            for raw in minute[..<500] {
                var frame = raw
                for bank in banks { qzc_filter_bank_filter(bank, &frame, frame.count) }
                #expect(drift.filter(data: notch.filter(data: raw)) == frame)
                #expect(notch.filter(data: [1, 2]) == [1, 2])
            }
            for bank in banks { qzc_filter_bank_destroy(bank) }
        }

        @Test func aSessionMeasuresAtPointsByHandAsTheCInterfaceDoes() throws {
            let session = try #require(
                qzSession(fs: fs, chn: leads, uVpb: 1, comb: true, stRateLimit: 60, beat: nil))
            var options = qzs_options()
            qzs_options_init(&options, MemoryLayout<qzs_options>.size)
            options.fs = fs
            options.leads = leads
            options.comb = true
            options.st_rate_limit = 60
            let plain = qzs_create(&options)
            defer { qzs_free(plain) }
            for part in 0..<4 {  // of 6 s; the points are given back in the third
                let signal = Array(minute[part * 3000..<(part + 1) * 3000].joined())
                #expect(session.push(data: signal) == 3000 && qzs_push(plain, signal, 3000) == 3000)
                #expect(!session.setPoints(q: 60, j: -40))
                if part == 1 {
                    #expect(session.setPoints(q: -40, j: 60, st: 100) && qzs_set_points(plain, -40, 60, 100))
                } else {
                    #expect(session.setPoints() && qzs_set_points(plain, .nan, .nan, .nan))
                }
            }
            session.finish()
            qzs_finish(plain)
            var same = qzs_event(), pointsMs: Set<Double> = []
            while let event = session.nextEvent() {
                #expect(qzs_next_event(plain, &same, MemoryLayout<qzs_event>.size))
                #expect(event.shape == same.shape)
                #expect(event.votedBpm == same.voted_bpm || event.votedBpm.isNaN && same.voted_bpm.isNaN)
                if event.kind != qzSessionEvent.beat { continue }
                var st = [Float](repeating: 0, count: 6 * Int(leads)), pointMs = 0.0
                var shapes = [Int32](repeating: 0, count: Int(leads))
                var onT = [Bool](repeating: true, count: Int(leads))
                st.withUnsafeMutableBufferPointer {
                    let row = $0.baseAddress!, chn = Int(leads)
                    qzs_event_st(plain, row, &pointMs, chn)
                    qzs_event_st_after_j(plain, row + chn, row + 2 * chn, row + 3 * chn, row + 4 * chn, chn)
                    qzs_event_st_slope(plain, row + 5 * chn, &shapes, &onT, chn)
                }
                #expect(event.st + event.stJ + event.stJ20 + event.stJ60 + event.stJ80 + event.stSlope == st)
                #expect(event.stShape == shapes.map { Int($0) } && event.stOnT == onT)
                #expect((event.qMs, event.jMs, event.stPointMs) == (same.q_ms, same.j_ms, pointMs))
                pointsMs.insert(pointMs)
            }
            #expect(pointsMs == [60, 100])
            var at = qzs_positions()
            qzs_get_measured_positions(plain, &at)
            #expect(session.getMeasuredPos() == [at.length, at.q, at.r, at.j].map { Float($0) })
            var means = [Float](repeating: 0, count: qzs_measured_template(plain, nil, 0, &at))
            qzs_measured_template(plain, &means, means.count, nil)
            #expect(session.getMeasuredTempl().flatMap { $0 } == means && !means.isEmpty)
            #expect(session.getMeasuredTemplPos() == [at.length, at.q, at.r, at.j].map { Float($0) })
            #expect(session.conditioning().utf8.count == qzs_conditioning(plain, nil, 0))
        }

        /// What its events tell is compared by the examples.
        @Test func aSessionTellsOfEveryBeatOrWhyNot() throws {
            let session = try #require(qzSession(fs: fs, chn: leads, uVpb: 1))
            let empty = try #require(qzSession(fs: fs, chn: 1, uVpb: 1))
            #expect(qzSession(fs: fs, chn: 0, uVpb: 1) == nil)
            #expect(session.getTempl() == [] && session.getPos() == [])
            for frame in minute { session.push(data: frame) }
            #expect(empty.push(data: [1, 2, 3]) == 3)
            session.finish()
            empty.finish()
            var beats = 0
            while let event = session.nextEvent() {
                let isBeat = event.kind == qzSessionEvent.beat
                #expect(event.text == nil && event.j.count == (isBeat ? Int(leads) : 0))
                #expect(event.st.count == event.j.count && event.stPointMs == (isBeat ? 80 : 0))
                beats += isBeat && event.rrMs > 0 && event.beatClass == qzSessionEvent.normal ? 1 : 0
            }
            #expect(beats > 60 && session.getTempl().count == Int(leads) && session.getPos().count == 4)
            #expect(empty.nextEvent()?.kind == qzSessionEvent.notLearned && empty.delayMs() > 0)
        }

        @Test func aSessionHandsItsLearnedBeatOnAndConditionedFramesOut() throws {
            let signal = Array(minute[..<4000].joined())
            var beats: [qzLearnedBeat] = [], kept: [Data] = [], conditioned: [[Int16]] = []
            let keeper = JSONEncoder()
            keeper.outputFormatting = .sortedKeys
            for _ in 0..<2 {
                let session = try #require(
                    qzSession(fs: fs, chn: leads, uVpb: 1, beat: beats.last, conditioned: true))
                #expect(session.push(data: signal) == 4000)
                let first = try #require(session.conditioned())
                #expect((session.learnedBeat() == nil) == beats.isEmpty)  // 10 s have not passed
                session.finish()
                let rest = try #require(session.conditioned())
                #expect(first.firstSeconds == 0 && session.conditioned() == nil)
                #expect(Int(rest.firstSeconds * Double(fs)) == first.frames.count / Int(leads))
                conditioned.append(first.frames + rest.frames)
                kept.append(try keeper.encode(session.learnedBeat()))
                beats.append(try JSONDecoder().decode(qzLearnedBeat.self, from: kept.last!))
            }
            #expect(kept[0] == kept[1] && beats[0].rows.count == Int(leads) && beats[0].posQ < beats[0].posJ)
            #expect(conditioned[0] == conditioned[1] && conditioned[0].count == signal.count)
            beats[0].rows[1].removeLast()
            #expect(qzSession(fs: fs, chn: leads, uVpb: 1, beat: beats[0]) == nil)
            #expect(qzSession(fs: fs, chn: leads, uVpb: 1, stRateLimit: 0, beat: nil) == nil)
        }

        @Test func theInitialisersCreateThroughTheOverride() {
            created = 0
            _ = CountingDoubler(chn: 1, uVpb: 1)
            _ = CountingFilters(fs: fs, chn: 2, freqLpass: 40, freqNotch: 0, smoothStrength: 0)
            _ = CountingMeanRR(fs: fs, chn: 2, freqNotch: 50, uVpb: 1)
            #expect(created == 3)
        }
    }
}

/// Calls of the overridden `create` of any of the three.
private nonisolated(unsafe) var created = 0

private final class CountingDoubler: qzDfsLib {
    override func create(chn: Int16, uVpb: Double) -> Bool {
        created += 1
        return true
    }
}

private final class CountingFilters: qzFiltersLib {
    override func create(
        fs: Int16, chn: Int16, freqLpass: Int16, freqNotch: Int16, smoothStrength: Int16
    ) -> Bool {
        created += 1
        return true
    }
}

private final class CountingMeanRR: qzMeanRRmsLib {
    override func create(fs: Int16, chn: Int16, freqNotch: Int16, uVpb: Double) { created += 1 }
}
