// Draws the time line on one canvas: one row per camera, at the level of detail that fits the pixels.

const ROW = 24;  // pixels; same as in page.css
const STEPS = [SECOND, 5 * SECOND, 15 * SECOND, MINUTE, 5 * MINUTE, 15 * MINUTE, HOUR, 3 * HOUR, 6 * HOUR, 12 * HOUR, DAY, 2 * DAY, 7 * DAY, 14 * DAY, 30 * DAY, 90 * DAY, 365 * DAY];

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

function tickText(instant, step) {
  const text = timeText(instant);
  if (step >= DAY) return text.slice(0, 10);
  return instant % DAY === 0 ? text.slice(5, 10) : step >= MINUTE ? text.slice(11, 16) : text.slice(11);
}

function ticks(view, width) {
  const step = STEPS.find((one) => (view.to - view.from) / one * 90 <= width) || STEPS[STEPS.length - 1];
  const all = [];
  for (let at = Math.ceil(view.from / step) * step; at <= view.to; at += step) all.push(at);
  return { step, all };
}

function drawAxis(view) {
  const { context, width } = prepare(document.getElementById("axis"), 26);
  const { step, all } = ticks(view, width);
  context.font = "11px system-ui, sans-serif";
  context.fillStyle = colour("faint");
  context.strokeStyle = colour("rule");
  for (const at of all) {
    const x = (at - view.from) / (view.to - view.from) * width;
    context.fillText(tickText(at, step), x + 4, 16);
    context.fillRect(x, 6, 1, 20);
  }
  document.getElementById("range").textContent = timeText(view.from) + " to " + timeText(view.to) + " UTC, " + lengthText(view.to - view.from);
}

function drawRow(context, camera, view, width, top, colours) {
  const scale = width / (view.to - view.from);
  const level = levelFor(camera, 1 / scale);
  context.fillStyle = colours.gap;
  context.fillRect(0, top + 4, width, ROW - 8);
  for (let i = firstEndingAfter(level, view.from); i < level.count && level.begin[i] < view.to; ++i) {
    const x = Math.max(0, (level.begin[i] - view.from) * scale);
    const end = Math.min(width, (level.end[i] - view.from) * scale);
    drawSpan(context, level, i, { x, width: Math.max(1, end - x), top: top + 4, height: ROW - 8 }, colours);
  }
  context.globalAlpha = 1;
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

function drawChosenFile(context, view, width) {
  const row = view.cameras.indexOf(view.camera);
  if (row < 0) return;
  context.strokeStyle = colour("accent");
  context.strokeRect(0.5, row * ROW + 1.5, width - 1, ROW - 3);
  if (!view.file || view.file.first === null) return;
  const scale = width / (view.to - view.from);
  const x = (view.file.first - view.from) * scale;
  context.strokeStyle = colour("ink");
  context.lineWidth = 2;
  context.strokeRect(x - 1, row * ROW + 3, Math.max(3, (view.file.last - view.file.first) * scale + 2), ROW - 6);
  context.lineWidth = 1;
}

function drawLine(view) {
  const { context, width } = prepare(document.getElementById("line"), Math.max(ROW, view.cameras.length * ROW));
  const colours = Object.fromEntries(["gap", ...KINDS].map((name) => [name, colour(name)]));
  view.cameras.forEach((camera, row) => drawRow(context, camera, view, width, row * ROW, colours));
  context.fillStyle = colour("paper");
  for (const at of ticks(view, width).all) context.fillRect((at - view.from) / (view.to - view.from) * width, 0, 1, view.cameras.length * ROW);
  drawChosenFile(context, view, width);
}

// The camera and the instant under the pointer.
function under(view, event) {
  const box = document.getElementById("line").getBoundingClientRect();
  const instant = view.from + (event.clientX - box.left) / box.width * (view.to - view.from);
  return { camera: view.cameras[Math.floor((event.clientY - box.top) / ROW)], instant };
}

function tellUnder(view, event) {
  const { camera, instant } = under(view, event);
  if (!camera) return;
  const [level] = camera.levels;
  const next = firstEndingAfter(level, instant);
  const recorded = next < level.count && level.begin[next] <= instant;
  const gap = !recorded && next > 0 && next < level.count ? ", a gap of " + lengthText(level.begin[next] - level.end[next - 1]) : "";
  document.getElementById("under").textContent = camera.label + ", " + timeText(instant) + ": " + (recorded ? "recorded" : "nothing recorded" + gap);
}

function listenToPointer(view, data) {
  const line = document.getElementById("line");
  let drag = null;
  line.addEventListener("wheel", (event) => {
    if (!event.ctrlKey && !event.shiftKey && !event.metaKey) return;  // a plain wheel scrolls the rows
    event.preventDefault();
    zoom(view, data, event.deltaY + event.deltaX > 0 ? 1.3 : 1 / 1.3, under(view, event).instant);
  }, { passive: false });
  line.addEventListener("dblclick", (event) => zoom(view, data, 0.25, under(view, event).instant));
  line.addEventListener("pointerdown", (event) => { drag = { x: event.clientX, from: view.from, to: view.to, moved: false }; });
  line.addEventListener("pointermove", (event) => {
    tellUnder(view, event);
    if (!drag || event.buttons === 0) return;
    const by = (drag.x - event.clientX) / line.clientWidth * (drag.to - drag.from);
    drag.moved = drag.moved || Math.abs(drag.x - event.clientX) > 3;
    if (drag.moved) setRange(view, data, drag.from + by, drag.to + by);
  });
  line.addEventListener("pointerup", (event) => {
    if (drag && !drag.moved) chooseUnder(view, data, event);
    drag = null;
  });
}

function chooseUnder(view, data, event) {
  const { camera, instant } = under(view, event);
  if (!camera) return;
  chooseCamera(view, camera);
  const tolerance = (view.to - view.from) / document.getElementById("line").clientWidth * 2;
  const file = fileAt(camera, instant + tolerance);
  if (file && file.first !== null && file.last + tolerance >= instant) chooseFile(view, data, file);
}

function chooseNeighbour(list, chosen, step, choose) {
  if (list.length === 0) return;
  const at = list.indexOf(chosen);
  choose(list[at < 0 ? 0 : Math.min(list.length - 1, Math.max(0, at + step))]);
}

function listenToKeys(view, data) {
  const keys = {
    ArrowLeft: () => move(view, data, -0.2), ArrowRight: () => move(view, data, 0.2),
    "+": () => zoom(view, data, 0.5), "=": () => zoom(view, data, 0.5), "-": () => zoom(view, data, 2),
    Home: () => setRange(view, data, data.range.from, data.range.to),
    ArrowUp: () => chooseNeighbour(view.cameras, view.camera, -1, (camera) => chooseCamera(view, camera)),
    ArrowDown: () => chooseNeighbour(view.cameras, view.camera, 1, (camera) => chooseCamera(view, camera)),
    ",": () => view.camera && chooseNeighbour(view.camera.files, view.file, -1, (file) => chooseFile(view, data, file)),
    ".": () => view.camera && chooseNeighbour(view.camera.files, view.file, 1, (file) => chooseFile(view, data, file)),
  };
  document.getElementById("line").addEventListener("keydown", (event) => {
    const act = keys[event.key];
    if (!act || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    act();
  });
}
