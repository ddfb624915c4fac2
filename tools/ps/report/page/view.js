// The state of the page: visible time range, filter and selection. Listeners redraw after changes.

const SHORTEST_RANGE = 2 * SECOND;

function makeView(data) {
  const listeners = [];
  const view = {
    from: data.range.from, to: data.range.to,
    find: "", faultyOnly: false,
    cameras: data.cameras, camera: data.cameras[0] || null, file: null,
    listen(listener) { listeners.push(listener); },
    changed(what) { for (const listener of listeners) listener(what); },
  };
  return view;
}

function setRange(view, data, from, to) {
  const longest = data.range.to - data.range.from;
  const length = Math.min(Math.max(to - from, SHORTEST_RANGE), Math.max(longest, SHORTEST_RANGE));
  const middle = (from + to) / 2;
  view.from = Math.max(data.range.from, Math.min(middle - length / 2, data.range.to - length));
  view.to = view.from + length;
  view.changed("range");
}

// Zooms around an instant.
function zoom(view, data, factor, around = (view.from + view.to) / 2) {
  const from = around - (around - view.from) * factor;
  setRange(view, data, from, from + (view.to - view.from) * factor);
}

function move(view, data, share) {
  const by = (view.to - view.from) * share;
  setRange(view, data, view.from + by, view.to + by);
}

function matches(view, camera, file) {
  if (view.faultyOnly && !(file ? file.faults > 0 : camera.faulty > 0)) return false;
  const find = view.find.toLowerCase();
  if (find === "") return true;
  const texts = [camera.label, camera.id].concat(file ? [file.path] : camera.files.length <= 1000 ? camera.files.map((one) => one.path) : []);
  return texts.some((text) => text.toLowerCase().includes(find));
}

function filter(view, data) {
  view.cameras = data.cameras.filter((camera) => matches(view, camera, null));
  if (!view.cameras.includes(view.camera)) view.camera = view.cameras[0] || null;
  view.changed("filter");
}

function chooseCamera(view, camera) {
  if (view.camera === camera) return;
  view.camera = camera;
  view.file = null;
  view.changed("choice");
}

function chooseFile(view, data, file) {
  view.file = file;
  view.camera = data.cameras[file.camera];
  view.changed("choice");
}

// The camera's recording at the instant, or the one before it.
function fileAt(camera, instant) {
  let low = 0, high = camera.files.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if ((camera.files[middle].first || 0) > instant) high = middle; else low = middle + 1;
  }
  return low > 0 ? camera.files[low - 1] : null;
}
