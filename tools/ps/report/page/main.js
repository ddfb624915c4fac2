// Connects the parts of the page.

function start() {
  const data = decode(document.getElementById("document").textContent);
  const view = makeView(data);
  let shownFiles = FILES_AT_ONCE;
  let waiting = false;

  // Combines several changes into one redraw.
  const draw = () => {
    if (waiting) return;
    waiting = true;
    requestAnimationFrame(() => { waiting = false; drawAxis(view); drawLine(view); });
  };
  const showAll = (what) => {
    if (what !== "range") {
      if (what === "filter") shownFiles = FILES_AT_ONCE;
      showCameraList(view);
      showCamera(view);
      showFile(view);
      showOverview(view);
      showFiles(view, data, shownFiles);
    }
    draw();
  };
  view.listen(showAll);

  const on = (id, event, act) => document.getElementById(id).addEventListener(event, act);
  on("controls", "submit", (event) => event.preventDefault());
  on("find", "input", (event) => { view.find = event.target.value; filter(view, data); });
  on("faulty", "change", (event) => { view.faultyOnly = event.target.checked; filter(view, data); });
  on("earlier", "click", () => move(view, data, -0.5));
  on("later", "click", () => move(view, data, 0.5));
  on("closer", "click", () => zoom(view, data, 0.5));
  on("farther", "click", () => zoom(view, data, 2));
  on("whole", "click", () => setRange(view, data, data.range.from, data.range.to));
  on("more", "click", () => { shownFiles += FILES_AT_ONCE; showFiles(view, data, shownFiles); });
  listenToPointer(view, data);
  listenToKeys(view, data);
  window.addEventListener("resize", () => { draw(); showCurves(view.file); });
  window.addEventListener("beforeprint", () => { drawAxis(view); drawLine(view); });
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => { draw(); showCurves(view.file); });

  showSummary(data);
  showAccounts(data);
  showAll("everything");
}

start();
