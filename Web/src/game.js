// A game: where it began, its moves, and the ply that is looked at. Games are never changed; each
// function that plays or goes back returns another one.
//
// Moves are named as UCI names them with UCI_Chess960, castling as the king taking its own rook, in
// both kinds of chess, so that one move has one name. The rules are chess.mjs's, asked for Chess960
// always, since they call castling the same then.

import { Chess as Rules } from "chess.mjs/src/Chess.js";
import { Chess as PgnReader, GAME_VARIANT } from "cm-chess/src/Chess.js";

export const START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

const newRules = (fen) => new Rules(fen, { chess960: true });

const partsOf = (uci) =>
  ({ from: uci.slice(0, 2), to: uci.slice(2, 4), promotion: uci[4] ?? undefined });

// `place` is the position as it counts for repetitions, see `placeOf`.
export function newGame(fen = START, chess960 = false) {
  const rules = newRules(fen);
  const place = placeOf(rules.fen(), legalMoves(rules));
  return { fen, place, chess960, moves: [], at: 0, white: "", black: "" };
}

// ---- Rules at a ply ----

// One record of the rules follows the line that is looked at. It knows which rooks may castle even
// where a FEN would not tell.
let line = null; // { fen, played, rules }

function rulesAt(game, ply) {
  if (line?.fen !== game.fen) line = { fen: game.fen, played: [], rules: newRules(game.fen) };
  const { played, rules } = line;
  const wanted = game.moves.slice(0, ply).map((move) => move.uci);
  let same = 0;
  while (same < played.length && played[same] === wanted[same]) same++;
  while (played.length > same) {
    rules.undo();
    played.pop();
  }
  for (const uci of wanted.slice(same)) {
    rules.move(partsOf(uci));
    played.push(uci);
  }
  return rules;
}

// The square of the king after a move of the rules.
const kingSquare = (move) => (move.flags.includes("k") ? "g" : "c") + move.from[1];

function legalMoves(rules) {
  return rules.moves({ verbose: true }).map((move) => {
    const castling = /[kq]/.test(move.flags);
    return {
      uci: move.from + move.to + (move.promotion ?? ""),
      san: move.san,
      from: move.from,
      to: castling ? kingSquare(move) : move.to,
      promotion: move.promotion ?? null,
      castling,
      enPassant: move.flags.includes("e"),
    };
  });
}

// What has to be the same for a position to be a repetition: the square of an en passant capture
// counts only where one can be made.
function placeOf(fen, legal) {
  const [pieces, side, castling, square] = fen.split(" ");
  return [pieces, side, castling, legal.some((move) => move.enPassant) ? square : "-"].join(" ");
}

function ending(game, ply, rules, place) {
  const winner = rules.turn() === "w" ? "Black" : "White";
  if (rules.in_checkmate()) return { result: winner === "White" ? "1-0" : "0-1",
                                     text: `${winner} wins by checkmate.` };
  const draw = (text) => ({ result: "1/2-1/2", text });
  if (rules.in_stalemate()) return draw("A draw by stalemate.");
  if (rules.insufficient_material()) return draw("A draw: nobody can mate.");
  if (Number(rules.fen().split(" ")[4]) >= 100) return draw("A draw by the fifty-move rule.");
  const before = [game.place, ...game.moves.map((move) => move.place)].slice(0, ply);
  if (before.filter((each) => each === place).length >= 2) return draw("A draw by repetition.");
  return null;
}

const known = new WeakMap(); // for the moves of a game: positions by ply

// The position behind a number of moves: { fen, white, legal, inCheck, place, over }, where `over`
// is null or { result, text }.
export function positionAt(game, ply = game.at) {
  if (!known.has(game.moves)) known.set(game.moves, []);
  const positions = known.get(game.moves);
  if (!positions[ply]) {
    const rules = rulesAt(game, ply);
    const fen = rules.fen();
    const legal = legalMoves(rules);
    const place = placeOf(fen, legal);
    const over = ending(game, ply, rules, place);
    positions[ply] = {
      fen, place, over, legal: over ? [] : legal, white: rules.turn() === "w",
      inCheck: rules.in_check(),
    };
  }
  return positions[ply];
}

