// All texts of the pages, in each language. {0}, {1} are filled in.

const english = {
  title: "Routers", routers: "Routers", router: "router", panel: "Panel", matrix: "Matrix", pages: "Pages",
  help: "Help and keys", menu: "Menu", close: "Close", dismiss: "Dismiss", all: "All",
  logIn: "Log in", logOut: "Log out", token: "Token", keep: "Stay logged in on this device (until it was not used for 30 days)",
  loginMeans: "Enter the token that you were given for this gateway.",
  goOnAnonymous: "Go on without a token", noGateway: "The gateway does not answer. Try again.",
  language: "Language", theme: "Light and dark", "theme.system": "As the system", "theme.dark": "Dark", "theme.light": "Light",
  youAre: "You are {0}, role {1}. Destinations: {2}. Sources: {3}.",
  who: "{0}, role {1}", "role.view": "view", "role.operate": "operate", "role.lock": "lock", "role.admin": "admin", "role.none": "none",

  input: "Input {0}", output: "Output {0}", destinations: "Destinations", sources: "Sources", levels: "Levels", groups: "Groups",
  searchDestinations: "Search destinations", searchSources: "Search sources",
  nothingFound: "Nothing is found.", noDestinations: "No destination is known.", noRouters: "There is no router that you may see.",
  chooseDestination: "Choose a destination.", backToDestinations: "Back to the destinations",
  viewOnly: "You may look, not take (role view).", notYours: "You may not take to output {0}.", routerAway: "Nothing can be taken now.",
  sourceNone: "No source", sourceUnknown: "Unknown", shows: "shows {0}", breakaway: "Breakaway",
  "level.all": "All levels", "level.video": "Video", "level.audio": "Audio", "short.video": "V", "short.audio": "A", "short.all": "",
  married: "Both", mode: "Mode", direct: "Direct", armed: "Armed", take: "Take", takeCount: "Take {0}", clear: "Clear", undo: "Undo",
  directMeans: "A source is taken when it is pressed", armedMeans: "Sources are collected, and taken together with Take",
  allOrNothing: "All or nothing", allOrNothingMeans: "Nothing is taken when one of them cannot be; the router can still refuse one",
  previous: "Back to",

  "state.up": "Up", "state.reading": "Reading", "state.link down": "Link down", "state.no backend": "No backend",
  "state.no driver": "No driver", "state.stale": "Stale",
  forAge: "for {0}", seconds: "{0} s", minutes: "{0} min", hours: "{0} h", days: "{0} d",
  lost: "The connection to the gateway is lost", lostMeans: "What is shown may be old. Nothing is taken until it is back.",
  notConnected: "not connected to the gateway; nothing was sent", noSuchRouter: "There is no router \"{0}\" that you may see",
  noAnswer: "no answer came; nobody knows whether it was done", changedMeanwhile: "it shows something else meanwhile",
  routersUp: "{0} of {1} up", size: "{0} inputs × {1} outputs, {2}", sizeUnknown: "Size not known",
  pendingCount: "{0} waiting", lastProblem: "{0}, output {1}: {2} {3}",

  "spoken.confirmed": "confirmed", "spoken.pending": "waiting for the router", "spoken.refused": "refused",
  "spoken.unknown": "not known", "spoken.stale": "may be old",
  "spoken.shown": "is shown", "spoken.armed": "armed",
  "result.confirmed": "Confirmed by the router", "result.shows": "Rolled back, the router shows {0}", "result.refused": "Refused",
  "result.replaced sent": "Replaced by a later take", "result.replaced unsent": "Replaced by a later take, not sent",
  "result.withdrawn": "Withdrawn, not sent", "result.unknown": "Unknown", "result.locked": "Not taken",
  "result.unavailable": "Not sent", "result.not allowed": "Refused by the gateway", "result.other": "Ended otherwise",
  lastTake: "Last take {0} by {1}: {2}. {3}", user: "user {0}",

  lockOpen: "Lock …", lockOf: "Lock of output {0}", lockFree: "It is not locked.",
  lockReason: "Reason, shown to others", lockOthers: "Only {0} or somebody with the role lock can remove it.",
  "lock.lockBy": "locked by {0}", "lock.protectBy": "protected by {0}",
  "lock.lockSince": "Locked by {0} since {1}", "lock.protectSince": "Protected by {0} since {1}",
  "do.lock": "Lock", "do.protect": "Protect", "do.unlock": "Unlock", "do.force": "Remove by force",
  "means.lock": "Nobody takes, nor do you", "means.protect": "Only you take", "means.unlock": "Everybody takes again",
  "means.force": "It is another's lock", forceSure: "Yes, remove the lock of {0}",
  alarm: "{0}: output {1} {2} is locked by {5} and changed all the same, {3} → {4}, {6}", moreAlarms: "{0} more alarms",

  pairing: "Pair a panel", pairMeans: "The panel gets a token of its own. Whoever has the link can log in with it.", pairMake: "Make the link",
  "pair.name": "Name of the panel", "pair.role": "Role", "pair.page": "Page", "pair.outputs": "Only these destinations",
  pairPicture: "QR code of the link", pairOnce: "The link is shown this once.",
  nameOpen: "Names …", nameTitle: "Names", nameSide: "What is named", number: "Number", name: "Name", nameSave: "Give the name", nameIs: "{0} is called {1} now.",
  destination: "Destination", source: "Source", noPlace: "Possible are 1 to {0}.",

  helpTake: "Direct: choose a destination, press a source; it is taken at once.",
  helpArmed: "Armed: choose destinations and sources, then press Take; all go as one salvo. Clear forgets them.",
  helpTruth: "A destination shows what the router has confirmed. What was pressed shows as waiting until the router itself reports it.",
  marks: "Marks", keys: "Keys", addresses: "Addresses", singleKeys: "Letters alone are keys",
  helpAddresses: "outputs and inputs show only these; mode=armed begins armed. For desks and walls.",
  "explain.confirmed": "The router has reported it", "explain.pending": "Sent; the router has not reported it yet", "explain.armed": "Armed; nothing is sent yet",
  "explain.refused": "Refused, locked or rolled back; the reason stands beside it", "explain.unknown": "Nobody knows what is there",
  "explain.stale": "The router or the gateway is away; it may be old", "explain.breakaway": "Video and audio come from different sources",
  "explain.lock": "Locked: nobody takes", "explain.protect": "Protected: its owner alone takes",
  "key.help": "This page", "key.destinations": "Search destinations", "key.sources": "Search sources", "key.armed": "Direct or armed",
  "key.video": "Video on or off", "key.audio": "Audio on or off", "key.married": "Video and audio together", "key.lock": "Locks of the destination", "key.name": "Names",
  "key.escape": "Forget what is armed, or the chosen destination", "key.take": "Take what is armed", "key.undo": "Undo the last take of this page",
  "key.previous": "Back to the destination's previous source", "key.arrows": "Move", "key.enter": "Press what is marked", "key.tab": "To the next part of the page",

  matrixMeans: "Rows are destinations, columns are sources. Arrows move, Enter takes.", crosspoint: "Destination {0} {1}, source {2} {3}: {4}",
  crosspointFree: "is not shown",
};

