// Names as others gave them: shown as they are, found by what one types, grouped by how they begin.

const longest = 160; // characters shown; the whole name stands in the title

// Control characters are shown as their pictures.
function visible(text) {
  return text.replace(/[\u0000-\u001f]/g, (letter) => String.fromCharCode(0x2400 + letter.charCodeAt(0)))
    .replace(/\u007f/g, "\u2421");
}

export function shownName(name, fallback) {
  const text = visible(name ?? "").trim() === "" ? fallback : visible(name);
  const letters = Array.from(text.slice(0, 2 * longest));
  return letters.length > longest || text.length > 2 * longest ? letters.slice(0, longest).join("") + "…" : text;
}

// What a search compares: without case and accents.
export function plain(text) {
  return text.normalize("NFKD").replace(/\p{M}/gu, "").toLowerCase();
}

// Each word has to be found in the name; a number may be the place's own.
export function matches(place, words) {
  return words.every((word) => place.plain.includes(word) || String(place.number) === word);
}

export function searchWords(text) {
  return plain(text).split(/\s+/).filter((word) => word !== "");
}

// What the name begins with: "Cam 12" and "Cam-3" both with "Cam".
export function prefix(name) {
  return (name.trim().match(/^[^\s\d\-_.:/#(]+/u) ?? [""])[0].slice(0, 24);
}

const fewest = 2; // places that make a group
const most = 24; // groups that are offered

// [{prefix, count}], the one that comes first in the list first.
export function groupsOf(places) {
  const counts = new Map();
  for (const place of places) {
    const key = place.prefix;
    if (key !== "") counts.set(key, (counts.get(key) ?? 0) + 1);
  }
  const groups = [...counts].filter(([, count]) => count >= fewest).map(([key, count]) => ({ prefix: key, count }));
  return groups.length < 2 ? [] : groups.slice(0, most);
}

// "1-8,12" as a test of numbers; null for a text that is no such list.
export function numberList(text) {
  if (text == null || text.trim() === "") return () => true;
  const ranges = [];
  for (const part of text.split(",")) {
    const found = part.trim().match(/^(\d{1,5})(?:-(\d{1,5}))?$/);
    if (!found) return null;
    ranges.push([Number(found[1]), Number(found[2] ?? found[1])]);
  }
  return (number) => ranges.some(([first, last]) => number >= first && number <= last);
}
