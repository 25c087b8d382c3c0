// The signals on ECG paper, in millimetres: running, or frozen at a place of the test.

export const colours = (name) => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();

/** Gives a canvas as many dots as the screen has, and returns its context, in CSS pixels. */
export function fit(canvas) {
  const ratio = window.devicePixelRatio || 1;
  const width = Math.max(1, Math.round(canvas.clientWidth * ratio)), height = Math.max(1, Math.round(canvas.clientHeight * ratio));
  if (canvas.width !== width || canvas.height !== height) {
    canvas.width = width;
    canvas.height = height;
  }
  const context = canvas.getContext("2d");
  context.setTransform(ratio, 0, 0, ratio, 0, 0);
  return context;
}

export class Paper {
  constructor(canvas) {
    this.canvas = canvas;
    this.pxPerMm = 96 / 25.4;
    this.mmPerS = 25;
    this.mmPerMv = 10;
    this.columns = 2;
    this.isFiltered = true;
    this.names = [];
    this.shownLeads = [];
    this.fs = 500;
    this.marks = [];     // of beats: [seconds, class]
    this.span = 0;       // seconds of a lane whatever the speed; 0: by the speed
    this.calipers = null;  // { x0, y0, x1, y1 } in CSS pixels
    this.ground = document.createElement("canvas");
    this.groundKey = "";
  }

  /** Seconds that a lane shows. */
  get seconds() {
    return this.span || this.canvas.clientWidth / this.columns / this.pxPerMm / this.mmPerS;
  }

  /** What calipers measure, or null. */
  measured() {
    if (!this.calipers) return null;
    const { x0, y0, x1, y1 } = this.calipers;
    return { ms: Math.abs(x1 - x0) / this.pxOfMs(1), mV: Math.abs(y1 - y0) / this.pxOfMv(1) };
  }
  pxOfMs(ms) { return ms / 1000 * this.canvas.clientWidth / this.columns / this.seconds; }
  pxOfMv(mV) { return mV * this.mmPerMv * this.pxPerMm; }

  drawGround(width, height, ratio) {
    const key = [width, height, ratio, this.pxPerMm, this.span, colours("paper")].join();
    if (key === this.groundKey) return;
    this.groundKey = key;
    this.ground.width = width * ratio;
    this.ground.height = height * ratio;
    const context = this.ground.getContext("2d");
    context.scale(ratio, ratio);
    context.fillStyle = colours("paper");
    context.fillRect(0, 0, width, height);
    for (const [mm, name] of this.span ? [] : [[1, "fine"], [5, "coarse"]]) {
      const step = mm * this.pxPerMm;
      context.beginPath();
      context.strokeStyle = colours(name);
      context.lineWidth = mm === 1 ? 0.6 : 1;
      for (let x = 0; x <= width; x += step) { context.moveTo(x, 0); context.lineTo(x, height); }
      for (let y = 0; y <= height; y += step) { context.moveTo(0, y); context.lineTo(width, y); }
      context.stroke();
    }
  }

  /** Draws `signal` (LiveSignal or Stretch) with `endFrame` at the right edge. */
  draw(signal, endFrame) {
    const context = fit(this.canvas), ratio = window.devicePixelRatio || 1;
    const width = this.canvas.clientWidth, height = this.canvas.clientHeight;
    this.drawGround(width, height, ratio);
    context.drawImage(this.ground, 0, 0, width, height);
    const rows = Math.ceil(this.shownLeads.length / this.columns) || 1;
    const laneWidth = width / this.columns, laneHeight = height / rows;
    const pxPerFrame = this.pxOfMs(1000) / this.fs, pxPerUv = this.mmPerMv * this.pxPerMm / 1000;
    context.font = "bold 13px system-ui, sans-serif";
    context.lineWidth = 1.3;
    context.lineJoin = "round";
    this.shownLeads.forEach((lead, place) => {
      const left = Math.floor(place / rows) * laneWidth, middle = (place % rows + 0.55) * laneHeight;
      context.save();
      context.beginPath();
      context.rect(left, 0, laneWidth - 2, height);
      context.clip();
      if (signal) this.drawLead(context, signal, lead, endFrame, left, laneWidth, middle, laneHeight, pxPerFrame, pxPerUv);
      const top = middle - laneHeight * 0.55;
      if (this.span) {
        context.fillStyle = colours("paper");
        context.fillRect(left, top, context.measureText(this.names[lead]).width + 12, 20);
      }
      context.fillStyle = colours("text");
      context.fillText(this.names[lead], left + 6, top + 15);
      context.restore();
      if (place % rows === 0) this.drawMarks(context, endFrame, left, laneWidth, pxPerFrame);
    });
    if (this.calipers) this.drawCalipers(context);
  }

