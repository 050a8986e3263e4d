// The page: a game, who plays it, and an analysis of what is looked at.
//
// There is one state, and `draw` shows it. The engine searches for one purpose at a time: a move of
// its own, the analysis of the position that is looked at, or a review of the game. Whatever
// changes the position calls `think`, which ends the search before and begins the one that is due.

import { createBoard } from "./board.js";
import {
  newGame, play, positionAt, positionLine, readFen, readPgn, sanLine, START, writePgn,
} from "./game.js";
import { createReporter } from "./report.js";
import { createSearch } from "./search.js";
import { startPosition } from "./start960.js";
import { recall, remember } from "./storage.js";
import {
  showBar, showGraph, showLines, showMoves, showReport, speedText,
} from "./view.js";

const REVIEW_MS = 150;     // for each position of a review
const SHOWN_MOVES = 14;    // of a line
const LEVEL_STEP = 100;    // Elo
const MOST_ARROWS = 3;

const get = (id) => document.getElementById(id);

const state = {
  game: newGame(),
  person: "w",        // "w", "b", "both" or "none": whose moves the board takes
  level: "",          // Elo, or nothing for full strength
  time: "m2000",      // as the options of the form name it
  clocks: null,       // { w, b, increment } in milliseconds, or null
  flagged: null,      // { result, text } when a clock has run out
  analysing: false,
  explaining: false,
  lines: [],          // of the analysis, by number
  scores: [],         // lines by ply, for bar and graph
};
let search = null;
let reporter = null;
let board = null;
let purpose = 0; // number of the last change: what was begun before it counts no more
let drawn = true;

const say = (text) => (get("status").textContent = text);
const fault = (text) => (get("fault").textContent = text ?? "");

// ---- What the state tells ----

const length = () => state.game.moves.length;
const atEnd = () => state.game.at === length();
const mover = () => (positionAt(state.game).white ? "w" : "b");
const ending = () => positionAt(state.game, length()).over ?? state.flagged;
const engineMoves = () =>
  state.person !== "both" && state.person !== mover() && atEnd() && !ending();

function input() {
  if (state.analysing || state.person === "both") return "both";
  return state.person === "none" || !atEnd() || ending() ? null : state.person;
}

// ---- Drawing ----

function drawAnalysis() {
  drawn = true;
  const { game, analysing, lines } = state;
  const words = (line) => sanLine(game, game.at, line.pv.slice(0, SHOWN_MOVES));
  showLines(get("analysis"), analysing ? lines.map((line) => line && { line, words: words(line) })
    : []);
  get("speed").textContent = lines[0] ? speedText(lines[0]) : "";
  showBar(get("bar"), state.scores[game.at], positionAt(game).over);
  showGraph(get("graph"), state.scores, game.at, length());
  const best = lines.filter(Boolean).map((line) => line.pv[0]).slice(0, MOST_ARROWS);
  board.point(analysing ? best : []);
}

// Lines come faster than they can be read.
function drawAnalysisSoon() {
  if (drawn) requestAnimationFrame(() => drawn || drawAnalysis());
  drawn = false;
}

function clockText(milliseconds) {
  const seconds = Math.max(0, Math.ceil(milliseconds / 1000));
  return `${Math.floor(seconds / 60)}:${String(seconds % 60).padStart(2, "0")}`;
}

function drawClocks() {
  const bottom = board.orientation();
  for (const [id, side] of [["clock-top", bottom === "w" ? "b" : "w"], ["clock-bottom", bottom]])
    get(id).textContent = state.clocks
      ? `${side === "w" ? "White" : "Black"} ${clockText(state.clocks[side])}` : "";
}

function draw() {
  const { game } = state;
  const position = positionAt(game);
  board.show(position, game.at > 0 ? game.moves[game.at - 1].uci : null, input());
  showMoves(get("moves"), game, goTo);
  drawAnalysis();
  drawClocks();
  get("fen").value = position.fen;
  get("pgn").value = length() ? writePgn(game, ending()?.result) : "";
  get("analyse").setAttribute("aria-pressed", String(state.analysing));
  get("explain").setAttribute("aria-pressed", String(state.explaining));
  get("report").hidden = !state.explaining;
  remember(state);
  explain();
}

