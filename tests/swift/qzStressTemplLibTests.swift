import Testing

@testable import qzStressTemplLib

func libraryWithTemplate() -> qzStressTemplLib {
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

        @Test(
            arguments: [
                (600, -0.1, 1, 1), (600, 0.1, 1, 1), (630, 0, 0, 10), (0, 0.2, 2, -18),
                (30, 0.02, 0, 0),  // -0.5
                (0, 0, 8191, -32764),  // 4 * 8191 still fits
            ] as [(Int16, Float, Int16, Int16)])
        func dukeScoreIsTruncatedTowardZero(seconds: Int16, mV: Float, angina: Int16, score: Int16) {
            #expect(
                qzStressTemplLib.getDuke(
                    stressSeconds: seconds, deepestSTwithmV: mV, anginaPectoris: angina) == score)
        }

        @Test func workingCapacityTakesAsManyPairsAsThereAreAndNoPowerThatDoesNotCount() {
            func pwc(_ power: [Float], _ rate: [Float]) -> [Float]? {
                qzStressTemplLib.getPWC(power: power, andHR: rate)
            }
            #expect(pwc([50, 100, 150, 200], [110, 130, 150]) == [100, 150, -1])
            #expect(pwc([.nan, 50, 100, 150, .nan], [109.9, 110, 130, 150, .nan]) == [100, 150, -1])
            #expect(pwc([50, 100], [110, 130, 150]) == [-1, -1, -1])
            #expect(pwc([], []) == [-1, -1, -1])
        }

        @Test func aResultOfAnotherElementTypeIsNil() {
            let mixed: [Int16]? = elements([Int16(1), "x"])
            #expect(mixed == nil)
        }
    }
}
