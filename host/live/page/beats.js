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
  const trace = (row, colour, lineWidth) => {
    context.beginPath();
    context.strokeStyle = colour;
    context.lineWidth = lineWidth;
    row.forEach((value, i) => context.lineTo(i * pxPerSample, zero - value * pxPerUv));
    context.stroke();
  };
  context.strokeStyle = colours("line");
  context.lineWidth = 0.5;
  context.beginPath();
  context.moveTo(0, zero);
  context.lineTo(width, zero);
  context.stroke();
  trace(reference, colours("reference"), isLarge ? 2 : 1);
  trace(uV, colours("trace"), isLarge ? 2 : 1.3);
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

/** The beat of one lead in large, where the ST point is set by dragging or by the slider. */
export class BeatDialog {
  /** setPoint(ms after J, or null for the monitor's own). */
  constructor(setPoint) {
    this.dialog = document.getElementById("beat-dialog");
    this.canvas = document.getElementById("beat");
    this.slider = document.getElementById("st-point");
    this.lead = 0;
    this.scale = null;
    this.setPoint = setPoint;
    const drag = (event) => {
      if (event.buttons === 0 || !this.scale) return;
      const ms = this.scale.msOf(event.offsetX) - this.beats.j_ms;
      this.change(Math.min(206, Math.max(16, Math.round(ms / 2) * 2)));
    };
    this.canvas.addEventListener("pointerdown", (event) => { this.canvas.setPointerCapture(event.pointerId); drag(event); });
    this.canvas.addEventListener("pointermove", drag);
    this.canvas.addEventListener("pointerup", () => this.settle());
    this.slider.addEventListener("input", () => this.change(Number(this.slider.value)));
    this.slider.addEventListener("change", () => this.settle());
    document.getElementById("st-own").addEventListener("click", () => { this.moved = null; setPoint(null); });
    this.moved = null;  // ms after J while it is being dragged
  }

  open(lead, name) {
    this.lead = lead;
    document.getElementById("beat-title").textContent = name;
    this.dialog.showModal();
    this.draw();
  }

  change(ms) {
    this.moved = ms;
    this.draw();
  }

  settle() {
    if (this.moved === null) return;
    this.setPoint(this.moved);
    this.moved = null;
  }

  show(beats, state) {
    this.beats = beats;
    this.state = state;
    if (this.dialog.open) this.draw();
  }

  draw() {
    if (!this.beats) return;
    const beats = this.moved === null ? this.beats : { ...this.beats, st_ms: this.beats.j_ms + this.moved };
    this.scale = drawBeat(this.canvas, beats, this.lead, true);
    const ms = beats.st_ms === null ? null : Math.round(beats.st_ms - beats.j_ms);
    if (ms !== null) this.slider.value = ms;
    document.getElementById("st-point-ms").textContent = ms === null ? "–" : `J + ${ms} ms`;
    const lead = this.state && this.state.leads[this.lead];
    document.getElementById("beat-figures").textContent = lead
      ? `ST ${signed(lead.st)} µV, Δ ${signed(lead.change)} µV, ${word("slope")} ${signed(lead.slope)} mV/s, J ${signed(lead.j)} µV` : "";
  }
}
