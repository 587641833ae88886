// The fdr-sim console in a real browser (Debian's chromium, headless): the library's exchanges
// appear with their bodies, the filters narrow them, a fault switched on in the page makes the
// next library call fail as documented, and a full journal still shows what is new. fedutil is
// the host that calls the library.
//
// Environment (set by CTest): FDR_SIM and FEDUTIL, the programs; ARTIFACT_DIR, where the
// screenshot goes; CHROMIUM (default /usr/bin/chromium).
"use strict";
const { test, before, after } = require("node:test");
const assert = require("node:assert/strict");
const { spawn, spawnSync } = require("node:child_process");
const fs = require("node:fs");
const os = require("node:os");
const path = require("node:path");
const puppeteer = require("puppeteer-core");

const WAIT_MS = 60000;  // only a limit for a broken build: every wait returns as soon as it can
const work = fs.mkdtempSync(path.join(os.tmpdir(), "fdr-console-"));
let simulator;
let browser;
let page;
let origin;

function sleep(ms) {
  return new Promise((resolve) => setTimeout(resolve, ms));
}

async function waitForFile(file) {
  const limit = Date.now() + WAIT_MS;
  while (!fs.existsSync(file)) {
    if (Date.now() > limit || simulator.exitCode !== null) {
      throw new Error("fdr-sim did not get ready: " + fs.readFileSync(path.join(work, "sim.err")));
    }
    await sleep(20);
  }
}

function fedutil(...args) {
  const run = spawnSync(process.env.FEDUTIL, args, {
    encoding: "utf8",
    env: { ...process.env, FDR_LOG_ROOT: work },
    timeout: WAIT_MS,
  });
  return { status: run.status, out: run.stdout + run.stderr };
}

async function api(method, target) {
  const response = await fetch(origin + target, { method });
  return response.json();
}

before(async () => {
  const ready = path.join(work, "ready.json");
  simulator = spawn(process.env.FDR_SIM, ["--quiet", "--admin-port", "0", "--ready-file", ready], {
    stdio: ["ignore", "ignore", fs.openSync(path.join(work, "sim.err"), "w")],
  });
  await waitForFile(ready);
  origin = "http://127.0.0.1:" + JSON.parse(fs.readFileSync(ready, "utf8")).admin.port;
  browser = await puppeteer.launch({
    executablePath: process.env.CHROMIUM || "/usr/bin/chromium",
    headless: true,
    args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
           "--disable-background-networking", "--disable-component-update", "--disable-sync",
           "--user-data-dir=" + path.join(work, "profile")],
  });
  page = await browser.newPage();
  page.setDefaultTimeout(WAIT_MS);
  await page.setViewport({ width: 1400, height: 900 });
  await page.goto(origin + "/");
  await page.waitForSelector("select[data-service='federation']");
});

after(async () => {
  if (browser) await browser.close();
  if (simulator && simulator.exitCode === null) {
    const ended = new Promise((resolve) => simulator.once("exit", resolve));
    simulator.kill("SIGTERM");
    await ended;
  }
  fs.rmSync(work, { recursive: true, force: true });
});

// The rows the page shows, newest first.
function rows() {
  return page.$$eval("tr.exchange", (all) => all.map((row) => ({
    id: Number(row.dataset.id),
    service: row.dataset.service,
    request: row.children[3].textContent,
  })));
}

async function expand(id) {
  await page.click(`tr.exchange[data-id='${id}']`);
  const detail = `tr.exchange[data-id='${id}'] + tr.detail`;
  await page.waitForSelector(detail + " pre.answer-body");
  return page.$eval(detail, (row) => ({
    request: row.querySelector("pre.request-body").textContent,
    answer: row.querySelector("pre.answer-body").textContent,
  }));
}

