// Decodes the page's JSON document into arrays for fast searches.

const TYPE_1 = 0x80, TYPE_3 = 0x40;
const KINDS = ["type1", "type3", "other"];  // recording kinds; also the names of their colours

function kindOf(bits) {
  return bits & TYPE_1 ? "type1" : bits & TYPE_3 ? "type3" : "other";
}

// A level of detail: the begin and end of each span, and its recorded time by kind. A coarser level merges spans that are
// at most `bridged` apart.
function newLevel(room, bridged) {
  const level = { bridged, count: 0, begin: new Float64Array(room), end: new Float64Array(room) };
  for (const kind of KINDS) level[kind] = new Float64Array(room);
  return level;
}

function decodeSpans(camera) {
  const level = newLevel(camera.spans.length / 3, 0);
  let begin = camera.begin || 0;
  for (let at = 0; at < camera.spans.length; at += 3) {
    begin += camera.spans[at];
    const length = camera.spans[at + 1], i = level.count++;
    level.begin[i] = begin;
    level.end[i] = begin + length;
    level[kindOf(camera.spans[at + 2])][i] = Math.max(1, length);
  }
  camera.spans = null;
  let end = -Infinity;
  level.endUpTo = level.end.map((one) => end = Math.max(end, one));  // a span can contain the next one
  return level;
}

function coarser(level, bridged) {
  const next = newLevel(level.count, bridged);
  for (let i = 0; i < level.count; ++i) {
    if (next.count === 0 || level.begin[i] - next.end[next.count - 1] > bridged) next.begin[next.count++] = level.begin[i];
    const last = next.count - 1;
    next.end[last] = Math.max(next.end[last], level.end[i]);
    for (const kind of KINDS) next[kind][last] += level[kind][i];
  }
  next.endUpTo = next.end;
  return next;
}

// Computes coarser levels on first use.
function levelFor(camera, millisecondsPerPixel) {
  let at = 0;
  for (let bridged = 4 * SECOND; bridged <= millisecondsPerPixel; bridged *= 4) {
    if (++at === camera.levels.length) camera.levels.push(coarser(camera.levels[at - 1], bridged));
  }
  return camera.levels[at];
}

// The first interval that ends after the instant, of `count` ends in ascending order.
function firstEndingAfter({ count, end }, instant) {
  let low = 0, high = count;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (end[middle] > instant) high = middle; else low = middle + 1;
  }
  return low;
}

// The gaps of a camera with the sum of the lengths before each.
function decodeGaps(flat) {
  const count = flat.length / 2;
  const gaps = { count, begin: new Float64Array(count), end: new Float64Array(count), before: new Float64Array(count + 1) };
  for (let i = 0, begin = 0; i < count; ++i) {
    begin += flat[2 * i];
    gaps.begin[i] = begin;
    gaps.end[i] = begin + flat[2 * i + 1];
    gaps.before[i + 1] = gaps.before[i] + flat[2 * i + 1];
  }
  return gaps;
}

// Only rows of files without a frame have the local time of the path.
function decodeFile(row, number, zone) {
  const [path, first, last, frames, keys, bytes, faults, repairable, fault, camera, curve, local = null] = row;
  const placed = local === null ? null : zone.toUtc(local);
  return { number, path, first, last, frames, keys, bytes, faults, repairable, fault, camera, curve, placed };
}

// The names that show something: spaces and invisible characters alone do not.
function labelOfCamera({ names, id }) {
  return names.map((name) => name.trim()).filter((name) => /[^\s\p{Z}\p{Cc}\p{Cf}]/u.test(name)).join(", ") || id || "(no name)";
}

// Gives each camera its files by time, and the largest end up to each of them.
function assignFiles(data) {
  for (const file of data.files) {
    if (file.camera !== null) data.cameras[file.camera].files.push(file);
  }
  for (const camera of data.cameras) {
    camera.files.sort((a, b) => (a.first || 0) - (b.first || 0));
    camera.faultyFiles = camera.files.filter((file) => file.faults > 0);
    camera.faulty = camera.faultyFiles.length;
    let end = -Infinity;
    camera.endUpTo = camera.files.map((file) => end = Math.max(end, file.last || 0));
  }
}

function decode(text) {
  const data = JSON.parse(text);
  data.zone = makeZone(data.zone);
  data.extent = { from: data.extent[0], to: data.extent[1] };
  data.files = data.files.map((row, number) => decodeFile(row, number, data.zone));
  data.outliers = data.outliers.map((number) => data.files[number]);
  data.cameras.forEach((camera, number) => {
    camera.number = number;
    camera.label = labelOfCamera(camera);
    camera.levels = [decodeSpans(camera)];
    camera.gaps = decodeGaps(camera.gaps);
    camera.parts = [];
    camera.stills = (camera.stills || []).map(([time, jpeg, obstacle]) => ({ time, jpeg, obstacle }));
    camera.hasLog = data.parts !== null;
    camera.files = [];
  });
  assignFiles(data);
  assignParts(data);
  return data;
}

// Gives each camera what the log tells about its lost time: parts of equal outcome, by time. Of cameras that share an id, the
// first one gets it. Lost time of a camera without recordings is in `data.lostElsewhere`.
function assignParts(data) {
  data.lostElsewhere = new Map();
  const byId = new Map(data.cameras.map((camera) => [camera.id, camera]).reverse());
  for (const [id, begin, length, outcome, reason] of data.parts || []) {
    const camera = byId.get(id), part = { begin, end: begin + length, outcome, reason };
    if (camera) camera.parts.push(part);
    else data.lostElsewhere.set(id, [...data.lostElsewhere.get(id) || [], part]);
  }
}
