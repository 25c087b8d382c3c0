// Arrays on their way back from Objective-C. On their way there `[Int16]`, `[[Int16]]` and `[Float]` bridge
// by themselves.

/// The elements of a result array as `Element`. A nil array becomes an empty one: callers test for emptiness.
/// Nil where an element is something else.
func elements<Element>(_ array: [Any]?) -> [Element]? { (array ?? []) as? [Element] }
