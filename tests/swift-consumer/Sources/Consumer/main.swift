// A package of its own that depends on the library the way an application does: `swift run` in this folder.
import ChainBuilder
import qzStressTemplLib

/// The classes are open: an application can follow what is built.
final class ReportingDoubler: qzDfsLib {
    override func create(chn: Int16, uVpb: Double) -> Bool {
        let built = super.create(chn: chn, uVpb: uVpb)
        print("doubler for \(chn) leads: \(built)")
        return built
    }
}

let doubler = ReportingDoubler(chn: 2, uVpb: 1)
var twoFrames: [Int16] = []
for _ in 0..<10 { twoFrames = doubler.getData(data: [100, -100])! }
let duke = qzStressTemplLib.getDuke(stressSeconds: 600, deepestSTwithmV: -0.1, anginaPectoris: 1)
let pwc = qzStressTemplLib.getPWC(power: [50, 100, 150], andHR: [110, 130, 150])
print("two frames \(twoFrames), Duke \(duke), PWC \(pwc!)")
precondition(twoFrames.count == 4 && twoFrames[2...] == [100, -100] && duke == 1 && pwc == [100, 150, -1])

// The flat functions of C++ and the classes share the one chain of the process.
let chain = qzFiltersLib(fs: 500, chn: 2, freqLpass: 40, freqNotch: 0, smoothStrength: 0)
let first = chain.filters(data: [1000, -1000])
precondition(first != [1000, -1000] && BuildChain(2) == 2 && chain.filters(data: [1000, -1000]) == first)
precondition(BuildChain(3) == 3 && chain.filters(data: [1000, -1000]) == [1000, -1000])