// Plays a move, by its name in UCI, at the ply that is looked at; what came behind it is gone.
// Returns the game that is then, or null if the move is not legal.
export function play(game, uci) {
  const move = positionAt(game).legal.find((each) => each.uci === uci);
  if (!move) return null;
  const moves = [...game.moves.slice(0, game.at), { uci, san: move.san, place: "" }];
  const next = { ...game, moves, at: moves.length };
  moves[moves.length - 1].place = positionAt(next).place;
  return next;
}

// The "position" line of UCI for a ply.
export function positionLine(game, ply = game.at) {
  const moves = game.moves.slice(0, ply).map((move) => move.uci);
  return `position fen ${game.fen}${moves.length ? ` moves ${moves.join(" ")}` : ""}`;
}

// A line from a ply on as it is written for people, from its moves as UCI names them; it ends at
// the first one that is not legal.
export function sanLine(game, ply, moves) {
  const words = [];
  const rules = rulesAt(game, ply);
  for (const uci of moves) {
    const move = rules.move(partsOf(uci));
    if (!move) break;
    words.push(move.san);
  }
  for (const _ of words) rules.undo();
  return words;
}

// ---- FEN ----

const ERROR = (text) => ({ fault: text });

// The castling rights that a FEN gives to one side, as they are where the outermost rooks castle:
// "K", "Q", "KQ", nothing, or null if they can't be had there. `rank` is the side's first rank as
// eight letters, uppercase for its own pieces.
function readRights(letters, rank, chess960) {
  const king = rank.indexOf("K");
  const rooks = [...rank].flatMap((piece, file) => (piece === "R" ? [file] : []));
  const wings = new Set();
  for (const letter of letters) {
    const short = rooks.filter((file) => file > king).pop();
    const long = rooks.find((file) => file < king);
    const file = letter === "K" ? short : letter === "Q" ? long
      : "ABCDEFGH".indexOf(letter);
    if (king < 0 || file === undefined || (file !== short && file !== long)) return null;
    const wing = file === short ? "K" : "Q";
    const usual = king === 4 && file === (wing === "K" ? 7 : 0);
    if (!usual && !chess960) return null;
    wings.add(wing);
  }
  return ["K", "Q"].filter((wing) => wings.has(wing)).join("");
}

// Reads a FEN, with its last two fields or without. Returns { fen } or { fault }, a sentence.
export function readFen(text, chess960) {
  const fields = text.trim().split(/\s+/);
  if (fields.length < 4) return ERROR("A FEN has at least four fields.");
  const [pieces, side, castling, enPassant, halfmoves = "0", number = "1"] = fields;
  const ranks = pieces.split("/").map((rank) => rank.replace(/\d/g, (digit) => " ".repeat(digit)));
  if (ranks.length !== 8 || ranks.some((rank) => rank.length !== 8 || /[^pnbrqk ]/i.test(rank)))
    return ERROR("The board has eight ranks of eight squares each, with pieces of chess.");
  if (!/^[wb]$/.test(side)) return ERROR("The side to move is w or b.");
  const all = ranks.join("");
  if (all.split("K").length !== 2 || all.split("k").length !== 2)
    return ERROR("Each side needs one king.");
  if (/p/i.test(ranks[0] + ranks[7])) return ERROR("A pawn can't stand on the first or last rank.");
  for (const own of [/[A-Z]/g, /[a-z]/g])
    if (all.match(own).length > 16) return ERROR("No side has more than sixteen pieces.");
  const swapped = [...ranks[0]].map((piece) =>
    piece === piece.toLowerCase() ? piece.toUpperCase() : piece.toLowerCase()).join("");
  const white = readRights(castling.replace(/[a-h]|[kq]|-/g, ""), ranks[7], chess960);
  const black = readRights(castling.replace(/[A-H]|[KQ]|-/g, "").toUpperCase(), swapped, chess960);
  if (white === null || black === null || /[^A-HKQa-hkq-]/.test(castling))
    return ERROR("The castling rights don't fit kings and rooks.");
  const square = capturable(enPassant, side, ranks) ? enPassant : "-";
  const counts = [halfmoves, number].map((count, index) => Math.max(index, parseInt(count) || 0));
  const fen = [pieces, side, white + black.toLowerCase() || "-", square, ...counts].join(" ");
  const turned = [pieces, side === "w" ? "b" : "w", "-", "-", "0", "1"].join(" ");
  if (newRules(turned).in_check()) return ERROR("The side that is not to move is in check.");
  return { fen };
}

