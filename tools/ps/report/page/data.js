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

// The first span that ends after the instant. Spans overlap only at level 0, and only briefly.
function firstEndingAfter(level, instant) {
  let low = 0, high = level.count;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (level.end[middle] > instant) high = middle; else low = middle + 1;
  }
  return low;
}

function decodeFile(row, number) {
  const [path, first, last, frames, keys, bytes, faults, mendable, fault, camera, curve] = row;
  return { number, path, first, last, frames, keys, bytes, faults, mendable, fault, camera, curve };
}

function decode(text) {
  const data = JSON.parse(text);
  data.files = data.files.map(decodeFile);
  data.cameras.forEach((camera, number) => {
    camera.number = number;
    camera.label = camera.name || "(no name)";
    camera.levels = [decodeSpans(camera)];
    camera.files = [];
    camera.faulty = 0;
  });
  for (const file of data.files) {
    const camera = data.cameras[file.camera];
    camera.files.push(file);
    if (file.faults > 0) ++camera.faulty;
  }
  for (const camera of data.cameras) camera.files.sort((a, b) => (a.first || 0) - (b.first || 0));
  data.range = wholeRange(data.cameras);
  return data;
}

function wholeRange(cameras) {
  let from = Infinity, to = -Infinity;
  for (const { levels: [level] } of cameras) {
    if (level.count === 0) continue;
    from = Math.min(from, level.begin[0]);
    for (let i = 0; i < level.count; ++i) to = Math.max(to, level.end[i]);
  }
  if (from > to) return { from: 0, to: DAY };
  const margin = Math.max(SECOND, (to - from) * 0.01);
  return { from: from - margin, to: to + margin };
}
