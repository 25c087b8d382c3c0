// What stops the process. A test of that starts the program anew, which phones cannot, and needs Swift 6.2.
#if compiler(>=6.2) && (os(macOS) || os(Linux) || os(Windows) || os(OpenBSD))
import Testing
import qzStressTemplLib

extension Bindings {
    @Suite struct Exits {
        @Test func aDukeScoreThatDoesNotFitStopsTheProcess() async {
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
#endif
