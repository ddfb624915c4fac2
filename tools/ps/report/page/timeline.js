// Draws the time line on one canvas: one row per camera, at the level of detail that fits the pixels.

const ROW = 24;  // pixels; same as in page.css
const STEPS = [SECOND, 5 * SECOND, 15 * SECOND, MINUTE, 5 * MINUTE, 15 * MINUTE, HOUR, 3 * HOUR, 6 * HOUR, 12 * HOUR, DAY, 2 * DAY,
  7 * DAY, 14 * DAY, 30 * DAY, 90 * DAY, 365 * DAY];

function colour(name) {
  return getComputedStyle(document.documentElement).getPropertyValue("--" + name).trim();
}

// Matches the canvas resolution to its size on the screen.
function prepare(canvas, height) {
  const width = canvas.clientWidth, ratio = window.devicePixelRatio || 1;
  canvas.width = Math.max(1, Math.round(width * ratio));
  canvas.height = Math.max(1, Math.round(height * ratio));
  canvas.style.height = height + "px";
  const context = canvas.getContext("2d");
  context.setTransform(ratio, 0, 0, ratio, 0, 0);
  context.clearRect(0, 0, width, height);
  return { context, width, height };
}

// Converts instants of the visible range to pixels.
function makeScale(view, width) {
  const factor = Math.max(1, width) / (view.to - view.from);
  const at = (instant) => (instant - view.from) * factor;
  // The visible part of an interval, at least a pixel wide.
  const box = (begin, end) => {
    const x = Math.max(0, at(begin));
    return { x, width: Math.max(1, Math.min(width, at(end)) - x) };
  };
  return { at, box, millisecondsPerPixel: 1 / factor };
}

function tickText(local, step) {
  const text = isoText(local);
  if (step >= DAY) return text.slice(0, 10);
  return local % DAY === 0 ? text.slice(5, 10) : step >= MINUTE ? text.slice(11, 16) : text.slice(11);
}

// Instants at round local times. Where the clock is put back, local times repeat, so the range can begin with a later one.
function ticks(view, width) {
  const step = STEPS.find((one) => (view.to - view.from) / one * 90 <= width) || STEPS[STEPS.length - 1];
  const { zone, from, to } = view, all = [];
  const putBack = Math.max(0, zone.toLocal(from) - from - (zone.toLocal(to) - to));
  for (let local = Math.ceil((zone.toLocal(from) - putBack) / step) * step; local <= zone.toLocal(to) + putBack; local += step)
    for (const at of zone.instantsOf(local)) if (at >= from && at <= to) all.push({ at, text: tickText(local, step) });
  return all.sort((a, b) => a.at - b.at);
}

function drawAxis(view) {
  const { context, width } = prepare(document.getElementById("axis"), 26);
  const scale = makeScale(view, width);
  context.font = "11px system-ui, sans-serif";
  context.fillStyle = colour("faint");
  for (const { at, text } of ticks(view, width)) {
    const x = scale.at(at), end = x + 4 + context.measureText(text).width;
    if (end <= width) context.fillText(text, x + 4, 16);
    context.fillRect(x, 6, 1, 20);
  }
  document.getElementById("range").textContent = timeText(view.zone, view.from) + " to " + timeText(view.zone, view.to) + " " + view.zone.nameIn(view.from, view.to) +
    ", " + lengthText(view.to - view.from);
}

// What is missing, and what became of it, below the recorded spans.
function drawRow(context, camera, view, scale, top, colours) {
  const inner = { top: top + 4, height: ROW - 8 };
  const fill = (begin, end, style) => {
    if (end <= view.from || begin >= view.to || begin >= end) return;
    const box = scale.box(begin, end);
    context.fillStyle = style;
    context.fillRect(box.x, inner.top, box.width, inner.height);
  };
  fill(view.from, view.known.from, colours.unkept);
  fill(view.known.from, view.known.to, colours.missing);
  for (const part of camera.parts) if (part.outcome !== "recovered") fill(part.begin, part.end, colours[part.outcome]);
  const level = levelFor(camera, scale.millisecondsPerPixel);
  for (let i = firstEndingAfter({ count: level.count, end: level.endUpTo }, view.from); i < level.count && level.begin[i] < view.to; ++i)
    if (level.end[i] > view.from) drawSpan(context, level, i, { ...scale.box(level.begin[i], level.end[i]), ...inner }, colours);
  context.globalAlpha = 1;
  for (const part of camera.parts) if (part.outcome === "recovered") fill(part.begin, part.end, colours.recovered);
  drawFaults(context, camera, view, scale, top, colours);
}