async function explain() {
  board.explain(null);
  if (!state.explaining) return;
  reporter ??= createReporter((text) => say(`There is no report: ${text}.`));
  const { fen } = positionAt(state.game);
  const explanation = await reporter.explain(fen);
  if (fen !== positionAt(state.game).fen || !state.explaining) return;
  showReport(get("terms"), get("report-note"), explanation);
  board.explain(explanation);
}

// ---- Thinking ----

function setOptions(options) {
  for (const [name, value] of Object.entries(options)) search.set(name, value);
}

function limits() {
  const { clocks, time } = state;
  if (!clocks) return `movetime ${Number(time.slice(1)) || 2000}`;
  const { w, b, increment } = clocks;
  return `wtime ${Math.round(w)} btime ${Math.round(b)} winc ${increment} binc ${increment}`;
}

// Searches the position of a ply, and keeps its lines. Resolves to the best move, or null when
// something else has become due.
async function searchAt(ply, limit) {
  const number = purpose;
  const due = () => number === purpose;
  const tell = (line) => {
    if (!due()) return;
    if (line.multipv === 1 && !line.bound) state.scores[ply] = line;
    if (ply === state.game.at) state.lines[line.multipv - 1] = line;
    drawAnalysisSoon();
  };
  const { white } = positionAt(state.game, ply);
  const move = await search.search(positionLine(state.game, ply), limit, white, tell, due);
  return due() ? move : null;
}

function waitingText() {
  if (ending()) return ending().text;
  if (!atEnd()) return "Looking back.";
  const last = length() > 0 ? `${state.game.moves[length() - 1].san}. ` : "";
  return `${last}${positionAt(state.game).white ? "White" : "Black"} to move.`;
}

// Ends the search that runs and begins what the state asks for.
async function think() {
  purpose++;
  search.stop();
  state.lines = [];
  const due = state.analysing ? positionAt(state.game).legal.length > 0 : engineMoves();
  if (!due) {
    say(waitingText());
    return;
  }
  setOptions({
    MultiPV: state.analysing ? get("lines").value : 1,
    UCI_Chess960: "true",
    UCI_LimitStrength: String(!state.analysing && state.level !== ""),
  });
  if (state.level) search.set("UCI_Elo", state.level);
  say(state.analysing ? "Analysing." : "Mird thinks.");
  const move = await searchAt(state.game.at, state.analysing ? "infinite" : limits());
  if (!move || state.analysing) return;
  if (play(state.game, move)) make(move);
  else console.error(`The engine's move can't be played: ${move}`);
}

// A short look at each position of the game, for the graph.
async function review() {
  state.analysing = false;
  draw();
  const number = ++purpose;
  search.stop();
  setOptions({ MultiPV: 1, UCI_Chess960: "true", UCI_LimitStrength: "false" });
  for (let ply = 0; ply <= length() && number === purpose; ply++) {
    say(`Reviewing the game: ${ply} of ${length()}.`);
    if (positionAt(state.game, ply).legal.length) await searchAt(ply, `movetime ${REVIEW_MS}`);
  }
  if (number !== purpose) return;
  remember(state);
  think();
}

// ---- Changing the state ----

function change() {
  state.lines = [];
  purpose++;
  draw();
  think();
}

function make(uci) {
  const game = uci && play(state.game, uci);
  if (game) {
    if (state.clocks) state.clocks[mover()] += state.clocks.increment;
    state.scores.length = Math.min(state.scores.length, game.at);
    state.game = game;
  }
  change();
}

function goTo(ply) {
  state.game = { ...state.game, at: Math.max(0, Math.min(ply, length())) };
  change();
}

function begin(game, settings) {
  fault();
  purpose++;
  search.stop();
  search.newGame();
  Object.assign(state, { game, lines: [], scores: [], flagged: null, clocks: null }, settings);
  change();
}

async function startGame(event) {
  event.preventDefault();
  const chess960 = get("chess960").checked;
  const number = get("number").value;
  const fen = chess960 ? startPosition(number === "" ? null : Number(number)) : START;
  const person = get("colour").value;
  const time = get("time").value;
  const clock = /^c(\d+)\+(\d+)$/.exec(time);
  if (person !== "none" && board.orientation() !== person) await board.turn(person);
  begin(newGame(fen, chess960), {
    person, time, level: get("level").value, analysing: false,
    clocks: clock && { w: clock[1] * 1000, b: clock[1] * 1000, increment: clock[2] * 1000 },
  });
}

