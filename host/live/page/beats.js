// The averaged beat of each lead over that of the reference, as tiles and in large.

import { colours, fit } from "./paper.js";
import { signed, word } from "./words.js";

const kShownUv = 1500;  // height of a tile that is not small, uV

/** Draws a beat into the whole of a canvas; returns the scale for dragging. */
function drawBeat(canvas, beats, lead, isLarge) {
  const context = fit(canvas), width = canvas.clientWidth, height = canvas.clientHeight;
  context.clearRect(0, 0, width, height);
  const uV = beats.uV[lead], reference = beats.reference[lead] || [];
  if (!uV || uV.length === 0) return null;
  const lowest = Math.min(...uV, ...reference), highest = Math.max(...uV, ...reference);
  const range = Math.max(kShownUv, highest - lowest), margin = isLarge ? 24 : 2;
  const pxPerUv = (height - 2 * margin) / range, zero = margin + (range - (highest - lowest)) / 2 * pxPerUv + highest * pxPerUv;
  const pxPerSample = width / uV.length, msPerSample = 1000 / beats.fs;
  const xOf = (ms) => ms / msPerSample * pxPerSample;
  // R of the row, ms from its start, stands where the beat has its R.
  const trace = (row, rMs, colour, lineWidth) => {
    const left = xOf(beats.r_ms - rMs);
    context.beginPath();
    context.strokeStyle = colour;
    context.lineWidth = lineWidth;
    row.forEach((value, i) => context.lineTo(left + i * pxPerSample, zero - value * pxPerUv));
    context.stroke();
  };
  context.strokeStyle = colours("line");
  context.lineWidth = 0.5;
  context.beginPath();
  context.moveTo(0, zero);
  context.lineTo(width, zero);
  context.stroke();
  trace(reference, beats.reference_r_ms, colours("reference"), isLarge ? 2 : 1);
  trace(uV, beats.r_ms, colours("trace"), isLarge ? 2 : 1.3);
  const points = [["J", beats.j_ms, "soft"], ["ST", beats.st_ms, "accent"]];
  if (isLarge) points.push(["Q", beats.q_ms, "soft"]);
  for (const [name, ms, colour] of points) {
    if (ms === null) continue;
    context.strokeStyle = context.fillStyle = colours(colour);
    context.lineWidth = name === "ST" ? 2 : 1;
    context.beginPath();
    context.moveTo(xOf(ms), isLarge ? 20 : 0);
    context.lineTo(xOf(ms), height);
    context.stroke();
    if (isLarge) {
      context.font = "bold 14px system-ui, sans-serif";
      context.fillText(name, xOf(ms) - 6, 15);
    }
  }
  return { msOf: (x) => x / pxPerSample * msPerSample };
}

export class Tiles {
  /** select(lead) is called when a tile is pressed. */
  constructor(parent, names, select) {
    this.names = names;
    this.tiles = names.map((name, lead) => {
      const tile = document.createElement("button");
      tile.type = "button";
      tile.className = "tile";
      tile.dataset.lead = name;
      for (const part of ["name", "level", "beat", "change", "slope"]) {
        const element = document.createElement(part === "beat" ? "canvas" : "span");
        element.className = part;
        tile.append(element);
      }
      tile.querySelector(".name").textContent = name;
      tile.addEventListener("click", () => select(lead));
      return tile;
    });
    parent.replaceChildren(...this.tiles);
  }

  show(state) {
    this.tiles.forEach((tile, lead) => {
      const { st, change, slope, quality, off, disturbed } = state.leads[lead];
      const level = off ? word("off") : disturbed ? word("disturbed") : st === null ? "–" : `${signed(st)} µV`;
      const limit = state.limits[2];
      tile.querySelector(".level").textContent = level;
      const changed = tile.querySelector(".change");
      changed.textContent = change === null ? "" : `Δ ${signed(change)}`;
      changed.className = `change ${change < -limit / 2 ? "down" : change > limit / 2 ? "up" : ""}`;
      tile.querySelector(".slope").textContent = slope === null ? "" : `${signed(slope)} mV/s`;
      tile.classList.toggle("off", off);
      tile.classList.toggle("poor", quality !== null && quality < 0.5);
      tile.setAttribute("aria-label", `${this.names[lead]}: ST ${level}, ${word("change")} ${changed.textContent} µV, ` +
        `${word("quality")} ${quality === null ? "–" : Math.round(100 * quality)} %`);
    });
  }

  draw(beats) {
    this.tiles.forEach((tile, lead) => drawBeat(tile.querySelector("canvas"), beats, lead, false));
  }
}

