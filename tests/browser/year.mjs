// Writes the output of `norvanepi-ps verify --json` for a year of 64 cameras: half a million spans in 64,000 files.
// Usage: node year.mjs FILE

import { createWriteStream } from "node:fs";

const CAMERAS = 64, FILES = 1000, SPANS = 8;  // files per camera, spans per file
const YEAR = 365 * 86_400_000, BEGIN = Date.UTC(2025, 0, 1);

let state = 1;
function random() {  // the same sequence in every run
  state = (state * 1103515245 + 12345) % 2147483648;
  return state / 2147483648;
}

const time = (instant) => new Date(Math.round(instant)).toISOString();

function fileOf(camera, number) {
  let at = BEGIN + (number + random() * 0.3) * YEAR / FILES;
  const spans = [];
  for (let i = 0; i < SPANS; ++i) {
    const length = (0.02 + random() * 0.1) * YEAR / FILES;
    spans.push({ slot: 0, kind: random() < 0.8 ? 128 : 64, first: time(at), last: time(at + length) });
    at += length + 2000 + random() * random() * 600_000;
  }
  const id = (0x00A10080 + camera * 256).toString(16).toUpperCase().padStart(8, "0");
  const faulty = random() < 0.002;
  return {
    path: `recorder${camera % 4}/${time(BEGIN).slice(0, 10)}/${number}-${id}e.ps`, clip_id: id, local_start: null,
    first: spans[0].first, last: spans[SPANS - 1].last, frames: 20_000, key_frames: 400, bytes: 60_000_000, index_bytes: 641_000,
    streams: [{ slot: 0, id: 208, type: 133, name: `Camera ${camera + 1}`, width: 1920, height: 1072, frames: 20_000 }],
    spans, verified: !faulty, mendable: faulty, fault_count: faulty ? 1 : 0,
    faults: faulty ? [{ file: "x", offset: 20, entry: null, text: "100 entries, but 52 complete packets in the data file", mendable: true }] : [],
    curve: { step_ms: 16000, bytes: [2_000_000, 2_100_000, 1_900_000], key_distance: [49, 49, 49] },
  };
}

const out = createWriteStream(process.argv[2]);
out.write('{"schema":1,"recordings":[');
for (let camera = 0; camera < CAMERAS; ++camera) {
  for (let number = 0; number < FILES; ++number) {
    out.write((camera + number > 0 ? ",\n" : "\n") + JSON.stringify(fileOf(camera, number)));
  }
}
out.end(`],"recording_count":${CAMERAS * FILES},"faulty_count":0}\n`);
