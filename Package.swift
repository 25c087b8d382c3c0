// swift-tools-version: 5.9
import PackageDescription

// The wrapped classes of the Swift module: on Apple's platforms the Objective-C ones, elsewhere a module of the same
// surface on the plain C interface. The platform that is built for decides, not the one that builds.
let apple: [Platform] = [.macOS, .macCatalyst, .iOS, .tvOS, .watchOS, .visionOS]
let others: [Platform] = [.linux, .android, .windows, .openbsd, .wasi]

// All C++ includes go from the root. Results do not depend on flags: core/FloatingPoint.h forbids fused multiply-add,
// since a package that others depend on must not set compiler options.
let package = Package(
    name: "qzStressTemplLib",
    platforms: [.macOS(.v11), .iOS(.v13)],
    products: [
        .library(name: "qzStressTemplLib", targets: ["qzStressTemplLib"]),
        .library(name: "qzStressTemplLibDynamic", type: .dynamic, targets: ["qzStressTemplLib"]),
        .library(name: "qzAPI", targets: ["qzAPI"]),
    ],
    targets: [
        .target(name: "qzCore", path: "core", publicHeadersPath: ".", cxxSettings: [.headerSearchPath("..")]),
        .target(
            name: "qzStressSession", dependencies: ["qzCore"], path: "session", publicHeadersPath: ".",
            cxxSettings: [.headerSearchPath("..")]),
        .target(
            name: "qzAPI", dependencies: ["qzCore", "qzStressSession"], path: "api", publicHeadersPath: ".",
            cxxSettings: [.headerSearchPath("..")]),
        .target(
            name: "OCqz", dependencies: ["qzAPI"], path: "bindings/objc", exclude: ["CMakeLists.txt"],
            publicHeadersPath: "include", cxxSettings: [.headerSearchPath("../..")]),
        .target(
            name: "CqzShim", dependencies: ["qzAPI"], path: "bindings/swift/linux/CqzShim",
            cxxSettings: [.headerSearchPath("../../../..")]),
        .target(name: "OCqzPlain", dependencies: ["CqzShim", "qzAPI"], path: "bindings/swift/linux/OCqz"),
        .target(
            name: "qzStressTemplLib",
            dependencies: [
                .target(name: "OCqz", condition: .when(platforms: apple)),
                .target(name: "OCqzPlain", condition: .when(platforms: others)),
            ],
            path: "bindings/swift", exclude: ["linux"]),
        .testTarget(
            name: "qzStressTemplLibTests", dependencies: ["qzStressTemplLib", "qzAPI"], path: "tests/swift",
            exclude: ["selectors.txt"]),
    ],
    cxxLanguageStandard: .cxx17
)
