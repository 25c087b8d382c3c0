// Foundation's Swift side: which value types have an Objective-C form. Never run.
@_exported import Foundation

extension Array: _ObjectiveCBridgeable {
    public func _bridgeToObjectiveC() -> NSArray { fatalError() }
    public static func _forceBridgeFromObjectiveC(_: NSArray, result: inout Array?) {}
    public static func _conditionallyBridgeFromObjectiveC(_: NSArray, result: inout Array?) -> Bool { false }
    public static func _unconditionallyBridgeFromObjectiveC(_: NSArray?) -> Array { [] }
}
extension Int16: _ObjectiveCBridgeable {
    public func _bridgeToObjectiveC() -> NSNumber { fatalError() }
    public static func _forceBridgeFromObjectiveC(_: NSNumber, result: inout Int16?) {}
    public static func _conditionallyBridgeFromObjectiveC(_: NSNumber, result: inout Int16?) -> Bool { false }
    public static func _unconditionallyBridgeFromObjectiveC(_: NSNumber?) -> Int16 { 0 }
}
extension Float: _ObjectiveCBridgeable {
    public func _bridgeToObjectiveC() -> NSNumber { fatalError() }
    public static func _forceBridgeFromObjectiveC(_: NSNumber, result: inout Float?) {}
    public static func _conditionallyBridgeFromObjectiveC(_: NSNumber, result: inout Float?) -> Bool { false }
    public static func _unconditionallyBridgeFromObjectiveC(_: NSNumber?) -> Float { 0 }
}
extension String: _ObjectiveCBridgeable {
    public func _bridgeToObjectiveC() -> NSString { fatalError() }
    public static func _forceBridgeFromObjectiveC(_: NSString, result: inout String?) {}
    public static func _conditionallyBridgeFromObjectiveC(_: NSString, result: inout String?) -> Bool { false }
    public static func _unconditionallyBridgeFromObjectiveC(_: NSString?) -> String { "" }
}
