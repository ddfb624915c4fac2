// Recorded and missing time in a period, from the gaps that norvanepi-ps coverage computes.

const OUTCOMES = ["recovered", "absent", "refused", "failed", "open"];
const OUTCOME_TEXTS = {
  recovered: "recovered", absent: "not on the camera", refused: "refused", failed: "failed", open: "open", unknown: "not in the log",
  missing: "nothing recorded",
};

// The missing time in a period, in ms.
function missingIn(camera, { from, to }) {
  const { gaps } = camera;
  const first = firstEndingAfter(gaps, from);
  let last = first;
  for (let high = gaps.count; last < high;) {  // the first gap that begins at or after the end
    const middle = (last + high) >> 1;
    if (gaps.begin[middle] >= to) high = middle; else last = middle + 1;
  }
  if (first >= last) return 0;
  return gaps.before[last] - gaps.before[first] - Math.max(0, from - gaps.begin[first]) - Math.max(0, gaps.end[last - 1] - to);
}

// The parts of the camera's gaps that are in the period, by time.
function gapsIn(camera, { from, to }) {
  const { gaps } = camera, found = [];
  for (let i = firstEndingAfter(gaps, from); i < gaps.count && gaps.begin[i] < to; ++i)
    found.push(describeGap(camera, Math.max(from, gaps.begin[i]), Math.min(to, gaps.end[i])));
  return found;
}

// The parts of the camera's lost time that overlap an interval. They are disjoint and sorted.
function partsIn({ parts }, begin, end) {
  let low = 0, high = parts.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (parts[middle].end > begin) high = middle; else low = middle + 1;
  }
  let last = low;
  while (last < parts.length && parts[last].begin < end) ++last;
  return parts.slice(low, last);
}

// A gap with its outcomes and their lengths, the longest first. With a log, the rest of it is not in the log.
function describeGap(camera, begin, end) {
  const lengths = {}, reasons = new Set();
  let rest = end - begin;
  for (const part of partsIn(camera, begin, end)) {
    if (part.outcome === "recovered") continue;
    const length = Math.min(end, part.end) - Math.max(begin, part.begin);
    lengths[part.outcome] = (lengths[part.outcome] || 0) + length;
    rest -= length;
    if (part.reason) reasons.add(part.reason);
  }
  if (rest >= SECOND || reasons.size + Object.keys(lengths).length === 0) lengths[camera.hasLog ? "unknown" : "missing"] = rest;
  const outcomes = Object.entries(lengths).sort((a, b) => b[1] - a[1]);
  return { camera, begin, end, length: end - begin, outcome: outcomes[0][0], outcomes, reason: [...reasons].join("; ") };
}

// The recovered time of the camera's lost time in the period, in ms.
function recoveredIn(camera, { from, to }) {
  return partsIn(camera, from, to).filter((part) => part.outcome === "recovered")
    .reduce((sum, part) => sum + Math.min(to, part.end) - Math.max(from, part.begin), 0);
}

// "failed: error 5", or with several outcomes "not in the log (3 min), failed (4 s): error 5".
function outcomeText({ outcomes, reason }) {
  const texts = outcomes.map(([outcome, length]) => OUTCOME_TEXTS[outcome] + (outcomes.length > 1 ? " (" + lengthText(length) + ")" : ""));
  return texts.join(", ") + (reason ? ": " + reason : "");
}

// A file without a frame belongs to the time in its path.
function isInPeriod(file, { from, to }) {
  if (file.first !== null) return file.first < to && file.last >= from;
  return file.placed === null || (file.placed < to && file.placed >= from);
}

// Of one camera. Gaps shorter than the minimum are not listed, but are missing time.
function coverageOf(camera, period, minimumGap) {
  const all = gapsIn(camera, period), length = period.to - period.from;
  const missing = missingIn(camera, period);
  const last = all[all.length - 1];
  const listed = all.filter((gap) => gap.length >= minimumGap);
  return {
    camera, missing, recorded: length - missing, gaps: listed,
    longest: all.reduce((longest, gap) => !longest || gap.length > longest.length ? gap : longest, null),
    current: last && last.end >= period.to ? last.length : 0,
    recovered: recoveredIn(camera, period),
    incomplete: missing > 0 && missing >= Math.min(minimumGap, length),
    faulty: camera.files.filter((file) => file.faults > 0 && isInPeriod(file, period)),
  };
}

// Of all cameras, the one with the longest missing time first.
function coverageOfAll(data, period) {
  const cameras = data.cameras.map((camera) => coverageOf(camera, period, data.minimumGap));
  cameras.sort((a, b) => b.missing - a.missing || a.camera.number - b.camera.number);
  const faulty = data.files.filter((file) => file.faults > 0 && isInPeriod(file, period));
  const sum = (value) => cameras.reduce((all, one) => all + value(one), 0);
  return {
    period, cameras, faulty,
    missing: sum((one) => one.missing), recovered: sum((one) => one.recovered),
    incomplete: cameras.filter((one) => one.incomplete).length,
    repairable: faulty.filter((file) => file.repairable).length,
  };
}

const RED_SHARE = 0.01;
const RULE = "Green: no camera has gaps and no file is damaged. Red: a camera misses at least 1 % of the period, or nothing was recorded. Amber: anything between.";

function colourOfVerdict(coverage) {
  const length = coverage.period.to - coverage.period.from;
  if (coverage.cameras.length === 0 || length === 0) return "red";
  if (coverage.cameras.some((one) => one.incomplete && one.missing >= length * RED_SHARE)) return "red";
  return coverage.incomplete > 0 || coverage.faulty.length > 0 ? "amber" : "green";
}

// "24 November: 4 of 8 cameras have gaps, 3 h 25 min missing; another 7 h 20 min recovered; 5 files damaged, 3 repairable."
function verdictText(label, coverage) {
  const cameras = plural(coverage.cameras.length, "camera");
  if (coverage.cameras.length === 0) return "No recordings.";
  if (coverage.period.from === coverage.period.to) return label + ": no recording in the period.";
  let text = label + ": ";
  if (coverage.incomplete > 0) text += coverage.incomplete + " of " + cameras + (coverage.incomplete === 1 ? " has" : " have") + " gaps";
  else text += "no gaps on " + cameras;
  if (coverage.missing > 0) text += ", " + lengthText(coverage.missing) + " missing";
  if (coverage.recovered > 0) text += "; another " + lengthText(coverage.recovered) + " recovered";
  if (coverage.faulty.length > 0) text += "; " + plural(coverage.faulty.length, "file") + " damaged, " + coverage.repairable + " repairable";
  return text + ".";
}
