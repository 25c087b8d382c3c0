"""The signal of ../README.md."""

LEADS, FS, MAINS_HZ, UV_PER_BIT = 12, 500, 50, 2.5  # FS in samples per second
FRAMES = 600 * FS  # ten minutes
BEAT_LENGTH, POS_Q, POS_J, POST_J_MS = 400, 134, 168, 60  # samples, but for the last
LINES_EVERY = 100  # averaged beats
GAINS = [2 * (lead * 5 % 8) - 7 for lead in range(LEADS)]  # -7 .. 7, odd


def triangle(t, centre, half_width, height):
    distance = abs(t - centre)
    return height * (half_width - distance) // half_width if distance < half_width else 0


def wave(t, depression):
    """One lead of gain 1, t samples into a beat with R at 150: P - Q + R - S - ST depression + T."""
    return (triangle(t, 85, 25, 12) - triangle(t, 140, 6, 10) + triangle(t, 150, 8, 100)
            - triangle(t, 160, 8, 25) - triangle(t, 195, 40, depression) + triangle(t, 260, 45, 30))


def frames():
    """The frames, one after the other."""
    t = 0
    for i in range(FRAMES):
        height = wave(t, i // 15000)
        yield [gain * height for gain in GAINS]
        t += 1
        if t >= BEAT_LENGTH - i // 3000:
            t = 0
