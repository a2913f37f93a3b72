// All texts of the pages: English, German; one where they are the same. {0}, {1} are filled in.

const texts = {
  title: ["Routers", "Kreuzschienen"], routers: ["Routers", "Kreuzschienen"], router: ["router", "Kreuzschiene"], panel: ["Panel", "Bedienfeld"],
  matrix: "Matrix", pages: ["Pages", "Seiten"], help: ["Help and keys", "Hilfe und Tasten"], menu: ["Menu", "Menü"], close: ["Close", "Schließen"],
  dismiss: ["Dismiss", "Verwerfen"], all: ["All", "Alle"], logIn: ["Log in", "Anmelden"], logOut: ["Log out", "Abmelden"],
  token: ["Token", "Schlüssel"],
  keep: ["Stay logged in on this device (until it was not used for 30 days)", "Auf diesem Gerät angemeldet bleiben (bis es 30 Tage nicht benutzt wurde)"],
  loginMeans: ["Enter the token that you were given for this gateway.", "Geben Sie den Schlüssel ein, den Sie für dieses Gateway bekommen haben."],
  goOnAnonymous: ["Go on without a token", "Ohne Schlüssel weiter"],
  noGateway: ["The gateway does not answer. Try again.", "Das Gateway antwortet nicht. Versuchen Sie es noch einmal."],
  language: ["Language", "Sprache"], theme: ["Light and dark", "Hell und dunkel"], "theme.system": ["As the system", "Wie das System"],
  "theme.dark": ["Dark", "Dunkel"], "theme.light": ["Light", "Hell"],
  youAre: ["You are {0}, role {1}. Destinations: {2}. Sources: {3}.", "Sie sind {0}, Rolle {1}. Ziele: {2}. Quellen: {3}."],
  who: ["{0}, role {1}", "{0}, Rolle {1}"], "role.view": ["view", "sehen"], "role.operate": ["operate", "schalten"], "role.lock": ["lock", "sperren"],
  "role.admin": ["admin", "verwalten"], "role.none": ["none", "keine"],

  input: ["Input {0}", "Eingang {0}"], output: ["Output {0}", "Ausgang {0}"], destinations: ["Destinations", "Ziele"], sources: ["Sources", "Quellen"],
  levels: ["Levels", "Ebenen"], groups: ["Groups", "Gruppen"], searchDestinations: ["Search destinations", "Ziele suchen"],
  searchSources: ["Search sources", "Quellen suchen"], nothingFound: ["Nothing is found.", "Nichts gefunden."],
  noDestinations: ["No destination is known.", "Kein Ziel ist bekannt."],
  noRouters: ["There is no router that you may see.", "Es gibt keine Kreuzschiene, die Sie sehen dürfen."],
  chooseDestination: ["Choose a destination.", "Wählen Sie ein Ziel."], backToDestinations: ["Back to the destinations", "Zurück zu den Zielen"],
  viewOnly: ["You may look, not take (role view).", "Sie dürfen sehen, nicht schalten (Rolle sehen)."],
  notYours: ["You may not take to output {0}.", "Sie dürfen Ausgang {0} nicht schalten."],
  routerAway: ["Nothing can be taken now.", "Jetzt kann nicht geschaltet werden."], sourceNone: ["No source", "Keine Quelle"],
  sourceUnknown: ["Unknown", "Unbekannt"], shows: ["shows {0}", "zeigt {0}"], breakaway: ["Breakaway", "Getrennt"],
  "level.all": ["All levels", "Alle Ebenen"], "level.video": "Video", "level.audio": "Audio", "short.video": "V", "short.audio": "A", "short.all": "",
  married: ["Both", "Beide"], mode: ["Mode", "Betriebsart"], direct: ["Direct", "Direkt"], armed: ["Armed", "Vorwahl"], take: ["Take", "Schalten"],
  takeCount: ["Take {0}", "{0} schalten"], clear: ["Clear", "Löschen"], undo: ["Undo", "Rückgängig"],
  directMeans: ["A source is taken when it is pressed", "Eine Quelle wird geschaltet, sobald sie gedrückt wird"],
  armedMeans: ["Sources are collected, and taken together with Take", "Quellen werden gesammelt und mit Schalten zusammen geschaltet"],
  allOrNothing: ["All or nothing", "Alle oder keine"],
  allOrNothingMeans: ["Nothing is taken when one of them cannot be; the router can still refuse one", "Geht eine nicht, wird keine geschaltet; die Kreuzschiene kann noch eine ablehnen"],
  previous: ["Back to", "Zurück zu"],

  "state.up": ["Up", "Bereit"], "state.reading": ["Reading", "Wird gelesen"], "state.link down": ["Link down", "Verbindung fehlt"],
  "state.no backend": ["No backend", "Kein Backend"], "state.no driver": ["No driver", "Kein Treiber"], "state.stale": ["Stale", "Veraltet"],
  forAge: ["for {0}", "seit {0}"], seconds: "{0} s", minutes: "{0} min", hours: "{0} h", days: "{0} d",
  lost: ["The connection to the gateway is lost", "Die Verbindung zum Gateway ist abgebrochen"],
  lostMeans: ["What is shown may be old. Nothing is taken until it is back.", "Was gezeigt wird, kann alt sein. Bis sie zurück ist, wird nichts geschaltet."],
  notConnected: ["not connected to the gateway; nothing was sent", "nicht mit dem Gateway verbunden; nichts wurde gesendet"],
  noSuchRouter: ["There is no router \"{0}\" that you may see", "Es gibt keine Kreuzschiene „{0}“, die Sie sehen dürfen"],
  noAnswer: ["no answer came; nobody knows whether it was done", "keine Antwort kam; niemand weiß, ob geschaltet wurde"],
  changedMeanwhile: ["it shows something else meanwhile", "inzwischen zeigt es etwas anderes"], routersUp: ["{0} of {1} up", "{0} von {1} bereit"],
  size: ["{0} inputs × {1} outputs, {2}", "{0} Eingänge × {1} Ausgänge, {2}"], sizeUnknown: ["Size not known", "Größe nicht bekannt"],
  pendingCount: ["{0} waiting", "{0} warten"], lastProblem: ["{0}, output {1}: {2} {3}", "{0}, Ausgang {1}: {2} {3}"],

  "spoken.confirmed": ["confirmed", "bestätigt"], "spoken.pending": ["waiting for the router", "wartet auf die Kreuzschiene"],
  "spoken.refused": ["refused", "abgelehnt"], "spoken.unknown": ["not known", "nicht bekannt"], "spoken.stale": ["may be old", "kann alt sein"],
  "spoken.shown": ["is shown", "wird gezeigt"], "spoken.armed": ["armed", "vorgewählt"],
  "result.confirmed": ["Confirmed by the router", "Von der Kreuzschiene bestätigt"],
  "result.shows": ["Rolled back, the router shows {0}", "Zurückgefallen, die Kreuzschiene zeigt {0}"], "result.refused": ["Refused", "Abgelehnt"],
  "result.replaced sent": ["Replaced by a later take", "Von späterem Schalten ersetzt"],
  "result.replaced unsent": ["Replaced by a later take, not sent", "Von späterem Schalten ersetzt, nicht gesendet"],
  "result.withdrawn": ["Withdrawn, not sent", "Zurückgezogen, nicht gesendet"], "result.unknown": ["Unknown", "Unbekannt"],
  "result.locked": ["Not taken", "Nicht geschaltet"], "result.unavailable": ["Not sent", "Nicht gesendet"],
  "result.not allowed": ["Refused by the gateway", "Vom Gateway abgelehnt"], "result.other": ["Ended otherwise", "Endete anders"],
  lastTake: ["Last take {0} by {1}: {2}. {3}", "Zuletzt geschaltet {0} von {1}: {2}. {3}"], user: ["user {0}", "Benutzer {0}"],

  lockOpen: ["Lock …", "Sperren …"], lockOf: ["Lock of output {0}", "Sperre von Ausgang {0}"],
  lockFree: ["It is not locked.", "Er ist nicht gesperrt."], lockReason: ["Reason, shown to others", "Grund, für andere zu lesen"],
  lockOthers: ["Only {0} or somebody with the role lock can remove it.", "Nur {0} oder wer die Rolle sperren hat, kann sie aufheben."],
  "lock.lockBy": ["locked by {0}", "gesperrt von {0}"], "lock.protectBy": ["protected by {0}", "geschützt von {0}"],
  "lock.lockSince": ["Locked by {0} since {1}", "Gesperrt von {0} seit {1}"],
  "lock.protectSince": ["Protected by {0} since {1}", "Geschützt von {0} seit {1}"], "do.lock": ["Lock", "Sperren"],
  "do.protect": ["Protect", "Schützen"], "do.unlock": ["Unlock", "Aufheben"], "do.force": ["Remove by force", "Mit Gewalt aufheben"],
  "means.lock": ["Nobody takes, nor do you", "Niemand schaltet, Sie auch nicht"], "means.protect": ["Only you take", "Nur Sie schalten"],
  "means.unlock": ["Everybody takes again", "Alle schalten wieder"], "means.force": ["It is another's lock", "Es ist die Sperre eines anderen"],
  forceSure: ["Yes, remove the lock of {0}", "Ja, die Sperre von {0} aufheben"],
  alarm: ["{0}: output {1} {2} is locked by {5} and changed all the same, {3} → {4}, {6}", "{0}: Ausgang {1} {2} ist von {5} gesperrt und wechselte dennoch, {3} → {4}, {6}"],
  moreAlarms: ["{0} more alarms", "{0} weitere Alarme"],

  pairing: ["Pair a panel", "Bedienfeld anmelden"],
  pairMeans: ["The panel gets a token of its own. Whoever has the link can log in with it.", "Das Bedienfeld bekommt einen eigenen Schlüssel. Wer den Link hat, kann sich damit anmelden."],
  pairMake: ["Make the link", "Link machen"], "pair.name": ["Name of the panel", "Name des Bedienfelds"], "pair.role": ["Role", "Rolle"],
  "pair.page": ["Page", "Seite"], "pair.outputs": ["Only these destinations", "Nur diese Ziele"],
  pairPicture: ["QR code of the link", "QR-Code des Links"], pairOnce: ["The link is shown this once.", "Der Link wird nur dieses Mal gezeigt."],
  nameOpen: ["Names …", "Namen …"], nameTitle: ["Names", "Namen"], nameSide: ["What is named", "Was benannt wird"], number: ["Number", "Nummer"],
  name: "Name", nameSave: ["Give the name", "Namen geben"], nameIs: ["{0} is called {1} now.", "{0} heißt jetzt {1}."],
  destination: ["Destination", "Ziel"], source: ["Source", "Quelle"], noPlace: ["Possible are 1 to {0}.", "Möglich sind 1 bis {0}."],

  helpTake: ["Direct: choose a destination, press a source; it is taken at once.", "Direkt: ein Ziel wählen, eine Quelle drücken; sie wird sofort geschaltet."],
  helpArmed: ["Armed: choose destinations and sources, then press Take; all go as one salvo. Clear forgets them.", "Vorwahl: Ziele und Quellen wählen, dann Schalten; alle gehen zusammen. Löschen vergisst sie."],
  helpTruth: ["A destination shows what the router has confirmed. What was pressed shows as waiting until the router itself reports it.", "Ein Ziel zeigt, was die Kreuzschiene bestätigt hat. Was gedrückt wurde, wartet, bis die Kreuzschiene selbst es meldet."],
  marks: ["Marks", "Zeichen"], keys: ["Keys", "Tasten"], addresses: ["Addresses", "Adressen"],
  singleKeys: ["Letters alone are keys", "Buchstaben allein sind Tasten"],
  helpAddresses: ["outputs and inputs show only these; mode=armed begins armed. For desks and walls.", "outputs und inputs zeigen nur diese; mode=armed beginnt mit Vorwahl. Für Pulte und Wände."],
  "explain.confirmed": ["The router has reported it", "Die Kreuzschiene hat es gemeldet"],
  "explain.pending": ["Sent; the router has not reported it yet", "Gesendet; die Kreuzschiene hat es noch nicht gemeldet"],
  "explain.armed": ["Armed; nothing is sent yet", "Vorgewählt; nichts ist gesendet"],
  "explain.refused": ["Refused, locked or rolled back; the reason stands beside it", "Abgelehnt, gesperrt oder zurückgefallen; der Grund steht daneben"],
  "explain.unknown": ["Nobody knows what is there", "Niemand weiß, was dort ist"],
  "explain.stale": ["The router or the gateway is away; it may be old", "Kreuzschiene oder Gateway ist fort; es kann alt sein"],
  "explain.breakaway": ["Video and audio come from different sources", "Video und Audio kommen von verschiedenen Quellen"],
  "explain.lock": ["Locked: nobody takes", "Gesperrt: niemand schaltet"],
  "explain.protect": ["Protected: its owner alone takes", "Geschützt: nur der Besitzer schaltet"], "key.help": ["This page", "Diese Seite"],
  "key.destinations": ["Search destinations", "Ziele suchen"], "key.sources": ["Search sources", "Quellen suchen"],
  "key.armed": ["Direct or armed", "Direkt oder Vorwahl"], "key.video": ["Video on or off", "Video an oder aus"],
  "key.audio": ["Audio on or off", "Audio an oder aus"], "key.married": ["Video and audio together", "Video und Audio zusammen"],
  "key.lock": ["Locks of the destination", "Sperren des Ziels"], "key.name": ["Names", "Namen"],
  "key.escape": ["Forget what is armed, or the chosen destination", "Vorwahl oder gewähltes Ziel vergessen"],
  "key.take": ["Take what is armed", "Vorgewähltes schalten"],
  "key.undo": ["Undo the last take of this page", "Letztes Schalten dieser Seite rückgängig"],
  "key.previous": ["Back to the destination's previous source", "Zurück zur vorigen Quelle des Ziels"], "key.arrows": ["Move", "Bewegen"],
  "key.enter": ["Press what is marked", "Markiertes drücken"], "key.tab": ["To the next part of the page", "Zum nächsten Teil der Seite"],

  matrixMeans: ["Rows are destinations, columns are sources. Arrows move, Enter takes.", "Zeilen sind Ziele, Spalten sind Quellen. Pfeile bewegen, Enter schaltet."],
  crosspoint: ["Destination {0} {1}, source {2} {3}: {4}", "Ziel {0} {1}, Quelle {2} {3}: {4}"],
  crosspointFree: ["is not shown", "wird nicht gezeigt"],

  arrange: ["Arrange …", "Anordnen …"],
  arrangeMeans: ["Press what belongs to it; nothing is taken.", "Drücken, was dazugehört; nichts wird geschaltet."], list: ["List", "Liste"],
  favourites: ["Favourites", "Favoriten"], hidden: ["Hidden", "Verborgen"], order: ["Order", "Reihenfolge"],
  newCategory: ["New category", "Neue Kategorie"], keepLayout: ["Keep", "Sichern"], listed: ["place {0}", "Platz {0}"], colour: ["Colour", "Farbe"],
  red: ["red", "rot"], orange: "orange", yellow: ["yellow", "gelb"], green: ["green", "grün"], blue: ["blue", "blau"], violet: ["violet", "violett"],
  history: ["History", "Verlauf"], csv: ["CSV, newest 5000", "CSV, neueste 5000"], by: ["By", "Von"], since: ["Since ({0})", "Seit ({0})"],
  newer: ["Show newer", "Neuere zeigen"], older: ["Show older", "Ältere zeigen"], entries: ["Entries: {0}", "Einträge: {0}"],
  noEntries: ["Nothing fits. Choose less.", "Nichts passt. Wählen Sie weniger."], claims: ["calls itself {0}, unchecked", "nennt sich {0}, ungeprüft"],
  times: ["{0} times until {1}", "{0}-mal bis {1}"], lock: ["Lock", "Sperre"], preset: "Preset", login: ["Login", "Anmeldung"],
  request: ["Request", "Anfrage"], gap: ["Missing entries: {0}", "Fehlende Einträge: {0}"], "result.done": ["Done", "Erledigt"],
  "result.handed on": ["Handed on", "Weitergegeben"], "result.begun": ["Begun", "Begonnen"], "result.ended": ["Ended", "Beendet"],
  "result.made": ["Made", "Gemacht"], "result.written": ["Kept", "Behalten"], "result.removed": ["Removed", "Entfernt"],
  "result.recalled": ["Recalled", "Abgerufen"], "result.undone": ["Undone", "Zurückgenommen"], presets: "Presets",
  outputs: ["Outputs: {0}", "Ausgänge: {0}"], presetFacts: ["{0}; by {1}, {2}", "{0}; von {1}, {2}"],
  keepNow: ["Keep what is on air", "Behalten, was läuft"], replace: ["Replace …", "Ersetzen …"], recall: ["Recall", "Abrufen"],
  remove: ["Remove", "Entfernen"], file: ["File for {0}", "Datei für {0}"], wouldNot: ["Would not be taken: {0}", "Würde nicht geschaltet: {0}"],
  recalled: ["{0} of {1} outputs confirmed", "{0} von {1} Ausgängen bestätigt"],
  sure: ["What {0} has will be lost. Press again.", "Was {0} enthält, geht verloren. Nochmals drücken."],
  leftOut: ["Left out, source unknown: {0}", "Ausgelassen, Quelle unbekannt: {0}"], choosePreset: ["Choose a preset.", "Wählen Sie ein Preset."],
  noPresets: ["There is no preset. Who has the role lock keeps what is on air.", "Es gibt kein Preset. Wer die Rolle sperren hat, behält, was läuft."],
};

const kept = "vrdx-language";

export const languages = { en: "English", de: "Deutsch" };

function known() {
  const wish = localStorage.getItem(kept) ?? navigator.language.slice(0, 2);
  return wish in languages ? wish : "en";
}

export const language = known();

export function setLanguage(name) {
  localStorage.setItem(kept, name);
  location.reload();
}

export function t(key, ...values) {
  const found = texts[key] ?? key, text = Array.isArray(found) ? found[language === "de" ? 1 : 0] : found;
  return text.replace(/\{(\d)\}/g, (_, at) => isolated(String(values[at] ?? "")));
}

const turning = /[\u0590-\u08ff\u200e\u200f\u202a-\u202e\u2066-\u2069\ufb1d-\ufdff\ufe70-\ufeff]/;

// A text of others within one of ours: it has its own direction, and turns nothing around it.
export function isolated(text) {
  return turning.test(text) ? `\u2068${text.replace(/[\u2066-\u2069]/g, "")}\u2069` : text;
}
