// The engine's report on its evaluation by hand: asked of a second program, at its console, so that
// no search is disturbed.

import { startProgram } from "./engine.js";

const END = "over"; // no command: the console answers with a line that begins with this
const ANSWER_TO_END = "invalid:";

// Reads the lines of a report. Returns { terms: [{ name, white, black }], hung, free, network,
// byHand } with values in hundredths of a pawn, from White's view where they are about the whole
// position, or null where there is no report: endings that are known, and positions that can't be
// searched.
function parse(lines, whiteMoves) {
  const totals = lines.map((line) => /^nne= (-?\d+), hce= (-?\d+)/.exec(line)).find(Boolean);
  if (!totals) return null;
  const squares = (title) =>
    lines.find((line) => line.startsWith(title))?.slice(title.length).trim().split(/\s+/) ?? [];
  const side = whiteMoves ? 1 : -1;
  return {
    terms: lines.map((line) => /^(\w+): +(-?\d+) +(-?\d+)$/.exec(line)).filter(Boolean)
      .map(([, name, white, black]) => ({ name, white: Number(white), black: Number(black) })),
    hung: squares("hung pieces on:"),
    free: squares("free pawns on:"),
    network: Number(totals[1]) * side,
    byHand: Number(totals[2]) * side,
  };
}

export function createReporter(fail) {
  let worker = null;
  const asked = []; // { whiteMoves, answer, lines }

  function hear(line) {
    if (asked.length === 0) return;
    if (!line.startsWith(ANSWER_TO_END)) {
      asked[0].lines.push(...line.split("\n"));
      return;
    }
    const { whiteMoves, answer, lines } = asked.shift();
    answer(parse(lines, whiteMoves));
  }

  // Resolves to the report on a position.
  function ask(fen) {
    worker ??= startProgram(["-c"], false, hear, fail);
    return new Promise((answer) => {
      asked.push({ whiteMoves: fen.split(" ")[1] === "w", answer, lines: [] });
      for (const line of [`fen ${fen}`, "ev", END]) worker.postMessage(line);
    });
  }

  // Resolves to { report, worth }: for each piece but the kings, by its square, what the evaluation
  // by hand of its side would lose without it.
  async function explain(fen) {
    const report = await ask(fen);
    if (!report) return null;
    const worth = new Map();
    for (const { square, white, without } of positionsWithout(fen)) {
      const other = await ask(without);
      if (other) worth.set(square, (report.byHand - other.byHand) * (white ? 1 : -1));
    }
    return { report, worth };
  }

  return { explain };
}

// The positions that lack one piece: { square, white, without }, a FEN.
function positionsWithout(fen) {
  const [pieces, side, ...others] = fen.split(" ");
  const ranks = pieces.split("/").map((rank) => rank.replace(/\d/g, (digit) => " ".repeat(digit)));
  const found = [];
  ranks.forEach((rank, row) => [...rank].forEach((piece, file) => {
    if (piece === " " || /k/i.test(piece)) return;
    const emptied = ranks.map((each, other) =>
      other === row ? `${each.slice(0, file)} ${each.slice(file + 1)}` : each);
    const text = emptied.map((each) => each.replace(/ +/g, (run) => run.length)).join("/");
    const rights = others[0].replace(/[KQkq]/g,
                                     (right) => (lostRight(right, row, piece) ? "" : right));
    found.push({
      square: "abcdefgh"[file] + (8 - row),
      white: piece === piece.toUpperCase(),
      without: [text, side, rights || "-", "-", ...others.slice(2)].join(" "),
    });
  }));
  return found;
}

// Without one of its rooks on the first rank a side is taken to have lost its rights.
const lostRight = (right, row, piece) =>
  piece.toLowerCase() === "r" && row === (piece === "R" ? 7 : 0)
  && (right === right.toUpperCase()) === (piece === "R");
