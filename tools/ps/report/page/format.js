// Formats numbers and times. All times are UTC.

const SECOND = 1000, MINUTE = 60 * SECOND, HOUR = 60 * MINUTE, DAY = 24 * HOUR;

function timeText(instant) {
  return new Date(instant).toISOString().replace("T", " ").slice(0, 19);
}

function dayText(day) {
  return new Date(day * DAY).toISOString().slice(0, 10);
}

function lengthText(milliseconds) {
  if (milliseconds < MINUTE) return (milliseconds / SECOND).toFixed(1) + " s";
  if (milliseconds < HOUR) return Math.floor(milliseconds / MINUTE) + " min " + Math.floor(milliseconds % MINUTE / SECOND) + " s";
  if (milliseconds < 2 * DAY) return Math.floor(milliseconds / HOUR) + " h " + Math.floor(milliseconds % HOUR / MINUTE) + " min";
  return Math.floor(milliseconds / DAY) + " d " + Math.floor(milliseconds % DAY / HOUR) + " h";
}

function sizeText(bytes) {
  const units = ["bytes", "kB", "MB", "GB", "TB"];
  let unit = 0;
  while (bytes >= 1000 && unit + 1 < units.length) { bytes /= 1000; ++unit; }
  return (unit === 0 || bytes >= 100 ? Math.round(bytes) : bytes.toFixed(1)) + " " + units[unit];
}

// Shows 100 % and 0 % only for exact values.
function percentText(part, whole) {
  if (whole <= 0) return "";
  const percent = 100 * part / whole;
  if (part > 0 && percent < 0.1) return "< 0.1 %";
  if (part < whole && percent > 99.9) return "> 99.9 %";
  return percent.toFixed(1) + " %";
}
