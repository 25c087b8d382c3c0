// swift-tools-version: 5.9
import PackageDescription

let package = Package(
    name: "StressTest",
    platforms: [.macOS(.v11)],
    dependencies: [.package(name: "qzStressTemplLib", path: "../..")],
    targets: [
        .executableTarget(
            name: "StressTest",
            dependencies: [.product(name: "qzStressTemplLib", package: "qzStressTemplLib")],
            path: ".", sources: ["main.swift"])
    ]
)