const german = {
  title: "Kreuzschienen", routers: "Kreuzschienen", router: "Kreuzschiene", panel: "Bedienfeld", matrix: "Matrix", pages: "Seiten",
  help: "Hilfe und Tasten", menu: "Menü", close: "Schließen", dismiss: "Verwerfen", all: "Alle",
  logIn: "Anmelden", logOut: "Abmelden", token: "Schlüssel", keep: "Auf diesem Gerät angemeldet bleiben (bis es 30 Tage nicht benutzt wurde)",
  loginMeans: "Geben Sie den Schlüssel ein, den Sie für dieses Gateway bekommen haben.",
  goOnAnonymous: "Ohne Schlüssel weiter", noGateway: "Das Gateway antwortet nicht. Versuchen Sie es noch einmal.",
  language: "Sprache", theme: "Hell und dunkel", "theme.system": "Wie das System", "theme.dark": "Dunkel", "theme.light": "Hell",
  youAre: "Sie sind {0}, Rolle {1}. Ziele: {2}. Quellen: {3}.",
  who: "{0}, Rolle {1}", "role.view": "sehen", "role.operate": "schalten", "role.lock": "sperren", "role.admin": "verwalten", "role.none": "keine",

  input: "Eingang {0}", output: "Ausgang {0}", destinations: "Ziele", sources: "Quellen", levels: "Ebenen", groups: "Gruppen",
  searchDestinations: "Ziele suchen", searchSources: "Quellen suchen",
  nothingFound: "Nichts gefunden.", noDestinations: "Kein Ziel ist bekannt.", noRouters: "Es gibt keine Kreuzschiene, die Sie sehen dürfen.",
  chooseDestination: "Wählen Sie ein Ziel.", backToDestinations: "Zurück zu den Zielen",
  viewOnly: "Sie dürfen sehen, nicht schalten (Rolle sehen).", notYours: "Sie dürfen Ausgang {0} nicht schalten.", routerAway: "Jetzt kann nicht geschaltet werden.",
  sourceNone: "Keine Quelle", sourceUnknown: "Unbekannt", shows: "zeigt {0}", breakaway: "Getrennt",
  "level.all": "Alle Ebenen", "level.video": "Video", "level.audio": "Audio", "short.video": "V", "short.audio": "A", "short.all": "",
  married: "Beide", mode: "Betriebsart", direct: "Direkt", armed: "Vorwahl", take: "Schalten", takeCount: "{0} schalten", clear: "Löschen", undo: "Rückgängig",
  directMeans: "Eine Quelle wird geschaltet, sobald sie gedrückt wird", armedMeans: "Quellen werden gesammelt und mit Schalten zusammen geschaltet",
  allOrNothing: "Alle oder keine", allOrNothingMeans: "Geht eine nicht, wird keine geschaltet; die Kreuzschiene kann noch eine ablehnen",
  previous: "Zurück zu",

  "state.up": "Bereit", "state.reading": "Wird gelesen", "state.link down": "Verbindung fehlt", "state.no backend": "Kein Backend",
  "state.no driver": "Kein Treiber", "state.stale": "Veraltet",
  forAge: "seit {0}", seconds: "{0} s", minutes: "{0} min", hours: "{0} h", days: "{0} d",
  lost: "Die Verbindung zum Gateway ist abgebrochen", lostMeans: "Was gezeigt wird, kann alt sein. Bis sie zurück ist, wird nichts geschaltet.",
  notConnected: "nicht mit dem Gateway verbunden; nichts wurde gesendet", noSuchRouter: "Es gibt keine Kreuzschiene „{0}“, die Sie sehen dürfen",
  noAnswer: "keine Antwort kam; niemand weiß, ob geschaltet wurde", changedMeanwhile: "inzwischen zeigt es etwas anderes",
  routersUp: "{0} von {1} bereit", size: "{0} Eingänge × {1} Ausgänge, {2}", sizeUnknown: "Größe nicht bekannt",
  pendingCount: "{0} warten", lastProblem: "{0}, Ausgang {1}: {2} {3}",

  "spoken.confirmed": "bestätigt", "spoken.pending": "wartet auf die Kreuzschiene", "spoken.refused": "abgelehnt",
  "spoken.unknown": "nicht bekannt", "spoken.stale": "kann alt sein",
  "spoken.shown": "wird gezeigt", "spoken.armed": "vorgewählt",
  "result.confirmed": "Von der Kreuzschiene bestätigt", "result.shows": "Zurückgefallen, die Kreuzschiene zeigt {0}", "result.refused": "Abgelehnt",
  "result.replaced sent": "Von späterem Schalten ersetzt", "result.replaced unsent": "Von späterem Schalten ersetzt, nicht gesendet",
  "result.withdrawn": "Zurückgezogen, nicht gesendet", "result.unknown": "Unbekannt", "result.locked": "Nicht geschaltet",
  "result.unavailable": "Nicht gesendet", "result.not allowed": "Vom Gateway abgelehnt", "result.other": "Endete anders",
  lastTake: "Zuletzt geschaltet {0} von {1}: {2}. {3}", user: "Benutzer {0}",

  lockOpen: "Sperren …", lockOf: "Sperre von Ausgang {0}", lockFree: "Er ist nicht gesperrt.",
  lockReason: "Grund, für andere zu lesen", lockOthers: "Nur {0} oder wer die Rolle sperren hat, kann sie aufheben.",
  "lock.lockBy": "gesperrt von {0}", "lock.protectBy": "geschützt von {0}",
  "lock.lockSince": "Gesperrt von {0} seit {1}", "lock.protectSince": "Geschützt von {0} seit {1}",
  "do.lock": "Sperren", "do.protect": "Schützen", "do.unlock": "Aufheben", "do.force": "Mit Gewalt aufheben",
  "means.lock": "Niemand schaltet, Sie auch nicht", "means.protect": "Nur Sie schalten", "means.unlock": "Alle schalten wieder",
  "means.force": "Es ist die Sperre eines anderen", forceSure: "Ja, die Sperre von {0} aufheben",
  alarm: "{0}: Ausgang {1} {2} ist von {5} gesperrt und wechselte dennoch, {3} → {4}, {6}", moreAlarms: "{0} weitere Alarme",

  pairing: "Bedienfeld anmelden", pairMeans: "Das Bedienfeld bekommt einen eigenen Schlüssel. Wer den Link hat, kann sich damit anmelden.", pairMake: "Link machen",
  "pair.name": "Name des Bedienfelds", "pair.role": "Rolle", "pair.page": "Seite", "pair.outputs": "Nur diese Ziele",
  pairPicture: "QR-Code des Links", pairOnce: "Der Link wird nur dieses Mal gezeigt.",
  nameOpen: "Namen …", nameTitle: "Namen", nameSide: "Was benannt wird", number: "Nummer", name: "Name", nameSave: "Namen geben", nameIs: "{0} heißt jetzt {1}.",
  destination: "Ziel", source: "Quelle", noPlace: "Möglich sind 1 bis {0}.",

  helpTake: "Direkt: ein Ziel wählen, eine Quelle drücken; sie wird sofort geschaltet.",
  helpArmed: "Vorwahl: Ziele und Quellen wählen, dann Schalten; alle gehen zusammen. Löschen vergisst sie.",
  helpTruth: "Ein Ziel zeigt, was die Kreuzschiene bestätigt hat. Was gedrückt wurde, wartet, bis die Kreuzschiene selbst es meldet.",
  marks: "Zeichen", keys: "Tasten", addresses: "Adressen", singleKeys: "Buchstaben allein sind Tasten",
  helpAddresses: "outputs und inputs zeigen nur diese; mode=armed beginnt mit Vorwahl. Für Pulte und Wände.",
  "explain.confirmed": "Die Kreuzschiene hat es gemeldet", "explain.pending": "Gesendet; die Kreuzschiene hat es noch nicht gemeldet", "explain.armed": "Vorgewählt; nichts ist gesendet",
  "explain.refused": "Abgelehnt, gesperrt oder zurückgefallen; der Grund steht daneben", "explain.unknown": "Niemand weiß, was dort ist",
  "explain.stale": "Kreuzschiene oder Gateway ist fort; es kann alt sein", "explain.breakaway": "Video und Audio kommen von verschiedenen Quellen",
  "explain.lock": "Gesperrt: niemand schaltet", "explain.protect": "Geschützt: nur der Besitzer schaltet",
  "key.help": "Diese Seite", "key.destinations": "Ziele suchen", "key.sources": "Quellen suchen", "key.armed": "Direkt oder Vorwahl",
  "key.video": "Video an oder aus", "key.audio": "Audio an oder aus", "key.married": "Video und Audio zusammen", "key.lock": "Sperren des Ziels", "key.name": "Namen",
  "key.escape": "Vorwahl oder gewähltes Ziel vergessen", "key.take": "Vorgewähltes schalten", "key.undo": "Letztes Schalten dieser Seite rückgängig",
  "key.previous": "Zurück zur vorigen Quelle des Ziels", "key.arrows": "Bewegen", "key.enter": "Markiertes drücken", "key.tab": "Zum nächsten Teil der Seite",

  matrixMeans: "Zeilen sind Ziele, Spalten sind Quellen. Pfeile bewegen, Enter schaltet.", crosspoint: "Ziel {0} {1}, Quelle {2} {3}: {4}",
  crosspointFree: "wird nicht gezeigt",
};

