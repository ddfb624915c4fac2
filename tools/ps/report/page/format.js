// Formats numbers.

const SECOND = 1000, MINUTE = 60 * SECOND, HOUR = 60 * MINUTE, DAY = 24 * HOUR;

// "340 ms", "12.04 s", "34 min", "15 min 20 s", "10 h 45 min", "2 d 3 h". Rounded down.
function lengthText(milliseconds) {
  if (milliseconds < SECOND) return Math.floor(milliseconds) + " ms";
  if (milliseconds < MINUTE) return Math.floor(milliseconds / 10) / 100 + " s";
  const units = [["d", DAY], ["h", HOUR], ["min", MINUTE], ["s", SECOND]];
  const first = units.findIndex(([, length]) => milliseconds >= length);
  const [name, length] = units[first], [next, part] = units[first + 1];
  const rest = Math.floor(milliseconds % length / part);
  return Math.floor(milliseconds / length) + " " + name + (rest > 0 ? " " + rest + " " + next : "");
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

function plural(count, noun) {
  return count + " " + noun + (count === 1 ? "" : "s");
}

// Quotes a text for a POSIX shell.
function shellWord(text) {
  return /^[\w@%+=:,./-]+$/.test(text) ? text : "'" + text.replaceAll("'", "'\\''") + "'";
}
