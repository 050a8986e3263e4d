// The page in a real browser: browser.mjs BROWSER [PART OF A NAME], run by Web/test.sh.

import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { join } from "node:path";
import { gzipSync } from "node:zlib";

import { chromium } from "playwright-core";

import { BENCHMARKS, root, totalIn } from "./benchmarks.mjs";

const PORT = 8123, BARE_PORT = 8124;
const shots = join(root, "build", "web-shots");
const complaints = []; // what the page writes to the console as an error

function serve(command, args) {
  const child = spawn(command, args, { cwd: root, stdio: "ignore" });
  process.on("exit", () => child.kill());
  return child;
}

async function reachable(url) {
  for (let attempt = 0; attempt < 100; attempt++) {
    try {
      if ((await fetch(url)).ok) return;
    } catch {
      // not yet
    }
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
  throw new Error(`nobody serves ${url}`);
}

// `prepare` runs in the page before its own code.
async function open(browser, port, options = {}, prepare = () => {}) {
  const context = await browser.newContext({ viewport: { width: 1200, height: 900 }, ...options });
  const page = await context.newPage();
  page.on("console", (message) => message.type() === "error" && complaints.push(message.text()));
  page.on("pageerror", (error) => complaints.push(String(error)));
  await page.addInitScript(prepare);
  await page.goto(`http://127.0.0.1:${port}/`);
  return page;
}

const status = (page) => page.textContent("#status");
const waitForStatus = (page, text, timeout = 60000) =>
  page.waitForFunction((text) => document.getElementById("status").textContent.includes(text),
                       text, { timeout });
const moves = (page) =>
  page.evaluate(() => globalThis.mird.state.game.moves.map((move) => move.san));
const waitForMoves = (page, count, timeout = 60000) =>
  page.waitForFunction((count) => globalThis.mird.state.game.moves.length >= count, count,
                       { timeout });

// The middle of a square on the screen.
async function place(page, square) {
  const box = await page.locator(`#board [data-square="${square}"]`).first().boundingBox();
  return [box.x + box.width / 2, box.y + box.height / 2];
}

async function drag(page, from, to) {
  await page.mouse.move(...await place(page, from));
  await page.mouse.down();
  await page.mouse.move(...await place(page, to), { steps: 4 });
  await page.mouse.up();
}

async function setUp(page, fen, chess960 = false) {
  await page.setChecked("#chess960", chess960);
  await page.fill("#fen", fen);
  await page.click("#load-fen");
  await page.waitForTimeout(250); // the pieces glide to their places
}

const game = (page) => page.evaluate(() => globalThis.mird.state.game);
const press = async (page, ...keys) => {
  for (const key of keys) await page.keyboard.press(key);
};

// Lines of the benchmark as a module runs it in a worker of the page.
const runBenchmark = (page, threads, args) => page.evaluate(({ threads, args }) =>
  new Promise((resolve) => {
    const base = new URL("engine/", document.baseURI).href;
    const worker = new Worker(new URL("worker.js", base));
    const lines = [];
    worker.onmessage = ({ data }) => {
      lines.push(data);
      if (!/nodes= \d+, nps= /.test(data)) return;
      worker.terminate();
      resolve(lines);
    };
    worker.postMessage({ threads, base, args });
  }), { threads, args });

const TESTS = {
  async "has the node totals of every platform"(page) {
    for (const threads of [false, true])
      for (const { args, expected } of BENCHMARKS) {
        const { nodes, speed } = totalIn((await runBenchmark(page, threads, args)).pop());
        assert.equal(nodes, expected, args.join(" "));
        console.log(`  ${threads ? "with" : "without"} threads, ${args.join(" ")}: ${nodes} nodes, `
          + `${speed} a second`);
      }
  },

  async "asks for less than 4 MB, compressed, until its first move"(page, browser) {
    const context = await browser.newContext();
    const fresh = await context.newPage();
    const bodies = [];
    // What workers ask for is heard of only by the context.
    context.on("response", (response) => bodies.push(response.body().catch(() => Buffer.alloc(0))));
    await fresh.goto(`http://127.0.0.1:${PORT}/`);
    await fresh.selectOption("#colour", "b");
    await fresh.click("#new-game button");
    await waitForMoves(fresh, 1);
    const sizes = (await Promise.all(bodies)).map((body) => gzipSync(body).length);
    await context.close();
    const whole = sizes.reduce((sum, size) => sum + size, 0);
    console.log(`  ${whole} bytes in ${sizes.length} files`);
    // With less than the network's file alone takes, some answer would not have been counted.
    assert.ok(whole > 1.6e6 && whole < 4e6, `${whole} bytes`);
  },

  async "plays its first move within two seconds of loading"(page, browser) {
    const times = [];
    for (let attempt = 0; attempt < 3; attempt++) {
      const context = await browser.newContext();
      const fresh = await context.newPage();
      const begin = performance.now();
      await fresh.goto(`http://127.0.0.1:${PORT}/`);
      await fresh.selectOption("#colour", "b");
      await fresh.selectOption("#time", "m500");
      await fresh.click("#new-game button");
      await waitForMoves(fresh, 1);
      times.push(Math.round(performance.now() - begin));
      await context.close();
    }
    console.log(`  ${times.join(", ")} ms, with the half second that it thinks`);
    assert.ok(Math.min(...times) < 2000); // a machine that is busy otherwise has no say
  },

  async "answers a move that is dragged"(page) {
    await page.selectOption("#time", "m500");
    await page.click("#new-game button");
    await waitForStatus(page, "White to move");
    await drag(page, "e2", "e4");
    await waitForMoves(page, 2);
    assert.equal((await moves(page))[0], "e4");
  },

  async "plays a whole game with itself"(page) {
    await page.selectOption("#colour", "none");
    await page.evaluate(() => {
      const select = document.getElementById("time");
      select.add(new Option("20 ms", "m20"));
      select.value = "m20";
    });
    await page.click("#new-game button");
    await page.waitForFunction(() => globalThis.mird.ending() !== null, null, { timeout: 300000 });
    assert.ok((await moves(page)).length > 20);
    await waitForStatus(page, (await page.evaluate(() => globalThis.mird.ending().text)));
    const fen = await page.inputValue("#fen");
    await page.waitForFunction((pieces) => globalThis.mird.pieces() === pieces, fen.split(" ")[0]);
    await page.waitForTimeout(50);
    await page.screenshot({ path: join(shots, "game-over.png"), fullPage: true });
  },

  async "plays a whole game of Chess960 with itself"(page) {
    await page.selectOption("#colour", "none");
    await page.evaluate(() => {
      const select = document.getElementById("time");
      select.add(new Option("20 ms", "m20"));
      select.value = "m20";
    });
    await page.setChecked("#chess960", true);
    await page.fill("#number", "700");
    await page.click("#new-game button");
    await page.waitForFunction(() => globalThis.mird.ending() !== null, null, { timeout: 300000 });
    assert.ok((await moves(page)).length > 20);
  },

  async "takes promotions"(page) {
    await setUp(page, "8/P6k/8/8/8/8/8/K7 w - - 0 1");
    await drag(page, "a7", "a8");
    await page.locator("rect.promotion-dialog-button[data-piece=wn]").click();
    await waitForMoves(page, 1);
    assert.deepEqual(await moves(page), ["a8=N"]);
  },

  async "gives a promotion up"(page) {
    await setUp(page, "8/P6k/8/8/8/8/8/K7 w - - 0 1");
    await drag(page, "a7", "a8");
    await page.locator("rect.promotion-dialog-button").first().waitFor();
    await page.keyboard.press("Escape");
    await page.locator("rect.promotion-dialog-button").first().waitFor({ state: "detached" });
    assert.equal((await game(page)).moves.length, 0);
    await drag(page, "a7", "a8");
    await page.locator("rect.promotion-dialog-button[data-piece=wq]").click();
    await waitForMoves(page, 1);
  },

  async "takes castling in both kinds of chess"(page) {
    const corners = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1";
    for (const [to, san] of [["g1", "O-O"], ["h1", "O-O"], ["c1", "O-O-O"], ["a1", "O-O-O"]]) {
      await setUp(page, corners);
      await drag(page, "e1", to);
      await waitForMoves(page, 1);
      assert.deepEqual(await moves(page), [san]);
    }
    const other = "1r3kr1/8/8/8/8/8/8/1R3KR1 w KQkq - 0 1";
    const castled = "1r3kr1/8/8/8/8/8/8/2KR2R1 b kq - 1 1";
    for (const [before, to, san, after] of [
      [other, "b1", "O-O-O", castled],
      [other, "c1", "O-O-O", castled],
      // The rook stands where the king goes.
      ["4k3/8/8/8/8/8/8/5KR1 w K - 0 1", "g1", "O-O", "4k3/8/8/8/8/8/8/5RK1 b - - 1 1"],
    ]) {
      await setUp(page, before, true);
      await drag(page, "f1", to);
      await waitForMoves(page, 1);
      assert.deepEqual(await moves(page), [san]);
      assert.equal(await page.inputValue("#fen"), after);
    }
  },

  async "is moved by keys alone"(page) {
    await page.selectOption("#time", "m500");
    await page.locator("#new-game button").focus();
    await press(page, "Enter");
    await waitForStatus(page, "White to move");
    await page.locator("#board svg.cm-chessboard").focus();
    // From a1 to e2, and from there to e4.
    await press(page, "ArrowRight", "ArrowRight", "ArrowRight", "ArrowRight", "ArrowUp", "Enter",
                "ArrowUp", "ArrowUp", "Enter");
    await waitForMoves(page, 2);
    assert.equal((await moves(page))[0], "e4");
    await page.locator("#moves").focus();
    await press(page, "ArrowLeft");
    assert.equal((await game(page)).at, 1);
    await press(page, "ArrowLeft");
    assert.equal((await game(page)).at, 0);
    await press(page, "ArrowRight");
    assert.equal((await game(page)).at, 1);
  },

  async "takes back, and goes through the game"(page) {
    await page.selectOption("#time", "m500");
    await page.click("#new-game button");
    await drag(page, "e2", "e4");
    await waitForMoves(page, 2);
    await page.click("#take-back");
    assert.equal((await game(page)).moves.length, 0);
    await page.waitForTimeout(250); // the pieces glide back
    await drag(page, "d2", "d4");
    await waitForMoves(page, 2);
    assert.equal((await moves(page))[0], "d4");
    await page.click("#first");
    await waitForStatus(page, "Looking back");
    await page.locator("#moves button").nth(1).click();
    assert.equal((await game(page)).at, 2);
    await page.click("#flip");
    await page.waitForTimeout(250); // the board turns
    await drag(page, "g1", "f3");
    await waitForMoves(page, 4);
    assert.equal((await moves(page))[2], "Nf3");
  },

  async "analyses and stops twenty times, each within 100 ms"(page) {
    await setUp(page, "r1bqkb1r/pppp1ppp/2n2n2/4p3/2B1P3/5N2/PPPP1PPP/RNBQK2R w KQkq - 4 4");
    await page.selectOption("#lines", "3");
    let longest = 0;
    for (let turn = 0; turn < 20; turn++) {
      await page.click("#analyse");
      await page.waitForFunction(() => document.querySelectorAll("#analysis li").length === 3);
      const late = await page.evaluate(() => globalThis.mird.timeStop());
      longest = Math.max(longest, late);
      assert.ok(late < 100, `a stop took ${late} ms`);
      await page.click("#analyse");
      await page.waitForFunction(() => document.querySelectorAll("#analysis li").length === 0);
    }
    console.log(`  the slowest took ${longest.toFixed(1)} ms`);
  },

  async "searches with two threads, and tables of 1 to 256 MB"(page) {
    const counts = await page.locator("#threads option").allTextContents();
    assert.equal(counts.length, await page.evaluate(() => navigator.hardwareConcurrency));
    await page.click("summary");
    await page.click("#analyse");
    for (const [id, value] of [["hash", "256"], ["hash", "1"],
                               ["threads", counts[counts.length - 1]], ["hash", "64"]]) {
      await page.selectOption(`#${id}`, value);
      await page.waitForFunction(() =>
        /depth ([6-9]|\d\d):/.test(document.querySelector("#analysis li")?.textContent ?? ""));
      const late = await page.evaluate(() => globalThis.mird.timeStop());
      assert.ok(late < 100, `a stop took ${late} ms`);
    }
  },

  async "analyses with arrows, a bar and a graph"(page) {
    await page.fill("#pgn", "1. e4 e5 2. Nf3 Nc6 3. Bb5 a6 4. Ba4 Nf6 5. O-O Be7 *");
    await page.click("#load-pgn");
    await page.click("#review");
    await waitForStatus(page, "Looking back", 30000);
    const points = await page.getAttribute("#graph .course", "points");
    assert.equal(points.split(" ").length, 11);
    const box = await page.locator("#graph").boundingBox();
    await page.mouse.click(box.x + box.width * 0.5, box.y + box.height / 2);
    assert.equal((await game(page)).at, 5);
    await page.selectOption("#lines", "3");
    await page.click("#analyse");
    await page.waitForFunction(() => document.querySelectorAll("#analysis li").length === 3
      && / depth ([89]|\d\d):/.test(document.querySelector("#analysis li").textContent));
    assert.equal(await page.locator("#board .arrow").count(), 3);
    assert.match(await page.getAttribute("#bar", "aria-label"), /^Evaluation: [+-]?\d/);
    await page.screenshot({ path: join(shots, "analysis.png"), fullPage: true });
  },

  async "explains a position by the engine's report"(page) {
    await setUp(page, "r1bqkb1r/pppp1ppp/2n2n2/4p3/2B1P3/5N2/PPPP1PPP/RNBQK2R w KQkq - 4 4");
    await page.click("#explain");
    await page.waitForFunction(() => document.querySelectorAll(".numbers text").length > 0);
    assert.equal(await page.locator("#terms tbody tr").count(), 9);
    assert.equal(await page.locator(".numbers text").count(), 30);
    assert.equal(await page.locator(".marker-hung").count(), 1);
    assert.match(await page.textContent("#report-note"), /By hand \+0\.13/);
    await page.screenshot({ path: join(shots, "explanation.png"), fullPage: true });
    await setUp(page, "4k3/8/8/8/8/8/4P3/4K3 w - - 0 1"); // known exactly
    await page.waitForFunction(() =>
      document.getElementById("report-note").textContent.includes("no report"));
  },

  async "refuses bad FEN and PGN with a sentence and loses nothing"(page) {
    const good = "4k3/8/8/8/8/8/4P3/4K3 w - - 0 1";
    await setUp(page, good);
    for (const fen of ["nonsense", "", "8/8/8/8/8/8/8/8 w - - 0 1", "9/8/8/8/8/8/8/8 w - - 0 1",
                       "4k3/8/8/8/8/8/4P3/4K3 w KQ - 0 1", "4k2R/8/8/8/8/8/8/4K3 w - - 0 1",
                       "4k2P/8/8/8/8/8/8/4K3 w - - 0 1", "4k3/8/8/8/8/8/4P3/4K3 x - - 0 1",
                       "kkkkkkkk/8/8/8/8/8/8/4K3 w - - 0 1"]) {
      await page.fill("#fen", fen);
      await page.click("#load-fen");
      assert.match(await page.textContent("#fault"), /\.$/, fen);
      assert.equal((await game(page)).fen, good);
    }
    for (const pgn of ["", "1. e5 Ke9", "1. e4 e5 2. Ke3 *", "[FEN \"x\"]\n\n1. e4 *", "\u0000{"]) {
      await page.fill("#pgn", pgn);
      await page.click("#load-pgn");
      assert.match(await page.textContent("#fault"), /\.$/, pgn);
      assert.equal((await game(page)).fen, good);
    }
  },

  async "keeps the game when it is loaded again, and passes it on by the address"(page, browser) {
    await page.fill("#pgn", "[White \"A\"]\n\n1. e4 e5 2. Nf3 Nc6 3. Bb5 *");
    await page.click("#load-pgn");
    await waitForMoves(page, 5);
    await page.click("#last");
    await page.reload();
    await waitForMoves(page, 5);
    assert.deepEqual(await moves(page), ["e4", "e5", "Nf3", "Nc6", "Bb5"]);
    assert.equal((await game(page)).at, 5);
    assert.equal((await game(page)).white, "A");
    const address = page.url();
    const context = await browser.newContext();
    const other = await context.newPage();
    await other.goto(address);
    await waitForMoves(other, 5);
    await other.goto(`${address.split("#")[0]}#fen=nonsense&moves=e2e4_zz`);
    await waitForMoves(other, 1);
    assert.deepEqual(await moves(other), ["e4"]);
    await context.close();
  },

  async "ends a game on time"(page) {
    await page.selectOption("#time", "c180+2");
    await page.click("#new-game button");
    await drag(page, "e2", "e4");
    await waitForMoves(page, 2);
    await page.evaluate(() => (globalThis.mird.state.clocks.w = 50));
    await waitForStatus(page, "Black wins on time.");
    assert.match(await page.inputValue("#pgn"), /0-1\n$/);
  },

  async "plays at a level"(page) {
    await page.waitForFunction(() => document.getElementById("level").options.length > 5);
    await page.selectOption("#level", "1500");
    await page.selectOption("#time", "m500");
    await page.click("#new-game button");
    await drag(page, "e2", "e4");
    await waitForMoves(page, 2);
  },

  async "has no serious fault of accessibility, in light, dark and on a phone"(page, browser) {
    const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
    for (const [name, options] of [
      ["light", { colorScheme: "light" }],
      ["dark", { colorScheme: "dark" }],
      ["phone", { viewport: { width: 380, height: 800 }, hasTouch: true }],
    ]) {
      const other = await open(browser, PORT, options);
      await other.click("#analyse");
      await other.waitForFunction(() => document.querySelectorAll("#analysis li").length > 0);
      await other.click("#explain");
      await other.waitForFunction(() => document.querySelectorAll(".numbers text").length > 0);
      await other.screenshot({ path: join(shots, `${name}.png`), fullPage: true });
      await other.evaluate(axe);
      const found = await other.evaluate(() => globalThis.axe.run());
      const serious = found.violations.filter(({ impact }) => /serious|critical/.test(impact));
      assert.deepEqual(serious.map(({ id, nodes }) => [id, nodes[0].html]), []);
      assert.ok(await other.evaluate(() =>
        document.documentElement.scrollWidth <= document.documentElement.clientWidth), name);
      await other.context().close();
    }
  },

  async "plays and analyses without threads, from a server without headers"(page, browser) {
    const bare = await open(browser, BARE_PORT);
    assert.equal(await bare.evaluate(() => globalThis.crossOriginIsolated), false);
    await bare.selectOption("#time", "m500");
    await bare.click("#new-game button");
    await waitForStatus(bare, "White to move");
    await drag(bare, "d2", "d4");
    await waitForMoves(bare, 2);
    for (let turn = 0; turn < 5; turn++) {
      await bare.click("#analyse");
      await bare.waitForFunction(() => document.querySelectorAll("#analysis li").length > 0);
      const late = await bare.evaluate(() => globalThis.mird.timeStop());
      assert.ok(late < 100, `a stop took ${late} ms`);
      await bare.click("#analyse");
      await waitForStatus(bare, "White to move");
    }
    await drag(bare, "g1", "f3");
    await waitForMoves(bare, 4);
    await bare.context().close();
  },

  async "plays with one thread where there is no memory to share"(page, browser) {
    const poor = await open(browser, PORT, {}, () => {
      const Memory = WebAssembly.Memory;
      WebAssembly.Memory = function (limits) {
        if (limits.shared) throw new RangeError("out of memory");
        return new Memory(limits);
      };
    });
    assert.equal(await poor.evaluate(() => globalThis.crossOriginIsolated), true);
    assert.equal(await poor.isDisabled("#threads"), true);
    await poor.selectOption("#time", "m500");
    await poor.click("#new-game button");
    await waitForStatus(poor, "White to move");
    await drag(poor, "d2", "d4");
    await waitForMoves(poor, 2);
    await poor.context().close();
  },
};

serve(join(root, "Web", "serve.sh"), [String(PORT)]);
serve("python3", ["-m", "http.server", String(BARE_PORT), "--bind", "127.0.0.1", "--directory",
                  join(root, "build", "web")]);
await reachable(`http://127.0.0.1:${PORT}/`);
await reachable(`http://127.0.0.1:${BARE_PORT}/`);
const browser = await chromium.launch({ executablePath: process.argv[2], args: ["--no-sandbox"] });
let failed = 0;
const [wanted] = process.argv.slice(3); // a part of a name; nothing for all
for (const [name, test] of Object.entries(TESTS)) {
  if (wanted && !name.includes(wanted)) continue;
  const page = await open(browser, PORT);
  try {
    await test(page, browser);
    console.log(`ok: the page ${name}`);
  } catch (error) {
    failed++;
    console.log(`FAILED: the page ${name}\n  ${error.message}\n  status: ${await status(page)}`);
    await page.screenshot({ path: join(shots, "failed.png") });
  }
  await page.context().close();
}
await browser.close();
if (complaints.length) {
  failed++;
  console.log(`errors in the console:\n  ${complaints.join("\n  ")}`);
}
process.exit(failed ? 1 : 0);
