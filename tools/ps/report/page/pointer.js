// Mouse, pen and touch on the time line: move, zoom, select, mark a range.

// The camera and the instant under the pointer.
function under(view, event) {
  const box = document.getElementById("line").getBoundingClientRect();
  const instant = view.from + (event.clientX - box.left) / box.width * (view.to - view.from);
  return { camera: view.cameras[Math.floor((event.clientY - box.top) / ROW)], instant };
}

function describeUnder(view, camera, instant) {
  if (instant < view.known.from) return "not kept";
  if (instant >= view.known.to) return "not yet";
  const gap = gapAt(view, camera, instant);
  if (gap) return gapText(gap);
  return recoveredAt(camera, instant) ? "recorded, recovered later" : "recorded";
}

function gapText(gap) {
  return "gap of " + lengthText(gap.length) + ", " + outcomeText(gap);
}

// The playhead crosses all rows. Its time is in the axis.
function showPlayhead(view, event) {
  const head = document.getElementById("playhead"), { camera, instant } = under(view, event);
  const box = document.getElementById("line").getBoundingClientRect();
  head.hidden = false;
  head.style.left = event.clientX - box.left + "px";
  head.firstChild.textContent = timeText(view.zone, instant).slice(11);
  head.classList.toggle("left", event.clientX - box.left > box.width - 80);
  showHover(view, event, camera, instant);
  if (camera) document.getElementById("under").textContent = camera.label + ", " + timeText(view.zone, instant) + ": " + describeUnder(view, camera, instant);
}

function listenToPointer(view) {
  const line = document.getElementById("line"), touches = new Map();
  let drag = null;
  const spread = () => {
    const [a, b] = [...touches.values()];
    return Math.max(10, Math.abs(a.clientX - b.clientX));
  };
  const pinch = (event) => {
    const before = spread();
    touches.set(event.pointerId, event);
    const [a, b] = [...touches.values()];
    zoom(view, before / spread(), under(view, { clientX: (a.clientX + b.clientX) / 2, clientY: a.clientY }).instant);
  };
  line.addEventListener("wheel", (event) => {
    if (!event.ctrlKey && !event.shiftKey && !event.metaKey) return;  // a plain wheel scrolls the rows
    event.preventDefault();
    zoom(view, event.deltaY + event.deltaX > 0 ? 1.3 : 1 / 1.3, under(view, event).instant);
  }, { passive: false });
  line.addEventListener("dblclick", (event) => zoom(view, 0.25, under(view, event).instant));
  line.addEventListener("pointerdown", (event) => {
    touches.set(event.pointerId, event);
    drag = { x: event.clientX, at: under(view, event).instant, camera: under(view, event).camera, from: view.from, to: view.to, moved: touches.size > 1, marks: event.shiftKey };
  });
  line.addEventListener("pointermove", (event) => {
    showPlayhead(view, event);
    if (touches.size > 1 && touches.has(event.pointerId)) return pinch(event);
    if (!drag || event.buttons === 0) return;
    drag.moved = drag.moved || Math.abs(drag.x - event.clientX) > 3;
    if (!drag.moved) return;
    if (drag.marks) {
      if (drag.camera) chooseCamera(view, drag.camera);
      return mark(view, drag.at, under(view, event).instant);
    }
    const by = (drag.x - event.clientX) / line.clientWidth * (drag.to - drag.from);
    setRange(view, drag.from + by, drag.to + by);
  });
  const release = (event) => { touches.delete(event.pointerId); drag = null; };
  line.addEventListener("pointerup", (event) => {
    const { camera, instant } = under(view, event);
    if (drag && !drag.moved && camera) chooseAt(view, camera, instant);
    release(event);
  });
  line.addEventListener("pointercancel", release);
  line.addEventListener("pointerleave", () => {
    for (const id of ["playhead", "hover"]) document.getElementById(id).hidden = true;
  });
}

function mark(view, a, b) {
  view.marked = { from: Math.round(Math.min(a, b)), to: Math.round(Math.max(a, b)) };
  view.changed("choice");
}
