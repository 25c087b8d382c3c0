// Alarms, events and the controls of a test.

import { clock, signed, word } from "./words.js";

const byId = (id) => document.getElementById(id);

/** Three short tones, as long as an alarm is active and nobody has acknowledged it. */
class Sounder {
  constructor() {
    this.timer = null;
    // Browsers let a page sound once somebody has touched it; not every key counts.
    const events = ["pointerdown", "pointerup", "keydown"];
    const wake = () => {
      if (navigator.userActivation && !navigator.userActivation.hasBeenActive) return;
      this.context = new AudioContext();
      for (const event of events) removeEventListener(event, wake);
    };
    for (const event of events) addEventListener(event, wake);
  }
  set(isOn) {
    if (!isOn) {
      clearInterval(this.timer);
      this.timer = null;
    } else if (this.timer === null) {
      this.beep();
      this.timer = setInterval(() => this.beep(), 3000);
    }
  }
  beep() {
    if (!this.context || !byId("sound").checked) return;
    for (let i = 0; i < 3; i++) {
      const tone = this.context.createOscillator(), volume = this.context.createGain(), at = this.context.currentTime + 0.25 * i;
      tone.frequency.value = 880;
      volume.gain.setValueAtTime(0.2, at);
      volume.gain.exponentialRampToValueAtTime(0.001, at + 0.18);
      tone.connect(volume).connect(this.context.destination);
      tone.start(at);
      tone.stop(at + 0.2);
    }
  }
}

export class Alarms {
  constructor(acknowledge) {
    this.acknowledge = acknowledge;
    this.sounder = new Sounder();
    this.boxes = new Map();  // by number
  }

  show(alarms) {
    this.sounder.set(alarms.some((alarm) => alarm.active && !alarm.acknowledged));
    // An alarm keeps its element, so that it is read out once and its button keeps the focus. One that is gone
    // leaves its place empty for the next: no button moves under the finger that is about to touch it.
    for (const [number, box] of this.boxes) {
      if (alarms.some((alarm) => alarm.number === number)) continue;
      box.replaceChildren();
      box.className = "free";
      delete box.dataset.kind;
      this.boxes.delete(number);
    }
    for (const alarm of alarms) this.update(this.boxes.get(alarm.number) || this.add(alarm), alarm);
  }

  add(alarm) {
    const box = byId("alarms").querySelector(".free") || document.createElement("div"), button = document.createElement("button");
    box.dataset.kind = alarm.kind;
    button.type = "button";
    button.addEventListener("click", () => this.acknowledge(alarm.number));
    box.append(document.createElement("span"), button);
    if (!box.parentElement) byId("alarms").append(box);
    this.boxes.set(alarm.number, box);
    return box;
  }

  update(box, alarm) {
    const [text, button] = box.children;
    const value = alarm.value === null || alarm.kind === "lead-off" ? "" : alarm.kind === "st" ? ` ${signed(alarm.value)} µV` : ` ${alarm.value}`;
    const words = `${clock(alarm.s)} ${word(alarm.kind)}${alarm.lead ? ` ${alarm.lead}` : ""}${value}`;
    if (text.textContent !== words) text.textContent = words;
    box.className = `alarm ${alarm.active ? "active" : ""} ${alarm.acknowledged ? "acknowledged" : ""}`;
    button.textContent = word("acknowledge");
    button.hidden = alarm.acknowledged;
  }
}

export function showEvents(events) {
  const lines = events.map((event) => {
    const line = document.createElement("li"), time = document.createElement("time");
    time.textContent = clock(event.s);
    const value = event.event === "gap" && event.value !== null ? `${event.value.toFixed(1)} s` : "";
    const name = event.event === "note" ? "" : word(event.event);
    line.append(time, [name, event.lead, value, event.text].filter((part) => part).join(" "));
    return line;
  });
  byId("events").replaceChildren(...lines.reverse());
}

/** Wires the controls; command(object) sends one, and is false where it could not: what was typed stays then. */
export function wireControls(command) {
  for (const name of ["start", "next", "recovery", "reference"]) byId(name).addEventListener("click", () => command({ do: name }));
  const submit = (id, make) => byId(id).addEventListener("submit", (event) => {
    event.preventDefault();
    if (command(make(event))) event.target.reset();
  });
  submit("pressure", () => ({ do: "pressure", value: Number(byId("systolic").value), other: Number(byId("diastolic").value) }));
  submit("exertion", () => ({ do: "exertion", value: Number(byId("borg").value) }));
  submit("note", (event) => ({ do: event.submitter && event.submitter.value === "symptom" ? "symptom" : "mark", text: byId("note-text").value }));
  byId("end").addEventListener("click", () => {
    byId("end-dialog").returnValue = "";
    byId("end-dialog").showModal();
  });
  byId("end-dialog").addEventListener("close", () => {
    if (byId("end-dialog").returnValue === "end") command({ do: "end", text: byId("end-reason").value });
  });
  byId("limits-dialog").addEventListener("close", () => {
    if (byId("limits-dialog").returnValue === "set")
      command({ do: "limits", value: Number(byId("highest").value), other: Number(byId("lowest").value), st_uv: Number(byId("most-st").value) });
  });
  byId("show-events").addEventListener("click", () => byId("events-dialog").showModal());
}

export function openLimits(limits) {
  [byId("highest").value, byId("lowest").value, byId("most-st").value] = limits;
  byId("limits-dialog").returnValue = "";
  byId("limits-dialog").showModal();
}

/** Which controls make sense now. */
export function enableControls(state) {
  const isRunning = !state.ended;
  byId("start").disabled = !isRunning || state.work || state.recovery;
  byId("next").disabled = byId("recovery").disabled = !isRunning || !state.work;
  for (const id of ["end", "reference", "limits"]) byId(id).disabled = !isRunning;
  for (const id of ["pressure", "exertion", "note"])
    for (const element of byId(id).elements) element.disabled = !isRunning;
}
