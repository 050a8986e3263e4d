// The board: pieces, input by pointer and keyboard, arrows, the last move, and what a report says
// about squares.

import { Chessboard, COLOR, INPUT_EVENT_TYPE } from "cm-chessboard/src/Chessboard.js";
import { Accessibility } from "cm-chessboard/src/extensions/accessibility/Accessibility.js";
import { Arrows, ARROW_TYPE } from "cm-chessboard/src/extensions/arrows/Arrows.js";
import { Markers, MARKER_TYPE } from "cm-chessboard/src/extensions/markers/Markers.js";
import {
  PromotionDialog,
  PROMOTION_DIALOG_RESULT_TYPE,
} from "cm-chessboard/src/extensions/promotion-dialog/PromotionDialog.js";

const HUNG = { class: "marker-hung", slice: "markerCircle" };
const FREE = { class: "marker-free", slice: "markerCircle" };

const MOST_ON_THE_WAY = 3;

// `choose` is called with the name, in UCI, of a legal move that a person has made, or with null
// where a promotion was given up.
export function createBoard(element, choose) {
  const board = new Chessboard(element, {
    assetsUrl: new URL("board/", document.baseURI).href,
    style: { pieces: { file: "pieces/standard.svg" }, animationDuration: 150 },
    extensions: [
      { class: Markers, props: { autoMarkers: MARKER_TYPE.frame } },
      { class: Arrows },
      { class: PromotionDialog, props: { language: "en" } },
      { class: Accessibility, props: { language: "en", keyboardMoveInput: true } },
    ],
  });
  const numbers = document.createElementNS("http://www.w3.org/2000/svg", "svg");
  numbers.setAttribute("class", "numbers");
  numbers.setAttribute("viewBox", "0 0 8 8");
  numbers.setAttribute("aria-hidden", "true");
  element.append(numbers);
  const still = matchMedia("(prefers-reduced-motion: reduce)");
  let legal = [];
  let onTheWay = 0; // positions that the board has been given and does not show yet
  let wanted = null; // the last one, where it has to wait for these

  // The pieces glide to their places, unless others are still on the way; of more than a few
  // positions only the last is shown, so that the board never stays behind.
  function place(fen) {
    wanted = onTheWay < MOST_ON_THE_WAY ? null : fen;
    if (wanted) return;
    const glide = onTheWay === 0 && !still.matches;
    onTheWay++;
    board.setPosition(fen, glide).then(() => {
      onTheWay--;
      if (wanted) place(wanted);
    });
  }

  // The board plays a move by itself after it has been told that it is good. What is shown in its
  // place has to come later.
  const chooseLater = (uci) => setTimeout(() => choose(uci));

  // The moves meant by two squares: one move, or the promotions of a pawn. Castling may be meant by
  // the square that the king goes to or, as in Chess960, by the rook's.
  function meant(from, to) {
    const starting = legal.filter((move) => move.from === from);
    const named = starting.filter((move) => move.uci.slice(2, 4) === to);
    const plain = starting.filter((move) => move.to === to && !move.castling);
    return named.length ? named : plain.length ? plain : starting.filter((move) => move.to === to);
  }

  function validate(from, to) {
    const moves = meant(from, to);
    if (moves.length === 0) return false;
    if (!moves[0].promotion) {
      chooseLater(moves[0].uci);
      return true;
    }
    const color = board.getPiece(from)[0] === "w" ? COLOR.white : COLOR.black;
    board.showPromotionDialog(to, color, (result) => {
      const chosen = result.type === PROMOTION_DIALOG_RESULT_TYPE.pieceSelected;
      chooseLater(chosen ? from + to + result.piece[1] : null);
    });
    return true;
  }

  function input(event) {
    switch (event.type) {
      case INPUT_EVENT_TYPE.moveInputStarted: {
        const moves = legal.filter((move) => move.from === event.squareFrom);
        board.removeMarkers(MARKER_TYPE.dot);
        for (const move of moves) board.addMarker(MARKER_TYPE.dot, move.to);
        return moves.length > 0;
      }
      case INPUT_EVENT_TYPE.validateMoveInput:
        return validate(event.squareFrom, event.squareTo);
      case INPUT_EVENT_TYPE.moveInputFinished:
      case INPUT_EVENT_TYPE.moveInputCanceled:
        board.removeMarkers(MARKER_TYPE.dot);
        return true;
      default:
        return true;
    }
  }

  // Shows a position behind its last move, and lets `side` ("w", "b", "both" or null) make its
  // legal moves.
  function show(position, lastMove, side) {
    legal = position.legal;
    board.disableMoveInput();
    board.removeMarkers();
    place(position.fen);
    if (lastMove) {
      board.addMarker(MARKER_TYPE.square, lastMove.slice(0, 2));
      board.addMarker(MARKER_TYPE.square, lastMove.slice(2, 4));
    }
    const mover = position.white ? "w" : "b";
    if ((side === "both" || side === mover) && legal.length)
      board.enableMoveInput(input, position.white ? COLOR.white : COLOR.black);
  }

  // Arrows for the best moves, the first one strongest.
  function point(moves) {
    board.removeArrows();
    moves.forEach((uci, number) =>
      board.addArrow(number === 0 ? ARROW_TYPE.success : ARROW_TYPE.secondary, uci.slice(0, 2),
                     uci.slice(2, 4)));
  }

  // Writes what pieces are worth, in hundredths of a pawn by their squares, and marks pieces that
  // hang and pawns that are free. Nothing is shown for null.
  function explain(explanation) {
    numbers.replaceChildren();
    for (const marker of [HUNG, FREE]) board.removeMarkers(marker);
    if (!explanation) return;
    for (const square of explanation.report.hung) board.addMarker(HUNG, square);
    for (const square of explanation.report.free) board.addMarker(FREE, square);
    const turned = board.getOrientation() === COLOR.black;
    for (const [square, worth] of explanation.worth) {
      const file = "abcdefgh".indexOf(square[0]), rank = Number(square[1]) - 1;
      const text = document.createElementNS("http://www.w3.org/2000/svg", "text");
      text.setAttribute("x", (turned ? 7 - file : file) + 0.96);
      text.setAttribute("y", (turned ? rank : 7 - rank) + 0.94);
      text.textContent = (worth / 100).toFixed(1);
      numbers.append(text);
    }
  }

  return {
    show,
    point,
    explain,
    turn: (color) => board.setOrientation(color),
    orientation: () => board.getOrientation(),
    pieces: () => board.getPosition().split(" ")[0],
  };
}