  // For each column of pixels the lowest and the highest sample, so that no peak is lost.
  drawLead(context, signal, lead, endFrame, left, laneWidth, middle, laneHeight, pxPerFrame, pxPerUv) {
    const row = (this.isFiltered ? signal.clean : signal.raw)[lead], per = signal.framesPerColumn || 0;
    let from = Math.max(signal.first, Math.floor(endFrame - laneWidth / pxPerFrame)), to = Math.min(signal.end, endFrame);
    // Values from the first to the last that are shown, and the frame of each.
    let frameOf = (value) => value, valueAt = (value) => row[signal.index(value)];
    if (per > 0) {
      [from, to] = [0, row.length];
      frameOf = (value) => signal.first + Math.floor(value / 2) * per;
      valueAt = (value) => row[value];
    }
    let offset = 0, count = 0;
    if (!this.isFiltered || per > 0) {
      for (let value = from; value < to; value += 3) {  // of columns lowest and highest in turn
        const uV = valueAt(value);
        if (uV === uV) { offset += uV; count++; }
      }
      offset = count ? offset / count : 0;
    }
    // The bounds of a lead keep to its lane.
    if (per > 0) {
      let most = 0;
      for (const uV of row) if (uV === uV) most = Math.max(most, Math.abs(uV - offset));
      pxPerUv = Math.min(pxPerUv, laneHeight * 0.45 / most);
    }
    context.strokeStyle = colours("trace");
    context.beginPath();
    let isOpen = false, column = -1, low = 0, high = 0, last = 0, gapFrom = -1;
    const right = left + laneWidth;
    const flush = () => {
      if (column < 0) return;
      const x = column + 0.5;
      if (!isOpen) context.moveTo(x, middle - low * pxPerUv);
      context.lineTo(x, middle - low * pxPerUv);
      if (high !== low) context.lineTo(x, middle - high * pxPerUv);
      context.lineTo(x, middle - last * pxPerUv);
      isOpen = true;
    };
    const gaps = [];
    for (let value = from; value < to; value++) {
      const uV = valueAt(value) - offset;
      const x = right - (endFrame - frameOf(value)) * pxPerFrame;
      if (uV !== uV) {
        flush();
        column = -1;
        isOpen = false;
        if (gapFrom < 0) gapFrom = x;
        continue;
      }
      if (gapFrom >= 0) { gaps.push([gapFrom, x]); gapFrom = -1; }
      const at = Math.floor(x);
      if (at !== column) {
        flush();
        column = at;
        low = high = uV;
      } else {
        low = Math.min(low, uV);
        high = Math.max(high, uV);
      }
      last = uV;
    }
    flush();
    context.stroke();
    if (gapFrom >= 0) gaps.push([gapFrom, right]);
    context.fillStyle = colours("line");
    context.globalAlpha = 0.35;
    for (const [x0, x1] of gaps) context.fillRect(x0, middle - laneHeight * 0.3, x1 - x0, laneHeight * 0.6);
    context.globalAlpha = 1;
  }

  drawMarks(context, endFrame, left, laneWidth, pxPerFrame) {
    context.font = "11px system-ui, sans-serif";
    for (let i = this.marks.length - 1; i >= 0; i--) {
      const [seconds, kind] = this.marks[i];
      const x = left + laneWidth - (endFrame - seconds * this.fs) * pxPerFrame;
      if (x < left) break;
      if (x > left + laneWidth) continue;
      context.fillStyle = kind === "V" ? colours("danger") : kind === "S" ? colours("up") : colours("soft");
      if (kind === "N" || kind === "/") context.fillRect(x, 0, 1.5, 5);
      else context.fillText(kind, x - 4, 10);
    }
    context.font = "bold 13px system-ui, sans-serif";
  }

  drawCalipers(context) {
    const { x0, y0, x1, y1 } = this.calipers;
    context.strokeStyle = context.fillStyle = colours("accent");
    context.lineWidth = 1.5;
    context.strokeRect(Math.min(x0, x1), Math.min(y0, y1), Math.abs(x1 - x0), Math.abs(y1 - y0));
    context.fillRect(x1 - 3, y1 - 3, 6, 6);  // the corner that keys move
    context.globalAlpha = 0.12;
    context.fillRect(Math.min(x0, x1), Math.min(y0, y1), Math.abs(x1 - x0), Math.abs(y1 - y0));
    context.globalAlpha = 1;
  }
}
