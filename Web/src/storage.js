// The game in the address, so that it can be passed on, and with its settings in this browser.

import { newGame, play, readFen, START } from "./game.js";

const NAME = "mird";

function textOf(game) {
  const fields = new URLSearchParams();
  if (game.fen !== START) fields.set("fen", game.fen);
  if (game.chess960) fields.set("chess960", "1");
  if (game.moves.length) fields.set("moves", game.moves.map((move) => move.uci).join("_"));
  return fields.toString();
}

// Reads as much of a game as can be played.
function gameOf(text) {
  const fields = new URLSearchParams(text);
  const chess960 = fields.get("chess960") === "1";
  let game = newGame(readFen(fields.get("fen") ?? START, chess960).fen ?? START, chess960);
  for (const uci of (fields.get("moves") ?? "").split("_").filter(Boolean)) {
    const next = play(game, uci);
    if (!next) break;
    game = next;
  }
  return game;
}

export function remember({ game, person, level, time, clocks, scores }) {
  const text = textOf(game);
  history.replaceState(null, "", text ? `#${text}` : location.pathname + location.search);
  const { at, white, black } = game;
  const course = Array.from(scores, (line) => line && { score: line.score, mate: line.mate });
  try {
    localStorage.setItem(NAME, JSON.stringify(
      { text, at, white, black, person, level, time, clocks, course }));
  } catch {
    // Nothing is kept where the browser allows no storage.
  }
}

// What was remembered, as parts of the state: the address first, then this browser; a new game if
// there is neither.
export function recall() {
  let kept = {};
  try {
    kept = JSON.parse(localStorage.getItem(NAME) ?? "{}");
  } catch {
    // What can't be read is forgotten.
  }
  const address = location.hash.slice(1);
  if (address && address !== kept.text) return { game: gameOf(address), person: "both" };
  const game = gameOf(kept.text ?? "");
  if (kept.person === undefined) return { game };
  const { at, white, black, person, level, time, clocks, course } = kept;
  return {
    game: { ...game, white, black, at: Math.max(0, Math.min(at, game.moves.length)) },
    person, level, time, clocks,
    scores: (course ?? []).map((line) => line ?? undefined),
  };
}
