// Tests the report page in a real browser, opened from disk: zooming, filtering and selecting with the pointer and with keys,
// without console errors or violations of its content policy. Measures how long a large page takes to open.
// Usage: node report_test.mjs CHROMIUM SMALL.html LARGE.html FOLDER-FOR-SCREENSHOTS

import assert from "node:assert/strict";
import { pathToFileURL } from "node:url";
import { chromium } from "playwright-core";

const [executablePath, small, large, folder] = process.argv.slice(2);
const OPEN_LIMIT = 3000, ROUNDS = 5;  // ms

const browser = await chromium.launch({
  executablePath,
  args: ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking", "--disable-component-update", "--disable-sync"],
});

// Opens a page. Any error, warning or network request fails the test.
async function opened(file, options = {}) {
  const context = await browser.newContext({ viewport: { width: 1400, height: 900 }, ...options });
  const page = await context.newPage();
  const problems = [];
  page.on("console", (message) => { if (["error", "warning"].includes(message.type())) problems.push(message.text()); });
  page.on("pageerror", (error) => problems.push(String(error)));
  page.on("request", (request) => { if (!request.url().startsWith("file:")) problems.push("requested " + request.url()); });
  await page.goto(pathToFileURL(file).href);
  await page.waitForSelector("#cameras button");
  return { page, done: async () => { assert.deepEqual(problems, []); await context.close(); } };
}

// A screenshot can time out on a busy machine, so it is tried again.
async function picture(page, name, options = {}) {
  for (let left = 3; ; --left) {
    try {
      return await page.screenshot({ path: `${folder}/${name}.png`, timeout: 20_000, ...options });
    } catch (error) {
      if (left === 1) throw error;
    }
  }
}

const drawn = (page) => page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
const text = (page, selector) => page.locator(selector).innerText();
const length = async (page) => (await text(page, "#range")).split(", ").pop();

async function zooms() {
  const { page, done } = await opened(small);
  const whole = await length(page);
  await page.click("#closer");
  await drawn(page);
  assert.notEqual(await length(page), whole);
  await page.click("#whole");
  await page.focus("#line");
  for (const key of ["+", "+", "ArrowRight", "ArrowLeft"]) await page.keyboard.press(key);
  await picture(page, "zoomed");
  assert.notEqual(await length(page), whole);
  await page.keyboard.press("Home");
  await drawn(page);
  assert.equal(await length(page), whole);
  await done();
}

async function choosesByPointer() {
  const { page, done } = await opened(small);
  const box = await page.locator("#line").boundingBox();
  const shown = "document.getElementById('file-facts').textContent.includes('.ps')";
  for (let share = 0.01; share < 1 && !(await page.evaluate(shown)); share += 0.01) {
    await page.mouse.click(box.x + box.width * share, box.y + 12);
  }
  assert.match(await text(page, "#file-facts"), /e\.ps[^]*frames/);
  assert.match(await text(page, "#bitrate-caption"), /kbit\/s/);
  assert.match(await text(page, "#under"), /recorded/);
  await picture(page, "report");
  await picture(page, "light", { fullPage: true });
  await done();
}

async function choosesByKeys() {
  const { page, done } = await opened(small);
  await page.focus("#line");
  const first = await text(page, "#chosen-heading");
  await page.keyboard.press("ArrowDown");
  assert.notEqual(await text(page, "#chosen-heading"), first);
  await page.keyboard.press(".");
  assert.match(await text(page, "#file-facts"), /e\.ps/);
  await page.focus("#files tbody tr");
  await page.keyboard.press("Enter");
  assert.equal(await page.locator("#files tr[aria-selected=true]").count(), 1);
  await done();
}

async function filters() {
  const { page, done } = await opened(small);
  const all = await page.locator("#files tbody tr").count();
  await page.fill("#find", "no camera has this name");
  assert.equal(await page.locator("#files tbody tr").count(), 0);
  assert.equal(await page.locator("#cameras button").count(), 0);
  await page.fill("#find", "");
  await page.check("#faulty");
  const faulty = await page.locator("#files tbody tr").count();
  assert.ok(faulty > 0 && faulty < all, `${faulty} of ${all}`);
  assert.match(await text(page, "#files tbody tr:first-child"), /fault/);
  await done();
}

async function namesAreText() {
  const { page, done } = await opened(small);
  assert.ok((await text(page, "#overview")).includes("</script><img src=x onerror="));
  assert.equal(await page.locator("img").count(), 0);
  assert.match(await text(page, "#overview"), /shares its id/);
  const accounts = (await text(page, "#accounts tbody")).split("\n").filter((line) => line.includes("%"));
  assert.ok(accounts.length > 0);
  await done();
}

async function darkAndPrint() {
  for (const [name, media] of [["dark", { colorScheme: "dark" }], ["print", { media: "print" }]]) {
    const { page, done } = await opened(small);
    await page.emulateMedia(media);
    await drawn(page);
    const paper = await page.evaluate(() => getComputedStyle(document.body).backgroundColor);
    assert.equal(paper === "rgb(255, 255, 255)", name !== "dark");
    await picture(page, name, { fullPage: true });
    await done();
  }
}

async function largeOpensSoon() {
  const times = [];
  for (let round = 0; round < ROUNDS; ++round) {
    const before = performance.now();
    const { page, done } = await opened(large);
    await drawn(page);
    times.push(performance.now() - before);
    assert.equal(await page.locator("#cameras button").count(), 64);
    if (round === 0) {
      for (let i = 0; i < 8; ++i) await page.click("#closer");
      await picture(page, "year-zoomed");
      await page.click("#whole");
      await picture(page, "year");
    }
    await done();
  }
  times.sort((a, b) => a - b);
  const median = times[Math.floor(ROUNDS / 2)];
  console.log(`a year of 64 cameras opens in ${Math.round(median)} ms (median of ${ROUNDS}, ${Math.round(times[0])} to ${Math.round(times[ROUNDS - 1])})`);
  assert.ok(median < OPEN_LIMIT);
}

const tests = [zooms, choosesByPointer, choosesByKeys, filters, namesAreText, darkAndPrint, largeOpensSoon];
let failed = 0;
for (const test of tests) {
  try {
    await test();
  } catch (error) {
    ++failed;
    console.error(`${test.name}: ${error.message}`);
  }
}
await browser.close();
console.log(`${tests.length - failed} passed, ${failed} failed`);
process.exitCode = failed === 0 ? 0 : 1;
