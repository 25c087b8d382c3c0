import Testing
import qzAPI
import qzStressTemplLib

private final class CountingFilters: qzFiltersLib {
    static nonisolated(unsafe) var created = 0
    override func create(
        fs: Int16, chn: Int16, freqLpass: Int16, freqNotch: Int16, smoothStrength: Int16
    ) -> Bool {
        Self.created += 1
        return super.create(
            fs: fs, chn: chn, freqLpass: freqLpass, freqNotch: freqNotch, smoothStrength: smoothStrength)
    }
}

private func fullChain(chn: Int16 = leads) -> qzFiltersLib {
    qzFiltersLib(fs: fs, chn: chn, freqLpass: 40, freqNotch: 50, smoothStrength: 1)
}

extension Bindings {
    @Suite struct Filters {
        @Test func aMinuteOfTwelveLeadsIsThatOfTheCInterface() {
            let lib = fullChain()
            let filtered = minute.map { lib.filters(data: $0)! }
            #expect(filtered != minute)
            qzc_filters_create(fs, leads, 40, 50, 1)
            let expected = minute.map { frame in
                var frame = frame
                qzc_filters_filters(&frame, frame.count)
                return frame
            }
            #expect(filtered == expected)
        }

        @Test func aFrameOfTheWrongLengthComesBackAsItIs() {
            let lib = qzFiltersLib()
            #expect(lib.filters(data: [1, 2]) == [1, 2])
            #expect(lib.filters(data: []) == [])
            #expect(lib.create(fs: fs, chn: 3, freqLpass: 40, freqNotch: 0, smoothStrength: 0))
            #expect(lib.filters(data: [1000, 2000]) == [1000, 2000])
            #expect(lib.filters(data: [1000, 2000, 3000, 4000]) == [1000, 2000, 3000, 4000])
            #expect(lib.filters(data: [1000, 2000, 3000]) != [1000, 2000, 3000])
        }

        @Test func updateRebuildsTheChainForTheLeadsOfCreate() {
            let other = fullChain()
            let lib = qzFiltersLib()
            #expect(!lib.update(fs: fs, freqLpass: 40, freqNotch: 0, smoothStrength: 0))
            #expect(other.filters(data: minute[150]) != minute[150])  // its chain is still there

            let run = { minute[145..<155].map { lib.filters(data: $0) } }
            lib.create(fs: fs, chn: leads, freqLpass: 40, freqNotch: 0, smoothStrength: 1)
            let fresh = run()
            #expect(run() != fresh)
            #expect(lib.update(fs: fs, freqLpass: 40, freqNotch: 0, smoothStrength: 1))
            #expect(run() == fresh)  // the history has restarted
            #expect(!lib.create(fs: fs, chn: -1, freqLpass: 40, freqNotch: 0, smoothStrength: 1))
            #expect(run() == minute[145..<155].map { $0 })  // no chain
            #expect(lib.update(fs: fs, freqLpass: 40, freqNotch: 0, smoothStrength: 1))
            #expect(run() == fresh)  // for the leads of the last create that succeeded
        }

        @Test func stagesAreSwitchedOneByOne() {
            let lowpassOnly = qzFiltersLib(fs: fs, chn: leads, freqLpass: 40, freqNotch: 0, smoothStrength: 0)
            let expected = minute[..<300].map { lowpassOnly.filters(data: $0) }
            let lib = fullChain()
            lib.switchFilters(onOffLpass: true, onOffNotch: false, onOffSmooth: false)
            #expect(minute[..<300].map { lib.filters(data: $0) } == expected)
            lib.switchFilters(onOffLpass: false, onOffNotch: false, onOffSmooth: false)
            #expect(lib.filters(data: minute[150]) == minute[150])
        }

        @Test func releasingOneObjectLeavesTheOthersWithoutAChain() {
            let lib = fullChain()
            do {
                let other = fullChain()
                #expect(other.filters(data: minute[150]) != minute[150])
            }
            #expect(lib.filters(data: minute[150]) == minute[150])
            #expect(lib.update(fs: fs, freqLpass: 40, freqNotch: 0, smoothStrength: 0))
            #expect(lib.filters(data: minute[150]) != minute[150])
        }

        @Test func anObjectOfOtherLeadsThanTheChainLetsFramesPass() {
            let two = fullChain(chn: 2)
            let twelve = fullChain()
            #expect(two.filters(data: [1000, 2000]) == [1000, 2000])
            #expect(twelve.filters(data: minute[150]) != minute[150])
        }

        @Test func theInitialiserCreatesThroughTheOverride() {
            CountingFilters.created = 0
            let lib = CountingFilters(fs: fs, chn: 2, freqLpass: 40, freqNotch: 0, smoothStrength: 0)
            #expect(CountingFilters.created == 1)
            #expect(lib.filters(data: [1000, 2000]) != [1000, 2000])
        }
    }
}
