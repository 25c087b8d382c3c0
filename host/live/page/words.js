// The texts of the page in each language. Elements name theirs by data-word, or by data-label for a label that
// is read out alone.

const table = {
  time: ["Test", "Test"], stage: ["Stage", "Stufe"], stageClock: ["in stage / next", "in Stufe / nächste"],
  beats: ["Beats (SV, V)", "Schläge (SV, V)"], delay: ["Delay", "Verzögert"], rate: ["Heart rate", "Herzfrequenz"],
  theme: ["Light / dark", "Hell / dunkel"], alarms: ["Alarms", "Alarme"], signals: ["Signals", "Signale"],
  speed: ["Speed", "Vorschub"], gain: ["Gain", "Verstärkung"], columns: ["Columns", "Spalten"], filters: ["Filters", "Filter"],
  leads: ["Leads", "Ableitungen"], calibrate: ["Screen", "Bildschirm"], freeze: ["Freeze", "Anhalten"], live: ["Live", "Live"],
  largestST: ["Largest ST", "Größte ST"], nextV: ["Next V", "Nächster V"], nextGap: ["Next gap", "Nächste Lücke"], measure: ["Measure", "Messen"],
  zoom: ["Shown", "Gezeigt"], paperSpeed: ["by speed", "nach Vorschub"], whole: ["all", "alles"],
  strip: ["10 s as PDF", "10 s als PDF"], drawing: ["Being drawn…", "Wird gezeichnet…"], noStrip: ["Not drawn: ", "Nicht gezeichnet: "],
  Rest: ["Rest", "Ruhe"], Recovery: ["Recovery", "Erholung"], viewing: ["Recording", "Aufzeichnung"],
  reading: ["Being read", "Wird gelesen"], analysing: ["Being analysed", "Wird ausgewertet"],
  back: ["Back", "Zurück"], forward: ["Forward", "Vor"], position: ["Position in the test", "Stelle im Test"],
  paperHelp: ["Signals of the leads on ECG paper. Space freezes; arrows scroll, + and − or a double click zoom; M or dragging measures, then arrows move a corner, Enter changes to the other one, Escape ends",
    "Signale der Ableitungen auf EKG-Papier. Leertaste hält an, Pfeile blättern, + und − oder ein Doppelklick zoomen; M oder Ziehen misst, dann bewegen Pfeile eine Ecke, Enter wechselt zur anderen, Escape beendet"],
  averaged: ["Averaged beats and ST", "Gemittelte Schläge und ST"], trends: ["Heart rate and ST over the test", "Herzfrequenz und ST im Verlauf"],
  start: ["Start exercise", "Belastung beginnen"], next: ["Next stage", "Nächste Stufe"], recovery: ["Recovery", "Erholung"], end: ["End test", "Test beenden"],
  pressure: ["Pressure", "Blutdruck"], systolic: ["Systolic, mmHg", "Systolisch, mmHg"], diastolic: ["Diastolic, mmHg", "Diastolisch, mmHg"],
  borg: ["Borg", "Borg"], enter: ["Enter", "Eintragen"], note: ["Note", "Notiz"], symptom: ["Symptom", "Symptom"], mark: ["Mark", "Marke"],
  newReference: ["New reference", "Neue Referenz"], limits: ["Limits", "Grenzen"], events: ["Events", "Ereignisse"],
  qPoint: ["Q, onset of the QRS", "Q, Beginn des QRS"], jPoint: ["J, end of the QRS", "J, Ende des QRS"], stPoint: ["ST point", "ST-Punkt"], ownPoint: ["Automatic", "Automatisch"], close: ["Close", "Schließen"], set: ["Set", "Setzen"],
  beatHelp: ["Averaged beat over the reference; drag Q, J or the ST point, or use the sliders below",
    "Gemittelter Schlag über der Referenz; Q, J oder den ST-Punkt ziehen oder die Regler darunter nehmen"],
  highest: ["Highest rate, /min", "Höchste Frequenz, /min"], lowest: ["Lowest rate, /min", "Niedrigste Frequenz, /min"],
  mostST: ["ST change, µV", "ST-Änderung, µV"], sound: ["Sound", "Ton"],
  calibrateHelp: ["Hold a ruler to the line and enter its length: a millimetre on this screen is then a millimetre.",
    "Ein Lineal an die Linie halten und ihre Länge eintragen: ein Millimeter ist dann auf diesem Bildschirm ein Millimeter."],
  measured: ["Length of the line", "Länge der Linie"],
  endQuestion: ["End the test?", "Test beenden?"], endReason: ["Why", "Warum"],
  resultsThere: ["The test has ended.", "Der Test ist beendet."], working: ["Results are being made…", "Ergebnisse werden erstellt…"],
  noResults: ["No results: ", "Keine Ergebnisse: "],
  connected: ["connected", "verbunden"], disconnected: ["No connection to the monitor", "Keine Verbindung zum Monitor"],
  noSource: ["No signal since", "Kein Signal seit"], learning: ["Learning the beat…", "Schlag wird gelernt…"], wrongRate: ["Device sends at", "Gerät sendet mit"],
  "rate-high": ["Heart rate high", "Herzfrequenz hoch"], "rate-low": ["Heart rate low", "Herzfrequenz niedrig"], st: ["ST change", "ST-Änderung"],
  "lead-off": ["Lead off", "Ableitung ab"], run: ["Ventricular run", "Ventrikuläre Salve"], "no-signal": ["No signal", "Kein Signal"],
  "not-kept": ["Disk: not kept", "Platte: nicht gesichert"], acknowledge: ["Acknowledge", "Quittieren"],
  gap: ["Gap", "Lücke"], "lead-on": ["Lead back", "Ableitung wieder da"], learned: ["Averaged beat learned", "Mittlerer Schlag gelernt"],
  "not-learned": ["No averaged beat", "Kein mittlerer Schlag"], source: ["Device", "Gerät"], kept: ["Disk", "Platte"], ended: ["Ended", "Ende"],
  done: ["Entered", "Eingetragen"], refused: ["Not possible now", "Jetzt nicht möglich"], level: ["ST", "ST"], off: ["off", "ab"],
  disturbed: ["disturbed", "gestört"], quality: ["quality", "Güte"], reference: ["reference", "Referenz"], slope: ["slope", "Steigung"],
  change: ["change", "Änderung"],
};
const symptoms = [["Chest pain", "Brustschmerz"], ["Dyspnoea", "Atemnot"], ["Dizziness", "Schwindel"], ["Leg fatigue", "Beinermüdung"], ["Palpitations", "Herzklopfen"]];

