// Heart rate and the ST level of one lead over the whole test, with its stages.

import { colours, fit } from "./paper.js";
import { clock } from "./words.js";

const kLeft = 34, kRight = 40;  // for the figures of the axes, CSS pixels

export class Trends {
  constructor(canvas) {
    this.canvas = canvas;
    this.rows = [];  // [seconds, rate, ST of each lead]
    this.lead = 0;
    this.name = "";
    this.stages = [];
  }

  take(message) {
    // A page that has just come is told all rows, and then once more those that are new to others.
    const latest = message.whole || this.rows.length === 0 ? -1 : this.rows[this.rows.length - 1][0];
    this.rows = (message.whole ? [] : this.rows).concat(message.rows.filter((row) => row[0] > latest));
  }

  /** The time of the test at a place of the canvas. */
  secondsAt(x) {
    return Math.max(0, (x - kLeft) / (this.canvas.clientWidth - kRight - kLeft) * this.seconds);
  }

  get seconds() {
    return Math.max(60, this.rows.length ? this.rows[this.rows.length - 1][0] : 0);
  }

  draw() {
    const context = fit(this.canvas), width = this.canvas.clientWidth, height = this.canvas.clientHeight;
    context.clearRect(0, 0, width, height);
    const left = kLeft, right = width - kRight, top = 18, bottom = height - 16;
    const seconds = this.seconds;
    const xOf = (s) => left + s / seconds * (right - left);
    const rates = this.rows.map((row) => row[1]).filter((value) => value !== null);
    const levels = this.rows.map((row) => row[2 + this.lead]).filter((value) => value !== null && value !== undefined);
    const rateTop = Math.max(120, Math.ceil(Math.max(0, ...rates) / 20) * 20), rateBottom = 40;
    const most = Math.max(200, Math.ceil(Math.max(0, ...levels.map(Math.abs)) / 100) * 100);
    const rateY = (bpm) => bottom - (bpm - rateBottom) / (rateTop - rateBottom) * (bottom - top);
    const levelY = (uV) => (top + bottom) / 2 - uV / most * (bottom - top) / 2;
    context.font = "11px system-ui, sans-serif";
    context.strokeStyle = context.fillStyle = colours("line");
    context.lineWidth = 0.5;
    for (const stage of this.stages) {
      context.beginPath();
      context.moveTo(xOf(stage.s), top);
      context.lineTo(xOf(stage.s), bottom);
      context.stroke();
    }
    context.beginPath();
    context.moveTo(left, levelY(0));
    context.lineTo(right, levelY(0));
    context.stroke();
    const line = (column, yOf, colour) => {
      context.beginPath();
      context.strokeStyle = colours(colour);
      context.lineWidth = 1.6;
      let isOpen = false;
      for (const row of this.rows) {
        const value = row[column];
        if (value === null || value === undefined) { isOpen = false; continue; }
        if (isOpen) context.lineTo(xOf(row[0]), yOf(value));
        else context.moveTo(xOf(row[0]), yOf(value));
        isOpen = true;
      }
      context.stroke();
    };
    line(1, rateY, "rate");
    line(2 + this.lead, levelY, "st");
    context.fillStyle = colours("rate");
    context.fillText("/min", 4, 12);
    context.fillText(String(rateTop), 4, top + 8);
    context.fillText(String(rateBottom), 4, bottom);
    context.fillStyle = colours("st");
    context.textAlign = "right";
    context.fillText(`ST ${this.name}, µV`, width - 4, 12);
    context.fillText(`+${most}`, width - 4, top + 8);
    context.fillText(`−${most}`, width - 4, bottom);
    context.fillStyle = colours("soft");
    context.fillText(clock(seconds), right, height - 3);
    context.textAlign = "left";
    context.fillText("0:00", left, height - 3);
  }
}
