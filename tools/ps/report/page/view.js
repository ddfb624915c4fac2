// The state of the page: period, visible time range, filter and selection. Listeners redraw after changes.

const SHORTEST_RANGE = 2 * SECOND;

// The end of what is known. A day that is over is known to its end: a camera that stopped in it has a gap up to there.
function knownEnd(data) {
  if (data.to !== null) return data.to;
  const newest = data.extent.from < data.now ? Math.min(data.newest, data.now) : data.newest;  // a clock can be fast
  const dayEnd = dayPeriod(data.zone, dayOf(data.zone, newest - 1)).to;
  return dayEnd <= data.now ? Math.min(dayEnd, data.extent.to) : newest;
}

// What the time line can show: whole days, or only the period of the command line.
function boundsOf(data, known) {
  if (data.from !== null || data.to !== null) return known;
  const day = (instant) => dayPeriod(data.zone, dayOf(data.zone, instant));
  return { from: day(known.from).from, to: day(Math.max(known.from, known.to - 1)).to };
}

function makeView(data) {
  const listeners = [], known = { from: data.extent.from, to: Math.max(data.extent.from, knownEnd(data)) };
  // A file without a frame before or after all others counts on the first or the last day, so that no period misses it.
  if (data.from === null && data.to === null) {
    for (const file of data.files) if (file.placed !== null) file.placed = Math.max(known.from, Math.min(known.to - 1, file.placed));
  }
  const view = {
    data, known, bounds: boundsOf(data, known),
    from: 0, to: 1, period: null, day: 0, coverage: null,
    zone: data.zone, utc: makeZone([]),
    find: "", faultyOnly: false,
    cameras: data.cameras, camera: null, file: null, gap: null, part: null, instant: null, marked: null,
    listen(listener) { listeners.push(listener); },
    changed(what) { for (const listener of listeners) listener(what); },
  };
  return view;
}

// The last complete day, week or month; without one, the known part of it.
function lastComplete(view, kind) {
  const { zone } = view.data, { from, to } = view.known;
  const newest = periodDays(kind, dayOf(zone, Math.max(from, to - 1)));
  if (dayPeriod(zone, newest.first, newest.count).to <= to) return newest.first;
  const before = periodDays(kind, newest.first - 1);
  return dayPeriod(zone, before.first, before.count).to > from ? before.first : newest.first;
}

// Chooses the day, week or month that contains a day. Time before the oldest recording was not kept and does not count.
function choosePeriod(view, kind, day) {
  const days = periodDays(kind, day);
  const whole = dayPeriod(view.data.zone, days.first, days.count);
  const period = { from: Math.max(whole.from, view.known.from), to: Math.min(whole.to, view.known.to) };
  if (!(period.from < period.to)) return;
  view.day = day;
  setPeriod(view, { kind, ...days, ...period });
}

// The day that was chosen last, or the nearest one that is known.
function changeKind(view, kind) {
  const { known, data } = view, first = dayOf(data.zone, known.from), last = dayOf(data.zone, Math.max(known.from, known.to - 1));
  choosePeriod(view, kind, Math.min(last, Math.max(first, view.day)));
}

// The period of the command line, or the last complete one.
function chooseFirstPeriod(view) {
  const { data } = view;
  if (data.from === null && data.to === null) return choosePeriod(view, data.period, lastComplete(view, data.period));
  const { from, to } = view.known, first = dayOf(data.zone, from), last = dayOf(data.zone, to - 1);
  setPeriod(view, { kind: "given", first, count: last - first + 1, from, to });
}

function labelOf(view, { kind, first, count, from, to }) {
  const { zone, now } = view.data, whole = dayPeriod(zone, first, count);
  if (kind !== "given") return periodText(kind, { first, count }, now);
  if (whole.from === from && whole.to === to) return periodText(count === 1 ? "day" : "days", { first, count }, now);
  return timeText(view.zone, from) + " to " + shortTimeText(view.zone, to, from);
}

function setPeriod(view, period) {
  view.period = period;
  view.coverage = coverageOfAll(view.data, period);
  view.gap = view.part = null;
  filter(view);
  showPeriod(view);
  view.changed("period");
}

// Shows the whole period, also the time that was not kept.
function showPeriod(view) {
  const { first, count } = view.period, { bounds } = view, whole = dayPeriod(view.data.zone, first, count);
  setRange(view, Math.max(whole.from, bounds.from), Math.min(whole.to, bounds.to));
}

function stepPeriod(view, step) {
  const { kind, first, count } = view.period;
  if (kind !== "given") choosePeriod(view, kind, step < 0 ? first - 1 : first + count);
}

function setRange(view, from, to) {
  const { bounds } = view, longest = Math.max(bounds.to - bounds.from, SHORTEST_RANGE);
  const length = Math.min(Math.max(to - from, SHORTEST_RANGE), longest), middle = (from + to) / 2;
  view.from = Math.max(bounds.from, Math.min(middle - length / 2, bounds.from + longest - length));
  view.to = view.from + length;
  view.changed("range");
}

// The middle of what is selected, if it is visible.
function selectedInstant(view) {
  const { file } = view, part = view.gap || view.part;
  const middle = part ? (part.begin + part.end) / 2 : file && file.first !== null ? (file.first + file.last) / 2 : view.instant;
  return middle !== null && middle >= view.from && middle <= view.to ? middle : null;
}

