// Writes the output of `norvanepi-ps verify --json` for days whose truth is known, one document for each.
// Usage: node days.mjs FOLDER

import { writeFileSync } from "node:fs";

const SECOND = 1000, MINUTE = 60 * SECOND, HOUR = 60 * MINUTE, FRAME = 40;
const iso = (instant) => new Date(instant).toISOString();

// Central Europe: one hour ahead of UTC, in summer two.
const SUMMER = [Date.UTC(2026, 2, 29, 1), Date.UTC(2026, 9, 25, 1)];
const localOf = (instant) => instant + (instant >= SUMMER[0] && instant < SUMMER[1] ? 2 : 1) * HOUR;

function recording(id, name, begin, end, extra = {}) {
  const local = iso(localOf(begin)), empty = begin === end;
  const path = extra.path || `recordings/${local.slice(0, 4)}/${local.slice(5, 7)}/${local.slice(8, 10)}/${local.slice(11, 13)}/${local.slice(14, 16)}${local.slice(17, 19)}-${id}e.ps`;
  const first = empty ? null : iso(begin), last = empty ? null : iso(end - FRAME);
  const { faults = 0, repairable = false } = extra;
  return {
    path, clip_id: id, local_start: local.slice(0, 19), first, last, frames: empty ? 0 : (end - begin) / FRAME, key_frames: empty ? 0 : 1, bytes: empty ? 0 : 1_000_000, index_bytes: 0,
    streams: empty ? [] : [{ slot: 0, id: 208, type: 133, name, width: 640, height: 480, frames: 1 }],
    spans: empty ? [] : [{ slot: 0, kind: 128, first, last }], recorded: empty ? [] : [{ first, last, end: iso(end) }],
    verified: faults === 0, mendable: repairable, fault_count: faults,
    faults: faults === 0 ? [] : [{ file: path, offset: 0, entry: null, text: empty ? "empty" : "1 entry, but 2 complete packets in the data file", mendable: repairable }],
    curve: { step_ms: 60_000, bytes: Array(60).fill(1_000_000), key_distance: Array(60).fill(49) }, path_contradicts: false,
  };
}

// Hourly recordings of the intervals. The first one of `faulty` has a repairable fault.
function camera(id, name, intervals, faulty = false) {
  const all = [];
  for (const [from, to] of intervals) {
    for (let begin = from; begin < to; begin = Math.min(to, Math.floor(begin / HOUR) * HOUR + HOUR))
      all.push(recording(id, name, begin, Math.min(to, Math.floor(begin / HOUR) * HOUR + HOUR), faulty && all.length === 0 && begin === from ? { faults: 1, repairable: true } : {}));
  }
  return all;
}

function write(name, recordings) {
  writeFileSync(`${process.argv[2]}/${name}.json`, JSON.stringify({ schema: 1, recordings, recording_count: recordings.length, faulty_count: 0, cameras: [], unusable: [] }));
}

const day = Date.UTC(2026, 10, 23, 23), before = day - 24 * HOUR, end = day + 24 * HOUR;  // 24 November 2026, local
const at = (hours, minutes = 0, seconds = 0) => day + hours * HOUR + minutes * MINUTE + seconds * SECOND;
const faultyHour = camera("00A10280", "Yard", [[at(3), at(4)]], true);
write("day", [
  ...camera("00A10180", "Gate", [[before, at(10)], [at(10, 0, 3), end]]),
  ...camera("00A10280", "Yard", [[before, at(3)], [at(4), at(16, 39)]]), ...faultyHour,
  ...camera("00A10380", "Door", [[at(8), end]]),
  ...camera("00A10480", "Hall", [[before, day - 30 * MINUTE], [at(0, 45), end]]),
  ...camera("00A10580", "Lobby", [[before, at(12)]]), ...camera("00A10580", "Reception", [[at(12), end]]),
  ...camera("00A10680", "Ramp", [[before, end]]), ...camera("00A10680", "Ramp 2", [[before, end]]),
  ...camera("00A10780", "Roof", [[before, end]]),
  recording("00A10780", "Roof", Date.UTC(2019, 0, 1, 12), Date.UTC(2019, 0, 1, 13)),
  recording("00A10880", "", at(5), at(5), { faults: 1 }),
]);

const spring = Date.UTC(2026, 2, 28, 23);  // 29 March 2026 has 23 hours
write("spring", [
  ...camera("00A10180", "Gate", [[spring - 24 * HOUR, spring + 23 * HOUR]]),
  ...camera("00A10280", "Yard", [[spring - 24 * HOUR, spring + 90 * MINUTE], [spring + 150 * MINUTE, spring + 23 * HOUR]]),
]);
const autumn = Date.UTC(2026, 9, 24, 22);  // 25 October 2026 has 25 hours
write("autumn", [
  ...camera("00A10180", "Gate", [[autumn - 20 * HOUR, autumn + 25 * HOUR]]),
  ...camera("00A10280", "Yard", [[autumn - 20 * HOUR, autumn + 2 * HOUR], [autumn + 4 * HOUR, autumn + 25 * HOUR]]),
]);
