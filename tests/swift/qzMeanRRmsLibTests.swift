import Testing
import qzAPI
import qzStressTemplLib

private final class CountingMeanRR: qzMeanRRmsLib {
    static nonisolated(unsafe) var created = 0
    override func create(fs: Int16, chn: Int16, freqNotch: Int16, uVpb: Double) {
        Self.created += 1
        super.create(fs: fs, chn: chn, freqNotch: freqNotch, uVpb: uVpb)
    }
}

extension Bindings {
    @Suite struct MeanRR {
        @Test func aMinuteOfTwelveLeadsIsThatOfTheCInterface() {
            let intervalsOfDoor = {
                qzc_multi_init(fs, leads, 50, 1)
                return minute.map { max(qzc_multi_mean_rr_ms($0, $0.count), 0) }
            }
            // The average keeps its five intervals: from here on every run starts with the same ones.
            _ = intervalsOfDoor()
            let lib = qzMeanRRmsLib(fs: fs, chn: leads, freqNotch: 50, uVpb: 1)
            let intervals = minute.map { lib.meanRRms(data: $0) }
            #expect(intervals == intervalsOfDoor())
            #expect(intervals.last { $0 > 0 } == 800)

            lib.create(fs: fs, chn: leads, freqNotch: 50, uVpb: 1)
            let rates = intervals.map { $0 > 0 ? Int16(60000 / Int($0)) : 0 }
            #expect(minute.map { lib.meanHR(data: $0) } == rates)
        }

        @Test func missingSamplesCountAsZeroAndSurplusOnesAreIgnored() {
            let beats = minute[..<6000]
            let lib = qzMeanRRmsLib(fs: fs, chn: 3, freqNotch: 0, uVpb: 1)
            let exact = beats.map { lib.meanRRms(data: [$0[0], 0, 0]) > 0 }
            lib.create(fs: fs, chn: 3, freqNotch: 0, uVpb: 1)
            #expect(beats.map { lib.meanRRms(data: [$0[0]]) > 0 } == exact)
            lib.create(fs: fs, chn: 3, freqNotch: 0, uVpb: 1)
            #expect(beats.map { lib.meanRRms(data: [$0[0], 0, 0, 99]) > 0 } == exact)
        }

        @Test func theDetectorOutlivesItsObject() {
            let hasBeat = { minute[..<6000].contains { qzc_multi_mean_rr_ms($0, $0.count) > 0 } }
            do { _ = qzMeanRRmsLib(fs: fs, chn: leads, freqNotch: 50, uVpb: 1) }
            #expect(hasBeat())
            let lib = qzMeanRRmsLib(fs: fs, chn: -1, freqNotch: 50, uVpb: 1)
            #expect(minute[..<6000].allSatisfy { lib.meanHR(data: $0) == 0 })
            #expect(!hasBeat())
        }

        @Test func theInitialiserCreatesThroughTheOverride() {
            CountingMeanRR.created = 0
            _ = CountingMeanRR(fs: fs, chn: 2, freqNotch: 50, uVpb: 1)
            #expect(CountingMeanRR.created == 1)
        }

        #if !canImport(ObjectiveC)  // there it does not compile
        @Test func thePlainInitialiserStopsTheProcess() async {
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