// Zooms with the selection in the middle, or around the given instant, which keeps its place.
function zoom(view, factor, around = null) {
  const length = (view.to - view.from) * factor;
  const middle = selectedInstant(view);
  if (around === null && middle !== null) return setRange(view, middle - length / 2, middle + length / 2);
  const fixed = around === null ? (view.from + view.to) / 2 : around;
  const from = fixed - (fixed - view.from) * factor;
  setRange(view, from, from + length);
}

function move(view, share) {
  const by = (view.to - view.from) * share;
  setRange(view, view.from + by, view.to + by);
}

// Moves the visible range so that an interval is in it.
function show(view, begin, end) {
  if (begin >= view.from && end <= view.to) return;
  const length = Math.max(view.to - view.from, (end - begin) * 1.5), middle = (begin + end) / 2;
  setRange(view, middle - length / 2, middle + length / 2);
}

function matches(view, camera, file) {
  if (view.faultyOnly && !(file ? file.faults > 0 : camera && camera.faulty > 0)) return false;
  const find = view.find.toLowerCase();
  if (find === "") return true;
  const texts = (camera ? [...camera.names, camera.id] : []).concat(file ? [file.path] : []);
  if (texts.some((text) => text.toLowerCase().includes(find))) return true;
  return !file && camera.files.some((one) => one.path.toLowerCase().includes(find));
}

// The cameras that the filter leaves, in the order of the verdict: the longest missing time first.
function filter(view) {
  view.cameras = view.coverage.cameras.map((one) => one.camera).filter((camera) => matches(view, camera, null));
  if (!view.cameras.includes(view.camera)) chooseCamera(view, view.cameras[0] || null);
}

function choose(view, chosen) {
  Object.assign(view, { file: null, gap: null, part: null }, chosen);
  view.changed("choice");
}

function chooseCamera(view, camera) {
  if (view.camera !== camera) choose(view, { camera, instant: null });
}

function chooseFile(view, file) {
  choose(view, { camera: file.camera === null ? null : view.data.cameras[file.camera], file, instant: file.first });
  if (file.camera !== null && file.first !== null) show(view, file.first, file.last);
}

function chooseGap(view, gap) {
  choose(view, { camera: gap.camera, gap, instant: gap.begin });
  show(view, gap.begin, gap.end);
}

// Selects what is at an instant: a gap, or the recording that began last with the lost time that it recovered.
function chooseAt(view, camera, instant) {
  const gap = gapAt(view, camera, instant);
  if (gap) return choose(view, { camera, gap, instant });
  choose(view, { camera, file: fileAt(camera, instant), part: recoveredAt(camera, instant), instant });
}

function recoveredAt(camera, instant) {
  return partsIn(camera, instant, instant + 1).find((part) => part.outcome === "recovered") || null;
}

// The gap at the instant: that of the period, or of the known time outside the period.
function gapAt(view, camera, instant) {
  const inPeriod = gapsIn(camera, view.period).find((gap) => gap.begin <= instant && instant < gap.end);
  if (inPeriod) return inPeriod;
  const { gaps } = camera, i = firstEndingAfter(gaps, instant);
  if (i === gaps.count || gaps.begin[i] > instant) return null;
  return describeGap(camera, Math.max(gaps.begin[i], view.known.from), Math.min(gaps.end[i], view.known.to));
}

// Of overlapping recordings, the one that began last.
function fileAt(camera, instant) {
  let low = 0, high = camera.files.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if ((camera.files[middle].first || 0) > instant) high = middle; else low = middle + 1;
  }
  let ended = null;  // its last frame may last until the instant
  for (let at = low - 1; at >= 0 && camera.endUpTo[at] >= instant - SECOND; --at) {
    const file = camera.files[at];
    if (file.first === null || file.last + SECOND < instant) continue;
    if (file.last >= instant) return file;
    ended = ended || file;
  }
  return ended;
}

// Steps to the next gap of the period, by time, over all cameras.
function stepGap(view, step) {
  const gaps = view.coverage.cameras.filter((one) => view.cameras.includes(one.camera)).flatMap((one) => one.gaps);
  gaps.sort((a, b) => a.begin - b.begin || a.camera.number - b.camera.number);
  if (gaps.length === 0) return;
  let at = view.gap ? gaps.findIndex((gap) => gap.camera === view.gap.camera && gap.begin === view.gap.begin) : -1;
  if (at >= 0) at += step;
  else if (view.instant === null) at = step > 0 ? 0 : gaps.length - 1;
  else at = gaps.filter((gap) => gap.begin <= view.instant).length - (step > 0 ? 0 : 1);
  chooseGap(view, gaps[(at + gaps.length) % gaps.length]);
}

function stepFault(view, step) {
  const files = view.coverage.faulty.filter((file) => matches(view, view.data.cameras[file.camera], file));
  files.sort((a, b) => (a.first || 0) - (b.first || 0));
  const at = files.indexOf(view.file);
  if (files.length > 0) chooseFile(view, files[at < 0 ? (step > 0 ? 0 : files.length - 1) : (at + step + files.length) % files.length]);
}
