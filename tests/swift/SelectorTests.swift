import Foundation
import Testing

/// The Objective-C selectors that the compiler makes of the Swift declarations, told from the sources: the
/// entry points of Objective-C callers must not change with a label. `tests/swift-apple` lets the compiler say
/// it, which takes options that another toolchain may not have.
extension Bindings {
    @Suite struct Selectors {
        @Test(arguments: ["qzDfsLib", "qzFiltersLib", "qzMeanRRmsLib", "qzStressTemplLib"])
        func areThoseOfTheInterface(_ name: String) throws {
            let tests = URL(fileURLWithPath: #filePath).deletingLastPathComponent()
            let list = try String(contentsOf: tests.appendingPathComponent("selectors.txt"), encoding: .utf8)
            let source = try String(
                contentsOf: tests.appendingPathComponent("../../bindings/swift/\(name).swift"),
                encoding: .utf8)
            let attribute = "#if canImport(ObjectiveC)\n@objcMembers\n#endif"
            #expect(source.contains("\(attribute)\nopen class \(name): NSObject {"))
            let wanted = list.split(separator: "\n").filter { $0.hasPrefix("\(name) ") }.map(String.init)
            #expect(objcSelectors(of: source).map { "\(name) \($0)" }.sorted() == wanted)
        }
    }
}

/// The selectors of all public declarations outside `#if !canImport(ObjectiveC)`.
private func objcSelectors(of source: String) -> [String] {
    var onlyElsewhere = false
    var selectors: [String] = []
    for line in source.split(separator: "\n").map({ $0.trimmingCharacters(in: .whitespaces) }) {
        if line.hasPrefix("#if") { onlyElsewhere = line == "#if !canImport(ObjectiveC)" }
        if line.hasPrefix("#endif") { onlyElsewhere = false }
        guard !onlyElsewhere, line.hasPrefix("open ") || line.hasPrefix("public "),
            let open = line.firstIndex(of: "("), let close = line[open...].firstIndex(of: ")")
        else { continue }
        let name = String(line[..<open].split(separator: " ").last!)
        let labels = line[line.index(after: open)..<close].split(separator: ",")
            .map { $0.split(separator: ":")[0].trimmingCharacters(in: .whitespaces) }
        selectors.append(selector(name, labels))
    }
    return selectors
}

/// The compiler's rule: the first label joins the base name, by "With" unless either side of the seam is a
/// preposition.
private func selector(_ name: String, _ labels: [String]) -> String {
    guard let first = labels.first else { return name }
    let joined = isPreposition(words(first).first!) || isPreposition(words(name).last!)
    let firstPiece = name + (joined ? "" : "With") + first.prefix(1).uppercased() + first.dropFirst()
    return ([firstPiece] + labels.dropFirst()).map { $0 + ":" }.joined()
}

/// The words of a camelCase name; capitals in a row belong to one word.
private func words(_ name: String) -> [String] {
    var words: [String] = []
    var afterLowercase = true
    for character in name {
        if words.isEmpty || (character.isUppercase && afterLowercase) { words.append("") }
        words[words.count - 1].append(character)
        afterLowercase = !character.isUppercase
    }
    return words
}

private func isPreposition(_ word: String) -> Bool {
    [
        "above", "after", "along", "alongside", "as", "at", "before", "below", "by", "following", "for",
        "from",
        "given", "in", "including", "inside", "into", "matching", "of", "on", "since", "to", "until", "using",
        "via", "with", "within",
    ].contains(word.lowercased())
}