// Of history and presets: English, German.
const both = {
  history: ["History", "Verlauf"], csv: ["CSV, newest 5000", "CSV, neueste 5000"], by: ["By", "Von"], since: ["Since ({0})", "Seit ({0})"],
  newer: ["Show newer", "Neuere zeigen"], older: ["Show older", "Ältere zeigen"], entries: ["Entries: {0}", "Einträge: {0}"],
  noEntries: ["Nothing fits. Choose less.", "Nichts passt. Wählen Sie weniger."],
  claims: ["calls itself {0}, unchecked", "nennt sich {0}, ungeprüft"], times: ["{0} times until {1}", "{0}-mal bis {1}"],
  lock: ["Lock", "Sperre"], preset: ["Preset", "Preset"], login: ["Login", "Anmeldung"], request: ["Request", "Anfrage"],
  gap: ["Missing entries: {0}", "Fehlende Einträge: {0}"],
  "result.done": ["Done", "Erledigt"], "result.handed on": ["Handed on", "Weitergegeben"], "result.begun": ["Begun", "Begonnen"],
  "result.ended": ["Ended", "Beendet"], "result.made": ["Made", "Gemacht"], "result.written": ["Kept", "Behalten"],
  "result.removed": ["Removed", "Entfernt"], "result.recalled": ["Recalled", "Abgerufen"], "result.undone": ["Undone", "Zurückgenommen"],
  presets: ["Presets", "Presets"], outputs: ["Outputs: {0}", "Ausgänge: {0}"], presetFacts: ["{0}; by {1}, {2}", "{0}; von {1}, {2}"],
  keepNow: ["Keep what is on air", "Behalten, was läuft"], replace: ["Replace …", "Ersetzen …"],
  recall: ["Recall", "Abrufen"], remove: ["Remove", "Entfernen"], file: ["File for {0}", "Datei für {0}"],
  wouldNot: ["Would not be taken: {0}", "Würde nicht geschaltet: {0}"],
  recalled: ["{0} of {1} outputs confirmed", "{0} von {1} Ausgängen bestätigt"],
  sure: ["What {0} has will be lost. Press again.", "Was {0} enthält, geht verloren. Nochmals drücken."],
  leftOut: ["Left out, source unknown: {0}", "Ausgelassen, Quelle unbekannt: {0}"],
  choosePreset: ["Choose a preset.", "Wählen Sie ein Preset."],
  noPresets: ["There is no preset. Who has the role lock keeps what is on air.", "Es gibt kein Preset. Wer die Rolle sperren hat, behält, was läuft."],
};

const texts = { en: english, de: german };
const kept = "vrdx-language";

export const languages = { en: "English", de: "Deutsch" };

function known() {
  const wish = localStorage.getItem(kept) ?? navigator.language.slice(0, 2);
  return wish in texts ? wish : "en";
}

export const language = known();

export function setLanguage(name) {
  localStorage.setItem(kept, name);
  location.reload();
}

export function t(key, ...values) {
  const text = both[key]?.[language === "de" ? 1 : 0] ?? texts[language][key] ?? english[key] ?? key;
  return text.replace(/\{(\d)\}/g, (_, at) => isolated(String(values[at] ?? "")));
}

const turning = /[\u0590-\u08ff\u200e\u200f\u202a-\u202e\u2066-\u2069\ufb1d-\ufdff\ufe70-\ufeff]/;

// A text of others within one of ours: it has its own direction, and turns nothing around it.
export function isolated(text) {
  return turning.test(text) ? `\u2068${text.replace(/[\u2066-\u2069]/g, "")}\u2069` : text;
}