let column = 0;

export function word(name) {
  const texts = table[name];
  return texts ? texts[column] : name;
}

export function language() {
  return column === 0 ? "en" : "de";
}

/** Fills the page with the texts of a language, "en" or "de". */
export function setLanguage(name) {
  column = name === "de" ? 1 : 0;
  document.documentElement.lang = language();
  for (const element of document.querySelectorAll("[data-word]")) element.textContent = word(element.dataset.word);
  for (const element of document.querySelectorAll("[data-label]")) element.setAttribute("aria-label", word(element.dataset.label));
  document.getElementById("symptoms").replaceChildren(...symptoms.map((texts) => new Option(texts[column])));
  const other = document.getElementById("language");
  other.textContent = column === 0 ? "Deutsch" : "English";
  other.lang = column === 0 ? "de" : "en";
}

export function clock(seconds) {
  if (seconds === null || Number.isNaN(seconds)) return "–";
  const whole = Math.max(0, Math.floor(seconds));
  const two = (value) => String(value).padStart(2, "0");
  const hours = Math.floor(whole / 3600), minutes = Math.floor(whole / 60) % 60;
  return hours > 0 ? `${hours}:${two(minutes)}:${two(whole % 60)}` : `${minutes}:${two(whole % 60)}`;
}

/** A figure with its sign, or a dash where it is not known. */
export function signed(value) {
  if (value === null || value === undefined) return "–";
  return value > 0 ? `+${value}` : value < 0 ? `−${-value}` : "0";
}