// Tells whether a pawn has just gone past a square.
function capturable(square, side, ranks) {
  const file = "abcdefgh".indexOf(square[0]);
  if (file < 0 || square.slice(1) !== (side === "w" ? "6" : "3")) return false;
  const at = (rank) => ranks[8 - rank][file];
  return side === "w" ? at(5) === "p" && at(6) === " " && at(7) === " "
    : at(4) === "P" && at(3) === " " && at(2) === " ";
}

// ---- PGN ----

// Reads a PGN. Returns { game } or { fault }, a sentence.
export function readPgn(text) {
  if (!text.trim()) return ERROR("There is no PGN.");
  // The reader heeds a FEN only where SetUp announces it, as the standard wants it; many files
  // don't.
  const unannounced = /^\s*\[FEN /m.test(text) && !/^\s*\[SetUp /m.test(text);
  let reader;
  try {
    reader = new PgnReader({ pgn: unannounced ? `[SetUp "1"]\n${text.trimStart()}` : text });
  } catch (thrown) {
    const move = thrown?.notation;
    return ERROR(move ? `The PGN has a move that can't be played: ${move}.`
      : "This is no PGN that can be read.");
  }
  const tags = reader.header();
  const chess960 = reader.props.gameVariant === GAME_VARIANT.chess960;
  const { fen, fault } = readFen(reader.setUpFen(), chess960);
  if (fault) return ERROR(`The PGN has no position that can be set up. ${fault}`);
  let game = { ...newGame(fen, chess960), white: tags.White ?? "", black: tags.Black ?? "" };
  const bare = (san) => san.replace(/[+#]$/, "");
  for (const node of reader.history()) {
    const move = positionAt(game).legal.find((each) => bare(each.san) === bare(node.san));
    if (!move) return ERROR(`The PGN has a move that can't be played: ${node.san}.`);
    game = play(game, move.uci);
  }
  return { game: { ...game, at: 0 } };
}

// A text in lines of no more than 79 characters.
function wrap(words) {
  const lines = [""];
  for (const word of words) {
    const last = lines[lines.length - 1];
    if (last && last.length + 1 + word.length > 79) lines.push(word);
    else lines[lines.length - 1] = last ? `${last} ${word}` : word;
  }
  return lines.join("\n");
}

export function writePgn(game, result = "*") {
  const tags = [["Event", "?"], ["Site", "?"], ["Date", "????.??.??"], ["Round", "?"],
                ["White", game.white || "?"], ["Black", game.black || "?"], ["Result", result]];
  if (game.chess960) tags.push(["Variant", "Chess960"]);
  if (game.fen !== START) tags.push(["SetUp", "1"], ["FEN", game.fen]);
  const head = tags.map(([name, value]) => `[${name} "${value.replace(/["\\]/g, "\\$&")}"]`);
  const [, side, , , , first] = game.fen.split(" ");
  const words = game.moves.flatMap(({ san }, index) => {
    const half = index + (side === "w" ? 0 : 1);
    const number = Number(first) + Math.floor(half / 2);
    if (half % 2 === 0) return [`${number}.`, san];
    return index === 0 ? [`${number}...`, san] : [san];
  });
  return `${head.join("\n")}\n\n${wrap([...words, result])}\n`;
}
