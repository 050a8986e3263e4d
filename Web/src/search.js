// Searches of the engine, one at a time, with what they tell as records.
//
// A line of play: { depth, multipv, score, mate, bound, nodes, nps, time, pv } with the score in
// hundredths of a pawn, or `mate` in moves, both from White's view, and pv as moves of UCI.

import { createEngine } from "./engine.js";

// What an "info" line tells, or null if it is no line of play. `side` is 1 where White moves, -1
// where Black does.
function parseInfo(text, side) {
  const words = text.split(" ");
  if (words[0] !== "info" || !words.includes("pv")) return null;
  const after = (name, otherwise = 0) => {
    const at = words.indexOf(name);
    return at < 0 ? otherwise : Number(words[at + 1]);
  };
  const score = words.indexOf("score");
  const value = Number(words[score + 2]) * side;
  const isMate = words[score + 1] === "mate";
  return {
    depth: after("depth"),
    multipv: after("multipv", 1),
    score: isMate ? null : value,
    mate: isMate ? value : null,
    bound: words.includes("lowerbound") || words.includes("upperbound"),
    nodes: after("nodes"),
    nps: after("nps"),
    time: after("time"),
    pv: words.slice(words.indexOf("pv") + 1),
  };
}

// `offer` is called with name, least and most of each option of the engine that is a number, `fail`
// with a sentence.
export function createSearch(offer, fail) {
  let engine = null;
  let current = null; // { side, tell, answer } of the search that runs
  let queue = Promise.resolve();

  function hear(text) {
    const option = /^option name (\w+) type spin .*min (-?\d+) max (-?\d+)/.exec(text);
    if (option) offer(option[1], Number(option[2]), Number(option[3]));
    if (!current) return;
    if (text.startsWith("bestmove")) {
      const move = text.split(" ")[1];
      current.answer(move === "(none)" ? null : move);
      current = null;
      return;
    }
    const line = parseInfo(text, current.side);
    if (line) current.tell(line);
  }

  // Begins a search when the one before has been answered, and resolves to its move, or null. What
  // is `due` by then is asked, so that searches that were overtaken are never begun. `tell` is
  // called with each line of play.
  function search(position, limits, whiteMoves, tell, due) {
    const run = () => {
      if (!due()) return null;
      return new Promise((answer) => {
        current = { side: whiteMoves ? 1 : -1, tell, answer };
        engine.send(position);
        engine.send(`go ${limits}`);
      });
    };
    queue = queue.then(run, run);
    return queue;
  }

  engine = createEngine(hear, fail);
  return {
    search,
    threads: engine.threads,
    stop: () => engine.stop(),
    idle: () => queue,
    set: (name, value) => engine.send(`setoption name ${name} value ${value}`),
    newGame: () => engine.send("ucinewgame"),
  };
}
