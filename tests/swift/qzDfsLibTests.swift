import Testing
import qzAPI
import qzStressTemplLib

private final class CountingDoubler: qzDfsLib {
    static nonisolated(unsafe) var created = 0
    override func create(chn: Int16, uVpb: Double) -> Bool {
        Self.created += 1
        return super.create(chn: chn, uVpb: uVpb)
    }
}

extension Bindings {
    @Suite struct Doubler {
        @Test func aMinuteOfTwelveLeadsIsThatOfTheCInterface() {
            let lib = qzDfsLib(chn: leads, uVpb: 1)
            let doubled = minute.map { lib.getData(data: $0)! }
            #expect(doubled[200].suffix(Int(leads)) == minute[199][...])  // one sample late
            qzc_dfs_create(leads, 1)
            let expected = minute.map { frame in
                var out = [Int16](repeating: 0, count: 2 * frame.count)
                qzc_dfs_get_data(frame, frame.count, &out, out.count)
                return out
            }
            #expect(doubled == expected)
        }

        @Test func aShortFrameGivesNothingAndSurplusSamplesAreIgnored() {
            let lib = qzDfsLib()
            #expect(lib.getData(data: [1, 2]) == [])
            #expect(!lib.create(chn: -1, uVpb: 1))
            #expect(lib.create(chn: 2, uVpb: 1))
            let exact = [[10, 20], [30, 40], [50, 60]].map { lib.getData(data: $0) }
            #expect(lib.getData(data: [1]) == [])
            lib.create(chn: 2, uVpb: 1)
            #expect([[10, 20, 99], [30, 40, 99, 98], [50, 60]].map { lib.getData(data: $0) } == exact)
            #expect(exact.last!?.count == 4)
        }

        @Test func releasingOneObjectLeavesTheOthersWithoutADoubler() {
            let lib = qzDfsLib(chn: 2, uVpb: 1)
            do {
                let twelve = qzDfsLib(chn: leads, uVpb: 1)
                #expect(lib.getData(data: [1, 2]) == [])  // not made for two leads any more
                #expect(twelve.getData(data: minute[0])?.count == 24)
            }
            #expect(lib.getData(data: minute[0]) == [])
            lib.create(chn: 2, uVpb: 1)
            #expect(lib.getData(data: [1, 2])?.count == 4)
        }

        @Test func theInitialiserCreatesThroughTheOverride() {
            CountingDoubler.created = 0
            #expect(CountingDoubler(chn: 1, uVpb: 1).getData(data: [5])?.count == 2)
            #expect(CountingDoubler.created == 1)
        }
    }
}
