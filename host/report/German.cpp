// The German texts of reports. Figures keep their decimal point, as CSV and JSON have it.

#include "host/report/Language.h"

namespace {

constexpr Phrase kPhrases[] = {
    // Units
    {"%", "%"},
    {"W", "W"},
    {"beats", "Schläge"},
    {"beats/min", "/min"},
    {"h:min:s", "h:min:s"},
    {"km/h", "km/h"},
    {"min:s", "min:s"},
    {"mm", "mm"},
    {"mmHg", "mmHg"},
    {"mmHg/min", "mmHg/min"},
    {"µV", "µV"},
    {"µV/(beats/min)", "µV·min"},
    {"µV/ms", "µV/ms"},
    {"{} W", "{1} W"},
    {"{} beats/min", "{1}/min"},
    {"{} cm", "{1} cm"},
    {"{} h:min:s", "{1} h:min:s"},
    {"{} kg", "{1} kg"},
    {"{} min:s", "{1} min:s"},
    {"{} years", "{1} Jahre"},

    // Titles of pages and sections
    {"Averaged beats: reference and largest ST change",
     "Gemittelte Schläge: Referenz und größte ST-Änderung"},
    {"Figures of the test", "Werte der Untersuchung"},
    {"Heart rate, ST and averaged beats of an exercise test",
     "Herzfrequenz, ST und gemittelte Schläge einer Belastungsuntersuchung"},
    {"Strips", "Streifen"},
    {"What to know before reading", "Vor dem Lesen zu wissen"},
    {"{} (strip {} of {})", "{1:tr} ({2} von {3})"},
    {"{} (strip {} to {} of {})", "{1:tr} ({2} bis {3} von {4})"},
    {"Averaged beats", "Gemittelte Schläge"},
    {"Averaged beats by stages", "Gemittelte Schläge nach Belastungsstufen"},
    {"Conclusion", "Beurteilung"},
    {"Contents", "Inhalt"},
    {"Exercise ECG report", "Belastungs-EKG"},
    {"For research and evaluation. Not a medical device.",
     "Für Forschung und Erprobung. Kein Medizinprodukt."},
    {"How the figures were made", "Wie die Werte entstanden sind"},
    {"Notes", "Anmerkungen"},
    {"Page {} of {}", "Seite {1} von {2}"},
    {"Patient", "Patient"},
    {"Record", "Aufnahme"},
    {"Results", "Ergebnisse"},
    {"ST of all leads at {} and at its largest in each",
     "ST aller Ableitungen bei {1} und bei der größten Änderung jeder einzelnen"},
    {"ST per lead", "ST je Ableitung"},
    {"Stages and recovery: heart rate and ST are medians of the last minute",
     "Belastungsstufen und Erholung: Herzfrequenz und ST sind Mediane der letzten Minute"},
    {"Texts of page 1 in full", "Texte der Seite 1, vollständig"},
    {"Trends", "Verläufe"},
    {"Warnings", "Warnungen"},
    {"{} (leads {} of {})", "{1:tr} (Ableitung {2} von {3})"},
    {"{} (leads {} to {} of {})", "{1:tr} (Ableitungen {2} bis {3} von {4})"},
    {"{} (rows {} of {})", "{1:tr} (Zeile {2} von {3})"},
    {"{} (rows {} to {} of {})", "{1:tr} (Zeilen {2} bis {3} von {4})"},

    // Captions and marks of drawings
    {"Filters: {}; pulses of 1 mV. Beats: N normal, S supraventricular, V ventricular, / paced, Q "
     "unclassified.",
     "Filter: {1:list}; Eichzacken von 1 mV. Schläge: N normal, S supraventrikulär, V ventrikulär, / "
     "stimuliert, Q nicht klassifiziert."},
    {"Heart rate, beats/min, over time in {}", "Herzfrequenz, /min, über der Zeit in {1}"},
    {"Of each lead above: ST level (strong) and J level (thin) in mV, in mm of ECG paper on the right, its "
     "largest change with a ring; below: ST slope in mV/s. Time in {}; stages of work are shaded; hatched: "
     "no "
     "ST, and why.",
     "Je Ableitung oben: ST-Niveau (kräftig) und J-Niveau (dünn) in mV, rechts in mm EKG-Papier, größte "
     "Änderung mit Ring; unten: ST-Steigung in mV/s. Zeit in {1}; Belastungsstufen grau; schraffiert: kein "
     "ST, und warum."},
    {"ST at its end:", "ST am Ende:"},
    {"Squares of 40 ms, and of so many mV as stands with each lead: enlarged, not to the scale of a printed "
     "electrocardiogram. Dashed with rings: mean of the reference; full with dots: at the largest ST change "
     "of "
     "the lead. Rings and dots: J and ST point. All beats stand on their PR level.",
     "Kästchen von 40 ms und so vielen mV, wie bei der Ableitung steht: vergrößert, nicht im Maßstab eines "
     "gedruckten EKG. Gestrichelt mit Ringen: Mittel der Referenz; ausgezogen mit Punkten: bei der größten "
     "ST-Änderung der Ableitung. Ringe und Punkte: J und ST-Punkt. Alle Schläge stehen auf ihrem PR-Niveau."},
    {"end of {}", "Ende {1}"},
    {"1 square is {} ms, {} mV", "1 Kästchen ist {1} ms, {2} mV"},
    {"squares of {} mV", "Kästchen von {1} mV"},
    {"{} mm/s, {} mm/mV", "{1} mm/s, {2} mm/mV"},
    {"{}; each beat stands on its PR level. Below: ST level and slope. Ring: J; dot: ST point.",
     "{1:tr}; jeder Schlag steht auf seinem PR-Niveau. Darunter: ST-Niveau und Steigung. Ring: J; Punkt: "
     "ST-Punkt."},
    {"{} µV (change {})", "{1} µV (Änderung {2})"},
    {"{} µV at {}", "{1} µV bei {2}"},
    {"{} s peak {} at {}", "Maximum über {1} s: {2} bei {3}"},
    {"Blood pressure, mmHg", "Blutdruck, mmHg"},
    {"Date", "Datum"},
    {"METs", "METs"},
    {"Name and signature", "Name und Unterschrift"},
    {"after {} min", "nach {1} min"},
    {"no heart rate was found", "keine Herzfrequenz gefunden"},
    {"no ST in the reference", "kein ST in der Referenz"},
    {"no ST was measured", "kein ST gemessen"},
    {"reference", "Referenz"},

    // Strips
    {"ECG at {} min:s", "EKG bei {1} min:s"},
    {"largest ST change in {}", "größte ST-Änderung in {1}"},
    {"peak", "Maximum"},
    {"peak heart rate", "maximale Herzfrequenz"},
    {"start of the recording", "Beginn der Aufzeichnung"},
    {"ventricular couplet", "ventrikuläres Couplet"},
    {"ventricular run of {} beats", "ventrikuläre Salve von {1} Schlägen"},

    // What to know before reading
    {"And {} more: see the notes.", "Und {1} weitere: siehe Anmerkungen."},
    {"Leads were off, and have no ST then: {}.", "Elektroden waren ab, und dann gibt es kein ST: {1}."},
    {"No ST in the reference of {}: changes of it are not known.",
     "Kein ST in der Referenz von {1}: Änderungen davon sind nicht bekannt."},
    {"No ST was measured: no beats were alike enough to be averaged, and those found may be noise.",
     "Kein ST gemessen: keine Schläge waren einander ähnlich genug, um gemittelt zu werden, und die "
     "gefundenen können Rauschen sein."},
    {"No ST while beats were unlike the averaged one: {}.",
     "Kein ST, während Schläge anders als der gemittelte waren: {1}."},
    {"No ST while most beats were ventricular: {}.",
     "Kein ST, während die meisten Schläge ventrikulär waren: {1}."},
    {"No ST while the ST point lay on the T wave: {}.",
     "Kein ST, während der ST-Punkt auf der T-Welle lag: {1}."},
    {"No ST while beats had another shape, or the average was renewed: {}.",
     "Kein ST, während Schläge eine andere Form hatten oder die Mittelung erneuert wurde: {1}."},
    {"No ST while the baseline jumped: {}.", "Kein ST, während die Grundlinie sprang: {1}."},
    {"No beats were found: there is neither heart rate nor ST.",
     "Keine Schläge gefunden: es gibt weder Herzfrequenz noch ST."},
    {"No lead has ST in the reference: changes of ST are not known.",
     "Keine Ableitung hat ST in der Referenz: Änderungen von ST sind nicht bekannt."},
    {"Only {} of {} beats were alike enough to be averaged: ST is that of these alone.",
     "Nur {1} von {2} Schlägen waren einander ähnlich genug, um gemittelt zu werden: ST ist allein das von "
     "diesen."},
    {"Only {} lead was recorded: changes of ST that other leads would show are not seen, and noise is not "
     "told from beats.",
     "Nur {1} Ableitung wurde aufgezeichnet: ST-Änderungen, die andere Ableitungen zeigen würden, sind nicht "
     "zu sehen, und Rauschen ist nicht von Schlägen zu unterscheiden."},
    {"Only {} leads were recorded: changes of ST that other leads would show are not seen.",
     "Nur {1} Ableitungen wurden aufgezeichnet: ST-Änderungen, die andere Ableitungen zeigen würden, sind "
     "nicht zu sehen."},
    {"The analysis was ended at {} min:s: what the recording holds behind that is not in this report.",
     "Die Auswertung wurde bei {1} min:s beendet: was die Aufzeichnung danach enthält, fehlt in diesem "
     "Bericht."},
    {"The first averaged beat is uncertain, learned from {}: ST may be off.",
     "Der erste gemittelte Schlag ist unsicher, gelernt aus {1:tr}: ST kann falsch sein."},
    {"The reference of all ST changes, {} to {} min:s, lies in the exercise: changes from rest may be larger "
     "than told.",
     "Die Referenz aller ST-Änderungen, {1} bis {2} min:s, liegt in der Belastung: Änderungen gegen die Ruhe "
     "können größer sein als angegeben."},
    {"The reference of all ST changes, {} to {} min:s, may lie in exercise, at {} beats/min: changes from "
     "rest "
     "may be larger than told.",
     "Die Referenz aller ST-Änderungen, {1} bis {2} min:s, liegt vielleicht unter Belastung, bei {3}/min: "
     "Änderungen gegen die Ruhe können größer sein als angegeben."},
    {"The reference of all ST changes, {} to {} min:s, may lie in exercise, at {} beats/min and later {}: "
     "changes from rest may be larger than told.",
     "Die Referenz aller ST-Änderungen, {1} bis {2} min:s, liegt vielleicht unter Belastung, bei {3}/min und "
     "später {4}: Änderungen gegen die Ruhe können größer sein als angegeben."},
    {"The signal holds mains of {} Hz, but {} Hz were taken out: traces and ST carry them.",
     "Das Signal enthält Netzbrummen von {1} Hz, aber {2} Hz wurden entfernt: Kurven und ST sind davon "
     "betroffen."},
    {"The signal holds mains of {} Hz, which were left in: traces and ST carry them.",
     "Das Signal enthält Netzbrummen von {1} Hz, das darin blieb: Kurven und ST sind davon betroffen."},
    {"The level before the QRS, from which ST counts, was not flat at the largest ST change or in the "
     "reference: {}. A delta wave, or a P or T wave near the QRS may have made the change.",
     "Das Niveau vor dem QRS-Komplex, von dem ST zählt, war bei der größten ST-Änderung oder in der Referenz "
     "nicht flach: {1}. Eine Deltawelle oder eine P- oder T-Welle nahe am QRS-Komplex kann die Änderung "
     "bewirkt haben."},
    {"The QRS at the largest ST change was not that of the reference: {}. Beside ischemia another "
     "conduction, an electrode or noise may have made the change.",
     "Der QRS-Komplex war bei der größten ST-Änderung nicht der der Referenz: {1}. Außer einer Ischämie "
     "können "
     "eine andere Erregungsleitung, eine Elektrode oder Störungen die Änderung bewirkt haben."},
    {"The signal was poor for a part of the time: {}.",
     "Das Signal war für einen Teil der Zeit schlecht: {1}."},

    // The patient and the recording
    {"Age, sex", "Alter, Geschlecht"},
    {"Averaged beat", "Gemittelter Schlag"},
    {"Beats", "Schläge"},
    {"Born", "Geboren"},
    {"Conditioning", "Aufbereitung"},
    {"Device", "Gerät"},
    {"Id", "Nummer"},
    {"Indication", "Indikation"},
    {"Leads", "Ableitungen"},
    {"Length", "Dauer"},
    {"Medication", "Medikation"},
    {"Name", "Name"},
    {"Performing", "Untersucher"},
    {"Reference", "Referenz"},
    {"Referring", "Zuweiser"},
    {"Remarks", "Bemerkungen"},
    {"ST point", "ST-Punkt"},
    {"Sampling", "Abtastung"},
    {"Started", "Beginn"},
    {"J + {} ms", "J + {1} ms"},
    {"J + {} ms (J + {} ms above {}/min)", "J + {1} ms (J + {2} ms über {3}/min)"},
    {"{}; set by hand: {}", "{1:tr}; von Hand gesetzt: {2:list}"},
    {"Q {} ms before R", "Q {1} ms vor R"},
    {"J {} ms after R", "J {1} ms nach R"},
    {"ST", "ST"},
    {"comb for {} Hz mains and drift", "Kammfilter gegen Netzbrummen von {1} Hz und Drift"},
    {"female", "weiblich"},
    {"high-pass 0.05 Hz", "Hochpass 0.05 Hz"},
    {"left out", "weggelassen"},
    {"low-pass {} Hz", "Tiefpass {1} Hz"},
    {"male", "männlich"},
    {"no mains found", "kein Netzbrummen gefunden"},
    {"none", "keine"},
    {"none: no ST was measured", "keine: kein ST gemessen"},
    {"not given", "nicht angegeben"},
    {"not known", "nicht bekannt"},
    {"notch at {} Hz", "Kerbfilter bei {1} Hz"},
    {"other", "divers"},
    {"smoother {}", "Glättung {1}"},
    {"{} Hz, {} µV per unit", "{1} Hz, {2} µV je Einheit"},
    {"{} of {} averaged", "{1} von {2} gemittelt"},
    {"{} of {} beats in {} s", "{1} von {2} Schlägen in {3} s"},
    {"{} of {} beats in {} s of {}", "{1} von {2} Schlägen in {3} s aus {4}"},
    {"{} to {} min:s, {}: {} beat, {} beats/min", "{1} bis {2} min:s, {3:tr}: {4} Schlag, {5}/min"},
    {"{} to {} min:s, {}: {} beats, {} beats/min", "{1} bis {2} min:s, {3:tr}: {4} Schläge, {5}/min"},
    {"as asked for", "wie verlangt"},
    {"first half minute of ST values", "erste halbe Minute mit ST-Werten"},
    {"rest before the exercise", "Ruhe vor der Belastung"},

    // Results
    {"Angina", "Angina pectoris"},
    {"Chronotropic index", "Chronotroper Index"},
    {"Double product", "Doppelprodukt"},
    {"Duke ST deviation", "ST-Abweichung für Duke"},
    {"Duke score", "Duke-Score"},
    {"Ectopic beats", "Extrasystolen"},
    {"Ended because of", "Abbruchgrund"},
    {"Exercise time", "Belastungszeit"},
    {"Largest ST change", "Größte ST-Änderung"},
    {"PWC{}", "PWC{1}"},
    {"Peak heart rate, {} s", "Max. Herzfrequenz, {1} s"},
    {"Predicted maximum", "Erwartetes Maximum"},
    {"Recovery, 1 min", "Erholung, 1 min"},
    {"Recovery, 2 min", "Erholung, 2 min"},
    {"ST/HR index", "ST/HF-Index"},
    {"ST/HR slope", "ST/HF-Steig."},
    {"Symptoms", "Beschwerden"},
    {"Target, 85 %", "Zielfrequenz, 85 %"},
    {"{}, below 1 mm and counted as 0", "{1:tr}, unter 1 mm und als 0 gezählt"},
    {"ST elevation of {} mm in {} at {}", "ST-Hebung von {1} mm in {2} bei {3}"},
    {"ST elevation of {} mm in {} at {}, below 1 mm and counted as 0",
     "ST-Hebung von {1} mm in {2} bei {3}, unter 1 mm und als 0 gezählt"},
    {"{} ST depression of {} mm in {} at {}", "ST-Senkung von {2} mm ({1:tr}) in {3} bei {4}"},
    {"angina not given", "Angina nicht angegeben"},
    {"limiting (index {})", "limitierend (Index {1})"},
    {"no ST change that counts", "keine ST-Änderung, die zählt"},
    {"none (index {})", "keine (Index {1})"},
    {"none: no depression over a rising heart rate", "keiner: keine Senkung bei steigender Herzfrequenz"},
    {"none: no significant line of depression over heart rate",
     "keine: keine signifikante Gerade der Senkung über der Herzfrequenz"},
    {"not computed: aVR is the only lead", "nicht berechnet: aVR ist die einzige Ableitung"},
    {"not computed: age not given, nor the date of the test",
     "nicht berechnet: weder Alter noch Datum der Untersuchung angegeben"},
    {"not computed: age not given", "nicht berechnet: Alter nicht angegeben"},
    {"not computed: exercise time not given", "nicht berechnet: Belastungszeit nicht angegeben"},
    {"not computed: exercise time out of range", "nicht berechnet: Belastungszeit außerhalb des Bereichs"},
    {"not computed: needs 3 stages of known power at 110 to 190 beats/min, rising above {}",
     "nicht berechnet: nötig sind 3 Stufen bekannter Leistung bei 110 bis 190/min, bis über {1}"},
    {"not computed: no ST in the reference", "nicht berechnet: kein ST in der Referenz"},
    {"not computed: no ST was measured", "nicht berechnet: kein ST gemessen"},
    {"not computed: no beats were found", "nicht berechnet: keine Schläge gefunden"},
    {"not computed: no heart rate was found", "nicht berechnet: keine Herzfrequenz gefunden"},
    {"not given (counted as 0)", "nicht angegeben (als 0 gezählt)"},
    {"not limiting (index {})", "nicht limitierend (Index {1})"},
    {"not the Bruce protocol", "nicht das Bruce-Protokoll"},
    {"{} beats/min (Fox, 220 − age); peak at {} %", "{1}/min (Fox, 220 − Alter); Maximum bei {2} %"},
    {"{} beats/min (Gulati, women, 206 − 0.88 age); peak at {} %",
     "{1}/min (Gulati, Frauen, 206 − 0.88 Alter); Maximum bei {2} %"},
    {"{} beats/min (Tanaka, 208 − 0.7 age); peak at {} %",
     "{1}/min (Tanaka, 208 − 0.7 Alter); Maximum bei {2} %"},
    {"{} beats/min at {}", "{1}/min bei {2}"},
    {"{} beats/min below the peak, {} min after the work",
     "{1}/min unter dem Maximum, {2} min nach der Belastung"},
    {"{} beats/min, not reached", "{1}/min, nicht erreicht"},
    {"{} beats/min, reached at {}", "{1}/min, erreicht bei {2}"},
    {"{} mV ({} mm) in {} at {}", "{1} mV ({2} mm) in {3} bei {4}"},
    {"{} mmHg/min at {}", "{1} mmHg/min bei {2}"},
    {"{} µV/(beats/min) in {}", "{1} µV·min in {2}"},
    {"{} µV/(beats/min) in {}, over {} points", "{1} µV·min in {2}, über {3} Punkte"},
    {"{}, briefly: the median of the minute around it is {} mV",
     "{1:tr}, kurzzeitig: der Median der Minute darum ist {2} mV"},
    {"{}, high risk", "{1}, hohes Risiko"},
    {"{}, low risk", "{1}, niedriges Risiko"},
    {"{}, moderate risk", "{1}, mittleres Risiko"},
    {"{}, no class of risk: {}", "{1}, keine Risikoklasse: {2:list}"},
    {"{}, steady state of {} (ACSM)", "{1}, Steady State von {2} (ACSM)"},
    {"{} ventricular{}; {} supraventricular", "{1} ventrikulär{2:list}; {3} supraventrikulär"},
    {"{} ventricular{}; {} supraventricular; {} paced",
     "{1} ventrikulär{2:list}; {3} supraventrikulär; {4} stimuliert"},
    {"{} ventricular{}; {} supraventricular; {} paced; {} unclassified",
     "{1} ventrikulär{2:list}; {3} supraventrikulär; {4} stimuliert; {5} nicht klassifiziert"},
    {"{} ventricular{}; {} supraventricular; {} unclassified",
     "{1} ventrikulär{2:list}; {3} supraventrikulär; {4} nicht klassifiziert"},
    {"Ectopic, by stage", "Extrasyst. je Stufe"},
    {"none in any stage", "in keiner Stufe"},
    {"{} supraventricular", "{1} supraventrikulär"},
    {"{} ventricular", "{1} ventrikulär"},
    {"{} couplet", "{1} Couplet"},
    {"{} couplets", "{1} Couplets"},
    {"{} run (longest {} beats", "{1} Salve (längste {2} Schläge"},
    {"{} runs (longest {} beats", "{1} Salven (längste {2} Schläge"},
    {"fastest {}/min at {}", "schnellste {1}/min bei {2}"},

    // Tables
    {"Borg", "Borg"},
    {"Change", "Änderung"},
    {"Grade", "Neigung"},
    {"Heart rate then", "Frequenz dann"},
    {"J level", "J-Niveau"},
    {"J level then", "J dann"},
    {"Largest change", "Max. Änderung"},
    {"Latest level", "Zuletzt"},
    {"Lead", "Abl."},
    {"Level then", "Niv. dann"},
    {"Own largest change", "Max. Änderung"},
    {"Power", "Leistung"},
    {"Pressure", "Blutdruck"},
    {"Product", "Produkt"},
    {"Rate", "Frequenz"},
    {"ST level", "ST-Niveau"},
    {"ST {}", "ST {1}"},
    {"STHRindex", "STHRindex"},
    {"Slope", "Steig."},
    {"Slope class", "Verlauf"},
    {"Slope class then", "Verlauf dann"},
    {"Slope then", "Steig. dann"},
    {"Speed", "Tempo"},
    {"Stage", "Stufe"},
    {"Stage then", "Stufe dann"},
    {"Start", "Beginn"},
    {"Suprav.", "Suprav."},
    {"Ventr.", "Ventr."},
    {"When", "Zeit"},
    {"of max.", "v. Max."},
    {"downsloping", "deszendierend"},
    {"horizontal", "horizontal"},
    {"upsloping", "aszendierend"},

    // Names of stages as the program gives them
    {"Modified Bruce {}", "Modifizierter Bruce {1}"},
    {"Recovery", "Erholung"},
    {"recovery", "Erholung"},
    {"Rest", "Ruhe"},
    {"rest", "Ruhe"},
    {"{} to its end", "{1} bis zum Ende"},

    // How the figures were made
    {"ST level: height of the averaged beat at {} above the PR level; slope: from {} to there. There is none "
     "where that point lies on the T wave. The average follows a change some ten beats late. 100 µV are 0.1 "
     "mV or 1 mm of paper.",
     "ST-Niveau: Höhe des gemittelten Schlags bei {1:tr} über dem PR-Niveau; Steigung: von {2} bis dorthin. "
     "Es gibt keines, wo dieser Punkt auf der T-Welle liegt. Die Mittelung folgt einer Änderung etwa zehn "
     "Schläge später. 100 µV sind 0.1 mV oder 1 mm Papier."},
    {"Reference: {}; changes are against the median level there. Largest change: where the level was "
     "farthest "
     "from it. STHRindex: level then, divided by the heart rate then.",
     "Referenz: {1:tr}; Änderungen gelten gegen das mediane Niveau dort. Größte Änderung: wo das Niveau am "
     "weitesten davon entfernt war. STHRindex: damaliges Niveau, geteilt durch die damalige Herzfrequenz."},
    {"ST/HR index: ST depression added from the reference to peak exercise, by the heart rate added "
     "(Kligfield et al. 1989). ST/HR slope: steepest significant line of depression over heart rate through "
     "three or more points that end at peak exercise (Okin, Kligfield 1995). Highest of all leads but aVR, "
     "aVL and V1.",
     "ST/HF-Index: Zunahme der ST-Senkung von der Referenz bis zur Höchstbelastung, geteilt durch die "
     "Zunahme "
     "der Herzfrequenz (Kligfield et al. 1989). ST/HF-Steigung: steilste signifikante Gerade der Senkung "
     "über "
     "der Herzfrequenz durch drei oder mehr Punkte, die bei der Höchstbelastung enden (Okin, Kligfield "
     "1995). "
     "Höchster Wert aller Ableitungen außer aVR, aVL und V1."},
    {"Peak heart rate: highest median over 30 s, with their end. Beats are found on all leads together; "
     "those "
     "that match the averaged beat are averaged. Ventricular beats differ from the normal ones in shape, "
     "width and time; supraventricular ones come early in a regular rhythm; three ventricular beats in a row "
     "are a run.",
     "Maximale Herzfrequenz: höchster Median über 30 s, mit deren Ende. Schläge werden in allen Ableitungen "
     "gemeinsam gefunden; die dem gemittelten gleichen, werden gemittelt. Ventrikuläre Schläge weichen in "
     "Form, Breite und Zeit von den normalen ab; supraventrikuläre kommen im regelmäßigen Rhythmus zu früh; "
     "drei ventrikuläre Schläge hintereinander sind eine Salve."},
    {"Duke treadmill score: exercise minutes − 5 × ST deviation in mm − 4 × angina index. Risk: low from 5, "
     "high from -11 down. The ST deviation is the largest change of any lead but aVR that is a horizontal or "
     "downsloping depression, or an elevation in a lead without a pathological Q wave, half of it at least "
     "in "
     "the median of the minute around it, and 0 below 1 mm. "
     "Made "
     "for the Bruce protocol on a treadmill (Mark et al. 1987, 1991).",
     "Duke-Laufband-Score: Belastungsminuten − 5 × ST-Abweichung in mm − 4 × Angina-Index. Risiko: niedrig "
     "ab "
     "5, hoch von -11 abwärts. Die ST-Abweichung ist die größte Änderung in allen Ableitungen außer aVR, die "
     "eine horizontale oder deszendierende Senkung ist oder eine Hebung in einer Ableitung ohne "
     "pathologische "
     "Q-Zacke, mindestens zur Hälfte im Median der Minute darum, und unter 1 mm 0. Entwickelt für das "
     "Bruce-Protokoll auf dem Laufband (Mark et al. 1987, 1991)."},
    {"Duke treadmill score: exercise minutes − 5 × ST deviation in mm − 4 × angina index = {}, cut to {}. "
     "Risk: low from 5, high from -11 down. The ST deviation is the largest change of any lead but aVR that "
     "is a horizontal or downsloping depression, or an elevation in a lead without a pathological Q wave, "
     "half of it at least in the median of the minute around it, and 0 below 1 mm. Made for the Bruce "
     "protocol on a treadmill (Mark et al. 1987, 1991).",
     "Duke-Laufband-Score: Belastungsminuten − 5 × ST-Abweichung in mm − 4 × Angina-Index = {1}, gekürzt auf "
     "{2}. Risiko: niedrig ab 5, hoch von -11 abwärts. Die ST-Abweichung ist die größte Änderung in allen "
     "Ableitungen außer aVR, die eine horizontale oder deszendierende Senkung ist oder eine Hebung in einer "
     "Ableitung ohne pathologische Q-Zacke, mindestens zur Hälfte im Median der Minute darum, und unter 1 mm "
     "0. Entwickelt für das Bruce-Protokoll auf dem Laufband (Mark et al. 1987, 1991)."},
    {"Stages: medians of their last minute. METs by the equations of the ACSM for walking, from 8 km/h up "
     "for "
     "running, and for cycling, in a steady state. Predicted maximal heart rate: {}. Double product: "
     "systolic "
     "pressure by the heart rate at its reading, in the table by that of the stage. Recovery: peak less the "
     "heart rate of the 10 s around 1 and 2 min after the work; the table has the median of each whole "
     "minute. "
     "Chronotropic index: heart rate added from rest to peak by that "
     "from rest to the predicted maximum.",
     "Belastungsstufen: Mediane ihrer letzten Minute. METs nach den Gleichungen des ACSM für Gehen, ab 8 "
     "km/h "
     "für Laufen, und für Radfahren, im Steady State. Erwartete maximale Herzfrequenz: {1:tr}. "
     "Doppelprodukt: "
     "systolischer Blutdruck mal Herzfrequenz bei der Messung, in der Tabelle mal der der Stufe. Erholung: "
     "Maximum minus Herzfrequenz der 10 s um 1 und 2 min nach der Belastung; die Tabelle hat den Median "
     "jeder "
     "ganzen Minute. Chronotroper Index: Zunahme der "
     "Herzfrequenz von der Ruhe bis zum Maximum, geteilt durch die von der Ruhe bis zum erwarteten Maximum."},
    {"PWC130, 150, 170: power at which the straight line through heart rate over power, of stages with 110 "
     "to "
     "190 beats/min in their last minute, reaches so many beats/min.",
     "PWC130, 150, 170: Leistung, bei der die Gerade durch die Herzfrequenz über der Leistung, von Stufen "
     "mit "
     "110 bis 190/min in ihrer letzten Minute, so viele Schläge/min erreicht."},
    {"Fox, 220 − age", "Fox, 220 − Alter"},
    {"Tanaka, 208 − 0.7 age", "Tanaka, 208 − 0.7 Alter"},
    {"Gulati, women, 206 − 0.88 age", "Gulati, Frauen, 206 − 0.88 Alter"},

    // Times without ST
    {"another shape, or the average of this lead renewed",
     "andere Form, oder Mittelung dieser Ableitung erneuert"},
    {"no averaged beat", "kein gemittelter Schlag"},
    {"beats unlike the averaged one", "Schläge anders als der gemittelte"},
    {"disturbed", "gestört"},
    {"off", "Elektrode ab"},
    {"ST point on the T wave", "ST-Messpunkt auf der T-Welle"},
    {"ventricular beats", "ventrikuläre Schläge"},
    {"no ST of {} for {} min:s, from {} to {} ({})",
     "kein ST in {1} für {2} min:s, von {3} bis {4} ({5:tr})"},
    {"no ST of {} for {} min:s, the longest from {} to {} ({})",
     "kein ST in {1} für {2} min:s, am längsten von {3} bis {4} ({5:tr})"},

    // Warnings of the analysis
    {"angina is given but no exercise time is known: there is no Duke score",
     "Angina ist angegeben, aber keine Belastungszeit bekannt: es gibt keinen Duke-Score"},
    {"at this heart rate ST cannot be measured {} ms after J: the averaged beat ends before; the beats found "
     "may be noise",
     "bei dieser Herzfrequenz ist ST {1} ms nach J nicht messbar: der gemittelte Schlag endet vorher; die "
     "gefundenen Schläge können Rauschen sein"},
    {"averaged beat of {}: {}", "gemittelter Schlag aus {1}: {2:tr}"},
    {"beats did not match, and another averaged beat was learned from them, at {}",
     "Schläge passten nicht, und aus ihnen wurde ein weiterer gemittelter Schlag gelernt, bei {1}"},
    {"blood pressures from {} min:s on are left out: the recording ends at {}",
     "Blutdruckwerte ab {1} min:s sind weggelassen: die Aufzeichnung endet bei {2}"},
    {"disturbed by jumps of the baseline: {}", "durch Sprünge der Grundlinie gestört: {1:list}"},
    {"exercise begins at {} min:s, but the recording ends at {}",
     "die Belastung beginnt bei {1} min:s, aber die Aufzeichnung endet bei {2}"},
    {"exercise ends at {} min:s, but the recording ends at {}",
     "die Belastung endet bei {1} min:s, aber die Aufzeichnung endet bei {2}"},
    {"exercise lasts {} min:s, but the recording ends at {}",
     "die Belastung dauert {1} min:s, aber die Aufzeichnung endet bei {2}"},
    {"in the reference ({}) the heart rate is {} beats/min, and later {}: the recording may begin in "
     "exercise; changes of ST count from there, and --reference takes another stretch",
     "in der Referenz ({1:tr}) ist die Herzfrequenz {2}/min, und später {3}: die Aufzeichnung beginnt "
     "vielleicht unter Belastung; ST-Änderungen zählen von dort, und --reference nimmt eine andere Strecke"},
    {"in the reference ({}) the heart rate is {} beats/min, more than at rest: the recording may begin in "
     "exercise; changes of ST count from there, and --reference takes another stretch",
     "in der Referenz ({1:tr}) ist die Herzfrequenz {2}/min, mehr als in Ruhe: die Aufzeichnung beginnt "
     "vielleicht unter Belastung; ST-Änderungen zählen von dort, und --reference nimmt eine andere Strecke"},
    {"interrupted after {} min:s: the rest of the recording is not analysed",
     "abgebrochen nach {1} min:s: der Rest der Aufzeichnung ist nicht ausgewertet"},
    {"matched alone, as noisy, unlike or off while the averaged beat was learned: {}",
     "allein verglichen, weil verrauscht, unähnlich oder Elektrode ab, während der gemittelte Schlag gelernt "
     "wurde: "
     "{1}"},
    {"no ST in the reference ({}) of {}: changes of it are not known; --reference takes another stretch",
     "kein ST in der Referenz ({1:tr}) in {2}: Änderungen davon sind nicht bekannt; --reference nimmt eine "
     "andere Strecke"},
    {"no beat matched the averaged one: there are no ST values",
     "kein Schlag passte zum gemittelten: es gibt keine ST-Werte"},
    {"not enough beats to learn from: no stretch of {} to {} s has {} clean ones that are alike; the beats "
     "found may be noise",
     "zu wenige Schläge zum Lernen: keine Strecke von {1} bis {2} s hat {3} saubere, die einander gleichen; "
     "die gefundenen Schläge können Rauschen sein"},
    {"off: {}", "Elektrode ab: {1:list}"},
    {"one lead only: without a second one noise cannot be told from beats",
     "nur eine Ableitung: ohne eine zweite ist Rauschen nicht von Schlägen zu unterscheiden"},
    {"only {} of {} beats match the averaged one; ST values may be off",
     "nur {1} von {2} Schlägen passen zum gemittelten; ST-Werte können falsch sein"},
    {"poor signal: {}", "schlechtes Signal: {1:list}"},
    {"the averaged beat is learned from {} beats with a likeness of {}; ST values may be off",
     "der gemittelte Schlag ist aus {1} Schlägen mit einer Ähnlichkeit von {2} gelernt; ST-Werte können "
     "falsch sein"},
    {"the mains are of {} Hz, but {} Hz is taken out", "das Netz hat {1} Hz, aber {2} Hz werden entfernt"},
    {"the reference ({}) lies in the exercise; changes of ST count from there, and --reference takes another "
     "stretch",
     "die Referenz ({1:tr}) liegt in der Belastung; ST-Änderungen zählen von dort, und --reference nimmt "
     "eine "
     "andere Strecke"},
    {"the stages end with work, and exercise is taken to last to the end of the recording: "
     "--exercise-seconds "
     "tells otherwise",
     "die Stufen enden mit Belastung, die damit bis zum Ende der Aufzeichnung gilt: --exercise-seconds sagt "
     "es anders"},
    {"no strips: {}", "keine Streifen: {1}"},
    {"{} strip begins after the end of the recording", "{1} Streifen beginnt nach dem Ende der Aufzeichnung"},
    {"{} strips begin after the end of the recording",
     "{1} Streifen beginnen nach dem Ende der Aufzeichnung"},
    {"{} (from {} min:s on", "{1} (ab {2} min:s"},
    {"{} (from {} min:s on)", "{1} (ab {2} min:s)"},
    {"{} times)", "{1}-mal)"},
    {"{} ({} % of the time)", "{1} ({2} % der Zeit)"},
    {"{} to {} min:s", "{1} bis {2} min:s"},

    // Warnings about files
    {"a gap, no signal is in a unit of voltage", "eine Lücke, kein Signal hat eine Einheit der Spannung"},
    {"ends early: {} of {} data records", "endet zu früh: {1} von {2} Datenblöcken"},
    {"ends early: {} of {} frames", "endet zu früh: {1} von {2} Abtastungen"},
    {"expected {} frames, the segments have {}", "erwartet {1} Abtastungen, die Segmente haben {2}"},
    {"goes on behind its end: the last {} bytes are left out",
     "geht hinter seinem Ende weiter: die letzten {1} Bytes sind weggelassen"},
    {"its annotations are damaged and left out", "ihre Anmerkungen sind beschädigt und weggelassen"},
    {"its rate of {} Hz is made one of {} Hz: an analysis takes whole rates up to 2000 Hz",
     "ihre Rate von {1} Hz wird zu {2} Hz: eine Auswertung nimmt ganze Raten bis 2000 Hz"},
    {"line {}: its time is not that of frame after frame at {} Hz, times are not used",
     "Zeile {1}: ihre Zeit ist nicht die von Abtastung nach Abtastung bei {2} Hz, Zeiten werden nicht "
     "verwendet"},
    {"segment {}: {}", "Segment {1}: {2:tr}"},
    {"was not closed: its length is not in its header, read to the last whole data record",
     "wurde nicht abgeschlossen: ihre Länge steht nicht im Kopf, gelesen bis zum letzten ganzen Datenblock"},
    {"{} frames in gaps, values before held", "{1} Abtastungen in Lücken, Werte davor gehalten"},
    {"{} is not calibrated: read at 200 units per mV, its amplitudes are not known to be right",
     "{1} ist nicht kalibriert: mit 200 Einheiten je mV gelesen, ob die Höhen stimmen, ist nicht bekannt"},
    {"{} left out: its rate is not that of {}", "{1} weggelassen: die Rate ist nicht die von {2}"},
    {"{} left out: its unit {} is not a voltage", "{1} weggelassen: die Einheit {2} ist keine Spannung"},
    {"{} more warnings from segments", "{1} weitere Warnungen von Segmenten"},
    {"{}: checksum: expected {}, found {}", "{1}: Prüfsumme: erwartet {2}, gefunden {3}"},
    {"{}: damaged or cut off, read up to there", "{1}: beschädigt oder abgeschnitten, bis dorthin gelesen"},
    {"{}: {} cells without a value, value before held", "{1}: {2} Zellen ohne Wert, Wert davor gehalten"},
    {"{}: {} invalid samples, value before held", "{1}: {2} ungültige Werte, Wert davor gehalten"},
    {"{}: {} samples clipped at 16 bits", "{1}: {2} Werte bei 16 Bit begrenzt"},
};

}  // namespace

const std::span<const Phrase> kGermanPhrases = kPhrases;
