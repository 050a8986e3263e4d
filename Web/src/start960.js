// Start positions of Chess960 by their usual numbers, 0 to 959.

import { Chess960 } from "chess.mjs/src/Chess960.js";

// `number` is null for any of them.
export function startPosition(number) {
  const chosen = number === null ? Math.floor(Math.random() * 960)
                                 : Math.min(959, Math.max(0, Math.trunc(number) || 0));
  return Chess960.generateStartPosition(chosen);
}
