// The Objective-C classes under the names and types that Swift sees on Apple, as far as the Swift classes use
// them, for platforms without an Objective-C runtime. Arrays are `[Any]` as there; the elements are what the Swift
// classes put in and cast out: `Int16` samples, `Float` values, `[Int16]` template rows.

import CqzShim

/// The samples of a frame or of a template row.
func samples(_ array: [Any]) -> [Int16] { array.map { $0 as! Int16 } }

extension CqzSamples {
    /// A copy of the result; nil for nil.
    var array: [Any]? { count < 0 ? nil : Array(UnsafeBufferPointer(start: values, count: Int(count))) }
}

extension CqzFloats {
    /// A copy of the result; nil for nil.
    var array: [Any]? { count < 0 ? nil : Array(UnsafeBufferPointer(start: values, count: Int(count))) }
}

extension CqzTemplate {
    /// A copy of the result, one `[Int16]` per lead; nil for nil.
    var array: [Any]? {
        rows < 0
            ? nil
            : (0..<Int(rows)).map { row in
                Array(UnsafeBufferPointer(start: samples + row * Int(length), count: Int(length)))
            }
    }
}
