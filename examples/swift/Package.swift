// swift-tools-version: 5.9
import PackageDescription

let library = Target.Dependency.product(name: "qzStressTemplLib", package: "qzStressTemplLib")

let package = Package(
    name: "StressTest",
    platforms: [.macOS(.v11)],
    dependencies: [.package(name: "qzStressTemplLib", path: "../..")],
    targets: [
        .target(name: "Signal", path: "Signal"),
        .executableTarget(name: "Flat", dependencies: ["Signal", library], path: "Flat"),
        .executableTarget(name: "Session", dependencies: ["Signal", library], path: "Session"),
    ]
)
