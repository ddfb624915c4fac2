// Connects the parts of the page.

function start() {
  const text = document.getElementById("document").textContent;
  if (toldWhenMade(text)) return;
  const data = decode(text);
  const view = makeView(data), tables = makeTables(view);
  let waiting = false, stripTimer = 0;

  // Combines several changes into one redraw.
  const draw = () => {
    if (waiting) return;
    waiting = true;
    requestAnimationFrame(() => {
      waiting = false;
      drawAxis(view);
      drawLine(view);
      writeAddress(view);
    });
    clearTimeout(stripTimer);
    stripTimer = setTimeout(() => showStrip(view), 100);
  };
  const showAnswers = () => {
    showVerdict(view);
    showCalendar(view);
    showAccounts(view);
    showTables(view, tables);
    showLineTable(view);
  };
  const showChoice = () => {
    showCameraList(view);
    showSelection(view);
    for (const table of Object.values(tables)) table.render();
    if (view.file) tables.files.reveal(view.file);
    revealRow(view);
  };
  const showForm = () => {
    document.getElementById("find").value = view.find;
    document.getElementById("faulty").checked = view.faultyOnly;
    document.getElementById("utc").checked = view.zone === view.utc;
  };
  const show = (what) => {
    if (what === "period" || what === "filter") showAnswers();
    if (what !== "range") showChoice();
    draw();
  };

  const on = (id, event, act) => document.getElementById(id).addEventListener(event, act);
  on("controls", "submit", (event) => event.preventDefault());
  on("find", "input", (event) => { view.find = event.target.value; filter(view); view.changed("filter"); });
  on("faulty", "change", (event) => { view.faultyOnly = event.target.checked; filter(view); view.changed("filter"); });
  on("utc", "change", (event) => { view.zone = event.target.checked ? view.utc : data.zone; view.changed("filter"); });
  on("earlier", "click", () => move(view, -0.5));
  on("later", "click", () => move(view, 0.5));
  on("closer", "click", () => zoom(view, 0.5));
  on("farther", "click", () => zoom(view, 2));
  on("whole", "click", () => showPeriod(view));
  on("next-gap", "click", () => stepGap(view, 1));
  on("next-fault", "click", () => stepFault(view, 1));
  on("copy", "click", copyCommand);
  on("before", "click", () => stepPeriod(view, -1));
  on("after", "click", () => stepPeriod(view, 1));
  for (const kind of ["day", "week", "month"]) on("by-" + kind, "click", () => changeKind(view, kind));
  listenToPointer(view);
  listenToKeys(view);
  window.addEventListener("resize", () => { draw(); showCurves(view.file, view); });
  window.addEventListener("beforeprint", () => { drawAxis(view); drawLine(view); });
  window.addEventListener("hashchange", () => { readAddress(view); showForm(); view.changed("filter"); });
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => { draw(); showCurves(view.file, view); });

  document.getElementById("rule").textContent = RULE;
  document.getElementById("utc").parentElement.hidden = data.zone.isUtc;
  showLegend(view);
  document.getElementById("notes").textContent = (data.notes || []).join(" ");
  const address = location.hash;
  chooseFirstPeriod(view);
  view.listen(show);
  if (address.length > 1) readAddress(view);
  showForm();
  show("period");
  if (data.watched) lookForNewer(data);
}

start();
