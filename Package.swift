// swift-tools-version: 5.9
import PackageDescription

// All C++ includes go from the root. Results do not depend on flags: core/Arithmetic.h forbids fused
// multiply-add, since a package that others depend on must not set compiler options.
var targets: [Target] = [
    .target(name: "qzCore", path: "core", publicHeadersPath: ".", cxxSettings: [.headerSearchPath("..")]),
    .target(
        name: "qzAPI", dependencies: ["qzCore"], path: "api", publicHeadersPath: ".",
        cxxSettings: [.headerSearchPath("..")]),
    .target(name: "qzStressTemplLib", dependencies: ["OCqz"], path: "bindings/swift", exclude: ["linux"]),
    .testTarget(
        name: "qzStressTemplLibTests", dependencies: ["qzStressTemplLib", "qzAPI"], path: "tests/swift",
        exclude: ["selectors.txt"]),
]
#if canImport(Darwin)
targets.append(
    .target(
        name: "OCqz", dependencies: ["qzAPI"], path: "bindings/objc", exclude: ["CMakeLists.txt"],
        publicHeadersPath: "include", cxxSettings: [.headerSearchPath("../..")]))
#else
// No Objective-C here: a module of the same name and surface, on the plain C interface.
targets += [
    .target(
        name: "CqzShim", dependencies: ["qzAPI"], path: "bindings/swift/linux/CqzShim",
        cxxSettings: [.headerSearchPath("../../../..")]),
    .target(name: "OCqz", dependencies: ["CqzShim"], path: "bindings/swift/linux/OCqz"),
]
#endif

let package = Package(
    name: "qzStressTemplLib",
    platforms: [.macOS(.v11), .iOS(.v13)],
    products: [.library(name: "qzStressTemplLib", type: .dynamic, targets: ["qzStressTemplLib"])],
    targets: targets,
    cxxLanguageStandard: .cxx17
)
