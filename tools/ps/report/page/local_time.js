// The local time of the recorder. Local times are numbers like instants: ms since 1970, but counted in local time.

const MONTHS = ["January", "February", "March", "April", "May", "June",
  "July", "August", "September", "October", "November", "December"];

// A zone from pairs of an instant and the offset in minutes that applies from then on. The first one also applies before.
function makeZone(offsets) {
  const known = offsets.length > 0 ? offsets : [[0, 0]];
  const offsetAt = (instant) => {
    let at = known.length - 1;
    while (at > 0 && known[at][0] > instant) --at;
    return known[at][1] * MINUTE;
  };
  // All instants with this local time: two in the hour that is repeated in autumn, none in the one that is skipped in spring.
  const instantsOf = (local) => {
    const both = [local - offsetAt(local - DAY), local - offsetAt(local + DAY)];  // before and after a change of the clock
    return both.filter((instant, i) => instant + offsetAt(instant) === local && both.indexOf(instant) === i);
  };
  const toUtc = (local) => [...instantsOf(local), local - offsetAt(local - DAY)][0];
  const nameIn = (from, to) => zoneName([offsetAt(from) / MINUTE, ...known.filter(([at]) => from < at && at < to).map(([, minutes]) => minutes)]);
  return { toLocal: (instant) => instant + offsetAt(instant), toUtc, instantsOf, nameIn, isUtc: known.every(([, minutes]) => minutes === 0) };
}

function offsetText(minutes) {
  if (minutes === 0) return "UTC";
  const size = Math.abs(minutes), two = (number) => String(number).padStart(2, "0");
  return "UTC" + (minutes < 0 ? "−" : "+") + two(Math.floor(size / 60)) + ":" + two(size % 60);
}

function zoneName(minutes) {
  return [...new Set(minutes.map(offsetText))].join(" / ");
}

function isoText(local) {
  return new Date(local).toISOString().replace("T", " ").slice(0, 19);
}

// "2018-06-22 16:05:09".
function timeText(zone, instant) {
  return isoText(zone.toLocal(instant));
}

// "16:05:09" on the day of `near`, which ends at "24:00:00"; otherwise with the date.
function shortTimeText(zone, instant, near) {
  const text = timeText(zone, instant), day = timeText(zone, near).slice(0, 10);
  if (text.slice(0, 10) === day) return text.slice(11);
  return text.endsWith("00:00:00") && timeText(zone, instant - 1).slice(0, 10) === day ? "24:00:00" : text;
}

// For the command line: RFC 3339 with milliseconds, UTC.
function commandTime(instant) {
  return new Date(instant).toISOString();
}

// The number of the local day since 1970, and the instants where it begins and ends. A day of a clock change has 23 or 25 h.
function dayOf(zone, instant) {
  return Math.floor(zone.toLocal(instant) / DAY);
}

function dayPeriod(zone, day, count = 1) {
  return { from: zone.toUtc(day * DAY), to: zone.toUtc((day + count) * DAY) };
}

// The first day and the number of days of the day, the week (from Monday) or the month that contains a day.
function periodDays(kind, day) {
  if (kind === "day") return { first: day, count: 1 };
  if (kind === "week") return { first: day - (day + 3) % 7, count: 7 };
  const date = new Date(day * DAY), year = date.getUTCFullYear(), month = date.getUTCMonth();
  const first = Date.UTC(year, month, 1) / DAY;
  return { first, count: Date.UTC(year, month + 1, 1) / DAY - first };
}

// "24 November", "16 to 22 November", "November 2026"; with the year if it is not the current one.
function periodText(kind, { first, count }, now) {
  const parts = (day) => {
    const date = new Date(day * DAY);
    return { day: date.getUTCDate(), month: MONTHS[date.getUTCMonth()], year: date.getUTCFullYear() };
  };
  const begin = parts(first), end = parts(first + count - 1);
  const year = end.year === new Date(now).getUTCFullYear() ? "" : " " + end.year;
  if (kind === "month") return begin.month + " " + begin.year;
  const text = end.day + " " + end.month + year;
  if (kind === "day") return text;
  return begin.day + (begin.month === end.month ? "" : " " + begin.month) + " to " + text;
}