/** Points that are set by hand: where each counts from, and how far it may be from there, ms. */
const kPoints = {
  q: { from: (beats) => beats.r_ms, of: (beats) => beats.q_ms, least: -200, most: -8, words: (ms) => `R − ${-ms} ms` },
  j: { from: (beats) => beats.r_ms, of: (beats) => beats.j_ms, least: 8, most: 250, words: (ms) => `R + ${ms} ms` },
  st: { from: (beats) => beats.j_ms, of: (beats) => beats.st_ms, least: 10, most: 200, words: (ms) => `J + ${ms} ms` },
};
const kStepMs = 2, kTakenMs = 3000;  // a point that the monitor has not taken by then returns

/** The beat of one lead in large, where Q, J and the ST point are set by dragging or by the sliders. */
export class BeatDialog {
  /** setPoint(name of kPoints, ms from where it counts, or null for the monitor's own). */
  constructor(setPoint) {
    this.dialog = document.getElementById("beat-dialog");
    this.canvas = document.getElementById("beat");
    this.lead = 0;
    this.scale = null;
    this.setPoint = setPoint;
    this.moved = null;    // { name, ms, until } while it is dragged and until the monitor has taken it
    this.dragged = null;  // name
    for (const [name, { least, most }] of Object.entries(kPoints)) {
      const slider = this.slider(name);
      [slider.min, slider.max, slider.step] = [least, most, kStepMs];
      slider.addEventListener("input", () => this.change(name, Number(slider.value)));
      slider.addEventListener("change", () => this.settle());
    }
    const drag = (event) => {
      if (event.buttons === 0 || !this.scale || !this.dragged) return;
      this.change(this.dragged, this.scale.msOf(event.offsetX) - kPoints[this.dragged].from(this.beats));
    };
    this.canvas.addEventListener("pointerdown", (event) => {
      if (!this.scale) return;
      this.canvas.setPointerCapture(event.pointerId);
      const ms = this.scale.msOf(event.offsetX), away = (name) => Math.abs(kPoints[name].of(this.beats) - ms);
      this.dragged = Object.keys(kPoints).sort((a, b) => away(a) - away(b))[0];
      drag(event);
    });
    this.canvas.addEventListener("pointermove", drag);
    for (const end of ["pointerup", "pointercancel"]) this.canvas.addEventListener(end, () => { this.dragged = null; this.settle(); });
    document.getElementById("st-own").addEventListener("click", () => {
      this.moved = null;
      for (const name of Object.keys(kPoints)) setPoint(name, null);
    });
  }

  slider(name) {
    return document.getElementById(`${name}-point`);
  }

  open(lead, name) {
    this.lead = lead;
    document.getElementById("beat-title").textContent = name;
    this.dialog.showModal();
    this.draw();
  }

  change(name, ms) {
    const { least, most } = kPoints[name];
    this.moved = { name, ms: Math.min(most, Math.max(least, Math.round(ms / kStepMs) * kStepMs)), until: Infinity };
    this.draw();
  }

  settle() {
    if (this.moved === null) return;
    this.setPoint(this.moved.name, this.moved.ms);
    this.moved.until = performance.now() + kTakenMs;
  }

  show(beats, state) {
    this.beats = beats;
    this.state = state;
    if (this.moved && this.moved.until !== Infinity && beats) {
      const { from, of } = kPoints[this.moved.name];
      if (performance.now() > this.moved.until || Math.abs(of(beats) - from(beats) - this.moved.ms) < kStepMs) this.moved = null;
    }
    if (this.dialog.open) this.draw();
  }

  draw() {
    if (!this.beats || this.beats.st_ms === null) return;
    const beats = { ...this.beats };
    if (this.moved) {
      const at = kPoints[this.moved.name].from(beats) + this.moved.ms;
      if (this.moved.name === "j") beats.st_ms += at - beats.j_ms;
      beats[`${this.moved.name}_ms`] = at;
    }
    this.scale = drawBeat(this.canvas, beats, this.lead, true);
    for (const [name, { from, of, words }] of Object.entries(kPoints)) {
      const ms = Math.round(of(beats) - from(beats)), slider = this.slider(name), text = words(ms);
      if (Number(slider.value) !== ms) slider.value = ms;
      slider.setAttribute("aria-valuetext", text);
      document.getElementById(`${name}-point-ms`).textContent = text;
    }
    const isByHand = this.state && this.state.by_hand.some((ms) => ms !== null);
    document.getElementById("st-own").disabled = !isByHand;
    const lead = this.state && this.state.leads[this.lead];
    document.getElementById("beat-figures").textContent = lead
      ? `ST ${signed(lead.st)} µV, Δ ${signed(lead.change)} µV, ${word("slope")} ${signed(lead.slope)} mV/s, J ${signed(lead.j)} µV` : "";
  }
}
