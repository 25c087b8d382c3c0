import Testing
import qzAPI
import qzStressTemplLib

// The filter chain, the doubler and the detector of many leads.

/// Calls of the overridden `create` of any of the three.
private nonisolated(unsafe) var created = 0

private final class CountingDoubler: qzDfsLib {
    override func create(chn: Int16, uVpb: Double) -> Bool {
        created += 1
        return super.create(chn: chn, uVpb: uVpb)
    }
}

private final class CountingFilters: qzFiltersLib {
    override func create(
        fs: Int16, chn: Int16, freqLpass: Int16, freqNotch: Int16, smoothStrength: Int16
    ) -> Bool {
        created += 1
        return super.create(
            fs: fs, chn: chn, freqLpass: freqLpass, freqNotch: freqNotch, smoothStrength: smoothStrength)
    }
}

private final class CountingMeanRR: qzMeanRRmsLib {
    override func create(fs: Int16, chn: Int16, freqNotch: Int16, uVpb: Double) {
        created += 1
        super.create(fs: fs, chn: chn, freqNotch: freqNotch, uVpb: uVpb)
    }
}

private func fullChain() -> qzFiltersLib {
    qzFiltersLib(fs: fs, chn: leads, freqLpass: 40, freqNotch: 50, smoothStrength: 1)
}

extension Bindings {
    @Suite struct SignalClasses {
        @Test func aMinuteOfTwelveLeadsIsThatOfTheCInterface() {
            /// A minute through a chain whose stages are switched off one by one after half of it.
            func run(
                _ filter: ([Int16]) -> [Int16], _ switchStages: (Bool, Bool, Bool) -> Void
            ) -> [[Int16]] {
                minute.enumerated().map { i, frame in
                    if i == minute.count / 2 { switchStages(true, true, false) }
                    if i == minute.count / 2 + 500 { switchStages(true, false, false) }
                    return filter(frame)
                }
            }
            let filters = fullChain()
            let filtered = run({ filters.filters(data: $0)! }) {
                filters.switchFilters(onOffLpass: $0, onOffNotch: $1, onOffSmooth: $2)
            }
            qzc_filters_create(fs, leads, 40, 50, 1)
            let expected = run(
                { frame in
                    var frame = frame
                    qzc_filters_filters(&frame, frame.count)
                    return frame
                }, qzc_filters_switch)
            #expect(filtered == expected)
            #expect(filtered != minute)

            let doubler = qzDfsLib(chn: leads, uVpb: 1)
            let doubled = minute.map { doubler.getData(data: $0)! }
            qzc_dfs_create(leads, 1)
            let expectedDoubled = minute.map { frame in
                var out = [Int16](repeating: 0, count: 2 * frame.count)
                qzc_dfs_get_data(frame, frame.count, &out, out.count)
                return out
            }
            #expect(doubled == expectedDoubled)

            let intervalsOfDoor = {
                qzc_multi_init(fs, leads, 50, 1)
                return minute.map { max(qzc_multi_mean_rr_ms($0, $0.count), 0) }
            }
            // The average keeps its five intervals: from here on every run starts with the same ones.
            _ = intervalsOfDoor()
            let detector = qzMeanRRmsLib(fs: fs, chn: leads, freqNotch: 50, uVpb: 1)
            let intervals = minute.map { detector.meanRRms(data: $0) }
            #expect(intervals == intervalsOfDoor())
            #expect(intervals.last { $0 > 0 } == 800)
            detector.create(fs: fs, chn: leads, freqNotch: 50, uVpb: 1)
            let rates = intervals.map { $0 > 0 ? Int16(60000 / Int($0)) : 0 }
            #expect(minute.map { detector.meanHR(data: $0) } == rates)
        }

        @Test func framesOfTheWrongLengthAreEchoedEmptyOrFilledUp() {
            let filters = qzFiltersLib()
            #expect(filters.filters(data: [1, 2]) == [1, 2])
            #expect(filters.filters(data: []) == [])
            #expect(filters.create(fs: fs, chn: 3, freqLpass: 40, freqNotch: 0, smoothStrength: 0))
            #expect(filters.filters(data: [1000, 2000]) == [1000, 2000])
            #expect(filters.filters(data: [1000, 2000, 3000]) != [1000, 2000, 3000])

            let doubler = qzDfsLib()
            #expect(!doubler.create(chn: -1, uVpb: 1))
            #expect(doubler.create(chn: 2, uVpb: 1))
            #expect(doubler.getData(data: [1]) == [])
            #expect(doubler.getData(data: [10, 20, 99])?.count == 4)

            let beats = minute[..<6000]
            let detector = qzMeanRRmsLib(fs: fs, chn: 3, freqNotch: 0, uVpb: 1)
            let exact = beats.map { detector.meanRRms(data: [$0[0], 0, 0]) > 0 }
            detector.create(fs: fs, chn: 3, freqNotch: 0, uVpb: 1)
            #expect(beats.map { detector.meanRRms(data: [$0[0]]) > 0 } == exact)
        }

        @Test func updateRebuildsTheChainForTheLeadsOfCreate() {
            let filters = qzFiltersLib()
            #expect(!filters.update(fs: fs, freqLpass: 40, freqNotch: 0, smoothStrength: 0))
            let run = { minute[145..<155].map { filters.filters(data: $0) } }
            filters.create(fs: fs, chn: leads, freqLpass: 40, freqNotch: 0, smoothStrength: 1)
            let fresh = run()
            #expect(run() != fresh)
            #expect(filters.update(fs: fs, freqLpass: 40, freqNotch: 0, smoothStrength: 1))
            #expect(run() == fresh)  // the history has restarted
        }

        @Test func releasingAnObjectTakesTheChainAndTheDoublerAlongAndLeavesTheDetector() {
            let filters = fullChain()
            let doubler = qzDfsLib(chn: leads, uVpb: 1)
            do {
                _ = fullChain()
                _ = qzDfsLib(chn: leads, uVpb: 1)
                _ = qzMeanRRmsLib(fs: fs, chn: leads, freqNotch: 50, uVpb: 1)
            }
            #expect(filters.filters(data: minute[150]) == minute[150])
            #expect(doubler.getData(data: minute[150]) == [])
            #expect(minute[..<6000].contains { qzc_multi_mean_rr_ms($0, $0.count) > 0 })
        }

        @Test func theInitialisersCreateThroughTheOverride() {
            created = 0
            _ = CountingDoubler(chn: 1, uVpb: 1)
            _ = CountingFilters(fs: fs, chn: 2, freqLpass: 40, freqNotch: 0, smoothStrength: 0)
            _ = CountingMeanRR(fs: fs, chn: 2, freqNotch: 50, uVpb: 1)
            #expect(created == 3)
        }

        #if !canImport(ObjectiveC)  // there it does not compile
        @Test func thePlainInitialiserOfTheDetectorStopsTheProcess() async {
            let result = await #expect(
                processExitsWith: .failure, observing: [\.standardErrorContent]
            ) { _ = qzMeanRRmsLib() }
            let report = String(decoding: result?.standardErrorContent ?? [], as: UTF8.self)
            #expect(
                report.contains(
                    "Use of unimplemented initializer 'init()' for class 'qzStressTemplLib.qzMeanRRmsLib'"))
        }
        #endif
    }
}
