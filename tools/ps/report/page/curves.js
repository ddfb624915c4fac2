// Bitrate and key distance of the chosen file.

const CURVE_HEIGHT = 110, CURVE_TOP = 6, CURVE_BOTTOM = 16;  // pixels

// Bars for rates, a stepped line for distances. Times are below, the largest value is in the caption.
function drawCurve(canvas, values, name, shape, labels) {
  canvas.parentElement.hidden = values.length === 0;
  const { context, width } = prepare(canvas, CURVE_HEIGHT);
  const largest = Math.max(...values, 0), bar = width / values.length, room = CURVE_HEIGHT - CURVE_TOP - CURVE_BOTTOM;
  if (values.length === 0 || largest === 0) return;
  const y = (value) => CURVE_TOP + room - value / largest * room;
  context.fillStyle = context.strokeStyle = colour(name);
  context.beginPath();
  values.forEach((value, i) => {
    if (shape === "bars") return context.fillRect(i * bar, y(value), Math.max(1, bar - 1), CURVE_TOP + room - y(value));
    context.lineTo(i * bar, y(value));
    context.lineTo((i + 1) * bar, y(value));
  });
  context.lineWidth = 1.5;
  if (shape === "line") context.stroke();
  context.fillStyle = colour("faint");
  context.font = "11px system-ui, sans-serif";
  context.fillText(labels[0], 0, CURVE_HEIGHT - 3);
  context.fillText(labels[1], width - context.measureText(labels[1]).width, CURVE_HEIGHT - 3);
}

function showCurves(file, view) {
  const curve = file && file.curve;
  const step = curve ? curve.step_ms : 0;
  const rates = curve ? curve.bytes.map((bytes) => bytes * 8 / step) : [];  // kbit/s
  const distances = curve ? curve.key_distance : [];
  const labels = file && file.first !== null ? [timeText(view.zone, file.first).slice(11), timeText(view.zone, file.last).slice(11)] : ["", ""];
  drawCurve(document.getElementById("bitrate"), rates, "type1", "bars", labels);
  drawCurve(document.getElementById("distance"), distances, "distance", "line", labels);
  const every = curve ? ", one value each " + lengthText(step) : "";
  document.getElementById("bitrate-caption").textContent = rates.length ? "Bitrate, up to " + Math.round(Math.max(...rates)) + " kbit/s" + every : "";
  document.getElementById("distance-caption").textContent = distances.length ? "Frames since a key frame, up to " + Math.max(...distances) + every : "";
}
