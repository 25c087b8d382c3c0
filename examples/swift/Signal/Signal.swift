// The signal of ../../README.md.

public let leads: Int16 = 12
public let fs: Int16 = 500  // samples per second
public let mainsHz: Int16 = 50
public let uVpb = 2.5  // microvolts per unit
public let frames = 600 * Int(fs)
public let beatLength = 400, linesEvery = 100  // samples of the first beat; averaged beats

func triangle(_ t: Int, _ centre: Int, _ halfWidth: Int, _ height: Int) -> Int {
    let distance = abs(t - centre)
    return distance < halfWidth ? height * (halfWidth - distance) / halfWidth : 0
}

/// One lead of gain 1, t samples into a beat with R at 150: P - Q + R - S - ST depression + T.
func wave(_ t: Int, _ depression: Int) -> Int {
    triangle(t, 85, 25, 12) - triangle(t, 140, 6, 10) + triangle(t, 150, 8, 100)
        - triangle(t, 160, 8, 25) - triangle(t, 195, 40, depression) + triangle(t, 260, 45, 30)
}

public func sample(_ lead: Int, _ t: Int, _ depression: Int) -> Int16 {
    Int16((2 * (lead * 5 % 8) - 7) * wave(t, depression))  // gain -7 ... 7, odd
}

/// The frames, one after the other.
public struct Signal: Sequence, IteratorProtocol {
    private var i = 0, t = 0

    public init() {}
    public mutating func next() -> [Int16]? {
        if i == frames { return nil }
        let frame = (0..<Int(leads)).map { sample($0, t, i / 15000) }
        t += 1
        if t >= beatLength - i / 3000 { t = 0 }
        i += 1
        return frame
    }
}
