// Keys on the time line. The help on the page lists them.

function chooseNeighbour(list, chosen, step, choose) {
  if (list.length === 0) return;
  const at = list.indexOf(chosen);
  choose(list[at < 0 ? 0 : Math.min(list.length - 1, Math.max(0, at + step))]);
}

// The first call marks an instant, the next one the range up to the selected instant.
function markInstant(view) {
  if (view.instant === null) return;
  const { marked } = view;
  if (marked && marked.from === marked.to) mark(view, marked.from, view.instant);
  else mark(view, view.instant, view.instant);
}

function listenToKeys(view) {
  const keys = {
    ArrowLeft: () => move(view, -0.2), ArrowRight: () => move(view, 0.2),
    "+": () => zoom(view, 0.5), "=": () => zoom(view, 0.5), "-": () => zoom(view, 2), Home: () => showPeriod(view),
    ArrowUp: () => chooseNeighbour(view.cameras, view.camera, -1, (camera) => chooseCamera(view, camera)),
    ArrowDown: () => chooseNeighbour(view.cameras, view.camera, 1, (camera) => chooseCamera(view, camera)),
    ",": () => view.camera && chooseNeighbour(view.camera.files, view.file, -1, (file) => chooseFile(view, file)),
    ".": () => view.camera && chooseNeighbour(view.camera.files, view.file, 1, (file) => chooseFile(view, file)),
    g: () => stepGap(view, 1), G: () => stepGap(view, -1), f: () => stepFault(view, 1), F: () => stepFault(view, -1),
    m: () => markInstant(view), Escape: () => { view.marked = null; choose(view, { instant: null }); },
    "[": () => stepPeriod(view, -1), "]": () => stepPeriod(view, 1),
  };
  document.getElementById("line").addEventListener("keydown", (event) => {
    const act = keys[event.key];
    if (!act || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    act();
  });
}