test("exchanges appear with their bodies, newest on top", async () => {
  assert.equal(fedutil("LoadFdrAutonomyListSetting").status, 0);
  assert.equal(fedutil("NotifyArbitratorCameraListRefresh", "--lid", "1").status, 0);
  await page.waitForFunction(() =>
    [...document.querySelectorAll("tr.exchange")].some((r) => r.dataset.service === "arbitrator"));
  const shown = await rows();
  const members = shown.find((row) => row.request === "GET /fdr/Autonomies");
  const refresh = shown.find((row) => row.request === "PUT /channel_info_refresh");
  assert.ok(members && refresh, JSON.stringify(shown));
  assert.ok(shown.indexOf(refresh) < shown.indexOf(members), "the newest is on top");

  const answer = (await expand(members.id)).answer;
  assert.match(answer, /\n {2}"autonomy_list": \[\n {4}\{\n {6}"/, "indented two spaces a level");
  assert.match(answer, /"autonomy_lname": "Warehouse North"/);
  // Pretty-printing changes only white space.
  const whole = await api("GET", "/api/exchanges/" + members.id);
  assert.deepEqual(JSON.parse(answer), JSON.parse(whole.answer_body));
  const sent = await api("GET", "/api/exchanges/" + refresh.id);
  assert.deepEqual(JSON.parse((await expand(refresh.id)).request), JSON.parse(sent.request_body));
  await page.screenshot({ path: path.join(process.env.ARTIFACT_DIR || work, "console.png"),
                          fullPage: true });
});

test("filters by service and by text", async () => {
  assert.equal(fedutil("LoadFdrAutonomyListSetting").status, 0);
  assert.equal(fedutil("NotifyArbitratorCameraListRefresh", "--lid", "1").status, 0);
  await page.select("#filter-service", "arbitrator");
  await page.waitForFunction(() => {
    const all = [...document.querySelectorAll("tr.exchange")];
    return all.length > 0 && all.every((r) => r.dataset.service === "arbitrator");
  });
  await page.select("#filter-service", "");
  await page.type("#filter-text", "Warehouse North");
  await page.waitForFunction(() => {
    const all = [...document.querySelectorAll("tr.exchange")];
    return all.length > 0 && all.every((r) => r.children[3].textContent === "GET /fdr/Autonomies");
  });
  await page.$eval("#filter-text", (input) => { input.value = ""; });
  await page.type("#filter-text", "no exchange holds this text");
  await page.waitForFunction(() => document.querySelectorAll("tr.exchange").length === 0);
  await page.$eval("#filter-text", (input) => {
    input.value = "";
    input.dispatchEvent(new Event("input"));
  });
});

test("a fault switched on in the page fails the next library call", async () => {
  await page.select("select[data-service='federation']", "refuse");
  const limit = Date.now() + WAIT_MS;
  while ((await api("GET", "/api/faults")).faults.federation.mode !== "refuse") {
    assert.ok(Date.now() < limit, "the page did not switch the fault");
    await sleep(20);
  }
  const refused = fedutil("LoadFdrFederateSetting");
  assert.equal(refused.status, 3, refused.out);
  assert.match(refused.out, /result 3 \(0x00000003\) {2}local client: transport failure/);
  await page.waitForSelector("select[data-service='federation'].faulty");
  await page.screenshot({ path: path.join(process.env.ARTIFACT_DIR || work, "console-fault.png"),
                          fullPage: true });

  await page.select("select[data-service='federation']", "none");
  while ((await api("GET", "/api/faults")).faults.federation.mode !== "none") {
    assert.ok(Date.now() < limit, "the page did not clear the fault");
    await sleep(20);
  }
  assert.equal(fedutil("LoadFdrFederateSetting").status, 0);
});

test("stays usable with a full journal", async () => {
  // 10,000 exchanges straight to a receiving service, fifty at a time.
  const services = (await api("GET", "/api/services")).services;
  const port = services.find((service) => service.key === "aggregator").port;
  for (let sent = 0; sent < 10000; sent += 50) {
    await Promise.all(Array.from({ length: 50 }, () =>
      fetch(`http://127.0.0.1:${port}/aggreatorService/system_info`, { method: "PUT", body: "{}" })));
  }
  assert.equal((await api("GET", "/api/health")).journal.count, 10000);
  await page.waitForFunction(() => document.querySelectorAll("tr.exchange").length === 300);
  // What the library does next still comes to the top, and the page renders no more rows.
  assert.equal(fedutil("LoadFdrAutonomyListSetting").status, 0);
  await page.waitForFunction(() => {
    const first = document.querySelector("tr.exchange");
    return first && first.children[3].textContent === "GET /fdr/Autonomies";
  });
  assert.equal(await page.$$eval("tr.exchange", (all) => all.length), 300);
  await page.click("tr.exchange");
  await page.waitForSelector("tr.detail pre.answer-body");
});
