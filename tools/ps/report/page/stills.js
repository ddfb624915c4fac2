// Small pictures of key frames: under the pointer, and as a film strip of the selected camera.

const STRIP_PICTURES = 200;

// The still that is nearest to an instant, or null.
function nearestStill(camera, instant) {
  let low = 0, high = camera.stills.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (camera.stills[middle].time > instant) high = middle; else low = middle + 1;
  }
  const before = camera.stills[low - 1], after = camera.stills[low];
  if (!before || !after) return before || after || null;
  return instant - before.time <= after.time - instant ? before : after;
}

function stillPicture(still, label) {
  if (still.jpeg === "") return element("span", still.obstacle, "obstacle");
  const made = element("img");
  made.src = "data:image/jpeg;base64," + still.jpeg;
  made.alt = label;
  made.decoding = "async";
  return made;
}

// Shows the nearest picture of the camera at the pointer.
function showHover(view, event, camera, instant) {
  const hover = document.getElementById("hover"), still = camera ? nearestStill(camera, instant) : null;
  hover.hidden = !still;
  if (!still) return;
  const label = camera.label + ", " + timeText(view.zone, still.time);
  hover.replaceChildren(stillPicture(still, label), element("span", timeText(view.zone, still.time).slice(11)));
  hover.style.left = Math.min(event.clientX + 16, innerWidth - 250) + "px";
  hover.style.top = (event.clientY + 220 > innerHeight ? event.clientY - 210 : event.clientY + 16) + "px";
}

// The pictures of the selected camera in the visible range, evenly thinned out if there are many.
function showStrip(view) {
  const strip = document.getElementById("strip"), { camera } = view;
  const inRange = camera ? camera.stills.filter((still) => still.time >= view.from && still.time <= view.to) : [];
  const step = Math.ceil(inRange.length / STRIP_PICTURES) || 1;
  strip.hidden = inRange.length === 0;
  strip.replaceChildren(...inRange.filter((still, i) => i % step === 0).map((still) => {
    const item = element("li"), button = element("button"), time = timeText(view.zone, still.time);
    button.type = "button";
    button.append(stillPicture(still, camera.label + ", " + time), element("small", shortTimeText(view.zone, still.time, view.from)));
    button.addEventListener("click", () => chooseAt(view, camera, still.time));
    item.append(button);
    return item;
  }));
}
