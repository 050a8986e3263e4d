// The rules of the page against those of the engine: as many moves in each position of random
// games, in both kinds of chess.

import { newGame, play, positionAt, START } from "../src/game.js";
import { startPosition } from "../src/start960.js";
import { startModule } from "./benchmarks.mjs";

const GAMES = 60, PLIES = 100, STEP = 7;

let seed = 1; // of a small generator, so that each run has the same games
function random(count) {
  seed = (Math.imul(seed, 1103515245) + 12345) >>> 0;
  return Math.floor((seed / 2 ** 32) * count);
}

// Positions with the number of their moves.
const positions = [];
for (let number = 0; number < GAMES; number++) {
  const chess960 = number % 3 !== 0;
  let game = newGame(chess960 ? startPosition(random(960)) : START, chess960);
  for (let ply = 0; ply < PLIES; ply++) {
    const { fen, legal, over } = positionAt(game);
    if (over) break;
    if (ply % STEP === 0) positions.push({ fen, count: legal.length });
    // Castling is rare in random games.
    const castling = legal.find((move) => move.castling);
    if (castling) positions.push({ fen, count: legal.length });
    game = play(game, (castling && random(3) === 0 ? castling : legal[random(legal.length)]).uci);
  }
}

// The engine at its console, without threads: it hears each line where it is handed over.
const counted = [];
const engine = await startModule("mird", ["-c"], (line) => {
  const found = /^visited (\d+) nodes/.exec(line);
  if (found) counted.push(Number(found[1]));
});
function tell(line) {
  const stack = engine.stackSave();
  try {
    engine.ccall("mird_hear", null, ["string"], [`${line}\n`]);
  } catch (thrown) {
    if (thrown !== "unwind") throw thrown;
  }
  engine.stackRestore(stack);
}
tell("set frc 1");
for (const { fen } of positions) {
  tell(`fen ${fen}`);
  tell("perft 1");
}

const wrong = positions.filter(({ count }, index) => count !== counted[index]);
console.log(`${wrong.length ? "FAILED" : "ok"}: moves of ${positions.length} positions, as the `
  + "engine has them");
for (const { fen, count } of wrong.slice(0, 5)) console.log(`  ${fen}: ${count}`);
process.exit(wrong.length ? 1 : 0);
