// Times as people read them, with their zone named.

import { language, t } from "./texts.js";

const day = 86400000;
const withDay = new Intl.DateTimeFormat(language, { day: "numeric", month: "short", year: "numeric", hour: "2-digit", minute: "2-digit", second: "2-digit", hourCycle: "h23" });
const withoutDay = new Intl.DateTimeFormat(language, { hour: "2-digit", minute: "2-digit", second: "2-digit", hourCycle: "h23" });
const zoned = new Intl.DateTimeFormat(language, { hour: "2-digit", minute: "2-digit", second: "2-digit", hourCycle: "h23", timeZoneName: "short" });

export function zone(time) {
  return zoned.formatToParts(time).find((part) => part.type === "timeZoneName")?.value ?? "";
}

// `when`: RFC 3339 or milliseconds.
export function shownTime(when) {
  const time = new Date(when);
  if (Number.isNaN(time.getTime())) return "";
  const format = Math.abs(Date.now() - time) < day / 2 ? withoutDay : withDay;
  return `${format.format(time)} ${zone(time)}`;
}

export function clock() {
  return zoned.format(new Date());
}

// "12 s", "3 min", "2 h", "5 d".
export function age(milliseconds) {
  const seconds = Math.max(0, Math.floor(milliseconds / 1000));
  if (seconds < 60) return t("seconds", seconds);
  if (seconds < 3600) return t("minutes", Math.floor(seconds / 60));
  if (seconds < 86400) return t("hours", Math.floor(seconds / 3600));
  return t("days", Math.floor(seconds / 86400));
}
