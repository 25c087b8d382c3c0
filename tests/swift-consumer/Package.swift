// swift-tools-version: 5.9
import PackageDescription

let package = Package(
    name: "Consumer",
    platforms: [.macOS(.v11)],
    dependencies: [.package(name: "qzStressTemplLib", path: "../..")],
    targets: [
        .executableTarget(
            name: "Consumer",
            dependencies: ["ChainBuilder", .product(name: "qzStressTemplLib", package: "qzStressTemplLib")]),
        .target(name: "ChainBuilder", dependencies: [.product(name: "qzAPI", package: "qzStressTemplLib")]),
    ],
    cxxLanguageStandard: .cxx17
)