// The opacity shows the recorded share. Kinds are stacked by their shares.
function drawSpan(context, level, i, box, colours) {
  const covered = KINDS.reduce((sum, kind) => sum + level[kind][i], 0);
  const length = level.end[i] - level.begin[i];
  context.globalAlpha = length === 0 ? 1 : Math.max(0.25, Math.min(1, covered / length));
  let top = box.top;
  for (const kind of KINDS) {
    const height = level[kind][i] / covered * box.height;
    context.fillStyle = colours[kind];
    if (height > 0) context.fillRect(box.x, top, box.width, height);
    top += height;
  }
}

// A triangle at the begin of each faulty recording, at most one per pixel.
function drawFaults(context, camera, view, scale, top, colours) {
  let before = -Infinity;
  context.fillStyle = colours.bad;
  for (const file of camera.faultyFiles) {
    if (file.first === null || file.last < view.from || file.first >= view.to) continue;
    const x = Math.max(0, scale.at(file.first));
    if (x - before < 1) continue;
    before = x;
    context.beginPath();
    context.moveTo(x - 4, top);
    context.lineTo(x + 4, top);
    context.lineTo(x, top + 6);
    context.fill();
  }
}

// Stripes on a transparent or filled tile.
function stripes(context, line, background) {
  const tile = document.createElement("canvas");
  tile.width = tile.height = 6;
  const drawing = tile.getContext("2d");
  if (background) { drawing.fillStyle = background; drawing.fillRect(0, 0, 6, 6); }
  drawing.strokeStyle = line;
  for (const shift of [-6, 0, 6]) {
    drawing.moveTo(shift - 1, 7);
    drawing.lineTo(shift + 7, -1);
  }
  drawing.stroke();
  return context.createPattern(tile, "repeat");
}

function coloursFor(context) {
  const colours = Object.fromEntries(["missing", "absent", "refused", "failed", "open", "bad", ...KINDS].map((name) => [name, colour(name)]));
  colours.recovered = stripes(context, colour("recovered"));
  colours.unkept = stripes(context, colour("rule"), colour("paper"));
  return colours;
}

function drawSelection(context, view, scale, width, height) {
  const row = view.cameras.indexOf(view.camera), chosen = view.gap || view.part || (view.file && view.file.first !== null ? { begin: view.file.first, end: view.file.last } : null);
  const isVisible = (begin, end) => begin < view.to && end >= view.from;
  if (view.marked && isVisible(view.marked.from, view.marked.to)) {
    const box = scale.box(view.marked.from, view.marked.to);
    context.fillStyle = colour("mark");
    context.fillRect(box.x, 0, box.width, height);
  }
  if (row >= 0) {
    context.strokeStyle = colour("accent");
    context.strokeRect(0.5, row * ROW + 1.5, width - 1, ROW - 3);
  }
  if (row >= 0 && chosen && isVisible(chosen.begin, chosen.end)) {
    const box = scale.box(chosen.begin, chosen.end);
    context.strokeStyle = colour("ink");
    context.lineWidth = 2;
    context.strokeRect(box.x - 1, row * ROW + 3, box.width + 2, ROW - 6);
    context.lineWidth = 1;
  }
  if (view.instant !== null) {
    context.fillStyle = colour("ink");
    context.fillRect(scale.at(view.instant), 0, 1, height);
  }
}

function drawLine(view) {
  const height = Math.max(1, view.cameras.length) * ROW;
  const { context, width } = prepare(document.getElementById("line"), height);
  const scale = makeScale(view, width), colours = coloursFor(context);
  view.cameras.forEach((camera, row) => drawRow(context, camera, view, scale, row * ROW, colours));
  context.fillStyle = colour("grid");
  for (const { at } of ticks(view, width)) context.fillRect(scale.at(at), 0, 1, height);
  drawSelection(context, view, scale, width, height);
}