function loadFen() {
  const chess960 = get("chess960").checked;
  const { fen, fault: wrong } = readFen(get("fen").value, chess960);
  if (wrong) fault(`This position can't be set up. ${wrong}`);
  else begin(newGame(fen, chess960), { person: "both" });
}

function loadPgn() {
  const { game, fault: wrong } = readPgn(get("pgn").value);
  if (wrong) fault(wrong);
  else begin(game, { person: "both" });
}

async function copyPgn() {
  try {
    await navigator.clipboard.writeText(writePgn(state.game, ending()?.result));
    say("The game is copied.");
  } catch {
    get("pgn").select();
    say("The browser does not let the page copy: the game is selected for you to copy it.");
  }
}

function takeBack() {
  const own = state.person === "w" || state.person === "b";
  const last = positionAt(state.game, length()).white ? "w" : "b";
  const left = Math.max(0, length() - (own && last === state.person ? 2 : 1));
  state.scores.length = Math.min(state.scores.length, left + 1);
  state.flagged = null;
  state.game = { ...state.game, moves: state.game.moves.slice(0, left), at: left };
  change();
}

async function flip() {
  await board.turn(board.orientation() === "w" ? "b" : "w");
  draw();
}

// ---- Clocks ----

function runClocks() {
  let last = performance.now();
  setInterval(() => {
    const now = performance.now();
    const passed = now - last;
    last = now;
    if (!state.clocks || state.analysing || length() === 0 || ending()) return;
    const side = positionAt(state.game, length()).white ? "w" : "b";
    state.clocks[side] -= passed;
    drawClocks();
    if (state.clocks[side] > 0) return;
    const white = side === "b";
    state.flagged = { result: white ? "1-0" : "0-1",
                      text: `${white ? "White" : "Black"} wins on time.` };
    change();
  }, 100);
}

// ---- Beginning ----

// The levels that the engine has on this machine.
function offer(name, least, most) {
  if (name !== "UCI_Elo") return;
  const select = get("level");
  while (select.options.length > 1) select.remove(1);
  for (let elo = least; elo <= most; elo += LEVEL_STEP) select.add(new Option(`${elo} Elo`, elo));
  select.value = state.level;
  if (select.selectedIndex < 0) select.value = "";
}

function offerThreads() {
  const most = search.threads ? Math.max(1, navigator.hardwareConcurrency || 1) : 1;
  for (let count = 1; count <= most; count++) get("threads").add(new Option(count, count));
  get("threads").disabled = most === 1;
}

function onKey(event) {
  const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
  if (!step) return;
  event.preventDefault();
  goTo(state.game.at + step);
}

function listen() {
  get("new-game").onsubmit = startGame;
  get("first").onclick = () => goTo(0);
  get("back").onclick = () => goTo(state.game.at - 1);
  get("forward").onclick = () => goTo(state.game.at + 1);
  get("last").onclick = () => goTo(length());
  get("take-back").onclick = takeBack;
  get("flip").onclick = flip;
  get("analyse").onclick = () => { state.analysing = !state.analysing; change(); };
  get("explain").onclick = () => { state.explaining = !state.explaining; draw(); };
  get("review").onclick = review;
  get("lines").onchange = () => { if (state.analysing) change(); };
  get("load-fen").onclick = loadFen;
  get("load-pgn").onclick = loadPgn;
  get("copy-pgn").onclick = copyPgn;
  for (const [id, option] of [["hash", "Hash"], ["threads", "Threads"]])
    get(id).onchange = () => { search.stop(); search.set(option, get(id).value); change(); };
  get("graph").onclick = (event) => {
    const box = get("graph").getBoundingClientRect();
    goTo(Math.round(((event.clientX - box.left) / box.width) * length()));
  };
  get("moves").onkeydown = onKey;
  onhashchange = () => { begin(recall().game, { person: "both" }); };
}

function main() {
  board = createBoard(get("board"), make);
  search = createSearch(offer, (text) => say(`The engine has failed: ${text}.`));
  offerThreads();
  listen();
  Object.assign(state, recall());
  get("time").value = state.time;
  if (state.person !== "both") get("colour").value = state.person;
  get("chess960").checked = state.game.chess960;
  runClocks();
  change();
}

// Milliseconds until a search that is stopped has answered.
async function timeStop() {
  const begin = performance.now();
  search.stop();
  await search.idle();
  return performance.now() - begin;
}

// For the tests.
globalThis.mird = { state, ending, timeStop, pieces: () => board.pieces() };
main();
