// Bitrate and key distance of the chosen file.

function drawCurve(canvas, values, step, name) {
  canvas.parentElement.hidden = values.length === 0;
  const { context, width, height } = prepare(canvas, 110);
  const most = Math.max(...values, 0);
  if (values.length === 0 || most === 0) return;
  const bar = width / values.length;
  context.fillStyle = colour(name);
  values.forEach((value, i) => {
    const length = value / most * (height - 6);
    context.fillRect(i * bar, height - length, Math.max(1, bar - 1), length);
  });
}

function showCurves(file) {
  const curve = file && file.curve;
  const step = curve ? curve.step_ms : 0;
  const rates = curve ? curve.bytes.map((bytes) => bytes * 8 / step) : [];  // kbit/s
  const distances = curve ? curve.key_distance : [];
  drawCurve(document.getElementById("bitrate"), rates, step, "type1");
  drawCurve(document.getElementById("distance"), distances, step, "distance");
  const every = curve ? ", a bar each " + lengthText(step) : "";
  document.getElementById("bitrate-caption").textContent = rates.length ? "Bitrate, up to " + Math.round(Math.max(...rates)) + " kbit/s" + every : "";
  document.getElementById("distance-caption").textContent = distances.length ? "Frames since a key frame, up to " + Math.max(...distances) + every : "";
}
