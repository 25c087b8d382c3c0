// Samples of all leads for display, in microvolts, as they come and filtered. NaN is missing.
//
// The filters are for display alone, what is measured is conditioned by the monitor: a high-pass of 0.5 Hz
// and a low-pass of 40 Hz, each of second order (Butterworth), and a notch at the mains.

const kMissing = -32768;

/** Transposed direct form II; starts in the steady state of its first sample. */
class Biquad {
  constructor(b, a) {
    [this.b0, this.b1, this.b2] = b.map((value) => value / a[0]);
    [, this.a1, this.a2] = a.map((value) => value / a[0]);
    this.isNew = true;
    this.z1 = this.z2 = 0;
  }
  step(x) {
    if (this.isNew) {
      this.isNew = false;
      const y = x * (this.b0 + this.b1 + this.b2) / (1 + this.a1 + this.a2);
      this.z2 = this.b2 * x - this.a2 * y;
      this.z1 = this.b1 * x - this.a1 * y + this.z2;
    }
    const y = this.b0 * x + this.z1;
    this.z1 = this.b1 * x - this.a1 * y + this.z2;
    this.z2 = this.b2 * x - this.a2 * y;
    return y;
  }
}

function butterworth(hz, fs, isHigh) {
  const k = Math.tan(Math.PI * hz / fs), q = Math.SQRT2;
  const a = [1 + q * k + k * k, 2 * (k * k - 1), 1 - q * k + k * k];
  return new Biquad(isHigh ? [1, -2, 1] : [k * k, 2 * k * k, k * k], a);
}

function notch(hz, fs) {
  const w = 2 * Math.PI * hz / fs, alpha = Math.sin(w) / 20, c = Math.cos(w);
  return new Biquad([1, -2 * c, 1], [1 + alpha, -2 * c, 1 - alpha]);
}

/** The filters of one lead. */
export class LeadFilter {
  constructor(fs, mainsHz) {
    this.stages = [butterworth(0.5, fs, true), butterworth(40, fs, false)];
    if (mainsHz > 0 && mainsHz < fs / 2.2) this.stages.push(notch(mainsHz, fs));
  }
  step(uV) {
    let y = uV;
    for (const stage of this.stages) y = stage.step(y);
    return y;
  }
}

/** Delay of the display's low-pass, ms. */
export const filterDelayMs = 1000 * Math.SQRT2 / (2 * Math.PI * 40);

/** A stretch of signal: rows of samples from a frame on. */
export class Stretch {
  constructor(chn) {
    this.first = 0;  // frame of the first sample
    this.length = 0;
    this.framesPerColumn = 0;  // 0: rows have a value per frame
    this.raw = Array.from({ length: chn }, () => new Float32Array(0));
    this.clean = Array.from({ length: chn }, () => new Float32Array(0));
  }
  get end() { return this.first + this.length; }
  index(frame) { return frame - this.first; }
}

/** A kept stretch as it was asked for, filtered from its start. */
export function stretchOf(head, samples, uVpb, fs, mainsHz) {
  const chn = head.leads, stretch = new Stretch(chn);
  stretch.first = head.firstFrame;
  stretch.length = head.values;
  for (let lead = 0; lead < chn; lead++) {
    const raw = new Float32Array(head.values), clean = new Float32Array(head.values), filter = new LeadFilter(fs, mainsHz);
    for (let i = 0; i < head.values; i++) {
      const sample = samples[i * chn + lead];
      raw[i] = sample === kMissing ? NaN : sample * uVpb;
      clean[i] = sample === kMissing ? NaN : filter.step(raw[i]);
    }
    stretch.raw[lead] = raw;
    stretch.clean[lead] = clean;
  }
  return stretch;
}

/** The bounds of a long stretch: in each row the lowest, then the highest value of a column; not filtered. */
export function overviewOf(head, samples, uVpb) {
  const stretch = new Stretch(head.leads);
  stretch.first = head.firstFrame;
  stretch.framesPerColumn = head.per;
  stretch.length = head.values / 2 * head.per;
  stretch.raw = stretch.clean = stretch.raw.map((_, lead) =>
    Float32Array.from({ length: head.values }, (_, i) => {
      const sample = samples[i * head.leads + lead];
      return sample === kMissing ? NaN : sample * uVpb;
    }));
  return stretch;
}

/** The latest seconds of the running signal, in rings. */
export class LiveSignal {
  constructor(chn, fs, uVpb, seconds) {
    this.chn = chn;
    this.fs = fs;
    this.uVpb = uVpb;
    this.capacity = Math.ceil(seconds * fs);
    this.raw = Array.from({ length: chn }, () => new Float32Array(this.capacity).fill(NaN));
    this.clean = Array.from({ length: chn }, () => new Float32Array(this.capacity).fill(NaN));
    this.end = 0;   // frame behind the latest
    this.first = 0; // the oldest that is there
    this.mainsHz = 0;
    this.setMains(0);
  }

  setMains(hz) {
    if (this.filters && hz === this.mainsHz) return;
    this.mainsHz = hz;
    this.filters = Array.from({ length: this.chn }, () => new LeadFilter(this.fs, hz));
  }

  index(frame) { return frame % this.capacity; }

  add(firstFrame, samples) {
    const frames = samples.length / this.chn;
    if (firstFrame > this.end + this.capacity || firstFrame < this.end) this.first = this.end = firstFrame;
    for (; this.end < firstFrame; this.end++) this.put(() => NaN);
    for (let i = 0; i < frames; i++) {
      const at = i * this.chn;
      this.put((lead) => samples[at + lead] === kMissing ? NaN : samples[at + lead] * this.uVpb);
      this.end++;
    }
    this.first = Math.max(this.first, this.end - this.capacity);
  }

  put(uVof) {
    const at = this.end % this.capacity;
    for (let lead = 0; lead < this.chn; lead++) {
      const uV = uVof(lead);
      this.raw[lead][at] = uV;
      this.clean[lead][at] = Number.isNaN(uV) ? NaN : this.filters[lead].step(uV);
    }
  }
}
